#include "com/console_object.h"

#include "com/event_objects.h"
#include "com/machine_object.h"
#include "com/progress_object.h"
#include "com/shared_folder_object.h"
#include "host/vm_life.h"

namespace VBoxSim {

HRESULT ConsoleObject::get_Machine(IMachine** machine)
{
    return get(L"IConsole::get_Machine", machine,
               [&] { return make<MachineObject>(server(), MachineView(host(), view_.machine(), view_.lock())); });
}

HRESULT ConsoleObject::get_State(ULONG* state)
{
    return get(L"IConsole::get_State", state, [&] { return view_.machine()->state; });
}

HRESULT ConsoleObject::get_SharedFolders(SAFEARRAY** folders)
{
    return get(L"IConsole::get_SharedFolders", folders,
               [&] { return sharedFolderObjects(server(), view_, view_.vm().sharedFolders); });
}

HRESULT ConsoleObject::get_EventSource(IEventSource** source)
{
    return get(L"IConsole::get_EventSource", source,
               [&] { return make<EventSourceObject>(server(), view_.vm().events); });
}

// No guest runs that would notice any of these.

HRESULT ConsoleObject::Reset()
{
    return call(L"IConsole::Reset", [&] { requireRunning(*view_.machine()); });
}

HRESULT ConsoleObject::PowerButton()
{
    return call(L"IConsole::PowerButton", [&] { requireRunning(*view_.machine()); });
}

HRESULT ConsoleObject::SleepButton()
{
    return call(L"IConsole::SleepButton", [&] { requireRunning(*view_.machine()); });
}

HRESULT ConsoleObject::GetPowerButtonHandled(BOOL* handled)
{
    return get(L"IConsole::GetPowerButtonHandled", handled, [] { return false; });
}

HRESULT ConsoleObject::GetGuestEnteredACPIMode(BOOL* entered)
{
    return get(L"IConsole::GetGuestEnteredACPIMode", entered, [] { return false; });
}

HRESULT ConsoleObject::PowerDown(IProgress** progress)
{
    return get(L"IConsole::PowerDown", progress,
               [&] { return make<ProgressObject>(server(), powerDown(host(), view_.machine())); });
}

HRESULT ConsoleObject::Pause()
{
    return call(L"IConsole::Pause", [&] { pauseMachine(host(), *view_.machine()); });
}

HRESULT ConsoleObject::Resume()
{
    return call(L"IConsole::Resume", [&] { resumeMachine(host(), *view_.machine()); });
}

HRESULT ConsoleObject::CreateSharedFolder(BSTR name, BSTR hostPath, BOOL writable, BOOL autoMount, BSTR mountPoint)
{
    return call(
        L"IConsole::CreateSharedFolder",
        [&] {
            view_.createSharedFolder(
                {textOf(name), textOf(hostPath), writable != FALSE, autoMount != FALSE, textOf(mountPoint)});
        },
        name, hostPath, writable, autoMount, mountPoint);
}

HRESULT ConsoleObject::RemoveSharedFolder(BSTR name)
{
    return call(
        L"IConsole::RemoveSharedFolder", [&] { view_.removeSharedFolder(textOf(name)); }, name);
}

} // namespace VBoxSim
