// Images without content.
#include <fstream>

#include "images/creation.h"
#include "test_support.h"

using namespace ImageTests;
using namespace ImageWriters;
using namespace VBoxSim;

namespace {

struct Kind
{
    ImageFormat format;
    bool fixed;
    const char* file;
};

class Creation : public ScratchTest, public testing::WithParamInterface<Kind>
{
protected:
    void create(std::uint64_t size) const
    {
        createImage(folder_ / GetParam().file, GetParam().format, GetParam().fixed, size, sampleUuid);
    }
};

INSTANTIATE_TEST_SUITE_P(
    Each, Creation,
    testing::Values(Kind{ImageFormat::Vdi, false, "dynamic.vdi"}, Kind{ImageFormat::Vdi, true, "fixed.vdi"},
                    Kind{ImageFormat::Vmdk, false, "dynamic.vmdk"}, Kind{ImageFormat::Vmdk, true, "fixed.vmdk"},
                    Kind{ImageFormat::Vhd, false, "dynamic.vhd"}, Kind{ImageFormat::Vhd, true, "fixed.vhd"}));

class VhdCreation : public ScratchTest
{};

} // namespace

TEST_P(Creation, GivesADiskOfZeros)
{
    constexpr std::uint64_t size = 5 * megabyte + 3 * sector;
    create(size);
    const auto image = openImage(folder_ / GetParam().file);
    const ImageInfo& info = image->info();
    EXPECT_EQ(info.format, GetParam().format);
    EXPECT_EQ(info.variant, GetParam().fixed ? ImageVariant::Fixed : ImageVariant::Standard);
    EXPECT_EQ(info.logicalSize, size);
    EXPECT_EQ(info.uuid, sampleUuid);
    if (GetParam().fixed)
        EXPECT_GE(info.physicalSize, size);
    else
        EXPECT_LT(info.physicalSize, size);
    Bytes content(size, 1);
    image->read(0, content.data(), content.size());
    EXPECT_EQ(content, Bytes(size));
}

TEST_P(Creation, NeverReplacesAFile)
{
    std::ofstream(folder_ / GetParam().file) << "mine";
    EXPECT_THROW(create(megabyte), Failure);
    EXPECT_EQ(readFile(folder_ / GetParam().file).size(), 4u);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_), {}), 1) << "nothing else is left";
}

TEST_P(Creation, RefusesSizesThatNoDiskHas)
{
    EXPECT_THROW(create(0), Failure);
    EXPECT_THROW(create(megabyte + 1), Failure);
    EXPECT_THROW(create(maxImageSize + sector), Failure);
    EXPECT_TRUE(std::filesystem::is_empty(folder_));
}

// A VHD tells its size as cylinders, heads and sectors, too; expected from the format's description.
TEST_F(VhdCreation, AVhdTellsItsGeometry)
{
    const struct
    {
        std::uint64_t megabytes;
        int cylinders, heads, sectors;
    } sizes[] = {{8, 16384 / 17 / 4, 4, 17},      // never less than 4 heads
                 {100, 204800 / 17 / 12, 12, 17}, // a head for each 1024 tracks begun
                 {200, 409600 / 31 / 16, 16, 31}, // more than 16 heads there are not
                 {1024, 2097152 / 63 / 16, 16, 63}};
    for (const auto& size : sizes) {
        const auto file = folder_ / (std::to_string(size.megabytes) + ".vhd");
        createImage(file, ImageFormat::Vhd, false, size.megabytes * megabyte, sampleUuid);
        const Bytes image = readFile(file);
        const std::size_t footer = image.size() - 512;
        EXPECT_EQ(image[footer + 56] << 8 | image[footer + 57], size.cylinders) << size.megabytes;
        EXPECT_EQ(image[footer + 58], size.heads) << size.megabytes;
        EXPECT_EQ(image[footer + 59], size.sectors) << size.megabytes;
        EXPECT_TRUE(std::equal(image.begin(), image.begin() + 512, image.end() - 512)) << "the copy in front";
    }
}
