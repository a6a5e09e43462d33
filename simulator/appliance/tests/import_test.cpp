#include <Poco/SHA1Engine.h>

#include <chrono>
#include <set>

#include "appliance/appliance.h"
#include "appliance_writers.h"
#include "base/xml.h"
#include "images/byte_source.h"
#include "test_support.h"

using namespace ApplianceWriters;
using namespace ImageTests;
using namespace ImageWriters;
using namespace VBoxSim;

namespace {

const std::size_t diskSize = 3 * megabyte + 512;

Bytes streamDisk(const Bytes& content)
{
    VmdkOptions options;
    options.compressed = true;
    return makeVmdk(content, options);
}

std::string sha1Line(const std::string& name, const Bytes& data)
{
    Poco::SHA1Engine engine;
    engine.update(data.data(), data.size());
    return "SHA1 (" + name + ")= " + Poco::DigestEngine::digestToHex(engine.digest()) + "\n";
}

Bytes asBytes(const std::string& text)
{
    return {text.begin(), text.end()};
}

class Import : public ScratchTest
{
protected:
    Import() : content_(makeContent(diskSize, 50)), disk_(streamDisk(content_)) {}

    std::filesystem::path sampleOva(const OvfParts& parts = {}) const
    {
        return put("sample.ova", Tar().add("sample.ovf", makeOvf(parts)).add("disk1.vmdk", disk_).finish());
    }

    std::filesystem::path machineFolder() const { return folder_ / "machines" / "vm"; }

    std::vector<ImportedDisk> importAll(const Appliance& appliance, const std::vector<DiskImport>& disks) const
    {
        CreatedFiles created;
        auto imported = appliance.importDisks(disks, created, nullptr);
        created.commit();
        return imported;
    }

    /// An archive whose only disk is this one.
    Appliance withDisk(const Bytes& disk, const std::string& href = "disk1.vmdk") const
    {
        OvfParts parts;
        parts.references = "<File ovf:id='file1' ovf:href='" + href + "'/>";
        return Appliance(put("case.ova", Tar().add("case.ovf", makeOvf(parts)).add(href, disk).finish()));
    }

    ResultCode importResult(const Appliance& appliance) const
    {
        const auto before = listing();
        CreatedFiles created;
        const ResultCode result = resultOf([&] { appliance.importDisks({toVdi()}, created, nullptr); });
        created.rollBack();
        EXPECT_EQ(listing(), before);
        return result;
    }

    DiskImport toVdi() const { return {"vmdisk1", machineFolder() / "disk1.vdi", ImageFormat::Vdi, {}}; }

    Bytes content_;
    Bytes disk_;
};

/// A folder that need not be there.
const std::filesystem::path vms = std::filesystem::temp_directory_path() / "vms";

ImportSurroundings surroundings()
{
    ImportSurroundings result;
    result.isNameTaken = [](const std::wstring&) { return false; };
    result.settingsFile = [](const std::wstring& name) { return vms / L"vm" / (name + L".vbox"); };
    result.baseFolder = vms;
    result.isFileTaken = [](const std::filesystem::path&) { return false; };
    result.findOsType = [](const std::wstring& type) {
        return type == L"Ubuntu_64" ? std::optional(ImportOsType{1536, 3}) : std::nullopt;
    };
    result.readMachine = [](const std::string& text) {
        const Xml::DocumentPtr document = Xml::parse(text);
        const Xml::Element* element = Xml::child(Xml::root(document), "Machine");
        return ImportMachine{Xml::get(element, "name"), Xml::get(element, "OSType"), 3, 96, 2, {{5, 6, L"Internal"}}};
    };
    return result;
}

const DrivePlace nowhere = {SIZE_MAX, UINT32_MAX};

std::vector<DescriptionEntry> entriesOf(const SystemDescription& system, DescriptionType type)
{
    std::vector<DescriptionEntry> found;
    std::copy_if(system.entries.begin(), system.entries.end(), std::back_inserter(found),
                 [&](const DescriptionEntry& entry) { return entry.type == type; });
    return found;
}

DescriptionEntry onlyEntry(const SystemDescription& system, DescriptionType type)
{
    const auto found = entriesOf(system, type);
    EXPECT_EQ(found.size(), 1u);
    return found.empty() ? DescriptionEntry() : found[0];
}

} // namespace

TEST_F(Import, NeedsTheRightSuffix)
{
    for (const char* good : {"a.ova", "b.OVF", "x/y.Ova"})
        Appliance::checkSuffix(good);
    for (const char* bad : {"", "a", "a.zip", "ova", "a.ova.txt"})
        EXPECT_EQ(resultOf([&] { Appliance::checkSuffix(bad); }), Result::fileError);
}

TEST_F(Import, TellsWhatIsMissing)
{
    EXPECT_EQ(resultOf([&] { Appliance(folder_ / "absent.ova"); }), Result::objectNotFound);
    EXPECT_EQ(resultOf([&] { Appliance(folder_ / "absent.ovf"); }), Result::objectNotFound);
    EXPECT_EQ(resultOf([&] { Appliance(folder_ / "no" / "absent.ova"); }), Result::iprtError);
    EXPECT_EQ(resultOf([&] { Appliance(put("a.ova", Tar().add("disk1.vmdk", disk_).finish())); }), Result::fileError);
    EXPECT_EQ(resultOf([&] { Appliance(put("a.ova", std::string("no archive"))); }), Result::iprtError);
    EXPECT_EQ(resultOf([&] { Appliance(put("a.ova", Tar().add("a.ovf", std::string("<x")).finish())); }),
              Result::fileError);
    EXPECT_EQ(resultOf([&] {
                  Appliance(put("a.ova", Tar().add("a.ovf", makeOvf({})).add("a.cert", std::string("x")).finish()));
              }),
              Result::fileError);
    Bytes cut = readFile(sampleOva());
    cut.resize(cut.size() / 2);
    EXPECT_EQ(resultOf([&] { Appliance(put("cut.ova", cut)); }), Result::iprtError);
    // Disks are looked for when they are imported.
    EXPECT_EQ(importResult(Appliance(put("a.ovf", makeOvf({})))), Result::objectNotFound);
    EXPECT_EQ(importResult(Appliance(put("a.ova", Tar().add("a.ovf", makeOvf({})).finish()))), Result::fileError);
}

