#include <functional>

#include "base/safe_name.h"
#include "images/byte_source.h"
#include "test_support.h"

using namespace ImageTests;
using namespace ImageWriters;
using namespace VBoxSim;

namespace {

const std::size_t imageSize = 9 * megabyte + 300 * sector;

bool goOn(std::uint64_t, std::uint64_t)
{
    return true;
}

class Writing : public ScratchTest
{};

/// A disk whose reading fails at some place.
class BrokenDisk : public ImageReader
{
public:
    explicit BrokenDisk(std::uint64_t size) { info_.logicalSize = size; }
    ImageRun runAt(std::uint64_t offset) override { return {info_.logicalSize - offset, false}; }

protected:
    void readChecked(std::uint64_t offset, std::uint8_t* buffer, std::size_t length) override
    {
        if (offset >= 3 * megabyte)
            throw Failure(Result::fileError, L"broken here");
        std::fill_n(buffer, length, std::uint8_t(1));
    }
};

} // namespace

TEST_F(Writing, MakesAnEmptyVdi)
{
    const auto file = folder_ / "new.vdi";
    createVdi(file, 10 * megabyte + 512, {sampleUuid, {}, {}});
    const Bytes image = readFile(file);
    const std::string banner = "<<< Oracle VM VirtualBox Disk Image >>>\n";
    EXPECT_TRUE(std::equal(banner.begin(), banner.end(), image.begin()));
    EXPECT_EQ(image.size(), 2 * megabyte);
    EXPECT_EQ(get32(image, 0x40), 0xBEDA107Fu);
    EXPECT_EQ(get32(image, 0x44), 0x00010001u);
    EXPECT_EQ(get32(image, 0x48), 0x190u);
    EXPECT_EQ(get32(image, 0x4C), 1u);
    EXPECT_EQ(get32(image, 0x154), megabyte);
    EXPECT_EQ(get32(image, 0x158), 2 * megabyte);
    EXPECT_EQ(get32(image, 0x168), 512u);
    EXPECT_EQ(get64(image, 0x170), 10 * megabyte + 512);
    EXPECT_EQ(get32(image, 0x178), megabyte);
    EXPECT_EQ(get32(image, 0x17C), 0u);
    EXPECT_EQ(get32(image, 0x180), 11u);
    EXPECT_EQ(get32(image, 0x184), 0u);
    EXPECT_TRUE(std::equal(sampleGuid.begin(), sampleGuid.end(), image.begin() + 0x188));
    EXPECT_TRUE(std::all_of(image.begin() + 0x1A8, image.begin() + 0x1C8, [](auto byte) { return byte == 0; }));
    for (std::size_t block = 0; block < 11; ++block)
        EXPECT_EQ(get32(image, megabyte + 4 * block), 0xFFFFFFFFu);

    const ImageInfo info = probeImage(file);
    EXPECT_EQ(info.uuid, sampleUuid);
    EXPECT_FALSE(info.modificationUuid.empty());
    EXPECT_TRUE(contentOf(file) == Bytes(10 * megabyte + 512));
}

TEST_F(Writing, MakesADifferencingVdi)
{
    const Bytes content = makeContent(3 * megabyte, 20);
    const auto base = put("base.vdi", makeVdi(content));
    const std::wstring modification = L"99999999-8888-7777-6666-555555555555";
    createVdi(folder_ / "diff.vdi", content.size(), {{}, sampleUuid, modification});
    const auto reader = openImage(folder_ / "diff.vdi", openImage(base));
    EXPECT_EQ(reader->info().variant, ImageVariant::Diff);
    EXPECT_EQ(reader->info().parentUuid, sampleUuid);
    EXPECT_FALSE(reader->info().uuid.empty());
    EXPECT_TRUE(contentOf(*reader) == content);
}

TEST_F(Writing, RefusesSizesThatNoDiskHas)
{
    for (const std::uint64_t size : {std::uint64_t(0), std::uint64_t(511), maxImageSize + 512, UINT64_MAX})
        EXPECT_EQ(resultOf([&] { createVdi(folder_ / "bad.vdi", size, {}); }), Result::invalidArgument) << size;
    EXPECT_TRUE(listing().empty());
}

