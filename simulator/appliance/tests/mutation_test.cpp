#include <chrono>
#include <random>

#include "appliance/appliance.h"
#include "appliance_writers.h"
#include "images/byte_source.h"
#include "test_support.h"

using namespace ApplianceWriters;
using namespace ImageTests;
using namespace ImageWriters;
using namespace VBoxSim;

// Appliances with random damage: an error or an import, never a crash, a hang, or a file that should not be there. The
// number of rounds comes from the build, so that the same test runs short and long.

namespace {

class ApplianceMutation : public ScratchTest
{
protected:
    ApplianceMutation()
    {
        OvfParts parts;
        parts.sections = "<OperatingSystemSection ovf:id='94'/><vbox:Machine name='vm'/>";
        parts.items = sampleItems() + item({{"ResourceType", "10"}, {"Connection", "NAT"}});
        ovf_ = makeOvf(parts);
        VmdkOptions options;
        options.compressed = true;
        disk_ = makeVmdk(makeContent(200 * std::size_t(1024), 60), options);
    }

    Bytes archive(const std::string& ovf) const
    {
        return Tar().add("vm.ovf", ovf).add("vm.mf", std::string()).add("disk1.vmdk", disk_).finish();
    }

    /// Tries an archive as the server would; true when all went well.
    bool tryArchive(const Bytes& bytes, int round)
    {
        const auto start = std::chrono::steady_clock::now();
        const bool good = attempt(put("vm.ova", bytes));
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << "round " << round;
        EXPECT_EQ(listing().size(), 1u) << "round " << round;
        return good;
    }

    std::string ovf_;
    Bytes disk_;

private:
    bool attempt(const std::filesystem::path& file)
    {
        ImportSurroundings server;
        const auto machines = folder_ / "machines";
        server.isNameTaken = [](const std::wstring&) { return false; };
        server.readMachine = [](const std::string&) { return ImportMachine(); };
        server.settingsFile = [&](const std::wstring&) { return machines / "vm" / "vm.vbox"; };
        server.findOsType = [](const std::wstring&) { return std::optional(ImportOsType{512, 2}); };
        server.isFileTaken = [](const std::filesystem::path&) { return false; };
        CreatedFiles created; // never committed: all is taken back
        try {
            const Appliance appliance(file);
            appliance.verifyDigests(nullptr);
            std::vector<DiskImport> disks;
            for (const SystemDescription& system : interpret(appliance.descriptor(), server).systems) {
                for (const DescriptionEntry& entry : system.entries) {
                    if (entry.type == DescriptionType::HardDiskImage)
                        disks.push_back(
                            {toUtf8(entry.reference), machines / "vm" / entry.suggested, ImageFormat::Vdi, {}});
                }
            }
            appliance.importDisks(disks, created,
                                  [](std::uint64_t done, std::uint64_t) { return done < 64 * megabyte; });
            return true;
        } catch (const Failure&) {
            return false;
        }
    }
};

} // namespace

TEST_F(ApplianceMutation, TheSampleIsGood)
{
    EXPECT_TRUE(tryArchive(archive(ovf_), 0));
}

TEST_F(ApplianceMutation, Archives)
{
    std::mt19937 random(61);
    const Bytes good = archive(ovf_);
    int failures = 0;
    for (int round = 0; round < TRAVIK_MUTATION_ROUNDS; ++round) {
        Bytes bad = good;
        const std::size_t headers[] = {0, 512 + (ovf_.size() + 511) / 512 * 512,
                                       1024 + (ovf_.size() + 511) / 512 * 512};
        const std::size_t header = headers[random() % 3];
        for (std::size_t i = 0; i <= random() % 3; ++i)
            bad[header + random() % 512] = static_cast<std::uint8_t>(random());
        // Without the right checksum nothing else would be reached.
        if (random() % 4 != 0)
            fixChecksum(bad, header);
        if (random() % 8 == 0)
            bad.resize(random() % bad.size());
        failures += tryArchive(bad, round) ? 0 : 1;
    }
    EXPECT_GT(failures, TRAVIK_MUTATION_ROUNDS / 20);
}

TEST_F(ApplianceMutation, Descriptors)
{
    static const std::string tokens[] = {"<",         ">",      "\"",
                                         "&",         "-1",     "99999999999999999999",
                                         "../",       "C:\\",   "<!DOCTYPE a>",
                                         "&#0;",      "]]>",    "<!--",
                                         "ovf:",      "/disk/", "vmdisk1",
                                         "file1",     "<Item>", "</Item>",
                                         "MegaBytes", "17",     std::string(1, '\0'),
                                         "\xFF"};
    std::mt19937 random(62);
    int failures = 0;
    for (int round = 0; round < TRAVIK_MUTATION_ROUNDS; ++round) {
        std::string bad = ovf_;
        for (std::size_t i = 0; i <= random() % 3; ++i) {
            const std::size_t place = random() % bad.size();
            const std::size_t length = random() % 12;
            switch (random() % 4) {
            case 0:
                bad.erase(place, length);
                break;
            case 1:
                bad.insert(place, tokens[random() % std::size(tokens)]);
                break;
            case 2: {
                // A value becomes another one.
                const std::size_t quote = bad.find('"', place);
                const std::size_t end = quote == std::string::npos ? quote : bad.find('"', quote + 1);
                if (end != std::string::npos)
                    bad.replace(quote + 1, end - quote - 1, tokens[random() % std::size(tokens)]);
                break;
            }
            default:
                bad.insert(random() % bad.size(), bad.substr(place, random() % 400));
            }
            if (bad.empty())
                bad = " ";
        }
        failures += tryArchive(archive(bad), round) ? 0 : 1;
    }
    EXPECT_GT(failures, TRAVIK_MUTATION_ROUNDS / 20);
}

TEST_F(ApplianceMutation, WholeFiles)
{
    std::mt19937 random(63);
    const Bytes good = archive(ovf_);
    int failures = 0;
    for (int round = 0; round < TRAVIK_MUTATION_ROUNDS; ++round) {
        Bytes bad = good;
        for (std::size_t i = 0; i <= random() % 6; ++i)
            bad[random() % bad.size()] ^= static_cast<std::uint8_t>(1 + random() % 255);
        failures += tryArchive(bad, round) ? 0 : 1;
    }
    EXPECT_GT(failures, TRAVIK_MUTATION_ROUNDS / 20);
}
