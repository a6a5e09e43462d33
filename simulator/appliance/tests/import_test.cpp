#include <Poco/SHA1Engine.h>

#include <chrono>

#include "appliance/appliance.h"
#include "appliance_writers.h"
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

    DiskImport toVdi() const { return {"vmdisk1", machineFolder() / "disk1.vdi", ImageFormat::Vdi, {}}; }

    Bytes content_;
    Bytes disk_;
};

ImportSurroundings surroundings()
{
    ImportSurroundings result;
    result.isNameTaken = [](const std::wstring&) { return false; };
    result.settingsFile = [](const std::wstring& name) {
        return std::filesystem::path(L"C:\\vms") / name / (name + L".vbox");
    };
    result.baseFolder = L"C:\\vms";
    result.isOsTypeKnown = [](const std::wstring& type) { return type == L"Ubuntu_64" || type == L"Other"; };
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
    for (const wchar_t* good : {L"a.ova", L"b.OVF", L"C:\\x\\\u786C.Ova"})
        Appliance::checkSuffix(good);
    for (const wchar_t* bad : {L"", L"a", L"a.zip", L"ova", L"a.ova.txt"})
        EXPECT_EQ(faultOf([&] { Appliance::checkSuffix(bad); }), Fault::BadName);
}

TEST_F(Import, TellsWhatIsMissing)
{
    EXPECT_EQ(faultOf([&] { Appliance(folder_ / "absent.ova"); }), Fault::NotFound);
    EXPECT_EQ(faultOf([&] { Appliance(folder_ / "absent.ovf"); }), Fault::NotFound);
    EXPECT_EQ(faultOf([&] { Appliance(put("a.ovf", makeOvf({}))); }), Fault::NotFound);
    EXPECT_EQ(faultOf([&] { Appliance(put("a.ova", Tar().add("a.ovf", makeOvf({})).finish())); }), Fault::NotFound);
    EXPECT_EQ(faultOf([&] { Appliance(put("a.ova", Tar().add("disk1.vmdk", disk_).finish())); }), Fault::BadArchive);
    EXPECT_EQ(faultOf([&] { Appliance(put("a.ova", std::string("no archive"))); }), Fault::BadArchive);
    EXPECT_EQ(faultOf([&] { Appliance(put("a.ova", Tar().add("a.ovf", std::string("<x")).finish())); }),
              Fault::BadDescriptor);
    Bytes cut = readFile(sampleOva());
    cut.resize(cut.size() / 2);
    EXPECT_EQ(faultOf([&] { Appliance(put("cut.ova", cut)); }), Fault::BadArchive);
}

TEST_F(Import, WritesTheDiskOfAnArchive)
{
    const Appliance appliance(sampleOva());
    EXPECT_TRUE(contentOf(*appliance.openDisk("vmdisk1")) == content_);
    const Poco::UUID uuid(sampleUuidText);
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
        EXPECT_EQ(faultOf([&] { appliance->verifyDigests([](auto, auto) { return false; }); }), Fault::Canceled);
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
    EXPECT_EQ(faultOf([&] { open(sha1Line("disk1.vmdk", other)).verifyDigests(nullptr); }), Fault::DigestMismatch);
    EXPECT_EQ(faultOf([&] { open(sha1Line("s.ovf", other)).verifyDigests(nullptr); }), Fault::DigestMismatch);
    EXPECT_EQ(faultOf([&] { open(sha1Line("absent.vmdk", other)); }), Fault::NotFound);
    EXPECT_EQ(faultOf([&] { open("SHA1(disk1.vmdk)= 12"); }), Fault::BadDescriptor);
    EXPECT_EQ(faultOf([&] { open(sha1Line("../disk1.vmdk", other)); }), Fault::BadName);
}