TEST_F(Writing, ConvertsEveryFormat)
{
    const Bytes content = makeContent(imageSize, 21);
    VmdkOptions compressed;
    compressed.compressed = true;
    put("flat-flat.vmdk", content);
    const std::vector<std::filesystem::path> sources = {
        put("source.vdi", makeVdi(content)),
        put("source.vmdk", makeVmdk(content)),
        put("stream.vmdk", makeVmdk(content, compressed)),
        put("source.img", content),
        put("flat.vmdk", vmdkDescriptor("monolithicFlat",
                                        "RW " + std::to_string(content.size() / 512) + " FLAT \"flat-flat.vmdk\" 0\n",
                                        "ffffffff", "")),
    };
    for (const auto& source : sources) {
        const auto target = folder_ / "target.vdi";
        convertToVdi(*openImage(source), target, sampleUuid, goOn);
        EXPECT_EQ(probeImage(target).uuid, sampleUuid);
        EXPECT_EQ(probeImage(target).variant, ImageVariant::Standard);
        EXPECT_TRUE(contentOf(target) == content) << source;
        std::filesystem::remove(target);
    }
}

TEST_F(Writing, StoresOnlyBlocksThatAreNotZero)
{
    Bytes content(8 * megabyte + 512);
    content[3 * megabyte + 5] = 1;
    content.back() = 1;
    for (const auto& source : {put("disk.img", content), put("disk.vmdk", makeVmdk(content))}) {
        const auto target = folder_ / "target.vdi";
        convertToVdi(*openImage(source), target, {}, goOn);
        const Bytes image = readFile(target);
        EXPECT_EQ(get32(image, 0x184), 2u);
        EXPECT_EQ(image.size(), 4 * megabyte);
        EXPECT_TRUE(contentOf(target) == content);
        std::filesystem::remove(target);
    }
    // The last one is shorter, and what is behind it zero, whatever the block before holds.
    content[7 * megabyte + 1000] = 1;
    content.back() = 0;
    const auto target = folder_ / "target.vdi";
    convertToVdi(*openImage(put("disk.img", content)), target, {}, goOn);
    EXPECT_EQ(get32(readFile(target), 0x184), 2u);
    EXPECT_TRUE(contentOf(target) == content);
}

TEST_F(Writing, GivesARandomUuidWhenNoneIsAskedFor)
{
    createVdi(folder_ / "a.vdi", megabyte, {});
    createVdi(folder_ / "b.vdi", megabyte, {});
    EXPECT_FALSE(probeImage(folder_ / "a.vdi").uuid.empty());
    EXPECT_NE(probeImage(folder_ / "a.vdi").uuid, probeImage(folder_ / "b.vdi").uuid);
}

TEST_F(Writing, ProgressGrowsToTheEnd)
{
    for (const auto& source :
         {put("disk.img", makeContent(imageSize, 22)), put("sparse.vmdk", makeVmdk(makeContent(imageSize, 22)))}) {
        std::uint64_t last = 0;
        std::size_t calls = 0;
        convertToVdi(*openImage(source), folder_ / "target.vdi", {}, [&](std::uint64_t done, std::uint64_t total) {
            EXPECT_EQ(total, imageSize);
            EXPECT_GE(done, last);
            EXPECT_LE(done, total);
            last = done;
            ++calls;
            return true;
        });
        EXPECT_EQ(last, imageSize);
        EXPECT_GT(calls, 3u);
        std::filesystem::remove(folder_ / "target.vdi");
    }
}

TEST_F(Writing, CancelLeavesNothing)
{
    const auto source = put("disk.img", makeContent(imageSize, 23));
    const auto before = listing();
    for (const std::uint64_t at : {std::uint64_t(0), std::uint64_t(4 * megabyte), std::uint64_t(imageSize)}) {
        const auto cancel = [&](std::uint64_t done, std::uint64_t) { return done < at; };
        EXPECT_EQ(resultOf([&] { convertToVdi(*openImage(source), folder_ / "target.vdi", {}, cancel); }),
                  Result::fail);
        EXPECT_EQ(resultOf([&] { cloneImage(source, folder_ / "target.img", {}, cancel); }), Result::fail);
        EXPECT_EQ(listing(), before);
    }
}

