#include <functional>
#include <random>

#include "images/byte_source.h"
#include "test_support.h"

using namespace ImageTests;
using namespace ImageWriters;
using namespace VBoxSim;

namespace {

const std::size_t oddSize = 5 * megabyte + 300 * sector;

class VdiReading : public ScratchTest
{};
class VmdkReading : public ScratchTest
{
protected:
    void expectReads(const VmdkOptions& options)
    {
        const Bytes content = makeContent(oddSize, 7);
        const auto file = put("disk.vmdk", makeVmdk(content, options));
        const auto reader = openImage(file);
        EXPECT_EQ(reader->info().format, ImageFormat::Vmdk);
        EXPECT_EQ(reader->info().logicalSize, content.size());
        EXPECT_TRUE(contentOf(*reader) == content);
        expectRunsFit(*reader, content);
    }
};
class VhdReading : public ScratchTest
{};
class RawReading : public ScratchTest
{};

/// Whether a VHD's footer holds the complement of the sum of its other bytes.
bool sumFits(const Bytes& footer)
{
    std::uint32_t sum = 0;
    std::uint32_t stored = 0;
    for (std::size_t i = 0; i < footer.size(); ++i) {
        if (i >= 64 && i < 68)
            stored = stored << 8 | footer[i];
        else
            sum += footer[i];
    }
    return stored == ~sum;
}

} // namespace

TEST_F(VdiReading, TellsTheHeader)
{
    const Bytes image = makeVdi(makeContent(oddSize, 1));
    const ImageInfo info = probeImage(put("disk.vdi", image));
    EXPECT_EQ(info.format, ImageFormat::Vdi);
    EXPECT_STREQ(formatName(info.format), L"VDI");
    EXPECT_EQ(info.variant, ImageVariant::Standard);
    EXPECT_EQ(info.logicalSize, oddSize);
    EXPECT_EQ(info.physicalSize, image.size());
    EXPECT_EQ(toUtf8(info.uuid), sampleUuidText);
    EXPECT_TRUE(info.parentUuid.empty());
    EXPECT_FALSE(info.optical);
}

TEST_F(VdiReading, GivesTheContentOfDynamicFixedAndOldImages)
{
    const Bytes content = makeContent(oddSize, 2);
    VdiOptions fixed;
    fixed.type = 2;
    VdiOptions marked;
    marked.markZeroBlocks = true;
    VdiOptions old;
    old.oldHeader = true;
    for (const VdiOptions& options : {VdiOptions(), fixed, marked, old}) {
        const auto reader = openImage(put("disk.vdi", makeVdi(content, options)));
        EXPECT_EQ(reader->info().variant, options.type == 2 ? ImageVariant::Fixed : ImageVariant::Standard);
        EXPECT_TRUE(contentOf(*reader) == content);
        expectRunsFit(*reader, content);
    }
}

TEST_F(VdiReading, ReadsAnyStretch)
{
    const Bytes content = makeContent(oddSize, 3);
    const auto reader = openImage(put("disk.vdi", makeVdi(content)));
    Bytes piece(megabyte);
    reader->read(megabyte - 100, piece.data(), piece.size());
    EXPECT_TRUE(std::equal(piece.begin(), piece.end(), content.begin() + megabyte - 100));
    reader->read(oddSize, piece.data(), 0);
    EXPECT_EQ(resultOf([&] { reader->read(oddSize - 1, piece.data(), 2); }), Result::invalidArgument);
    EXPECT_EQ(resultOf([&] { reader->read(UINT64_MAX, piece.data(), 2); }), Result::invalidArgument);
}

TEST_F(VdiReading, TakesFromTheParentWhatADiffLacks)
{
    const Bytes base = makeContent(4 * megabyte, 4);
    Bytes changed = base;
    std::fill_n(changed.begin() + megabyte, megabyte, std::uint8_t(0x5A));
    VdiOptions diff;
    diff.type = 4;
    diff.parentGuid = sampleGuid;
    diff.blocks = {1};
    const auto baseFile = put("base.vdi", makeVdi(base));
    const auto diffFile = put("diff.vdi", makeVdi(changed, diff));

    EXPECT_EQ(probeImage(diffFile).variant, ImageVariant::Diff);
    EXPECT_EQ(toUtf8(probeImage(diffFile).parentUuid), sampleUuidText);
    const auto reader = openImage(diffFile, openImage(baseFile));
    EXPECT_TRUE(contentOf(*reader) == changed);
    expectRunsFit(*reader, changed);
    EXPECT_EQ(resultOf([&] { contentOf(diffFile); }), Result::notSupported);
}