TEST_F(Import, ReadsEncodedAndUnusualNames)
{
    OvfParts parts;
    parts.references = "<File ovf:id='file1' ovf:href='my%20disk%3A1.vmdk'/>";
    const Appliance encoded(put("a.ova", Tar().add("a.ovf", makeOvf(parts)).add("my disk:1.vmdk", disk_).finish()));
    EXPECT_TRUE(contentOf(*encoded.openDisk("vmdisk1")) == content_);
    parts.references = "<File ovf:id='file1' ovf:href='100%.vmdk'/>";
    const Appliance percent(put("b.ova", Tar().add("a.ovf", makeOvf(parts)).add("100%.vmdk", disk_).finish()));
    EXPECT_TRUE(contentOf(*percent.openDisk("vmdisk1")) == content_);
    parts.references = "<File ovf:id='file1' ovf:href='\xE7\xA1\xAC.vmdk'/>";
    put(L"\u786C.vmdk", disk_);
    const Appliance chinese(put(L"\u7535.ovf", makeOvf(parts)));
    EXPECT_TRUE(contentOf(*chinese.openDisk("vmdisk1")) == content_);
}

TEST_F(Import, ReadsDisksOfEveryFormat)
{
    EXPECT_TRUE(contentOf(*withDisk(makeVmdk(content_)).openDisk("vmdisk1")) == content_);
    EXPECT_TRUE(contentOf(*withDisk(makeVdi(content_), "disk.vdi").openDisk("vmdisk1")) == content_);
    EXPECT_TRUE(contentOf(*withDisk(content_, "disk.img").openDisk("vmdisk1")) == content_);

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
    EXPECT_EQ(imported.at(0).file.extension(), L".vdi");
    EXPECT_TRUE(contentOf(imported.at(0).file) == content_);
}

TEST_F(Import, KeepsAVmdkWhenAskedTo)
{
    const Poco::UUID uuid(sampleUuidText);
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
    parts.disks += "<Disk ovf:diskId='blank' ovf:capacity='2097152'/>";
    const Appliance appliance(sampleOva(parts));
    CreatedFiles created;
    std::uint64_t last = 0;
    const auto imported =
        appliance.importDisks({toVdi(), {"blank", machineFolder() / "blank.vdi", ImageFormat::Vdi, {}}}, created,
                              [&](std::uint64_t done, std::uint64_t total) {
                                  EXPECT_EQ(total, diskSize + 2 * megabyte);
                                  EXPECT_GE(done, last);
                                  last = done;
                                  return true;
                              });
    EXPECT_EQ(last, diskSize + 2 * megabyte);
    EXPECT_TRUE(contentOf(imported.at(1).file) == Bytes(2 * megabyte));
    EXPECT_TRUE(std::filesystem::exists(machineFolder()));
    created.rollBack();
    EXPECT_FALSE(std::filesystem::exists(folder_ / "machines"));
}

TEST_F(Import, TakesBackEverythingOnFailureAndCancel)
{
    OvfParts parts;
    parts.references += "<File ovf:id='file2' ovf:href='disk2.vmdk'/>";
    parts.disks += "<Disk ovf:diskId='second' ovf:capacity='1048576' ovf:fileRef='file2'/>";
    Bytes broken = disk_;
    broken[128 * sector + 30] ^= 0xFF; // in the first grain: found only while converting
    const Appliance appliance(put(
        "two.ova", Tar().add("two.ovf", makeOvf(parts)).add("disk1.vmdk", disk_).add("disk2.vmdk", broken).finish()));
    const DiskImport second = {"second", machineFolder() / "disk2.vdi", ImageFormat::Vdi, {}};
    const auto before = listing();
    CreatedFiles created;
    EXPECT_EQ(faultOf([&] { appliance.importDisks({toVdi(), second}, created, nullptr); }), Fault::Damaged);
    EXPECT_EQ(listing(), before);
    for (const std::uint64_t at : {std::uint64_t(0), std::uint64_t(megabyte), std::uint64_t(diskSize)}) {
        EXPECT_EQ(faultOf([&] {
                      appliance.importDisks({toVdi()}, created,
                                            [&](std::uint64_t done, std::uint64_t) { return done < at; });
                  }),
                  Fault::Canceled);
        EXPECT_EQ(listing(), before);
    }
    // What was there before stays.
    std::filesystem::create_directories(machineFolder());
    writeFile(machineFolder() / "disk2.vdi", {1, 2, 3});
    EXPECT_EQ(faultOf([&] { appliance.importDisks({toVdi(), second}, created, nullptr); }), Fault::Exists);
    EXPECT_EQ(readFile(machineFolder() / "disk2.vdi"), Bytes({1, 2, 3}));
    EXPECT_FALSE(std::filesystem::exists(machineFolder() / "disk1.vdi"));
}