TEST_F(Import, WritesTheDiskOfAnArchive)
{
    const Appliance appliance(sampleOva());
    EXPECT_TRUE(contentOf(*appliance.openDisk("vmdisk1")) == content_);
    const std::wstring uuid = fromUtf8(sampleUuidText);
    const auto imported = importAll(appliance, {{"vmdisk1", machineFolder() / "disk.x.vmdk", ImageFormat::Vdi, uuid}});
    ASSERT_EQ(imported.size(), 1u);
    EXPECT_EQ(imported[0].diskId, "vmdisk1");
    EXPECT_EQ(imported[0].file, machineFolder() / "disk.x.vdi");
    EXPECT_EQ(imported[0].info.format, ImageFormat::Vdi);
    EXPECT_EQ(imported[0].info.uuid, uuid);
    EXPECT_TRUE(contentOf(imported[0].file) == content_);
}

TEST_F(Import, TakesMembersInAnyOrderAndFilesBesideTheDescriptor)
{
    const std::string ovf = makeOvf({});
    const std::string manifest = sha1Line("disk1.vmdk", disk_) + sha1Line("s.ovf", asBytes(ovf));
    const Appliance archive(
        put("s.ova", Tar().add("disk1.vmdk", disk_).add("s.mf", manifest).add("./s.ovf", ovf).finish()));
    put("disk1.vmdk", disk_);
    put("s.mf", manifest);
    const Appliance files(put("s.ovf", ovf));
    for (const Appliance* appliance : {&archive, &files}) {
        EXPECT_TRUE(appliance->hasManifest());
        std::uint64_t last = 0;
        appliance->verifyDigests([&](std::uint64_t done, std::uint64_t total) {
            EXPECT_EQ(total, disk_.size() + ovf.size());
            EXPECT_GT(done, last);
            last = done;
            return true;
        });
        EXPECT_EQ(last, disk_.size() + ovf.size());
        EXPECT_TRUE(contentOf(*appliance->openDisk("vmdisk1")) == content_);
        EXPECT_EQ(resultOf([&] { appliance->verifyDigests([](auto, auto) { return false; }); }), Result::fail);
    }
}

TEST_F(Import, FindsDigestsThatDoNotMatch)
{
    const std::string ovf = makeOvf({});
    const auto open = [&](const std::string& manifest) {
        return Appliance(put("s.ova", Tar().add("s.ovf", ovf).add("s.mf", manifest).add("disk1.vmdk", disk_).finish()));
    };
    Bytes other = disk_;
    other.back() ^= 1;
    EXPECT_EQ(resultOf([&] { open(sha1Line("disk1.vmdk", other)).verifyDigests(nullptr); }), Result::fileError);
    EXPECT_EQ(resultOf([&] { open(sha1Line("s.ovf", other)).verifyDigests(nullptr); }), Result::fileError);
    EXPECT_EQ(resultOf([&] { open("SHA1(disk1.vmdk)= 12"); }), Result::iprtError);
    // Names count exactly; what no disk refers to is not read, and what the manifest leaves out is not checked.
    open(sha1Line("absent.vmdk", other) + sha1Line("../disk1.vmdk", other) + sha1Line("DISK1.vmdk", other))
        .verifyDigests(nullptr);
}

TEST_F(Import, TakesNamesAsTheyStand)
{
    OvfParts parts;
    for (const std::string name : {"my disk:1.vmdk", "100%.vmdk", "DISK.vmdk", "disks/deep/d.vmdk"}) {
        parts.references = "<File ovf:id='file1' ovf:href='" + name + "'/>";
        const Appliance archive(put("a.ova", Tar().add("a.ovf", makeOvf(parts)).add(name, disk_).finish()));
        EXPECT_TRUE(contentOf(*archive.openDisk("vmdisk1")) == content_) << name;
    }
    parts.references = "<File ovf:id='file1' ovf:href='my%20disk.vmdk'/>"; // no URL is decoded
    put("my disk.vmdk", disk_);
    EXPECT_EQ(importResult(Appliance(put("a.ovf", makeOvf(parts)))), Result::objectNotFound);
    parts.references = "<File ovf:id='file1' ovf:href='http://example.org/d.vmdk'/>"; // and nothing fetched
    EXPECT_EQ(importResult(Appliance(put("a.ovf", makeOvf(parts)))), Result::objectNotFound);
}

TEST_F(Import, ReadsFilesInFoldersBelowTheDescriptor)
{
    std::filesystem::create_directories(folder_ / "disks" / "deep");
    writeFile(folder_ / "disks" / "deep" / "d.vmdk", disk_);
    OvfParts parts;
    for (const std::string name : {"disks/deep/d.vmdk", "./disks/deep/d.vmdk"}) {
        parts.references = "<File ovf:id='file1' ovf:href='" + name + "'/>";
        const Appliance appliance(put("a.ovf", makeOvf(parts)));
        EXPECT_TRUE(contentOf(importAll(appliance, {toVdi()}).at(0).file) == content_) << name;
        std::filesystem::remove_all(machineFolder());
    }
}

