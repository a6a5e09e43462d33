// Controllers, drives and what is in them.
#include "host/device_views.h"
#include "host/mounting.h"
#include "host_fixture.h"
#include "image_writers.h"

namespace VBoxSim {

namespace {

class Storage : public HostTest
{
protected:
    MachineView locked(const MachinePtr& machine) { return lockedBy(session(L"own"), machine); }
    /// A machine with an empty drive.
    MachineView withDrive()
    {
        const MachineView view = locked(registered(L"box"));
        view.addController(L"IDE", Travik::StorageBus::IDE);
        view.attach({L"IDE", 1, 0}, DeviceKind::dvd, nullptr);
        return view;
    }
    MediumPtr disc()
    {
        ImageWriters::writeFile(folder / "a.iso", ImageWriters::Bytes(4096));
        return host.media().open(path(L"a.iso"), DeviceKind::dvd, false);
    }
};

} // namespace

TEST_F(Storage, APortInUseStays)
{
    const MachineView view = locked(registered(L"box"));
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

TEST_F(Storage, ADrivesMediumIsChangedAndTakenOut)
{
    const MachineView view = withDrive();
    const MediumPtr disc = this->disc();
    mountMedium(view, {L"IDE", 1, 0}, disc);
    EXPECT_EQ(view.attachment({L"IDE", 1, 0}).medium, disc->id);
    mountMedium(view, {L"IDE", 1, 0}, nullptr);
    mountMedium(view, {L"IDE", 1, 0}, nullptr);
    EXPECT_TRUE(view.attachment({L"IDE", 1, 0}).medium.empty());
    EXPECT_EQ(resultOf([&] { mountMedium(view, {L"IDE", 0, 0}, disc); }), Result::objectNotFound);
    EXPECT_EQ(resultOf([&] { view.addController(L"IDE", Travik::StorageBus::SATA); }), Result::objectInUse);
}

TEST_F(Storage, StorageControllersAreNumberedAndOneOfABusIsBootable)
{
    const MachinePtr machine = registered(L"box");
    const MachineView view = locked(machine);
    view.setChipset(Travik::ChipsetType::ICH9);
    const PassiveListener heard(host, *host.events());
    for (const wchar_t* name : {L"first", L"second", L"third"})
        view.addController(name, Travik::StorageBus::SATA);
    const EventPtr added = heard.next(EventType::OnStorageControllerChanged);
    ASSERT_NE(added, nullptr);
    EXPECT_EQ(added->machineId, machine->id);
    EXPECT_EQ(added->controller, L"first");
    EXPECT_EQ(view.controller(Travik::StorageBus::SATA, 1).name, L"second");
    EXPECT_TRUE(view.controller(L"first").bootable);
    EXPECT_FALSE(view.controller(L"second").bootable);
    view.setBootable(L"third", true);
    EXPECT_FALSE(view.controller(L"first").bootable);
    EXPECT_TRUE(view.controller(L"third").bootable);

    view.removeController(L"second");
    view.addController(L"fourth", Travik::StorageBus::SATA);
    EXPECT_EQ(view.controller(L"fourth").instance, 3u) << "one more than the highest";
    EXPECT_EQ(resultOf([&] { view.controller(Travik::StorageBus::SATA, 1); }), Result::objectNotFound);
    EXPECT_EQ(resultOf([&] { view.controller(99, 0); }), Result::objectNotFound);
}

TEST_F(Storage, AControllersDevicesGoWithItAndAreTold)
{
    const MachinePtr machine = withDisk(L"box");
    const MachineView view = locked(machine);
    const PassiveListener heard(host, *host.events());
    view.removeController(L"SATA");
    const EventPtr device = heard.next(EventType::OnStorageDeviceChanged);
    ASSERT_NE(device, nullptr);
    EXPECT_TRUE(device->flag) << "removed";
    EXPECT_EQ(device->controller, L"SATA");
    EXPECT_EQ(device->attachment.medium, machine->saved.media.at(0).id);
    const EventPtr controller = heard.next(EventType::OnStorageControllerChanged);
    ASSERT_NE(controller, nullptr);
    EXPECT_EQ(controller->controller, L"SATA");
}

TEST_F(Storage, AChangedMediumIsTold)
{
    const MachineView view = withDrive();
    const MediumPtr disc = this->disc();
    const PassiveListener heard(host, *host.events());
    mountMedium(view, {L"IDE", 1, 0}, disc);
    const EventPtr event = heard.next(EventType::OnMediumChanged);
    ASSERT_NE(event, nullptr);
    EXPECT_EQ(event->controller, L"IDE");
    EXPECT_EQ(event->attachment.port, 1);
    EXPECT_EQ(event->attachment.medium, disc->id);
}

} // namespace VBoxSim
