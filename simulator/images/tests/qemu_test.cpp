#include <cstdlib>
#include <set>

#include "test_support.h"

// Reads the images that qemu_images.py made, converts and clones them; the script then compares the results.

using namespace ImageTests;
using namespace VBoxSim;

namespace {

std::filesystem::path fixtureFolder()
{
    const wchar_t* folder = _wgetenv(L"TRAVIK_QEMU_IMAGES");
    return folder ? folder : L"";
}

/// The images in the folder, without the files that hold only data.
std::vector<std::filesystem::path> images()
{
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(fixtureFolder())) {
        const std::wstring stem = entry.path().stem().wstring();
        if (entry.is_regular_file() && stem.find(L"-f00") == std::wstring::npos &&
            stem.find(L"-s00") == std::wstring::npos && stem != L"small-flat-flat")
            files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

const std::uint64_t smallSize = 20 * megabyte + 300 * sector;
const std::uint64_t largeSize = std::uint64_t(5) << 30;

} // namespace

TEST(QemuImages, AreProbed)
{
    ASSERT_EQ(images().size(), 14u);
    for (const auto& file : images()) {
        const std::wstring stem = file.stem().wstring();
        const ImageInfo info = probeImage(file);
        EXPECT_EQ(info.format, formatOfSuffix(file.extension().wstring())) << file;
        EXPECT_EQ(info.logicalSize, stem.rfind(L"small", 0) == 0 ? smallSize : largeSize) << file;
        EXPECT_EQ(info.uuid.empty(), info.format == ImageFormat::Vmdk) << file;
        const std::uint32_t variant = stem == L"small-fixed" || stem == L"small-vpcfixed" || stem == L"small-flat"
                                          ? ImageVariant::Fixed
                                      : stem == L"small-splitflat" ? ImageVariant::Fixed | ImageVariant::VmdkSplit2G
                                      : stem.find(L"-splitsparse") != std::wstring::npos ? ImageVariant::VmdkSplit2G
                                      : stem.find(L"-stream") != std::wstring::npos ? ImageVariant::VmdkStreamOptimized
                                                                                    : ImageVariant::Standard;
        EXPECT_EQ(info.variant, variant) << file;
    }
}

TEST(QemuImages, HaveTheirContent)
{
    const Bytes content = ImageWriters::readFile(fixtureFolder() / "content" / "small.img");
    ASSERT_EQ(content.size(), smallSize);
    for (const auto& file : images()) {
        if (file.stem().wstring().rfind(L"small", 0) == 0) {
            EXPECT_TRUE(contentOf(file) == content) << file;
        }
    }
}

TEST(QemuImages, AreConverted)
{
    const auto folder = TravikTest::scratchFolder() / "converted";
    std::filesystem::create_directory(folder);
    for (const auto& file : images())
        convertToVdi(*openImage(file), folder / (file.stem().wstring() + L".vdi"), {}, nullptr);
    // What is read back is checked by the script that made the images.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 14);
}

TEST(QemuImages, AreCloned)
{
    const auto folder = TravikTest::scratchFolder() / "cloned";
    std::filesystem::create_directory(folder);
    std::set<std::string> uuids;
    for (const auto& file : images()) {
        cloneImage(file, folder / file.filename(), {}, nullptr);
        uuids.insert(toUtf8(probeImage(folder / file.filename()).uuid));
    }
    EXPECT_EQ(uuids.size(), 14u);
}
