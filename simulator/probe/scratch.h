#pragma once

#include <windows.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Probe {

/// The folder of one run below the user's temporary files. All machines and disks of the probe lie in it, so that what
/// the probe made can be told from everything else, also by the next start after a crash.
class Scratch
{
public:
    /// Makes a new one. Throws std::runtime_error when that fails, or when another probe of this user runs.
    Scratch();
    ~Scratch();
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    const std::filesystem::path& path() const { return path_; }

    /// Folders of runs that broke off.
    static std::vector<std::filesystem::path> leftovers();

private:
    HANDLE mutex_;
    std::filesystem::path path_;
};

/// Whether a file lies in a folder or below. As Windows compares: whatever the case.
bool liesIn(const std::filesystem::path& folder, const std::wstring& file);

/// Removes a folder with all it holds, without following a link out of it.
void removeFolder(const std::filesystem::path& folder);

/// What has to be set back, kept in the folder of the run until it is done.
void writeNote(const std::filesystem::path& folder, const std::wstring& machineFolder);
std::optional<std::wstring> readNote(const std::filesystem::path& folder);
void removeNote(const std::filesystem::path& folder);

} // namespace Probe
