#pragma once

#include "com/object.h"
#include "host/machine_view.h"

namespace VBoxSim {

class MachineObject : public Object<MachineObject, IMachine>
{
public:
    static constexpr GUID implementationId{
        0x6E0B7C54, 0x2D7A, 0x4F0C, {0x9A, 0x83, 0x5B, 0x1E, 0x4C, 0x2D, 0x9F, 0x20}};

    MachineObject(Server& server, MachineView view) : Object(server), view_(std::move(view)) {}

    HRESULT STDMETHODCALLTYPE get_Parent(IVirtualBox** parent) override;
    HRESULT STDMETHODCALLTYPE get_Accessible(BOOL* accessible) override;
    HRESULT STDMETHODCALLTYPE get_AccessError(IVirtualBoxErrorInfo** error) override;
    HRESULT STDMETHODCALLTYPE get_Name(BSTR* name) override;
    HRESULT STDMETHODCALLTYPE put_Name(BSTR name) override;
    HRESULT STDMETHODCALLTYPE get_Description(BSTR* description) override;
    HRESULT STDMETHODCALLTYPE put_Description(BSTR description) override;
    HRESULT STDMETHODCALLTYPE get_Id(BSTR* id) override;
    HRESULT STDMETHODCALLTYPE get_Groups(SAFEARRAY** groups) override;
    HRESULT STDMETHODCALLTYPE get_OSTypeId(BSTR* id) override;
    HRESULT STDMETHODCALLTYPE put_OSTypeId(BSTR id) override;
    HRESULT STDMETHODCALLTYPE get_HardwareUUID(BSTR* id) override;
    HRESULT STDMETHODCALLTYPE get_CPUCount(ULONG* count) override;
    HRESULT STDMETHODCALLTYPE put_CPUCount(ULONG count) override;
    HRESULT STDMETHODCALLTYPE get_MemorySize(ULONG* megabytes) override;
    HRESULT STDMETHODCALLTYPE put_MemorySize(ULONG megabytes) override;
    HRESULT STDMETHODCALLTYPE get_ChipsetType(ULONG* chipset) override;
    HRESULT STDMETHODCALLTYPE put_ChipsetType(ULONG chipset) override;
    HRESULT STDMETHODCALLTYPE get_ParavirtProvider(ULONG* provider) override;
    HRESULT STDMETHODCALLTYPE put_ParavirtProvider(ULONG provider) override;
    HRESULT STDMETHODCALLTYPE GetEffectiveParavirtProvider(ULONG* provider) override;
    HRESULT STDMETHODCALLTYPE SetBootOrder(ULONG position, ULONG device) override;
    HRESULT STDMETHODCALLTYPE GetBootOrder(ULONG position, ULONG* device) override;
    HRESULT STDMETHODCALLTYPE get_SnapshotFolder(BSTR* folder) override;
    HRESULT STDMETHODCALLTYPE get_SnapshotCount(ULONG* count) override;
    HRESULT STDMETHODCALLTYPE get_LogFolder(BSTR* folder) override;
    HRESULT STDMETHODCALLTYPE get_AudioAdapter(IAudioAdapter** adapter) override;
    HRESULT STDMETHODCALLTYPE GetNetworkAdapter(ULONG slot, INetworkAdapter** adapter) override;

    // State and sessions.
    HRESULT STDMETHODCALLTYPE get_SessionState(ULONG* state) override;
    HRESULT STDMETHODCALLTYPE get_SessionName(BSTR* name) override;
    HRESULT STDMETHODCALLTYPE get_SessionPID(ULONG* process) override;
    HRESULT STDMETHODCALLTYPE get_State(ULONG* state) override;
    HRESULT STDMETHODCALLTYPE get_LastStateChange(LONG64* milliseconds) override;
    HRESULT STDMETHODCALLTYPE LockMachine(ISession* session, ULONG lockType) override;
    HRESULT STDMETHODCALLTYPE LaunchVMProcess(ISession* session, BSTR frontEnd, SAFEARRAY* environment,
                                              IProgress** progress) override;

    // The settings file.
    HRESULT STDMETHODCALLTYPE get_StateFilePath(BSTR* path) override;
    HRESULT STDMETHODCALLTYPE SaveState(IProgress** progress) override;
    HRESULT STDMETHODCALLTYPE AdoptSavedState(BSTR file) override;
    HRESULT STDMETHODCALLTYPE DiscardSavedState(BOOL removeFile) override;
    HRESULT STDMETHODCALLTYPE get_SettingsFilePath(BSTR* path) override;
    HRESULT STDMETHODCALLTYPE get_SettingsModified(BOOL* modified) override;
    HRESULT STDMETHODCALLTYPE SaveSettings() override;
    HRESULT STDMETHODCALLTYPE DiscardSettings() override;
    HRESULT STDMETHODCALLTYPE Unregister(ULONG mode, SAFEARRAY** media) override;
    HRESULT STDMETHODCALLTYPE DeleteConfig(SAFEARRAY* media, IProgress** progress) override;
    HRESULT STDMETHODCALLTYPE CloneTo(IMachine* target, ULONG mode, SAFEARRAY* options, IProgress** progress) override;

