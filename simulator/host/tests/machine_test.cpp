// What is kept of a machine, what is refused, and who hears of it.
#include <cwctype>

#include "base/files.h"
#include "base/text.h"
#include "host/device_views.h"
#include "host/error_mapping.h"
#include "host/vm_life.h"
#include "host_fixture.h"

namespace VBoxSim {

namespace {

class MachineTest : public HostTest
{
protected:
    std::string fileOf(const MachinePtr& machine) { return Files::read(machine->file); }
};

} // namespace

TEST_F(MachineTest, ASessionIsNamedWhileItIsUnlockedOnly)
{
    const SessionPtr own = session(L"own");
    host.sessions().setName(L"own", 1, L"first");
    lockedBy(own, registered(L"box"));
    EXPECT_THROW(host.sessions().setName(L"own", 1, L"second"), Failure);
    EXPECT_EQ(host.sessions().nameOf(L"own"), L"first");
}

TEST_F(MachineTest, ABusySessionTakesNoOtherMachine)
{
    const SessionPtr own = session(L"own");
    const MachinePtr first = registered(L"first"), second = registered(L"second");
    lockedBy(own, first);
    EXPECT_THROW(lockMachine(host, second, own, Travik::LockType::Write), Failure);
    EXPECT_THROW(launch(second, own), Failure);
    EXPECT_EQ(own->machine, first);
    EXPECT_EQ(second->sessionState, std::uint32_t(SessionState::Unlocked));
}

TEST_F(MachineTest, OnlyARegisteredMachineIsLockedOrLaunched)
{
    const MachinePtr machine = newMachine(L"box");
    EXPECT_THROW(launch(machine, session(L"own")), Failure);
    EXPECT_THROW(lockMachine(host, machine, session(L"own"), Travik::LockType::Write), Failure);
}

TEST_F(MachineTest, ACrashBeforeItsProcessRunsFreesTheLaunchingSession)
{
    const MachinePtr machine = registered(L"box");
    const SessionPtr own = session(L"own");
    const ProgressPtr progress = launch(machine, own);
    crashMachine(host, *machine);
    EXPECT_EQ(progress->result(), Result::fail);
    EXPECT_EQ(own->state, std::uint32_t(SessionState::Unlocked));
    powerUp(machine, own);
    EXPECT_EQ(machine->state, std::uint32_t(MachineState::Running));
}

TEST_F(MachineTest, ARunCanNotBeCanceledAnyMore)
{
    const MachinePtr machine = registered(L"box");
    const ProgressPtr start = launch(machine, session(L"own"));
    EXPECT_TRUE(start->isCancelable());
    pass(host.scenario().times.spawn);
    pass(host.scenario().times.start);
    EXPECT_FALSE(start->isCancelable());
    EXPECT_THROW(start->cancel(), Failure);
    EXPECT_THROW(powerDown(host, machine)->cancel(), Failure) << "a power-off never can";
}

TEST_F(MachineTest, TransientPropertiesEndWithTheRun)
{
    const MachinePtr machine = running(L"box", session(L"own"));
    const MachineView view(host, machine, machine->lock);
    const std::wstring transient = L"TRANSIENT";
    view.setGuestProperty(L"/gone", L"1", &transient);
    view.setGuestProperty(L"/kept", L"1", nullptr);
    EXPECT_EQ(view.guestProperties().size(), 2u);
    powerOff(machine);
    EXPECT_EQ(view.guestProperties().count(L"/gone"), 0u);
    EXPECT_EQ(view.guestProperties().count(L"/kept"), 1u);
    EXPECT_NE(fileOf(machine).find("/kept"), std::string::npos);
}

TEST_F(MachineTest, TheSettingsFileTellsThatAMachineWasAborted)
{
    const MachinePtr machine = running(L"box", session(L"own"));
    crashMachine(host, *machine);
    host.reset();
    const MachinePtr again = host.machines().find(L"box");
    EXPECT_EQ(again->state, std::uint32_t(MachineState::Aborted));
    powerUp(again, session(L"own"));
    powerOff(again);
    host.reset();
    EXPECT_EQ(host.machines().find(L"box")->state, std::uint32_t(MachineState::PoweredOff));
}

TEST_F(MachineTest, ChangesThatWereNotSavedEndWithTheLock)
{
    const MachinePtr machine = registered(L"box");
    const MediumPtr medium = newDisk(L"a.vdi");
    const SessionPtr own = session(L"own");
    const MachineView view = lockedBy(own, machine);
    view.addController(L"SATA", Travik::StorageBus::SATA);
    view.attach({L"SATA", 0, 0}, DeviceKind::hardDisk, medium);
    EXPECT_TRUE(host.media().isBusy(*medium)) << "also before it is saved";
    unlockSession(host, own);
    EXPECT_FALSE(host.media().isBusy(*medium));
}

TEST_F(MachineTest, AFatalErrorPausesTheMachine)
{
    const MachinePtr machine = running(L"box", session(L"own"));
    const PassiveListener heard(host, *machine->vm()->events, {EventType::OnRuntimeError});
    raiseRuntimeError(host, *machine, {false, L"a", L"warning"});
    EXPECT_EQ(machine->state, std::uint32_t(MachineState::Running));
    raiseRuntimeError(host, *machine, {true, L"b", L"full"});
    EXPECT_EQ(machine->state, std::uint32_t(MachineState::Paused));
    EXPECT_FALSE(heard.next()->flag);
    EXPECT_TRUE(heard.next()->flag);
}

TEST_F(MachineTest, LocksSavesExtraDataAndRemovalsAreTold)
{
    EventSource& source = *host.events();
    const MachinePtr machine = registered(L"box");
    const PassiveListener sessions(host, source, {EventType::OnSessionStateChanged});
    const PassiveListener data(host, source, {EventType::OnMachineDataChanged});
    const PassiveListener extra(host, source, {EventType::OnExtraDataChanged});
    const PassiveListener registration(host, source, {EventType::OnMachineRegistered});
    const SessionPtr own = session(L"own");
    const MachineView view = lockedBy(own, machine);
    view.setMemory(777);
    view.saveSettings();
    unlockSession(host, own);
    host.machines().setExtraData(*machine, L"Key", L"value");
    host.machines().remove(machine);

    const auto tell = [&](const PassiveListener& listener) {
        const EventPtr event = listener.next();
        EXPECT_TRUE(event);
        EXPECT_EQ(event ? event->machineId : L"", machine->id);
        return event ? *event : Event();
    };
    EXPECT_EQ(tell(sessions).state, std::uint32_t(SessionState::Locked));
    Event event = tell(sessions);
    if (event.state == SessionState::Unlocking)
        event = tell(sessions);
    EXPECT_EQ(event.state, std::uint32_t(SessionState::Unlocked));
    tell(data);
    tell(extra);
    EXPECT_FALSE(tell(registration).flag) << "a removal";
}

TEST_F(MachineTest, ASharedFolderOfTheConsoleIsToldAndMustBeThere)
{
    const MachinePtr machine = running(L"box", session(L"own"));
    const ConsoleView console(host, machine, machine->lock);
    const PassiveListener heard(host, *machine->vm()->events, {EventType::OnSharedFolderChanged});
    EXPECT_THROW(console.createSharedFolder({L"x", path(L"none"), false, false, L""}), Failure);
    EXPECT_EQ(heard.next(), nullptr);
    console.createSharedFolder({L"x", path(L"home"), false, false, L""});
    EXPECT_NE(heard.next(), nullptr);
}

TEST_F(MachineTest, AHostIsBusyWhileAMachineRuns)
{
    const MachinePtr machine = running(L"box", session(L"own"));
    EXPECT_TRUE(host.isBusy());
    powerOff(machine);
    EXPECT_FALSE(host.isBusy());
}

TEST_F(MachineTest, AResetForgetsWhatWasOrdered)
{
    host.scenario().version = L"7.0.0";
    host.faults().fail(L"IMachine::get_Name", Result::fail, 0, 0);
    host.reset();
    EXPECT_EQ(host.scenario().version, Scenario().version);
    EXPECT_FALSE(host.faults().take(L"IMachine::get_Name").fails);
}

TEST_F(MachineTest, ExtraDataOfARegisteredMachineIsOnDiskAtOnce)
{
    const MachinePtr machine = registered(L"box");
    host.machines().setExtraData(*machine, L"Key", L"value");
    EXPECT_NE(fileOf(machine).find("Key"), std::string::npos);
}

TEST_F(MachineTest, AnotherMachinesFileIsNotOverwrittenUnasked)
{
    registered(L"box");
    EXPECT_THROW(newMachine(L"box"), Failure);
    EXPECT_NO_THROW(host.machines().create({{}, L"box", {}, L"Other", L"forceOverwrite=1"}));
}

TEST_F(MachineTest, AnIdentifierIsRegisteredOnce)
{
    const MachinePtr first = registered(L"first");
    const MachinePtr second = host.machines().create({{}, L"second", {}, L"Other", L"UUID=" + first->id});
    EXPECT_THROW(host.machines().add(second), Failure);
    EXPECT_EQ(host.machines().all().size(), 1u);
}

TEST_F(MachineTest, TheSettingsFileOfAnotherMachineIsRefused)
{
    const MachinePtr first = registered(L"first"), second = registered(L"second");
    std::filesystem::remove(second->file);
    std::filesystem::copy_file(first->file, second->file);
    host.reset();
    EXPECT_TRUE(host.machines().find(second->id)->accessError);
    EXPECT_FALSE(host.machines().find(first->id)->accessError);
}

TEST_F(MachineTest, TheRegistryKeepsItsStateBefore)
{
    host.machines().setExtraData(L"Key", L"one");
    const std::string before = Files::read(host.machines().settingsFile());
    host.machines().setExtraData(L"Key", L"two");
    EXPECT_EQ(Files::read(host.machines().settingsFile() + L"-prev"), before);
}

TEST_F(MachineTest, TheDefaultFolderIsAFullPath)
{
    const std::wstring before = host.machines().defaultFolder();
    EXPECT_THROW(host.machines().setDefaultFolder(L"somewhere"), Failure);
    EXPECT_EQ(host.machines().defaultFolder(), before);
}

TEST_F(MachineTest, IsNotRenamedOverAnother)
{
    const MachinePtr other = registered(L"other"), machine = registered(L"box");
    const std::string before = fileOf(other);
    const MachineView view = lockedBy(session(L"own"), machine);
    view.setName(L"other");
    const auto failure = attempt([&] { view.saveSettings(); });
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->code(), Result::fileError);
    EXPECT_NE(failure->text().find(L"exists already"), std::wstring::npos) << "what is in the way is told";
    EXPECT_EQ(fileOf(other), before);
    EXPECT_EQ(machine->saved.name, L"box");
}

