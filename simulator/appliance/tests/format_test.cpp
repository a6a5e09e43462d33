#include <chrono>

#include "appliance/manifest.h"
#include "appliance/ovf.h"
#include "appliance/tar.h"
#include "appliance_writers.h"
#include "base/xml_tree.h"
#include "images/byte_source.h"
#include "test_support.h"

using namespace ApplianceWriters;
using namespace ImageTests;
using namespace VBoxSim;

namespace {

class TarFormat : public ScratchTest
{
protected:
    TarArchive open(const Bytes& archive) const
    {
        return TarArchive(std::make_shared<FileSource>(put("archive.tar", archive)));
    }

    std::string text(const TarArchive& archive, const std::string& name) const
    {
        const TarMember* member = archive.find(name);
        return member ? readAll(*archive.open(*member), 1000, L"member") : "(absent)";
    }
};

/// A file whose end is far away and zero.
class HugeSource : public ByteSource
{
public:
    HugeSource(Bytes start, std::uint64_t size) : start_(std::move(start)), size_(size) {}
    std::uint64_t size() const override { return size_; }
    void readAt(std::uint64_t offset, void* buffer, std::size_t length) const override
    {
        auto* bytes = static_cast<std::uint8_t*>(buffer);
        for (std::size_t i = 0; i < length; ++i)
            bytes[i] = offset + i < start_.size() ? start_[static_cast<std::size_t>(offset + i)] : 0;
    }

private:
    Bytes start_;
    std::uint64_t size_;
};

std::string paxRecord(const std::string& key, const std::string& value)
{
    const std::string rest = " " + key + "=" + value + "\n";
    std::size_t length = rest.size() + 1;
    while (std::to_string(length).size() + rest.size() != length)
        ++length;
    return std::to_string(length) + rest;
}

OvfSystem onlySystem(const OvfParts& parts)
{
    const OvfDescriptor descriptor = parseOvf(makeOvf(parts));
    EXPECT_EQ(descriptor.systems.size(), 1u);
    return descriptor.systems.at(0);
}

Fault ovfFault(const OvfParts& parts)
{
    return faultOf([&] { parseOvf(makeOvf(parts)); });
}

} // namespace

TEST_F(TarFormat, ListsRegularFiles)
{
    Tar::Options folder;
    folder.type = '5';
    Tar::Options link;
    link.type = '2';
    Tar::Options old;
    old.type = '\0';
    old.noMagic = true;
    const auto archive = open(Tar()
                                  .add("a.ovf", std::string("first"))
                                  .add("folder/", Bytes(), folder)
                                  .add("link", Bytes(), link)
                                  .add("old", Bytes(513, 'x'), old)
                                  .add("./dot", std::string("dot"))
                                  .add("empty", Bytes())
                                  .finish());
    ASSERT_EQ(archive.members().size(), 4u);
    EXPECT_EQ(text(archive, "a.ovf"), "first");
    EXPECT_EQ(text(archive, "old"), std::string(513, 'x'));
    EXPECT_EQ(text(archive, "dot"), "dot");
    EXPECT_EQ(text(archive, "empty"), "");
}

TEST_F(TarFormat, JoinsThePrefix)
{
    Tar::Options posix;
    posix.prefix = "some/folder";
    Tar::Options gnu = posix;
    gnu.gnuMagic = true; // other fields stand there in this form
    const auto archive = open(Tar().add("a", Bytes(1, 'p'), posix).add("b", Bytes(1, 'g'), gnu).finish());
    EXPECT_EQ(text(archive, "some/folder/a"), "p");
    EXPECT_EQ(text(archive, "b"), "g");
}

