// Lives of machines, one after the other: what they took is given back, by the server and by the client.

#include <windows.h>
#include <psapi.h>

#include <cstdio>

#include "harness/running_machine.h"

namespace TravikTest {
namespace {

/// What a process has taken from the system and not given back, in bytes.
std::size_t memoryOf(DWORD process)
{
    PROCESS_MEMORY_COUNTERS counters = {};
    const HANDLE opened = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION | PROCESS_VM_READ, FALSE, process);
    GetProcessMemoryInfo(opened, &counters, sizeof counters);
    CloseHandle(opened);
    return counters.PagefileUsage;
}

class Lives : public RunningMachineTest
{
protected:
    void furnish() override {}

    /// A machine is made, registered, started, listened to, powered off and deleted.
    void live()
    {
        const wchar_t* const name = L"Life";
        VBoxHandle machine = 0, console = 0, source = 0, listener = 0, event = 0, progress = 0;
        check(sdk, sdk.createMachine(L"", name, &machine));
        check(sdk, sdk.registerMachine(machine));
        check(sdk, sdk.launchVMProcess(machine, L"headless", {L""}, &progress));
        Details::waitFor(sdk, progress, Deadline(milliseconds(20'000)));
        check(sdk, sdk.getConsole(&console));
        check(sdk, sdk.getEventSource(console, &source));
        check(sdk, sdk.eventSourceCreateListener(source, &listener));
        check(sdk, sdk.eventSourceRegisterListener(source, listener, {VBoxEventType::OnStateChanged}, 0));
        VBoxHandle down = 0;
        check(sdk, sdk.powerDown(console, &down));
        sdk.eventSourceGetEvent(source, listener, 5'000, &event); // lost when the machine's process is gone by then
        Details::waitFor(sdk, down, Deadline(milliseconds(20'000)));
        retryWhileLocked(sdk, Deadline(milliseconds(10'000)), [&] { return sdk.deleteMachine(machine); });
        sdk.eventSourceReleaseEvent(event);
        sdk.releaseEventListener(listener);
        sdk.releaseEventSource(source);
        sdk.releaseConsole(console);
        sdk.releaseProgress(down);
        sdk.releaseProgress(progress);
        sdk.releaseMachine(machine);
    }
};

/// Bytes for each life. Ours keep nothing (TaskTest.ManyLivesLeaveNothing). Under Wine COM keeps 2,056 bytes of a stub
/// for an interface that derives from IDispatch, as all of VirtualBox's do; the client's heap grows by a megabyte at a
/// time.
constexpr double mostGrowth = 4096;

TEST_F(Lives, AThousandOfThemStayWithinTheirBound)
{
    control().scenario(LR"({"times": {"spawn": 0, "start": 0, "stop": 0, "holdLock": 0}})");
    const DWORD server = serverProcess();
    std::size_t serverBefore = 0, clientBefore = 0;
    constexpr int lives = 1000, settled = 200;
    for (int count = 0; count <= lives; ++count) {
        if (count % 100 == 0)
            std::printf("after %d lives: server %zu, client %zu bytes\n", count, memoryOf(server),
                        memoryOf(GetCurrentProcessId()));
        if (count == settled) {
            serverBefore = memoryOf(server);
            clientBefore = memoryOf(GetCurrentProcessId());
        }
        ASSERT_NO_FATAL_FAILURE(live());
    }
    const auto grown = [&](DWORD process, std::size_t before) {
        return (static_cast<double>(memoryOf(process)) - static_cast<double>(before)) / (lives - settled);
    };
    EXPECT_LT(grown(server, serverBefore), mostGrowth) << "bytes of the server for each life";
    EXPECT_LT(grown(GetCurrentProcessId(), clientBefore), mostGrowth) << "bytes of the client for each life";
}

} // namespace
} // namespace TravikTest
