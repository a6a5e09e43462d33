#pragma once

#include <string>
#include <vector>

#include "settings/machine_settings.h"

namespace VBoxSim {

/// Adds a rule; an empty name is made from the rule. Throws Failure(invalidArgument) for a clash of names or of host
/// ports, or for values that no rule can have.
void addRedirect(std::vector<NatRule>& rules, NatRule rule);

/// Returns the rule that it removed. Throws Failure(invalidArgument) for an unknown name.
NatRule removeRedirect(std::vector<NatRule>& rules, const std::wstring& name);

/// "name,protocol,host address,host port,guest address,guest port" of each rule, sorted by name.
std::vector<std::wstring> redirectTexts(const std::vector<NatRule>& rules);

} // namespace VBoxSim