TEST_F(Import, ReadsEveryKindOfVmdk)
{
    EXPECT_TRUE(contentOf(*withDisk(makeVmdk(content_)).openDisk("vmdisk1")) == content_);
    OvfParts parts;
    parts.references = "<File ovf:id='file1' ovf:href='d.vmdk'/><File ovf:id='file2' ovf:href='d-flat.vmdk'/>";
    const std::string descriptor = vmdkDescriptor(
        "monolithicFlat", "RW " + std::to_string(diskSize / 512) + " FLAT \"d-flat.vmdk\" 0\n", "ffffffff", "");
    const Appliance flat(
        put("flat.ova",
            Tar().add("flat.ovf", makeOvf(parts)).add("d.vmdk", descriptor).add("d-flat.vmdk", content_).finish()));
    EXPECT_TRUE(contentOf(*flat.openDisk("vmdisk1")) == content_);
    // Its two files cannot be kept as one VMDK.
    const auto imported = importAll(flat, {{"vmdisk1", machineFolder() / "d.vmdk", ImageFormat::Vmdk, {}}});
    EXPECT_EQ(imported.at(0).file.extension(), ".vdi");
    EXPECT_TRUE(contentOf(imported.at(0).file) == content_);
}

/// What the descriptor calls a VMDK has to be one.
TEST_F(Import, TakesNoOtherFormat)
{
    EXPECT_EQ(importResult(withDisk(makeVdi(content_), "disk1.vdi")), Result::fileError);
    EXPECT_EQ(importResult(withDisk(content_, "disk1.img")), Result::fileError);
    EXPECT_EQ(importResult(withDisk(makeFixedVhd(content_), "disk1.img")), Result::fileError);
    Bytes cut = disk_;
    cut.resize(cut.size() - 3 * sector);
    EXPECT_EQ(importResult(withDisk(cut)), Result::fileError);
    EXPECT_EQ(importResult(withDisk(Bytes())), Result::fileError);
}

TEST_F(Import, UnpacksGzip)
{
    for (const bool archive : {true, false})
        for (const char* compression : {"gzip", "GZIP"}) {
            OvfParts parts;
            parts.references =
                "<File ovf:id='file1' ovf:href='disk1.vmdk.gz' ovf:compression='" + std::string(compression) + "'/>";
            const Bytes packed = gzipped(disk_);
            // The digest is that of the bytes that are stored.
            const std::string manifest = sha1Line("disk1.vmdk.gz", packed);
            const auto place = archive ? put("z.ova", Tar()
                                                          .add("z.ovf", makeOvf(parts))
                                                          .add("z.mf", manifest)
                                                          .add("disk1.vmdk.gz", packed)
                                                          .finish())
                                       : put("z.ovf", makeOvf(parts));
            if (!archive) {
                put("z.mf", manifest);
                put("disk1.vmdk.gz", packed);
            }
            const Appliance appliance(place);
            appliance.verifyDigests(nullptr);
            EXPECT_TRUE(contentOf(importAll(appliance, {toVdi()}).at(0).file) == content_);
            EXPECT_EQ(std::distance(std::filesystem::directory_iterator(machineFolder()), {}), 1);
            std::filesystem::remove_all(machineFolder());
        }
}

TEST_F(Import, DamagedGzipLeavesNothing)
{
    OvfParts parts;
    parts.references = "<File ovf:id='file1' ovf:href='d.gz' ovf:compression='gzip'/>";
    const auto result = [&](const Bytes& packed) {
        return importResult(Appliance(put("z.ova", Tar().add("z.ovf", makeOvf(parts)).add("d.gz", packed).finish())));
    };
    const Bytes good = gzipped(disk_);
    Bytes bad = good;
    bad.resize(bad.size() - 1); // without its end
    EXPECT_EQ(result(bad), Result::iprtError);
    bad = good;
    bad[bad.size() / 2] ^= 0xFF;
    EXPECT_EQ(result(bad), Result::iprtError);
    bad = good;
    bad[0] = 0;
    EXPECT_EQ(result(bad), Result::iprtError);
    EXPECT_EQ(result({}), Result::iprtError);
    EXPECT_EQ(result(disk_), Result::iprtError);            // not packed at all
    EXPECT_EQ(result(gzipped(Bytes())), Result::fileError); // nothing inside
    bad = good;
    bad.push_back('x'); // neither padding nor another stream
    EXPECT_EQ(result(bad), Result::iprtError);
}

TEST_F(Import, CanBeCanceledAtEveryStepOfAPackedDisk)
{
    OvfParts parts;
    parts.references = "<File ovf:id='file1' ovf:href='d.gz' ovf:compression='gzip'/>";
    const Appliance appliance(put("z.ova", Tar().add("z.ovf", makeOvf(parts)).add("d.gz", gzipped(disk_)).finish()));
    const auto before = listing();
    int steps = 0;
    {
        CreatedFiles created;
        appliance.importDisks({toVdi()}, created, [&](std::uint64_t done, std::uint64_t) {
            return ++steps > 1 || done > 0; // the first is told while the disk is unpacked
        });
    }
    EXPECT_GT(steps, 3) << "the unpacking, the parts of the disk, the end";
    for (int stop = 1; stop <= steps; ++stop) {
        CreatedFiles created;
        int calls = 0;
        EXPECT_THROW(appliance.importDisks({toVdi()}, created, [&](auto, auto) { return ++calls != stop; }), Canceled);
        EXPECT_EQ(calls, stop) << "and not at a later one";
        EXPECT_EQ(listing(), before) << stop;
    }
}