TEST_F(Import, RefusesBadRequests)
{
    const Appliance appliance(sampleOva());
    const auto before = listing();
    const auto with = [&](const std::string& disk, const std::filesystem::path& target) {
        CreatedFiles created;
        return faultOf([&] { appliance.importDisks({{disk, target, ImageFormat::Vdi, {}}}, created, nullptr); });
    };
    EXPECT_EQ(with("other", machineFolder() / "a.vdi"), Fault::InvalidArgument);
    EXPECT_EQ(with("vmdisk1", "relative.vdi"), Fault::BadName);
    EXPECT_EQ(with("vmdisk1", machineFolder() / "a:b.vdi"), Fault::BadName);
    EXPECT_EQ(with("vmdisk1", machineFolder() / "nul.vdi"), Fault::BadName);
    EXPECT_EQ(with("vmdisk1", machineFolder() / ".."), Fault::BadName);
    EXPECT_EQ(listing(), before);
}

TEST_F(Import, NamesNeverLeadOut)
{
    put("secret.vmdk", disk_);
    const auto inner = folder_ / "inner";
    std::filesystem::create_directory(inner);
    for (const std::string href :
         {"../secret.vmdk", "..\\secret.vmdk", "x/../../secret.vmdk", "%2e%2e/secret.vmdk", "/secret.vmdk",
          "C:\\secret.vmdk", "C:secret.vmdk", R"(\\server\share\secret.vmdk)"}) {
        OvfParts parts;
        parts.references = "<File ovf:id='file1' ovf:href='" + href + "'/>";
        writeFile(inner / "a.ovf", asBytes(makeOvf(parts)));
        EXPECT_EQ(faultOf([&] { Appliance(inner / "a.ovf"); }), Fault::BadName) << href;
        if (href[0] == '%')
            continue; // a member may have just that name
        writeFile(inner / "a.ova", Tar().add("a.ovf", makeOvf(parts)).add(href, disk_).finish());
        EXPECT_EQ(faultOf([&] { Appliance(inner / "a.ova"); }), Fault::BadName) << href;
    }
    // Names that only the file system would understand differently: found in the archive, made harmless for the disk.
    for (const std::string href : {"disk.vmdk:stream", "nul.vmdk", "disk.vmdk. ", "a|b.vmdk"}) {
        const Appliance appliance = withDisk(disk_, href);
        const Interpretation result = interpret(appliance.descriptor(), surroundings());
        const std::filesystem::path target = onlyEntry(result.systems.at(0), DescriptionType::HardDiskImage).suggested;
        EXPECT_EQ(target.parent_path(), L"C:\\vms\\vm") << href;
        importAll(appliance, {{"vmdisk1", machineFolder() / target.filename(), ImageFormat::Vdi, {}}});
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(machineFolder()), {}), 1) << href;
        std::filesystem::remove_all(machineFolder());
        // Beside a descriptor there can be no such file.
        OvfParts parts;
        parts.references = "<File ovf:id='file1' ovf:href='" + href + "'/>";
        writeFile(inner / "a.ovf", asBytes(makeOvf(parts)));
        EXPECT_EQ(faultOf([&] { Appliance(inner / "a.ovf"); }), Fault::NotFound) << href;
    }
}