TEST_F(VdiReading, RefusesHeadersThatMakeNoSense)
{
    const Bytes good = makeVdi(makeContent(3 * megabyte, 5));
    const auto probeWith = [&](std::size_t place, std::uint64_t value) {
        Bytes bad = good;
        put32(bad, place, value);
        return resultOf([&] { probeImage(put("bad.vdi", bad)); });
    };
    EXPECT_EQ(probeWith(0x40, 0), Result::fileError);
    EXPECT_EQ(probeWith(0x44, 0x00010002), Result::notSupported);
    EXPECT_EQ(probeWith(0x48, 0x17F), Result::fileError);
    EXPECT_EQ(probeWith(0x4C, 9), Result::notSupported);
    EXPECT_EQ(probeWith(0x154, 0x10), Result::fileError);       // map in the header
    EXPECT_EQ(probeWith(0x154, 0xFFFFFF00), Result::fileError); // map outside
    EXPECT_EQ(probeWith(0x158, 0x200), Result::fileError);      // data over the map
    EXPECT_EQ(probeWith(0x158, 0xFFFFFF00), Result::fileError); // data outside
    EXPECT_EQ(probeWith(0x170, 0), Result::fileError);          // no size
    EXPECT_EQ(probeWith(0x170, 3 * megabyte + 1), Result::fileError);
    EXPECT_EQ(probeWith(0x174, 0xFFFFFFFF), Result::notSupported); // exabytes
    EXPECT_EQ(probeWith(0x178, 0), Result::fileError);
    EXPECT_EQ(probeWith(0x178, 3), Result::fileError);
    EXPECT_EQ(probeWith(0x17C, 512), Result::notSupported);
    EXPECT_EQ(probeWith(0x180, 0), Result::fileError);
    EXPECT_EQ(probeWith(0x180, 0xFFFFFFFF), Result::fileError);
    EXPECT_EQ(probeWith(0x184, 4), Result::fileError); // more allocated than there are
    EXPECT_EQ(probeWith(0x4C, 4), Result::fileError);  // a diff without a parent
}

TEST_F(VdiReading, RefusesMapsThatMakeNoSense)
{
    const Bytes content(3 * megabyte, 0x11);
    Bytes shared = makeVdi(content);
    put32(shared, 0x200, get32(shared, 0x204));
    EXPECT_EQ(resultOf([&] { openImage(put("shared.vdi", shared)); }), Result::fileError);
    Bytes outside = makeVdi(content);
    put32(outside, 0x200, 3);
    EXPECT_EQ(resultOf([&] { openImage(put("outside.vdi", outside)); }), Result::fileError);
    Bytes cut = makeVdi(content);
    cut.resize(cut.size() - 1);
    EXPECT_EQ(resultOf([&] { probeImage(put("cut.vdi", cut)); }), Result::fileError);
    cut.resize(0x100);
    EXPECT_EQ(resultOf([&] { probeImage(put("cut.vdi", cut)); }), Result::fileError);
}

TEST_F(VmdkReading, TellsTheHeader)
{
    VmdkOptions options;
    options.uuidText = sampleUuidText;
    const Bytes image = makeVmdk(makeContent(oddSize, 6), options);
    ImageInfo info = probeImage(put("disk.vmdk", image));
    EXPECT_EQ(info.format, ImageFormat::Vmdk);
    EXPECT_STREQ(formatName(info.format), L"VMDK");
    EXPECT_EQ(info.variant, ImageVariant::Standard);
    EXPECT_EQ(info.logicalSize, oddSize);
    EXPECT_EQ(info.physicalSize, image.size());
    EXPECT_EQ(toUtf8(info.uuid), sampleUuidText);

    options.compressed = true;
    options.uuidText.clear();
    info = probeImage(put("stream.vmdk", makeVmdk(makeContent(oddSize, 6), options)));
    EXPECT_EQ(info.variant, ImageVariant::VmdkStreamOptimized);
    EXPECT_TRUE(info.uuid.empty());
}

