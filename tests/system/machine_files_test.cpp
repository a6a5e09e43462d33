// Machines that are made, renamed, copied and deleted, with their files.

#include <fstream>

#include "harness/running_machine.h"
#include "harness/settings_text.h"
#include "scratch.h"

namespace TravikTest {
namespace {

using testing::HasSubstr;
namespace fs = std::filesystem;

class MachineFiles : public RunningMachineTest
{
protected:
    /// One more machine than usual: it has a disk on SATA port 0.
    void furnish() override
    {
        MachineText text;
        text.mediaRegistry = hardDiskXml(diskId, "disk.vdi");
        text.sataAttachments = attachedDiskXml(diskId, 0) + emptyDriveXml(1);
        world().addMachine(diskful, L"3e9c1b52-6f6a-4c0e-9d55-0a1b2c3d4e10", text);
        writeVdi(disk(), diskId);
        world().addUsualMachines();
    }

    fs::path disk() { return world().machineFile(diskful).parent_path() / L"disk.vdi"; }

    std::string textOf(const std::wstring& machine) { return readFile(world().machineFile(machine)); }

    VBoxHandle create(const std::wstring& name)
    {
        VBoxHandle machine = 0;
        check(sdk, sdk.createMachine(L"", name, &machine));
        return machine;
    }

    std::wstring uuidOf(VBoxHandle machine) { return ask<std::wstring>(sdk, &VBoxInstanceImpl::getVmUUID, machine); }

