// The server goes away: between calls, inside calls, with what clients hold, and comes back.

#include "harness/system_test.h"

namespace TravikTest {
namespace {

class ServerDeath : public SystemTest
{};

TEST_F(ServerDeath, BetweenCallsEveryHandleAnswersWithItsOwnCode)
{
    const VBoxHandle machine = find(Machines::player);
    crashServer();

    std::wstring text = L"as it was";
    std::uint32_t number = 77;
    VBoxHandle handle = 77;
    std::vector<VBoxHandle> machines;
    EXPECT_TRUE(refused(sdk.findMachine(Machines::player, &handle), FindMachineFail, Result::RpcServerUnavailable));
    EXPECT_EQ(withoutLine(sdk.getVBoxErrorMessage()),
              L"vbox sdk failure in Travik::VBox::findMachine(Player): with rc=0x800706ba "
              L"rcDesc=RPCServerUnavailable errorDesc=FindMachineFail");
    EXPECT_TRUE(refused(sdk.getVmName(machine, &text), PutNameFail, Result::RpcServerUnavailable));
    EXPECT_TRUE(refused(sdk.getVmUUID(machine, &text), PutNameFail, Result::RpcServerUnavailable));
    EXPECT_TRUE(refused(sdk.machineGetState(machine, &number), MachineGetStateFail, Result::RpcServerUnavailable));
    EXPECT_TRUE(refused(sdk.openMachine(L"C:\\vm1.vbox", &handle), OpenMachineFail, Result::RpcServerUnavailable));
    EXPECT_TRUE(refused(sdk.registerMachine(machine), RegisterMachineFail, Result::RpcServerUnavailable));
    EXPECT_TRUE(refused(sdk.saveSettings(machine), SaveSettingsFail, Result::RpcServerUnavailable));
    EXPECT_TRUE(refused(sdk.lockMachine(machine, LockType::Write), LockMachineFail, Result::RpcServerUnavailable));
    EXPECT_EQ(sdk.listVms(&machines), 210u);
    EXPECT_EQ(sdk.getVBoxError(), Result::RpcServerUnavailable);
    EXPECT_TRUE(sdk.getVBoxErrorMessage().ends_with(L" errorDesc=Unknow"));
    EXPECT_EQ(text, L"as it was");
    EXPECT_EQ(number, 77u);
    EXPECT_EQ(handle, 77u);
    EXPECT_TRUE(machines.empty());
}

TEST_F(ServerDeath, InsideACallIsRecordedAndTheNextCallFindsNobody)
{
    const VBoxHandle machine = find(Machines::player);
    control().dieIn(L"IMachine::get_Name");
    std::wstring name = L"as it was";
    EXPECT_TRUE(refused(sdk.getVmName(machine, &name), PutNameFail, Result::RpcCallFailed));
    EXPECT_EQ(withoutLine(sdk.getVBoxErrorMessage()),
              L"vbox sdk failure in Travik::VBox::getVmName(" + std::to_wstring(machine) +
                  L"): with rc=0x800706be rcDesc=RPCCallFailed errorDesc=PutNameFail");
    EXPECT_EQ(name, L"as it was");
    awaitServerDeath();
    EXPECT_TRUE(refused(sdk.getVmName(machine, &name), PutNameFail, Result::RpcServerUnavailable));
}

TEST_F(ServerDeath, InsideACallOfTheRootObject)
{
    EXPECT_TRUE(done(sdk.initComComponent()));
    control().dieIn(L"IVirtualBox::FindMachine");
    VBoxHandle machine = 77;
    EXPECT_TRUE(refused(sdk.findMachine(Machines::player, &machine), FindMachineFail, Result::RpcCallFailed));
    awaitServerDeath();
    EXPECT_EQ(machine, 77u);
    std::vector<VBoxHandle> machines;
    EXPECT_EQ(sdk.listVms(&machines), 210u);
    EXPECT_EQ(sdk.getVBoxError(), Result::RpcServerUnavailable);
}

TEST_F(ServerDeath, WhatTheLibraryHoldsIsReleasedWithoutHanging)
{
    std::vector<VBoxHandle> machines;
    for (int i = 0; i < 20; ++i)
        check(sdk, sdk.listVms(&machines));
    crashServer();
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(done(sdk.releaseRC()));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}

TEST_F(ServerDeath, AFrontEndThatHoldsDeadObjectsLeaves)
{
    FrontEndProcess frontEnd(L"hold-a-machine-and-leave");
    ASSERT_EQ(frontEnd.readLine(), L"holding");
    crashServer();
    frontEnd.writeLine(L"leave");
    EXPECT_EQ(frontEnd.wait(milliseconds(15'000)), 0u);
}

const Role holdAMachineAndLeave(L"hold-a-machine-and-leave", [](const RoleIo& io) {
    VBoxInstanceImpl& sdk = library();
    VBoxHandle machine = 0;
    check(sdk, sdk.findMachine(Machines::player, &machine));
    io.say(L"holding");
    io.hear();
    return 0;
});

class ServerRestart : public SystemTest
{
protected:
    // A dead server is replaced by COM itself.
    bool serverWaits() const override { return false; }
};

TEST_F(ServerRestart, ResetFindsTheNewServerAndForgetsAllHandles)
{
    const VBoxHandle before = find(Machines::player);
    const DWORD firstServer = serverProcess();
    crashServer();
    EXPECT_EQ(sdk.findMachine(Machines::player, nullptr), FindMachineFail);

    EXPECT_EQ(sdk.resetComComponent(), 0u);
    EXPECT_TRUE(done(sdk.findMachine(Machines::player, nullptr)));
    EXPECT_EQ(sdk.getVBoxError(), 0u);
    EXPECT_NE(serverProcess(), firstServer);
    std::wstring name;
    EXPECT_TRUE(failedUnasked(sdk.getVmName(before, &name), COM_Get_MachineFail));
    const VBoxHandle after = find(Machines::player);
    EXPECT_GT(after, before);
    EXPECT_EQ(nameOf(after), Machines::player);
}

TEST_F(ServerRestart, TwoResetsInARow)
{
    find(Machines::player);
    crashServer();
    EXPECT_EQ(sdk.resetComComponent(), 0u);
    EXPECT_EQ(sdk.resetComComponent(), 0u);
    EXPECT_EQ(nameOf(find(Machines::player)), Machines::player);
}

TEST_F(ServerRestart, ReleaseThenTheNextOperationStartsIt)
{
    find(Machines::player);
    crashServer();
    EXPECT_EQ(sdk.releaseRC(), 0u);
    EXPECT_EQ(nameOf(find(Machines::worker)), Machines::worker);
}

} // namespace
} // namespace TravikTest
