// Disk images: opened, attached, moved, lost.

#include "harness/running_machine.h"
#include "harness/settings_text.h"

namespace TravikTest {
namespace {

using testing::HasSubstr;
namespace fs = std::filesystem;

constexpr const wchar_t* otherId = L"5d1f4b1e-0000-4000-8000-000000000002";

class Media : public RunningMachineTest
{
protected:
    void furnish() override
    {
        MachineText text;
        text.mediaRegistry = hardDiskXml(diskId, "disk.vdi");
        text.sataAttachments = attachedDiskXml(diskId, 0) + emptyDriveXml(1);
        world().addMachine(diskful, L"3e9c1b52-6f6a-4c0e-9d55-0a1b2c3d4e10", text);
        writeVdi(disk(), diskId);
        writeVdi(loose(), otherId);
        world().addUsualMachines();
    }

    /// The image that is attached to the machine.
    fs::path disk() { return world().machineFile(diskful).parent_path() / L"disk.vdi"; }
    /// An image that nobody knows.
    fs::path loose() { return world().folder() / L"\u78c1\u76d8 \U0001F4BE" / L"loose.vdi"; }

    VBoxHandle open(const fs::path& file, bool forceNewUuid = false)
    {
        VBoxHandle medium = 0;
        check(sdk, sdk.openMedium(file.wstring(), forceNewUuid, &medium));
        return medium;
    }

    VBoxHandle current(VBoxHandle machine, std::int32_t port)
    {
        VBoxHandle medium = 0;
        check(sdk, sdk.getCurrentMedium(machine, L"SATA", port, 0, &medium));
        return medium;
    }

    fs::path locationOf(VBoxHandle medium)
    {
        return ask<std::wstring>(sdk, &VBoxInstanceImpl::getMediumLocation, medium);
    }
    std::wstring uuidOf(VBoxHandle medium) { return ask<std::wstring>(sdk, &VBoxInstanceImpl::getMediumUUID, medium); }
    std::uint32_t mediumState(VBoxHandle medium)
    {
        return ask<std::uint32_t>(sdk, &VBoxInstanceImpl::getMediumState, medium);
    }