TEST_F(VmdkReading, GivesTheContentOfSparseImages)
{
    expectReads({});
}

TEST_F(VmdkReading, GivesTheContentOfGrainsInAnyOrder)
{
    constexpr std::size_t grain = 65536;
    Bytes content(4 * grain);
    for (std::size_t i = 0; i < content.size(); ++i)
        content[i] = static_cast<std::uint8_t>(1 + i / grain);
    Bytes image = makeVmdk(content);
    const std::size_t table = get32(image, static_cast<std::size_t>(get64(image, 56)) * 512) * std::size_t(512);
    const std::uint32_t first = get32(image, table), second = get32(image, table + 4);
    put32(image, table, second);
    put32(image, table + 4, first);
    const auto start = image.begin() + static_cast<std::ptrdiff_t>(first) * 512;
    std::swap_ranges(start, start + grain, image.begin() + static_cast<std::ptrdiff_t>(second) * 512);
    EXPECT_TRUE(contentOf(put("disk.vmdk", image)) == content);
}

TEST_F(VmdkReading, GivesTheContentOfImagesWithMarkedZeroGrains)
{
    VmdkOptions options;
    options.zeroGrains = true;
    expectReads(options);
}

TEST_F(VmdkReading, GivesTheContentOfStreamOptimizedImages)
{
    VmdkOptions options;
    options.compressed = true;
    expectReads(options);
}

TEST_F(VmdkReading, GivesTheContentOfImagesWithOtherGrainSizes)
{
    for (const bool compressed : {false, true}) {
        for (const std::size_t sectors : {8u, 512u, 2048u}) {
            VmdkOptions options;
            options.compressed = compressed;
            options.grainSectors = sectors;
            expectReads(options);
        }
    }
}

TEST_F(VmdkReading, ReadsAnyStretchOfACompressedImage)
{
    const Bytes content = makeContent(oddSize, 8);
    VmdkOptions options;
    options.compressed = true;
    const auto reader = openImage(put("disk.vmdk", makeVmdk(content, options)));
    for (const std::size_t place : {std::size_t(0), std::size_t(65535), std::size_t(100001), oddSize - 70000}) {
        Bytes piece(70000);
        reader->read(place, piece.data(), piece.size());
        EXPECT_TRUE(std::equal(piece.begin(), piece.end(), content.begin() + static_cast<std::ptrdiff_t>(place)));
    }
}

TEST_F(VmdkReading, TakesFromTheParentWhatADiffLacks)
{
    const Bytes base = makeContent(2 * megabyte, 9);
    Bytes changed = base;
    std::fill_n(changed.begin() + 65536, 65536, std::uint8_t(0xA5));
    VmdkOptions diff;
    diff.parentCid = "12345678";
    diff.grains = {1};
    const auto reader = openImage(put("diff.vmdk", makeVmdk(changed, diff)), openImage(put("base.vdi", makeVdi(base))));
    EXPECT_EQ(reader->info().variant, ImageVariant::Diff);
    EXPECT_TRUE(contentOf(*reader) == changed);
}

