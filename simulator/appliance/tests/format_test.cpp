#include <chrono>

#include "appliance/manifest.h"
#include "appliance/ovf.h"
#include "appliance/tar.h"
#include "appliance_writers.h"
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

ResultCode ovfFault(const OvfParts& parts)
{
    return resultOf([&] { parseOvf(makeOvf(parts)); });
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

TEST_F(TarFormat, NamesCountInAnyCaseAndTheFirstOfTwoIsTaken)
{
    const auto archive = open(Tar().add("Disk.VMDK", std::string("one")).add("disk.vmdk", std::string("two")).finish());
    EXPECT_EQ(text(archive, "disk.vmdk"), "one");
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
        return resultOf([&] { open(bad); });
    };
    EXPECT_EQ(with([](Bytes& bytes) { bytes[0] = 'z'; }), Result::iprtError);     // checksum
    EXPECT_EQ(with([](Bytes& bytes) { bytes[150] = 'z'; }), Result::iprtError);   // no number
    EXPECT_EQ(with([](Bytes& bytes) { bytes.resize(3000); }), Result::iprtError); // inside a member
    EXPECT_EQ(with([](Bytes& bytes) { bytes.resize(1100); }), Result::iprtError); // inside a header
    EXPECT_EQ(with([](Bytes& bytes) { bytes.clear(); }), Result::iprtError);      // nothing at all
    EXPECT_EQ(with([](Bytes& bytes) {
                  bytes[124] = 0xFF; // a negative size
                  fixChecksum(bytes, 0);
              }),
              Result::iprtError);
    EXPECT_EQ(with([](Bytes& bytes) {
                  bytes[124] = 0x80; // a size without end
                  std::fill_n(bytes.begin() + 125, 11, std::uint8_t(0xFF));
                  fixChecksum(bytes, 0);
              }),
              Result::iprtError);
    EXPECT_EQ(resultOf([&] { open(Tar().add("", Bytes()).finish()); }), Result::iprtError);
    Tar::Options sparse;
    sparse.type = 'S';
    EXPECT_EQ(resultOf([&] { open(Tar().add("a", Bytes(), sparse).finish()); }), Result::notSupported);
    Tar::Options pax;
    pax.type = 'x';
    for (const std::string record : {"99 path=x\n", "x path=x\n", "4 x\n", "9999999999999999999999 path=x\n", "path",
                                     "12 size=-10\n", "30 size=99999999999999999999999\n"})
        EXPECT_EQ(resultOf([&] { open(Tar().add("x", Bytes(record.begin(), record.end()), pax).finish()); }),
                  Result::iprtError)
            << record;
    EXPECT_EQ(resultOf([&] { open(Tar().add("x", Bytes(megabyte, '1'), pax).finish()); }), Result::iprtError);
}

