// Machines, sessions and clients over time, as the test's clock turns.
#include "base/files.h"
#include "host/vm_life.h"
#include "host_fixture.h"

namespace VBoxSim {

namespace {

class MachineTime : public HostTest
{
protected:
    std::uint32_t stateOf(const SessionPtr& session) const { return session->state; }
};

} // namespace

TEST_F(MachineTime, AMachineStartsInItsTime)
{
    host.scenario().times = {100, 200, 100, 100, 0, 0};
    const MachinePtr machine = registered(L"box");
    const SessionPtr own = session(L"own");
    const ProgressPtr progress = launch(machine, own);
    EXPECT_EQ(machine->sessionState, static_cast<std::uint32_t>(SessionState::Spawning));
    pass(99);
    EXPECT_EQ(machine->state, static_cast<std::uint32_t>(MachineState::PoweredOff));
    pass(1);
    EXPECT_EQ(machine->state, static_cast<std::uint32_t>(MachineState::Starting));
    EXPECT_EQ(stateOf(own), static_cast<std::uint32_t>(SessionState::Locked));
    pass(199);
    EXPECT_FALSE(progress->isCompleted());
    pass(1);
    EXPECT_EQ(machine->state, static_cast<std::uint32_t>(MachineState::Running));
    EXPECT_EQ(progress->result(), Result::ok);
    EXPECT_EQ(machine->lastStateChange, clock.milliseconds());
}

TEST_F(MachineTime, TheLockLingersAfterThePowerOff)
{
    host.scenario().times.stop = 50;
    host.scenario().times.holdLock = 70;
    const SessionPtr own = session(L"own");
    const MachinePtr machine = running(L"box", own);
    const ProgressPtr progress = powerDown(host, machine);
    EXPECT_EQ(machine->state, static_cast<std::uint32_t>(MachineState::Stopping));
    pass(50);
    EXPECT_EQ(machine->state, static_cast<std::uint32_t>(MachineState::PoweredOff));
    EXPECT_TRUE(progress->isCompleted());
    pass(69);
    EXPECT_EQ(stateOf(own), static_cast<std::uint32_t>(SessionState::Locked));
    pass(1);
    EXPECT_EQ(stateOf(own), static_cast<std::uint32_t>(SessionState::Unlocked));
    EXPECT_EQ(machine->sessionState, static_cast<std::uint32_t>(SessionState::Unlocked));
}

TEST_F(MachineTime, AMachineThatIsBeingUnlockedIsNotLaunched)
{
    host.scenario().times.unlock = 80;
    const MachinePtr machine = registered(L"box");
    const SessionPtr first = session(L"first", 1), second = session(L"second", 2);
    lockedBy(first, machine);
    unlockSession(host, first);
    EXPECT_EQ(machine->sessionState, static_cast<std::uint32_t>(SessionState::Unlocking));
    EXPECT_THROW(launch(machine, second), Failure);
    EXPECT_THROW(lockMachine(host, machine, second, Travik::LockType::Shared), Failure);
    EXPECT_EQ(stateOf(second), static_cast<std::uint32_t>(SessionState::Unlocked));
    pass(80);
    launch(machine, second);
    pass(host.scenario().times.spawn);
    EXPECT_EQ(stateOf(second), static_cast<std::uint32_t>(SessionState::Locked));
    EXPECT_EQ(stateOf(first), static_cast<std::uint32_t>(SessionState::Unlocked));
}

TEST_F(MachineTime, ASharedSessionThatMovedOnKeepsItsNewMachine)
{
    const SessionPtr launcher = session(L"launcher", 1), guest = session(L"guest", 2);
    const MachinePtr first = running(L"first", launcher), second = registered(L"second");
    lockMachine(host, first, guest, Travik::LockType::Shared);
    unlockSession(host, guest);
    lockedBy(guest, second);
    crashMachine(host, *first);
    EXPECT_EQ(stateOf(launcher), static_cast<std::uint32_t>(SessionState::Unlocked));
    EXPECT_EQ(stateOf(guest), static_cast<std::uint32_t>(SessionState::Locked));
    EXPECT_EQ(guest->machine, second);
    EXPECT_EQ(second->sessionState, static_cast<std::uint32_t>(SessionState::Locked));
}

TEST_F(MachineTime, ALaunchThatFailsInsideFreesTheSessionAtOnce)
{
    const MachinePtr machine = registered(L"box");
    const SessionPtr own = session(L"own");
    host.scenario().launchFailures[L"box"] = {Result::vmError, L"no VT-x"};
    const ProgressPtr progress = powerUp(machine, own);
    EXPECT_EQ(progress->result(), Result::vmError);
    EXPECT_EQ(machine->state, static_cast<std::uint32_t>(MachineState::PoweredOff));
    host.scenario().launchFailures.clear();
    launch(machine, own);
    EXPECT_EQ(stateOf(own), static_cast<std::uint32_t>(SessionState::Spawning));
}

TEST_F(MachineTime, ALaunchThatRunsOutOfMemoryFreesTheSessionAtOnce)
{
    const MachinePtr machine = registered(L"box");
    const SessionPtr own = session(L"own");
    const ProgressPtr progress = launch(machine, own);
    disk.refuse(1, RefusingDisk::Refusal::Memory); // the log of the process
    pass(host.scenario().times.spawn);
    EXPECT_EQ(progress->result(), Result::outOfMemory);
    EXPECT_EQ(stateOf(own), static_cast<std::uint32_t>(SessionState::Unlocked));
    EXPECT_EQ(machine->sessionState, static_cast<std::uint32_t>(SessionState::Unlocked));
    disk.allowAll();
    powerUp(machine, own);
    EXPECT_EQ(machine->state, static_cast<std::uint32_t>(MachineState::Running));
}

TEST_F(MachineTime, ACrashDuringTheStartEndsTheLaunch)
{
    const MachinePtr machine = registered(L"box");
    const SessionPtr own = session(L"own");
    const ProgressPtr progress = launch(machine, own);
    pass(host.scenario().times.spawn);
    crashMachine(host, *machine);
    EXPECT_EQ(progress->result(), Result::fail);
    EXPECT_EQ(machine->state, static_cast<std::uint32_t>(MachineState::Aborted));
    pass(host.scenario().times.start);
    EXPECT_EQ(machine->state, static_cast<std::uint32_t>(MachineState::Aborted));
    EXPECT_EQ(stateOf(own), static_cast<std::uint32_t>(SessionState::Unlocked));
}

TEST_F(MachineTime, AFailedPowerOffGoesBackToTheStateBefore)
{
    const MachinePtr machine = running(L"box", session(L"own"));
    pauseMachine(host, *machine);
    host.faults().fail(L"IConsole::PowerDown.progress", Result::vmError, 1, 0);
    const ProgressPtr progress = powerDown(host, machine);
    EXPECT_EQ(machine->state, static_cast<std::uint32_t>(MachineState::Stopping));
    pass(host.scenario().times.stop);
    EXPECT_EQ(progress->result(), Result::vmError);
    EXPECT_EQ(machine->state, static_cast<std::uint32_t>(MachineState::Paused));
    powerDown(host, machine);
    pass(host.scenario().times.stop);
    EXPECT_EQ(machine->state, static_cast<std::uint32_t>(MachineState::PoweredOff));
}

TEST_F(MachineTime, AResetEndsWhatIsUnderWay)
{
    const MachinePtr machine = running(L"box", session(L"own"));
    const ProgressPtr stop = powerDown(host, machine);
    host.reset();
    EXPECT_EQ(stop->result(), Result::fail);
    EXPECT_TRUE(machine->dead);
    EXPECT_FALSE(host.isBusy());
    EXPECT_EQ(host.machines().find(L"box")->sessionState, static_cast<std::uint32_t>(SessionState::Unlocked));
}

TEST_F(MachineTime, WhatADeadClientHeldIsFree)
{
    const MachinePtr held = registered(L"held"), shared = running(L"shared", session(L"launcher", 1));
    lockedBy(session(L"writer", 2), held);
    lockMachine(host, shared, session(L"guest", 2), Travik::LockType::Shared);
    const PassiveListener own(host, *host.events(), {EventType::Any}, 2),
        foreign(host, *host.events(), {EventType::Any}, 3), ofVm(host, *shared->vm()->events, {EventType::Any}, 2);

    host.dropClient(2);
    EXPECT_EQ(held->state, static_cast<std::uint32_t>(MachineState::Aborted));
    EXPECT_EQ(held->sessionState, static_cast<std::uint32_t>(SessionState::Unlocked));
    EXPECT_EQ(shared->state, static_cast<std::uint32_t>(MachineState::Running));
    EXPECT_EQ(shared->lock->guests.size(), 1u); // the launcher
    EXPECT_THROW(own.next(), Failure);
    EXPECT_THROW(ofVm.next(), Failure);
    EXPECT_NE(foreign.next(), nullptr);
    EXPECT_EQ(host.sessions().find(L"writer"), nullptr);
}

TEST_F(MachineTime, AMachineGoesOnWithoutItsLauncher)
{
    const MachinePtr machine = registered(L"box");
    launch(machine, session(L"own", 5));
    host.dropClient(5);
    pass(host.scenario().times.spawn);
    pass(host.scenario().times.start);
    EXPECT_EQ(machine->state, static_cast<std::uint32_t>(MachineState::Running));
}

TEST_F(MachineTime, ThreeOlderLogsAreKept)
{
    const MachinePtr machine = registered(L"box");
    const std::wstring folder = Files::join(Files::folderOf(machine->file), L"Logs");
    const auto log = [&](const wchar_t* name) { return Files::read(Files::join(folder, name)); };
    for (int start = 1; start <= 5; ++start) {
        clock.turn(60000);
        launch(machine, session(L"own"));
        pass(host.scenario().times.spawn);
        crashMachine(host, *machine);
    }
    EXPECT_EQ(Files::list(folder).size(), 4u);
    EXPECT_NE(log(L"VBox.log"), log(L"VBox.log.1"));
    EXPECT_LT(log(L"VBox.log.3"), log(L"VBox.log.2")); // they differ in their time only
    EXPECT_LT(log(L"VBox.log.1"), log(L"VBox.log"));
}

} // namespace VBoxSim
