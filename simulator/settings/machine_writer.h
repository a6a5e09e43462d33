#pragma once

#include "settings/machine_settings.h"
#include "settings/settings_version.h"

namespace VBoxSim {

/// Makes <Machine>, in a file of that version, say what the settings say. What it says already stays as it is written.
void writeMachine(Xml::Element* machine, SettingsVersion version, const MachineSettings& settings,
                  const std::wstring& folder);

/// Makes the groups those of the list. Files below 1.13 cannot have any.
void writeGroups(Xml::Element* machine, const std::vector<std::wstring>& groups);

} // namespace VBoxSim
