#pragma once

#include <map>
#include <string>

#include "settings/machine_settings.h"

namespace VBoxSim {

/// Takes the snapshots out of the settings.
void dropSnapshots(MachineSettings& settings);

/// Gives the snapshots of a copied machine identifiers of their own and the copied media.
void renameSnapshots(MachineSettings& settings, const std::map<std::wstring, std::wstring>& newMedia);

} // namespace VBoxSim
