#pragma once

#include <optional>

namespace TravikTest {

/// Runs each selected test in a process of its own, one after the other, and returns the program's exit code; returns
/// nothing when this process is to run its tests itself, because only one is selected or TRAVIK_TEST_OWN_PROCESSES is
/// not set. To be called after InitGoogleTest.
///
/// Tests that start one server after the other need it: process numbers come round again after some hundreds of threads
/// under Wine, and a client's RPC then takes a new server for the one that it knew under that number, whose answer is
/// RPC_S_CALL_FAILED_DNE.
std::optional<int> runTestsInOwnProcesses();

} // namespace TravikTest