TEST_F(VmdkReading, GivesTheContentOfFlatAndSplitImages)
{
    const Bytes content = makeContent(3 * megabyte, 10);
    const Bytes first(content.begin(), content.begin() + megabyte);
    const Bytes second(content.begin() + megabyte, content.begin() + 2 * megabyte);
    Bytes last(content.begin() + 2 * megabyte, content.end());

    put("all-flat.vmdk", content);
    const auto flat = put("all.vmdk", vmdkDescriptor("monolithicFlat", "RW 6144 FLAT \"all-flat.vmdk\" 0\r\n",
                                                     "ffffffff", sampleUuidText));
    EXPECT_TRUE(contentOf(flat) == content);
    EXPECT_EQ(probeImage(flat).variant, ImageVariant::Fixed);
    EXPECT_EQ(toUtf8(probeImage(flat).uuid), sampleUuidText);
    EXPECT_EQ(probeImage(flat).physicalSize, content.size() + std::filesystem::file_size(flat));

    put("split-s001.vmdk", makeVmdk(first));
    Bytes shifted(512 + second.size(), 0xEE);
    std::copy(second.begin(), second.end(), shifted.begin() + 512);
    put("split-f002.vmdk", shifted);
    const auto split = put("split.vmdk", vmdkDescriptor("twoGbMaxExtentSparse",
                                                        "RW 2048 SPARSE \"split-s001.vmdk\"\n"
                                                        "RW 2048 FLAT \"split-f002.vmdk\" 1\n"
                                                        "RW 2048 ZERO\n",
                                                        "ffffffff", ""));
    Bytes expected = content;
    std::fill(expected.begin() + 2 * megabyte, expected.end(), std::uint8_t(0));
    const auto reader = openImage(split);
    EXPECT_EQ(reader->info().variant, ImageVariant::VmdkSplit2G);
    EXPECT_TRUE(contentOf(*reader) == expected);
    expectRunsFit(*reader, expected);
}

TEST_F(VmdkReading, RefusesBadExtents)
{
    const auto openWith = [&](const std::string& extentLine) {
        return resultOf(
            [&] { probeImage(put("bad.vmdk", vmdkDescriptor("monolithicFlat", extentLine, "ffffffff", ""))); });
    };
    put("data.bin", Bytes(megabyte));
    EXPECT_EQ(openWith(""), Result::fileError);
    EXPECT_EQ(openWith("RW 2048 FLAT \"absent.vmdk\" 0\n"), Result::objectNotFound);
    EXPECT_EQ(openWith("RW 2049 FLAT \"data.bin\" 0\n"), Result::fileError);
    EXPECT_EQ(openWith("RW 2048 FLAT \"data.bin\" 1\n"), Result::fileError);
    EXPECT_EQ(openWith("RW 0 FLAT \"data.bin\" 0\n"), Result::fileError);
    EXPECT_EQ(openWith("RW 18446744073709551615 FLAT \"data.bin\" 0\n"), Result::fileError);
    EXPECT_EQ(openWith("RW x FLAT \"data.bin\" 0\n"), Result::fileError);
    EXPECT_EQ(openWith("RW 2048 FLAT data.bin 0\n"), Result::fileError);
    EXPECT_EQ(openWith("RW 2048 SPARSE \"data.bin\"\n"), Result::fileError);
    EXPECT_EQ(openWith("RW 2048 VMFSRDM \"data.bin\"\n"), Result::notSupported);
    // An extent never leads to another folder.
    EXPECT_EQ(openWith("RW 2048 FLAT \"..\\\\RefusesBadExtents\\\\data.bin\" 0\n"), Result::fileError);
    EXPECT_EQ(openWith("RW 2048 FLAT \"" + (folder_ / "data.bin").string() + "\" 0\n"), Result::fileError);
    EXPECT_EQ(openWith("RW 2048 FLAT \"data.bin:stream\" 0\n"), Result::fileError);
    EXPECT_EQ(openWith("RW 2048 FLAT \"NUL\" 0\n"), Result::fileError);
}