TEST_F(TarFormat, KnowsLongNamesAndSizes)
{
    const std::string gnuName(300, 'g');
    const std::string paxName = "\xE7\xA1\xAC" + std::string(300, 'p');
    Tar::Options gnuLong;
    gnuLong.type = 'L';
    Tar::Options pax;
    pax.type = 'x';
    Tar::Options global;
    global.type = 'g';
    Tar::Options binary;
    binary.binarySize = true;
    const std::string records = paxRecord("mtime", "1.5") + paxRecord("path", paxName);
    const std::string comment = paxRecord("comment", "no matter");
    const auto archive = open(Tar()
                                  .add("g", Bytes(comment.begin(), comment.end()), global)
                                  .add("././@LongLink", Bytes(gnuName.begin(), gnuName.end()), gnuLong)
                                  .add("short", std::string("gnu"))
                                  .add("PaxHeaders/x", Bytes(records.begin(), records.end()), pax)
                                  .add("short", std::string("pax"))
                                  .add("binary", Bytes(3, 'b'), binary)
                                  .finish());
    ASSERT_EQ(archive.members().size(), 3u);
    EXPECT_EQ(text(archive, gnuName), "gnu");
    EXPECT_EQ(text(archive, paxName), "pax");
    EXPECT_EQ(text(archive, "binary"), "bbb");
}

TEST_F(TarFormat, ReadsMembersBeyondEightGigabytes)
{
    const std::uint64_t size = std::uint64_t(20) << 30;
    Tar::Options binary;
    binary.binarySize = true;
    const auto source = std::make_shared<HugeSource>(Tar().addHeader("big", size, binary).bytes(), size + 1536);
    const TarArchive archive(source);
    ASSERT_EQ(archive.members().size(), 1u);
    EXPECT_EQ(archive.members()[0].size, size);

    Tar::Options pax;
    pax.type = 'x';
    const std::string record = paxRecord("size", std::to_string(size));
    const auto paxSource = std::make_shared<HugeSource>(
        Tar().add("x", Bytes(record.begin(), record.end()), pax).addHeader("big", 0, {}).bytes(), size + 2560);
    EXPECT_EQ(TarArchive(paxSource).members().at(0).size, size);
}

TEST_F(TarFormat, EndsWithOrWithoutItsMark)
{
    const Bytes archive = Tar().add("a", std::string("data")).bytes();
    EXPECT_EQ(open(archive).members().size(), 1u);
    Bytes unpadded = archive;
    unpadded.resize(512 + 4);
    EXPECT_EQ(open(unpadded).members().size(), 1u);
}

TEST_F(TarFormat, RefusesDamage)
{
    const Bytes good = Tar().add("a", std::string("data")).add("b", Bytes(5000, 'b')).finish();
    const auto with = [&](auto change) {
        Bytes bad = good;
        change(bad);
        return faultOf([&] { open(bad); });
    };
    EXPECT_EQ(with([](Bytes& bytes) { bytes[0] = 'z'; }), Fault::BadArchive);     // checksum
    EXPECT_EQ(with([](Bytes& bytes) { bytes[150] = 'z'; }), Fault::BadArchive);   // no number
    EXPECT_EQ(with([](Bytes& bytes) { bytes.resize(3000); }), Fault::BadArchive); // inside a member
    EXPECT_EQ(with([](Bytes& bytes) { bytes.resize(1100); }), Fault::BadArchive); // inside a header
    EXPECT_EQ(with([](Bytes& bytes) { bytes.clear(); }), Fault::BadArchive);      // nothing at all
    EXPECT_EQ(with([](Bytes& bytes) {
                  bytes[124] = 0xFF; // a negative size
                  fixChecksum(bytes, 0);
              }),
              Fault::BadArchive);
    EXPECT_EQ(with([](Bytes& bytes) {
                  bytes[124] = 0x80; // a size without end
                  std::fill_n(bytes.begin() + 125, 11, std::uint8_t(0xFF));
                  fixChecksum(bytes, 0);
              }),
              Fault::BadArchive);
    EXPECT_EQ(faultOf([&] { open(Tar().add("a", Bytes()).add("a", Bytes()).finish()); }), Fault::BadArchive);
    EXPECT_EQ(faultOf([&] { open(Tar().add("", Bytes()).finish()); }), Fault::BadArchive);
    Tar::Options sparse;
    sparse.type = 'S';
    EXPECT_EQ(faultOf([&] { open(Tar().add("a", Bytes(), sparse).finish()); }), Fault::Unsupported);
    Tar::Options pax;
    pax.type = 'x';
    for (const std::string record : {"99 path=x\n", "x path=x\n", "4 x\n", "9999999999999999999999 path=x\n", "path",
                                     "12 size=-10\n", "30 size=99999999999999999999999\n"})
        EXPECT_EQ(faultOf([&] { open(Tar().add("x", Bytes(record.begin(), record.end()), pax).finish()); }),
                  Fault::BadArchive)
            << record;
    EXPECT_EQ(faultOf([&] { open(Tar().add("x", Bytes(megabyte, '1'), pax).finish()); }), Fault::BadArchive);
}