TEST_F(Import, GzipBombsEndSoon)
{
    const auto attempt = [&](const Bytes& packed) {
        OvfParts parts;
        parts.references = "<File ovf:id='file1' ovf:href='d.gz' ovf:compression='gzip'/>";
        const auto start = std::chrono::steady_clock::now();
        const ResultCode result =
            importResult(Appliance(put("z.ova", Tar().add("z.ovf", makeOvf(parts)).add("d.gz", packed).finish())));
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
        return result;
    };
    // 256 MB of zeros in 256 KB: no image, which the first bytes tell.
    const Bytes zeros = gzipped(Bytes(256 * megabyte));
    ASSERT_LT(zeros.size(), 256 * megabyte / 900);
    EXPECT_EQ(attempt(zeros), Result::fileError);
    // The same behind a good image of 1 MB: more than such a disk can take.
    Bytes padded = makeVmdk(content_);
    padded.resize(256 * megabyte);
    EXPECT_EQ(attempt(gzipped(padded)), Result::fileError);
}

TEST_F(Import, CopiesTheImagesOfOpticalDisks)
{
    OvfParts parts;
    const std::string uri = "http://www.ecma-international.org/publications/standards/Ecma-119.htm";
    parts.disks = "<Disk ovf:diskId='vmdisk1' ovf:capacity='1048576' ovf:fileRef='file1' ovf:format='" + uri + "'/>";
    for (const char* compression : {"", "gzip"}) {
        parts.references =
            "<File ovf:id='file1' ovf:href='cd.iso' ovf:compression='" + std::string(compression) + "'/>";
        const Bytes volume(megabyte, 7);
        const Bytes stored = *compression ? gzipped(volume) : volume;
        const Appliance appliance(put("cd.ova", Tar().add("cd.ovf", makeOvf(parts)).add("cd.iso", stored).finish()));
        const auto imported = importAll(appliance, {{"vmdisk1", machineFolder() / "cd.iso", ImageFormat::Vdi, {}}});
        EXPECT_TRUE(readFile(imported.at(0).file) == volume);
        EXPECT_TRUE(imported.at(0).info.optical);
        std::filesystem::remove_all(machineFolder());
    }
}

TEST_F(Import, KeepsAVmdkWhenAskedTo)
{
    const std::wstring uuid = fromUtf8(sampleUuidText);
    const auto imported =
        importAll(Appliance(sampleOva()), {{"vmdisk1", machineFolder() / "disk1.vmdk", ImageFormat::Vmdk, uuid}});
    EXPECT_EQ(imported.at(0).file, machineFolder() / "disk1.vmdk");
    EXPECT_EQ(imported.at(0).info.variant, ImageVariant::VmdkStreamOptimized);
    EXPECT_EQ(imported.at(0).info.uuid, uuid);
    EXPECT_TRUE(contentOf(imported.at(0).file) == content_);
}

TEST_F(Import, MakesBlankDisksAndCountsProgressOverAll)
{
    OvfParts parts;
    parts.disks += "<Disk ovf:diskId='blank' ovf:capacity='2097152' ovf:format=''/>";
    const Appliance appliance(sampleOva(parts));
    CreatedFiles created;
    std::uint64_t last = 0;
    const auto imported =
        appliance.importDisks({toVdi(), {"blank", machineFolder() / "blank.vdi", ImageFormat::Vdi, {}}}, created,
                              [&](std::uint64_t done, std::uint64_t total) {
                                  EXPECT_EQ(total, 3 * megabyte); // as the descriptor says
                                  EXPECT_GE(done, last);
                                  last = done;
                                  return true;
                              });
    EXPECT_EQ(last, 3 * megabyte);
    EXPECT_TRUE(contentOf(imported.at(1).file) == Bytes(2 * megabyte));
    EXPECT_TRUE(std::filesystem::exists(machineFolder()));
    created.rollBack();
    EXPECT_FALSE(std::filesystem::exists(folder_ / "machines"));
}

TEST_F(Import, ProgressOfAPackedDiskNeverGoesBack)
{
    OvfParts parts;
    parts.references = "<File ovf:id='file1' ovf:href='d.gz' ovf:compression='gzip'/>";
    const Appliance appliance(put("z.ova", Tar().add("z.ovf", makeOvf(parts)).add("d.gz", gzipped(disk_)).finish()));
    CreatedFiles created;
    std::uint64_t last = 0;
    std::set<std::uint64_t> seen;
    appliance.importDisks({toVdi()}, created, [&](std::uint64_t done, std::uint64_t total) {
        EXPECT_GE(done, last);
        EXPECT_LE(done, total);
        last = done;
        seen.insert(done * 100 / total);
        return true;
    });
    EXPECT_EQ(last, megabyte);
    EXPECT_EQ(seen.count(50), 1u) << "unpacked, nothing converted";
    created.rollBack();
}

