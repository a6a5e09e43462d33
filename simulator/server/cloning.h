#pragma once

#include "server/progress.h"
#include "server/world.h"

#include <vector>

namespace VBoxSim {

/// IMachine::CloneTo, with the world's mutex held. `source` is what the calling object shows of the machine.
ProgressPtr cloneMachine(const MachinePtr& machine, const MachineSettings& source, const MachinePtr& target, ULONG mode,
                         const std::vector<LONG>& options);

} // namespace VBoxSim
