// Writes what the fuzzer starts from: good files of every format, small ones. fuzz_corpus FOLDER
#include <iostream>

#include "appliance_writers.h"
#include "fixtures.h"

namespace fs = std::filesystem;
using ImageWriters::Bytes;

namespace {

fs::path folder;

void put(const std::string& target, const std::string& name, const Bytes& bytes)
{
    fs::create_directories(folder / target);
    ImageWriters::writeFile(folder / target / name, bytes);
}

void put(const std::string& target, const std::string& name, const std::string& text)
{
    put(target, name, Bytes(text.begin(), text.end()));
}

void writeImages()
{
    const Bytes content = ImageWriters::makeContent(40 * 512, 1);
    ImageWriters::VmdkOptions stream;
    stream.compressed = true;
    stream.grainSectors = 8;
    ImageWriters::VmdkOptions zeroed;
    zeroed.zeroGrains = true;
    zeroed.grainSectors = 8;
    put("vmdk", "stream", ImageWriters::makeVmdk(content, stream));
    put("vmdk", "sparse", ImageWriters::makeVmdk(content, zeroed));
    put("vmdk", "flat",
        ImageWriters::vmdkDescriptor("monolithicFlat", "RW 4 FLAT \"a.vmdk\" 0\nRW 4 ZERO\n", "ffffffff",
                                     ImageWriters::sampleUuidText));
    Bytes vdi = ImageWriters::makeVdi(Bytes(1 << 20));
    put("vdi", "empty", vdi);
    ImageWriters::VhdOptions small;
    small.blockSize = 8 * 512;
    put("vhd", "dynamic", ImageWriters::makeVhd(content, small));
    put("vhd", "fixed", ImageWriters::makeFixedVhd(content));
}

void writeAppliances()
{
    using namespace ApplianceWriters;
    Tar::Options longName;
    longName.type = 'L';
    Tar::Options pax;
    pax.type = 'x';
    put("tar", "plain", Tar().add("a.ovf", std::string("x")).add("./b", Bytes(600, 'b')).finish());
    const std::string record = "14 path=a.ovf\n";
    put("tar", "extended",
        Tar()
            .add("x", Bytes(record.begin(), record.end()), pax)
            .add("y", std::string("y"))
            .add("l", Bytes(120, 'n'), longName)
            .add("z", std::string("z"))
            .finish());
    put("gzip", "short", ImageWriters::gzipped(Bytes(300, 'x')));
    put("gzip", "long", ImageWriters::gzipped(ImageWriters::makeContent(40000, 2)));
    OvfParts parts;
    put("ovf", "plain", makeOvf(parts));
    parts.sections = "<OperatingSystemSection ovf:id='94'><Description>Ubuntu</Description></OperatingSystemSection>"
                     "<vbox:Machine name='m' OSType='Ubuntu_64'><Hardware><CPU count='2'/><Memory RAMSize='64'/>"
                     "</Hardware></vbox:Machine><Section xsi:type='ovf:AnnotationSection_Type'/>";
    parts.items = sampleItems() + item({{"ResourceType", "10"}, {"Connection", "NAT"}, {"ResourceSubType", "E1000"}}) +
                  item({{"ResourceType", "15"}, {"Parent", "3"}}) + item({{"ResourceType", "35"}});
    put("ovf", "machine", makeOvf(parts));
    put("manifest", "three",
        "SHA1 (a.ovf)= " + std::string(40, 'a') + "\nSHA256(b)= " + std::string(64, '0') + "\nSIZE(c)= 12\n");
}

void writeTexts()
{
    put("settings", "rich", richSettings());
    put("settings", "old",
        "<VirtualBox version='1.12-linux'><Machine uuid='{11111111-1111-4111-8111-111111111102}' "
        "name='m'><Hardware><Memory RAMSize='64'/><AudioAdapter driver='Pulse'/><Network>"
        "<Adapter slot='0'><NAT><Forwarding name='a' hostport='1'/></NAT></Adapter></Network>"
        "</Hardware><StorageControllers><StorageController name='a' type='PIIX4'>"
        "<AttachedDevice type='DVD' port='0' device='0'/></StorageController></StorageControllers>"
        "</Machine></VirtualBox>");
    put("registry", "plain",
        "<VirtualBox version='1.12-windows'><Global><ExtraData><ExtraDataItem name='a' value='b'/>"
        "</ExtraData><MachineRegistry><MachineEntry uuid='{11111111-1111-4111-8111-111111111101}' "
        "src='m/m.vbox'/></MachineRegistry><SystemProperties defaultMachineFolder='m'/></Global>"
        "</VirtualBox>");
    put("scenario", "full",
        "{\"times\": {\"spawn\": 1}, \"version\": \"6.1.50\", \"machines\": {\"a\": {\"launch\": "
        "{\"result\": \"0x80004005\", \"text\": \"no\"}}}, \"processorFeatures\": {\"0\": false}, "
        "\"faults\": [{\"call\": \"IMachine::get_Name\", \"result\": \"0x80070005\", \"times\": 1}]}");
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "fuzz_corpus FOLDER\n";
        return 2;
    }
    folder = argv[1];
    writeImages();
    writeAppliances();
    writeTexts();
    return 0;
}
