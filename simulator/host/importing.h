#pragma once

#include <memory>
#include <string>
#include <vector>

#include "appliance/appliance.h"
#include "host/progress.h"

namespace VBoxSim {

class Host;

/// What an IAppliance and its descriptions share. Guarded by the host's mutex.
struct ApplianceData
{
    std::wstring path;
    std::shared_ptr<const Appliance> appliance; ///< null until it was read
    bool interpreted = false;
    Interpretation interpretation;
    std::vector<std::wstring> machines; ///< UUIDs of what was imported
    ProgressPtr running;                ///< what the appliance was last busy with
};
using AppliancePtr = std::shared_ptr<ApplianceData>;

// All with the host's mutex held.

/// IAppliance::Read.
ProgressPtr readAppliance(Host& host, const AppliancePtr& data, const std::wstring& file);
/// IAppliance::Disks: what the descriptor says of each disk, with tabs between. None before it was read.
std::vector<std::wstring> diskTexts(const ApplianceData& data);
/// IAppliance::Interpret.
void interpretAppliance(Host& host, ApplianceData& data);
/// IAppliance::ImportMachines.
ProgressPtr importAppliance(Host& host, const AppliancePtr& data, const std::vector<std::int32_t>& options);
/// IVirtualSystemDescription::SetFinalValues: one of each for each entry.
struct FinalValues
{
    std::vector<std::int32_t> enabled;
    std::vector<std::wstring> suggested;
    std::vector<std::wstring> extras;
};
void setFinalValues(std::vector<DescriptionEntry>& entries, const FinalValues& values);
/// Those of one system; throws Failure(accessDenied) when the appliance was read anew without it.
std::vector<DescriptionEntry>& entriesOf(ApplianceData& data, std::size_t system);

} // namespace VBoxSim
