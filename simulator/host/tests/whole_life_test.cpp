// A machine that any client makes, runs, saves and takes away.
#include <fstream>
#include <functional>

#include "base/files.h"
#include "host/medium_creation.h"
#include "host/mounting.h"
#include "host/vm_life.h"
#include "host_fixture.h"
#include "images/image.h"

namespace VBoxSim {

namespace {

ResultCode codeOf(const std::function<void()>& body)
{
    try {
        body();
    } catch (const Failure& failure) {
        return failure.code();
    }
    return Result::ok;
}

constexpr std::int64_t megabyte = 1 << 20;

class WholeLife : public HostTest
{
protected:
    SessionPtr own = session(L"own");
};

} // namespace

TEST_F(WholeLife, AMachineIsFoundByItsSettingsFile)
{
    const MachinePtr machine = registered(L"box");
    EXPECT_EQ(host.machines().find(machine->file), machine);
    EXPECT_EQ(codeOf([&] { host.machines().find(L"box.vbox"); }), Result::objectNotFound);
    EXPECT_EQ(codeOf([&] { host.machines().find(L"00000000-0000-0000-0000-000000000000"); }), Result::objectNotFound);
}

TEST_F(WholeLife, ASettingsFileIsNotOpenedWhileItsMachineIsRegistered)
{
    const MachinePtr machine = registered(L"box");
    EXPECT_EQ(codeOf([&] { host.machines().open(machine->file); }), Result::fail);
    host.machines().remove(machine);
    EXPECT_EQ(host.machines().open(machine->file)->id, machine->id);
}

TEST_F(WholeLife, AMediumIsOpenedByItsIdentifier)
{
    const MediumPtr medium = newDisk(L"a.vdi");
    EXPECT_EQ(host.media().open(medium->id, DeviceKind::hardDisk, false), medium);
    EXPECT_EQ(codeOf([&] { host.media().open(L"5a1b2c3d-0000-4000-8000-00000000000f", DeviceKind::hardDisk, false); }),
              Result::fileError);
}

TEST_F(WholeLife, AMachineUsesAMediumOnceHoweverOftenItIsRegistered)
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

TEST_F(WholeLife, AMediumGetsStorage)
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

TEST_F(WholeLife, StorageThatCannotBeMadeLeavesTheMediumAsItWas)
{
    std::filesystem::create_directory(path(L"taken.vdi"));
    const MediumPtr medium = createMedium(host, L"VDI", path(L"taken.vdi"), DeviceKind::hardDisk);
    EXPECT_EQ(codeOf([&] { finish(createBaseStorage(host, medium, megabyte, 0)); }), Result::fileError);
    EXPECT_EQ(medium->state, static_cast<std::uint32_t>(MediumState::NotCreated));
    EXPECT_TRUE(medium->id.empty());
    EXPECT_TRUE(std::filesystem::exists(path(L"taken.vdi"))) << "what was there stays";
}

TEST_F(WholeLife, AMediumIsMadeInEachFormatDynamicOrFixed)
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
    EXPECT_EQ(codeOf([&] { createBaseStorage(host, medium, megabyte, 1); }), Result::notSupported);
}

TEST_F(WholeLife, AMediumOfAFormatThatIsOnlyReadIsTakenForOneThatExists)
{
    const MediumPtr medium = createMedium(host, L"VHDX", path(L"a.vhdx"), DeviceKind::hardDisk);
    EXPECT_EQ(medium->state, static_cast<std::uint32_t>(MediumState::Inaccessible));
    EXPECT_EQ(host.media().find(medium->id), medium);
    EXPECT_EQ(codeOf([&] { createBaseStorage(host, medium, megabyte, 0); }), Result::invalidObjectState);
}

TEST_F(WholeLife, MediaAreRefusedAsVirtualBoxRefusesThem)
{
    const auto create = [&](const wchar_t* format, const std::wstring& location, std::uint32_t type) {
        return codeOf([&] { createMedium(host, format, location, type); });
    };
    EXPECT_EQ(create(L"VDI", L"", DeviceKind::hardDisk), Result::fail);
    EXPECT_EQ(create(L"VDI", L"relative.vdi", DeviceKind::hardDisk), Result::fileError);
    EXPECT_EQ(create(L"nonsense", path(L"a.x"), DeviceKind::hardDisk), Result::invalidArgument);
    EXPECT_EQ(create(L"", path(L"a.iso"), DeviceKind::dvd), Result::invalidArgument);
    EXPECT_EQ(create(L"VDI", path(L"a.vdi"), 7), Result::invalidArgument);

    const MediumPtr medium = createMedium(host, L"vdi", path(L"a.vdi"), DeviceKind::hardDisk);
    EXPECT_EQ(codeOf([&] { createBaseStorage(host, medium, -1, 0); }), Result::invalidArgument);
    finish(createBaseStorage(host, medium, megabyte, 0));
    EXPECT_EQ(codeOf([&] { createBaseStorage(host, medium, megabyte, 0); }), Result::invalidObjectState);
}