TEST_F(MachineTest, ItsDisksFollowANewName)
{
    const MachinePtr machine = registered(L"box");
    const std::wstring place = Files::join(Files::folderOf(machine->file), L"own.vdi");
    createVdi(place, 1 << 20, {});
    const MediumPtr medium = host.media().open(place, DeviceKind::hardDisk, false);
    const MachineView view = lockedBy(session(L"own"), machine);
    view.addController(L"SATA", Travik::StorageBus::SATA);
    view.attach({L"SATA", 0, 0}, DeviceKind::hardDisk, medium);
    view.saveSettings();
    view.setName(L"renamed");
    view.saveSettings();
    const std::wstring moved = Files::join(Files::folderOf(machine->file), L"own.vdi");
    EXPECT_TRUE(Files::exists(moved));
    EXPECT_EQ(medium->location, moved);
    EXPECT_EQ(machine->saved.media.at(0).location, moved);
}

TEST_F(MachineTest, ValuesAreKeptWithinTheirLimits)
{
    const MachineView view = lockedBy(session(L"own"), registered(L"box"));
    EXPECT_THROW(view.setCpuCount(0), Failure);
    EXPECT_NO_THROW(view.setCpuCount(1));
    EXPECT_THROW(view.setMemory(3), Failure);
    EXPECT_NO_THROW(view.setMemory(4));
    const NetworkAdapterView adapter(view, 0);
    EXPECT_THROW(adapter.setMacAddress(L"08002700000"), Failure);
    EXPECT_THROW(adapter.setMacAddress(L"0800270000001"), Failure);
    EXPECT_THROW(adapter.setMacAddress(L"08002700000G"), Failure);
    EXPECT_NO_THROW(adapter.setMacAddress(L"080027000000"));
}

