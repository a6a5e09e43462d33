#pragma once

#include <string>

namespace VBoxSim {

/// Whether a name from an archive or a descriptor tries to leave its folder: "..", an absolute path, a drive letter.
bool leavesFolder(const std::string& name);

/// The name without any "./" at its beginning.
std::string withoutLeadingDot(std::string name);

/// Whether the system takes a file of that name, with any suffix, for a device: "CON", "nul.vdi", "Com1".
bool isDevice(const std::wstring& name);

/// Whether the system's file calls would take the name as that very file in its folder: one component, no forbidden
/// character, no stream, no device, no blank or dot at the end.
bool isPlainFileName(const std::wstring& name);

/// A file name made of the last component of a name from elsewhere, changed so far that isPlainFileName() holds.
/// `fallback` is used when nothing is left.
std::wstring safeFileName(const std::string& name, const std::wstring& fallback);

} // namespace VBoxSim