TEST_F(Import, BombsEndWithAnErrorSoonAndLeaveNothing)
{
    const auto attempt = [&](const Appliance& appliance) {
        const auto start = std::chrono::steady_clock::now();
        CreatedFiles created;
        const Fault fault = faultOf([&] { appliance.importDisks({toVdi()}, created, nullptr); });
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
        EXPECT_FALSE(std::filesystem::exists(folder_ / "machines"));
        return fault;
    };
    // A small sparse disk that claims terabytes: no room for its directory, or too large after all.
    for (const std::uint64_t sectors : {std::uint64_t(1) << 34, std::uint64_t(1) << 33, std::uint64_t(1) << 60}) {
        Bytes bomb = makeVmdk(Bytes(megabyte, 1));
        put64(bomb, 12, sectors);
        const Fault fault = attempt(withDisk(bomb));
        EXPECT_TRUE(fault == Fault::Damaged || fault == Fault::Unsupported) << sectors;
    }
    // The same with a directory that is long enough and empty.
    Bytes empty = makeVmdk(Bytes(megabyte, 1));
    put64(empty, 12, std::uint64_t(3) << 31); // 3 TB
    put64(empty, 56, 1024);
    empty.assign(empty.begin(), empty.begin() + 21 * sector);
    empty.resize(2 * megabyte);
    EXPECT_EQ(attempt(withDisk(empty)), Fault::Unsupported);

    // Every block, or every grain, is the same one.
    Bytes vdi = makeVdi(Bytes(megabyte, 1));
    put64(vdi, 0x170, std::uint64_t(1) << 40);
    put32(vdi, 0x180, 1 << 20);
    put32(vdi, 0x158, 8 * megabyte);
    vdi.resize(9 * megabyte);
    std::fill_n(vdi.begin() + 0x200, 4 * megabyte, std::uint8_t(0));
    EXPECT_EQ(attempt(withDisk(vdi, "disk.vdi")), Fault::Damaged);
    Bytes vmdk = makeVmdk(Bytes(32 * megabyte, 1));
    const std::size_t directory = static_cast<std::size_t>(get64(vmdk, 56)) * 512;
    put64(vmdk, 12, std::uint64_t(128) * 65536); // 128 tables, all the one
    for (std::size_t i = 0; i < 128; ++i)
        put32(vmdk, directory + 4 * i, get32(vmdk, directory));
    EXPECT_EQ(attempt(withDisk(vmdk)), Fault::Damaged);
    VmdkOptions options;
    options.compressed = true;
    Bytes stream = makeVmdk(Bytes(65536, 1), options);
    const std::size_t table = static_cast<std::size_t>(get32(stream, stream.size() - 4 * sector)) * 512;
    for (std::size_t i = 0; i < 512; ++i)
        put32(stream, table + 4 * i, 128);
    EXPECT_EQ(attempt(withDisk(stream)), Fault::Damaged);
    // A disk that is no hard disk.
    EXPECT_EQ(attempt(withDisk(Bytes(megabyte), "cd.iso")), Fault::Unsupported);
    EXPECT_EQ(attempt(withDisk(Bytes(megabyte), "disk.txt")), Fault::Unrecognised);
}

TEST_F(Import, HugeTextsAreRefused)
{
    const std::string huge(9 * megabyte, ' ');
    EXPECT_EQ(faultOf([&] { Appliance(put("a.ova", Tar().add("a.ovf", huge).finish())); }), Fault::Unsupported);
    EXPECT_EQ(faultOf([&] {
                  Appliance(put("a.ova", Tar()
                                             .add("a.ovf", makeOvf({}))
                                             .add("disk1.vmdk", disk_)
                                             .add("a.mf", std::string(2 * megabyte, '\n'))
                                             .finish()));
              }),
              Fault::Unsupported);
}

