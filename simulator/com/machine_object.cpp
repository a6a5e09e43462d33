#include "com/machine_object.h"

#include "base/files.h"
#include "com/audio_adapter_object.h"
#include "com/error_info.h"
#include "com/medium_object.h"
#include "com/network_objects.h"
#include "com/progress_object.h"
#include "com/session_objects.h"
#include "com/virtual_box_object.h"
#include "host/cloning.h"
#include "host/deletion.h"
#include "host/device_views.h"
#include "host/vm_life.h"

namespace VBoxSim {

namespace {

SessionPtr sessionOf(Host& host, ISession* argument)
{
    const ComPtr<SessionReference> reference = implementationOf<SessionReference>(argument);
    if (!reference)
        throw Failure(Result::invalidArgument, L"The session is not an object of VirtualBox's session class");
    return host.sessions().get(reference->session(), reference->process());
}

} // namespace

MachineView viewOf(IMachine* argument, const Failure& missing)
{
    const ComPtr<MachineObject> own = implementationOf<MachineObject>(argument);
    if (!own)
        throw Failure(missing);
    own->view().checkUsable();
    return own->view();
}

HRESULT MachineObject::get_Parent(IVirtualBox** parent)
{
    return getAlways(L"IMachine::get_Parent", parent, [&] { return make<VirtualBoxObject>(server()); });
}

HRESULT MachineObject::get_Accessible(BOOL* accessible)
{
    return getAlways(L"IMachine::get_Accessible", accessible, [&] { return view_.isAccessible(); });
}

HRESULT MachineObject::get_AccessError(IVirtualBoxErrorInfo** error)
{
    return getAlways(L"IMachine::get_AccessError", error, [&] {
        const auto& failure = view_.machine()->accessError;
        return failure ? make<ErrorInfo>(server(), *failure, L"MachineWrap", IID_IMachine) : nullptr;
    });
}

HRESULT MachineObject::get_Name(BSTR* name)
{
    return get(L"IMachine::get_Name", name, [&] { return view_.settings().name; });
}

HRESULT MachineObject::put_Name(BSTR name)
{
    return call(
        L"IMachine::put_Name", [&] { view_.setName(textOf(name)); }, name);
}

HRESULT MachineObject::get_Description(BSTR* description)
{
    return get(L"IMachine::get_Description", description, [&] { return view_.settings().description; });
}

HRESULT MachineObject::put_Description(BSTR description)
{
    return call(
        L"IMachine::put_Description", [&] { view_.setDescription(textOf(description)); }, description);
}

HRESULT MachineObject::get_Id(BSTR* id)
{
    return getAlways(L"IMachine::get_Id", id, [&] {
        view_.checkNotDead();
        return view_.machine()->id;
    });
}

HRESULT MachineObject::get_Groups(SAFEARRAY** groups)
{
    return get(L"IMachine::get_Groups", groups, [&] { return view_.settings().groups; });
}

HRESULT MachineObject::get_OSTypeId(BSTR* id)
{
    return get(L"IMachine::get_OSTypeId", id, [&] { return view_.settings().osType; });
}

HRESULT MachineObject::put_OSTypeId(BSTR id)
{
    return call(
        L"IMachine::put_OSTypeId", [&] { view_.setOsType(textOf(id)); }, id);
}

HRESULT MachineObject::get_HardwareUUID(BSTR* id)
{
    return get(L"IMachine::get_HardwareUUID", id, [&] { return view_.hardwareId(); });
}

HRESULT MachineObject::get_CPUCount(ULONG* count)
{
    return get(L"IMachine::get_CPUCount", count, [&] { return view_.settings().cpuCount; });
}

HRESULT MachineObject::put_CPUCount(ULONG count)
{
    return call(
        L"IMachine::put_CPUCount", [&] { view_.setCpuCount(count); }, count);
}

HRESULT MachineObject::get_MemorySize(ULONG* megabytes)
{
    return get(L"IMachine::get_MemorySize", megabytes, [&] { return view_.settings().memoryMegabytes; });
}

HRESULT MachineObject::put_MemorySize(ULONG megabytes)
{
    return call(
        L"IMachine::put_MemorySize", [&] { view_.setMemory(megabytes); }, megabytes);
}

HRESULT MachineObject::get_ChipsetType(ULONG* chipset)
{
    return get(L"IMachine::get_ChipsetType", chipset, [&] { return view_.settings().chipset; });
}

HRESULT MachineObject::put_ChipsetType(ULONG chipset)
{
    return call(
        L"IMachine::put_ChipsetType", [&] { view_.setChipset(chipset); }, chipset);
}

HRESULT MachineObject::get_ParavirtProvider(ULONG* provider)
{
    return get(L"IMachine::get_ParavirtProvider", provider, [&] { return view_.settings().paravirt; });
}

HRESULT MachineObject::put_ParavirtProvider(ULONG provider)
{
    return call(
        L"IMachine::put_ParavirtProvider", [&] { view_.setParavirtProvider(provider); }, provider);
}

HRESULT MachineObject::GetEffectiveParavirtProvider(ULONG* provider)
{
    return get(L"IMachine::GetEffectiveParavirtProvider", provider, [&] { return view_.effectiveParavirtProvider(); });
}

HRESULT MachineObject::SetBootOrder(ULONG position, ULONG device)
{
    return call(
        L"IMachine::SetBootOrder", [&] { view_.setBootDevice(position, device); }, position, device);
}

HRESULT MachineObject::GetBootOrder(ULONG position, ULONG* device)
{
    return get(
        L"IMachine::GetBootOrder", device, [&] { return view_.bootDevice(position); }, position);
}

HRESULT MachineObject::get_SnapshotFolder(BSTR* folder)
{
    return get(L"IMachine::get_SnapshotFolder", folder, [&] { return view_.snapshotFolder(); });
}

HRESULT MachineObject::get_SnapshotCount(ULONG* count)
{
    return get(L"IMachine::get_SnapshotCount", count, [&] { return view_.settings().snapshotCount; });
}

HRESULT MachineObject::get_LogFolder(BSTR* folder)
{
    return get(L"IMachine::get_LogFolder", folder, [&] { return view_.logFolder(); });
}

HRESULT MachineObject::get_AudioAdapter(IAudioAdapter** adapter)
{
    return get(L"IMachine::get_AudioAdapter", adapter,
               [&] { return make<AudioAdapterObject>(server(), AudioAdapterView(view_)); });
}

HRESULT MachineObject::GetNetworkAdapter(ULONG slot, INetworkAdapter** adapter)
{
    return get(
        L"IMachine::GetNetworkAdapter", adapter,
        [&] { return make<NetworkAdapterObject>(server(), NetworkAdapterView(view_, slot)); }, slot);
}

// ---- state and sessions

HRESULT MachineObject::get_SessionState(ULONG* state)
{
    return get(L"IMachine::get_SessionState", state, [&] { return view_.machine()->sessionState; });
}

HRESULT MachineObject::get_SessionName(BSTR* name)
{
    return get(L"IMachine::get_SessionName", name, [&] { return view_.sessionName(); });
}

HRESULT MachineObject::get_SessionPID(ULONG* process)
{
    return get(L"IMachine::get_SessionPID", process, [&] { return view_.sessionProcess(); });
}

HRESULT MachineObject::get_State(ULONG* state)
{
    return get(L"IMachine::get_State", state, [&] { return view_.machine()->state; });
}

HRESULT MachineObject::get_LastStateChange(LONG64* milliseconds)
{
    return get(L"IMachine::get_LastStateChange", milliseconds, [&] { return view_.machine()->lastStateChange; });
}

HRESULT MachineObject::LockMachine(ISession* session, ULONG lockType)
{
    return call(
        L"IMachine::LockMachine", [&] { lockMachine(host(), view_.machine(), sessionOf(host(), session), lockType); },
        session, lockType);
}

HRESULT MachineObject::LaunchVMProcess(ISession* session, BSTR frontEnd, SAFEARRAY* environment, IProgress** progress)
{
    return get(
        L"IMachine::LaunchVMProcess", progress,
        [&]() -> ComPtr<ProgressObject> {
            const LaunchRequest request{textOf(frontEnd), textsOf(environment)};
            if (request.frontEnd == L"emergencystop") {
                crashMachine(host(), *view_.machine());
                return nullptr;
            }
            return make<ProgressObject>(server(),
                                        launchMachine(host(), view_.machine(), sessionOf(host(), session), request));
        },
        session, frontEnd, environment);
}

// ---- the settings file

void MachineObject::requireSession() const
{
    if (!view_.machine()->registered)
        throw Failure(Result::notImplemented, L"The machine is not registered");
    view_.requireMutable();
}

HRESULT MachineObject::get_StateFilePath(BSTR* path)
{
    return get(L"IMachine::get_StateFilePath", path, [&] {
        const std::wstring& file = view_.settings().stateFile;
        return file.empty() ? file : Files::resolve(Files::folderOf(view_.machine()->file), file);
    });
}

HRESULT MachineObject::SaveState(IProgress** progress)
{
    return get(L"IMachine::SaveState", progress, [&] {
        requireSession();
        return make<ProgressObject>(server(), saveState(host(), view_.machine()));
    });
}

HRESULT MachineObject::AdoptSavedState(BSTR file)
{
    return call(
        L"IMachine::AdoptSavedState",
        [&] {
            requireSession();
            adoptSavedState(host(), *view_.machine(), textOf(file));
        },
        file);
}

HRESULT MachineObject::DiscardSavedState(BOOL removeFile)
{
    return call(
        L"IMachine::DiscardSavedState",
        [&] {
            requireSession();
            discardSavedState(host(), *view_.machine(), removeFile != FALSE);
        },
        removeFile);
}

HRESULT MachineObject::get_SettingsFilePath(BSTR* path)
{
    return getAlways(L"IMachine::get_SettingsFilePath", path, [&] {
        view_.checkNotDead();
        return view_.machine()->file;
    });
}

HRESULT MachineObject::get_SettingsModified(BOOL* modified)
{
    return get(L"IMachine::get_SettingsModified", modified,
               [&] { return view_.isMutable() && view_.machine()->modified; });
}

HRESULT MachineObject::SaveSettings()
{
    return call(L"IMachine::SaveSettings", [&] { view_.saveSettings(); });
}

HRESULT MachineObject::DiscardSettings()
{
    return call(L"IMachine::DiscardSettings", [&] { view_.discardSettings(); });
}

HRESULT MachineObject::Unregister(ULONG mode, SAFEARRAY** media)
{
    return getAlways(
        L"IMachine::Unregister", media,
        [&] {
            view_.checkNotGone();
            return mediumObjects(server(), unregisterMachine(host(), view_.machine(), mode));
        },
        mode);
}

HRESULT MachineObject::DeleteConfig(SAFEARRAY* media, IProgress** progress)
{
    return get(
        L"IMachine::DeleteConfig", progress,
        [&] { return make<ProgressObject>(server(), deleteMachine(view_, mediaOf(media))); }, media);
}

HRESULT MachineObject::CloneTo(IMachine* target, ULONG mode, SAFEARRAY* options, IProgress** progress)
{
    return get(
        L"IMachine::CloneTo", progress,
        [&] {
            const Failure missing(Result::invalidArgument, L"No target machine is given");
            return make<ProgressObject>(server(),
                                        cloneMachine(view_, viewOf(target, missing), mode, numbersOf(options)));
        },
        target, mode, options);
}

} // namespace VBoxSim