TEST_F(VmdkReading, RefusesHeadersThatMakeNoSense)
{
    const Bytes good = makeVmdk(makeContent(megabyte, 11));
    const auto probeWith = [&](const std::function<void(Bytes&)>& change) {
        Bytes bad = good;
        change(bad);
        return resultOf([&] { probeImage(put("bad.vmdk", bad)); });
    };
    EXPECT_EQ(probeWith([](Bytes& image) { put32(image, 0, 0); }), Result::fileError);
    EXPECT_EQ(probeWith([](Bytes& image) { put32(image, 4, 0); }), Result::notSupported);
    EXPECT_EQ(probeWith([](Bytes& image) { put32(image, 4, 4); }), Result::notSupported);
    EXPECT_EQ(probeWith([](Bytes& image) { put64(image, 12, 0); }), Result::fileError);
    EXPECT_EQ(probeWith([](Bytes& image) { put64(image, 12, UINT64_MAX); }), Result::notSupported);
    EXPECT_EQ(probeWith([](Bytes& image) { put64(image, 12, std::uint64_t(1) << 35); }), Result::fileError);
    for (const std::uint64_t grain : {0ull, 1ull, 7ull, 100ull, 4096ull, 1ull << 40, ~0ull})
        EXPECT_EQ(probeWith([=](Bytes& image) { put64(image, 20, grain); }), Result::fileError) << grain;
    EXPECT_EQ(probeWith([](Bytes& image) { put64(image, 28, 1 << 30); }), Result::fileError);
    EXPECT_EQ(probeWith([](Bytes& image) { put64(image, 36, 1 << 30); }), Result::fileError);
    EXPECT_EQ(probeWith([](Bytes& image) { put64(image, 36, 0); }), Result::fileError);
    EXPECT_EQ(probeWith([](Bytes& image) { put32(image, 44, 0); }), Result::fileError);
    EXPECT_EQ(probeWith([](Bytes& image) { put32(image, 44, 0xFFFFFFFF); }), Result::fileError);
    EXPECT_EQ(probeWith([](Bytes& image) { put64(image, 56, 0); }), Result::fileError);
    EXPECT_EQ(probeWith([](Bytes& image) { put64(image, 56, 1 << 30); }), Result::fileError);
    EXPECT_EQ(probeWith([](Bytes& image) { put64(image, 56, UINT64_MAX); }), Result::fileError); // no footer
    EXPECT_EQ(probeWith([](Bytes& image) { image[75] = '\n'; }), Result::fileError);
    EXPECT_EQ(probeWith([](Bytes& image) { put16(image, 77, 2); }), Result::notSupported);
    EXPECT_EQ(probeWith([](Bytes& image) { image[512] = 'X'; }), Result::fileError);
    EXPECT_EQ(probeWith([](Bytes& image) { image.resize(100); }), Result::fileError);
}

TEST_F(VmdkReading, RefusesMapsThatMakeNoSense)
{
    const Bytes content(2 * megabyte, 0x22);
    const Bytes good = makeVmdk(content);
    const std::size_t directory = static_cast<std::size_t>(get64(good, 56)) * 512;
    const std::size_t table = get32(good, directory) * std::size_t(512);
    const auto openWith = [&](std::size_t place, std::uint32_t value) {
        Bytes bad = good;
        put32(bad, place, value);
        return resultOf([&] { contentOf(put("bad.vmdk", bad)); });
    };
    EXPECT_EQ(openWith(directory, 0xFFFFFFFF), Result::fileError);
    EXPECT_EQ(openWith(table, 0xFFFFFFFF), Result::fileError);
    EXPECT_EQ(openWith(table, 1), Result::fileError); // the header, as zero grains are not announced
    EXPECT_EQ(openWith(table, static_cast<std::uint32_t>(good.size() / 512 - 1)), Result::fileError);
}

TEST_F(VmdkReading, RefusesDamagedGrains)
{
    VmdkOptions options;
    options.compressed = true;
    const Bytes good = makeVmdk(Bytes(65536, 0x33), options);
    const std::size_t grain = 128 * sector;
    const auto readWith = [&](const std::function<void(Bytes&)>& change) {
        Bytes bad = good;
        change(bad);
        return resultOf([&] { contentOf(put("bad.vmdk", bad)); });
    };
    EXPECT_EQ(readWith([&](Bytes& image) { put64(image, grain, 128); }), Result::fileError);
    EXPECT_EQ(readWith([&](Bytes& image) { put32(image, grain + 8, 0); }), Result::fileError);
    EXPECT_EQ(readWith([&](Bytes& image) { put32(image, grain + 8, 0xFFFFFFFF); }), Result::fileError);
    EXPECT_EQ(readWith([&](Bytes& image) { put32(image, grain + 8, get32(image, grain + 8) - 1); }), Result::fileError);
    EXPECT_EQ(readWith([&](Bytes& image) { image[grain + 20] ^= 0xFF; }), Result::fileError);
    // Less than a grain.
    EXPECT_EQ(readWith([&](Bytes& image) {
                  const Bytes little = deflated(Bytes(65535, 0x33));
                  put32(image, grain + 8, little.size());
                  std::copy(little.begin(), little.end(), image.begin() + static_cast<std::ptrdiff_t>(grain + 12));
              }),
              Result::fileError);
}

