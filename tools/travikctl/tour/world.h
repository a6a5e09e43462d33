#pragma once

#include <filesystem>
#include <optional>
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

    /// The folders of tours whose process is no more.
    static std::vector<std::filesystem::path> leftovers();

private:
    std::filesystem::path path_;
};

// What has to be set back stands in the folder of the tour, for the next one after a crash.
void rememberMachineFolder(const std::filesystem::path& scratch, const std::wstring& machineFolder);
std::optional<std::wstring> rememberedMachineFolder(const std::filesystem::path& scratch);
void forgetMachineFolder(const std::filesystem::path& scratch);

/// The UUIDs of the machines whose settings files lie below a folder.
std::vector<std::wstring> machinesIn(const std::filesystem::path& folder);

/// Writes the appliance that this program carries: one machine, "harbour", with a disk (make_appliance.py).
void writeAppliance(const std::filesystem::path& file);
