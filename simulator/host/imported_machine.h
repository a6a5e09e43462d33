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
    const std::map<std::wstring, MediumRecord>& disks; ///< by their target paths
};

/// Where a disk of the description goes in a machine with its settings file there.
std::wstring targetOf(const DescriptionEntry& disk, const std::wstring& settingsFile);

/// How an adapter of that NetworkAttachmentType is attached, in the words of descriptions.
std::wstring attachmentMode(std::uint32_t attachment);

/// Throws Failure(fileError) unless the description has names, an operating system, and one entry each for CPUs and
/// memory.
void checkEntries(const SystemDescription& description);

/// The value that the caller settled on; empty when there is none.
std::wstring settledValue(const SystemDescription& description, DescriptionType type);

/// The settings of the machine that a system becomes, for a settings file at that path. Throws Failure, with
/// VirtualBox's results, when a disk has no place or the description makes no machine.
MachineSettings settingsOf(const ImportedSystem& system, const std::wstring& file);

} // namespace VBoxSim