TEST(Ovf, ReadsTheHardware)
{
    OvfParts parts;
    parts.references += "<File ovf:id='file2' ovf:href='cd.iso' ovf:size='77'/>";
    parts.disks +=
        "<Disk ovf:diskId='cd' ovf:capacity='77' ovf:fileRef='file2' ovf:format='iso'/>"
        "<Disk ovf:diskId='blank' ovf:capacity='3' ovf:format='' ovf:capacityAllocationUnits='byte * 2^30'/>";
    parts.sections = "<ProductSection><Info/><Product>P</Product><Vendor>V</Vendor><Version>1.2</Version>"
                     "<ProductUrl>http://p</ProductUrl><VendorUrl>http://v</VendorUrl></ProductSection>"
                     "<AnnotationSection><Info/><Annotation>Two\nlines</Annotation></AnnotationSection>"
                     "<EulaSection><Info/><License>L</License></EulaSection>"
                     "<OperatingSystemSection ovf:id='94'><Info/><Description>Words</Description>"
                     "<vbox:OSType ovf:required='false'>Ubuntu_64</vbox:OSType></OperatingSystemSection>";
    parts.items =
        "<System><vssd:VirtualSystemType>virtualbox-2.2</vssd:VirtualSystemType></System>" + sampleItems() +
        item({{"Address", "0"}, {"InstanceID", "5"}, {"ResourceSubType", "PIIX4"}, {"ResourceType", "5"}}) +
        item({{"Address", "1"}, {"InstanceID", "6"}, {"ResourceSubType", "PIIX4"}, {"ResourceType", "5"}}) +
        item({{"InstanceID", "7"}, {"ResourceSubType", "lsilogicsas"}, {"ResourceType", "6"}}) +
        item({{"InstanceID", "8"}, {"ResourceSubType", "VirtioSCSI"}, {"ResourceType", "20"}}) +
        item({{"AddressOnParent", "1"},
              {"HostResource", "ovf:/disk/cd"},
              {"InstanceID", "9"},
              {"Parent", "6"},
              {"ResourceType", "15"}}) +
        item({{"HostResource", "ovf://disk/blank"}, {"InstanceID", "10"}, {"Parent", "7"}, {"ResourceType", "17"}}) +
        item({{"InstanceID", "11"}, {"ResourceType", "14"}}) +
        item({{"Connection", "NAT"}, {"InstanceID", "12"}, {"ResourceSubType", "E1000"}, {"ResourceType", "10"}}) +
        item({{"InstanceID", "13"}, {"ResourceType", "23"}}) +
        item({{"InstanceID", "14"}, {"ResourceSubType", "ensoniq1371"}, {"ResourceType", "35"}});
    const OvfDescriptor descriptor = parseOvf(makeOvf(parts));
    ASSERT_EQ(descriptor.systems.size(), 1u);
    const OvfSystem& system = descriptor.systems[0];
    EXPECT_EQ(descriptor.findDisk("vmdisk1")->capacity, megabyte);
    EXPECT_EQ(descriptor.findDisk("vmdisk1")->href, "disk1.vmdk");
    EXPECT_EQ(descriptor.findDisk("cd")->size, 77);
    EXPECT_EQ(descriptor.findDisk("blank")->capacity, 3u); // bytes, whatever the unit
    EXPECT_EQ(descriptor.findDisk("blank")->href, "");
    EXPECT_EQ(system.id, "vm");
    EXPECT_EQ(system.product, "P");
    EXPECT_EQ(system.vendor, "V");
    EXPECT_EQ(system.version, "1.2");
    EXPECT_EQ(system.productUrl, "http://p");
    EXPECT_EQ(system.vendorUrl, "http://v");
    EXPECT_EQ(system.description, "Two\nlines");
    EXPECT_EQ(system.license, "L");
    EXPECT_EQ(system.cimOsType, 94u);
    EXPECT_EQ(system.osDescription, "Words");
    EXPECT_EQ(system.vboxOsType, "Ubuntu_64");
    EXPECT_EQ(system.systemType, "virtualbox-2.2");
    EXPECT_EQ(system.cpuCount, 2u);
    EXPECT_EQ(system.memoryBytes, std::uint64_t(1) << 30);
    ASSERT_EQ(system.controllers.size(), 5u);
    EXPECT_EQ(system.controllers.at(3).kind, OvfControllerKind::Sata);
    EXPECT_FALSE(system.controllers.at(5).secondaryChannel);
    EXPECT_TRUE(system.controllers.at(6).secondaryChannel);
    EXPECT_EQ(system.controllers.at(7).kind, OvfControllerKind::Sas);
    EXPECT_EQ(system.controllers.at(8).kind, OvfControllerKind::VirtioScsi);
    ASSERT_EQ(system.drives.size(), 3u);
    EXPECT_EQ(system.drives.at("vmdisk1").controller, 3u);
    EXPECT_TRUE(system.drives.at("cd").optical);
    EXPECT_EQ(system.drives.at("cd").address, 1u);
    EXPECT_EQ(system.drives.at("blank").controller, 7u);
    EXPECT_TRUE(system.floppyDrive);
    EXPECT_FALSE(system.emptyCdDrive);
    ASSERT_EQ(system.adapters.size(), 1u);
    EXPECT_EQ(system.adapters[0].type, "E1000");
    EXPECT_EQ(system.adapters[0].network, "NAT");
    EXPECT_TRUE(system.usbController);
    EXPECT_TRUE(system.soundCard);
    EXPECT_EQ(system.soundCardType, "ensoniq1371");
    EXPECT_FALSE(system.machine);
}