TEST_F(Import, TakesBackEverythingOnFailureAndCancel)
{
    OvfParts parts;
    parts.references += "<File ovf:id='file2' ovf:href='disk2.vmdk'/>";
    parts.disks += "<Disk ovf:diskId='second' ovf:capacity='1048576' ovf:fileRef='file2' ovf:format='x'/>";
    Bytes broken = disk_;
    broken[128 * sector + 30] ^= 0xFF; // in the first grain: found only while converting
    const Appliance appliance(put(
        "two.ova", Tar().add("two.ovf", makeOvf(parts)).add("disk1.vmdk", disk_).add("disk2.vmdk", broken).finish()));
    const DiskImport second = {"second", machineFolder() / "disk2.vdi", ImageFormat::Vdi, {}};
    const auto before = listing();
    CreatedFiles created;
    EXPECT_EQ(resultOf([&] { appliance.importDisks({toVdi(), second}, created, nullptr); }), Result::fileError);
    EXPECT_EQ(listing(), before);
    for (const std::uint64_t at : {std::uint64_t(0), std::uint64_t(megabyte / 2), std::uint64_t(megabyte)}) {
        EXPECT_EQ(resultOf([&] {
                      appliance.importDisks({toVdi()}, created,
                                            [&](std::uint64_t done, std::uint64_t) { return done < at; });
                  }),
                  Result::fail);
        EXPECT_EQ(listing(), before);
    }
    // What was there before stays.
    std::filesystem::create_directories(machineFolder());
    writeFile(machineFolder() / "disk2.vdi", {1, 2, 3});
    EXPECT_EQ(resultOf([&] { appliance.importDisks({toVdi(), second}, created, nullptr); }), Result::fileError);
    EXPECT_EQ(readFile(machineFolder() / "disk2.vdi"), Bytes({1, 2, 3}));
    EXPECT_FALSE(std::filesystem::exists(machineFolder() / "disk1.vdi"));
}

TEST_F(Import, RefusesBadRequests)
{
    const Appliance appliance(sampleOva());
    const auto before = listing();
    const auto with = [&](const std::string& disk, const std::filesystem::path& target) {
        CreatedFiles created;
        return resultOf([&] { appliance.importDisks({{disk, target, ImageFormat::Vdi, {}}}, created, nullptr); });
    };
    EXPECT_EQ(with("other", machineFolder() / "a.vdi"), Result::invalidArgument);
    EXPECT_EQ(with("vmdisk1", "relative.vdi"), Result::fileError);
    EXPECT_EQ(with("vmdisk1", machineFolder() / "a:b.vdi"), Result::fileError);
    EXPECT_EQ(with("vmdisk1", machineFolder() / "nul.vdi"), Result::fileError);
    EXPECT_EQ(with("vmdisk1", machineFolder() / ".."), Result::fileError);
    EXPECT_EQ(listing(), before);
}

TEST_F(Import, NamesNeverLeadOut)
{
    put("secret.vmdk", disk_);
    const auto inner = folder_ / "inner";
    std::filesystem::create_directory(inner);
    for (const std::string href : {"../secret.vmdk", "..\\secret.vmdk", "x/../../secret.vmdk", "/secret.vmdk",
                                   "C:\\secret.vmdk", "C:secret.vmdk", R"(\\server\share\secret.vmdk)"}) {
        OvfParts parts;
        parts.references = "<File ovf:id='file1' ovf:href='" + href + "'/>";
        writeFile(inner / "a.ovf", asBytes(makeOvf(parts)));
        EXPECT_EQ(resultOf([&] { Appliance(inner / "a.ovf"); }), Result::fileError) << href;
        writeFile(inner / "a.ova", Tar().add("a.ovf", makeOvf(parts)).add(href, disk_).finish());
        EXPECT_EQ(resultOf([&] { Appliance(inner / "a.ova"); }), Result::fileError) << href;
    }
    // Names that only the file system would understand differently: found in the archive, made harmless for the disk.
    for (const std::string href : {"disk.vmdk:stream", "nul.vmdk", "disk.vmdk. ", "a|b.vmdk"}) {
        const Appliance appliance = withDisk(disk_, href);
        const Interpretation result = interpret(appliance.descriptor(), surroundings());
        const std::filesystem::path target = onlyEntry(result.systems.at(0), DescriptionType::HardDiskImage).suggested;
        EXPECT_TRUE(target.parent_path().empty()) << href;
        importAll(appliance, {{"vmdisk1", machineFolder() / target.filename(), ImageFormat::Vdi, {}}});
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(machineFolder()), {}), 1) << href;
        std::filesystem::remove_all(machineFolder());
        // Beside a descriptor there can be no such file.
        OvfParts parts;
        parts.references = "<File ovf:id='file1' ovf:href='" + href + "'/>";
        writeFile(inner / "a.ovf", asBytes(makeOvf(parts)));
        EXPECT_EQ(importResult(Appliance(inner / "a.ovf")), Result::objectNotFound) << href;
    }
}

TEST_F(Import, BombsEndWithAnErrorSoonAndLeaveNothing)
{
    const auto attempt = [&](const Appliance& appliance) {
        const auto start = std::chrono::steady_clock::now();
        CreatedFiles created;
        const ResultCode fault = resultOf([&] { appliance.importDisks({toVdi()}, created, nullptr); });
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
        EXPECT_FALSE(std::filesystem::exists(folder_ / "machines"));
        return fault;
    };
    // A small sparse disk that claims terabytes: no room for its directory, or too large after all.
    for (const std::uint64_t sectors : {std::uint64_t(1) << 34, std::uint64_t(1) << 33, std::uint64_t(1) << 60}) {
        Bytes bomb = makeVmdk(Bytes(megabyte, 1));
        put64(bomb, 12, sectors);
        const ResultCode fault = attempt(withDisk(bomb));
        EXPECT_EQ(fault, Result::fileError) << sectors;
    }
    // The same with a directory that is long enough and empty.
    Bytes empty = makeVmdk(Bytes(megabyte, 1));
    put64(empty, 12, std::uint64_t(3) << 31); // 3 TB
    put64(empty, 56, 1024);
    empty.assign(empty.begin(), empty.begin() + 21 * sector);
    empty.resize(2 * megabyte);
    EXPECT_EQ(attempt(withDisk(empty)), Result::fileError);

    // Every grain is the same one.
    Bytes vmdk = makeVmdk(Bytes(32 * megabyte, 1));
    const std::size_t directory = static_cast<std::size_t>(get64(vmdk, 56)) * 512;
    put64(vmdk, 12, std::uint64_t(128) * 65536); // 128 tables, all the one
    for (std::size_t i = 0; i < 128; ++i)
        put32(vmdk, directory + 4 * i, get32(vmdk, directory));
    EXPECT_EQ(attempt(withDisk(vmdk)), Result::fileError);
    VmdkOptions options;
    options.compressed = true;
    Bytes stream = makeVmdk(Bytes(65536, 1), options);
    const std::size_t table = static_cast<std::size_t>(get32(stream, stream.size() - 4 * sector)) * 512;
    for (std::size_t i = 0; i < 512; ++i)
        put32(stream, table + 4 * i, 128);
    EXPECT_EQ(attempt(withDisk(stream)), Result::fileError);
}

