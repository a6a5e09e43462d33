// Locks, the session's own copy of a machine, and what happens to both.

#include "harness/system_test.h"

namespace TravikTest {
namespace {

using testing::HasSubstr;

class Session : public SystemTest
{
protected:
    std::string playerFile() { return readFile(world().machineFile(Machines::player)); }

    std::wstring extra(VBoxHandle machine, const std::wstring& key)
    {
        return ask<std::wstring>(sdk, &VBoxInstanceImpl::getMachineExtraData, machine, key);
    }
};

TEST_F(Session, LockChangeSaveUnlock)
{
    const VBoxHandle machine = find(Machines::player);
    ASSERT_TRUE(done(sdk.lockMachine(machine, LockType::Write)));
    VBoxHandle own = 0;
    ASSERT_TRUE(done(sdk.createMutableMachine(machine, &own)));
    EXPECT_NE(own, machine);
    EXPECT_EQ(nameOf(own), Machines::player);
    EXPECT_TRUE(done(sdk.setMachineCPUCount(own, 3)));
    EXPECT_TRUE(done(sdk.setMachineMemory(own, 768)));
    EXPECT_TRUE(done(sdk.setMachineParavirtProvider(own, ParavirtProvider::KVM)));
    EXPECT_THAT(playerFile(), HasSubstr("count=\"2\"")) << "nothing is written before it is saved";
    EXPECT_TRUE(done(sdk.saveSettings(own)));
    EXPECT_TRUE(done(sdk.unlockMachine()));

    EXPECT_THAT(playerFile(), HasSubstr("<CPU count=\"3\""));
    EXPECT_THAT(playerFile(), HasSubstr("RAMSize=\"768\""));
    EXPECT_THAT(playerFile(), HasSubstr("<Paravirt provider=\"KVM\""));
}

TEST_F(Session, ChangesAreTheSessionsOwnUntilTheyAreSaved)
{
    const VBoxHandle machine = find(Machines::player);
    const VBoxHandle own = lockForWriting(machine);
    EXPECT_TRUE(done(sdk.setVmName(own, L"Renamed \u6539 \U0001F3AE")));
    EXPECT_EQ(nameOf(own), L"Renamed \u6539 \U0001F3AE");
    EXPECT_EQ(nameOf(machine), Machines::player);
    EXPECT_TRUE(done(sdk.saveSettings(own)));
    EXPECT_EQ(nameOf(machine), L"Renamed \u6539 \U0001F3AE");
    EXPECT_TRUE(done(sdk.unlockMachine()));
    EXPECT_NE(find(L"Renamed \u6539 \U0001F3AE"), 0u);
    EXPECT_TRUE(refused(sdk.findMachine(Machines::player, nullptr), FindMachineFail, Result::ObjectNotFound));
}

TEST_F(Session, WhatIsNotSavedIsLost)
{
    const VBoxHandle machine = find(Machines::player);
    const std::string before = playerFile();
    VBoxHandle own = lockForWriting(machine);
    EXPECT_TRUE(done(sdk.setVmName(own, L"Other")));
    EXPECT_TRUE(done(sdk.setMachineMemory(own, 333)));
    EXPECT_TRUE(done(sdk.unlockMachine()));
    EXPECT_EQ(nameOf(machine), Machines::player);
    EXPECT_EQ(playerFile(), before);

    own = lockForWriting(machine);
    EXPECT_EQ(nameOf(own), Machines::player);
    EXPECT_TRUE(done(sdk.unlockMachine()));
}

TEST_F(Session, TheSessionsMachineIsUselessAfterTheUnlock)
{
    const VBoxHandle machine = find(Machines::player);
    const VBoxHandle own = lockForWriting(machine);
    ASSERT_TRUE(done(sdk.unlockMachine()));
    std::wstring name = L"as it was";
    EXPECT_TRUE(refused(sdk.getVmName(own, &name), PutNameFail, Result::AccessDenied));
    EXPECT_TRUE(refused(sdk.setMachineMemory(own, 512), SetMachineMemoryFail, Result::AccessDenied));
    EXPECT_TRUE(refused(sdk.saveSettings(own), SaveSettingsFail, Result::AccessDenied));
    EXPECT_EQ(name, L"as it was");
    EXPECT_EQ(nameOf(machine), Machines::player);
}

TEST_F(Session, TheMachineArgumentOfTheMutableMachineIsIgnored)
{
    const VBoxHandle machine = find(Machines::player);
    ASSERT_TRUE(done(sdk.lockMachine(machine, LockType::Write)));
    VBoxHandle own = 0;
    EXPECT_TRUE(done(sdk.createMutableMachine(4'000'000'000u, &own)));
    EXPECT_EQ(nameOf(own), Machines::player);
    EXPECT_TRUE(done(sdk.unlockMachine()));
}

TEST_F(Session, WithoutALockThereIsNeitherMachineNorConsole)
{
    VBoxHandle handle = 77;
    ASSERT_TRUE(done(sdk.initComComponent()));
    EXPECT_TRUE(refused(sdk.createMutableMachine(1, &handle), CreateMutableMachineFail, Result::Unexpected));
    EXPECT_TRUE(refused(sdk.getConsole(&handle), GetConsoleFail, Result::Unexpected));
    EXPECT_TRUE(refused(sdk.unlockMachine(), UnlockMachineFail, Result::Unexpected));
    EXPECT_EQ(handle, 77u);
}

TEST_F(Session, APlainLockHasNoConsole)
{
    lockForWriting(find(Machines::player));
    VBoxHandle console = 77;
    EXPECT_TRUE(done(sdk.getConsole(&console)));
    EXPECT_EQ(console, 77u);
    EXPECT_TRUE(done(sdk.unlockMachine()));
}

TEST_F(Session, ASharedLockOfAFreeMachineIsAWriteLock)
{
    const VBoxHandle machine = find(Machines::player);
    ASSERT_TRUE(done(sdk.lockMachine(machine, LockType::Shared)));
    const auto own = ask<VBoxHandle>(sdk, &VBoxInstanceImpl::createMutableMachine, machine);
    EXPECT_TRUE(done(sdk.setMachineMemory(own, 512)));
    EXPECT_TRUE(done(sdk.saveSettings(own)));
    EXPECT_TRUE(done(sdk.unlockMachine()));
    EXPECT_THAT(playerFile(), HasSubstr("RAMSize=\"512\""));
}

TEST_F(Session, LockIsRefusedWhileTheSessionIsBusy)
{
    const VBoxHandle player = find(Machines::player);
    lockForWriting(player);
    EXPECT_TRUE(refused(sdk.lockMachine(player, LockType::Write), LockMachineFail, Result::InvalidObjectState));
    EXPECT_TRUE(
        refused(sdk.lockMachine(find(Machines::worker), LockType::Write), LockMachineFail, Result::InvalidObjectState));
    EXPECT_TRUE(done(sdk.unlockMachine()));
    lockForWriting(find(Machines::worker));
    EXPECT_TRUE(done(sdk.unlockMachine()));
}

TEST_F(Session, LockIsRefusedForOthersThanTheVmProcess)
{
    EXPECT_TRUE(refused(sdk.lockMachine(find(Machines::player), LockType::VM), LockMachineFail, Result::AccessDenied));
}

TEST_F(Session, LockIsRefusedForATypeThatDoesNotExist)
{
    EXPECT_TRUE(refused(sdk.lockMachine(find(Machines::player), 77), LockMachineFail, Result::InvalidArg));
}

TEST_F(Session, LockIsRefusedForAMachineThatIsNotRegistered)
{
    VBoxHandle fresh = 0;
    check(sdk,
          sdk.openMachine(world().writeMachine(L"Fresh", L"3e9c1b52-6f6a-4c0e-9d55-0a1b2c3d4eff").wstring(), &fresh));
    EXPECT_TRUE(refused(sdk.lockMachine(fresh, LockType::Write), LockMachineFail, Result::Unexpected));
}

TEST_F(Session, SettingsAreRefusedWithoutALock)
{
    const VBoxHandle machine = find(Machines::player);
    EXPECT_TRUE(refused(sdk.setMachineCPUCount(machine, 1), SetMachineCPUCountFail, Result::InvalidVMState));
    EXPECT_TRUE(refused(sdk.setMachineMemory(machine, 512), SetMachineMemoryFail, Result::InvalidVMState));
    EXPECT_TRUE(refused(sdk.setMachineParavirtProvider(machine, ParavirtProvider::KVM), SetMachineParavirtProviderFail,
                        Result::InvalidVMState));
    EXPECT_TRUE(
        refusedAny(sdk.saveSettings(machine), SaveSettingsFail, {Result::InvalidVMState, Result::AccessDenied}));
}

// The limits are VirtualBox's usual ones, and that it answers E_INVALIDARG is assumed.
TEST_F(Session, SettingsAreRefusedBeyondTheirLimits)
{
    const VBoxHandle own = lockForWriting(find(Machines::player));
    for (std::uint32_t count : {0u, 65u, 0xFFFFFFFFu})
        EXPECT_TRUE(refused(sdk.setMachineCPUCount(own, count), SetMachineCPUCountFail, Result::InvalidArg));
    for (std::uint32_t megabytes : {0u, 3u, 2'097'153u, 0xFFFFFFFFu})
        EXPECT_TRUE(refused(sdk.setMachineMemory(own, megabytes), SetMachineMemoryFail, Result::InvalidArg));
    for (std::uint32_t provider : {6u, 0xFFFFFFFFu})
        EXPECT_TRUE(
            refused(sdk.setMachineParavirtProvider(own, provider), SetMachineParavirtProviderFail, Result::InvalidArg));
    EXPECT_TRUE(done(sdk.setMachineCPUCount(own, 64)));
    EXPECT_TRUE(done(sdk.setMachineMemory(own, 4)));
    EXPECT_TRUE(done(sdk.unlockMachine()));
}

TEST_F(Session, ExtraDataNeedsNoLockAndLasts)
{
    const VBoxHandle machine = find(Machines::player);
    EXPECT_EQ(extra(machine, L"GUI/LastCloseAction"), L"PowerOff");
    EXPECT_EQ(extra(machine, L"nothing of this name"), L"");
    EXPECT_TRUE(done(sdk.setMachineExtraData(machine, L"travik/\u952e", L"\u503c \U0001F511 <&\">")));
    EXPECT_EQ(extra(machine, L"travik/\u952e"), L"\u503c \U0001F511 <&\">");
    restartServer();
    const VBoxHandle again = find(Machines::player);
    EXPECT_EQ(extra(again, L"travik/\u952e"), L"\u503c \U0001F511 <&\">");
    EXPECT_TRUE(done(sdk.setMachineExtraData(again, L"travik/\u952e", L"")));
    EXPECT_EQ(extra(again, L"travik/\u952e"), L"");
    EXPECT_EQ(extra(again, L"GUI/LastCloseAction"), L"PowerOff");
}

TEST_F(Session, ExtraDataIsRefusedUnderAKeyWithControlCharacters)
{
    const VBoxHandle machine = find(Machines::player);
    EXPECT_TRUE(
        refused(sdk.setMachineExtraData(machine, L"a\nb", L"value"), SetMachineExtraDataFail, Result::InvalidArg));
}

TEST_F(Session, ExtraDataOfAnInaccessibleMachineCannotBeRead)
{
    const VBoxHandle damaged = find(Machines::damagedId);
    std::wstring value = L"as it was";
    EXPECT_TRUE(
        refused(sdk.getMachineExtraData(damaged, L"key", &value), GetMachineExtraDataFail, Result::AccessDenied));
    EXPECT_EQ(value, L"as it was");
}

// ---- other processes

/// Locks a machine, says so, and holds the lock until it is told otherwise.
const Role holdLock(L"hold-lock", [](const RoleIo& io) {
    VBoxInstanceImpl& sdk = library();
    const auto machine = ask<VBoxHandle>(sdk, &VBoxInstanceImpl::findMachine, io.arguments[0]);
    check(sdk, sdk.lockMachine(machine, LockType::Write));
    const auto own = ask<VBoxHandle>(sdk, &VBoxInstanceImpl::createMutableMachine, machine);
    check(sdk, sdk.setVmName(own, L"Never saved"));
    io.say(L"locked");
    io.hear();
    check(sdk, sdk.unlockMachine());
    io.say(L"unlocked");
    io.hear();
    check(sdk, sdk.releaseRC());
    return 0;
});

/// Adds one to a number in a machine's extra data, so many times, each time under the lock.
const Role count(L"count", [](const RoleIo& io) {
    VBoxInstanceImpl& sdk = library();
    const Operations operations(sdk);
    const ScopedMachine machine = operations.findMachine(Machines::player);
    for (int rounds = std::stoi(io.arguments[0]); rounds > 0; --rounds) {
        LockedSession session(sdk, machine, Lock::Write, milliseconds(30'000));
        const std::wstring text = operations.getMachineExtraData(session.machine(), L"travik/count");
        const int number = text.empty() ? 0 : std::stoi(text);
        Sleep(5); // an unlocked reader would come between
        operations.setMachineExtraData(session.machine(), L"travik/count", std::to_wstring(number + 1));
        session.save();
        session.unlock();
    }
    check(sdk, sdk.releaseRC());
    io.say(L"counted");
    return 0;
});

class Rivals : public Session
{};

TEST_F(Rivals, LockIsRefusedWhileAnotherProcessHoldsIt)
{
    FrontEndProcess rival(L"hold-lock", {Machines::player});
    ASSERT_EQ(rival.readLine(), L"locked");
    const VBoxHandle machine = find(Machines::player);
    EXPECT_TRUE(refused(sdk.lockMachine(machine, LockType::Write), LockMachineFail, Result::InvalidObjectState));
    VBoxHandle progress = 77;
    EXPECT_TRUE(refused(sdk.launchVMProcess(machine, L"headless", {L""}, &progress), LaunchVMProcessFail,
                        Result::InvalidObjectState));
    EXPECT_EQ(progress, 77u);
    EXPECT_EQ(nameOf(machine), Machines::player) << "the rival has not saved";
    EXPECT_EQ(stateOf(machine), MachineState::PoweredOff);

    rival.writeLine(L"unlock");
    ASSERT_EQ(rival.readLine(), L"unlocked");
    lockForWriting(machine);
    EXPECT_TRUE(done(sdk.unlockMachine()));
    rival.writeLine(L"leave");
    EXPECT_EQ(rival.wait(), 0u);
}

TEST_F(Rivals, TwoProcessesTakeTurns)
{
    constexpr int rounds = 10;
    FrontEndProcess first(L"count", {std::to_wstring(rounds)});
    FrontEndProcess second(L"count", {std::to_wstring(rounds)});
    EXPECT_EQ(first.readLine(milliseconds(60'000)), L"counted");
    EXPECT_EQ(second.readLine(milliseconds(60'000)), L"counted");
    EXPECT_EQ(first.wait(), 0u);
    EXPECT_EQ(second.wait(), 0u);
    EXPECT_EQ(extra(find(Machines::player), L"travik/count"), std::to_wstring(2 * rounds));
}

TEST_F(Rivals, AKilledProcessLosesItsLockAndItsChanges)
{
    FrontEndProcess rival(L"hold-lock", {Machines::player});
    ASSERT_EQ(rival.readLine(), L"locked");
    const VBoxHandle machine = find(Machines::player);
    EXPECT_EQ(stateOf(machine), MachineState::PoweredOff);
    rival.kill();
    EXPECT_TRUE(soon([&] { return stateOf(machine) == MachineState::Aborted; }));
    EXPECT_EQ(nameOf(machine), Machines::player);
    lockForWriting(machine);
    EXPECT_TRUE(done(sdk.unlockMachine()));

    restartServer();
    EXPECT_EQ(stateOf(find(Machines::player)), MachineState::Aborted) << "the settings file tells";
}

TEST_F(Rivals, AProcessThatDropsItsSessionLosesItsLock)
{
    // No unlock: the session object goes with releaseRC, as when a front end forgets it.
    const VBoxHandle player = find(Machines::player);
    ASSERT_TRUE(done(sdk.lockMachine(player, LockType::Write)));
    ASSERT_TRUE(done(sdk.releaseRC()));
    const VBoxHandle again = find(Machines::player);
    EXPECT_TRUE(soon([&] { return stateOf(again) == MachineState::Aborted; }));
    lockForWriting(again);
    EXPECT_TRUE(done(sdk.unlockMachine()));
}

// What one process found stays good when another one ends that had found the same.
TEST_F(Rivals, AnotherProcessEndDoesNotTouchWhatThisOneHolds)
{
    FrontEndProcess rival(L"hold-lock", {Machines::worker});
    ASSERT_EQ(rival.readLine(), L"locked");
    const VBoxHandle player = find(Machines::player);
    const VBoxHandle worker = find(Machines::worker);
    const VBoxHandle own = lockForWriting(player);
    rival.kill();
    EXPECT_TRUE(soon([&] { return stateOf(worker) == MachineState::Aborted; }));
    EXPECT_EQ(nameOf(player), Machines::player);
    EXPECT_TRUE(done(sdk.setMachineMemory(own, 640)));
    EXPECT_TRUE(done(sdk.saveSettings(own)));
    EXPECT_TRUE(done(sdk.unlockMachine()));
    std::vector<VBoxHandle> machines;
    EXPECT_TRUE(done(sdk.listVms(&machines)));
}

} // namespace
} // namespace TravikTest