    static constexpr const wchar_t* diskful = L"Diskful";
    static constexpr const wchar_t* diskId = L"5d1f4b1e-0000-4000-8000-000000000001";
};

// ---- names and folders

TEST_F(MachineFiles, ComposeNamesTheFileAndTouchesNothing)
{
    std::wstring file;
    EXPECT_TRUE(done(sdk.composeMachineFilename(L"\u65b0 \U0001F3AE", &file)));
    EXPECT_EQ(fs::path(file), world().machineFile(L"\u65b0 _"));
    EXPECT_FALSE(fs::exists(fs::path(file).parent_path()));
    EXPECT_TRUE(done(sdk.composeMachineFilename(Machines::player, &file)));
    EXPECT_EQ(fs::path(file), world().machineFile(Machines::player)) << "whether it exists does not matter";
    EXPECT_TRUE(done(sdk.composeMachineFilename(L"vm1", nullptr)));
}

// Both assumed of VirtualBox.
TEST_F(MachineFiles, ComposeReplacesWhatAFileNameCannotHold)
{
    std::wstring file;
    EXPECT_TRUE(done(sdk.composeMachineFilename(L"a:b*c?", &file)));
    EXPECT_EQ(fs::path(file), world().machineFile(L"a_b_c_"));
}

TEST_F(MachineFiles, ComposeIsRefusedForAnEmptyName)
{
    std::wstring file = L"as it was";
    EXPECT_TRUE(refused(sdk.composeMachineFilename(L"", &file), ComposeMachineFilenameFail, Result::InvalidArg));
    EXPECT_EQ(file, L"as it was");
}

TEST_F(MachineFiles, DefaultFolderIsReadChangedAndKept)
{
    const auto folder = [&] { return ask<std::wstring>(sdk, &VBoxInstanceImpl::getDefaultMachineFolder); };
    EXPECT_EQ(fs::path(folder()), world().machineFolder());
    const fs::path other = world().folder() / L"\u5176\u4ed6 \U0001F4C1";
    fs::create_directories(other);
    EXPECT_TRUE(done(sdk.setDefaultMachineFolder(other.wstring())));
    EXPECT_EQ(fs::path(folder()), other);
    restartServer();
    EXPECT_EQ(fs::path(folder()), other);
    std::wstring file;
    EXPECT_TRUE(done(sdk.composeMachineFilename(L"vm1", &file)));
    EXPECT_EQ(fs::path(file), other / L"vm1" / L"vm1.vbox");
}

TEST_F(MachineFiles, DefaultFolderIsRefused)
{
    const std::wstring missing = (world().folder() / L"missing").wstring();
    EXPECT_TRUE(failedUnasked(sdk.setDefaultMachineFolder(missing), CheckFileExistsFail));
    EXPECT_FALSE(fs::exists(missing));
    // It exists, but is not a full path; that VirtualBox then answers E_INVALIDARG is assumed.
    EXPECT_TRUE(refused(sdk.setDefaultMachineFolder(L"."), PutDefaultMachineFolderFail, Result::InvalidArg));
    EXPECT_EQ(fs::path(ask<std::wstring>(sdk, &VBoxInstanceImpl::getDefaultMachineFolder)), world().machineFolder());
    std::wstring folder = L"as it was";
    control().fail(L"ISystemProperties::get_DefaultMachineFolder", Result::Fail);
    EXPECT_TRUE(refused(sdk.getDefaultMachineFolder(&folder), GetDefaultMachineFolderFail, Result::Fail));
    control().fail(L"IVirtualBox::get_SystemProperties", Result::Fail);
    EXPECT_TRUE(refused(sdk.getDefaultMachineFolder(&folder), GetSystemPropertiesFail, Result::Fail));
    EXPECT_EQ(folder, L"as it was");
}

TEST_F(MachineFiles, ANewNameIsTheFirstWithoutASettingsFile)
{
    std::wstring name;
    EXPECT_TRUE(done(sdk.createVmName(L"", &name)));
    EXPECT_EQ(name, L"kolbrenix_vbox86_1");
    writeFile(world().machineFile(L"a_1"), "");
    writeFile(world().machineFile(L"a_2"), "");
    EXPECT_TRUE(done(sdk.createVmName(L"a", &name)));
    EXPECT_EQ(name, L"a_3");
    for (int number = 3; number < 100; ++number)
        writeFile(world().machineFile(L"a_" + std::to_wstring(number)), "");
    EXPECT_TRUE(done(sdk.createVmName(L"a", &name)));
    EXPECT_EQ(name, L"a_99") << "the last one is handed out although it is taken";
}

// ---- creating

TEST_F(MachineFiles, CreateConfigureSaveRegisterRestartFind)
{
    const std::wstring name = L"Neu \u65b0\u673a \U0001F3AE";
    const VBoxHandle machine = create(name);
    const fs::path file = world().machineFile(L"Neu \u65b0\u673a _"); // files have no emoji
    EXPECT_FALSE(fs::exists(file)) << "nothing is written before it is saved";
    EXPECT_TRUE(done(sdk.setMachineCPUCount(machine, 4)));
    EXPECT_TRUE(done(sdk.setMachineMemory(machine, 2048)));
    EXPECT_TRUE(done(sdk.setMachineParavirtProvider(machine, ParavirtProvider::Minimal)));
    EXPECT_TRUE(done(sdk.setMachineExtraData(machine, L"travik/kind", L"phone")));
    EXPECT_TRUE(done(sdk.machineCreateSharedFolder(machine, L"share", world().folder().wstring(), 1, 1)));
    EXPECT_TRUE(done(sdk.saveSettings(machine)));
    EXPECT_TRUE(fs::exists(file));
    EXPECT_TRUE(refused(sdk.findMachine(name, nullptr), FindMachineFail, Result::ObjectNotFound));
    EXPECT_TRUE(done(sdk.registerMachine(machine)));
    const std::wstring uuid = uuidOf(machine);

    restartServer();
    const VBoxHandle found = find(name);
    EXPECT_EQ(uuidOf(found), uuid);
    EXPECT_EQ(ask<std::wstring>(sdk, &VBoxInstanceImpl::getMachineExtraData, found, L"travik/kind"), L"phone");
    EXPECT_THAT(readFile(file), HasSubstr("<CPU count=\"4\""));
    EXPECT_THAT(readFile(file), HasSubstr("RAMSize=\"2048\""));
    EXPECT_THAT(readFile(file), HasSubstr("provider=\"Minimal\""));
    EXPECT_THAT(readFile(file), HasSubstr("name=\"share\""));
}

TEST_F(MachineFiles, CreateTakesASettingsFileOfTheCallersChoice)
{
    const fs::path file = world().folder() / L"elsewhere" / L"own.vbox";
    VBoxHandle machine = 0;
    EXPECT_TRUE(done(sdk.createMachine(file.wstring(), L"Own", &machine)));
    EXPECT_TRUE(done(sdk.saveSettings(machine)));
    EXPECT_TRUE(fs::exists(file));
    EXPECT_FALSE(fs::exists(world().machineFile(L"Own")));
}

TEST_F(MachineFiles, CreateIsRefused)
{
    VBoxHandle machine = 77;
    EXPECT_TRUE(refused(sdk.createMachine(L"", L"", &machine), CreateMachineFail, Result::InvalidArg));
    EXPECT_TRUE(refused(sdk.createMachine(L"", Machines::player, &machine), CreateMachineFail, Result::FileError))
        << "its settings file exists";
    EXPECT_EQ(machine, 77u);
}

TEST_F(MachineFiles, CreateWithoutAPlaceIsFine)
{
    EXPECT_TRUE(done(sdk.createMachine(L"", L"Nobody's", nullptr)));
}

// ---- renaming

TEST_F(MachineFiles, RenameMovesFileAndFolderWithTheDisk)
{
    const std::wstring name = L"\u6539\u540d \U0001F680";
    const VBoxHandle machine = find(diskful);
    VBoxHandle own = lockForWriting(machine);
    EXPECT_TRUE(done(sdk.setVmName(own, name)));
    EXPECT_TRUE(done(sdk.saveSettings(own)));
    EXPECT_TRUE(done(sdk.unlockMachine()));
    const fs::path file = world().machineFile(L"\u6539\u540d _"); // files have no emoji
    EXPECT_TRUE(fs::exists(file));
    EXPECT_FALSE(fs::exists(world().machineFile(diskful).parent_path()));

    restartServer();
    VBoxHandle medium = 0;
    EXPECT_TRUE(done(sdk.getCurrentMedium(find(name), L"SATA", 0, 0, &medium)));
    const auto location = ask<std::wstring>(sdk, &VBoxInstanceImpl::getMediumLocation, medium);
    EXPECT_EQ(fs::path(location), file.parent_path() / L"disk.vdi");
    EXPECT_TRUE(fs::exists(location));
}

TEST_F(MachineFiles, RenameToANameThatIsTakenFailsWhenItIsSaved)
{
    const VBoxHandle machine = find(diskful);
    const VBoxHandle own = lockForWriting(machine);
    EXPECT_TRUE(done(sdk.setVmName(own, Machines::player)));
    EXPECT_TRUE(refused(sdk.saveSettings(own), SaveSettingsFail, Result::FileError));
    EXPECT_TRUE(done(sdk.unlockMachine()));
    EXPECT_EQ(nameOf(machine), diskful);
    EXPECT_TRUE(fs::exists(world().machineFile(diskful)));
    EXPECT_TRUE(fs::exists(disk()));
}

// Names that file systems take unkindly: kept to the letter or refused, never half.
TEST_F(MachineFiles, DifficultNamesAreKeptOrRefused)
{
    const std::vector<std::wstring> kept = {L"blank at the end ", L"dot at the end.", L" blank at the begin",
                                            std::wstring(200, L'x'), L"CON"};
    const std::vector<std::wstring> notTaken = {std::wstring(260, L'\u957f'), L"a<b>&\"c\""};
    int number = 0;
    const auto save = [&](const std::wstring& name) {
        const VBoxHandle machine = create(L"plain " + std::to_wstring(++number));
        check(sdk, sdk.saveSettings(machine)); // from now on a new name moves files
        check(sdk, sdk.setVmName(machine, name));
        check(sdk, sdk.saveSettings(machine));
        check(sdk, sdk.registerMachine(machine));
    };
    for (const std::wstring& name : kept)
        EXPECT_NO_THROW(save(name)) << utf8(name);
    for (const std::wstring& name : notTaken)
        EXPECT_THROW(save(name), SdkError) << utf8(name);
    restartServer();
    for (const std::wstring& name : kept) {
        SCOPED_TRACE(utf8(name));
        const VBoxHandle found = find(name);
        EXPECT_EQ(nameOf(found), name);
        EXPECT_TRUE(done(sdk.deleteMachine(found)));
    }
    for (const std::wstring& name : notTaken)
        EXPECT_TRUE(refused(sdk.findMachine(name, nullptr), FindMachineFail, Result::ObjectNotFound)) << utf8(name);
}

TEST_F(MachineFiles, APathOf260CharactersIsOpenedOrRefused)
{
    fs::path folder = world().folder();
    while (folder.wstring().size() < 235)
        folder /= std::wstring(20, L'\u8def');
    const fs::path file = folder / (std::wstring(260 - folder.wstring().size() - 6, L'n') + L".vbox");
    ASSERT_EQ(file.wstring().size(), 260u);
    VBoxHandle machine = 0;
    if (sdk.createMachine(file.wstring(), L"Long path", &machine) == 0 && sdk.saveSettings(machine) == 0) {
        EXPECT_TRUE(done(sdk.registerMachine(machine)));
        restartServer();
        EXPECT_EQ(nameOf(find(L"Long path")), L"Long path");
    } else {
        EXPECT_EQ(sdk.getVBoxError(), Result::FileError);
    }
}

// ---- cloning

TEST_F(MachineFiles, CloneCopiesSettingsAndDisks)
{
    const VBoxHandle source = find(diskful);
    const VBoxHandle target = create(L"Clone \u514b\u9686");
    const std::wstring targetId = uuidOf(target);
    EXPECT_TRUE(done(sdk.cloneToMachine(source, target)));
    EXPECT_TRUE(done(sdk.registerMachine(target)));

    restartServer();
    const VBoxHandle clone = find(L"Clone \u514b\u9686");
    EXPECT_EQ(uuidOf(clone), targetId);
    EXPECT_THAT(textOf(L"Clone \u514b\u9686"), HasSubstr("<CPU count=\"2\""));
    EXPECT_THAT(textOf(L"Clone \u514b\u9686"), HasSubstr("RAMSize=\"1024\""));
    EXPECT_THAT(textOf(L"Clone \u514b\u9686"), HasSubstr("MACAddress=\"080027"));
    EXPECT_EQ(textOf(L"Clone \u514b\u9686").find("0800271A2B3C"), std::string::npos) << "a network address of its own";
    VBoxHandle medium = 0;
    ASSERT_TRUE(done(sdk.getCurrentMedium(clone, L"SATA", 0, 0, &medium)));
    const fs::path copy = ask<std::wstring>(sdk, &VBoxInstanceImpl::getMediumLocation, medium);
    EXPECT_EQ(copy.parent_path(), world().machineFile(L"Clone \u514b\u9686").parent_path());
    EXPECT_NE(ask<std::wstring>(sdk, &VBoxInstanceImpl::getMediumUUID, medium), diskId);
    EXPECT_EQ(ask<std::uint32_t>(sdk, &VBoxInstanceImpl::getMediumState, medium), MediumState::Created);
    EXPECT_TRUE(fs::exists(disk())) << "the source keeps its own";
}

TEST_F(MachineFiles, CloneIsRefused)
{
    const VBoxHandle source = find(diskful);
    EXPECT_TRUE(failedUnasked(sdk.cloneToMachine(4'000'000'000u, source), COM_Get_MachineFail));
    EXPECT_TRUE(failedUnasked(sdk.cloneToMachine(source, 4'000'000'000u), COM_Get_MachineFail));
    EXPECT_EQ(sdk.cloneToMachine(source, find(Machines::player)), CloneMachineFail) << "the target is registered";
    EXPECT_NE(sdk.getVBoxError(), 0u);
    control().fail(L"IMachine::CloneTo", Result::InvalidObjectState);
    EXPECT_TRUE(refused(sdk.cloneToMachine(source, create(L"Clone")), CloneMachineFail, Result::InvalidObjectState));
}

TEST_F(MachineFiles, ACloneThatFailsOnTheWayIsReported)
{
    control().fail(L"IMachine::CloneTo.progress", Result::FileError);
    EXPECT_TRUE(
        refused(sdk.cloneToMachine(find(diskful), create(L"Clone")), ProgressWaitForCompletionFail, Result::FileError));
}

// When the wait fails, the library cancels what goes on.
TEST_F(MachineFiles, ACloneThatCannotBeWaitedForIsCanceled)
{
    fs::resize_file(disk(), 3 << 20);
    control().scenario(LR"({"times": {"copyPerMegabyte": 1000}})");
    control().fail(L"IProgress::WaitForCompletion", Result::IPRTError);
    control().trace(true);
    const VBoxHandle target = create(L"Clone");
    EXPECT_TRUE(refusedAny(sdk.cloneToMachine(find(diskful), target), ProgressWaitForCompletionFail,
                           {Result::IPRTError, Result::Fail}));
    EXPECT_THAT(utf8(control().traceText()), HasSubstr("IProgress::Cancel"));
    control().scenario(LR"({"times": {"copyPerMegabyte": 0}})");
    std::wstring name;
    EXPECT_TRUE(soon([&] { return sdk.getVmName(target, &name) == 0; })) << "the copying ends soon";
}

// ---- deleting

TEST_F(MachineFiles, DeleteTakesTheDiskAndTheFolderAlong)
{
    const VBoxHandle machine = find(diskful);
    EXPECT_TRUE(done(sdk.deleteMachine(machine)));
    EXPECT_TRUE(refused(sdk.findMachine(diskful, nullptr), FindMachineFail, Result::ObjectNotFound));
    EXPECT_FALSE(fs::exists(disk()));
    EXPECT_FALSE(fs::exists(world().machineFile(diskful)));
    EXPECT_FALSE(fs::exists(world().machineFile(diskful).parent_path()));
    EXPECT_TRUE(fs::exists(world().machineFile(Machines::player)));
    restartServer();
    EXPECT_TRUE(refused(sdk.findMachine(diskful, nullptr), FindMachineFail, Result::ObjectNotFound));
}

TEST_F(MachineFiles, DeleteLeavesForeignFilesAlone)
{
    const fs::path foreign = world().machineFile(diskful).parent_path() / L"notes.txt";
    writeFile(foreign, "mine");
    EXPECT_TRUE(done(sdk.deleteMachine(find(diskful))));
    EXPECT_EQ(readFile(foreign), "mine");
    EXPECT_FALSE(fs::exists(disk()));
}

TEST_F(MachineFiles, DeleteIsRefusedWhileTheMachineIsLocked)
{
    const VBoxHandle machine = find(diskful);
    lockForWriting(machine);
    EXPECT_TRUE(refused(sdk.deleteMachine(machine), MachineUnregisterFail, Result::InvalidObjectState));
    EXPECT_TRUE(done(sdk.unlockMachine()));
    EXPECT_TRUE(fs::exists(disk()));
    EXPECT_TRUE(failedUnasked(sdk.deleteMachine(4'000'000'000u), COM_Get_MachineFail));
}

TEST_F(MachineFiles, DeleteThatFailsHalfwayIsReportedStepByStep)
{
    control().fail(L"IMachine::DeleteConfig", Result::IPRTError);
    const VBoxHandle first = find(diskful);
    EXPECT_TRUE(refused(sdk.deleteMachine(first), MachineDeleteConfigFail, Result::IPRTError));
    EXPECT_TRUE(refused(sdk.findMachine(diskful, nullptr), FindMachineFail, Result::ObjectNotFound))
        << "it is unregistered already";
    EXPECT_TRUE(fs::exists(disk()));
    control().fail(L"IMachine::DeleteConfig.progress", Result::IPRTError);
    EXPECT_TRUE(refused(sdk.deleteMachine(find(Machines::worker)), ProgressWaitForCompletionFail, Result::IPRTError));
}

TEST_F(MachineFiles, DeleteOfAnInaccessibleMachineUnregistersItOnly)
{
    const VBoxHandle damaged = find(Machines::damagedId);
    EXPECT_TRUE(refused(sdk.deleteMachine(damaged), MachineDeleteConfigFail, Result::AccessDenied));
    EXPECT_TRUE(refused(sdk.findMachine(Machines::damagedId, nullptr), FindMachineFail, Result::ObjectNotFound));
    EXPECT_TRUE(fs::exists(world().machineFile(L"Damaged")));
}

// ---- files that vanish

TEST_F(MachineFiles, AVanishedSettingsFileMakesOneMachineInaccessible)
{
    fs::remove(world().machineFile(Machines::worker));
    restartServer();
    const VBoxHandle machine = find(Machines::workerId);
    EXPECT_TRUE(refused(sdk.getVmName(machine, nullptr), PutNameFail, Result::AccessDenied));
    EXPECT_EQ(nameOf(find(Machines::player)), Machines::player);
    std::vector<VBoxHandle> machines;
    EXPECT_TRUE(done(sdk.listVms(&machines)));
    EXPECT_EQ(machines.size(), Machines::count + 1);
}

TEST_F(MachineFiles, SavingKeepsWhatTheStandInDoesNotKnow)
{
    const fs::path file = world().machineFile(Machines::player);
    std::string text = readFile(file);
    text.insert(text.find("<Network>"), "<RemoteDisplay enabled=\"true\"><Made up=\"\xe5\xb7\xb2\"/></RemoteDisplay>");
    writeFile(file, text);
    restartServer();
    const VBoxHandle own = lockForWriting(find(Machines::player));
    EXPECT_TRUE(done(sdk.setMachineMemory(own, 512)));
    EXPECT_TRUE(done(sdk.saveSettings(own)));
    EXPECT_TRUE(done(sdk.unlockMachine()));
    EXPECT_THAT(textOf(Machines::player), HasSubstr("<Made up=\"\xe5\xb7\xb2\""));
    EXPECT_THAT(textOf(Machines::player), HasSubstr("RAMSize=\"512\""));
    EXPECT_TRUE(fs::exists(file.wstring() + L"-prev")) << "the last version is kept";
}

TEST_F(MachineFiles, SaveIsRefusedWhenTheFileCannotBeWritten)
{
    const VBoxHandle machine = find(Machines::player);
    const VBoxHandle own = lockForWriting(machine);
    const std::string before = textOf(Machines::player);
    EXPECT_TRUE(done(sdk.setMachineMemory(own, 512)));
    EXPECT_TRUE(done(sdk.setVmName(own, L"Renamed")));
    const HANDLE held = CreateFileW(world().machineFile(Machines::player).c_str(), GENERIC_READ, FILE_SHARE_READ,
                                    nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(held, INVALID_HANDLE_VALUE);
    EXPECT_TRUE(refused(sdk.saveSettings(own), SaveSettingsFail, Result::FileError));
    CloseHandle(held);
    EXPECT_EQ(textOf(Machines::player), before);
    EXPECT_EQ(nameOf(machine), Machines::player) << "others see what was";
    EXPECT_TRUE(done(sdk.setVmName(own, Machines::player)));
    EXPECT_TRUE(done(sdk.saveSettings(own))) << "the changes are still there";
    EXPECT_TRUE(done(sdk.unlockMachine()));
    EXPECT_THAT(textOf(Machines::player), HasSubstr("RAMSize=\"512\""));
}

} // namespace
} // namespace TravikTest
