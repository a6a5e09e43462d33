#pragma once

#include "com/progress_object.h"
#include "host/world.h"

#include <string>
#include <vector>

/// Locks of machines and the life of their VM processes. All with the world's mutex held.
namespace VBoxSim {

/// IMachine::LockMachine.
void lockMachine(const MachinePtr& machine, const SessionPtr& session, std::uint32_t lockType);
/// ISession::UnlockMachine.
void unlockSession(const SessionPtr& session);
/// The client dropped the session object or died: a machine that it held for writing counts as aborted.
void dropSession(const SessionPtr& session);
/// Everything of a process that is no more.
void dropClient(DWORD process);
/// Takes the lock from everybody who holds it.
void endLock(MachineData& machine);

/// IMachine::LaunchVMProcess, "emergencystop" aside.
ProgressPtr launchMachine(const MachinePtr& machine, const SessionPtr& session, const std::wstring& frontEnd,
                          const std::vector<std::wstring>& environment);
ProgressPtr powerDown(const MachinePtr& machine);
void pauseMachine(MachineData& machine);
void resumeMachine(MachineData& machine);
/// The VM process ends without warning.
void crashMachine(MachineData& machine);
void raiseRuntimeError(MachineData& machine, bool fatal, const std::wstring& id, const std::wstring& message);

/// The name of a state as VirtualBox's texts have it.
std::wstring stateName(std::uint32_t machineState);
std::wstring sessionStateName(std::uint32_t sessionState);

} // namespace VBoxSim