TEST_F(MachineTest, PropertiesFollowTheirFlags)
{
    const MachineView view = lockedBy(session(L"own"), registered(L"box"));
    const std::wstring readOnly = L"RDONLYHOST", transient = L"TRANSIENT";
    view.setGuestProperty(L"/a", L"1", &readOnly);
    EXPECT_THROW(view.setGuestProperty(L"/a", L"2", nullptr), Failure);
    EXPECT_THROW(view.setGuestProperty(L"/b", L"1", &transient), Failure) << "not while the machine is off";
    view.setGuestProperty(L"/bc", L"1", nullptr);
    const auto matching = [&](const wchar_t* patterns) {
        return matchingProperties(view.guestProperties(), patterns).size();
    };
    EXPECT_EQ(matching(L"/?"), 1u);
    EXPECT_EQ(matching(L"/*"), 2u);
    EXPECT_EQ(matching(L"/?c|/a"), 2u);
    EXPECT_EQ(matching(L"?"), 0u);
}

TEST_F(MachineTest, AMachineIsFoundByItsSettingsFile)
{
    const MachinePtr machine = registered(L"box");
    EXPECT_EQ(host.machines().find(machine->file), machine);
    std::wstring other = machine->file;
    for (wchar_t& c : other)
        c = c == L'\\' ? L'/' : static_cast<wchar_t>(std::towupper(c));
    EXPECT_EQ(host.machines().find(other), machine) << "in any case, with either slash";
    EXPECT_EQ(resultOf([&] { host.machines().find(L"box.vbox"); }), Result::objectNotFound) << "only the full path";
    EXPECT_EQ(resultOf([&] { host.machines().find(L"00000000-0000-0000-0000-000000000000"); }), Result::objectNotFound);
}