    static constexpr const wchar_t* diskful = L"Diskful";
    static constexpr const wchar_t* diskId = L"5d1f4b1e-0000-4000-8000-000000000001";
};

// ---- images

TEST_F(Media, OpenReadsTheImage)
{
    const VBoxHandle medium = open(loose());
    EXPECT_EQ(uuidOf(medium), otherId);
    EXPECT_EQ(locationOf(medium), loose());
    EXPECT_EQ(mediumState(medium), MediumState::Created);
    EXPECT_EQ(ask<std::wstring>(sdk, &VBoxInstanceImpl::getMediumLastAccessError, medium), L"");
    const VBoxHandle again = open(loose());
    EXPECT_NE(again, medium);
    EXPECT_EQ(uuidOf(again), otherId);
    EXPECT_TRUE(done(sdk.openMedium(loose().wstring(), false, nullptr)));
}

TEST_F(Media, OpenGivesANewUuidWhenAsked)
{
    const fs::path copy = world().folder() / L"copy.vdi";
    fs::copy_file(loose(), copy);
    open(loose());
    VBoxHandle medium = 77;
    EXPECT_TRUE(refused(sdk.openMedium(copy.wstring(), false, &medium), OpenMediumFail, Result::InvalidArg))
        << "the UUID is known at another place";
    EXPECT_EQ(medium, 77u);
    const std::wstring newId = uuidOf(open(copy, true));
    EXPECT_NE(newId, otherId);
    restartServer();
    EXPECT_EQ(uuidOf(open(copy)), newId) << "the image has kept it";
}

TEST_F(Media, OpenIsRefused)
{
    VBoxHandle medium = 77;
    EXPECT_TRUE(failedUnasked(sdk.openMedium((world().folder() / L"missing.vdi").wstring(), false, &medium),
                              CheckFileExistsFail));
    const fs::path strange = world().folder() / L"strange.vdi";
    writeFile(strange, "not a disk image at all");
    EXPECT_TRUE(refused(sdk.openMedium(strange.wstring(), false, &medium), OpenMediumFail, Result::ObjectNotFound));
    const std::string whole = readFile(loose());
    const fs::path shortened = world().folder() / L"shortened.vdi";
    writeFile(shortened, whole.substr(0, 0x100));
    EXPECT_TRUE(refused(sdk.openMedium(shortened.wstring(), false, &medium), OpenMediumFail, Result::ObjectNotFound));
    EXPECT_EQ(medium, 77u);
}

TEST_F(Media, ALostFileIsTold)
{
    const VBoxHandle medium = open(loose());
    fs::remove(loose());
    EXPECT_EQ(mediumState(medium), MediumState::Inaccessible);
    EXPECT_NE(ask<std::wstring>(sdk, &VBoxInstanceImpl::getMediumLastAccessError, medium), L"");
    writeVdi(loose(), otherId);
    EXPECT_EQ(mediumState(medium), MediumState::Created);
    EXPECT_EQ(ask<std::wstring>(sdk, &VBoxInstanceImpl::getMediumLastAccessError, medium), L"");
}

TEST_F(Media, AClosedMediumAnswersNoMore)
{
    const VBoxHandle medium = open(loose());
    EXPECT_TRUE(done(sdk.closeMedium(medium)));
    EXPECT_TRUE(fs::exists(loose()));
    std::wstring text = L"as it was";
    std::uint32_t state = 77;
    EXPECT_TRUE(refused(sdk.getMediumLocation(medium, &text), MediumGetLocationFail, Result::AccessDenied));
    EXPECT_TRUE(refused(sdk.getMediumUUID(medium, &text), MediumGetIdFail, Result::AccessDenied));
    EXPECT_TRUE(refused(sdk.getMediumState(medium, &state), MediumGetStateFail, Result::AccessDenied));
    EXPECT_TRUE(
        refused(sdk.getMediumLastAccessError(medium, &text), MediumGetLastAccessErrorFail, Result::AccessDenied));
    EXPECT_TRUE(refused(sdk.closeMedium(medium), CloseMediumFail, Result::AccessDenied));
    EXPECT_TRUE(refused(sdk.deleteMedium(medium), MediumGetLocationFail, Result::AccessDenied));
    EXPECT_EQ(text, L"as it was");
    EXPECT_EQ(state, 77u);
    EXPECT_TRUE(done(sdk.releaseMedium(medium)));
    EXPECT_TRUE(failedUnasked(sdk.getMediumState(medium, &state), COM_Get_MediumFail));
}

TEST_F(Media, CloseIsRefusedWhileAttached)
{
    const VBoxHandle medium = current(find(diskful), 0);
    EXPECT_TRUE(refused(sdk.closeMedium(medium), CloseMediumFail, Result::ObjectInUse));
    EXPECT_EQ(uuidOf(medium), diskId);
}

TEST_F(Media, DeleteRemovesTheFile)
{
    const VBoxHandle medium = open(loose());
    EXPECT_TRUE(done(sdk.deleteMedium(medium)));
    EXPECT_FALSE(fs::exists(loose()));
    EXPECT_EQ(sdk.deleteMedium(medium), RemoveFilePathFail) << "it is gone already";
}

// ---- attachments

TEST_F(Media, ControllersTellTheirPorts)
{
    const VBoxHandle machine = find(diskful);
    std::uint32_t ports = 0;
    EXPECT_TRUE(done(sdk.getMachineStorageControllerPortCount(machine, L"SATA", &ports)));
    EXPECT_EQ(ports, 4u);
    EXPECT_TRUE(done(sdk.getMachineStorageControllerPortCount(machine, L"IDE", &ports)));
    EXPECT_EQ(ports, 2u);
    EXPECT_TRUE(refused(sdk.getMachineStorageControllerPortCount(machine, L"NVMe", &ports),
                        MachineGetStorageControllerByNameFail, Result::ObjectNotFound));
    control().fail(L"IStorageController::get_PortCount", Result::Fail);
    EXPECT_TRUE(refused(sdk.getMachineStorageControllerPortCount(machine, L"SATA", &ports),
                        StorageControllerGetPortCountFail, Result::Fail));
    EXPECT_EQ(ports, 2u);
    EXPECT_TRUE(done(sdk.getMachineStorageControllerPortCount(machine, L"SATA", nullptr)));
}

TEST_F(Media, CurrentMediumIsTheAttachedOne)
{
    const VBoxHandle machine = find(diskful);
    EXPECT_EQ(uuidOf(current(machine, 0)), diskId);
    EXPECT_EQ(locationOf(current(machine, 0)), disk());
    VBoxHandle medium = 77;
    EXPECT_TRUE(done(sdk.getCurrentMedium(machine, L"SATA", 1, 0, &medium)));
    EXPECT_EQ(medium, 77u) << "the drive is empty";
    EXPECT_TRUE(
        refused(sdk.getCurrentMedium(machine, L"SATA", 2, 0, &medium), MachineGetMediumFail, Result::ObjectNotFound));
    EXPECT_EQ(medium, 77u);
}

TEST_F(Media, AttachedDisksAreMarkedAndKept)
{
    const VBoxHandle machine = find(Machines::player);
    const VBoxHandle own = lockForWriting(machine);
    EXPECT_TRUE(done(sdk.attachMedium(own, open(loose()), L"SATA", 2, 0)));
    EXPECT_EQ(uuidOf(current(own, 2)), otherId);
    EXPECT_EQ(sdk.getCurrentMedium(machine, L"SATA", 2, 0, nullptr), MachineGetMediumFail) << "not saved yet";
    EXPECT_TRUE(done(sdk.saveSettings(own)));
    EXPECT_TRUE(done(sdk.unlockMachine()));
    const std::string text = readFile(world().machineFile(Machines::player));
    EXPECT_THAT(text, HasSubstr("nonrotational=\"true\""));
    EXPECT_THAT(text, HasSubstr("discard=\"true\""));

    restartServer();
    const VBoxHandle medium = current(find(Machines::player), 2);
    EXPECT_EQ(uuidOf(medium), otherId);
    EXPECT_EQ(locationOf(medium), loose());
    EXPECT_EQ(mediumState(medium), MediumState::Created);
}

TEST_F(Media, ARefusedMarkIsLoggedOnly)
{
    const VBoxHandle own = lockForWriting(find(Machines::player));
    control().fail(L"IMachine::SetAutoDiscardForDevice", Result::InvalidVMState);
    control().fail(L"IMachine::NonRotationalDevice", Result::InvalidVMState);
    EXPECT_TRUE(done(sdk.attachMedium(own, open(loose()), L"SATA", 2, 0)));
    EXPECT_EQ(sdk.getVBoxError(), 0u);
    EXPECT_TRUE(done(sdk.saveSettings(own)));
    EXPECT_TRUE(done(sdk.unlockMachine()));
    const std::string text = readFile(world().machineFile(Machines::player));
    EXPECT_THAT(text, HasSubstr(utf8(otherId)));
    EXPECT_THAT(text, testing::Not(HasSubstr("nonrotational=")));
    EXPECT_THAT(text, testing::Not(HasSubstr("discard=")));
}

TEST_F(Media, AttachIsRefused)
{
    const VBoxHandle machine = find(diskful);
    const VBoxHandle medium = open(loose());
    EXPECT_TRUE(refused(sdk.attachMedium(machine, medium, L"SATA", 2, 0), AttachDeviceFail, Result::InvalidVMState))
        << "no lock";
    VBoxHandle fresh = 0;
    check(sdk,
          sdk.openMachine(world().writeMachine(L"Fresh", L"3e9c1b52-6f6a-4c0e-9d55-0a1b2c3d4eff").wstring(), &fresh));
    EXPECT_TRUE(refused(sdk.attachMedium(fresh, medium, L"SATA", 2, 0), AttachDeviceFail, Result::InvalidObjectState))
        << "not registered";

    const VBoxHandle own = lockForWriting(machine);
    EXPECT_TRUE(refused(sdk.attachMedium(own, medium, L"NVMe", 0, 0), AttachDeviceFail, Result::ObjectNotFound));
    EXPECT_TRUE(refused(sdk.attachMedium(own, medium, L"SATA", 0, 0), AttachDeviceFail, Result::ObjectInUse))
        << "the slot is taken";
    EXPECT_TRUE(refused(sdk.attachMedium(own, current(own, 0), L"SATA", 2, 0), AttachDeviceFail, Result::ObjectInUse))
        << "the medium is attached";
    for (const auto& [controller, port, device] :
         {std::tuple{L"SATA", 30, 0}, std::tuple{L"SATA", -1, 0}, std::tuple{L"SATA", 2, 1}, std::tuple{L"IDE", 2, 0},
          std::tuple{L"IDE", 0, 2}, std::tuple{L"IDE", 0, -1}})
        EXPECT_TRUE(
            refused(sdk.attachMedium(own, medium, controller, port, device), AttachDeviceFail, Result::InvalidArg))
            << port << ", " << device;
    EXPECT_TRUE(failedUnasked(sdk.attachMedium(own, 4'000'000'000u, L"SATA", 2, 0), COM_Get_MediumFail));
    EXPECT_TRUE(failedUnasked(sdk.attachMedium(4'000'000'000u, medium, L"SATA", 2, 0), COM_Get_MachineFail));
    EXPECT_TRUE(done(sdk.unlockMachine()));
}

TEST_F(Media, DetachIsRefused)
{
    const VBoxHandle machine = find(diskful);
    EXPECT_TRUE(refused(sdk.detachMedium(machine, L"SATA", 0, 0), DetachDeviceFail, Result::InvalidVMState));
    const VBoxHandle own = lockForWriting(machine);
    EXPECT_TRUE(refused(sdk.detachMedium(own, L"SATA", 3, 0), DetachDeviceFail, Result::ObjectNotFound));
    EXPECT_TRUE(refused(sdk.detachMedium(own, L"NVMe", 0, 0), DetachDeviceFail, Result::ObjectNotFound));
    EXPECT_TRUE(done(sdk.unlockMachine()));
}

TEST_F(Media, ARunningMachineKeepsItsDisks)
{
    launch(diskful);
    const auto own = ask<VBoxHandle>(sdk, &VBoxInstanceImpl::createMutableMachine, 0u);
    const VBoxHandle medium = current(own, 0);
    EXPECT_EQ(mediumState(medium), MediumState::LockedWrite);
    EXPECT_TRUE(refused(sdk.detachMedium(own, L"SATA", 0, 0), DetachDeviceFail, Result::InvalidVMState));
    EXPECT_TRUE(refused(sdk.attachMedium(own, open(loose()), L"SATA", 2, 0), AttachDeviceFail, Result::InvalidVMState));
    EXPECT_TRUE(
        refusedAny(sdk.closeMedium(medium), CloseMediumFail, {Result::InvalidObjectState, Result::ObjectInUse}));
    powerDown(consoleOf());
    EXPECT_TRUE(soon([&] { return mediumState(current(find(diskful), 0)) == MediumState::Created; }));
}

TEST_F(Media, AMachineWithoutItsDiskDoesNotStart)
{
    fs::remove(disk());
    const VBoxHandle machine = find(diskful);
    VBoxHandle progress = 0;
    ASSERT_TRUE(done(sdk.launchVMProcess(machine, L"headless", {L""}, &progress)));
    EXPECT_THROW(Details::waitFor(sdk, progress, Deadline(milliseconds(20'000))), ProgressError);
    EXPECT_NE(ask<std::wstring>(sdk, &VBoxInstanceImpl::getProgressErrorInfo, progress), L"");
    EXPECT_TRUE(soon([&] { return stateOf(machine) == MachineState::PoweredOff; }));
}

// ---- moving a disk

TEST_F(Media, ADiskIsMovedByDetachCloseRenameOpenAttach)
{
    const fs::path target = world().folder() / L"\u65b0\u4f4d\u7f6e.vdi";
    const VBoxHandle machine = find(diskful);
    const VBoxHandle own = lockForWriting(machine);
    const VBoxHandle medium = current(own, 0);
    EXPECT_TRUE(done(sdk.detachMedium(own, L"SATA", 0, 0)));
    EXPECT_EQ(uuidOf(current(machine, 0)), diskId) << "for others it is detached by saving";
    EXPECT_TRUE(done(sdk.saveSettings(own)));
    EXPECT_TRUE(done(sdk.closeMedium(medium)));
    EXPECT_TRUE(done(sdk.renameVmDisk(disk().wstring(), target.wstring())));
    EXPECT_FALSE(fs::exists(disk()));
    EXPECT_TRUE(done(sdk.attachMedium(own, open(target), L"SATA", 0, 0)));
    EXPECT_TRUE(done(sdk.saveSettings(own)));
    EXPECT_TRUE(done(sdk.unlockMachine()));

    restartServer();
    const VBoxHandle moved = current(find(diskful), 0);
    EXPECT_EQ(uuidOf(moved), diskId);
    EXPECT_EQ(locationOf(moved), target);
    EXPECT_EQ(mediumState(moved), MediumState::Created);
}

TEST_F(Media, RenameOverwritesNothingAndKeepsTheLastError)
{
    EXPECT_EQ(sdk.findMachine(L"vm1", nullptr), FindMachineFail);
    EXPECT_EQ(sdk.renameVmDisk((world().folder() / L"missing.vdi").wstring(), L"anywhere"), RenameFilePathFail);
    EXPECT_EQ(sdk.getVBoxError(), Result::ObjectNotFound);
    EXPECT_TRUE(sdk.getVBoxErrorMessage().ends_with(L" errorDesc=RenameFilePathFail"));
    const std::string before = readFile(disk());
    EXPECT_EQ(sdk.renameVmDisk(loose().wstring(), disk().wstring()), RenameFilePathFail);
    EXPECT_EQ(readFile(disk()), before);
    EXPECT_TRUE(fs::exists(loose()));
}

} // namespace
} // namespace TravikTest
