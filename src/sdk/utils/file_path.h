#pragma once

#include <string>

/// File helpers on top of POCO. Each logs its call and its answer. An empty path gives false or an empty text without
/// asking the file system. Failures of the file system leave as Poco::Exception.
namespace Travik::Utils {

/// Whether a file or folder exists.
bool checkFileExists(const std::wstring& path);

/// Copies a file or folder. False when the source is missing or the target exists: nothing is overwritten.
bool copyFileToPath(const std::wstring& from, const std::wstring& to);

/// Renames a file or folder. False when the source is missing or the target exists: nothing is overwritten.
bool renameFilePath(const std::wstring& from, const std::wstring& to);

/// Removes a file, or a folder with all it holds. True when it is gone; false when it never existed.
bool removeFilePath(const std::wstring& path);

/// The last component of a path without its last extension.
std::wstring getFileName(const std::wstring& path);

/// The folder that holds the file or folder of that path.
std::wstring getParentDirectoryPath(const std::wstring& path);

} // namespace Travik::Utils
