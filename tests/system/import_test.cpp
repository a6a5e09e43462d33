// Appliances: read, named, imported with their disks; refused, canceled and taken back; hostile ones.

#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <set>

#include "appliance_writers.h"
#include "harness/front_end.h"
#include "harness/running_machine.h"
#include "scratch.h"

namespace TravikTest {
namespace {

using ApplianceWriters::item;
using ApplianceWriters::makeOvf;
using ApplianceWriters::OvfParts;
using ApplianceWriters::sampleItems;
using ApplianceWriters::Tar;
using ImageWriters::Bytes;
using testing::HasSubstr;
using testing::Not;
namespace fs = std::filesystem;

constexpr std::size_t megabyte = std::size_t(1) << 20;
constexpr std::size_t diskSize = 2 * megabyte + 512;

std::string text(const Bytes& bytes)
{
    return {bytes.begin(), bytes.end()};
}

Bytes bytes(const std::string& content)
{
    return {content.begin(), content.end()};
}

Bytes streamDisk(const Bytes& content)
{
    ImageWriters::VmdkOptions options;
    options.compressed = true;
    return ImageWriters::makeVmdk(content, options);
}

/// Everything below a folder.
std::set<std::wstring> listing(const fs::path& folder)
{
    std::set<std::wstring> found;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder))
        found.insert(fs::relative(entry.path(), folder).wstring());
    return found;
}

std::string diskItem(const std::string& disk, int place)
{
    return item({{"AddressOnParent", std::to_string(place)},
                 {"HostResource", "/disk/" + disk},
                 {"InstanceID", "1" + std::to_string(place)},
                 {"Parent", "3"},
                 {"ResourceType", "17"}});
}

/// The second of two disks in an appliance whose first one is that of the usual parts.
OvfParts twoDisks()
{
    OvfParts parts;
    parts.references += "<File ovf:id='file2' ovf:href='disk2.vmdk'/>";
    parts.disks += "<Disk ovf:diskId='second' ovf:capacity='1048576' ovf:format='' ovf:fileRef='file2'/>";
    parts.items = sampleItems() + diskItem("second", 1);
    return parts;
}

/// Another system, without a disk.
std::string systemXml(const std::string& id)
{
    return "<VirtualSystem ovf:id='" + id + "'><Info/><VirtualHardwareSection><Info/>" +
           item({{"InstanceID", "1"}, {"ResourceType", "3"}, {"VirtualQuantity", "1"}}) +
           "</VirtualHardwareSection></VirtualSystem>";
}

/// What VirtualBox itself adds to a descriptor: the machine's settings, with the disk by its UUID.
OvfParts withMachineElement(const std::string& more = {})
{
    const std::string uuid = "5d1f4b1e-0000-4000-8000-0000000000aa";
    OvfParts parts;
    parts.disks = "<Disk ovf:diskId='vmdisk1' ovf:capacity='1048576' ovf:format='' ovf:fileRef='file1' vbox:uuid='" +
                  uuid + "'/>";
    parts.sections =
        "<vbox:Machine ovf:required='false' version='1.16-windows' uuid='{5d1f4b1e-0000-4000-8000-0000000000bb}' "
        "name='exported \xe6\x9c\xba\xe5\x99\xa8' OSType='Ubuntu_64' lastStateChange='2024-03-01T10:00:00Z' " +
        more +
        "><ovf:Info>Settings</ovf:Info><Hardware><CPU count='3'/><Memory RAMSize='777'/><Network><Adapter slot='0' "
        "enabled='true' MACAddress='0800271A2B3C' type='virtio'><NAT/></Adapter></Network></Hardware>"
        "<StorageControllers><StorageController name='Own' type='AHCI' PortCount='6' useHostIOCache='false' "
        "Bootable='true'><AttachedDevice type='HardDisk' port='5' device='0'><Image uuid='{" +
        uuid + "}'/></AttachedDevice></StorageController></StorageControllers></vbox:Machine>";
    return parts;
}

class ImportTest : public RunningMachineTest
{
protected:
    ImportTest() : content_(ImageWriters::makeContent(diskSize, 50)), disk_(streamDisk(content_)) {}

    void SetUp() override
    {
        RunningMachineTest::SetUp();
        machinesBefore_ = listing(world().machineFolder());
        logBefore_ = log().size();
    }

    void TearDown() override
    {
        const fs::path worldFolder = world().folder();
        RunningMachineTest::TearDown();
        for (const fs::directory_entry& entry : fs::directory_iterator(scratchFolder()))
            EXPECT_TRUE(entry.path().filename() == L"sources" || entry.path().filename() == L"imported" ||
                        isLog(entry.path()))
                << utf8(entry.path().wstring()) << " was written outside the world";
    }

    static bool isLog(const fs::path& file) { return file.filename().wstring().starts_with(L"log-"); }

    /// What the library has written to its log since the test began.
    std::string log() const
    {
        std::string text;
        for (const fs::directory_entry& entry : fs::directory_iterator(scratchFolder())) {
            if (isLog(entry.path()))
                text += readFile(entry.path());
        }
        return text.substr(std::min(logBefore_, text.size()));
    }

    /// Where the appliances lie.
    static fs::path sources() { return scratchFolder() / L"sources"; }

    static fs::path put(const fs::path& name, const std::string& content)
    {
        writeFile(sources() / name, content);
        return sources() / name;
    }
    static fs::path put(const fs::path& name, const Bytes& content) { return put(name, text(content)); }

    /// The archive of a descriptor and the usual disk.
    fs::path ova(const OvfParts& parts = {}) const { return ova(makeOvf(parts), disk_); }
    static fs::path ova(const std::string& descriptor, const Bytes& disk, const std::string& name = "disk1.vmdk")
    {
        return put(L"sample.ova", Tar().add("sample.ovf", descriptor).add(name, disk).finish());
    }

    std::wstring suggestedName(const fs::path& file)
    {
        return ask<std::wstring>(sdk, &VBoxInstanceImpl::getImportOvaVmName, file.wstring());
    }

    std::wstring settingsText(const std::wstring& name) { return wide(readFile(world().machineFile(name))); }

    /// The disk images in a machine's folder.
    std::vector<fs::path> disksOf(const std::wstring& name)
    {
        std::vector<fs::path> disks;
        for (const fs::directory_entry& entry : fs::directory_iterator(world().machineFile(name).parent_path())) {
            if (entry.path().extension() == L".vdi")
                disks.push_back(entry.path());
        }
        return disks;
    }

    void startAndStop(const std::wstring& name)
    {
        launch(name);
        const VBoxHandle console = consoleOf();
        EXPECT_EQ(consoleState(console), MachineState::Running);
        powerDown(console);
        EXPECT_TRUE(done(sdk.releaseConsole(console)));
    }

