#pragma once

#include "com/progress_object.h"
#include "host/world.h"

#include <vector>

namespace VBoxSim {

/// IMachine::CloneTo, with the world's mutex held. `source` is what the calling object shows of the machine.
ProgressPtr cloneMachine(const MachinePtr& machine, const MachineSettings& source, const MachinePtr& target, ULONG mode,
                         const std::vector<LONG>& options);

} // namespace VBoxSim
