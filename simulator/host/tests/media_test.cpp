#include <cwctype>

#include "base/files.h"
#include "host/cloning.h"
#include "host/deletion.h"
#include "host/device_views.h"
#include "host/error_mapping.h"
#include "host/vm_life.h"
#include "host_fixture.h"
#include "image_writers.h"
#include "images/image.h"

namespace VBoxSim {

TEST_F(HostTest, AMediumIsKnownByItsPlaceAndItsUuid)
{
    const MediumPtr medium = newDisk(L"a.vdi");
    EXPECT_EQ(host.media().open(medium->location, DeviceKind::hardDisk, false), medium);
    EXPECT_EQ(host.media().find(medium->id), medium);
    std::filesystem::copy_file(medium->location, path(L"copy.vdi"));
    EXPECT_THROW(host.media().open(path(L"copy.vdi"), DeviceKind::hardDisk, false), Failure);
    const MediumPtr copy = host.media().open(path(L"copy.vdi"), DeviceKind::hardDisk, true);
    EXPECT_NE(copy->id, medium->id);
}

TEST_F(HostTest, AMediumInUseIsNeitherClosedNorDeleted)
{
    const MachinePtr machine = withDisk(L"box");
    const MediumPtr medium = host.media().find(machine->saved.media.at(0).id);
    EXPECT_THROW(host.media().close(medium), Failure);
    EXPECT_THROW(host.media().deleteStorage(medium), Failure);
    EXPECT_FALSE(medium->closed);
}

TEST_F(HostTest, AMediumWithChildrenIsInUse)
{
    const MediumPtr base = newDisk(L"base.vdi"), child = newDisk(L"child.vdi");
    child->parent = base->id;
    EXPECT_THROW(host.media().close(base), Failure);
    EXPECT_FALSE(base->closed);
    host.media().close(child);
    host.media().close(base);
    EXPECT_TRUE(base->closed);
}

TEST_F(HostTest, AHardDiskIsNoDvd)
{
    createVdi(path(L"a.vdi"), 1 << 20, {});
    EXPECT_THROW(host.media().open(path(L"a.vdi"), DeviceKind::dvd, false), Failure);
}

TEST_F(HostTest, AMediumWhoseFileIsGoneTellsWhy)
{
    const MediumPtr medium = newDisk(L"a.vdi");
    EXPECT_EQ(medium->lastAccessError, L"");
    std::filesystem::remove(medium->location);
    EXPECT_EQ(host.media().refresh(*medium), static_cast<std::uint32_t>(MediumState::Inaccessible));
    EXPECT_NE(medium->lastAccessError, L"");
}

TEST_F(HostTest, AMediumWhoseFileCannotBeDeletedIsLookedAtAgain)
{
    const MediumPtr medium = newDisk(L"a.vdi");
    disk.refuse(1);
    EXPECT_THROW(finish(host.media().deleteStorage(medium)), Failure);
    EXPECT_EQ(medium->state, static_cast<std::uint32_t>(MediumState::Inaccessible));
    disk.allowAll();
    EXPECT_EQ(host.media().refresh(*medium), static_cast<std::uint32_t>(MediumState::Created));
}

TEST_F(HostTest, AMachineIsUnregisteredWhenNobodyHoldsItOnly)
{
    const MachinePtr machine = withDisk(L"box");
    const SessionPtr own = session(L"own");
    lockedBy(own, machine);
    EXPECT_THROW(unregisterMachine(host, machine, Travik::CleanupMode::Full), Failure);
    EXPECT_TRUE(machine->registered);
    unlockSession(host, own);
    EXPECT_NO_THROW(unregisterMachine(host, machine, Travik::CleanupMode::Full));
}

TEST_F(HostTest, ChildrenAreReturnedBeforeTheirParents)
{
    const MachinePtr machine = withDisk(L"box");
    const MediumPtr child = host.media().find(machine->saved.media.at(0).id), base = newDisk(L"base.vdi");
    child->parent = base->id;
    machine->saved.snapshotMedia = {base->id};
    const std::vector<MediumPtr> media =
        unregisterMachine(host, machine, Travik::CleanupMode::DetachAllReturnHardDisksOnly);
    ASSERT_EQ(media.size(), 2u);
    EXPECT_EQ(media[0], child);
    EXPECT_EQ(media[1], base);
}

TEST_F(HostTest, OnlyTheFullCleanupReturnsWhatADriveHolds)
{
    ImageWriters::writeFile(folder / "a.iso", ImageWriters::makeContent(1 << 20, 1));
    for (const std::uint32_t mode : {Travik::CleanupMode::DetachAllReturnHardDisksOnly, Travik::CleanupMode::Full}) {
        const MachinePtr machine = withDisk(L"box");
        const SessionPtr own = session(L"own");
        const MachineView view = lockedBy(own, machine);
        view.attach({L"SATA", 1, 0}, DeviceKind::dvd, host.media().open(path(L"a.iso"), DeviceKind::dvd, false));
        view.saveSettings();
        unlockSession(host, own);
        const std::vector<MediumPtr> media = unregisterMachine(host, machine, mode);
        EXPECT_EQ(media.size(), mode == Travik::CleanupMode::Full ? 2u : 1u);
        finish(deleteMachine({host, machine}, media));
    }
}

TEST_F(HostTest, ADeletionLeavesNothingOfAMachine)
{
    const MachinePtr machine = running(L"box", session(L"own"));
    crashMachine(host, *machine);
    ASSERT_TRUE(Files::exists(Files::join(Files::folderOf(machine->file), L"Logs")));
    ASSERT_TRUE(Files::exists(machine->file + L"-prev"));
    finish(deleteMachine({host, machine}, unregisterMachine(host, machine, Travik::CleanupMode::Full)));
    EXPECT_FALSE(Files::exists(Files::folderOf(machine->file)));
}

TEST_F(HostTest, ACloneHasItsOwnDisksAddressesAndIdentity)
{
    const MachinePtr source = withDisk(L"box"), nat = newMachine(L"nat"), all = newMachine(L"all"),
                     fresh = newMachine(L"fresh");
    const SessionPtr own = session(L"own");
    const MachineView view = lockedBy(own, source);
    view.attach({L"SATA", 1, 0}, DeviceKind::hardDisk, newDisk(L"second.vdi"));
    NetworkAdapterView(view, 1).setAttachment(Travik::NetworkAttachmentType::Bridged);
    view.saveSettings();
    unlockSession(host, own);
    const auto clone = [&](const MachinePtr& target, std::vector<std::int32_t> options) {
        finish(cloneMachine({host, source}, {host, target}, Travik::CloneMode::MachineState, options));
        return target->saved;
    };
    const MachineSettings& from = source->saved;
    const MachineSettings kept = clone(all, {Travik::CloneOptions::KeepAllMACs, Travik::CloneOptions::KeepHwUUIDs});
    EXPECT_EQ(kept.adapters[0].mac, from.adapters[0].mac);
    EXPECT_EQ(kept.adapters[1].mac, from.adapters[1].mac);
    EXPECT_EQ(kept.hardwareId, from.id);
    const MachineSettings some = clone(nat, {Travik::CloneOptions::KeepNATMACs});
    EXPECT_EQ(some.adapters[0].attachment, std::uint32_t(Travik::NetworkAttachmentType::NAT));
    EXPECT_EQ(some.adapters[0].mac, from.adapters[0].mac);
    EXPECT_NE(some.adapters[1].mac, from.adapters[1].mac);
    const MachineSettings none = clone(fresh, {});
    EXPECT_NE(none.adapters[0].mac, from.adapters[0].mac);
    EXPECT_EQ(none.hardwareId, L"");
    ASSERT_EQ(none.media.size(), 2u);
    EXPECT_NE(none.media[0].location, none.media[1].location);
    EXPECT_NE(none.media[0].id, from.media[0].id);
}

TEST_F(HostTest, AClonedChildIsBasedOnTheClonedParent)
{
    const MediumPtr base = newDisk(L"base.vdi");
    createVdi(path(L"disks\\child.vdi"), 1 << 20, {L"", base->id, probeImage(base->location).modificationUuid});
    const MediumPtr child = host.media().open(path(L"disks\\child.vdi"), DeviceKind::hardDisk, false);
    const MachinePtr source = registered(L"box"), target = newMachine(L"copy");
    const SessionPtr own = session(L"own");
    const MachineView view = lockedBy(own, source);
    view.addController(L"SATA", Travik::StorageBus::SATA);
    view.attach({L"SATA", 0, 0}, DeviceKind::hardDisk, child);
    view.saveSettings();
    unlockSession(host, own);
    finish(cloneMachine({host, source}, {host, target}, Travik::CloneMode::AllStates, {}));
    ASSERT_EQ(target->saved.media.size(), 2u);
    const MediumPtr copy = host.media().find(target->saved.controllers.at(0).attachments.at(0).medium);
    ASSERT_TRUE(copy);
    EXPECT_NE(copy->parent, base->id);
    EXPECT_EQ(probeImage(copy->location).parentUuid, copy->parent);
    EXPECT_TRUE(host.media().parentOf(*copy));
}

TEST_F(HostTest, ARunningMachineIsNotCloned)
{
    const MachinePtr machine = running(L"box", session(L"own"));
    EXPECT_THROW(cloneMachine({host, machine}, {host, newMachine(L"copy")}, Travik::CloneMode::MachineState, {}),
                 Failure);
}

TEST_F(HostTest, APortInUseStays)
{
    const MachinePtr machine = registered(L"box");
    const MachineView view = lockedBy(session(L"own"), machine);
    view.addController(L"SATA", Travik::StorageBus::SATA);
    StorageControllerView controller(view, L"SATA");
    controller.setPortCount(4);
    EXPECT_THROW(view.attach({L"SATA", 4, 0}, DeviceKind::dvd, nullptr), Failure) << "behind the last one";
    EXPECT_THROW(view.attach({L"SATA", 0, 1}, DeviceKind::dvd, nullptr), Failure) << "SATA has one device a port";
    view.attach({L"SATA", 2, 0}, DeviceKind::hardDisk, newDisk(L"a.vdi"));
    EXPECT_THROW(controller.setPortCount(2), Failure);
    EXPECT_NO_THROW(controller.setPortCount(3));
    view.setDiscard({L"SATA", 2, 0}, true);
    EXPECT_TRUE(view.attachment({L"SATA", 2, 0}).discard);
    EXPECT_FALSE(view.attachment({L"SATA", 2, 0}).nonRotational);
    view.setNonRotational({L"SATA", 2, 0}, true);
    EXPECT_TRUE(view.attachment({L"SATA", 2, 0}).nonRotational);
}

TEST_F(HostTest, ARunningMachineHoldsItsDisk)
{
    const MachinePtr machine = withDisk(L"box");
    const MediumPtr medium = host.media().find(machine->saved.media.at(0).id);
    launch(machine, session(L"own"));
    pass(host.scenario().times.spawn);
    pass(host.scenario().times.start);
    EXPECT_EQ(host.media().stateOf(*medium), static_cast<std::uint32_t>(MediumState::LockedWrite));
    crashMachine(host, *machine);
    EXPECT_EQ(host.media().stateOf(*medium), static_cast<std::uint32_t>(MediumState::Created));
}

TEST_F(HostTest, AMachineWhoseDiskIsGoneDoesNotStart)
{
    const MachinePtr machine = withDisk(L"box");
    std::filesystem::remove(machine->saved.media.at(0).location);
    const ProgressPtr progress = launch(machine, session(L"own"));
    pass(host.scenario().times.spawn);
    pass(host.scenario().times.start);
    EXPECT_EQ(progress->result(), Result::fileError);
    EXPECT_EQ(machine->state, static_cast<std::uint32_t>(MachineState::PoweredOff));
}

TEST_F(HostTest, AMachineIsFoundByItsSettingsFile)
{
    const MachinePtr machine = registered(L"box");
    EXPECT_EQ(host.machines().find(machine->file), machine);
    std::wstring other = machine->file;
    for (wchar_t& c : other)
        c = c == L'\\' ? L'/' : static_cast<wchar_t>(std::towupper(c));
    EXPECT_EQ(host.machines().find(other), machine) << "in any case, with either slash";
    EXPECT_THROW(host.machines().find(L"box.vbox"), Failure) << "only the full path";
}

TEST_F(HostTest, AMachineUsesAMediumOnceHoweverOftenItIsRegistered)
{
    const MachinePtr machine = withDisk(L"box");
    const std::wstring medium = machine->saved.media.at(0).id;
    for (int i = 0; i < 3; ++i) {
        host.machines().remove(machine);
        EXPECT_EQ(host.media().machinesUsing(medium).size(), 1u);
        host.machines().add(machine);
        EXPECT_EQ(host.media().machinesUsing(medium).size(), 1u);
    }
}

} // namespace VBoxSim
