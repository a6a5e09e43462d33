#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace VBoxSim {

class FaultTable;

/// What a test can set before or during a run, beside the faults of single calls.
struct Scenario
{
    /// Milliseconds.
    struct Times
    {
        std::uint32_t spawn = 100;         ///< from LaunchVMProcess to the lock of the VM process
        std::uint32_t start = 200;         ///< Starting or Restoring
        std::uint32_t stop = 100;          ///< Stopping
        std::uint32_t holdLock = 100;      ///< from PoweredOff to the end of the lock
        std::uint32_t unlock = 0;          ///< from UnlockMachine to the end of the lock
        std::uint32_t copyPerMegabyte = 0; ///< extra time of copying disks
        std::uint32_t consent = 3000;      ///< that listeners have to veto a change before it is made
    };
    Times times;

    /// How the start of a machine fails inside the VM.
    struct LaunchFailure
    {
        std::int32_t result;
        std::wstring text;
    };
    std::map<std::wstring, LaunchFailure> launchFailures; ///< by machine name or UUID

    std::wstring version = L"6.1.50";
    std::map<std::uint32_t, bool> processorFeatures; ///< instead of the host's own
};

/// Reads a scenario; faults go into the table. Throws Failure(invalidArgument) with the reason.
void applyScenario(const std::wstring& json, Scenario& scenario, FaultTable& faults);

} // namespace VBoxSim