    void cloneTo(const std::wstring& name, const std::wstring& copy)
    {
        VBoxHandle target = 0;
        check(sdk, sdk.createMachine(L"", copy, &target));
        const VBoxHandle source = find(name);
        EXPECT_TRUE(soon([&] { return sdk.cloneToMachine(source, target) == 0; })) << utf8(sdk.getVBoxErrorMessage());
        EXPECT_TRUE(done(sdk.registerMachine(target)));
    }

    void remove(const std::wstring& name)
    {
        const VBoxHandle machine = find(name);
        retryWhileLocked(sdk, Deadline(milliseconds(10'000)), [&] { return sdk.deleteMachine(machine); });
        EXPECT_TRUE(refused(sdk.findMachine(name, nullptr), FindMachineFail, Result::ObjectNotFound));
    }

    /// The machines and their files are as they were when the test began.
    void expectNothingMade()
    {
        // The failed progress is complete a moment before the last file is gone when it was canceled.
        EXPECT_TRUE(soon([&] { return listing(world().machineFolder()) == machinesBefore_; }))
            << testing::PrintToString(listing(world().machineFolder()));
        EXPECT_EQ(listMachines(sdk).size(), Machines::count);
    }

    /// The import is begun and refused, the reading of the name is not.
    void expectImportRefused(const fs::path& file, std::initializer_list<std::uint32_t> results)
    {
        std::wstring name;
        EXPECT_TRUE(done(sdk.getImportOvaVmName(file.wstring(), &name)));
        EXPECT_NE(name, L"");
        EXPECT_TRUE(refusedAny(sdk.importOva(file.wstring()), ProgressWaitForCompletionFail, results));
        EXPECT_THAT(log(), HasSubstr("get importOva Progress fail desc: "));
        expectNothingMade();
    }
    void expectImportRefused(const fs::path& file, std::uint32_t result) { expectImportRefused(file, {result}); }

    /// Both operations are refused while the appliance is read.
    void expectReadRefused(const fs::path& file, std::uint32_t result)
    {
        std::wstring name = L"as it was";
        EXPECT_TRUE(refused(sdk.getImportOvaVmName(file.wstring(), &name), ProgressWaitForCompletionFail, result));
        EXPECT_EQ(name, L"as it was");
        EXPECT_TRUE(refused(sdk.importOva(file.wstring()), ProgressWaitForCompletionFail, result));
        EXPECT_THAT(log(), HasSubstr("get readOva Progress fail desc: "));
        expectNothingMade();
    }

    Bytes content_;
    Bytes disk_;
    std::set<std::wstring> machinesBefore_;
    std::size_t logBefore_ = 0;
};

// ---- what a good appliance becomes

class Import : public ImportTest
{
protected:
    /// A machine out of every kind of appliance lives as any other does, and leaves nothing.
    void liveAndGo(const fs::path& file, const std::vector<std::wstring>& names)
    {
        EXPECT_EQ(suggestedName(file), names.front());
        expectNothingMade();
        ASSERT_TRUE(done(sdk.importOva(file.wstring())));
        EXPECT_EQ(listMachines(sdk).size(), Machines::count + names.size());
        for (const std::wstring& name : names)
            EXPECT_EQ(stateOf(find(name)), MachineState::PoweredOff);
        restartServer(); // what was imported is on disk
        const std::wstring& name = names.front();
        startAndStop(name);
        cloneTo(name, L"Copy");
        EXPECT_EQ(disksOf(L"Copy").size(), disksOf(name).size());
        startAndStop(L"Copy");
        remove(L"Copy");
        for (const std::wstring& each : names)
            remove(each);
        expectNothingMade();
    }
};

TEST_F(Import, AnArchiveBecomesAMachine)
{
    liveAndGo(ova(), {L"vm"});
}

TEST_F(Import, ADescriptorWithItsFilesBesideItBecomesAMachine)
{
    put(L"loose/disk1.vmdk", disk_);
    put(L"loose/sample.mf", std::string());
    liveAndGo(put(L"loose/sample.ovf", makeOvf({})), {L"vm"});
}

TEST_F(Import, ADescriptorOfVersionTwoBecomesAMachine)
{
    OvfParts parts;
    parts.uri = "http://schemas.dmtf.org/ovf/envelope/2";
    std::string items = sampleItems();
    items.replace(items.rfind("<Item>"), 6, "<StorageItem>");
    items.replace(items.rfind("</Item>"), 7, "</StorageItem>");
    parts.items = items;
    liveAndGo(ova(parts), {L"vm"});
}

TEST_F(Import, EverySystemOfAnApplianceBecomesAMachine)
{
    OvfParts parts = twoDisks();
    parts.items.clear();
    parts.after = "<VirtualSystemCollection ovf:id='all'>" + systemXml("two") + systemXml("\xe4\xb8\x89") +
                  "</VirtualSystemCollection>";
    const fs::path file =
        put(L"several.ova",
            Tar().add("several.ovf", makeOvf(parts)).add("disk1.vmdk", disk_).add("disk2.vmdk", disk_).finish());
    liveAndGo(file, {L"vm", L"two", L"\u4e09"});
}

TEST_F(Import, AMachineThatVirtualBoxExportedKeepsItsSettings)
{
    liveAndGo(ova(withMachineElement()), {L"exported \u673a\u5668"});
}

TEST_F(Import, TheHardwareIsAsTheDescriptorHasIt)
{
    OvfParts parts;
    parts.sections = "<OperatingSystemSection ovf:id='94'/>";
    parts.items =
        item({{"InstanceID", "1"}, {"ResourceType", "3"}, {"VirtualQuantity", "3"}}) +
        item({{"AllocationUnits", "byte * 2^20"},
              {"InstanceID", "2"},
              {"ResourceType", "4"},
              {"VirtualQuantity", "333"}}) +
        item({{"InstanceID", "3"}, {"ResourceSubType", "AHCI"}, {"ResourceType", "20"}}) + diskItem("vmdisk1", 2) +
        item({{"Connection", "Bridged"}, {"InstanceID", "9"}, {"ResourceSubType", "E1000"}, {"ResourceType", "10"}});
    ASSERT_TRUE(done(sdk.importOva(ova(parts).wstring())));
    const std::wstring settings = settingsText(L"vm");
    EXPECT_THAT(settings, HasSubstr(L"<CPU count=\"3\""));
    EXPECT_THAT(settings, HasSubstr(L"RAMSize=\"333\""));
    EXPECT_THAT(settings, HasSubstr(L"OSType=\"Ubuntu_64\""));
    EXPECT_THAT(settings, HasSubstr(L"type=\"AHCI\""));
    EXPECT_THAT(settings, HasSubstr(L"type=\"82545EM\""));
    EXPECT_THAT(settings, HasSubstr(L"<BridgedInterface"));
    VBoxHandle medium = 0;
    ASSERT_TRUE(done(sdk.getCurrentMedium(find(L"vm"), L"SATA", 2, 0, &medium)));
    const fs::path disk = ask<std::wstring>(sdk, &VBoxInstanceImpl::getMediumLocation, medium);
    EXPECT_EQ(disk, world().machineFile(L"vm").parent_path() / L"disk1.vdi");
    EXPECT_EQ(ask<std::uint32_t>(sdk, &VBoxInstanceImpl::getMediumState, medium), MediumState::Created);
    EXPECT_EQ(readFile(disk).substr(0, 40), "<<< Oracle VM VirtualBox Disk Image >>>\n");
}

TEST_F(Import, TheMachineElementGivesTheDevicesAndKeepsInsideItsFolder)
{
    const fs::path stranger = world().folder() / L"stranger";
    fs::create_directories(stranger);
    ASSERT_TRUE(done(sdk.importOva(ova(withMachineElement("snapshotFolder='../../stranger'")).wstring())));
    const std::wstring name = L"exported \u673a\u5668";
    const std::wstring settings = settingsText(name);
    EXPECT_THAT(settings, HasSubstr(L"<CPU count=\"3\""));
    EXPECT_THAT(settings, HasSubstr(L"RAMSize=\"777\""));
    EXPECT_THAT(settings, HasSubstr(L"OSType=\"Ubuntu_64\""));
    EXPECT_THAT(settings, HasSubstr(L"type=\"virtio\""));
    EXPECT_THAT(settings, Not(HasSubstr(L"0800271A2B3C"))) << "two machines of one address";
    EXPECT_THAT(settings, Not(HasSubstr(L"stranger")));
    VBoxHandle medium = 0;
    ASSERT_TRUE(done(sdk.getCurrentMedium(find(name), L"Own", 5, 0, &medium)));
    EXPECT_TRUE(done(sdk.releaseMedium(medium)));
    remove(name);
    EXPECT_TRUE(fs::exists(stranger));
    expectNothingMade();
}

TEST_F(Import, OfTwoDrivesWithOneDiskTheLaterCounts)
{
    OvfParts parts;
    parts.items = sampleItems() + diskItem("vmdisk1", 1);
    ASSERT_TRUE(done(sdk.importOva(ova(parts).wstring())));
    EXPECT_EQ(disksOf(L"vm").size(), 1u);
    VBoxHandle medium = 0;
    EXPECT_TRUE(done(sdk.getCurrentMedium(find(L"vm"), L"SATA", 1, 0, &medium)));
    remove(L"vm");
    expectNothingMade();
}

TEST_F(Import, ADiskThatIsPackedIsUnpacked)
{
    OvfParts parts;
    parts.references = "<File ovf:id='file1' ovf:href='disk1.vmdk.gz' ovf:compression='gzip'/>";
    liveAndGo(ova(makeOvf(parts), ImageWriters::gzipped(disk_), "disk1.vmdk.gz"), {L"vm"});
}

/// Exports of VirtualBox 3 put an IDE disk and an empty drive at one place.
TEST_F(Import, AnEmptyDriveTakesNoPlace)
{
    OvfParts parts;
    parts.items = item({{"InstanceID", "3"}, {"ResourceSubType", "PIIX4"}, {"ResourceType", "5"}}) +
                  item({{"AddressOnParent", "0"}, {"Parent", "3"}, {"ResourceType", "15"}}) + diskItem("vmdisk1", 0);
    liveAndGo(ova(parts), {L"vm"});
}

TEST_F(Import, TheNameIsFreeAmongRegisteredMachines)
{
    OvfParts parts;
    parts.id = "Player";
    const fs::path file = ova(parts);
    EXPECT_EQ(suggestedName(file), L"Player 1");
    EXPECT_TRUE(done(sdk.importOva(file.wstring())));
    EXPECT_EQ(suggestedName(file), L"Player 2");
    EXPECT_TRUE(done(sdk.importOva(file.wstring())));
    EXPECT_EQ(disksOf(L"Player 1").size(), 1u);
    EXPECT_EQ(disksOf(L"Player 2").size(), 1u);
    remove(L"Player 1");
    remove(L"Player 2");
    expectNothingMade();
}

TEST_F(Import, WithoutAPlaceForTheNameNothingHappens)
{
    const std::wstring file = ova().wstring();
    EXPECT_TRUE(done(sdk.getImportOvaVmName(file, nullptr)));
    EXPECT_THAT(log(), Not(HasSubstr("import vmname = ")));
    EXPECT_EQ(suggestedName(file), L"vm");
    EXPECT_THAT(log(), HasSubstr("import vmname = vm"));
    expectNothingMade();
}

TEST_F(Import, AnImageOfZerosTakesNoRoom)
{
    OvfParts parts;
    parts.references = "<File ovf:id='file1' ovf:href='empty.vmdk'/>";
    put(L"loose/empty.vmdk",
        ImageWriters::vmdkDescriptor("monolithicFlat", "RW 614400 FLAT \"empty-flat.vmdk\" 0\n", "ffffffff", ""));
    fs::resize_file(put(L"loose/empty-flat.vmdk", std::string()), 300 * megabyte);
    ASSERT_TRUE(done(sdk.importOva(put(L"loose/sample.ovf", makeOvf(parts)).wstring())));
    ASSERT_EQ(disksOf(L"vm").size(), 1u);
    EXPECT_LT(fs::file_size(disksOf(L"vm").front()), 3 * megabyte);
}

// ---- failures of each step

class ImportCodes : public ImportTest
{
protected:
    using Faulting = std::function<void()>;

    /// Both operations fail with this code; nothing is made.
    void expectBoth(SdkErrorCode code, std::uint32_t result, const Faulting& order)
    {
        const std::wstring file = ova().wstring();
        std::wstring name = L"as it was";
        order();
        EXPECT_TRUE(refused(sdk.getImportOvaVmName(file, &name), code, result));
        EXPECT_EQ(name, L"as it was");
        order();
        EXPECT_TRUE(refused(sdk.importOva(file), code, result));
        expectNothingMade();
    }

    void expectBothWithoutAnObject(SdkErrorCode code, const std::wstring& call)
    {
        const std::wstring file = ova().wstring();
        std::wstring name = L"as it was";
        control().answerNull(call);
        EXPECT_EQ(sdk.getImportOvaVmName(file, &name), code);
        EXPECT_EQ(name, L"as it was");
        control().answerNull(call);
        EXPECT_EQ(sdk.importOva(file), code);
        expectNothingMade();
    }

    Faulting failing(const std::wstring& call, std::uint32_t result)
    {
        return [=, this] { control().fail(call, result); };
    }
};

TEST_F(ImportCodes, AMissingFileIsTold)
{
    std::wstring name = L"as it was";
    const std::wstring missing = (sources() / L"missing.ova").wstring();
    EXPECT_TRUE(failedUnasked(sdk.getImportOvaVmName(missing, &name), CheckFileExistsFail));
    EXPECT_TRUE(failedUnasked(sdk.importOva(missing), CheckFileExistsFail));
    EXPECT_EQ(name, L"as it was");
}

TEST_F(ImportCodes, NoApplianceObject)
{
    expectBoth(CreateApplianceFail, Result::Fail, failing(L"IVirtualBox::CreateAppliance", Result::Fail));
    expectBothWithoutAnObject(CreateApplianceFail, L"IVirtualBox::CreateAppliance");
}

TEST_F(ImportCodes, TheReadingDoesNotBegin)
{
    expectBoth(ApplianceReadFail, Result::AccessDenied, failing(L"IAppliance::Read", Result::AccessDenied));
    expectBothWithoutAnObject(ApplianceReadFail, L"IAppliance::Read");
}

TEST_F(ImportCodes, AFileWithAnotherSuffixIsRefusedAtOnce)
{
    for (const wchar_t* name : {L"sample.zip", L"sample", L"sample.ova.txt"}) {
        const std::wstring file = put(name, text(disk_)).wstring();
        EXPECT_TRUE(refused(sdk.getImportOvaVmName(file, nullptr), ApplianceReadFail, Result::FileError));
        EXPECT_TRUE(refused(sdk.importOva(file), ApplianceReadFail, Result::FileError));
    }
}

TEST_F(ImportCodes, TheReadingFails)
{
    expectBoth(ProgressWaitForCompletionFail, Result::IPRTError,
               failing(L"IAppliance::Read.progress", Result::IPRTError));
}

TEST_F(ImportCodes, TheInterpretationFails)
{
    expectBoth(ApplianceInterpretFail, Result::Fail, failing(L"IAppliance::Interpret", Result::Fail));
}

TEST_F(ImportCodes, TheDescriptionsCannotBeListed)
{
    std::wstring name = L"as it was";
    control().fail(L"IAppliance::get_VirtualSystemDescriptions", Result::Fail);
    EXPECT_TRUE(refused(sdk.getImportOvaVmName(ova().wstring(), &name), ApplianceGetVirtualSystemDescriptionsFail,
                        Result::Fail));
    EXPECT_EQ(name, L"as it was");
    EXPECT_TRUE(done(sdk.importOva(ova().wstring()))) << "the import does not list them";
}

TEST_F(ImportCodes, ADescriptionWithoutValuesIsPassedOver)
{
    OvfParts parts;
    parts.after = systemXml("two");
    const std::wstring file = ova(parts).wstring();
    std::wstring name = L"as it was";
    control().fail(L"IVirtualSystemDescription::GetValuesByType", Result::Fail);
    EXPECT_TRUE(done(sdk.getImportOvaVmName(file, &name)));
    EXPECT_EQ(name, L"two");
    name = L"as it was";
    control().fail(L"IVirtualSystemDescription::GetValuesByType", Result::Fail, 2);
    EXPECT_TRUE(done(sdk.getImportOvaVmName(file, &name)));
    EXPECT_EQ(name, L"as it was");
}

/// While it lives, the library gets no arrays: oleaut32 has no memory.
class NoArrays
{
public:
    NoArrays()
    {
        const auto wanted =
            reinterpret_cast<ULONG_PTR>(GetProcAddress(GetModuleHandleW(L"oleaut32.dll"), "SafeArrayCreateVector"));
        auto* base = reinterpret_cast<std::uint8_t*>(GetModuleHandleW(L"TravikSDK-selq6.dll"));
        const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
        const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS64*>(base + dos->e_lfanew);
        const DWORD imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
        for (const auto* module = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + imports);
             module->FirstThunk != 0; ++module) {
            for (auto* place = reinterpret_cast<ULONG_PTR*>(base + module->FirstThunk); *place != 0; ++place) {
                if (*place == wanted)
                    place_ = place;
            }
        }
        if (wanted == 0 || !place_)
            throw std::runtime_error("the library does not import SafeArrayCreateVector");
        before_ = wanted;
        write(reinterpret_cast<ULONG_PTR>(&none));
    }
    ~NoArrays() { write(before_); }
    NoArrays(const NoArrays&) = delete;
    NoArrays& operator=(const NoArrays&) = delete;

private:
    static SAFEARRAY* WINAPI none(VARTYPE, LONG, ULONG) { return nullptr; }

    void write(ULONG_PTR value)
    {
        DWORD protection = 0;
        VirtualProtect(place_, sizeof *place_, PAGE_READWRITE, &protection);
        *place_ = value;
        VirtualProtect(place_, sizeof *place_, protection, &protection);
    }

    ULONG_PTR* place_ = nullptr;
    ULONG_PTR before_ = 0;
};

TEST_F(ImportCodes, TheOptionsCannotBeMade)
{
    const std::wstring file = ova().wstring();
    {
        const NoArrays noArrays;
        EXPECT_TRUE(failedUnasked(sdk.importOva(file), SafeArrayCreateFail));
        EXPECT_TRUE(done(sdk.getImportOvaVmName(file, nullptr))) << "it needs none";
    }
    expectNothingMade();
    EXPECT_TRUE(done(sdk.importOva(file)));
}

TEST_F(ImportCodes, TheImportDoesNotBegin)
{
    const std::wstring file = ova().wstring();
    control().fail(L"IAppliance::ImportMachines", Result::InvalidArg);
    EXPECT_TRUE(refused(sdk.importOva(file), ApplianceImportMachinesFail, Result::InvalidArg));
    control().answerNull(L"IAppliance::ImportMachines");
    EXPECT_EQ(sdk.importOva(file), ApplianceImportMachinesFail);
}

TEST_F(ImportCodes, TheImportFailsAfterTheDisksAndIsTakenBack)
{
    const std::wstring file = ova().wstring();
    control().fail(L"IAppliance::ImportMachines.progress", Result::VMError);
    EXPECT_TRUE(refused(sdk.importOva(file), ProgressWaitForCompletionFail, Result::VMError));
    expectNothingMade();
    EXPECT_TRUE(done(sdk.importOva(file)));
    EXPECT_EQ(nameOf(find(L"vm")), L"vm");
}

TEST_F(ImportCodes, TheServerDiesDuringTheReading)
{
    EXPECT_TRUE(done(sdk.initComComponent()));
    control().dieIn(L"IAppliance::Read");
    EXPECT_TRUE(refused(sdk.importOva(ova().wstring()), ApplianceReadFail, Result::RpcCallFailed));
    awaitServerDeath();
}

TEST(ImportWithoutVirtualBox, MissingFilesAreToldFirst)
{
    unregisterStandIn();
    VBoxInstanceImpl& sdk = library();
    std::wstring name = L"as it was";
    const fs::path file = scratchFolder() / L"sources" / L"sample.ova";
    EXPECT_TRUE(failedUnasked(sdk.getImportOvaVmName((scratchFolder() / L"missing.ova").wstring(), &name),
                              CheckFileExistsFail));
    EXPECT_TRUE(failedUnasked(sdk.importOva((scratchFolder() / L"missing.ova").wstring()), CheckFileExistsFail));
    writeFile(file, "anything");
    EXPECT_EQ(sdk.getImportOvaVmName(file.wstring(), &name), InitVboxComFail);
    EXPECT_EQ(sdk.getVBoxError(), Result::ClassNotRegistered);
    EXPECT_EQ(sdk.importOva(file.wstring()), InitVboxComFail);
    EXPECT_EQ(name, L"as it was");
    EXPECT_TRUE(done(sdk.releaseRC()));
}

// ---- appliances that are refused

class ImportRefusals : public ImportTest
{};

TEST_F(ImportRefusals, ArchivesThatAreDamagedOrCutOff)
{
    const Bytes good = Tar().add("sample.ovf", makeOvf({})).add("disk1.vmdk", disk_).finish();
    Bytes sum = good;
    sum[10] ^= 1; // the checksum of the header no longer fits
    const std::map<std::wstring, std::pair<Bytes, std::uint32_t>> cases = {
        {L"cut off in the disk", {Bytes(good.begin(), good.end() - 4096), Result::IPRTError}},
        {L"cut off in the descriptor", {Bytes(good.begin(), good.begin() + 700), Result::IPRTError}},
        {L"a damaged header", {sum, Result::IPRTError}},
        {L"empty", {{}, Result::IPRTError}},
        {L"another file", {bytes(std::string(3000, 'x')), Result::IPRTError}},
        {L"no descriptor", {Tar().add("disk1.vmdk", disk_).finish(), Result::FileError}},
        {L"a manifest of nonsense",
         {Tar()
              .add("sample.ovf", makeOvf({}))
              .add("sample.mf", std::string("nonsense\n"))
              .add("disk1.vmdk", disk_)
              .finish(),
          Result::IPRTError}},
    };
    for (const auto& [name, made] : cases) {
        SCOPED_TRACE(utf8(name));
        expectReadRefused(put(name + L".ova", made.first), made.second);
    }
}

TEST_F(ImportRefusals, ADescriptorWhoseFileIsMissing)
{
    expectImportRefused(put(L"alone/sample.ovf", makeOvf({})), Result::ObjectNotFound);
    expectImportRefused(put(L"alone.ova", Tar().add("sample.ovf", makeOvf({})).finish()), Result::FileError);
}

TEST_F(ImportRefusals, DescriptorsThatMakeNoSense)
{
    OvfParts unknownFile;
    unknownFile.disks = "<Disk ovf:diskId='vmdisk1' ovf:capacity='512' ovf:format='' ovf:fileRef='other'/>";
    OvfParts unknownDisk;
    unknownDisk.items = sampleItems() + diskItem("other", 1);
    OvfParts units;
    units.items = item({{"ResourceType", "4"}, {"VirtualQuantity", "1"}, {"AllocationUnits", "GigaBytes"}});
    OvfParts asked;
    asked.disks = "<Disk ovf:diskId='vmdisk1' ovf:capacity='${size}' ovf:format=''/>";
    const std::string good = makeOvf({});
    const std::map<std::string, std::pair<std::string, std::uint32_t>> cases = {
        {"empty", {"", Result::FileError}},
        {"no XML", {"no descriptor at all", Result::FileError}},
        {"cut off", {good.substr(0, good.size() / 2), Result::FileError}},
        {"another document", {"<?xml version='1.0'?><a/>", Result::FileError}},
        {"entities",
         {"<?xml version='1.0'?><!DOCTYPE a [<!ENTITY b SYSTEM 'file:///none'>]>" + good.substr(good.find("<Env")),
          Result::FileError}},
        {"an unknown file", {makeOvf(unknownFile), Result::FileError}},
        {"an unknown disk", {makeOvf(unknownDisk), Result::FileError}},
        {"no namespace", {"<Envelope/>", Result::FileError}},
        {"units", {makeOvf(units), Result::FileError}},
        {"asked for", {makeOvf(asked), Result::FileError}},
    };
    for (const auto& [name, made] : cases) {
        SCOPED_TRACE(name);
        expectReadRefused(ova(made.first, disk_), made.second);
    }
}

TEST_F(ImportRefusals, AFileThatDiffersFromItsDigest)
{
    const std::string manifest = "SHA256(disk1.vmdk)= " + std::string(64, '0') + "\n";
    expectImportRefused(
        put(L"digest.ova",
            Tar().add("digest.ovf", makeOvf({})).add("digest.mf", manifest).add("disk1.vmdk", disk_).finish()),
        Result::FileError);
}

TEST_F(ImportRefusals, DisksThatAreDamagedOrOfNoUse)
{
    Bytes header = disk_;
    ImageWriters::put64(header, 12, 0); // no capacity
    Bytes grain = disk_;
    grain[128 * 512 + 30] ^= 0xFF;
    Bytes tables = disk_;
    tables.resize(tables.size() / 2);
    const std::map<std::string, Bytes> cases = {
        {"disk1.vmdk", bytes(std::string(5000, 'x'))},
        {"header.vmdk", header},
        {"grain.vmdk", grain},
        {"half.vmdk", tables},
        {"empty.vmdk", {}},
        {"raw.img", Bytes(megabyte)},
        {"disk.vdi", ImageWriters::makeVdi(content_)},
        {"fixed.img", ImageWriters::makeFixedVhd(content_)},
        {"cd.iso", Bytes(megabyte)},
    };
    for (const auto& [name, made] : cases) {
        SCOPED_TRACE(name);
        OvfParts parts;
        parts.references = "<File ovf:id='file1' ovf:href='" + name + "'/>";
        expectImportRefused(ova(makeOvf(parts), made, name), Result::FileError);
    }
}

TEST_F(ImportRefusals, FormatsThatVirtualBoxDoesNotImport)
{
    for (const auto& [name, result] : {std::pair<const char*, std::uint32_t>{"disk.vdi", Result::FileError},
                                       {"disk.vhd", Result::FileError},
                                       {"disk.xyz", Result::Fail}}) {
        OvfParts parts;
        parts.references = "<File ovf:id='file1' ovf:href='" + std::string(name) + "'/>";
        parts.disks = "<Disk ovf:diskId='vmdisk1' ovf:capacity='1048576' ovf:format='' ovf:fileRef='file1'/>";
        const fs::path file = ova(makeOvf(parts), disk_, name);
        EXPECT_TRUE(refused(sdk.importOva(file.wstring()), ApplianceInterpretFail, result)) << name;
        expectNothingMade();
    }
}

TEST_F(ImportRefusals, TheFirstDiskIsTakenBackWhenTheSecondFails)
{
    Bytes broken = disk_;
    broken[128 * 512 + 30] ^= 0xFF; // found only while it is converted
    expectImportRefused(
        put(L"two.ova",
            Tar().add("two.ovf", makeOvf(twoDisks())).add("disk1.vmdk", disk_).add("disk2.vmdk", broken).finish()),
        Result::FileError);
}

TEST_F(ImportRefusals, TheFirstMachineIsTakenBackWhenTheSecondFails)
{
    OvfParts parts;
    parts.after = systemXml("Worker two");
    writeFile(world().machineFile(L"Worker two"), "somebody's");
    machinesBefore_ = listing(world().machineFolder());
    expectImportRefused(ova(parts), Result::FileError);
    EXPECT_EQ(readFile(world().machineFile(L"Worker two")), "somebody's");
}

TEST_F(ImportRefusals, FilesThatAreThereAlreadyAreNotReplaced)
{
    const fs::path disk = world().machineFile(L"vm").parent_path() / L"disk1.vdi";
    writeFile(disk, "somebody's disk");
    machinesBefore_ = listing(world().machineFolder());
    expectImportRefused(ova(), Result::FileError);
    EXPECT_EQ(readFile(disk), "somebody's disk");
    fs::remove(disk);
    writeFile(world().machineFile(L"vm"), "somebody's settings");
    machinesBefore_ = listing(world().machineFolder());
    expectImportRefused(ova(), Result::FileError);
    EXPECT_EQ(readFile(world().machineFile(L"vm")), "somebody's settings");
}

TEST_F(ImportRefusals, ADiskWithoutAPlace)
{
    OvfParts parts;
    parts.items = item({{"InstanceID", "3"}, {"ResourceType", "5"}}) + diskItem("vmdisk1", 4);
    expectImportRefused(ova(parts), Result::NotSupported);
    parts.items = sampleItems() + diskItem("vmdisk1", 30);
    expectImportRefused(ova(parts), Result::InvalidArg);
    parts = twoDisks();
    parts.items = sampleItems() + diskItem("second", 0);
    expectImportRefused(ova(parts), Result::ObjectInUse);
}

TEST_F(ImportRefusals, AMachineElementThatDoesNotKnowTheDisks)
{
    OvfParts parts = withMachineElement();
    parts.disks = OvfParts().disks; // without the UUID
    expectImportRefused(ova(parts), Result::Fail);
}

/// The descriptor alone tells that there are no places: the disks are not looked at.
TEST_F(ImportRefusals, ManyDisksWithoutAPlaceAreRefusedSoon)
{
    OvfParts parts;
    parts.items = sampleItems();
    for (int i = 1; i < 1'600; ++i) {
        const std::string number = std::to_string(i);
        parts.references += "<File ovf:id='f" + number + "' ovf:href='d" + number + ".vmdk'/>";
        parts.disks +=
            "<Disk ovf:diskId='d" + number + "' ovf:capacity='1048576' ovf:format='' ovf:fileRef='f" + number + "'/>";
        parts.items += diskItem("d" + number, i);
    }
    const auto begin = std::chrono::steady_clock::now();
    expectImportRefused(ova(parts), Result::InvalidArg);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

TEST_F(ImportRefusals, ACanceledImportIsTakenBack)
{
    // Large enough to be at work when the library's wait fails and makes it cancel.
    OvfParts parts;
    parts.references = "<File ovf:id='file1' ovf:href='disk.vmdk'/>";
    put(L"loose/disk.vmdk",
        ImageWriters::vmdkDescriptor("monolithicFlat", "RW 6144000 FLAT \"disk-flat.vmdk\" 0\n", "ffffffff", ""));
    fs::resize_file(put(L"loose/disk-flat.vmdk", std::string(8 * megabyte, 'x')), 3'000 * megabyte);
    const fs::path file = put(L"loose/sample.ovf", makeOvf(parts));
    control().trace(true);
    const auto importBegan = [&] {
        return control().traceText().find(L"IAppliance::ImportMachines") != std::wstring::npos;
    };
    // The wait for the reading is left out when that is over already; else it is the one that fails.
    for (int attempt = 0; attempt < 50 && !importBegan(); ++attempt) {
        control().fail(L"IProgress::WaitForCompletion", Result::IPRTError);
        ASSERT_EQ(sdk.importOva(file.wstring()), ProgressWaitForCompletionFail);
    }
    ASSERT_TRUE(importBegan());
    EXPECT_THAT(control().traceText(), HasSubstr(L"IProgress::Cancel"));
    expectNothingMade();
    EXPECT_TRUE(refused(sdk.findMachine(L"vm", nullptr), FindMachineFail, Result::ObjectNotFound));
}

const Role importer(L"import", [](const RoleIo& io) {
    VBoxInstanceImpl& sdk = library();
    if (sdk.initComComponent() != 0)
        return 1;
    io.say(L"ready");
    return sdk.importOva(io.arguments.at(0)) == 0 ? 0 : 2;
});

TEST_F(ImportRefusals, TheImportOfADeadClientIsTakenBack)
{
    // Seconds of work, if nobody stopped it; the C runtime asks for as much free space as the file seems to have.
    OvfParts parts;
    parts.references = "<File ovf:id='file1' ovf:href='disk.vmdk'/>";
    put(L"loose/disk.vmdk",
        ImageWriters::vmdkDescriptor("monolithicFlat", "RW 12582912 FLAT \"disk-flat.vmdk\" 0\n", "ffffffff", ""));
    fs::resize_file(put(L"loose/disk-flat.vmdk", std::string(8 * megabyte, 'x')), std::uintmax_t(6) << 30);
    const fs::path file = put(L"loose/sample.ovf", makeOvf(parts));
    control().trace(true);
    FrontEndProcess client(L"import", {file.wstring()});
    EXPECT_EQ(client.readLine(), L"ready");
    ASSERT_TRUE(soon([&] { return listing(world().machineFolder()) != machinesBefore_; }));
    // Another client is served meanwhile.
    EXPECT_EQ(nameOf(find(Machines::player)), Machines::player);
    EXPECT_EQ(suggestedName(ova()), L"vm") << "reading waits for no other client's import";
    client.kill();
    expectNothingMade();
    fs::remove(sources() / L"loose/disk-flat.vmdk");
    EXPECT_TRUE(done(sdk.importOva(ova().wstring()))) << "the next import does not wait";
}

// ---- hostile appliances

class HostileAppliances : public ImportTest
{
protected:
    /// Tries a damaged appliance in both operations; what it makes is deleted again. True when it was imported.
    bool survive(const fs::path& file)
    {
        const auto begin = std::chrono::steady_clock::now();
        std::wstring name;
        const SdkErrorCode named = sdk.getImportOvaVmName(file.wstring(), &name);
        const SdkErrorCode imported = sdk.importOva(file.wstring());
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
        for (const SdkErrorCode code : {named, imported})
            EXPECT_TRUE(code == 0 || code == ProgressWaitForCompletionFail || code == ApplianceInterpretFail) << code;
        EXPECT_TRUE(named == 0 || imported != 0) << "what cannot be read cannot be imported";
        if (imported == 0) {
            for (const MachineEntry& machine : listMachines(sdk)) {
                if (!usual(machine.uuid)) {
                    EXPECT_TRUE(done(sdk.deleteMachine(find(machine.uuid)))) << utf8(machine.name);
                }
            }
        }
        const bool clean = listing(world().machineFolder()) == machinesBefore_;
        EXPECT_TRUE(clean) << testing::PrintToString(listing(world().machineFolder()));
        EXPECT_EQ(serverProcess(), server_);
        return imported == 0;
    }

    void SetUp() override
    {
        ImportTest::SetUp();
        server_ = serverProcess();
        ASSERT_NE(server_, 0u);
    }

    static bool usual(const std::wstring& uuid)
    {
        return uuid == Machines::playerId || uuid == Machines::workerId || uuid == Machines::chineseId ||
               uuid == Machines::emojiId || uuid == Machines::damagedId;
    }

    void mutateArchives(int rounds)
    {
        std::mt19937 random(71);
        const std::string ovf = makeOvf({});
        const Bytes good = Tar().add("vm.ovf", ovf).add("disk1.vmdk", disk_).finish();
        const std::size_t headers[] = {0, 512 + (ovf.size() + 511) / 512 * 512};
        mutate(rounds, [&] {
            Bytes bad = good;
            const std::size_t header = headers[random() % 2];
            for (std::size_t i = 0; i <= random() % 3; ++i)
                bad[header + random() % 512] = static_cast<std::uint8_t>(random());
            // Without the right checksum nothing else would be reached.
            if (random() % 4 != 0)
                ApplianceWriters::fixChecksum(bad, header);
            if (random() % 8 == 0)
                bad.resize(random() % bad.size());
            return bad;
        });
    }

    void mutateDescriptors(int rounds)
    {
        static const std::string tokens[] = {
            "<",      ">",      "\"",      "&",         "-1",           "99999999999999999999",
            "../",    "C:\\",   "&#0;",    "<!--",      "<!DOCTYPE a>", "ovf:",
            "/disk/", "<Item>", "</Item>", "MegaBytes", "17",           "nul",
            ":x",     "\xFF"};
        std::mt19937 random(72);
        const std::string good = makeOvf(withMachineElement());
        mutate(rounds, [&] {
            std::string bad = good;
            for (std::size_t i = 0; i <= random() % 3; ++i) {
                const std::size_t place = random() % bad.size();
                switch (random() % 4) {
                case 0:
                    bad.erase(place, 1 + random() % 12);
                    break;
                case 1:
                    bad.insert(place, tokens[random() % std::size(tokens)]);
                    break;
                case 2: {
                    // A value becomes another one.
                    const std::size_t quote = bad.find('\'', place);
                    const std::size_t end = quote == std::string::npos ? quote : bad.find('\'', quote + 1);
                    if (end != std::string::npos)
                        bad.replace(quote + 1, end - quote - 1, tokens[random() % std::size(tokens)]);
                    break;
                }
                default:
                    bad.insert(random() % bad.size(), bad.substr(place, random() % 400));
                }
            }
            return Tar().add("vm.ovf", bad).add("disk1.vmdk", disk_).finish();
        });
    }

    void mutateDisks(int rounds)
    {
        static const std::uint64_t numbers[] = {0, 1, 127, 0x7FFFFFFF, 0xFFFFFFFE, 0xFFFFFFFF, 0x100000000, UINT64_MAX};
        std::mt19937 random(73);
        const Bytes sparse = ImageWriters::makeVmdk(content_);
        mutate(rounds, [&] {
            Bytes bad = random() % 2 == 0 ? disk_ : sparse;
            for (std::size_t i = 0; i <= random() % 3; ++i) {
                const std::size_t range = random() % 4 != 0 ? 80 : bad.size() - 8;
                const std::size_t place = random() % range;
                switch (random() % 3) {
                case 0:
                    bad[place] = static_cast<std::uint8_t>(random());
                    break;
                case 1:
                    ImageWriters::put32(bad, place & ~std::size_t(3), numbers[random() % std::size(numbers)]);
                    break;
                default:
                    ImageWriters::put64(bad, place & ~std::size_t(3), numbers[random() % std::size(numbers)]);
                }
            }
            return Tar().add("vm.ovf", makeOvf({})).add("disk1.vmdk", bad).finish();
        });
    }

private:
    void mutate(int rounds, const std::function<Bytes()>& next)
    {
        int failures = 0;
        for (int round = 0; round < rounds && !HasFailure(); ++round) {
            SCOPED_TRACE("round " + std::to_string(round));
            failures += survive(put(L"hostile.ova", next())) ? 0 : 1;
        }
        EXPECT_GT(failures, rounds / 20) << "the damage was none";
        EXPECT_EQ(nameOf(find(Machines::player)), Machines::player) << "the server works on";
    }

    DWORD server_ = 0;
};

TEST_F(HostileAppliances, NamesThatLeadOutAreRefused)
{
    const std::string absolute = text(bytes(utf8((scratchFolder() / L"escaped.vmdk").wstring())));
    put(L"loose/inner/nothing", std::string());
    put(L"loose/secret.vmdk", disk_);
    for (const std::string& href :
         {std::string("../secret.vmdk"), std::string("..\\secret.vmdk"), std::string("x/../../secret.vmdk"),
          std::string("/secret.vmdk"), std::string("C:secret.vmdk"),
          std::string(R"(\\server.invalid\share\secret.vmdk)"), absolute}) {
        SCOPED_TRACE(href);
        OvfParts parts;
        parts.references = "<File ovf:id='file1' ovf:href='" + href + "'/>";
        expectReadRefused(put(L"loose/inner/sample.ovf", makeOvf(parts)), Result::FileError);
        expectReadRefused(ova(makeOvf(parts), disk_, href.substr(0, 100)), Result::FileError);
    }
}

TEST_F(HostileAppliances, NamesWithAMeaningForTheSystemAreMadeHarmless)
{
    for (const std::string& href : {std::string("disk:stream.vmdk"), std::string("nul.vmdk"), std::string("com1.vmdk"),
                                    std::string("disk.vmdk. "), std::string("a|b.vmdk"), std::string("a/b.vmdk")}) {
        SCOPED_TRACE(href);
        OvfParts parts;
        parts.references = "<File ovf:id='file1' ovf:href='" + href + "'/>";
        ASSERT_TRUE(done(sdk.importOva(ova(makeOvf(parts), disk_, href).wstring())));
        const std::vector<fs::path> disks = disksOf(L"vm");
        ASSERT_EQ(disks.size(), 1u);
        EXPECT_GT(fs::file_size(disks.front()), megabyte);
        remove(L"vm");
        expectNothingMade();
    }
}

TEST_F(HostileAppliances, MachineNamesStayInTheFolderOfMachines)
{
    for (const std::string& id :
         {std::string(".."), std::string("../../escaped"), std::string("..\\..\\escaped"),
          utf8((scratchFolder() / L"escaped").wstring()), std::string("nul"), std::string("a:stream"),
          std::string("CON"), std::string("\\\\server.invalid\\share\\a"), std::string("a "), std::string("."),
          std::string("<>|?*").replace(0, 1, "&lt;"), std::string(5'000, 'n')}) {
        SCOPED_TRACE(id.substr(0, 60));
        OvfParts parts;
        parts.id = id;
        survive(ova(parts));
        EXPECT_FALSE(fs::exists(scratchFolder() / L"escaped"));
    }
}

TEST_F(HostileAppliances, BombsEndSoonAndLeaveNothing)
{
    const auto expectRefused = [&](const Bytes& disk, const std::string& name) {
        SCOPED_TRACE(name);
        OvfParts parts;
        parts.references = "<File ovf:id='file1' ovf:href='" + name + "'/>";
        EXPECT_FALSE(survive(ova(makeOvf(parts), disk, name)));
    };
    Bytes claims = ImageWriters::makeVmdk(Bytes(megabyte, 1));
    ImageWriters::put64(claims, 12, std::uint64_t(1) << 34); // 8 TB
    expectRefused(claims, "claims-terabytes.vmdk");
    Bytes endless = ImageWriters::makeVmdk(Bytes(32 * megabyte, 1));
    const std::size_t directory = static_cast<std::size_t>(ImageWriters::get64(endless, 56)) * 512;
    ImageWriters::put64(endless, 12, std::uint64_t(128) * 65536); // 128 tables, all the one
    for (std::size_t i = 0; i < 128; ++i)
        ImageWriters::put32(endless, directory + 4 * i, ImageWriters::get32(endless, directory));
    expectRefused(endless, "shared-tables.vmdk");
    Bytes stream = streamDisk(Bytes(65536, 1));
    const std::size_t table = static_cast<std::size_t>(ImageWriters::get32(stream, stream.size() - 4 * 512)) * 512;
    for (std::size_t i = 0; i < 512; ++i)
        ImageWriters::put32(stream, table + 4 * i, 128);
    expectRefused(stream, "one-grain.vmdk");
    Bytes vdi = ImageWriters::makeVdi(Bytes(megabyte, 1));
    ImageWriters::put64(vdi, 0x170, std::uint64_t(1) << 40);
    ImageWriters::put32(vdi, 0x180, 1 << 20);
    expectRefused(vdi, "claims-a-terabyte.vdi");
    EXPECT_FALSE(survive(put(L"spaces.ova", Tar().add("a.ovf", std::string(9 * megabyte, ' ')).finish())));
    std::string deep = makeOvf({});
    std::string opened;
    for (int i = 0; i < 100'000; ++i)
        opened += "<a>";
    deep.insert(deep.find("<VirtualSystem"), opened);
    EXPECT_FALSE(survive(ova(deep, disk_)));
}

TEST_F(HostileAppliances, DamageIsAnswered)
{
    mutateArchives(30);
    mutateDescriptors(30);
    mutateDisks(30);
}

class HostileAppliancesLong : public HostileAppliances
{};

TEST_F(HostileAppliancesLong, DamagedArchivesAreAnswered)
{
    mutateArchives(400);
}

TEST_F(HostileAppliancesLong, DamagedDescriptorsAreAnswered)
{
    mutateDescriptors(400);
}

TEST_F(HostileAppliancesLong, DamagedDisksAreAnswered)
{
    mutateDisks(400);
}

// ---- appliances of another program

/// The appliances come from a script, which afterwards compares the disks that are kept here.
class ImportRoundTrip : public ImportTest
{
protected:
    static void keep(const std::vector<fs::path>& disks, const std::wstring& stem)
    {
        const fs::path folder = scratchFolder() / L"imported";
        fs::create_directories(folder);
        for (const fs::path& disk : disks)
            fs::copy_file(disk, folder / (stem + L"-" + disk.filename().wstring()));
    }
};

TEST_F(ImportRoundTrip, DisksOfEveryFormatKeepTheirBytes)
{
    const wchar_t* folder = _wgetenv(L"TRAVIK_TEST_APPLIANCES");
    ASSERT_NE(folder, nullptr);
    std::size_t count = 0;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
        const fs::path& file = entry.path();
        if (file.extension() != L".ova" && file.extension() != L".ovf")
            continue;
        SCOPED_TRACE(utf8(file.wstring()));
        ++count;
        const std::wstring name = suggestedName(file);
        EXPECT_EQ(name, file.stem().wstring());
        ASSERT_TRUE(done(sdk.importOva(file.wstring())));
        EXPECT_EQ(disksOf(name).size(), 2u);
        keep(disksOf(name), name);
        startAndStop(name);
        cloneTo(name, L"Copy of " + name);
        EXPECT_EQ(disksOf(L"Copy of " + name).size(), 2u);
        keep(disksOf(L"Copy of " + name), L"copy-" + name);
        startAndStop(L"Copy of " + name);
        remove(L"Copy of " + name);
        remove(name);
        expectNothingMade();
    }
    EXPECT_EQ(count, 6u) << "three kinds of VMDK, each in an archive and in files";
}

} // namespace
} // namespace TravikTest
