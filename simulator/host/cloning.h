#pragma once

#include <vector>

#include "host/machine_view.h"
#include "host/progress.h"

namespace VBoxSim {

/// IMachine::CloneTo, with the host's mutex held: clones what the source shows.
ProgressPtr cloneMachine(const MachineView& source, const MachineView& target, std::uint32_t mode,
                         const std::vector<std::int32_t>& options);

} // namespace VBoxSim
