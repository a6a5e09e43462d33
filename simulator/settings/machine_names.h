#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace VBoxSim {

/// Throws Failure(fileError) for a name that a settings file cannot take over.
void checkMachineName(std::wstring_view name);

/// The name of the file of a machine: what VirtualBox does not leave in such a name becomes '_', and the name of a
/// device gets one in front.
std::wstring safeMachineName(std::wstring_view name);

/// The flags of CreateMachine and ComposeMachineFilename: "forceOverwrite=1,UUID=...,directoryIncludesUUID=1".
struct CreateFlags
{
    bool forceOverwrite = false;
    bool folderWithUuid = false;
    std::wstring uuid; ///< empty when not given
};

/// Throws Failure(invalidArgument) for flags that do not exist.
CreateFlags parseCreateFlags(std::wstring_view flags);

} // namespace VBoxSim
