#include "com/console_object.h"

#include "base/files.h"
#include "com/machine_object.h"
#include "com/shared_folder_object.h"
#include "host/vm_life.h"

#include <algorithm>

namespace VBoxSim {

void Console::checkUsable() const
{
    if (!lock_->alive)
        throw Failure(Result::serverUnavailable, L"The machine's process has ended");
}

void Console::requireSteady() const
{
    if (machine_->state != MachineState::Running && machine_->state != MachineState::Paused)
        throw Failure(Result::invalidVmState,
                      L"The machine changes its state (machine state: " + stateName(machine_->state) + L")");
}

void Console::fireSharedFolderChanged()
{
    EventData event;
    event.type = EventType::OnSharedFolderChanged;
    lock_->vm->events->fire(std::move(event));
}

HRESULT Console::get_Machine(IMachine** machine)
{
    return get(L"IConsole::get_Machine", machine, [&] { return make<Machine>(machine_, lock_); });
}

HRESULT Console::get_State(ULONG* state)
{
    return get(L"IConsole::get_State", state, [&] { return machine_->state; });
}

HRESULT Console::get_SharedFolders(SAFEARRAY** folders)
{
    return get(L"IConsole::get_SharedFolders", folders, [&] {
        Interfaces<ISharedFolder> found;
        for (const SharedFolderSettings& folder : lock_->vm->sharedFolders)
            found.push_back(make<SharedFolder>(folder));
        return found;
    });
}

HRESULT Console::get_EventSource(IEventSource** source)
{
    return get(L"IConsole::get_EventSource", source, [&] { return make<EventSource>(lock_->vm->events); });
}

HRESULT Console::PowerDown(IProgress** progress)
{
    return get(L"IConsole::PowerDown", progress, [&] { return make<Progress>(powerDown(machine_)); });
}

HRESULT Console::Pause()
{
    return call(L"IConsole::Pause", [&] { pauseMachine(*machine_); });
}

HRESULT Console::Resume()
{
    return call(L"IConsole::Resume", [&] { resumeMachine(*machine_); });
}

HRESULT Console::CreateSharedFolder(BSTR name, BSTR hostPath, BOOL writable, BOOL autoMount, BSTR mountPoint)
{
    return call(
        L"IConsole::CreateSharedFolder",
        [&] {
            requireSteady();
            const SharedFolderSettings folder =
                checkedSharedFolder(textOf(name), textOf(hostPath), writable, autoMount, textOf(mountPoint));
            auto& folders = lock_->vm->sharedFolders;
            for (const SharedFolderSettings& other : folders)
                if (other.name == folder.name)
                    throw Failure(Result::fileError, L"Shared folder named '" + folder.name + L"' already exists");
            if (!Files::isFolder(folder.hostPath))
                throw Failure(Result::fileError, L"Shared folder path '" + folder.hostPath + L"' is not accessible");
            folders.push_back(folder);
            fireSharedFolderChanged();
        },
        name, hostPath, writable, autoMount, mountPoint);
}

HRESULT Console::RemoveSharedFolder(BSTR name)
{
    return call(
        L"IConsole::RemoveSharedFolder",
        [&] {
            requireSteady();
            const std::wstring text = textOf(name);
            const auto same = [&](const SharedFolderSettings& folder) { return folder.name == text; };
            if (!std::erase_if(lock_->vm->sharedFolders, same))
                throw Failure(Result::fileError, L"Could not find a shared folder named '" + text + L"'");
            fireSharedFolderChanged();
        },
        name);
}

} // namespace VBoxSim