TEST_F(Writing, FailureLeavesNothing)
{
    BrokenDisk disk(10 * megabyte);
    EXPECT_EQ(resultOf([&] { convertToVdi(disk, folder_ / "target.vdi", {}, goOn); }), Result::fileError);
    EXPECT_TRUE(listing().empty());
    EXPECT_EQ(resultOf([&] { createVdi(folder_ / "absent" / "target.vdi", megabyte, {}); }), Result::iprtError);
    EXPECT_TRUE(listing().empty());
}

TEST_F(Writing, AnExceptionOfTheCallbackLeavesNothing)
{
    const auto source = put("disk.img", makeContent(imageSize, 24));
    const auto before = listing();
    const auto thrower = [](std::uint64_t done, std::uint64_t) -> bool {
        return done < megabyte ? true : throw std::runtime_error("callback");
    };
    EXPECT_THROW(convertToVdi(*openImage(source), folder_ / "target.vdi", {}, thrower), std::runtime_error);
    EXPECT_EQ(listing(), before);
}

TEST_F(Writing, NeverReplacesAFile)
{
    const auto source = put("disk.vmdk", makeVmdk(makeContent(2 * megabyte, 25)));
    const auto target = put("target.vdi", std::string("precious"));
    const auto before = listing();
    EXPECT_EQ(resultOf([&] { convertToVdi(*openImage(source), target, {}, goOn); }), Result::fileError);
    EXPECT_EQ(resultOf([&] { cloneImage(source, target, {}, goOn); }), Result::fileError);
    EXPECT_EQ(resultOf([&] { createVdi(target, megabyte, {}); }), Result::fileError);
    // Not even one that appears meanwhile.
    const auto late = folder_ / "late.vdi";
    EXPECT_EQ(resultOf([&] {
                  convertToVdi(*openImage(source), late, {}, [&](std::uint64_t done, std::uint64_t total) {
                      if (done == total)
                          writeFile(late, {1, 2, 3});
                      return true;
                  });
              }),
              Result::fileError);
    EXPECT_EQ(readFile(target).size(), 8u);
    EXPECT_EQ(readFile(late), Bytes({1, 2, 3}));
    std::filesystem::remove(late);
    EXPECT_EQ(listing(), before);
}

TEST_F(Writing, ClonesKeepFormatVariantAndContent)
{
    const std::wstring newUuid = L"12345678-9abc-4def-8123-456789abcdef";
    const Bytes content = makeContent(imageSize, 26);
    VdiOptions fixed;
    fixed.type = 2;
    VmdkOptions compressed;
    compressed.compressed = true;
    compressed.uuidText = "11111111-2222-3333-4444-555555555555";
    const std::vector<std::filesystem::path> sources = {
        put("dynamic.vdi", makeVdi(content)), put("fixed.vdi", makeVdi(content, fixed)),
        put("sparse.vmdk", makeVmdk(content)), put("stream.vmdk", makeVmdk(content, compressed)),
        put("plain.img", content)};
    for (const auto& source : sources) {
        const auto target = folder_ / (L"clone" + source.extension().wstring());
        std::uint64_t done = 0;
        cloneImage(source, target, newUuid, [&](std::uint64_t bytes, std::uint64_t total) {
            EXPECT_EQ(total, std::filesystem::file_size(source));
            done = bytes;
            return true;
        });
        EXPECT_EQ(done, std::filesystem::file_size(source));
        const ImageInfo before = probeImage(source);
        const ImageInfo after = probeImage(target);
        EXPECT_EQ(after.format, before.format);
        EXPECT_EQ(after.variant, before.variant);
        EXPECT_EQ(after.physicalSize, before.physicalSize);
        EXPECT_EQ(after.uuid, after.format == ImageFormat::Raw ? std::wstring() : newUuid) << source;
        EXPECT_TRUE(contentOf(target) == content) << source;
        std::filesystem::remove(target);
    }
}

