#pragma once

#include "system_test.h"

namespace TravikTest {

/// A test that starts machines. Those that still run at its end go with the server.
class RunningMachineTest : public SystemTest
{
protected:
    /// Starts a machine by the library's session and waits until it runs.
    void launch(const std::wstring& name)
    {
        VBoxHandle progress = 0;
        const VBoxHandle machine = find(name);
        retryWhileLocked(sdk, Deadline(milliseconds(10'000)),
                         [&] { return sdk.launchVMProcess(machine, L"headless", {L""}, &progress); });
        Details::waitFor(sdk, progress, Deadline(milliseconds(20'000)));
    }

    VBoxHandle consoleOf()
    {
        VBoxHandle console = 0;
        check(sdk, sdk.getConsole(&console));
        return console;
    }

    std::uint32_t consoleState(VBoxHandle console)
    {
        return ask<std::uint32_t>(sdk, &VBoxInstanceImpl::consoleGetState, console);
    }

    void powerDown(VBoxHandle console)
    {
        VBoxHandle progress = 0;
        check(sdk, sdk.powerDown(console, &progress));
        Details::waitFor(sdk, progress, Deadline(milliseconds(20'000)));
    }
};

} // namespace TravikTest
