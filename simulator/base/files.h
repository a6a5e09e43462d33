#pragma once

#include <string>
#include <string_view>
#include <vector>

/// Names of files and what is done with whole files. A path in a settings file can have either kind of slash.
namespace VBoxSim::Files {

bool exists(const std::wstring& path);
bool isFolder(const std::wstring& path);

/// Whether the path starts at a drive or a share.
bool isAbsolute(std::wstring_view path);

/// The path itself when absolute, else as seen from the folder; with backslashes and without "." and "..".
std::wstring resolve(std::wstring_view folder, std::wstring_view path);

/// The path as seen from the folder when it lies below it, else the path itself.
std::wstring relativeTo(std::wstring_view folder, std::wstring_view path);

std::wstring folderOf(std::wstring_view path);
std::wstring nameOf(std::wstring_view path);
/// The file name without its last suffix.
std::wstring stemOf(std::wstring_view path);
/// With its dot, in lower case.
std::wstring suffixOf(std::wstring_view path);
std::wstring join(std::wstring_view folder, std::wstring_view name);

/// Whether two paths name the same file, going by their text.
bool samePath(std::wstring_view left, std::wstring_view right);

/// Both throw Failure(fileError).
std::string read(const std::wstring& path);
void createFolder(const std::wstring& path);

/// Replaces the file in one step: whoever is interrupted leaves the old file or the new one. Makes the folder when it
/// is missing; keeps the old file under `previous` when that is not empty. Throws Failure(fileError).
void writeAtomically(const std::wstring& path, std::string_view content, const std::wstring& previous = {});

/// All three answer whether it worked; a missing file counts as removed.
bool remove(const std::wstring& path);
bool removeEmptyFolder(const std::wstring& path);
bool move(const std::wstring& from, const std::wstring& to);

/// The names in a folder; none when it cannot be read.
std::vector<std::wstring> list(const std::wstring& folder);

} // namespace VBoxSim::Files
