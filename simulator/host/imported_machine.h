#pragma once

#include <map>
#include <string>

#include "appliance/interpretation.h"
#include "appliance/ovf.h"
#include "settings/machine_settings.h"

namespace VBoxSim {

struct ImportOptions
{
    bool keepAllMacs = false;
    bool keepNatMacs = false;
    bool toVdi = false;
};

/// One system of an appliance as it is to be imported.
struct ImportedSystem
{
    const SystemDescription& description;
    const OvfSystem& system;
    const OvfDescriptor& ovf;
    const ImportOptions& options;
    const std::map<std::wstring, MediumRecord>& disks; ///< by the target paths that the description gives them
};

/// The value that the caller settled on; empty when there is none.
std::wstring settledValue(const SystemDescription& description, DescriptionType type);

/// The settings of the machine that a system becomes, for a settings file at that path. Throws Failure when a disk has
/// no place.
MachineSettings settingsOf(const ImportedSystem& system, const std::wstring& file);

} // namespace VBoxSim