TEST_F(MachineTest, ASettingsFileIsNotOpenedWhileItsMachineIsRegistered)
{
    const MachinePtr machine = registered(L"box");
    EXPECT_EQ(resultOf([&] { host.machines().open(machine->file); }), Result::fail);
    host.machines().remove(machine);
    EXPECT_EQ(host.machines().open(machine->file)->id, machine->id);
}

TEST_F(MachineTest, TheBootOrderIsChangedPlaceByPlace)
{
    const MachinePtr machine = registered(L"box");
    const MachineView view = lockedBy(session(L"own"), machine);
    EXPECT_EQ(view.bootDevice(1), DeviceKind::floppy);
    view.setBootDevice(1, DeviceKind::hardDisk);
    view.setBootDevice(3, 0);
    view.saveSettings();
    EXPECT_EQ(machine->saved.bootOrder, (BootOrder{DeviceKind::hardDisk, DeviceKind::dvd, 0, 0}));
    EXPECT_EQ(resultOf([&] { view.setBootDevice(5, 1); }), Result::invalidArgument);
    EXPECT_EQ(resultOf([&] { view.bootDevice(0); }), Result::invalidArgument);
    EXPECT_EQ(resultOf([&] { view.setBootDevice(1, 5); }), Result::notImplemented) << "USB";
    EXPECT_EQ(resultOf([&] { MachineView(host, machine).setBootDevice(1, 1); }), Result::invalidVmState);
}

TEST_F(MachineTest, SharedFoldersAreChangedUntilTheyAreRemoved)
{
    const MachinePtr machine = registered(L"box");
    const MachineView view = lockedBy(session(L"own"), machine);
    SharedFolderSettings shared{L"f", path(L"f"), false, false, L""};
    view.createSharedFolder(shared);
    shared.writable = true;
    shared.autoMountPoint = L"X:";
    view.replaceSharedFolder(shared);
    EXPECT_TRUE(view.settings().sharedFolders.at(0).writable);
    EXPECT_EQ(view.settings().sharedFolders.at(0).autoMountPoint, L"X:");
    view.removeSharedFolder(L"f");
    EXPECT_EQ(resultOf([&] { view.replaceSharedFolder(shared); }), Result::accessDenied);
}

} // namespace VBoxSim