TEST_F(Writing, ClonesTheExtentsOfAVmdkToo)
{
    const Bytes content = makeContent(2 * megabyte, 27);
    put("old-flat.vmdk", Bytes(content.begin(), content.begin() + megabyte));
    put("other.bin", Bytes(content.begin() + megabyte, content.end()));
    const auto source = put(
        "old.vmdk", vmdkDescriptor("twoGbMaxExtentFlat",
                                   "RW 2048 FLAT \"old-flat.vmdk\" 0\nRW 2048 FLAT \"other.bin\" 0\n", "ffffffff", ""));
    std::filesystem::create_directory(folder_ / "copy");
    const auto target = folder_ / "copy" / "new.vmdk";
    cloneImage(source, target, sampleUuid, goOn);
    EXPECT_TRUE(contentOf(target) == content);
    EXPECT_EQ(probeImage(target).uuid, sampleUuid);
    EXPECT_TRUE(std::filesystem::exists(folder_ / "copy" / "new-flat.vmdk"));
    EXPECT_TRUE(std::filesystem::exists(folder_ / "copy" / "new-f2.vmdk"));
    EXPECT_TRUE(probeImage(source).uuid.empty());

    std::filesystem::remove_all(folder_ / "copy");
    std::filesystem::create_directory(folder_ / "copy");
    const auto before = listing();
    EXPECT_EQ(resultOf([&] {
                  cloneImage(source, target, {}, [](std::uint64_t done, std::uint64_t) { return done < 2 * megabyte; });
              }),
              Result::fail);
    EXPECT_EQ(listing(), before);
}

TEST_F(Writing, ChangesUuidsInPlace)
{
    const Bytes content = makeContent(2 * megabyte, 28);
    const std::wstring uuid = L"12345678-9abc-4def-8123-456789abcdef";
    const std::wstring parent = L"fedcba98-7654-4321-8fed-cba987654321";
    VmdkOptions compressed;
    compressed.compressed = true;
    put("flat-flat.vmdk", content);
    for (const auto& file : {put("a.vdi", makeVdi(content)), put("b.vmdk", makeVmdk(content)),
                             put("c.vmdk", makeVmdk(content, compressed)), put("d.vhd", makeVhd(content)),
                             put("flat.vmdk", vmdkDescriptor("monolithicFlat", "RW 4096 FLAT \"flat-flat.vmdk\" 0\n",
                                                             "ffffffff", sampleUuidText))}) {
        setImageUuid(file, uuid);
        EXPECT_EQ(probeImage(file).uuid, uuid) << file;
        EXPECT_TRUE(probeImage(file).parentUuid.empty());
        setImageUuid(file, sampleUuid, &parent);
        EXPECT_EQ(probeImage(file).uuid, sampleUuid) << file;
        EXPECT_EQ(probeImage(file).parentUuid, parent) << file;
        EXPECT_TRUE(contentOf(file) == content) << file;
    }
    const Bytes image = readFile(folder_ / "a.vdi");
    EXPECT_TRUE(std::equal(sampleGuid.begin(), sampleGuid.end(), image.begin() + 0x188));
    EXPECT_EQ(resultOf([&] { setImageUuid(put("raw.img", content), uuid); }), Result::notSupported);
}

TEST_F(Writing, RefusesAUuidThatADescriptorHasNoRoomFor)
{
    Bytes image = makeVmdk(makeContent(megabyte, 30));
    put64(image, 36, 1); // the descriptor has one sector
    const auto start = image.begin() + 512;
    const auto end = std::find(start, start + 512, std::uint8_t(0));
    std::fill(end, start + 500, std::uint8_t('#'));
    std::fill(start + 500, start + 512, std::uint8_t(0));
    const auto file = put("full.vmdk", image);
    EXPECT_EQ(resultOf([&] { setImageUuid(file, sampleUuid); }), Result::notSupported);
    EXPECT_TRUE(readFile(file) == image);
}

TEST_F(Writing, TakesAnyFileName)
{
    if (std::filesystem::path::preferred_separator == '/')
        GTEST_SKIP() << "the standard library of this system makes names of plain characters only";
    const Bytes content = makeContent(megabyte, 29);
    const auto source = put(L"\u786C\u76D8 \U0001F3AE.img", content);
    convertToVdi(*openImage(source), folder_ / L"\u78C1\u76D8 \U0001F4BF.vdi", {}, goOn);
    EXPECT_TRUE(contentOf(folder_ / L"\u78C1\u76D8 \U0001F4BF.vdi") == content);

    CreatedFiles made;
    auto deep = folder_;
    while (deep.wstring().size() < 400)
        deep /= std::wstring(60, L'd');
    made.makeFolders(deep);
    const auto file = deep / L"far.vdi";
    convertToVdi(*openImage(source), file, sampleUuid, goOn);
    made.add(file);
    EXPECT_EQ(probeImage(file).uuid, sampleUuid);
    EXPECT_TRUE(contentOf(file) == content);
    made.rollBack();
    EXPECT_EQ(listing().size(), 2u);
}

