#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/xml.h"

namespace VBoxSim {

/// The version of a settings file, as the number behind "1.". What is newer than all known versions counts as one above
/// the newest, so that it is read with all rules of that.
using SettingsVersion = int;

constexpr SettingsVersion oldestReadVersion = 3;
constexpr SettingsVersion oldestWrittenVersion = 7;
constexpr SettingsVersion firstWithMedia = 11;
constexpr SettingsVersion firstWithGroups = 13;
constexpr SettingsVersion newestVersion = 18;
constexpr SettingsVersion futureVersion = newestVersion + 1;

/// Nothing for a text that is no version that VirtualBox reads.
std::optional<SettingsVersion> parseSettingsVersion(const std::string& text);

/// The elements that hold a machine's hardware: its own first, then those of its snapshots.
std::vector<Xml::Element*> allHardware(Xml::Element* machine);

/// The lists of storage controllers of a machine or of a snapshot: below it, and below its hardware.
std::vector<Xml::Element*> storageLists(Xml::Element* holder);

/// The lowest version that can hold what the machine uses.
SettingsVersion neededVersion(Xml::Element* machine, SettingsVersion version);

/// Gives the file another version: what absent attributes mean in the old one is written out where the new one would
/// take them for something else.
void changeVersion(Xml::Element* root, SettingsVersion from, SettingsVersion to);

} // namespace VBoxSim