TEST(Interpretation, ListsWhatAnImportWouldMake)
{
    OvfParts parts;
    parts.sections = "<ProductSection><Product>P</Product></ProductSection>"
                     "<OperatingSystemSection ovf:id='94'/>";
    parts.items = sampleItems() +
                  item({{"Address", "0"}, {"InstanceID", "5"}, {"ResourceSubType", "PIIX4"}, {"ResourceType", "5"}}) +
                  item({{"Address", "1"}, {"InstanceID", "6"}, {"ResourceSubType", "PIIX4"}, {"ResourceType", "5"}}) +
                  item({{"AddressOnParent", "1"}, {"InstanceID", "7"}, {"Parent", "6"}, {"ResourceType", "15"}}) +
                  item({{"Connection", "Bridged"}, {"ResourceSubType", "E1000"}, {"ResourceType", "10"}}) +
                  item({{"Connection", "office"}, {"ResourceSubType", "PCNet32"}, {"ResourceType", "10"}}) +
                  item({{"ResourceType", "23"}}) + item({{"ElementName", "Video"}, {"ResourceType", "24"}});
    const Interpretation result = interpret(parseOvf(makeOvf(parts)), surroundings());
    ASSERT_EQ(result.systems.size(), 1u);
    const SystemDescription& system = result.systems[0];
    EXPECT_EQ(onlyEntry(system, DescriptionType::OS).original, L"94");
    EXPECT_EQ(onlyEntry(system, DescriptionType::OS).suggested, L"Ubuntu_64");
    EXPECT_EQ(onlyEntry(system, DescriptionType::Name).original, L"vm");
    EXPECT_EQ(onlyEntry(system, DescriptionType::Name).suggested, L"vm");
    EXPECT_EQ(onlyEntry(system, DescriptionType::SettingsFile).suggested, L"C:\\vms\\vm\\vm.vbox");
    EXPECT_EQ(onlyEntry(system, DescriptionType::BaseFolder).suggested, L"C:\\vms");
    EXPECT_EQ(onlyEntry(system, DescriptionType::PrimaryGroup).suggested, L"/");
    EXPECT_EQ(onlyEntry(system, DescriptionType::Product).suggested, L"P");
    EXPECT_TRUE(entriesOf(system, DescriptionType::Vendor).empty());
    EXPECT_EQ(onlyEntry(system, DescriptionType::CPU).suggested, L"2");
    EXPECT_EQ(onlyEntry(system, DescriptionType::Memory).original, L"1024");
    EXPECT_EQ(onlyEntry(system, DescriptionType::Memory).suggested, L"1024");
    EXPECT_EQ(entriesOf(system, DescriptionType::USBController).size(), 1u);
    EXPECT_TRUE(entriesOf(system, DescriptionType::SoundCard).empty());

    const auto adapters = entriesOf(system, DescriptionType::NetworkAdapter);
    ASSERT_EQ(adapters.size(), 2u);
    EXPECT_EQ(adapters[0].original, L"Bridged");
    EXPECT_EQ(adapters[0].suggested, L"3");
    EXPECT_EQ(adapters[0].extra, L"slot=0;type=Bridged");
    EXPECT_EQ(adapters[1].extra, L"slot=1;type=NAT");

    EXPECT_EQ(entriesOf(system, DescriptionType::HardDiskControllerIDE).size(), 2u);
    const DescriptionEntry disk = onlyEntry(system, DescriptionType::HardDiskImage);
    EXPECT_EQ(disk.reference, L"vmdisk1");
    EXPECT_EQ(disk.original, L"disk1.vmdk");
    EXPECT_EQ(disk.suggested, L"C:\\vms\\vm\\disk1.vmdk");
    const DrivePlace diskPlace = parseDrivePlace(disk.extra).value_or(nowhere);
    EXPECT_EQ(system.entries.at(diskPlace.controller).type, DescriptionType::HardDiskControllerSATA);
    EXPECT_EQ(diskPlace.channel, 0u);
    const DrivePlace dvdPlace = parseDrivePlace(onlyEntry(system, DescriptionType::CDROM).extra).value_or(nowhere);
    EXPECT_EQ(system.entries.at(dvdPlace.controller).reference, L"6");
    EXPECT_EQ(dvdPlace.channel, 3u); // the slave of the secondary channel
    ASSERT_EQ(result.warnings.size(), 1u);
    EXPECT_NE(result.warnings[0].find(L"Video"), std::wstring::npos);
}

