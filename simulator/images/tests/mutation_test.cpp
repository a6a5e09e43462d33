#include <chrono>
#include <functional>
#include <random>

#include "images/byte_source.h"
#include "test_support.h"

using namespace ImageTests;
using namespace ImageWriters;
using namespace VBoxSim;

// Images with random damage: an error or a disk, never a crash, a hang, or a file left over. The number of rounds comes
// from the build, so that the same test runs short and long.

namespace {

/// Bytes in memory: the rounds are many.
class MemorySource : public ByteSource
{
public:
    explicit MemorySource(Bytes bytes) : bytes_(std::move(bytes)) {}
    std::uint64_t size() const override { return bytes_.size(); }
    void readAt(std::uint64_t offset, void* buffer, std::size_t length) const override
    {
        if (offset > bytes_.size() || length > bytes_.size() - offset)
            throw Failure(Result::fileError, L"beyond the end");
        std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(offset), length, static_cast<std::uint8_t*>(buffer));
    }

private:
    Bytes bytes_;
};

class Mutation : public ScratchTest
{
protected:
    /// Damages the image in many ways, mostly in its first `headerSize` bytes.
    void run(const char* name, const Bytes& good, std::size_t headerSize, unsigned seed)
    {
        std::mt19937 random(seed);
        std::size_t failures = 0;
        for (int round = 0; round < TRAVIK_MUTATION_ROUNDS; ++round) {
            const Bytes bad = mutated(good, headerSize, random);
            const auto start = std::chrono::steady_clock::now();
            failures += tryImage(name, bad) ? 0 : 1;
            const auto seconds = std::chrono::steady_clock::now() - start;
            ASSERT_LT(seconds, std::chrono::seconds(5)) << name << " round " << round;
            ASSERT_TRUE(listing().empty()) << name << " round " << round;
        }
        // Most damage in a header is found; were it not, this test would not reach what it is for.
        EXPECT_GT(failures, std::size_t(TRAVIK_MUTATION_ROUNDS) / 20) << name;
    }

private:
    static Bytes mutated(Bytes image, std::size_t headerSize, std::mt19937& random)
    {
        static const std::uint64_t numbers[] = {0,          1,           2,          127,
                                                0x7FFFFFFF, 0x80000000,  0xFFFE,     0xFFFFFFFE,
                                                0xFFFFFFFF, 0x100000000, UINT64_MAX, UINT64_MAX / 2};
        const std::size_t changes = 1 + random() % 4;
        for (std::size_t i = 0; i < changes; ++i) {
            const std::size_t range = random() % 4 != 0 ? headerSize : image.size() - 8;
            const std::size_t place = random() % std::min(range, image.size() - 8);
            switch (random() % 5) {
            case 0:
                image[place] = static_cast<std::uint8_t>(random());
                break;
            case 1:
                image[place] = static_cast<std::uint8_t>(image[place] ^ 1u << random() % 8);
                break;
            case 2:
                put32(image, place & ~std::size_t(3), numbers[random() % std::size(numbers)]);
                break;
            case 3:
                put64(image, place & ~std::size_t(3), numbers[random() % std::size(numbers)]);
                break;
            default:
                if (random() % 4 == 0)
                    image.resize(std::max<std::size_t>(random() % image.size(), 16));
            }
        }
        return image;
    }

    /// Whether the image could be converted; anything but a Failure fails the test.
    bool tryImage(const char* name, const Bytes& bytes)
    {
        // A claimed size of terabytes is no damage by itself, but would take its time to be written out.
        const auto cancel = [](std::uint64_t done, std::uint64_t) { return done < 64 * megabyte; };
        const auto target = folder_ / "target.vdi";
        try {
            const auto openExtent = [](const std::string&) { return std::make_shared<MemorySource>(Bytes(2048, 1)); };
            const auto reader = openImage(std::make_shared<MemorySource>(bytes), fromUtf8(name), openExtent);
            convertToVdi(*reader, target, {}, cancel);
            std::filesystem::remove(target);
            return true;
        } catch (const Failure&) {
            return false;
        }
    }
};

const std::size_t diskSize = megabyte / 2 + sector;

} // namespace

TEST_F(Mutation, Vdi)
{
    run("disk.vdi", makeVdi(makeContent(diskSize, 40)), 0x204, 41);
}

TEST_F(Mutation, SparseVmdk)
{
    run("disk.vmdk", makeVmdk(makeContent(diskSize, 42)), 24 * sector, 43);
}

TEST_F(Mutation, StreamOptimizedVmdk)
{
    VmdkOptions options;
    options.compressed = true;
    run("disk.vmdk", makeVmdk(makeContent(diskSize, 44), options), 80, 45);
}

TEST_F(Mutation, Vhd)
{
    VhdOptions options;
    options.blockSize = 64 * 1024;
    run("disk.vhd", makeVhd(makeContent(diskSize, 47), options), 1600, 48);
}

TEST_F(Mutation, VmdkDescriptor)
{
    const std::string text =
        vmdkDescriptor("monolithicFlat", "RW 4 FLAT \"disk.vmdk\" 0\n", "ffffffff", sampleUuidText);
    run("disk.vmdk", Bytes(text.begin(), text.end()), text.size(), 46);
}