TEST_F(Import, HugeTextsAreRefused)
{
    const std::string huge(65 * megabyte, ' ');
    EXPECT_EQ(resultOf([&] { Appliance(put("a.ova", Tar().add("a.ovf", huge).finish())); }), Result::fileError);
    EXPECT_EQ(resultOf([&] {
                  Appliance(put("a.ova", Tar()
                                             .add("a.ovf", makeOvf({}))
                                             .add("disk1.vmdk", disk_)
                                             .add("a.mf", std::string(9 * megabyte, '\n'))
                                             .finish()));
              }),
              Result::fileError);
}

TEST(Interpretation, ListsWhatAnImportWouldMake)
{
    OvfParts parts;
    parts.sections = "<ProductSection><Product>P</Product></ProductSection>"
                     "<OperatingSystemSection ovf:id='94'/>";
    parts.disks += "<Disk ovf:diskId='z' ovf:capacity='1' ovf:format=''/>";
    parts.items =
        sampleItems() +
        item({{"Address", "0"}, {"InstanceID", "5"}, {"ResourceSubType", "PIIX4"}, {"ResourceType", "5"}}) +
        item({{"Address", "1"}, {"InstanceID", "6"}, {"ResourceSubType", "PIIX4"}, {"ResourceType", "5"}}) +
        item({{"AddressOnParent", "1"}, {"Parent", "6"}, {"ResourceType", "17"}, {"HostResource", "/disk/z"}}) +
        item({{"AddressOnParent", "0"}, {"Parent", "6"}, {"ResourceType", "15"}}) +
        item({{"Connection", "nat"}, {"ResourceSubType", "E1000"}, {"ResourceType", "10"}}) +
        item({{"Connection", "office"}, {"ResourceSubType", "PCNet32"}, {"ResourceType", "10"}}) +
        item({{"ResourceType", "23"}}) + item({{"ResourceType", "35"}}) + item({{"ResourceType", "14"}});
    const Interpretation result = interpret(parseOvf(makeOvf(parts)), surroundings());
    ASSERT_EQ(result.systems.size(), 1u);
    const SystemDescription& system = result.systems[0];
    using D = DescriptionType;
    const std::vector<D> order = {D::OS,
                                  D::Name,
                                  D::PrimaryGroup,
                                  D::SettingsFile,
                                  D::BaseFolder,
                                  D::Product,
                                  D::CPU,
                                  D::Memory,
                                  D::SoundCard,
                                  D::USBController,
                                  D::NetworkAdapter,
                                  D::NetworkAdapter,
                                  D::Floppy,
                                  D::CDROM,
                                  D::HardDiskControllerSATA,
                                  D::HardDiskControllerIDE,
                                  D::HardDiskControllerIDE,
                                  D::HardDiskImage,
                                  D::HardDiskImage};
    ASSERT_EQ(system.entries.size(), order.size());
    for (std::size_t i = 0; i < order.size(); ++i)
        EXPECT_EQ(system.entries[i].type, order[i]) << i;
    EXPECT_EQ(onlyEntry(system, D::OS).original, L"94");
    EXPECT_EQ(onlyEntry(system, D::OS).suggested, L"Ubuntu_64");
    EXPECT_EQ(onlyEntry(system, D::Name).original, L"vm");
    EXPECT_EQ(onlyEntry(system, D::Name).suggested, L"vm");
    EXPECT_EQ(onlyEntry(system, D::SettingsFile).suggested, (vms / "vm" / "vm.vbox").wstring());
    EXPECT_EQ(onlyEntry(system, D::BaseFolder).suggested, vms.wstring());
    EXPECT_EQ(onlyEntry(system, D::CPU).suggested, L"2");
    EXPECT_EQ(onlyEntry(system, D::Memory).original, L"1073741824");
    EXPECT_EQ(onlyEntry(system, D::Memory).suggested, L"1024");
    EXPECT_EQ(onlyEntry(system, D::SoundCard).suggested, L"0");

    const auto adapters = entriesOf(system, D::NetworkAdapter);
    EXPECT_EQ(adapters[0].original, L"nat");
    EXPECT_EQ(adapters[0].suggested, L"5"); // an E1000 of another product
    EXPECT_NE(adapters[0].extra.find(L"type=NAT"), std::wstring::npos);
    EXPECT_EQ(adapters[1].suggested, L"1"); // the type's own card is no PCNet
    EXPECT_NE(adapters[1].extra.find(L"type=Bridged"), std::wstring::npos);

    const DescriptionEntry disk = entriesOf(system, D::HardDiskImage).at(0);
    EXPECT_EQ(disk.reference, L"vmdisk1");
    EXPECT_EQ(disk.original, L"disk1.vmdk");
    EXPECT_EQ(std::filesystem::path(disk.suggested).filename(), "disk1.vmdk");
    EXPECT_EQ(disk.extra, L"controller=14;channel=0");
    EXPECT_EQ(std::filesystem::path(entriesOf(system, D::HardDiskImage).at(1).suggested).filename(), "z.vmdk");
    EXPECT_TRUE(result.warnings.empty());
}

