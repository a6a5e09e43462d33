#pragma once

#include <string>

namespace VBoxSim {

/// What the registry knows about the classes that the stand-in takes over.
enum class Registered
{
    Nothing,
    StandIn,
    Foreign ///< another server, which `registerStandIn` replaces only when forced
};
Registered registered();

/// What carries the calls of VirtualBox's interfaces between processes.
enum class Marshaller
{
    Own,       ///< the stand-in's proxies
    Automation ///< the system's, by the type library; under Wine it loses the kind of an array's elements
};

/// Writes the classes, interfaces and proxies of the files beside this program: for the user on Windows, for the prefix
/// under Wine. What stood there before is kept and comes back with unregisterStandIn. Throws std::runtime_error.
void registerStandIn(bool force, Marshaller marshaller);
void unregisterStandIn();

} // namespace VBoxSim
