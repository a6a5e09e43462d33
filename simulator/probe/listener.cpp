#include "listener.h"

namespace Probe {

Listener::Listener(const ComPtr<IEventSource>& source, const std::vector<LONG>& types) : source_(source)
{
    must(source->CreateListener(&listener_));
    must(source->RegisterListener(listener_.Get(), Array::ofNumbers(types), FALSE));
}

Listener::~Listener()
{
    source_->UnregisterListener(listener_.Get());
}

ComPtr<IEvent> Listener::next(LONG milliseconds)
{
    const ULONGLONG end = GetTickCount64() + static_cast<ULONGLONG>(milliseconds);
    ComPtr<IEvent> event;
    do { // in short steps, so that Ctrl-C is heard
        must(source_->GetEvent(listener_.Get(), milliseconds == 0 ? 0 : 200, &event));
    } while (!event && GetTickCount64() < end);
    if (event)
        must(source_->EventProcessed(listener_.Get(), event.Get()));
    return event;
}

ComPtr<IMachineEvent> Listener::about(const std::wstring& machineId, ULONG type)
{
    const ULONGLONG end = GetTickCount64() + 10'000;
    while (GetTickCount64() < end) {
        const ComPtr<IEvent> event = next(1000);
        if (!event || read(event, &IEvent::get_Type) != type)
            continue;
        const auto found = query<IMachineEvent>(event);
        if (found && text(found, &IMachineEvent::get_MachineId) == machineId)
            return found;
    }
    return nullptr;
}

} // namespace Probe