TEST_F(WholeLife, ASavedStateIsKeptUntilItIsDiscarded)
{
    const MachinePtr machine = running(L"box", own);
    const ProgressPtr progress = saveState(host, machine);
    EXPECT_EQ(machine->state, static_cast<std::uint32_t>(MachineState::Saving));
    EXPECT_FALSE(progress->isCancelable());
    pass(host.scenario().times.stop);
    EXPECT_EQ(progress->result(), Result::ok);
    EXPECT_EQ(machine->state, static_cast<std::uint32_t>(MachineState::Saved));
    const std::wstring file = Files::resolve(Files::folderOf(machine->file), machine->saved.stateFile);
    EXPECT_TRUE(Files::exists(file));
    pass(host.scenario().times.holdLock);
    EXPECT_EQ(machine->sessionState, static_cast<std::uint32_t>(SessionState::Unlocked));
    EXPECT_EQ(machine->state, static_cast<std::uint32_t>(MachineState::Saved)) << "not aborted by its process's end";

    discardSavedState(host, *machine, true);
    EXPECT_EQ(machine->state, static_cast<std::uint32_t>(MachineState::PoweredOff));
    EXPECT_TRUE(machine->saved.stateFile.empty());
    EXPECT_FALSE(Files::exists(file));
}

TEST_F(WholeLife, AStateThatCannotBeSavedLeavesTheMachineRunning)
{
    const MachinePtr machine = running(L"box", own);
    disk.refuse(1);
    const ProgressPtr progress = saveState(host, machine);
    pass(host.scenario().times.stop);
    EXPECT_EQ(progress->result(), Result::fileError);
    EXPECT_EQ(machine->state, static_cast<std::uint32_t>(MachineState::Running));
    EXPECT_TRUE(machine->saved.stateFile.empty());
}

TEST_F(WholeLife, StatesAreSavedAndDroppedOnlyWhenTheyCanBe)
{
    const MachinePtr machine = registered(L"box");
    EXPECT_EQ(codeOf([&] { saveState(host, machine); }), Result::invalidVmState);
    EXPECT_EQ(codeOf([&] { discardSavedState(host, *machine, true); }), Result::invalidVmState);
    EXPECT_EQ(codeOf([&] { requireRunning(*machine); }), Result::invalidVmState);
    adoptSavedState(host, *machine, L"Snapshots\\old.sav");
    EXPECT_EQ(machine->state, static_cast<std::uint32_t>(MachineState::Saved));
    EXPECT_EQ(codeOf([&] { adoptSavedState(host, *machine, L"x.sav"); }), Result::invalidVmState);
}

TEST_F(WholeLife, ADrivesMediumIsChangedAndTakenOut)
{
    const MachinePtr machine = registered(L"box");
    const MachineView view = lockedBy(own, machine);
    view.addController(L"IDE", Travik::StorageBus::IDE);
    view.attach({L"IDE", 1, 0}, DeviceKind::dvd, nullptr);
    std::ofstream(folder / L"a.iso", std::ios::binary) << std::string(4096, '\0');
    const MediumPtr disc = host.media().open(path(L"a.iso"), DeviceKind::dvd, false);
    mountMedium(view, {L"IDE", 1, 0}, disc);
    EXPECT_EQ(view.attachment({L"IDE", 1, 0}).medium, disc->id);
    mountMedium(view, {L"IDE", 1, 0}, nullptr);
    mountMedium(view, {L"IDE", 1, 0}, nullptr);
    EXPECT_TRUE(view.attachment({L"IDE", 1, 0}).medium.empty());
    EXPECT_EQ(codeOf([&] { mountMedium(view, {L"IDE", 0, 0}, disc); }), Result::objectNotFound);
    EXPECT_EQ(codeOf([&] { view.addController(L"IDE", Travik::StorageBus::SATA); }), Result::objectInUse);
}

namespace {

/// Reads what a listener for everything gets.
class Heard
{
public:
    Heard(Host& host, EventSource& source) : host_(host), source_(source), listener_(std::make_shared<int>())
    {
        source_.add(listener_, 1, {Travik::VBoxEventType::Any}, false);
    }
    ~Heard() { source_.remove(listener_.get()); }
    Heard(const Heard&) = delete;
    Heard& operator=(const Heard&) = delete;

