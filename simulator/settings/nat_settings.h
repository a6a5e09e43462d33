#pragma once

#include "base/xml.h"
#include "settings/machine_settings.h"

namespace VBoxSim {

/// Reads <NAT>, port forwarding aside; without an element everything is as VirtualBox has it by default.
NatSettings readNat(const Xml::Element* nat);
/// Writes what deviates from that.
void writeNat(Xml::Element* nat, const NatSettings& settings);

} // namespace VBoxSim
