#pragma once

#include <string>
#include <vector>

#include "host/machine.h"

/// Locks of machines and the life of their VM processes. All with the host's mutex held.
namespace VBoxSim {

class Host;

/// IMachine::LockMachine.
void lockMachine(Host& host, const MachinePtr& machine, const SessionPtr& session, std::uint32_t lockType);
/// ISession::UnlockMachine.
void unlockSession(Host& host, const SessionPtr& session);
/// What a session held when its client dropped it or died.
void abandonSession(Host& host, const SessionPtr& session);
/// Takes the lock from everybody who holds it; does nothing to a machine without one.
void endLock(Host& host, Machine& machine);

struct LaunchRequest
{
    std::wstring frontEnd;
    std::vector<std::wstring> environment;
};
/// IMachine::LaunchVMProcess, "emergencystop" aside.
ProgressPtr launchMachine(Host& host, const MachinePtr& machine, const SessionPtr& session,
                          const LaunchRequest& request);
/// IConsole::PowerDown.
ProgressPtr powerDown(Host& host, const MachinePtr& machine);
/// IMachine::SaveState; the machine's process ends with it.
ProgressPtr saveState(Host& host, const MachinePtr& machine);
/// IMachine::DiscardSavedState of a locked machine.
void discardSavedState(Host& host, Machine& machine, bool removeFile);
/// IMachine::AdoptSavedState of a locked machine. The file is neither checked nor copied.
void adoptSavedState(Host& host, Machine& machine, const std::wstring& file);
/// What has no effect without a guest, but is refused where VirtualBox refuses it: a reset, a button.
void requireRunning(const Machine& machine);
void pauseMachine(Host& host, Machine& machine);
void resumeMachine(Host& host, Machine& machine);
/// The VM process ends without warning.
void crashMachine(Host& host, Machine& machine);

struct RuntimeError
{
    bool fatal = false;
    std::wstring id;
    std::wstring message;
};
void raiseRuntimeError(Host& host, Machine& machine, const RuntimeError& error);

} // namespace VBoxSim
