#pragma once

#include "settings/machine_settings.h"
#include "settings/settings_version.h"

namespace VBoxSim {

// What reading and writing share: the meaning of single elements.

/// A part of the file that makes no sense: E_FAIL with the line.
[[noreturn]] void refuseElement(const Xml::Element* element, const std::wstring& what);

bool defaultCable(SettingsVersion version);
std::uint32_t defaultAdapterType(SettingsVersion version);
std::uint32_t defaultParavirt(SettingsVersion version);
/// What a machine has whose file has no, or an empty, <AudioAdapter>.
AudioSettings defaultAudio(SettingsVersion version);
std::uint32_t defaultCodec(std::uint32_t controller);

/// Places that <Boot> does not name are empty; without <Boot> the order is VirtualBox's usual one.
BootOrder readBootOrder(const Xml::Element* boot);

/// The driver that the machine gets here for a name in the file: one for another system is replaced by this one's own.
/// Throws Failure for an unknown name.
std::uint32_t audioDriver(std::wstring_view name);

/// The element of the attached mode, or null: its name tells the mode.
Xml::Element* attachedMode(Xml::Element* adapter);
std::uint32_t attachmentOf(const Xml::Element* mode);
/// The adapter's NAT settings, in use or kept for later; null when there are none.
Xml::Element* natElement(Xml::Element* adapter);

/// The name that a controller has: some were called otherwise in old files.
std::wstring controllerName(const Xml::Element* controller, SettingsVersion version);

/// The kind of device; nothing for an entry that is passed over.
std::optional<std::uint32_t> deviceType(const Xml::Element* device, SettingsVersion version);

std::wstring uuidOf(const Xml::Element* element);

/// The machine's aborted mark: whatever truth value stands there sets it.
bool isAborted(const Xml::Element* machine);

/// Reads <Machine>.
void readMachine(Xml::Element* machine, SettingsVersion version, const std::wstring& folder, MachineSettings& settings);

} // namespace VBoxSim
