#pragma once

#include <windows.h>

#include <optional>
#include <string>

namespace Probe {

/// The identifiers in which builds of VirtualBox 6.1 differ; the program knows both sets, whichever it was built for.
struct Identity
{
    const char* name;
    GUID virtualBoxClass, sessionClass;
    GUID virtualBox, session, stateChangedEvent, runtimeErrorEvent;
};

/// selq6 or stock61; nothing for another name.
std::optional<Identity> identityNamed(const std::string& name);

/// The one whose server is registered; nothing when none or both are.
std::optional<Identity> registeredIdentity();

/// The one that all calls use. To be chosen once, before the first call.
const Identity& identity();
void chooseIdentity(const Identity& chosen);

/// Who carries IVirtualBox between processes here: "automation" for the type library's marshaller, else the class of
/// the proxies.
std::string marshaller();

} // namespace Probe
