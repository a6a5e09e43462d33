#pragma once

#include "host/machine_view.h"

namespace VBoxSim {

/// IMachine::MountMedium, and with no medium IMachine::UnmountMedium: changes what lies in a drive, also of a running
/// machine. With the host's mutex held.
void mountMedium(const MachineView& machine, const MachineView::Slot& slot, const MediumPtr& medium);

} // namespace VBoxSim