TEST_F(VmdkReading, RefusesAGrainThatGrowsWithoutEnd)
{
    VmdkOptions options;
    options.compressed = true;
    std::mt19937 random(13);
    Bytes noise(65536);
    std::generate(noise.begin(), noise.end(), [&] { return static_cast<std::uint8_t>(random()); });
    Bytes image = makeVmdk(noise, options);
    const std::size_t grain = 128 * sector;
    const Bytes bomb = deflated(Bytes(10 * megabyte));
    ASSERT_LT(grain + 12 + bomb.size(), image.size());
    put32(image, grain + 8, bomb.size());
    std::copy(bomb.begin(), bomb.end(), image.begin() + static_cast<std::ptrdiff_t>(grain + 12));
    EXPECT_EQ(resultOf([&] { contentOf(put("bomb.vmdk", image)); }), Result::fileError);
}

TEST_F(VhdReading, GivesTheContentOfFixedAndDynamicImages)
{
    const Bytes content = makeContent(oddSize, 30);
    VhdOptions small;
    small.blockSize = 512 * 1024;
    VhdOptions unchecked;
    unchecked.wrongChecksums = true;
    const std::pair<Bytes, std::uint32_t> images[] = {{makeFixedVhd(content), ImageVariant::Fixed},
                                                      {makeVhd(content), ImageVariant::Standard},
                                                      {makeVhd(content, small), ImageVariant::Standard},
                                                      {makeVhd(content, unchecked), ImageVariant::Standard}};
    for (const auto& [image, variant] : images)
        for (const char* name : {"disk.vhd", "disk.img"}) { // whatever its name says
            const auto reader = openImage(put(name, image));
            EXPECT_EQ(reader->info().format, ImageFormat::Vhd);
            EXPECT_STREQ(formatName(reader->info().format), L"VHD");
            EXPECT_EQ(reader->info().variant, variant);
            EXPECT_EQ(reader->info().logicalSize, content.size());
            EXPECT_EQ(toUtf8(reader->info().uuid), sampleUuidText);
            EXPECT_TRUE(contentOf(*reader) == content);
            expectRunsFit(*reader, content);
        }
}

TEST_F(VhdReading, ReadsThroughDifferences)
{
    const Bytes base = makeContent(oddSize, 31);
    Bytes change(oddSize);
    std::fill_n(change.begin() + megabyte, 3 * sector, std::uint8_t(9));
    VhdOptions options;
    options.diff = true;
    options.parentGuid = sampleGuid;
    const auto parent = put("base.vhd", makeVhd(base));
    const auto diff = put("diff.vhd", makeVhd(change, options));
    Bytes expected = base;
    std::fill_n(expected.begin() + megabyte, 3 * sector, std::uint8_t(9));
    const auto reader = openImage(diff, openImage(parent));
    EXPECT_EQ(reader->info().variant, ImageVariant::Diff);
    EXPECT_EQ(toUtf8(reader->info().parentUuid), sampleUuidText);
    EXPECT_TRUE(contentOf(*reader) == expected);
    EXPECT_EQ(resultOf([&] { contentOf(diff); }), Result::notSupported); // not without its parent
}

