// Media: what is known of them, how they are made and deleted, and who has them.
#include "base/files.h"
#include "host/cloning.h"
#include "host/deletion.h"
#include "host/device_views.h"
#include "host/medium_creation.h"
#include "host/vm_life.h"
#include "host_fixture.h"
#include "image_writers.h"
#include "images/image.h"

namespace VBoxSim {

namespace {

constexpr std::int64_t megabyte = 1 << 20;

} // namespace

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

TEST_F(HostTest, AMediumIsOpenedByItsIdentifier)
{
    const MediumPtr medium = newDisk(L"a.vdi");
    EXPECT_EQ(host.media().open(medium->id, DeviceKind::hardDisk, false), medium);
    EXPECT_EQ(
        resultOf([&] { host.media().open(L"5a1b2c3d-0000-4000-8000-00000000000f", DeviceKind::hardDisk, false); }),
        Result::fileError);
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
        change(machine, [&](const MachineView& view) {
            view.attach({L"SATA", 1, 0}, DeviceKind::dvd, host.media().open(path(L"a.iso"), DeviceKind::dvd, false));
        });
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
    change(source, [&](const MachineView& view) {
        view.attach({L"SATA", 1, 0}, DeviceKind::hardDisk, newDisk(L"second.vdi"));
        NetworkAdapterView(view, 1).setAttachment(Travik::NetworkAttachmentType::Bridged);
    });
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
    change(source, [&](const MachineView& view) {
        view.addController(L"SATA", Travik::StorageBus::SATA);
        view.attach({L"SATA", 0, 0}, DeviceKind::hardDisk, child);
    });
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

TEST_F(HostTest, ARunningMachineHoldsItsDisk)
{
    const MachinePtr machine = withDisk(L"box");
    const MediumPtr medium = host.media().find(machine->saved.media.at(0).id);
    powerUp(machine, session(L"own"));
    EXPECT_EQ(host.media().stateOf(*medium), static_cast<std::uint32_t>(MediumState::LockedWrite));
    crashMachine(host, *machine);
    EXPECT_EQ(host.media().stateOf(*medium), static_cast<std::uint32_t>(MediumState::Created));
}

TEST_F(HostTest, AMachineWhoseDiskIsGoneDoesNotStart)
{
    const MachinePtr machine = withDisk(L"box");
    std::filesystem::remove(machine->saved.media.at(0).location);
    const ProgressPtr progress = powerUp(machine, session(L"own"));
    EXPECT_EQ(progress->result(), Result::fileError);
    EXPECT_EQ(machine->state, static_cast<std::uint32_t>(MachineState::PoweredOff));
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

TEST_F(HostTest, AMediumGetsStorage)
{
    const MediumPtr medium = createMedium(host, L"", path(L"new\\disk.vdi"), DeviceKind::hardDisk);
    EXPECT_EQ(medium->state, static_cast<std::uint32_t>(MediumState::NotCreated));
    EXPECT_EQ(host.media().find(medium->id), nullptr) << "nobody knows it yet";
    const ProgressPtr progress = createBaseStorage(host, medium, 8 * megabyte, 0);
    EXPECT_EQ(medium->state, static_cast<std::uint32_t>(MediumState::Creating));
    finish(progress);
    EXPECT_EQ(medium->state, static_cast<std::uint32_t>(MediumState::Created));
    EXPECT_EQ(medium->logicalSize, 8 * megabyte);
    EXPECT_EQ(host.media().find(medium->id), medium);
    const ImageInfo info = probeImage(medium->location);
    EXPECT_EQ(info.format, ImageFormat::Vdi);
    EXPECT_EQ(info.logicalSize, static_cast<std::uint64_t>(8 * megabyte));
}

TEST_F(HostTest, StorageThatCannotBeMadeLeavesTheMediumAsItWas)
{
    std::filesystem::create_directory(path(L"taken.vdi"));
    const MediumPtr medium = createMedium(host, L"VDI", path(L"taken.vdi"), DeviceKind::hardDisk);
    EXPECT_EQ(resultOf([&] { finish(createBaseStorage(host, medium, megabyte, 0)); }), Result::fileError);
    EXPECT_EQ(medium->state, static_cast<std::uint32_t>(MediumState::NotCreated));
    EXPECT_TRUE(medium->id.empty());
    EXPECT_TRUE(std::filesystem::exists(path(L"taken.vdi"))) << "what was there stays";
}

TEST_F(HostTest, AMediumIsMadeInEachFormatDynamicOrFixed)
{
    constexpr std::uint32_t fixed = 0x10000;
    for (const wchar_t* format : {L"VDI", L"VMDK", L"VHD"})
        for (const std::uint32_t variant : {0u, fixed}) {
            const MediumPtr medium = createMedium(host, format, path(L"made\\"), DeviceKind::hardDisk);
            finish(createBaseStorage(host, medium, 3 * megabyte, variant));
            const ImageInfo info = probeImage(medium->location);
            EXPECT_EQ(formatName(info.format), std::wstring(format));
            EXPECT_EQ(info.variant, variant);
            EXPECT_EQ(info.uuid, medium->id);
            EXPECT_TRUE(Files::nameOf(medium->location).starts_with(L"{")) << "a folder is no name";
        }
    const MediumPtr medium = createMedium(host, L"VDI", path(L"a.vdi"), DeviceKind::hardDisk);
    EXPECT_EQ(resultOf([&] { createBaseStorage(host, medium, megabyte, 1); }), Result::notSupported);
}

TEST_F(HostTest, AMediumOfAFormatThatIsOnlyReadIsTakenForOneThatExists)
{
    const MediumPtr medium = createMedium(host, L"VHDX", path(L"a.vhdx"), DeviceKind::hardDisk);
    EXPECT_EQ(medium->state, static_cast<std::uint32_t>(MediumState::Inaccessible));
    EXPECT_EQ(host.media().find(medium->id), medium);
    EXPECT_EQ(resultOf([&] { createBaseStorage(host, medium, megabyte, 0); }), Result::invalidObjectState);
}

TEST_F(HostTest, MediaAreRefusedAsVirtualBoxRefusesThem)
{
    const auto create = [&](const wchar_t* format, const std::wstring& location, std::uint32_t type) {
        return resultOf([&] { createMedium(host, format, location, type); });
    };
    EXPECT_EQ(create(L"VDI", L"", DeviceKind::hardDisk), Result::fail);
    EXPECT_EQ(create(L"VDI", L"relative.vdi", DeviceKind::hardDisk), Result::fileError);
    EXPECT_EQ(create(L"nonsense", path(L"a.x"), DeviceKind::hardDisk), Result::invalidArgument);
    EXPECT_EQ(create(L"", path(L"a.iso"), DeviceKind::dvd), Result::invalidArgument);
    EXPECT_EQ(create(L"VDI", path(L"a.vdi"), 7), Result::invalidArgument);

    const MediumPtr medium = createMedium(host, L"vdi", path(L"a.vdi"), DeviceKind::hardDisk);
    EXPECT_EQ(resultOf([&] { createBaseStorage(host, medium, -1, 0); }), Result::invalidArgument);
    finish(createBaseStorage(host, medium, megabyte, 0));
    EXPECT_EQ(resultOf([&] { createBaseStorage(host, medium, megabyte, 0); }), Result::invalidObjectState);
}

} // namespace VBoxSim
