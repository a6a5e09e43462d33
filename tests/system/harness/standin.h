#pragma once

#include <filesystem>
#include <memory>

#include "child_process.h"

namespace TravikTest {

// The stand-in as an installed program: its registration and its server process.

/// Registers the stand-in of this build, unless it is registered already.
void registerStandIn();
void unregisterStandIn();

/// The running server's process; 0 when none runs.
DWORD serverProcess();

/// A server that stays until it is told to leave. COM finds it at once; it would wait a second for one that it has to
/// start itself under Wine.
std::unique_ptr<ChildProcess> startServer();

/// Ends a server that runs, whoever's it is, by its own control; true when none is left.
bool stopServer();

/// Ends the server as if it had crashed; none must be there afterwards.
void killServer();

/// Lets servers that are started from now on keep their world in this folder.
void setWorld(const std::filesystem::path& home);

/// How long servers that COM starts from now on stay after their last client.
void setLinger(milliseconds time);

} // namespace TravikTest
