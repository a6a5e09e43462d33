#pragma once

#include <windows.h>

namespace VBoxSim {

/// Keeps COM's registration of an interface for the life of the process; does nothing where COM has no need of it.
///
/// Wine's COM withdraws an interface from RPC with the last stub of it, and then waits for the end of the calls through
/// it. A call that ends in the same moment is sometimes missed; the client whose release caused the withdrawal never
/// gets its answer. So that no stub is ever the last one, an object that nobody calls holds one of each interface.
void keepRegistered(REFIID id);

/// Calls to an interface of VirtualBox arrive through the stand-in's own stubs, whichever marshaller the clients use;
/// does nothing where COM has no need of it. The stubs of Wine's automation marshaller lose the type of an array's
/// elements.
void useOwnStubs(REFIID id);

} // namespace VBoxSim