TEST(XmlTree, ReadsAndWritesElements)
{
    const auto root = parseXml("<?xml version='1.0'?><!-- <!DOCTYPE --><a xmlns='u:1' xmlns:p='u:2' p:x='1' y='2'>"
                               "<b> t\xC3\xA4xt </b><p:c z='&lt;&quot;&#10;'/></a>");
    ASSERT_TRUE(root);
    EXPECT_EQ(root->name, "a");
    EXPECT_EQ(root->uri, "u:1");
    EXPECT_EQ(root->attribute("x"), "1");
    EXPECT_EQ(root->childText("b"), "t\xC3\xA4xt");
    ASSERT_TRUE(root->child("c"));
    EXPECT_EQ(root->child("c")->uri, "u:2");
    EXPECT_EQ(root->child("d"), nullptr);
    EXPECT_EQ(toXml(*root, "v:1"), "<a xmlns=\"v:1\" y=\"2\"><b> t\xC3\xA4xt </b><c z=\"&lt;&quot;&#10;\"></c></a>");
}

TEST(XmlTree, RefusesWhatIsDangerous)
{
    const auto fault = [](const std::string& document) { return faultOf([&] { parseXml(document); }); };
    EXPECT_EQ(fault(""), Fault::BadDescriptor);
    EXPECT_EQ(fault("<a><b></a>"), Fault::BadDescriptor);
    EXPECT_EQ(fault("<a>&unknown;</a>"), Fault::BadDescriptor);
    EXPECT_EQ(fault("<a>\xFF</a>"), Fault::BadDescriptor);
    EXPECT_EQ(fault(std::string("<\0a\0/\0>\0", 8)), Fault::BadDescriptor);
    EXPECT_EQ(fault("<?xml version='1.0'?><!DOCTYPE a [<!ENTITY x SYSTEM 'file:///c:/secret'>]><a>&x;</a>"),
              Fault::BadDescriptor);
    std::string bomb = "<!-- c --><!DOCTYPE a [<!ENTITY e0 'x'>";
    for (int i = 1; i < 40; ++i)
        bomb +=
            "<!ENTITY e" + std::to_string(i) + " '&e" + std::to_string(i - 1) + ";&e" + std::to_string(i - 1) + ";'>";
    EXPECT_EQ(fault(bomb + "]><a>&e39;</a>"), Fault::BadDescriptor);
}

