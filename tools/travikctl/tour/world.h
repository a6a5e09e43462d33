#pragma once

#include <filesystem>
#include <string>
#include <vector>

/// What the tour needs around the library: the stand-in's control program, a folder of its own, an appliance to import.

/// Runs vboxsim, which lies beside this program, and returns what it printed. Throws CommandError when it is not there
/// or fails.
std::string runVBoxSim(const std::vector<std::wstring>& arguments);

/// A new empty folder among the user's temporary files, removed with all it holds at the end.
class ScratchFolder
{
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

/// Writes the appliance that this program carries: one machine, "harbour", with a disk (make_appliance.py).
void writeAppliance(const std::filesystem::path& file);