    /// The next one of a type; null when there is none.
    EventPtr next(std::uint32_t type)
    {
        HostLock lock = host_.lock();
        while (const EventPtr event = source_.next(lock, listener_.get(), 0))
            if (event->type == type)
                return event;
        return nullptr;
    }

private:
    Host& host_;
    EventSource& source_;
    std::shared_ptr<int> listener_;
};

} // namespace

TEST_F(WholeLife, StorageControllersAreNumberedAndOneOfABusIsBootable)
{
    const MachinePtr machine = registered(L"box");
    const MachineView view = lockedBy(own, machine);
    view.setChipset(Travik::ChipsetType::ICH9);
    Heard heard(host, *host.events());
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
    EXPECT_EQ(codeOf([&] { view.controller(Travik::StorageBus::SATA, 1); }), Result::objectNotFound);
    EXPECT_EQ(codeOf([&] { view.controller(99, 0); }), Result::objectNotFound);
}

TEST_F(WholeLife, AControllersDevicesGoWithItAndAreTold)
{
    const MachinePtr machine = withDisk(L"box");
    const MachineView view = lockedBy(own, machine);
    Heard heard(host, *host.events());
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

TEST_F(WholeLife, TheBootOrderIsChangedPlaceByPlace)
{
    const MachinePtr machine = registered(L"box");
    const MachineView view = lockedBy(own, machine);
    EXPECT_EQ(view.bootDevice(1), DeviceKind::floppy);
    view.setBootDevice(1, DeviceKind::hardDisk);
    view.setBootDevice(3, 0);
    view.saveSettings();
    EXPECT_EQ(machine->saved.bootOrder, (BootOrder{DeviceKind::hardDisk, DeviceKind::dvd, 0, 0}));
    EXPECT_EQ(codeOf([&] { view.setBootDevice(5, 1); }), Result::invalidArgument);
    EXPECT_EQ(codeOf([&] { view.bootDevice(0); }), Result::invalidArgument);
    EXPECT_EQ(codeOf([&] { view.setBootDevice(1, 5); }), Result::notImplemented) << "USB";
    EXPECT_EQ(codeOf([&] { MachineView(host, machine).setBootDevice(1, 1); }), Result::invalidVmState);
}

TEST_F(WholeLife, AChangedMediumIsTold)
{
    const MachinePtr machine = registered(L"box");
    const MachineView view = lockedBy(own, machine);
    view.addController(L"IDE", Travik::StorageBus::IDE);
    view.attach({L"IDE", 1, 0}, DeviceKind::dvd, nullptr);
    std::ofstream(folder / L"a.iso", std::ios::binary) << std::string(4096, '\0');
    const MediumPtr disc = host.media().open(path(L"a.iso"), DeviceKind::dvd, false);
    Heard heard(host, *host.events());
    mountMedium(view, {L"IDE", 1, 0}, disc);
    const EventPtr event = heard.next(EventType::OnMediumChanged);
    ASSERT_NE(event, nullptr);
    EXPECT_EQ(event->controller, L"IDE");
    EXPECT_EQ(event->attachment.port, 1);
    EXPECT_EQ(event->attachment.medium, disc->id);
}

TEST_F(WholeLife, AnOperationTellsHowFarItIsAndThatItHasEnded)
{
    const MachinePtr machine = registered(L"box");
    const ProgressPtr progress = launch(machine, own);
    Heard heard(host, *progress->events());
    pass(host.scenario().times.spawn);
    const EventPtr percent = heard.next(EventType::OnProgressPercentageChanged);
    ASSERT_NE(percent, nullptr);
    EXPECT_EQ(percent->progressId, progress->id());
    EXPECT_EQ(percent->percent, 25u) << "the first of two steps, which weigh 1 and 3";
    pass(host.scenario().times.start);
    const EventPtr end = heard.next(EventType::OnProgressTaskCompleted);
    ASSERT_NE(end, nullptr);
    EXPECT_EQ(end->progressId, progress->id());
}

TEST_F(WholeLife, SharedFoldersAreChangedUntilTheyAreRemoved)
{
    const MachinePtr machine = registered(L"box");
    const MachineView view = lockedBy(own, machine);
    SharedFolderSettings shared{L"f", path(L"f"), false, false, L""};
    view.createSharedFolder(shared);
    shared.writable = true;
    shared.autoMountPoint = L"X:";
    view.replaceSharedFolder(shared);
    EXPECT_TRUE(view.settings().sharedFolders.at(0).writable);
    EXPECT_EQ(view.settings().sharedFolders.at(0).autoMountPoint, L"X:");
    view.removeSharedFolder(L"f");
    EXPECT_EQ(codeOf([&] { view.replaceSharedFolder(shared); }), Result::accessDenied);
}

} // namespace VBoxSim