TEST(XmlTree, RefusesWhatIsTooDeepOrTooLargeInShortTime)
{
    const auto start = std::chrono::steady_clock::now();
    std::string deep;
    for (int i = 0; i < 200000; ++i)
        deep += "<a>";
    EXPECT_EQ(faultOf([&] { parseXml(deep); }), Fault::BadDescriptor);
    for (int i = 0; i < 200000; ++i)
        deep += "</a>";
    EXPECT_EQ(faultOf([&] { parseXml(deep); }), Fault::BadDescriptor);
    std::string wide = "<r>";
    for (int i = 0; i < 200000; ++i)
        wide += "<a/>";
    EXPECT_EQ(faultOf([&] { parseXml(wide + "</r>"); }), Fault::BadDescriptor);
    std::string attributes = "<r ";
    for (int i = 0; i < 50000; ++i)
        attributes += "a" + std::to_string(i) + "='' ";
    EXPECT_EQ(parseXml(attributes + "/>")->attributes.size(), 50000u);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST(Ovf, ReadsTheHardware)
{
    OvfParts parts;
    parts.references += "<File ovf:id='file2' ovf:href='cd.iso' ovf:size='77'/>";
    parts.disks += "<Disk ovf:diskId='blank' ovf:capacity='3' ovf:capacityAllocationUnits='byte * 2^30'/>";
    parts.sections = "<ProductSection><Info/><Product>P</Product><Vendor>V</Vendor><Version>1.2</Version>"
                     "<ProductUrl>http://p</ProductUrl><VendorUrl>http://v</VendorUrl></ProductSection>"
                     "<AnnotationSection><Info/><Annotation>Two\nlines</Annotation></AnnotationSection>"
                     "<EulaSection><Info/><License>L</License></EulaSection>"
                     "<OperatingSystemSection ovf:id='94'><Info/><Description>Ubuntu_64</Description>"
                     "<vbox:OSType ovf:required='false'>Ubuntu_64</vbox:OSType></OperatingSystemSection>";
    parts.items =
        sampleItems() +
        item({{"Address", "1"}, {"InstanceID", "5"}, {"ResourceSubType", "PIIX4"}, {"ResourceType", "5"}}) +
        item({{"InstanceID", "6"}, {"ResourceSubType", "lsilogicsas"}, {"ResourceType", "6"}}) +
        item({{"InstanceID", "7"}, {"ResourceSubType", "NVMe"}, {"ResourceType", "20"}}) +
        item({{"AddressOnParent", "1"},
              {"HostResource", "ovf:/file/file2"},
              {"InstanceID", "8"},
              {"Parent", "5"},
              {"ResourceType", "15"}}) +
        item({{"HostResource", "ovf:/disk/blank"}, {"InstanceID", "9"}, {"Parent", "6"}, {"ResourceType", "17"}}) +
        item({{"InstanceID", "10"}, {"ResourceType", "14"}}) +
        item({{"Connection", "NAT"}, {"InstanceID", "11"}, {"ResourceSubType", "E1000"}, {"ResourceType", "10"}}) +
        item({{"InstanceID", "12"}, {"ResourceType", "23"}}) +
        item({{"InstanceID", "13"}, {"ResourceSubType", "ensoniq1371"}, {"ResourceType", "35"}}) +
        item({{"ElementName", "Video"}, {"InstanceID", "14"}, {"ResourceType", "24"}});
    const OvfDescriptor descriptor = parseOvf(makeOvf(parts));
    ASSERT_EQ(descriptor.systems.size(), 1u);
    const OvfSystem& system = descriptor.systems[0];
    EXPECT_EQ(descriptor.majorVersion, 1);
    EXPECT_EQ(descriptor.findFile("file2")->href, "cd.iso");
    EXPECT_EQ(descriptor.findFile("file2")->size, 77u);
    EXPECT_EQ(descriptor.findDisk("vmdisk1")->capacity, megabyte);
    EXPECT_EQ(descriptor.findDisk("blank")->capacity, std::uint64_t(3) << 30);
    EXPECT_EQ(system.id, "vm");
    EXPECT_EQ(system.product, "P");
    EXPECT_EQ(system.vendor, "V");
    EXPECT_EQ(system.version, "1.2");
    EXPECT_EQ(system.productUrl, "http://p");
    EXPECT_EQ(system.vendorUrl, "http://v");
    EXPECT_EQ(system.description, "Two\nlines");
    EXPECT_EQ(system.license, "L");
    EXPECT_EQ(system.cimOsType, 94u);
    EXPECT_EQ(system.vboxOsType, "Ubuntu_64");
    EXPECT_EQ(system.cpuCount, 2u);
    EXPECT_EQ(system.memoryBytes, std::uint64_t(1) << 30);
    ASSERT_EQ(system.controllers.size(), 4u);
    EXPECT_EQ(system.controllers[0].kind, OvfControllerKind::Sata);
    EXPECT_EQ(system.controllers[1].kind, OvfControllerKind::Ide);
    EXPECT_EQ(system.controllers[1].address, 1u);
    EXPECT_EQ(system.controllers[2].kind, OvfControllerKind::Sas);
    EXPECT_EQ(system.controllers[3].kind, OvfControllerKind::Nvme);
    ASSERT_EQ(system.drives.size(), 4u);
    EXPECT_EQ(system.drives[0].diskId, "vmdisk1");
    EXPECT_EQ(system.drives[1].kind, OvfDriveKind::Dvd);
    EXPECT_EQ(system.drives[1].fileId, "file2");
    EXPECT_EQ(system.drives[1].addressOnParent, 1u);
    EXPECT_EQ(system.drives[2].diskId, "blank");
    EXPECT_EQ(system.drives[3].kind, OvfDriveKind::Floppy);
    ASSERT_EQ(system.adapters.size(), 1u);
    EXPECT_EQ(system.adapters[0].type, "E1000");
    EXPECT_EQ(system.adapters[0].network, "NAT");
    EXPECT_TRUE(system.usbController);
    EXPECT_TRUE(system.soundCard);
    EXPECT_EQ(system.soundCardType, "ensoniq1371");
    EXPECT_EQ(system.ignoredItems, std::vector<std::string>{"Video"});
    EXPECT_TRUE(system.machineElement.empty());
}

TEST(Ovf, ReadsVersionTwoAndCollections)
{
    OvfParts parts;
    parts.uri = "http://schemas.dmtf.org/ovf/envelope/2";
    std::string items = sampleItems();
    const std::size_t disk = items.rfind("<Item>");
    items.replace(disk, 6, "<StorageItem>");
    items.replace(items.rfind("</Item>"), 7, "</StorageItem>");
    parts.items = items + "<EthernetPortItem><rasd:Connection>Lan</rasd:Connection><rasd:InstanceID>9</rasd:InstanceID>"
                          "<rasd:ResourceType>10</rasd:ResourceType></EthernetPortItem>";
    parts.after = "<VirtualSystemCollection ovf:id='all'><VirtualSystem ovf:id='two'/>"
                  "<VirtualSystemCollection><VirtualSystem ovf:id='three'/></VirtualSystemCollection>"
                  "</VirtualSystemCollection>";
    const OvfDescriptor descriptor = parseOvf(makeOvf(parts));
    EXPECT_EQ(descriptor.majorVersion, 2);
    ASSERT_EQ(descriptor.systems.size(), 3u);
    EXPECT_EQ(descriptor.systems[0].drives.size(), 1u);
    EXPECT_EQ(descriptor.systems[0].adapters.at(0).network, "Lan");
    EXPECT_EQ(descriptor.systems[1].id, "two");
    EXPECT_EQ(descriptor.systems[2].id, "three");
}

TEST(Ovf, TakesTheMachineElement)
{
    OvfParts parts;
    parts.after = "";
    parts.sections = "<vbox:Machine ovf:required='false' version='1.16-windows' name='real name' "
                     "OSType='Windows10_64'><ovf:Info>For people</ovf:Info><Hardware><CPU count='3'/></Hardware>"
                     "</vbox:Machine>";
    const OvfSystem system = onlySystem(parts);
    EXPECT_EQ(system.machineName, "real name");
    EXPECT_EQ(system.machineOsType, "Windows10_64");
    EXPECT_EQ(system.machineElement,
              R"(<Machine xmlns="http://www.virtualbox.org/" version="1.16-windows" name="real name" )"
              R"(OSType="Windows10_64"><Hardware><CPU count="3"></CPU></Hardware></Machine>)");
}

TEST(Ovf, PassesOverBoundsAndOtherConfigurations)
{
    OvfParts parts;
    parts.sections = "";
    std::string items = sampleItems();
    for (const char* attributes : {"ovf:bound='max'", "ovf:configuration='big'"})
        items += "<Item " + std::string(attributes) +
                 "><rasd:ResourceType>3</rasd:ResourceType><rasd:VirtualQuantity>16</rasd:VirtualQuantity></Item>";
    items += "<Item ovf:configuration='big small'><rasd:ResourceType>3</rasd:ResourceType>"
             "<rasd:VirtualQuantity>4</rasd:VirtualQuantity></Item>";
    parts.items = items;
    parts.after = "<DeploymentOptionSection><Info/><Configuration ovf:id='big'/>"
                  "<Configuration ovf:id='small' ovf:default='true'/></DeploymentOptionSection>";
    EXPECT_EQ(onlySystem(parts).cpuCount, 6u);
}

TEST(Ovf, GivesDrivesWithoutAPlaceTheFreeOnes)
{
    OvfParts parts;
    parts.disks += "<Disk ovf:diskId='b' ovf:capacity='512'/><Disk ovf:diskId='c' ovf:capacity='512'/>";
    parts.items = item({{"HostResource", "/disk/b"}, {"Parent", "3"}, {"ResourceType", "17"}}) + sampleItems() +
                  item({{"HostResource", "/disk/c"}, {"Parent", "3"}, {"ResourceType", "17"}});
    const OvfSystem system = onlySystem(parts);
    ASSERT_EQ(system.drives.size(), 3u);
    EXPECT_EQ(system.drives[0].addressOnParent, 1u);
    EXPECT_EQ(system.drives[1].addressOnParent, 0u);
    EXPECT_EQ(system.drives[2].addressOnParent, 2u);
}

TEST(Ovf, RefusesDamage)
{
    const OvfParts good;
    OvfParts parts = good;
    parts.uri = "http://schemas.dmtf.org/ovf/envelope/3";
    EXPECT_EQ(ovfFault(parts), Fault::Unsupported);
    parts.uri = "http://example.org/";
    EXPECT_EQ(ovfFault(parts), Fault::BadDescriptor);
    EXPECT_EQ(faultOf([] { parseOvf("<a/>"); }), Fault::BadDescriptor);
    EXPECT_EQ(faultOf([] { parseOvf("<Envelope xmlns='http://schemas.dmtf.org/ovf/envelope/1'/>"); }),
              Fault::BadDescriptor);

    const auto references = [&](const std::string& text) {
        OvfParts changed = good;
        changed.references = text;
        return ovfFault(changed);
    };
    EXPECT_EQ(references(""), Fault::BadDescriptor);
    EXPECT_EQ(references(good.references + good.references), Fault::BadDescriptor);
    EXPECT_EQ(references("<File ovf:id='file1'/>"), Fault::BadDescriptor);
    EXPECT_EQ(references("<File ovf:id='file1' ovf:href='a' ovf:size='-1'/>"), Fault::BadDescriptor);
    EXPECT_EQ(references("<File ovf:id='file1' ovf:href='a' ovf:compression='gzip'/>"), Fault::Unsupported);
    EXPECT_EQ(references("<File ovf:id='file1' ovf:href='a' ovf:chunkSize='1000'/>"), Fault::Unsupported);
    EXPECT_EQ(references("<File ovf:id='file1' ovf:href='http://example.org/a'/>"), Fault::Unsupported);

    const auto disks = [&](const std::string& text) {
        OvfParts changed = good;
        changed.disks = text;
        return ovfFault(changed);
    };
    EXPECT_EQ(disks(""), Fault::BadDescriptor);
    EXPECT_EQ(disks(good.disks + good.disks), Fault::BadDescriptor);
    EXPECT_EQ(disks("<Disk ovf:diskId='vmdisk1'/>"), Fault::BadDescriptor);
    EXPECT_EQ(disks("<Disk ovf:diskId='vmdisk1' ovf:capacity='many'/>"), Fault::BadDescriptor);
    EXPECT_EQ(disks("<Disk ovf:diskId='vmdisk1' ovf:capacity='${size}'/>"), Fault::Unsupported);
    EXPECT_EQ(disks("<Disk ovf:diskId='vmdisk1' ovf:capacity='1' ovf:capacityAllocationUnits='pounds'/>"),
              Fault::BadDescriptor);
    EXPECT_EQ(disks("<Disk ovf:diskId='vmdisk1' ovf:capacity='99999999' "
                    "ovf:capacityAllocationUnits='byte * 2^60'/>"),
              Fault::BadDescriptor);
    EXPECT_EQ(disks("<Disk ovf:diskId='vmdisk1' ovf:capacity='1' ovf:parentRef='other'/>"), Fault::Unsupported);

    const auto items = [&](const std::string& text) {
        OvfParts changed = good;
        changed.items = text;
        return ovfFault(changed);
    };
    EXPECT_EQ(items(item({{"InstanceID", "1"}})), Fault::BadDescriptor);
    EXPECT_EQ(items(item({{"ResourceType", "x"}})), Fault::BadDescriptor);
    EXPECT_EQ(items(item({{"ResourceType", "99999999999"}})), Fault::BadDescriptor);
    EXPECT_EQ(items(item({{"ResourceType", "4"}})), Fault::BadDescriptor);
    EXPECT_EQ(items(item({{"ResourceType", "5"}})), Fault::BadDescriptor);
    EXPECT_EQ(items(item({{"ResourceType", "20"}, {"InstanceID", "1"}, {"ResourceSubType", "tape"}})),
              Fault::Unsupported);
    EXPECT_EQ(items(sampleItems() + item({{"ResourceType", "5"}, {"InstanceID", "3"}})), Fault::BadDescriptor);
    EXPECT_EQ(items(item({{"ResourceType", "17"}, {"HostResource", "/disk/vmdisk1"}})), Fault::BadDescriptor);
    EXPECT_EQ(items(item({{"ResourceType", "17"}, {"HostResource", "/disk/vmdisk1"}, {"Parent", "7"}})),
              Fault::BadDescriptor);
    EXPECT_EQ(items(sampleItems() + item({{"ResourceType", "17"}, {"HostResource", "/disk/other"}, {"Parent", "3"}})),
              Fault::BadDescriptor);
    EXPECT_EQ(items(sampleItems() + item({{"ResourceType", "17"},
                                          {"HostResource", "/disk/vmdisk1"},
                                          {"Parent", "3"},
                                          {"AddressOnParent", "0"}})),
              Fault::BadDescriptor);
}

TEST(Ovf, KnowsUnits)
{
    EXPECT_EQ(scaledBytes(5, ""), 5u);
    EXPECT_EQ(scaledBytes(5, "byte"), 5u);
    EXPECT_EQ(scaledBytes(5, "MegaBytes"), 5u << 20);
    EXPECT_EQ(scaledBytes(5, "byte * 2^20"), 5u << 20);
    EXPECT_EQ(scaledBytes(5, "bytes*2^30"), std::uint64_t(5) << 30);
    EXPECT_EQ(scaledBytes(5, "byte * 10^6"), 5000000u);
    EXPECT_EQ(scaledBytes(5, "GigaBytes"), std::uint64_t(5) << 30);
    for (const char* unit : {"hertz", "byte * 3^2", "byte * 2^61", "byte * 2", "* 2^20", "byte ^ 2 * 20", "byte * 2^x"})
        EXPECT_FALSE(scaledBytes(5, unit)) << unit;
    EXPECT_FALSE(scaledBytes(UINT64_MAX, "KB"));
}

TEST(Manifest, IsParsed)
{
    const std::string sha1(40, 'A');
    const std::string sha256(64, '0');
    const std::string sha512(128, 'f');
    const auto entries =
        parseManifest("SHA1 (a (1).ovf) = " + sha1 + "\r\n\nSHA256(b.vmdk)= " + sha256 + "\nsha512(c=d)=" + sha512);
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0].algorithm, "SHA1");
    EXPECT_EQ(entries[0].file, "a (1).ovf");
    EXPECT_EQ(entries[0].digest, std::string(40, 'a'));
    EXPECT_EQ(entries[1].algorithm, "SHA256");
    EXPECT_EQ(entries[1].file, "b.vmdk");
    EXPECT_EQ(entries[2].file, "c=d");
    EXPECT_TRUE(parseManifest("").empty());
    for (const std::string& bad : {std::string("text"), "SHA1(a)" + sha1, "SHA1(a)= " + sha256, "SHA1()= " + sha1,
                                   "SHA1(a)= " + std::string(40, 'g'), "SHA1 a)= " + sha1})
        EXPECT_EQ(faultOf([&] { parseManifest(bad); }), Fault::BadDescriptor) << bad;
    EXPECT_EQ(faultOf([&] { parseManifest("MD2(a)= " + sha1); }), Fault::Unsupported);
}

TEST_F(TarFormat, DigestsAreCompared)
{
    // The digests of "abc" that FIPS 180 gives.
    const FileSource abc(put("abc", std::string("abc")));
    const auto all = [](std::uint64_t) { return true; };
    checkDigest({"SHA1", "abc", "a9993e364706816aba3e25717850c26c9cd0d89d"}, abc, all);
    checkDigest({"SHA256", "abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"}, abc, all);
    checkDigest({"SHA512", "abc",
                 "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
                 "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f"},
                abc, all);
    EXPECT_EQ(faultOf([&] { checkDigest({"SHA1", "abc", std::string(40, '0')}, abc, all); }), Fault::DigestMismatch);
    EXPECT_EQ(faultOf([&] {
                  checkDigest({"SHA1", "abc", std::string(40, '0')}, abc, [](std::uint64_t) { return false; });
              }),
              Fault::Canceled);
}