TEST(Ovf, EveryNamespaceIsAVersion)
{
    OvfParts parts;
    for (const char* uri : {"http://schemas.dmtf.org/ovf/envelope/1", "http://schemas.dmtf.org/ovf/envelope/1/",
                            "http://schemas.dmtf.org/ovf/envelope/2", "http://www.vmware.com/schema/ovf/1/envelope",
                            "http://example.org/another"}) {
        parts.uri = uri;
        EXPECT_EQ(onlySystem(parts).drives.size(), 1u) << uri;
    }
    EXPECT_EQ(resultOf([] { parseOvf("<Envelope><VirtualSystem id='a'/></Envelope>"); }), Result::fileError);
    EXPECT_EQ(resultOf([] { parseOvf("<a xmlns='http://schemas.dmtf.org/ovf/envelope/1'/>"); }), Result::fileError);
}

/// As VMware's tools of 2008 wrote it.
TEST(Ovf, ReadsVersionZeroPointNine)
{
    const OvfDescriptor descriptor = parseOvf(R"(<?xml version="1.0" encoding="UTF-8"?>
<ovf:Envelope xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" xmlns:ovf="http://www.vmware.com/schema/ovf/1/envelope"
    xmlns:vssd="http://schemas.dmtf.org/wbem/wscim/1/cim-schema/2/CIM_VirtualSystemSettingData"
    xmlns:rasd="http://schemas.dmtf.org/wbem/wscim/1/cim-schema/2/CIM_ResourceAllocationSettingData" ovf:version="0.9">
  <References><File ovf:href="disk.vmdk" ovf:id="file1" ovf:size="1000"/></References>
  <Section xsi:type="ovf:DiskSection_Type"><Info>Disks</Info>
    <Disk ovf:capacity="2147483648" ovf:diskId="disk1" ovf:fileRef="file1" ovf:populatedSize="100"
        ovf:format="http://www.vmware.com/specifications/vmdk.html#sparse"/></Section>
  <Section xsi:type="ovf:NetworkSection_Type"><Info/><Network ovf:name="Lan"/></Section>
  <Content ovf:id="old machine" xsi:type="ovf:VirtualSystem_Type"><Info/>
    <Section xsi:type="ovf:OperatingSystemSection_Type" ovf:id="36"><Info/><Description>Linux</Description></Section>
    <Section xsi:type="ovf:AnnotationSection_Type"><Info/><Annotation>Old</Annotation></Section>
    <Section xsi:type="ovf:EulaSection_Type"><Info/><License>L</License></Section>
    <Section xsi:type="ovf:VirtualHardwareSection_Type"><Info/>
      <System><vssd:InstanceId>0</vssd:InstanceId><vssd:VirtualSystemType>vmx-04</vssd:VirtualSystemType></System>
      <Item><rasd:Caption>2 CPUs</rasd:Caption><rasd:InstanceId>1</rasd:InstanceId>
        <rasd:ResourceType>3</rasd:ResourceType><rasd:VirtualQuantity>2</rasd:VirtualQuantity></Item>
      <Item><rasd:AllocationUnits>MegaBytes</rasd:AllocationUnits><rasd:InstanceId>2</rasd:InstanceId>
        <rasd:ResourceType>4</rasd:ResourceType><rasd:VirtualQuantity>256</rasd:VirtualQuantity></Item>
      <Item><rasd:BusNumber>0</rasd:BusNumber><rasd:InstanceId>3</rasd:InstanceId>
        <rasd:ResourceSubType>LsiLogic</rasd:ResourceSubType><rasd:ResourceType>6</rasd:ResourceType></Item>
      <Item><rasd:AddressOnParent>0</rasd:AddressOnParent><rasd:HostResource>/disk/disk1</rasd:HostResource><rasd:InstanceId>4</rasd:InstanceId>
        <rasd:Parent>3</rasd:Parent><rasd:ResourceType>17</rasd:ResourceType></Item>
    </Section></Content>
</ovf:Envelope>)");
    ASSERT_EQ(descriptor.systems.size(), 1u);
    const OvfSystem& system = descriptor.systems[0];
    EXPECT_EQ(system.id, "old machine");
    EXPECT_EQ(system.cimOsType, 36u);
    EXPECT_EQ(system.description, "Old");
    EXPECT_EQ(system.license, "L");
    EXPECT_EQ(system.cpuCount, 2u);
    EXPECT_EQ(system.memoryBytes, 256u * megabyte);
    EXPECT_EQ(system.controllers.at(3).kind, OvfControllerKind::Scsi);
    EXPECT_EQ(system.drives.at("disk1").controller, 3u);
    EXPECT_EQ(descriptor.findDisk("disk1")->populatedSize, 100);
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
                  "<Content xsi:type='ovf:VirtualSystemCollection_Type'><VirtualSystem ovf:id='three'/></Content>"
                  "</VirtualSystemCollection>";
    const OvfDescriptor descriptor = parseOvf(makeOvf(parts));
    ASSERT_EQ(descriptor.systems.size(), 3u);
    EXPECT_EQ(descriptor.systems[0].drives.size(), 1u);
    EXPECT_EQ(descriptor.systems[0].adapters.at(0).network, "Lan");
    EXPECT_EQ(descriptor.systems[1].id, "two");
    EXPECT_EQ(descriptor.systems[2].id, "three");
    EXPECT_TRUE(parseOvf("<Envelope xmlns='http://schemas.dmtf.org/ovf/envelope/1'/>").systems.empty());
}

