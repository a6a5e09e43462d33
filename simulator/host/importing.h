#pragma once

#include "com/progress_object.h"

#include "appliance/appliance.h"

#include <memory>
#include <string>
#include <vector>

namespace VBoxSim {

/// What an IAppliance object and its descriptions share. Guarded by the world's mutex.
struct ApplianceData
{
    std::wstring path;
    std::shared_ptr<const Appliance> appliance; ///< null until it was read
    bool interpreted = false;
    Interpretation interpretation;
    std::vector<std::wstring> machines; ///< UUIDs of what was imported
};
using AppliancePtr = std::shared_ptr<ApplianceData>;

// All with the world's mutex held.

/// IAppliance::Read.
ProgressPtr readAppliance(const AppliancePtr& data, const std::wstring& file);
/// IAppliance::Interpret.
void interpretAppliance(ApplianceData& data);
/// IAppliance::ImportMachines.
ProgressPtr importAppliance(const AppliancePtr& data, const std::vector<LONG>& options);

} // namespace VBoxSim
