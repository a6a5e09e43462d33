// What becomes of a machine's saved state.
#include "base/files.h"
#include "host/vm_life.h"
#include "host_fixture.h"

namespace VBoxSim {

namespace {

class SavedState : public HostTest
{
protected:
    /// A machine whose state lies in a file.
    MachinePtr savedMachine(const std::wstring& name)
    {
        const MachinePtr machine = registered(name);
        MachineSettings settings = machine->saved;
        settings.stateFile = L"Snapshots\\state.sav";
        host.machines().writeSaved(*machine, settings);
        host.machines().refreshAccess(*machine);
        EXPECT_EQ(machine->state, std::uint32_t(MachineState::Saved));
        return machine;
    }
    static bool isInFile(const MachinePtr& machine)
    {
        return Files::read(machine->file).find("stateFile") != std::string::npos;
    }

    const SessionPtr own = session(L"own");
};

} // namespace

TEST_F(SavedState, ASavedMachineIsRestoredAndItsStateIsGone)
{
    const MachinePtr machine = savedMachine(L"box");
    launch(machine, own);
    pass(host.scenario().times.spawn);
    EXPECT_EQ(machine->state, std::uint32_t(MachineState::Restoring));
    pass(host.scenario().times.start);
    EXPECT_EQ(machine->state, std::uint32_t(MachineState::Running));
    EXPECT_EQ(machine->saved.stateFile, L"");
    powerOff(machine);
    EXPECT_FALSE(isInFile(machine));
}

TEST_F(SavedState, ASavedMachineThatDoesNotStartIsSavedAsBefore)
{
    const MachinePtr machine = savedMachine(L"box");
    host.scenario().launchFailures[L"box"] = {Result::vmError, L"no VT-x"};
    powerUp(machine, own);
    EXPECT_EQ(machine->state, std::uint32_t(MachineState::Saved));
    EXPECT_TRUE(isInFile(machine));
}

TEST_F(SavedState, ASavedStateIsKeptUntilItIsDiscarded)
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

TEST_F(SavedState, AStateThatCannotBeSavedLeavesTheMachineRunning)
{
    const MachinePtr machine = running(L"box", own);
    disk.refuse(1);
    const ProgressPtr progress = saveState(host, machine);
    pass(host.scenario().times.stop);
    EXPECT_EQ(progress->result(), Result::fileError);
    EXPECT_EQ(machine->state, static_cast<std::uint32_t>(MachineState::Running));
    EXPECT_TRUE(machine->saved.stateFile.empty());
}

TEST_F(SavedState, StatesAreSavedAndDroppedOnlyWhenTheyCanBe)
{
    const MachinePtr machine = registered(L"box");
    EXPECT_EQ(resultOf([&] { saveState(host, machine); }), Result::invalidVmState);
    EXPECT_EQ(resultOf([&] { discardSavedState(host, *machine, true); }), Result::invalidVmState);
    EXPECT_EQ(resultOf([&] { requireRunning(*machine); }), Result::invalidVmState);
    adoptSavedState(host, *machine, L"Snapshots\\old.sav");
    EXPECT_EQ(machine->state, static_cast<std::uint32_t>(MachineState::Saved));
    EXPECT_EQ(resultOf([&] { adoptSavedState(host, *machine, L"x.sav"); }), Result::invalidVmState);
}

} // namespace VBoxSim
