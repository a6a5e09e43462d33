#pragma once

#include <map>
#include <string>
#include <vector>

namespace VBoxSim {

/// VirtualBox.xml: which machines are registered, and the system properties that last.
struct GlobalSettings
{
    struct Machine
    {
        std::wstring id;
        std::wstring file; ///< full path
        /// Where the file is on its way to: a server that ends in the middle of a rename finds it again by this.
        std::wstring movesTo = {};
    };
    std::vector<Machine> machines;
    std::wstring defaultMachineFolder; ///< empty: VirtualBox's own default
    std::map<std::wstring, std::wstring> extraData;

    /// The text of the file it was read from; what this structure does not know survives in it.
    std::string source;
};

/// A missing file gives empty settings; a damaged one throws Failure. Paths in it may be relative to the home folder.
GlobalSettings loadGlobalSettings(const std::wstring& file);
/// The same from the text of a file that would lie at that path.
GlobalSettings parseGlobalSettings(std::string text, const std::wstring& file);
/// The text of the file as it will lie at that path. `settings.source` is what it is made from.
std::string renderGlobalSettings(const GlobalSettings& settings, const std::wstring& file);

} // namespace VBoxSim