TEST(Ovf, TakesTheMachineElement)
{
    OvfParts parts;
    parts.sections = "<vbox:Machine ovf:required='false' version='1.12-windows' name='real name' "
                     "OSType='Windows10_64'><ovf:Info>For people</ovf:Info><Hardware><CPU count='3'/>"
                     "<Memory RAMSize='96'/><Network><Adapter slot='0'/><Adapter slot='2' enabled='true' type='virtio'>"
                     "<BridgedInterface name='x'/></Adapter></Network></Hardware></vbox:Machine>";
    const std::string machine = onlySystem(parts).machine.value_or("");
    EXPECT_NE(machine.find("<VirtualBox xmlns=\"http://www.virtualbox.org/\" version=\"1.12-windows\">"),
              std::string::npos);
    EXPECT_NE(machine.find("<Machine name=\"real name\" OSType=\"Windows10_64\">"), std::string::npos);
    EXPECT_NE(machine.find("<Adapter slot=\"2\" enabled=\"true\" type=\"virtio\">"), std::string::npos);
    EXPECT_EQ(machine.find("For people"), std::string::npos);
}

TEST(Ovf, EveryConfigurationCounts)
{
    OvfParts parts;
    parts.items = sampleItems() + "<Item ovf:bound='max'><rasd:ResourceType>3</rasd:ResourceType>"
                                  "<rasd:VirtualQuantity>16</rasd:VirtualQuantity></Item>"
                                  "<Item ovf:configuration='big'><rasd:ResourceType>4</rasd:ResourceType>"
                                  "<rasd:AllocationUnits>byte * 2^20</rasd:AllocationUnits>"
                                  "<rasd:VirtualQuantity>4</rasd:VirtualQuantity></Item>"
                                  "<Item ovf:configuration='big'><rasd:ResourceType>10</rasd:ResourceType></Item>"
                                  "<Item ovf:configuration='small'><rasd:ResourceType>10</rasd:ResourceType></Item>";
    parts.after = "<DeploymentOptionSection><Info/><Configuration ovf:id='big'/>"
                  "<Configuration ovf:id='small' ovf:default='true'/></DeploymentOptionSection>";
    const OvfSystem system = onlySystem(parts);
    EXPECT_EQ(system.cpuCount, 16u);
    EXPECT_EQ(system.memoryBytes, 4u * megabyte);
    EXPECT_EQ(system.adapters.size(), 2u);
}

