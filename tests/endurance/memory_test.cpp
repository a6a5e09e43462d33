// A million handles come and go while all tables are full and the log is open: the process does not grow.

#include <windows.h>
#include <gmock/gmock.h>
#include <psapi.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <vector>

#include "light_objects.h"
#include "scratch.h"
#include "selq6/vbox.h"

namespace TravikTest {
namespace {

using Travik::SdkErrorCode;
using Travik::VBoxHandle;

constexpr int bound = 2000;
constexpr int roundsPerSample = 4000;
constexpr int samples = 20; // 13 * 4000 * 20 = 1,040,000 handles
constexpr std::size_t allowedGrowth = 512 * 1024;

class OpenVBox : public Travik::VBox
{
public:
    OpenVBox()
    {
        virtualBox = new LightVirtualBox;
        session = new LightSession;
    }
    ~OpenVBox() { releaseRC(); }

    std::vector<std::size_t> sizes()
    {
        return {machineTable.size(),
                progressTable.size(),
                consoleTable.size(),
                eventSourceTable.size(),
                eventListenerTable.size(),
                eventTable.size(),
                stateChangedEventTable.size(),
                runtimeErrorEventTable.size(),
                audioAdapterTable.size(),
                natEngineTable.size(),
                networkAdapterTable.size(),
                hostTable.size(),
                mediumTable.size()};
    }
};

/// One new handle of each table.
struct Handles
{
    VBoxHandle machine = 0, progress = 0, console = 0, source = 0, listener = 0, event = 0, stateChanged = 0,
               runtimeError = 0, audio = 0, nat = 0, adapter = 0, host = 0, medium = 0;
};

SdkErrorCode take(Travik::VBoxInstanceImpl& box, Handles& handles)
{
    std::uint32_t failed = 0;
    failed |= box.findMachine(L"vm", &handles.machine);
    failed |= box.getHost(&handles.host);
    failed |= box.getConsole(&handles.console);
    failed |= box.powerDown(handles.console, &handles.progress);
    failed |= box.getEventSource(handles.console, &handles.source);
    failed |= box.eventSourceCreateListener(handles.source, &handles.listener);
    failed |= box.eventSourceGetEvent(handles.source, handles.listener, 0, &handles.event);
    failed |= box.getEventSourceStateChangedEvent(handles.event, &handles.stateChanged);
    failed |= box.getEventSourceRuntimeErrorEvent(handles.event, &handles.runtimeError);
    failed |= box.getAudioAdapter(handles.machine, &handles.audio);
    failed |= box.getNetworkAdapter(handles.machine, 0, &handles.adapter);
    failed |= box.getNATEngine(handles.adapter, &handles.nat);
    failed |= box.getCurrentMedium(handles.machine, L"SATA", 0, 0, &handles.medium);
    return static_cast<SdkErrorCode>(failed);
}

void giveBack(Travik::VBoxInstanceImpl& box, const Handles& handles)
{
    box.releaseMachine(handles.machine);
    box.releaseProgress(handles.progress);
    box.releaseConsole(handles.console);
    box.releaseEventSource(handles.source);
    box.releaseEventListener(handles.listener);
    box.releaseEvent(handles.event);
    box.releaseStateChangedEvent(handles.stateChanged);
    box.releaseRuntimeErrorEvent(handles.runtimeError);
    box.releaseAudioAdapter(handles.audio);
    box.releaseNATEngine(handles.nat);
    box.releaseNetworkAdapter(handles.adapter);
    box.releaseHost(handles.host);
    box.releaseMedium(handles.medium);
}

std::size_t pagefileUsage()
{
    PROCESS_MEMORY_COUNTERS counters = {};
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return counters.PagefileUsage;
}

std::size_t greatest(const std::vector<std::size_t>& numbers)
{
    return *std::max_element(numbers.begin(), numbers.end());
}

TEST(Memory, StaysFlatOverAMillionHandles)
{
    // The measure itself: it sees what is taken.
    const std::size_t before = pagefileUsage();
    std::vector<char> block(8 * 1024 * 1024, 'x');
    ASSERT_GE(pagefileUsage(), before + block.size() / 2) << "the measure shows nothing";
    std::vector<char>().swap(block);

    OpenVBox box;
    box.setLogPath((scratchFolder() / L"memory.log").wstring());
    Handles handles;
    for (int i = 0; i < bound + 1; ++i)
        ASSERT_EQ(take(box, handles), 0u);
    ASSERT_THAT(box.sizes(), testing::Each(bound + 1u)) << "not every table is at its bound";

    std::vector<std::size_t> usage;
    std::uint64_t count = 0;
    for (int sample = 0; sample < samples; ++sample) {
        for (int round = 0; round < roundsPerSample; ++round) {
            ASSERT_EQ(take(box, handles), 0u);
            giveBack(box, handles);
            count += 13;
        }
        ASSERT_LE(greatest(box.sizes()), bound + 1u);
        usage.push_back(pagefileUsage());
        box.setLogPath((scratchFolder() / (sample % 2 == 0 ? L"other.log" : L"memory.log")).wstring());
        std::filesystem::remove(scratchFolder() / (sample % 2 == 0 ? L"memory.log" : L"other.log"));
    }
    // The first sample has warmed everything up: the log's buffer, the heap's reserves.
    std::cout << count << " handles; bytes after each " << count / samples << ":";
    for (const std::size_t bytes : usage)
        std::cout << ' ' << bytes;
    std::cout << '\n';
    EXPECT_GE(count, 1'000'000u);
    EXPECT_LE(greatest(usage), usage.front() + allowedGrowth);
    EXPECT_LE(usage.back(), usage.front() + allowedGrowth);
    box.releaseRC();
    EXPECT_EQ(LightMachine::live + LightProgress::live + LightConsole::live + LightEventSource::live +
                  LightListener::live + LightEvent::live + LightStateChangedEvent::live + LightRuntimeErrorEvent::live +
                  LightAudioAdapter::live + LightNatEngine::live + LightNetworkAdapter::live + LightHost::live +
                  LightMedium::live,
              0);
    EXPECT_EQ(LightVirtualBox::live + LightSession::live, 0);
}

} // namespace
} // namespace TravikTest
