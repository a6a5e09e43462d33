#pragma once

#include <vector>

#include "host/machine_view.h"
#include "host/medium.h"

/// The end of a machine. All with the host's mutex held.
namespace VBoxSim {

class Host;

/// IMachine::Unregister: the media that the mode hands back, children before their parents.
std::vector<MediumPtr> unregisterMachine(Host& host, const MachinePtr& machine, std::uint32_t mode);

/// IMachine::DeleteConfig.
ProgressPtr deleteMachine(const MachineView& machine, const std::vector<MediumPtr>& media);

} // namespace VBoxSim