TEST(Ovf, EmptyCdDrivesAreOneAndHaveNoPlace)
{
    OvfParts parts;
    parts.items = sampleItems();
    for (const char* resource : {"", "/file/file1", "ovf:/disk/unknown"})
        parts.items +=
            item({{"AddressOnParent", "0"}, {"HostResource", resource}, {"Parent", "3"}, {"ResourceType", "15"}});
    const OvfSystem system = onlySystem(parts);
    EXPECT_TRUE(system.emptyCdDrive);
    EXPECT_EQ(system.drives.size(), 1u);
}

TEST(Ovf, OfTwoThingsWithOneIdentifierTheLaterCounts)
{
    OvfParts parts;
    parts.disks += "<Disk ovf:diskId='vmdisk1' ovf:capacity='9' ovf:format='x'/>";
    parts.items =
        sampleItems() + item({{"ResourceType", "6"}, {"InstanceID", "3"}, {"ResourceSubType", "BusLogic"}}) +
        item({{"ResourceType", "17"}, {"HostResource", "/disk/vmdisk1"}, {"Parent", "3"}, {"AddressOnParent", "7"}});
    const OvfDescriptor descriptor = parseOvf(makeOvf(parts));
    EXPECT_EQ(descriptor.findDisk("vmdisk1")->capacity, 9u);
    EXPECT_EQ(descriptor.systems[0].controllers.at(3).kind, OvfControllerKind::Scsi);
    ASSERT_EQ(descriptor.systems[0].drives.size(), 1u);
    EXPECT_EQ(descriptor.systems[0].drives.at("vmdisk1").address, 7u);
}

TEST(Ovf, IsLenientWhereVirtualBoxIs)
{
    OvfParts parts;
    for (const char* size : {"-1", "99999999999999999999", "many", ""}) {
        parts.references = "<File ovf:id='file1' ovf:href='a.vmdk' ovf:size='" + std::string(size) +
                           "'/>"
                           "<File ovf:id='unused'/>";
        EXPECT_EQ(parseOvf(makeOvf(parts)).findDisk("vmdisk1")->href, "a.vmdk") << size;
    }
    parts.items = sampleItems() + "<Item ovf:required='false'><rasd:ElementName>Video</rasd:ElementName>"
                                  "<rasd:ResourceType>24</rasd:ResourceType></Item>"
                                  "<Item required='false'><rasd:ResourceType>1</rasd:ResourceType></Item>"
                                  "<vmw:Config ovf:required='false' vmw:key='k'/><unheard:Of><More/></unheard:Of>";
    EXPECT_EQ(onlySystem(parts).drives.size(), 1u);
    parts.disks = "<Disk ovf:diskId='vmdisk1' ovf:capacity='1' ovf:fileRef='file1' ovf:format='f' ovf:parentRef='x'/>";
    parts.references = "<File ovf:id='file1' ovf:href='http://example.org/a.vmdk' ovf:chunkSize='5'/>";
    EXPECT_EQ(onlySystem(parts).drives.size(), 1u);
}

