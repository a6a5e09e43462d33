// A front end that leaves, in every way there is, with what it holds or without.

#include <cstdlib>
#include <stdexcept>
#include <string_view>
#include <tuple>

#include "harness/system_test.h"
#include "scratch.h"

namespace TravikTest {
namespace {

constexpr milliseconds fewSeconds(10'000);

/// Whatever a front end may hold while no machine runs.
void holdEverything(VBoxInstanceImpl& sdk)
{
    const auto machines = ask<std::vector<VBoxHandle>>(sdk, &VBoxInstanceImpl::listVms);
    VBoxHandle machine = 0;
    check(sdk, sdk.findMachine(Machines::player, &machine));
    check(sdk, sdk.lockMachine(machine, LockType::Write));
    VBoxHandle handle = 0;
    check(sdk, sdk.createMutableMachine(machine, &handle));
    VBoxHandle adapter = 0;
    check(sdk, sdk.getNetworkAdapter(handle, 0, &adapter));
    check(sdk, sdk.getNATEngine(adapter, &handle));
    check(sdk, sdk.getAudioAdapter(machine, &handle));
    check(sdk, sdk.getHost(&handle));
}

/// An object of each of the thirteen tables, of a machine that runs.
void holdOneOfEveryTable(VBoxInstanceImpl& sdk)
{
    const Deadline deadline{milliseconds(20'000)};
    VBoxHandle machine = 0;
    VBoxHandle progress = 0;
    check(sdk, sdk.findMachine(Machines::worker, &machine));
    check(sdk, sdk.launchVMProcess(machine, L"headless", {L""}, &progress));
    Details::waitFor(sdk, progress, deadline);
    VBoxHandle console = 0;
    VBoxHandle source = 0;
    VBoxHandle listener = 0;
    check(sdk, sdk.getConsole(&console));
    check(sdk, sdk.getEventSource(console, &source));
    check(sdk, sdk.eventSourceCreateListener(source, &listener));
    check(sdk, sdk.eventSourceRegisterListener(source, listener,
                                               {VBoxEventType::OnStateChanged, VBoxEventType::OnRuntimeError}, 0));
    Control().runtimeError(Machines::worker, true, L"id", L"pauses the machine first");
    VBoxHandle event = 0;
    VBoxHandle typed = 0;
    check(sdk, sdk.eventSourceGetEvent(source, listener, 5'000, &event));
    check(sdk, sdk.getEventSourceStateChangedEvent(event, &typed));
    check(sdk, sdk.eventSourceGetEvent(source, listener, 5'000, &event));
    check(sdk, sdk.getEventSourceRuntimeErrorEvent(event, &typed));
    VBoxHandle handle = 0;
    check(sdk, sdk.getNetworkAdapter(machine, 0, &handle));
    check(sdk, sdk.getNATEngine(handle, &handle));
    check(sdk, sdk.getAudioAdapter(machine, &handle));
    check(sdk, sdk.getHost(&handle));
    const std::filesystem::path disk = scratchFolder() / (std::to_wstring(GetCurrentProcessId()) + L".vdi");
    writeVdi(disk, L"5d1f4b1e-0000-4000-8000-000000000077");
    check(sdk, sdk.openMedium(disk.wstring(), true, &handle));
}

int leave(const RoleIo& io, Library& front)
{
    const std::wstring way = io.arguments[0];
    io.say(L"leaving");
    if (way == L"exit")
        std::exit(0);
    if (way == L"exception")
        throw std::runtime_error("nobody catches this");
    if (way == L"unload") {
        front.unload();
        io.say(L"unloaded");
    }
    return 0; // from main
}

const Role leaveUntouched(L"leave-untouched", [](const RoleIo& io) {
    Library front;
    return leave(io, front);
});

const Role leaveHolding(L"leave-holding", [](const RoleIo& io) {
    Library front;
    holdEverything(front.instance());
    return leave(io, front);
});

const Role leaveHoldingAll(L"leave-holding-all", [](const RoleIo& io) {
    Library front;
    holdOneOfEveryTable(front.instance());
    return leave(io, front);
});

const Role unloadAndStay(L"unload-and-stay", [](const RoleIo& io) {
    Library front;
    holdEverything(front.instance());
    io.say(L"holding");
    io.hear();
    front.unload();
    io.say(L"unloaded");
    io.hear();
    return 0;
});

const Role leaveReleased(L"leave-released", [](const RoleIo& io) {
    Library front;
    holdEverything(front.instance());
    check(front.instance(), front.instance().releaseRC());
    return leave(io, front);
});

class Leaving : public SystemTest
{
protected:
    void expectEnd(const std::wstring& role, const std::wstring& way)
    {
        FrontEndProcess frontEnd(role, {way});
        ASSERT_EQ(frontEnd.readLine(), L"leaving");
        const std::optional<DWORD> exitCode = frontEnd.wait(fewSeconds);
        ASSERT_TRUE(exitCode.has_value()) << utf8(role + L" by " + way) << " hangs";
        EXPECT_EQ(*exitCode == 0, way != L"exception");
        if (way == L"unload") {
            EXPECT_EQ(frontEnd.readLine(), L"unloaded");
        }
    }
};

// Of the four ways this one alone gives the handles back: COM still answers. In a process that is ending, by return,
// exit or exception, they are let go without a call, and the server takes them back when the process has gone; that
// nothing is called then is what LeavingWithLiveHandles of the unit tests shows.
TEST_F(Leaving, ByUnloadGivesTheHandlesBackWhileTheProcessLives)
{
    FrontEndProcess frontEnd(L"unload-and-stay");
    ASSERT_EQ(frontEnd.readLine(), L"holding");
    std::wstring listing;
    control().references(listing);
    EXPECT_NE(listing.find(L"IMachine"), std::wstring::npos) << utf8(listing);
    frontEnd.writeLine(L"unload");
    ASSERT_EQ(frontEnd.readLine(), L"unloaded");
    EXPECT_TRUE(soon([&] {
        control().references(listing);
        return listing.find(L"IMachine") == std::wstring::npos && listing.find(L"IHost") == std::wstring::npos;
    })) << "still held: "
        << utf8(listing);
    EXPECT_NE(listing.find(L"IVirtualBox"), std::wstring::npos)
        << "the root object is for releaseRC: " << utf8(listing);
    frontEnd.writeLine(L"leave");
    EXPECT_TRUE(frontEnd.wait(fewSeconds).has_value());
}

TEST_F(Leaving, WithoutHavingUsedVirtualBox)
{
    for (const wchar_t* way : {L"return", L"exit", L"exception", L"unload"})
        expectEnd(L"leave-untouched", way);
}

TEST_F(Leaving, AfterReleasingEverything)
{
    for (const wchar_t* way : {L"return", L"exit", L"exception", L"unload"})
        expectEnd(L"leave-released", way);
}

// What a front end held when it left is taken back, and its lock is free.
TEST_F(Leaving, LeavesTheMachineToOthers)
{
    const VBoxHandle machine = find(Machines::player);
    expectEnd(L"leave-holding", L"exit");
    const VBoxHandle mutableMachine = lockForWriting(machine);
    EXPECT_TRUE(done(sdk.setMachineMemory(mutableMachine, 512)));
    EXPECT_TRUE(done(sdk.unlockMachine()));
}

/// What the front end holds, and the way it takes.
class LeavingHolding : public Leaving, public testing::WithParamInterface<std::tuple<const wchar_t*, const wchar_t*>>
{};

TEST_P(LeavingHolding, EndsInTime)
{
    const auto& [role, way] = GetParam();
    expectEnd(role, way);
}

INSTANTIATE_TEST_SUITE_P(All, LeavingHolding,
                         testing::Combine(testing::Values(L"leave-holding", L"leave-holding-all"),
                                          testing::Values(L"return", L"exit", L"exception", L"unload")),
                         [](const auto& test) {
                             return std::string(std::get<0>(test.param) == std::wstring_view(L"leave-holding-all")
                                                    ? "OneObjectOfEveryTableBy"
                                                    : "SomeObjectsBy") +
                                    utf8(std::get<1>(test.param));
                         });

class LeavingServer : public Leaving
{
protected:
    bool serverWaits() const override { return false; }

    /// Longer than the second that Wine takes to look again for a server that it has started.
    static constexpr milliseconds linger{2'500};
};

TEST_F(LeavingServer, FollowsItsLastClient)
{
    setLinger(linger);
    EXPECT_EQ(nameOf(find(Machines::player)), Machines::player);
    ASSERT_NE(serverProcess(), 0u);
    sdk.releaseRC();
    EXPECT_TRUE(soon([] { return serverProcess() == 0; }, milliseconds(30'000)));
}

TEST_F(LeavingServer, FollowsAClientThatVanished)
{
    setLinger(linger);
    {
        FrontEndProcess frontEnd(L"leave-holding", {L"exit"});
        ASSERT_EQ(frontEnd.readLine(), L"leaving");
        ASSERT_TRUE(frontEnd.wait(fewSeconds).has_value());
    }
    EXPECT_TRUE(soon([] { return serverProcess() == 0; }, milliseconds(30'000)));
}

TEST_F(LeavingServer, StaysAsLongAsAMachineRuns)
{
    setLinger(linger);
    FrontEndProcess(L"launch", {Machines::player}).readLine(); // and is ended
    const DWORD server = serverProcess();
    ASSERT_NE(server, 0u);
    Sleep(static_cast<DWORD>((2 * linger).count()));
    EXPECT_EQ(serverProcess(), server);

    const VBoxHandle machine = find(Machines::player);
    EXPECT_EQ(stateOf(machine), MachineState::Running);
    VBoxHandle console = 0;
    ASSERT_TRUE(done(sdk.lockMachine(machine, LockType::Shared)));
    ASSERT_TRUE(done(sdk.getConsole(&console)));
    EXPECT_TRUE(done(sdk.powerDown(console, nullptr)));
    EXPECT_TRUE(soon([&] { return stateOf(machine) == MachineState::PoweredOff; }));
    sdk.releaseRC();
    EXPECT_TRUE(soon([] { return serverProcess() == 0; }, milliseconds(30'000)));
}

} // namespace
} // namespace TravikTest