TEST(Interpretation, OperatingSystemComesFromTheBestThatIsThere)
{
    const auto type = [](const std::string& sections) {
        OvfParts parts;
        parts.sections = sections;
        return onlyEntry(interpret(parseOvf(makeOvf(parts)), surroundings()).systems.at(0), DescriptionType::OS)
            .suggested;
    };
    const std::string vbox = "<vbox:OSType>Debian_64</vbox:OSType>";
    EXPECT_EQ(type(""), L"Other");
    EXPECT_EQ(type("<OperatingSystemSection ovf:id='101'/>"), L"Linux26_64");
    EXPECT_EQ(type("<OperatingSystemSection ovf:id='9999'/>"), L"Other");
    EXPECT_EQ(
        type("<OperatingSystemSection ovf:id='1'><Description>Windows XP SP3</Description></OperatingSystemSection>"),
        L"WindowsXP");
    EXPECT_EQ(
        type("<OperatingSystemSection ovf:id='102'><Description>an Ubuntu</Description></OperatingSystemSection>"),
        L"Ubuntu_64");
    EXPECT_EQ(type("<OperatingSystemSection ovf:id='102'/>"), L"Other_64");
    EXPECT_EQ(type("<OperatingSystemSection ovf:id='94'>" + vbox + "</OperatingSystemSection>"), L"Debian_64");
    EXPECT_EQ(type("<OperatingSystemSection ovf:id='94'>" + vbox +
                   "</OperatingSystemSection><vbox:Machine OSType='FreeBSD'/>"),
              L"FreeBSD");
}

/// What VirtualBox wrote of its own machine counts before the hardware of the descriptor.
TEST(Interpretation, TheMachineElementCountsFirst)
{
    OvfParts parts;
    parts.sections = "<vbox:Machine name='own'/>";
    parts.items = sampleItems() + item({{"Connection", "nat"}, {"ResourceType", "10"}});
    const Interpretation result = interpret(parseOvf(makeOvf(parts)), surroundings());
    using D = DescriptionType;
    EXPECT_EQ(onlyEntry(result.systems[0], D::Name).suggested, L"own");
    EXPECT_EQ(onlyEntry(result.systems[0], D::CPU).suggested, L"3");
    EXPECT_EQ(onlyEntry(result.systems[0], D::Memory).suggested, L"96");
    EXPECT_EQ(onlyEntry(result.systems[0], D::SoundCard).suggested, L"2");
    const DescriptionEntry adapter = onlyEntry(result.systems[0], D::NetworkAdapter);
    EXPECT_EQ(adapter.suggested, L"6");
    EXPECT_EQ(adapter.extra, L"slot=5;type=Internal");
}

TEST(Interpretation, TargetsTellTheirFormat)
{
    EXPECT_EQ(targetFormat(L"a.VMDK"), ImageFormat::Vmdk);
    EXPECT_EQ(targetFormat(L"a.vdi"), ImageFormat::Vdi);
    EXPECT_EQ(targetFormat(L"a.iso"), ImageFormat::Raw);
    EXPECT_EQ(resultOf([] { targetFormat(L"a"); }), Result::fileError);
    EXPECT_EQ(resultOf([] { targetFormat(L"a.xyz"); }), Result::fail);
    for (const wchar_t* name : {L"a.vhd", L"a.vhdx", L"a.dmg"})
        EXPECT_EQ(resultOf([&] { targetFormat(name); }), Result::notSupported);
}

TEST(Interpretation, SuggestsFreeNames)
{
    ImportSurroundings server = surroundings();
    server.isNameTaken = [](const std::wstring& name) { return name == L"vm" || name == L"vm 1"; };
    OvfParts parts;
    parts.after = "<VirtualSystem ovf:id='vm'/><VirtualSystem ovf:id=''/>"
                  "<VirtualSystem ovf:id='x'><vbox:Machine name='\xE7\x94\xB5\xE8\x84\x91'/></VirtualSystem>";
    server.settingsFile = [](const std::wstring&) { return vms / "vm" / "vm.vbox"; };
    const Interpretation result = interpret(parseOvf(makeOvf(parts)), server);
    ASSERT_EQ(result.systems.size(), 4u);
    const std::wstring expected[] = {L"vm 2", L"vm 3", L"Other", L"\u7535\u8111"};
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_EQ(onlyEntry(result.systems[i], DescriptionType::Name).suggested, expected[i]) << i;
    EXPECT_EQ(onlyEntry(result.systems[1], DescriptionType::Name).original, L"vm");
}

TEST(Interpretation, KeepsToTheLimits)
{
    OvfParts parts;
    parts.items = item({{"ResourceType", "3"}, {"VirtualQuantity", "65534"}}) +
                  item({{"ResourceType", "4"}, {"VirtualQuantity", "100000000"}, {"AllocationUnits", "MB"}});
    for (int i = 0; i < 12; ++i)
        parts.items += item({{"ResourceType", "10"}});
    Interpretation result = interpret(parseOvf(makeOvf(parts)), surroundings());
    EXPECT_EQ(onlyEntry(result.systems[0], DescriptionType::CPU).suggested, L"64");
    EXPECT_EQ(onlyEntry(result.systems[0], DescriptionType::Memory).suggested, L"2097152");
    EXPECT_EQ(entriesOf(result.systems[0], DescriptionType::NetworkAdapter).size(), 8u);
    EXPECT_EQ(result.warnings.size(), 3u);

    parts.items = item({{"ResourceType", "23"}});
    for (const auto& [section, memory] : {std::pair("", L"1024"), {"<OperatingSystemSection ovf:id='94'/>", L"1536"}}) {
        parts.sections = section;
        result = interpret(parseOvf(makeOvf(parts)), surroundings());
        EXPECT_EQ(onlyEntry(result.systems[0], DescriptionType::CPU).suggested, L"1");
        EXPECT_EQ(onlyEntry(result.systems[0], DescriptionType::Memory).original, L"0");
        EXPECT_EQ(onlyEntry(result.systems[0], DescriptionType::Memory).suggested, memory);
    }
}