TEST(Ovf, RefusesDamage)
{
    const OvfParts good;
    const auto references = [&](const std::string& text) {
        OvfParts changed = good;
        changed.references = text;
        return ovfFault(changed);
    };
    EXPECT_EQ(references(""), Result::fileError);
    EXPECT_EQ(references("<File ovf:id='file1'/>"), Result::fileError);

    const auto disks = [&](const std::string& text) {
        OvfParts changed = good;
        changed.disks = text;
        return ovfFault(changed);
    };
    EXPECT_EQ(disks(""), Result::fileError);
    EXPECT_EQ(disks("<Disk ovf:diskId='vmdisk1' ovf:format=''/>"), Result::fileError);
    EXPECT_EQ(disks("<Disk ovf:diskId='vmdisk1' ovf:format='' ovf:capacity='${size}'/>"), Result::fileError);
    EXPECT_EQ(disks("<Disk ovf:diskId='vmdisk1' ovf:capacity='1'/>"), Result::fileError);
    EXPECT_EQ(disks("<Disk ovf:format='' ovf:capacity='1'/>"), Result::fileError);

    const auto items = [&](const std::string& text) {
        OvfParts changed = good;
        changed.items = text;
        return ovfFault(changed);
    };
    EXPECT_EQ(items(item({{"InstanceID", "1"}})), Result::fileError);
    EXPECT_EQ(items(item({{"ResourceType", "x"}})), Result::fileError);
    EXPECT_EQ(items(item({{"ResourceType", "0"}})), Result::fileError);
    EXPECT_EQ(items(item({{"ResourceType", "24"}})), Result::fileError); // required when it does not say otherwise
    EXPECT_EQ(items(item({{"ResourceType", "3"}, {"VirtualQuantity", "65535"}})), Result::fileError);
    for (const char* unit : {"", "GigaBytes", "byte * 2^30", "megabytes", "KB"})
        EXPECT_EQ(items(item({{"ResourceType", "4"}, {"VirtualQuantity", "1"}, {"AllocationUnits", unit}})),
                  Result::fileError)
            << unit;
    EXPECT_EQ(items(item({{"ResourceType", "5"}})), Result::fileError);
    EXPECT_EQ(items(item({{"ResourceType", "5"}, {"InstanceID", "0"}})), Result::fileError);
    EXPECT_EQ(items(item({{"ResourceType", "20"}, {"InstanceID", "1"}, {"ResourceSubType", "tape"}})),
              Result::fileError);
    EXPECT_EQ(items("<Item ovf:required='false'><rasd:ResourceType>8</rasd:ResourceType></Item>"), Result::fileError);
    for (const char* type : {"15", "17"}) {
        EXPECT_EQ(items(item({{"ResourceType", type}, {"HostResource", "/disk/vmdisk1"}})), Result::fileError);
        EXPECT_EQ(
            items(sampleItems() + item({{"ResourceType", type}, {"HostResource", "/disk/vmdisk1"}, {"Parent", "7"}})),
            Result::fileError);
    }
    EXPECT_EQ(items(sampleItems() + item({{"ResourceType", "17"}, {"HostResource", "/disk/other"}, {"Parent", "3"}})),
              Result::fileError);

    OvfParts parts = good;
    for (const char* section : {"<OperatingSystemSection/>", "<OperatingSystemSection ovf:id='x'/>", "<Section/>"}) {
        parts.sections = section;
        EXPECT_EQ(ovfFault(parts), Result::fileError) << section;
    }
    parts.sections.clear();
    for (const char* fields :
         {"<Reservation>1</Reservation>", "<VirtualQuantity>1</VirtualQuantity>",
          "<VirtualQuantity>1</VirtualQuantity><VirtualResourceBlockSize>1</VirtualResourceBlockSize>"
          "<VirtualQuantityUnits>count</VirtualQuantityUnits>"}) {
        parts.items = sampleItems() + "<StorageItem><ResourceType>23</ResourceType>" + fields + "</StorageItem>";
        EXPECT_EQ(ovfFault(parts), Result::fileError) << fields;
    }
}

