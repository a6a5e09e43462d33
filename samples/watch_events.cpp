// Watches a running machine until it is off: its states and its errors.
//
// Events wait in a queue in the server. Whoever fetches too few is dropped as a listener, and what happened since is
// lost; EventLoop notices, listens again and says Resync: then the state must be asked for, because no event will tell
// it. Events end with the machine's process (Ended), perhaps before the last one was fetched.

#include "sample.h"

using namespace Travik;
using std::chrono::milliseconds;

namespace {

void printError(const EventData& event)
{
    print((event.fatal ? L"fatal error " : L"error ") + event.id + L": " + event.message);
}

void watch(const Operations& vbox, const std::vector<std::wstring>& arguments)
{
    const ScopedMachine machine = vbox.findMachine(arguments[0]);
    ScopedEventSource source = eventSourceOf(vbox, machine, std::chrono::seconds(10));
    if (!source) {
        print(L"the machine does not run");
        return;
    }
    EventLoop loop(vbox, std::move(source), {EventType::StateChanged, EventType::RuntimeError});
    print(stateName(vbox.machineGetState(machine)));
    EventLoop::Step step = EventLoop::Step::Quiet;
    do {
        step = loop.next(milliseconds(500), [](const EventData& event) {
            if (event.type == EventType::RuntimeError)
                printError(event);
            else
                print(stateName(event.state));
        });
        if (step == EventLoop::Step::Resync)
            print(L"events were lost");
        if (step == EventLoop::Step::Resync || step == EventLoop::Step::Ended)
            print(stateName(vbox.machineGetState(machine)));
    } while (step != EventLoop::Step::Ended);
}

} // namespace

int wmain(int count, wchar_t** values)
{
    return runSample(count, values, 1, L"sample_watch_events MACHINE", watch);
}
