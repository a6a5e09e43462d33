#include "com/machine_object.h"

#include "base/files.h"
#include "base/text.h"
#include "com/audio_adapter_object.h"
#include "com/error_info.h"
#include "com/network_objects.h"
#include "com/progress_object.h"
#include "com/session_objects.h"
#include "com/virtual_box_object.h"
#include "host/cloning.h"
#include "host/deletion.h"
#include "host/vm_life.h"
#include "settings/guest_os_types.h"
#include "settings/limits.h"

namespace VBoxSim {

void Machine::checkUsable() const
{
    if (data_->dead || (lock_ && !lock_->alive))
        throw Failure(Result::accessDenied, L"The object is not ready");
    if (data_->busy)
        throw Failure(Result::accessDenied, L"The machine is being made");
    if (data_->accessError)
        throw Failure(Result::accessDenied, L"The object functionality is limited");
}

const MachineSettings& Machine::settings() const
{
    return isMutable() ? data_->working : data_->saved;
}

void Machine::requireMutable() const
{
    if (!isMutable())
        throw Failure(Result::invalidVmState,
                      L"The machine is not mutable (state is " + stateName(data_->state) + L")");
}

MachineSettings& Machine::change(Allowed allowed)
{
    requireMutable();
    const std::uint32_t state = data_->state;
    const bool off =
        state == MachineState::PoweredOff || state == MachineState::Aborted || state == MachineState::Teleported;
    const bool running = state == MachineState::Running || state == MachineState::Paused;
    if (!off && !(allowed == Allowed::OffOrSaved && state == MachineState::Saved) &&
        !(allowed == Allowed::OffOrRunning && running))
        throw Failure(Result::invalidVmState, L"The machine is not mutable (state is " + stateName(state) + L")");
    data_->modified = true;
    return data_->working;
}

template <class Member>
HRESULT Machine::putNumber(const wchar_t* name, ULONG value, ULONG lowest, ULONG highest, Member member)
{
    return call(
        name,
        [&] {
            if (value < lowest || value > highest)
                throw Failure(Result::invalidArgument, L"Invalid value: " + std::to_wstring(value) +
                                                           L" (must be in range [" + std::to_wstring(lowest) + L", " +
                                                           std::to_wstring(highest) + L"])");
            change(Allowed::Off).*member = value;
        },
        value);
}

HRESULT Machine::get_Parent(IVirtualBox** parent)
{
    return getAlways(L"IMachine::get_Parent", parent, [] { return make<VirtualBox>(); });
}

HRESULT Machine::get_Accessible(BOOL* accessible)
{
    return getAlways(L"IMachine::get_Accessible", accessible, [&] {
        if (data_->dead)
            throw Failure(Result::accessDenied, L"The object is not ready");
        if (data_->accessError)
            World::instance().refreshAccess(*data_);
        return !data_->accessError;
    });
}

HRESULT Machine::get_AccessError(IVirtualBoxErrorInfo** error)
{
    return getAlways(L"IMachine::get_AccessError", error, [&] {
        return data_->accessError ? make<ErrorInfo>(*data_->accessError, L"MachineWrap", IID_IMachine) : nullptr;
    });
}

HRESULT Machine::get_Name(BSTR* name)
{
    return get(L"IMachine::get_Name", name, [&] { return settings().name; });
}

HRESULT Machine::put_Name(BSTR name)
{
    return call(
        L"IMachine::put_Name",
        [&] {
            const std::wstring text = textOf(name);
            if (!isStorable(text))
                throw Failure(Result::invalidArgument, L"The name is not valid text");
            change(Allowed::OffOrSaved).name = text;
        },
        name);
}

HRESULT Machine::get_Description(BSTR* description)
{
    return get(L"IMachine::get_Description", description, [&] { return settings().description; });
}

HRESULT Machine::put_Description(BSTR description)
{
    return call(
        L"IMachine::put_Description",
        [&] {
            const std::wstring text = textOf(description);
            if (!isStorable(text))
                throw Failure(Result::invalidArgument, L"The description is not valid text");
            change(Allowed::OffOrSaved).description = text;
        },
        description);
}

HRESULT Machine::get_Id(BSTR* id)
{
    return getAlways(L"IMachine::get_Id", id, [&] {
        if (data_->dead)
            throw Failure(Result::accessDenied, L"The object is not ready");
        return data_->id;
    });
}

HRESULT Machine::get_Groups(SAFEARRAY** groups)
{
    return get(L"IMachine::get_Groups", groups, [&] { return settings().groups; });
}

HRESULT Machine::get_OSTypeId(BSTR* id)
{
    return get(L"IMachine::get_OSTypeId", id, [&] { return settings().osType; });
}

HRESULT Machine::put_OSTypeId(BSTR id)
{
    return call(
        L"IMachine::put_OSTypeId",
        [&] {
            const std::wstring type = textOf(id);
            if (!findGuestOsType(type))
                throw Failure(Result::objectNotFound, L"'" + type + L"' is not a valid Guest OS type");
            change(Allowed::Off).osType = type;
        },
        id);
}

HRESULT Machine::get_HardwareUUID(BSTR* id)
{
    return get(L"IMachine::get_HardwareUUID", id,
               [&] { return settings().hardwareId.empty() ? data_->id : settings().hardwareId; });
}

HRESULT Machine::get_CPUCount(ULONG* count)
{
    return get(L"IMachine::get_CPUCount", count, [&] { return settings().cpuCount; });
}

HRESULT Machine::put_CPUCount(ULONG count)
{
    return putNumber(L"IMachine::put_CPUCount", count, Limits::minCpus, Limits::maxCpus, &MachineSettings::cpuCount);
}

HRESULT Machine::get_MemorySize(ULONG* megabytes)
{
    return get(L"IMachine::get_MemorySize", megabytes, [&] { return settings().memoryMegabytes; });
}

HRESULT Machine::put_MemorySize(ULONG megabytes)
{
    return putNumber(L"IMachine::put_MemorySize", megabytes, Limits::minMegabytes, Limits::maxMegabytes,
                     &MachineSettings::memoryMegabytes);
}

HRESULT Machine::get_ChipsetType(ULONG* chipset)
{
    return get(L"IMachine::get_ChipsetType", chipset, [&] { return settings().chipset; });
}

HRESULT Machine::put_ChipsetType(ULONG chipset)
{
    return call(
        L"IMachine::put_ChipsetType",
        [&] {
            if (chipset != 1 && chipset != 2)
                throw Failure(Result::invalidArgument, L"Invalid chipset");
            MachineSettings& changed = change(Allowed::Off);
            changed.chipset = chipset;
            fitAdapters(changed);
        },
        chipset);
}

HRESULT Machine::get_ParavirtProvider(ULONG* provider)
{
    return get(L"IMachine::get_ParavirtProvider", provider, [&] { return settings().paravirt; });
}

HRESULT Machine::put_ParavirtProvider(ULONG provider)
{
    return putNumber(L"IMachine::put_ParavirtProvider", provider, 0, Travik::ParavirtProvider::KVM,
                     &MachineSettings::paravirt);
}

HRESULT Machine::GetEffectiveParavirtProvider(ULONG* provider)
{
    return get(L"IMachine::GetEffectiveParavirtProvider", provider, [&]() -> std::uint32_t {
        const std::uint32_t set = settings().paravirt;
        if (set != Travik::ParavirtProvider::Default)
            return set;
        const GuestOsType* type = findGuestOsType(settings().osType);
        if (type && type->familyId == L"Windows")
            return Travik::ParavirtProvider::HyperV;
        return type && type->familyId == L"Linux" ? Travik::ParavirtProvider::KVM : Travik::ParavirtProvider::Null;
    });
}

HRESULT Machine::get_SnapshotFolder(BSTR* folder)
{
    return get(L"IMachine::get_SnapshotFolder", folder,
               [&] { return Files::resolve(Files::folderOf(data_->file), settings().snapshotFolder); });
}

HRESULT Machine::get_SnapshotCount(ULONG* count)
{
    return get(L"IMachine::get_SnapshotCount", count, [&] { return settings().snapshotCount; });
}

HRESULT Machine::get_LogFolder(BSTR* folder)
{
    return get(L"IMachine::get_LogFolder", folder, [&] { return Files::join(Files::folderOf(data_->file), L"Logs"); });
}

HRESULT Machine::get_AudioAdapter(IAudioAdapter** adapter)
{
    return get(L"IMachine::get_AudioAdapter", adapter, [&] { return make<AudioAdapter>(ComPtr<Machine>(this)); });
}

HRESULT Machine::GetNetworkAdapter(ULONG slot, INetworkAdapter** adapter)
{
    return get(
        L"IMachine::GetNetworkAdapter", adapter,
        [&] {
            if (slot >= settings().adapters.size())
                throw Failure(Result::invalidArgument, L"No network adapter in slot " + std::to_wstring(slot));
            return make<NetworkAdapter>(ComPtr<Machine>(this), slot);
        },
        slot);
}

// ---- state and sessions

HRESULT Machine::get_SessionState(ULONG* state)
{
    return get(L"IMachine::get_SessionState", state, [&] { return data_->sessionState; });
}

HRESULT Machine::get_SessionName(BSTR* name)
{
    return get(L"IMachine::get_SessionName", name, [&] {
        if (!data_->lock)
            return std::wstring();
        return data_->lock->vm ? data_->lock->vm->frontEnd
                               : (data_->lock->owner ? data_->lock->owner->name : std::wstring());
    });
}

HRESULT Machine::get_SessionPID(ULONG* process)
{
    return get(L"IMachine::get_SessionPID", process, [&]() -> DWORD {
        if (!data_->lock)
            return 0;
        return data_->lock->owner ? data_->lock->owner->process : GetCurrentProcessId();
    });
}

HRESULT Machine::get_State(ULONG* state)
{
    return get(L"IMachine::get_State", state, [&] { return data_->state; });
}

HRESULT Machine::get_LastStateChange(LONG64* milliseconds)
{
    return get(L"IMachine::get_LastStateChange", milliseconds, [&] { return data_->lastStateChange; });
}

namespace {
SessionPtr sessionOf(ISession* argument)
{
    const ComPtr<SessionReference> reference = implementationOf<SessionReference>(argument);
    if (!reference)
        throw Failure(Result::invalidArgument, L"The session is not an object of VirtualBox's session class");
    return World::instance().session(reference->session(), reference->process());
}
} // namespace

HRESULT Machine::LockMachine(ISession* session, ULONG lockType)
{
    return call(
        L"IMachine::LockMachine", [&] { lockMachine(data_, sessionOf(session), lockType); }, session, lockType);
}

HRESULT Machine::LaunchVMProcess(ISession* session, BSTR frontEnd, SAFEARRAY* environment, IProgress** progress)
{
    return get(
        L"IMachine::LaunchVMProcess", progress,
        [&]() -> ComPtr<Progress> {
            const std::wstring type = textOf(frontEnd);
            if (type == L"emergencystop") {
                crashMachine(*data_);
                return nullptr;
            }
            return make<Progress>(launchMachine(data_, sessionOf(session), type, textsOf(environment)));
        },
        session, frontEnd, environment);
}

// ---- the settings file

HRESULT Machine::get_SettingsFilePath(BSTR* path)
{
    return getAlways(L"IMachine::get_SettingsFilePath", path, [&] {
        if (data_->dead)
            throw Failure(Result::accessDenied, L"The object is not ready");
        return data_->file;
    });
}

HRESULT Machine::get_SettingsModified(BOOL* modified)
{
    return get(L"IMachine::get_SettingsModified", modified, [&] { return isMutable() && data_->modified; });
}

HRESULT Machine::SaveSettings()
{
    return call(L"IMachine::SaveSettings", [&] {
        requireMutable();
        World::instance().saveMachine(*data_);
    });
}

HRESULT Machine::DiscardSettings()
{
    return call(L"IMachine::DiscardSettings", [&] {
        requireMutable();
        data_->working = data_->saved;
        data_->modified = false;
    });
}

HRESULT Machine::Unregister(ULONG mode, SAFEARRAY** media)
{
    if (media)
        *media = nullptr;
    return callAlways(
        L"IMachine::Unregister",
        [&] {
            require(media);
            if (data_->dead || (lock_ && !lock_->alive))
                throw Failure(Result::accessDenied, L"The object is not ready");
            store(media, mediumObjects(unregisterMachine(data_, mode)));
        },
        mode);
}

HRESULT Machine::DeleteConfig(SAFEARRAY* media, IProgress** progress)
{
    return get(
        L"IMachine::DeleteConfig", progress,
        [&] {
            if (!isMutable())
                throw Failure(Result::invalidVmState, L"Cannot delete settings of a registered machine");
            return make<Progress>(deleteMachine(data_, mediaOf(media)));
        },
        media);
}

HRESULT Machine::CloneTo(IMachine* target, ULONG mode, SAFEARRAY* options, IProgress** progress)
{
    return get(
        L"IMachine::CloneTo", progress,
        [&] {
            const ComPtr<Machine> own = implementationOf<Machine>(target);
            if (!own)
                throw Failure(Result::invalidArgument, L"No target machine is given");
            own->checkUsable();
            return make<Progress>(cloneMachine(data_, settings(), own->data(), mode, numbersOf(options)));
        },
        target, mode, options);
}

} // namespace VBoxSim