    // Storage (machine_storage.cpp).
    HRESULT STDMETHODCALLTYPE get_MediumAttachments(SAFEARRAY** attachments) override;
    HRESULT STDMETHODCALLTYPE get_StorageControllers(SAFEARRAY** controllers) override;
    HRESULT STDMETHODCALLTYPE AddStorageController(BSTR name, ULONG bus, IStorageController** controller) override;
    HRESULT STDMETHODCALLTYPE GetStorageControllerByName(BSTR name, IStorageController** controller) override;
    HRESULT STDMETHODCALLTYPE GetStorageControllerByInstance(ULONG bus, ULONG instance,
                                                             IStorageController** controller) override;
    HRESULT STDMETHODCALLTYPE SetStorageControllerBootable(BSTR name, BOOL bootable) override;
    HRESULT STDMETHODCALLTYPE RemoveStorageController(BSTR name) override;
    HRESULT STDMETHODCALLTYPE AttachDevice(BSTR controller, LONG port, LONG device, ULONG type,
                                           IMedium* medium) override;
    HRESULT STDMETHODCALLTYPE AttachDeviceWithoutMedium(BSTR controller, LONG port, LONG device, ULONG type) override;
    HRESULT STDMETHODCALLTYPE DetachDevice(BSTR controller, LONG port, LONG device) override;
    HRESULT STDMETHODCALLTYPE NonRotationalDevice(BSTR controller, LONG port, LONG device, BOOL nonRotational) override;
    HRESULT STDMETHODCALLTYPE SetAutoDiscardForDevice(BSTR controller, LONG port, LONG device, BOOL discard) override;
    HRESULT STDMETHODCALLTYPE MountMedium(BSTR controller, LONG port, LONG device, IMedium* medium,
                                          BOOL force) override;
    HRESULT STDMETHODCALLTYPE UnmountMedium(BSTR controller, LONG port, LONG device, BOOL force) override;
    HRESULT STDMETHODCALLTYPE GetMedium(BSTR controller, LONG port, LONG device, IMedium** medium) override;
    HRESULT STDMETHODCALLTYPE GetMediumAttachmentsOfController(BSTR controller, SAFEARRAY** attachments) override;
    HRESULT STDMETHODCALLTYPE GetMediumAttachment(BSTR controller, LONG port, LONG device,
                                                  IMediumAttachment** attachment) override;

    // Shared folders, extra data, guest properties (machine_properties.cpp).
    HRESULT STDMETHODCALLTYPE get_SharedFolders(SAFEARRAY** folders) override;
    HRESULT STDMETHODCALLTYPE CreateSharedFolder(BSTR name, BSTR hostPath, BOOL writable, BOOL autoMount,
                                                 BSTR mountPoint) override;
    HRESULT STDMETHODCALLTYPE RemoveSharedFolder(BSTR name) override;
    HRESULT STDMETHODCALLTYPE GetExtraDataKeys(SAFEARRAY** keys) override;
    HRESULT STDMETHODCALLTYPE GetExtraData(BSTR key, BSTR* value) override;
    HRESULT STDMETHODCALLTYPE SetExtraData(BSTR key, BSTR value) override;
    HRESULT STDMETHODCALLTYPE GetGuestProperty(BSTR name, BSTR* value, LONG64* timestamp, BSTR* flags) override;
    HRESULT STDMETHODCALLTYPE GetGuestPropertyValue(BSTR name, BSTR* value) override;
    HRESULT STDMETHODCALLTYPE GetGuestPropertyTimestamp(BSTR name, LONG64* timestamp) override;
    HRESULT STDMETHODCALLTYPE SetGuestProperty(BSTR name, BSTR value, BSTR flags) override;
    HRESULT STDMETHODCALLTYPE SetGuestPropertyValue(BSTR name, BSTR value) override;
    HRESULT STDMETHODCALLTYPE DeleteGuestProperty(BSTR name) override;
    HRESULT STDMETHODCALLTYPE EnumerateGuestProperties(BSTR patterns, SAFEARRAY** names, SAFEARRAY** values,
                                                       SAFEARRAY** timestamps, SAFEARRAY** flags) override;

    const wchar_t* typeName() const override { return L"IMachine"; }
    const MachineView& view() const { return view_; }

private:
    void checkUsable() const override { view_.checkUsable(); }
    /// Saved states are made and dropped through the machine of a session.
    void requireSession() const;

    const MachineView view_;
};

/// The view behind an argument; throws Failure(`missing`) for what is no machine of this server, and for a machine that
/// takes no calls.
MachineView viewOf(IMachine* argument, const Failure& missing);

} // namespace VBoxSim