/// Reading costs the same for each disk and system, however many there are.
TEST(Ovf, CostGrowsWithTheDescriptorOnly)
{
    const auto seconds = [](std::size_t disks, std::size_t systems) {
        OvfParts parts;
        for (std::size_t i = 0; i < disks; ++i) {
            const std::string number = std::to_string(i);
            parts.references += "<File ovf:id='f" + number + "' ovf:href='d" + number + ".vmdk'/>";
            parts.disks +=
                "<Disk ovf:diskId='d" + number + "' ovf:capacity='1' ovf:format='vmdk' ovf:fileRef='f" + number + "'/>";
            parts.items += item({{"AddressOnParent", number},
                                 {"HostResource", "/disk/d" + number},
                                 {"Parent", "3"},
                                 {"ResourceType", "17"}});
        }
        parts.items += sampleItems();
        for (std::size_t i = 1; i < systems; ++i)
            parts.after += "<VirtualSystem ovf:id='vm'><VirtualHardwareSection>" + sampleItems() +
                           "</VirtualHardwareSection></VirtualSystem>";
        const std::string text = makeOvf(parts);
        const auto start = std::chrono::steady_clock::now();
        const OvfDescriptor descriptor = parseOvf(text);
        EXPECT_EQ(descriptor.disks.size(), disks + 1);
        EXPECT_EQ(descriptor.systems.size(), systems);
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    EXPECT_LT(seconds(10000, 1), 20);
    EXPECT_LT(seconds(1, 200), 5);
}

TEST(Manifest, IsParsed)
{
    const std::string md5(32, 'b');
    const std::string sha1(40, 'A');
    const std::string sha256(64, '0');
    const std::string sha512(128, 'f');
    const auto entries = parseManifest("SHA1 (a (1).ovf) = " + sha1 + "\r\n\n  SHA256(b.vmdk)= " + sha256 +
                                       "\nSHA512(c=d)=" + sha512 + "\nMD5(e)= " + md5 + "\nSIZE(e)= 12\n");
    ASSERT_EQ(entries.size(), 5u);
    EXPECT_EQ(entries[0].algorithm, "SHA1");
    EXPECT_EQ(entries[0].file, "a (1).ovf");
    EXPECT_EQ(entries[0].digest, std::string(40, 'a'));
    EXPECT_EQ(entries[1].algorithm, "SHA256");
    EXPECT_EQ(entries[1].file, "b.vmdk");
    EXPECT_EQ(entries[2].file, "c=d");
    EXPECT_TRUE(isComputed(entries[3]));
    EXPECT_FALSE(isComputed(entries[4])); // a word that is no digest says nothing here
    EXPECT_TRUE(parseManifest("").empty());
    for (const std::string& bad : {std::string("text"), "SHA1(a)" + sha1, "SHA1(a)= " + sha256, "SHA1()= " + sha1,
                                   "SHA1(a)= " + std::string(40, 'g'), "SHA1 a)= " + sha1})
        EXPECT_EQ(resultOf([&] { parseManifest(bad); }), Result::iprtError) << bad;
}

TEST_F(TarFormat, DigestsAreCompared)
{
    // The digests of "abc" that FIPS 180 gives.
    const FileSource abc(put("abc", std::string("abc")));
    const auto all = [](std::uint64_t) { return true; };
    const std::string sha1 = "a9993e364706816aba3e25717850c26c9cd0d89d";
    checkDigest({"SHA1", "abc", sha1}, abc, all);
    checkDigest({"SHA256", "abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"}, abc, all);
    checkDigest({"SHA512", "abc",
                 "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
                 "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f"},
                abc, all);
    for (std::size_t digit = 0; digit < sha1.size(); ++digit) {
        std::string other = sha1;
        other[digit] = other[digit] == '0' ? '1' : '0';
        EXPECT_EQ(resultOf([&] { checkDigest({"SHA1", "abc", other}, abc, all); }), Result::fileError) << digit;
    }
    EXPECT_EQ(resultOf([&] {
                  checkDigest({"SHA1", "abc", std::string(40, '0')}, abc, [](std::uint64_t) { return false; });
              }),
              Result::fail);
}