TEST(Interpretation, SuggestsFreeNames)
{
    ImportSurroundings server = surroundings();
    server.isNameTaken = [](const std::wstring& name) { return name == L"vm" || name == L"vm_1"; };
    OvfParts parts;
    parts.after = "<VirtualSystem ovf:id='vm'/><VirtualSystem ovf:id=''/>"
                  "<VirtualSystem ovf:id='x'><vbox:Machine name='\xE7\x94\xB5\xE8\x84\x91'/></VirtualSystem>";
    const Interpretation result = interpret(parseOvf(makeOvf(parts)), server);
    ASSERT_EQ(result.systems.size(), 4u);
    const std::wstring expected[] = {L"vm_2", L"vm_3", L"Other", L"\u7535\u8111"};
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_EQ(onlyEntry(result.systems[i], DescriptionType::Name).suggested, expected[i]) << i;
    EXPECT_EQ(onlyEntry(result.systems[1], DescriptionType::Name).original, L"vm");
}

TEST(Interpretation, KeepsToTheLimits)
{
    OvfParts parts;
    parts.items = item({{"ResourceType", "3"}, {"VirtualQuantity", "4000000000"}}) +
                  item({{"ResourceType", "4"}, {"VirtualQuantity", "100"}, {"AllocationUnits", "TB"}});
    for (int i = 0; i < 12; ++i)
        parts.items += item({{"ResourceType", "10"}});
    Interpretation result = interpret(parseOvf(makeOvf(parts)), surroundings());
    EXPECT_EQ(onlyEntry(result.systems[0], DescriptionType::CPU).suggested, L"64");
    EXPECT_EQ(onlyEntry(result.systems[0], DescriptionType::Memory).suggested, L"2097152");
    EXPECT_EQ(entriesOf(result.systems[0], DescriptionType::NetworkAdapter).size(), 8u);
    EXPECT_EQ(result.warnings.size(), 3u);

    parts.items = item({{"ResourceType", "23"}});
    result = interpret(parseOvf(makeOvf(parts)), surroundings());
    EXPECT_EQ(onlyEntry(result.systems[0], DescriptionType::CPU).suggested, L"1");
    EXPECT_EQ(onlyEntry(result.systems[0], DescriptionType::Memory).suggested, L"512");
}

TEST(Interpretation, GivesEveryDiskItsOwnTarget)
{
    OvfParts parts;
    parts.references += "<File ovf:id='f2' ovf:href='a/DISK1.vmdk'/><File ovf:id='f3' ovf:href='disk1.raw'/>";
    parts.disks += "<Disk ovf:diskId='two' ovf:fileRef='f2'/><Disk ovf:diskId='three' ovf:fileRef='f3'/>";
    parts.items = sampleItems();
    for (const char* disk : {"two", "three"})
        parts.items += item({{"HostResource", std::string("/disk/") + disk}, {"Parent", "3"}, {"ResourceType", "17"}});
    const Interpretation result = interpret(parseOvf(makeOvf(parts)), surroundings());
    const auto disks = entriesOf(result.systems[0], DescriptionType::HardDiskImage);
    ASSERT_EQ(disks.size(), 3u);
    EXPECT_EQ(disks[0].suggested, L"C:\\vms\\vm\\disk1.vmdk");
    EXPECT_EQ(disks[1].suggested, L"C:\\vms\\vm\\DISK1_1.vmdk");
    EXPECT_EQ(disks[2].suggested, L"C:\\vms\\vm\\disk1_2.vmdk");
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
