// Watches a running machine until it is off: its states and its errors.
//
// Events wait in a queue in the server. Whoever fetches too few is dropped as a listener, and what happened since is
// lost; EventLoop notices, listens again and says Resync: then the state must be asked for, because no event will tell
// it.

#include "sample.h"

using namespace Travik;
using std::chrono::milliseconds;

namespace {

bool isOff(std::uint32_t state)
{
    return state == MachineState::PoweredOff || state == MachineState::Aborted || state == MachineState::Saved;
}

void printState(std::uint32_t state)
{
    print(L"state " + std::to_wstring(state));
}

void printError(const EventData& event)
{
    print((event.fatal ? L"fatal error " : L"error ") + event.id + L": " + event.message);
}

void watch(VBoxInstanceImpl& vbox, const std::vector<std::wstring>& arguments)
{
    const auto machine = ask<ScopedMachine>(vbox, &VBoxInstanceImpl::findMachine, arguments[0]);
    const LockedSession session(vbox, machine, LockType::Shared, Deadline(std::chrono::seconds(10)));
    const ScopedConsole console = session.console();
    if (console == 0) {
        print(L"the machine does not run");
        return;
    }
    EventLoop loop(vbox, ask<ScopedEventSource>(vbox, &VBoxInstanceImpl::getEventSource, console),
                   {VBoxEventType::OnStateChanged, VBoxEventType::OnRuntimeError});

    auto state = ask<std::uint32_t>(vbox, &VBoxInstanceImpl::consoleGetState, console);
    printState(state);
    while (!isOff(state)) {
        try {
            const EventLoop::Step step = loop.next(milliseconds(500), [&](const EventData& event) {
                if (event.type == VBoxEventType::OnRuntimeError) {
                    printError(event);
                    return;
                }
                state = event.state;
                printState(state);
            });
            if (step == EventLoop::Step::Resync) {
                print(L"events were lost");
                state = ask<std::uint32_t>(vbox, &VBoxInstanceImpl::consoleGetState, console);
                printState(state);
            }
        } catch (const SdkError&) {
            // The source ends with the machine's process; whether that is why, the machine itself tells.
            state = ask<std::uint32_t>(vbox, &VBoxInstanceImpl::machineGetState, machine);
            printState(state);
            if (!isOff(state))
                throw;
        }
    }
}

} // namespace

int wmain(int count, wchar_t** values)
{
    return runSample(count, values, 1, L"sample_watch_events MACHINE", watch);
}