TEST_F(VhdReading, RefusesDamage)
{
    const Bytes good = makeVhd(makeContent(oddSize, 32));
    const auto with = [&](auto change) {
        Bytes bad = good;
        change(bad);
        return resultOf([&] { openImage(put("bad.vhd", bad)); });
    };
    const std::size_t footer = good.size() - sector;
    EXPECT_EQ(with([&](Bytes& bytes) { bytes[footer] = 'x'; }), Result::fileError);
    EXPECT_EQ(with([&](Bytes& bytes) { bytes[footer + 63] = 9; }), Result::notSupported); // type
    EXPECT_EQ(with([&](Bytes& bytes) { bytes[footer + 48] = 9; }), Result::notSupported); // size
    EXPECT_EQ(with([&](Bytes& bytes) { bytes[footer + 55] = 1; }), Result::fileError);    // no whole sectors
    EXPECT_EQ(with([](Bytes& bytes) { bytes[512] = 'x'; }), Result::fileError);           // header
    EXPECT_EQ(with([](Bytes& bytes) { bytes[512 + 31] = 1; }), Result::fileError);        // blocks
    EXPECT_EQ(with([](Bytes& bytes) { bytes[512 + 31] = 2; }), Result::fileError);        // all but the last, short one
    EXPECT_EQ(with([](Bytes& bytes) { bytes[512 + 16] = 1; }), Result::fileError);        // place of the map
    EXPECT_EQ(with([](Bytes& bytes) { bytes[512 + 35] = 1; }), Result::fileError);        // block size
    EXPECT_EQ(with([](Bytes& bytes) { bytes[1536] = 1; }), Result::fileError);            // a block beyond the end
    EXPECT_EQ(with([](Bytes& bytes) { std::copy_n(&bytes[1536], 4, &bytes[1540]); }), Result::fileError);
    Bytes fixed = makeFixedVhd(makeContent(megabyte, 33));
    fixed.erase(fixed.begin(), fixed.begin() + sector);
    EXPECT_EQ(resultOf([&] { openImage(put("bad.vhd", fixed)); }), Result::fileError);
}

TEST_F(VhdReading, UuidsAreChangedInPlace)
{
    const std::wstring uuid = L"99999999-8888-7777-6666-555555555555";
    const Bytes content = makeContent(oddSize, 34);
    for (const Bytes& image : {makeVhd(content), makeFixedVhd(content)}) {
        const auto file = put("disk.vhd", image);
        setImageUuid(file, uuid);
        EXPECT_EQ(probeImage(file).uuid, uuid);
        EXPECT_TRUE(contentOf(file) == content);
        const Bytes changed = readFile(file);
        const Bytes footer(changed.end() - sector, changed.end());
        EXPECT_TRUE(sumFits(footer));
        if (probeImage(file).variant == ImageVariant::Standard) {
            EXPECT_TRUE(std::equal(footer.begin(), footer.end(), changed.begin())) << "the copy in front";
        }
        const auto copy = folder_ / "copy.vhd";
        cloneImage(file, copy, fromUtf8(sampleUuidText), nullptr);
        EXPECT_EQ(toUtf8(probeImage(copy).uuid), sampleUuidText);
        EXPECT_TRUE(contentOf(copy) == content);
        std::filesystem::remove(copy);
    }
}

TEST_F(RawReading, NeedsAKnownSuffixOrAVolume)
{
    const Bytes content = makeContent(megabyte, 12);
    const ImageInfo info = probeImage(put("disk.IMG", content));
    EXPECT_EQ(info.format, ImageFormat::Raw);
    EXPECT_STREQ(formatName(info.format), L"RAW");
    EXPECT_EQ(info.variant, ImageVariant::Fixed);
    EXPECT_EQ(info.logicalSize, content.size());
    EXPECT_TRUE(info.uuid.empty());
    EXPECT_FALSE(info.optical);
    EXPECT_TRUE(contentOf(put("disk.dsk", content)) == content);
    EXPECT_EQ(resultOf([&] { probeImage(put("disk.txt", content)); }), Result::fileError);
    EXPECT_EQ(resultOf([&] { probeImage(put("disk.vdi", content)); }), Result::fileError);
    EXPECT_EQ(resultOf([&] { probeImage(put("empty.img", Bytes())); }), Result::fileError);
    EXPECT_EQ(resultOf([&] { probeImage(put("odd.img", Bytes(513))); }), Result::fileError);

    Bytes volume(40 * std::size_t(1024));
    putText(volume, 0x8001, "CD001");
    EXPECT_TRUE(probeImage(put("volume.bin", volume)).optical);
    EXPECT_TRUE(probeImage(put("disk.iso", content)).optical);
}

TEST_F(RawReading, TellsWhatIsWrongWithAFile)
{
    EXPECT_EQ(resultOf([&] { probeImage(folder_ / "absent.vdi"); }), Result::objectNotFound);
    EXPECT_EQ(resultOf([&] { probeImage(folder_ / "absent" / "absent.vdi"); }), Result::iprtError);
    EXPECT_NE(resultOf([&] { probeImage(folder_); }), Result::ok);
}