TEST_F(Writing, CreatedFilesAreKeptOrTakenBack)
{
    {
        CreatedFiles made;
        made.makeFolders(folder_ / "a" / "b");
        made.add(put("a/b/file", std::string("x")));
    }
    EXPECT_TRUE(listing().empty());
    {
        CreatedFiles outer;
        CreatedFiles inner;
        inner.makeFolders(folder_ / "a" / "b");
        inner.add(put("a/b/file", std::string("x")));
        outer.append(std::move(inner));
        outer.commit();
    }
    EXPECT_EQ(listing().size(), 3u);
    {
        // What was there before stays, as does a folder with something of others in it.
        CreatedFiles made;
        made.makeFolders(folder_ / "a" / "b" / "c");
        put("a/b/c/other", std::string("x"));
    }
    EXPECT_EQ(listing().size(), 5u);
}

TEST(SafeName, TellsNamesThatLeaveTheFolder)
{
    for (const char* name : {"", "..", "../x", "a/../x", "a\\..\\x", "/x", "\\x", R"(\\server\x)", "C:x", "c:\\x",
                             ".. ", "...", "a/.. /x", "a/..", "//?/C:/x"})
        EXPECT_TRUE(leavesFolder(name)) << name;
    for (const char* name : {"x", "a/x", ".x", "..x", "x..", "./x", "a b.vmdk", "disk:1"})
        EXPECT_FALSE(leavesFolder(name)) << name;
}

TEST(SafeName, KnowsPlainFileNames)
{
    for (const wchar_t* name :
         {L"disk.vmdk", L"..x", L".hidden", L"console.vdi", L"com10", L"\u786C\u76D8.vdi", L"a b"})
        EXPECT_TRUE(isPlainFileName(name)) << toUtf8(name);
    for (const wchar_t* name :
         {L"",         L".",   L"..",      L"a.",        L"a ",   L"a/b",       L"a\\b",  L"a:b",
          L"a*",       L"a?",  L"a|b",     L"a<b",       L"a\"b", L"a\tb",      L"nul",   L"NUL.vdi",
          L"nul .txt", L"Con", L"aux.x.y", L"com1.vmdk", L"LPT9", L"COM\u00B9", L"CONIN$"})
        EXPECT_FALSE(isPlainFileName(name)) << toUtf8(name);
}

TEST(SafeName, MakesPlainFileNames)
{
    EXPECT_EQ(safeFileName("disk.vmdk", L"f"), L"disk.vmdk");
    EXPECT_EQ(safeFileName("../../disk.vmdk", L"f"), L"disk.vmdk");
    EXPECT_EQ(safeFileName("C:\\x\\disk.vmdk", L"f"), L"disk.vmdk");
    EXPECT_EQ(safeFileName("disk:stream", L"f"), L"disk_stream");
    EXPECT_EQ(safeFileName("nul.vmdk", L"f"), L"_nul.vmdk");
    EXPECT_EQ(safeFileName("disk.vmdk. .", L"f"), L"disk.vmdk");
    EXPECT_EQ(safeFileName("..", L"f"), L"f");
    EXPECT_EQ(safeFileName("a/", L"f"), L"f");
    EXPECT_EQ(safeFileName("\xE7\xA1\xAC.vmdk", L"f"), L"\u786C.vmdk");
    const std::wstring cut = safeFileName(std::string(5000, 'x') + ".vmdk", L"f");
    EXPECT_LE(cut.size(), 200u);
    EXPECT_EQ(cut.substr(cut.size() - 5), L".vmdk");
    EXPECT_TRUE(isPlainFileName(safeFileName(std::string("a\0b", 3), L"f")));
}
