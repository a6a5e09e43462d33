#include "operation_table.h"

// Giving handles back.

namespace TravikTest {

#define RELEASE(operation, ofTable)                                                                                    \
    template <>                                                                                                        \
    Row row<Op::operation>()                                                                                           \
    {                                                                                                                  \
        return {.kind = Row::release,                                                                                  \
                .convert = [](TestBox& box, std::uint32_t handle) -> std::uint32_t { return box.operation(handle); },  \
                .table = Table::ofTable};                                                                              \
    }

RELEASE(releaseMachine, machine)
RELEASE(releaseProgress, progress)
RELEASE(releaseConsole, console)
RELEASE(releaseEventSource, eventSource)
RELEASE(releaseEventListener, eventListener)
RELEASE(releaseEvent, event)
RELEASE(releaseStateChangedEvent, stateChangedEvent)
RELEASE(releaseRuntimeErrorEvent, runtimeErrorEvent)
RELEASE(releaseAudioAdapter, audioAdapter)
RELEASE(releaseNATEngine, natEngine)
RELEASE(releaseNetworkAdapter, networkAdapter)
RELEASE(releaseHost, host)
RELEASE(releaseMedium, medium)

} // namespace TravikTest