TEST(Interpretation, ListsOneControllerOfAKind)
{
    OvfParts parts;
    parts.items = sampleItems();
    for (const char* id : {"20", "21"})
        parts.items += item({{"InstanceID", id}, {"ResourceSubType", "lsilogic"}, {"ResourceType", "6"}});
    parts.items += item({{"InstanceID", "22"}, {"ResourceSubType", "lsilogicsas"}, {"ResourceType", "6"}});
    const Interpretation result = interpret(parseOvf(makeOvf(parts)), surroundings());
    EXPECT_EQ(entriesOf(result.systems[0], DescriptionType::HardDiskControllerSCSI).size(), 1u);
    EXPECT_TRUE(entriesOf(result.systems[0], DescriptionType::HardDiskControllerSAS).empty());
    EXPECT_EQ(result.warnings.size(), 2u);
    // A disk there has no place.
    parts.items += item({{"HostResource", "/disk/vmdisk1"}, {"Parent", "21"}, {"ResourceType", "17"}});
    EXPECT_EQ(resultOf([&] { interpret(parseOvf(makeOvf(parts)), surroundings()); }), Result::fail);
}

TEST(Interpretation, GivesEveryDiskItsOwnTarget)
{
    OvfParts parts;
    parts.references += "<File ovf:id='f2' ovf:href='a/DISK1.vmdk'/><File ovf:id='f3' ovf:href='disk1.vmdk.gz' "
                        "ovf:compression='gzip'/><File ovf:id='f4' ovf:href='x/nul.vmdk'/>";
    parts.items = sampleItems();
    for (const char* number : {"2", "3", "4"}) {
        parts.disks += "<Disk ovf:diskId='w" + std::string(number) + "' ovf:capacity='1' ovf:format='' ovf:fileRef='f" +
                       number + "'/>";
        parts.items +=
            item({{"HostResource", std::string("/disk/w") + number}, {"Parent", "3"}, {"ResourceType", "17"}});
    }
    ImportSurroundings server = surroundings();
    server.isFileTaken = [](const std::filesystem::path& file) { return file == vms / "vm" / "disk1.vmdk"; };
    const Interpretation result = interpret(parseOvf(makeOvf(parts)), server);
    const auto disks = entriesOf(result.systems[0], DescriptionType::HardDiskImage);
    const char* expected[] = {"disk1_1.vmdk", "DISK1_2.vmdk", "disk1_3.vmdk", "_nul.vmdk"};
    ASSERT_EQ(disks.size(), std::size(expected));
    for (std::size_t i = 0; i < disks.size(); ++i)
        EXPECT_EQ(std::filesystem::path(disks[i].suggested).filename(), expected[i]);
}

TEST(Interpretation, FormatsAreToldByUriAndSuffix)
{
    const auto format = [](const std::string& uri, const std::string& href, const std::string& compression = "") {
        OvfDisk disk;
        disk.format = uri;
        disk.href = href;
        disk.compression = compression;
        return importFormat(disk);
    };
    const std::string iso = "http://www.ecma-international.org/publications/standards/Ecma-119.htm";
    const std::string vhd = "http://go.microsoft.com/fwlink/?LinkId=137171";
    EXPECT_EQ(format("HTTP://www.vmware.com/interfaces/specifications/vmdk.html#streamoptimized", "a"),
              ImageFormat::Vmdk);
    EXPECT_EQ(format("http://www.vmware.com/specifications/vmdk.html#sparse", "a.x"), ImageFormat::Vmdk);
    EXPECT_EQ(format(iso, "a"), ImageFormat::Raw);
    EXPECT_EQ(format("unknown", "a.VMDK"), ImageFormat::Vmdk);
    EXPECT_EQ(format("unknown", "a.vmdk.gz", "gzip"), ImageFormat::Vmdk);
    EXPECT_EQ(format("unknown", "a.iso"), ImageFormat::Raw);
    EXPECT_EQ(resultOf([&] { format(vhd, "a.vmdk"); }), Result::fileError);
    // The suffix counts for the exact word only.
    EXPECT_EQ(resultOf([&] { format("unknown", "a.vmdk.gz", "GZIP"); }), Result::fail);
    for (const char* name : {"a.vdi", "a.vhd", "a.hdd", "a.qcow2", "a.vhdx"})
        EXPECT_EQ(resultOf([&] { format("unknown", name); }), Result::fileError) << name;
    for (const char* name : {"a", "a.xyz", "a.raw"})
        EXPECT_EQ(resultOf([&] { format("unknown", name); }), Result::fail) << name;
}

TEST(Interpretation, ReadsPlaces)
{
    const DrivePlace place = parseDrivePlace(L"controller=12;channel=3").value_or(nowhere);
    EXPECT_EQ(place.controller, 12u);
    EXPECT_EQ(place.channel, 3u);
    for (const wchar_t* bad : {L"", L"controller=;channel=", L"controller=1", L"channel=1;controller=2",
                               L"controller=x;channel=1", L"controller=1;channel=99999999999"})
        EXPECT_FALSE(parseDrivePlace(bad));
}
