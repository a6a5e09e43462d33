// Owners: every kind gives its handle back through its own operation, once.

#include <gtest/gtest.h>

#include "fake_vbox.h"

using namespace Travik;

static_assert(!std::is_copy_constructible_v<ScopedMachine> && !std::is_copy_assignable_v<ScopedMachine>, "one owner");
static_assert(std::is_nothrow_move_constructible_v<ScopedMachine>, "fit for containers");
static_assert(!std::is_convertible_v<ScopedMachine, ScopedMedium>, "kinds do not mix");
static_assert(!std::is_convertible_v<ScopedMachine, VBoxHandle>, "nor by way of their numbers");
static_assert(!std::is_convertible_v<VBoxHandle, ScopedMachine>, "and a number has no kind");

namespace {

template <class Owner>
std::string releaseOf()
{
    FakeVBox vbox;
    {
        Owner owner(vbox, 7);
    }
    return vbox.calls.size() == 1 ? vbox.calls.front() : "not once";
}

} // namespace

TEST(Owner, ofEachKindUsesItsOwnRelease)
{
    EXPECT_EQ(releaseOf<ScopedMachine>(), "releaseMachine(7)");
    EXPECT_EQ(releaseOf<ScopedProgress>(), "releaseProgress(7)");
    EXPECT_EQ(releaseOf<ScopedConsole>(), "releaseConsole(7)");
    EXPECT_EQ(releaseOf<ScopedEventSource>(), "releaseEventSource(7)");
    EXPECT_EQ(releaseOf<ScopedEventListener>(), "releaseEventListener(7)");
    EXPECT_EQ(releaseOf<ScopedEvent>(), "releaseEvent(7)");
    EXPECT_EQ(releaseOf<ScopedStateChangedEvent>(), "releaseStateChangedEvent(7)");
    EXPECT_EQ(releaseOf<ScopedRuntimeErrorEvent>(), "releaseRuntimeErrorEvent(7)");
    EXPECT_EQ(releaseOf<ScopedAudioAdapter>(), "releaseAudioAdapter(7)");
    EXPECT_EQ(releaseOf<ScopedNATEngine>(), "releaseNATEngine(7)");
    EXPECT_EQ(releaseOf<ScopedNetworkAdapter>(), "releaseNetworkAdapter(7)");
    EXPECT_EQ(releaseOf<ScopedHost>(), "releaseHost(7)");
    EXPECT_EQ(releaseOf<ScopedMedium>(), "releaseMedium(7)");
}

TEST(Owner, withoutAHandleGivesNothingBack)
{
    FakeVBox vbox;
    {
        ScopedMachine none;
        ScopedMachine zero(vbox);
        none.reset();
    }
    EXPECT_TRUE(vbox.calls.empty());
}

TEST(Owner, movesItsHandle)
{
    FakeVBox vbox;
    {
        ScopedMachine first(vbox, 7);
        ScopedMachine second(std::move(first));
        EXPECT_EQ(first.get(), 0u);
        EXPECT_EQ(second.get(), 7u);
        ScopedMachine third(vbox, 8);
        third = std::move(second);
        EXPECT_EQ(vbox.calls, std::vector<std::string>{"releaseMachine(8)"});
        EXPECT_EQ(third.get(), 7u);
        ScopedMachine& same = third;
        third = std::move(same);
        EXPECT_EQ(third.get(), 7u);
    }
    EXPECT_EQ(vbox.calls, (std::vector<std::string>{"releaseMachine(8)", "releaseMachine(7)"}));
}

TEST(Owner, takesANewHandleAndLetsGo)
{
    FakeVBox vbox;
    ScopedMachine machine(vbox, 7);
    EXPECT_EQ(vbox.findMachine(L"x", machine.put()), 0u);
    EXPECT_EQ(vbox.calls, (std::vector<std::string>{"releaseMachine(7)", "findMachine(x)"}));
    const VBoxHandle handle = machine.get();
    EXPECT_EQ(machine.detach(), handle);
    machine.reset();
    EXPECT_EQ(vbox.count("releaseMachine"), 1);
}

TEST(Ask, returnsOwnersAndValues)
{
    FakeVBox vbox;
    vbox.texts["getVmName"] = {L"harbour"};
    vbox.numbers["machineGetState"] = {MachineState::Paused};
    {
        const auto machine = ask<ScopedMachine>(vbox, &VBoxInstanceImpl::findMachine, L"harbour");
        EXPECT_EQ(ask<std::wstring>(vbox, &VBoxInstanceImpl::getVmName, machine.get()), L"harbour");
        EXPECT_EQ(ask<std::uint32_t>(vbox, &VBoxInstanceImpl::machineGetState, machine.get()), MachineState::Paused);
        EXPECT_EQ(vbox.live.size(), 1u);
    }
    EXPECT_TRUE(vbox.live.empty());
}

TEST(Ask, throwsAndOwnsNothing)
{
    FakeVBox vbox;
    vbox.fail("openMachine", OpenMachineFail, Result::FileError);
    EXPECT_THROW(static_cast<void>(Operations(vbox).openMachine(L"x.vbox")), SdkError);
    EXPECT_EQ(vbox.calls, std::vector<std::string>{"openMachine(x.vbox)"});
}

TEST(ListMachines, marksAnInaccessibleOne)
{
    FakeVBox vbox;
    vbox.listed = {1, 2, 3};
    vbox.live = {1, 2, 3};
    vbox.texts["getVmUUID"] = {L"u1", L"u2", L"u3"};
    vbox.texts["getVmName"] = {L"one", L"three"};
    vbox.numbers["machineGetState"] = {MachineState::PoweredOff, MachineState::Running};
    vbox.succeed("getVmName");
    vbox.fail("getVmName", PutNameFail, Result::AccessDenied);
    {
        const std::vector<MachineEntry> entries = listMachines(vbox);
        ASSERT_EQ(entries.size(), 3u);
        EXPECT_EQ(entries[0].name, L"one");
        EXPECT_EQ(entries[0].state, State::PoweredOff);
        EXPECT_TRUE(entries[0].accessible);
        EXPECT_EQ(entries[1].uuid, L"u2");
        EXPECT_FALSE(entries[1].accessible);
        EXPECT_EQ(entries[1].problem.substr(0, 20), L"vbox sdk failure in ");
        EXPECT_EQ(entries[2].name, L"three");
        EXPECT_EQ(entries[2].state, State::Running);
        EXPECT_EQ(entries[2].machine.get(), 3u);
    }
    EXPECT_TRUE(vbox.live.empty());
}

TEST(ListMachines, endsWhenTheServerIsGone)
{
    FakeVBox vbox;
    vbox.listed = {1, 2};
    vbox.live = {1, 2};
    vbox.fail("getVmUUID", PutNameFail, Result::RpcServerUnavailable);
    vbox.fail("getHost", GetHostFail, Result::RpcServerUnavailable);
    EXPECT_THROW(static_cast<void>(listMachines(vbox)), ServerGone);
    EXPECT_TRUE(vbox.live.empty());

    vbox.fail("listVms", 210, Result::Fail);
    EXPECT_THROW(static_cast<void>(listMachines(vbox)), SdkError);
}
