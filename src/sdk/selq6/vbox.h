#pragma once

#include <windows.h>
#include <virtualbox.h>

#include <cstdint>
#include <mutex>
#include <sstream>
#include <string>

#include "selq6/handle_table.h"
#include "selq6/operation.h"
#include "travik/vbox_instance.h"

namespace Travik {

/// The one implementation of the interface. Not final: tests derive from it and replace slots that it calls through its
/// own table.
///
/// Where the code of an operation is: src/sdk/vbox, one source per subject.
class VBox : public VBoxInstanceImpl
{
public:
    /// Does no COM work.
    VBox();
    VBox(const VBox&) = delete;
    VBox& operator=(const VBox&) = delete;

    SdkErrorCode setLogPath(const std::wstring& path) override;
    SdkErrorCode createVmName(const std::wstring& prefix, std::wstring* name) override;
    SdkErrorCode composeMachineFilename(const std::wstring& name, std::wstring* file) override;
    SdkErrorCode getDefaultMachineFolder(std::wstring* folder) override;
    SdkErrorCode setDefaultMachineFolder(const std::wstring& folder) override;
    SdkErrorCode openMedium(const std::wstring& location, bool forceNewUuid, VBoxHandle* medium) override;
    SdkErrorCode closeMedium(VBoxHandle medium) override;
    SdkErrorCode deleteMedium(VBoxHandle medium) override;
    SdkErrorCode attachMedium(VBoxHandle machine, VBoxHandle medium, const std::wstring& controllerName,
                              std::int32_t port, std::int32_t device) override;
    SdkErrorCode detachMedium(VBoxHandle machine, const std::wstring& controllerName, std::int32_t port,
                              std::int32_t device) override;
    SdkErrorCode setVmName(VBoxHandle machine, const std::wstring& name) override;
    SdkErrorCode getVmName(VBoxHandle machine, std::wstring* name) override;
    SdkErrorCode getVmUUID(VBoxHandle machine, std::wstring* uuid) override;
    SdkErrorCode getImportOvaVmName(const std::wstring& ovaPath, std::wstring* name) override;
    SdkErrorCode importOva(const std::wstring& ovaPath) override;
    SdkErrorCode createMachine(const std::wstring& settingsFile, const std::wstring& name,
                               VBoxHandle* machine) override;
    SdkErrorCode cloneToMachine(VBoxHandle source, VBoxHandle target) override;
    SdkErrorCode deleteMachine(VBoxHandle machine) override;
    SdkErrorCode renameVmDisk(const std::wstring& fromPath, const std::wstring& toPath) override;
    SdkErrorCode initComComponent() override;
    SdkErrorCode resetComComponent() override;
    SdkErrorCode releaseRC() override;
    std::uint32_t getVBoxError() override;
    std::wstring getVBoxErrorMessage() override;
    SdkErrorCode openMachine(const std::wstring& settingsFile, VBoxHandle* machine) override;
    SdkErrorCode findMachine(const std::wstring& nameOrId, VBoxHandle* machine) override;
    SdkErrorCode launchVMProcess(VBoxHandle machine, const std::wstring& type,
                                 std::list<std::wstring> environmentChanges, VBoxHandle* progress) override;
    SdkErrorCode lockMachine(VBoxHandle machine, std::uint32_t lockType) override;
    SdkErrorCode unlockMachine() override;
    SdkErrorCode registerMachine(VBoxHandle machine) override;
    SdkErrorCode machineGetState(VBoxHandle machine, std::uint32_t* state) override;
    SdkErrorCode getMachineExtraData(VBoxHandle machine, const std::wstring& key, std::wstring* value) override;
    SdkErrorCode createMutableMachine(VBoxHandle machine, VBoxHandle* mutableMachine) override;
    SdkErrorCode setMachineCPUCount(VBoxHandle machine, std::uint32_t count) override;
    SdkErrorCode setMachineMemory(VBoxHandle machine, std::uint32_t megabytes) override;
    SdkErrorCode setMachineParavirtProvider(VBoxHandle machine, std::uint32_t provider) override;
    SdkErrorCode setMachineExtraData(VBoxHandle machine, const std::wstring& key, const std::wstring& value) override;
    SdkErrorCode saveSettings(VBoxHandle machine) override;
    SdkErrorCode powerDown(VBoxHandle console, VBoxHandle* progress) override;
    SdkErrorCode progressWaitForCompletion(VBoxHandle progress, std::int32_t timeoutMs) override;
    SdkErrorCode getProgressCompleted(VBoxHandle progress, std::uint32_t* completed) override;
    SdkErrorCode getProgressResultCode(VBoxHandle progress, std::int32_t* resultCode) override;
    SdkErrorCode getProgressErrorInfo(VBoxHandle progress, std::wstring* errorText) override;
    SdkErrorCode getHost(VBoxHandle* host) override;
    SdkErrorCode hostGetProcessorFeature(VBoxHandle host, std::uint32_t feature, std::uint32_t* supported) override;
    SdkErrorCode machineRemoveSharedFolder(VBoxHandle machine, const std::wstring& name) override;
    SdkErrorCode machineCreateSharedFolder(VBoxHandle machine, const std::wstring& name, const std::wstring& hostPath,
                                           std::uint32_t writable, std::uint32_t automount) override;
    SdkErrorCode getConsole(VBoxHandle* console) override;
    SdkErrorCode consoleGetState(VBoxHandle console, std::uint32_t* state) override;
    SdkErrorCode consoleResume(VBoxHandle console) override;
    SdkErrorCode consoleRemoveSharedFolder(VBoxHandle console, const std::wstring& name) override;
    SdkErrorCode consoleCreateSharedFolder(VBoxHandle console, const std::wstring& name, const std::wstring& hostPath,
                                           std::uint32_t writable, std::uint32_t automount) override;
    SdkErrorCode getNetworkAdapter(VBoxHandle machine, std::uint32_t slot, VBoxHandle* adapter) override;
    SdkErrorCode getNATEngine(VBoxHandle adapter, VBoxHandle* natEngine) override;
    SdkErrorCode removeRedirect(VBoxHandle natEngine, const std::wstring& name) override;
    SdkErrorCode addRedirect(VBoxHandle natEngine, const std::wstring& name, std::uint32_t protocol,
                             std::wstring hostIP, std::uint32_t hostPort, std::wstring guestIP,
                             std::uint32_t guestPort) override;
    SdkErrorCode getRedirects(VBoxHandle natEngine, std::list<std::wstring>* rules) override;
    SdkErrorCode getGuestProperty(VBoxHandle machine, const std::wstring& name, std::wstring* value,
                                  std::int64_t* timestamp, std::wstring* flags) override;
    SdkErrorCode setGuestProperty(VBoxHandle machine, const std::wstring& name, const std::wstring& value,
                                  const std::wstring& flags) override;
    SdkErrorCode deleteGuestProperty(VBoxHandle machine, const std::wstring& name) override;
    SdkErrorCode getAudioAdapter(VBoxHandle machine, VBoxHandle* audioAdapter) override;
    SdkErrorCode setAudioAdapterEnabled(VBoxHandle audioAdapter, std::uint32_t enabled) override;
    SdkErrorCode getEventSource(VBoxHandle console, VBoxHandle* eventSource) override;
    SdkErrorCode eventSourceCreateListener(VBoxHandle eventSource, VBoxHandle* listener) override;
    SdkErrorCode eventSourceRegisterListener(VBoxHandle eventSource, VBoxHandle listener,
                                             std::vector<std::uint32_t> types, std::uint32_t active) override;
    SdkErrorCode eventSourceUnregisterListener(VBoxHandle eventSource, VBoxHandle listener) override;
    SdkErrorCode eventSourceGetEvent(VBoxHandle eventSource, VBoxHandle listener, std::uint32_t timeoutMs,
                                     VBoxHandle* event) override;
    SdkErrorCode eventSourceReleaseEvent(VBoxHandle event) override;
    SdkErrorCode eventSourceEventProcessed(VBoxHandle eventSource, VBoxHandle listener, VBoxHandle event) override;
    SdkErrorCode eventSourceEventGetType(VBoxHandle event, std::uint32_t* type) override;
    SdkErrorCode getEventSourceStateChangedEvent(VBoxHandle event, VBoxHandle* stateChangedEvent) override;
    SdkErrorCode eventSourceStateChangedEventGetState(VBoxHandle stateChangedEvent, std::uint32_t* state) override;
    SdkErrorCode getEventSourceRuntimeErrorEvent(VBoxHandle event, VBoxHandle* runtimeErrorEvent) override;
    SdkErrorCode eventSourceRuntimeErrorEventGetFatal(VBoxHandle runtimeErrorEvent, std::int32_t* fatal) override;
    SdkErrorCode eventSourceRuntimeErrorEventGetId(VBoxHandle runtimeErrorEvent, std::wstring* id) override;
    SdkErrorCode eventSourceRuntimeErrorEventGetMessage(VBoxHandle runtimeErrorEvent, std::wstring* message) override;
    SdkErrorCode getMachineStorageControllerPortCount(VBoxHandle machine, const std::wstring& controllerName,
                                                      std::uint32_t* portCount) override;
    SdkErrorCode getMediumLocation(VBoxHandle medium, std::wstring* location) override;
    SdkErrorCode getMediumState(VBoxHandle medium, std::uint32_t* state) override;
    SdkErrorCode getMediumUUID(VBoxHandle medium, std::wstring* uuid) override;
    SdkErrorCode getMediumLastAccessError(VBoxHandle medium, std::wstring* text) override;
    SdkErrorCode getCurrentMedium(VBoxHandle machine, const std::wstring& controllerName, std::int32_t port,
                                  std::int32_t device, VBoxHandle* medium) override;
    SdkErrorCode listVms(std::vector<VBoxHandle>* machines) override;
    std::uint32_t toSdkMachineState(std::uint32_t value) override;
    std::uint32_t toVBoxMachineState(std::uint32_t value) override;
    std::uint32_t toVBoxFlagA(std::uint32_t value) override;
    std::uint32_t toSdkFlagA(std::uint32_t value) override;
    std::uint32_t toVBoxKindA(std::uint32_t value) override;
    std::uint32_t toSdkKindA(std::uint32_t value) override;
    std::uint32_t toVBoxFlagB(std::uint32_t value) override;
    std::uint32_t toSdkFlagB(std::uint32_t value) override;
    std::uint32_t toVBoxParavirtProvider(std::uint32_t value) override;
    std::uint32_t toSdkParavirtProvider(std::uint32_t value) override;
    std::uint32_t toVBoxEventType(std::uint32_t value) override;
    std::uint32_t toSdkEventType(std::uint32_t value) override;
    std::uint32_t toVBoxKindB(std::uint32_t value) override;
    std::uint32_t toSdkKindB(std::uint32_t value) override;
    std::uint32_t toVBoxFlagC(std::uint32_t value) override;
    std::uint32_t toSdkFlagC(std::uint32_t value) override;
    std::uint32_t toVBoxSwitch(std::uint32_t value) override;
    std::uint32_t toSdkSwitch(std::uint32_t value) override;
    std::uint32_t toHResult(std::uint32_t value) override;
    std::uint32_t toVBoxResultCode(std::uint32_t value) override;
    std::uint32_t toVBoxKindC(std::uint32_t value) override;
    std::uint32_t toSdkKindC(std::uint32_t value) override;
    SdkErrorCode releaseMachine(VBoxHandle machine) override;
    SdkErrorCode releaseProgress(VBoxHandle progress) override;
    SdkErrorCode releaseConsole(VBoxHandle console) override;
    SdkErrorCode releaseEventSource(VBoxHandle eventSource) override;
    SdkErrorCode releaseEventListener(VBoxHandle listener) override;
    SdkErrorCode releaseEvent(VBoxHandle event) override;
    SdkErrorCode releaseStateChangedEvent(VBoxHandle stateChangedEvent) override;
    SdkErrorCode releaseRuntimeErrorEvent(VBoxHandle runtimeErrorEvent) override;
    SdkErrorCode releaseAudioAdapter(VBoxHandle audioAdapter) override;
    SdkErrorCode releaseNATEngine(VBoxHandle natEngine) override;
    SdkErrorCode releaseNetworkAdapter(VBoxHandle adapter) override;
    SdkErrorCode releaseHost(VBoxHandle host) override;
    SdkErrorCode releaseMedium(VBoxHandle medium) override;

    /// Checks that the machine handle is known and does nothing else, until it is settled what a restore is. Not in the
    /// interface: it has to stay the last virtual operation. 181.
    virtual SdkErrorCode restoreVmDisk(VBoxHandle machine, const std::wstring& diskPath); // 118

protected:
    friend class Operation;
    template <class Interface>
    using ComPtr = Microsoft::WRL::ComPtr<Interface>;

    // The steps below expect the mutex to be held and do not lock.

    /// Empties the argument stream and hands it out for writing.
    std::wostream& _argStream();
    void _clearLastRC() { lastRC = 0; }

    /// Whether the root objects exist, creating them when they do not.
    bool _isComReady();

    /// Initialises COM on this thread and creates the root objects. 0, or the positive code of the failed step, which
    /// _isComReady takes for success.
    std::int32_t _initVBox();

    /// Drops every handed-out object and the root objects.
    void _releaseRC();

    /// Stores a failed call as the last failure and logs it; without a trace for HRESULT 0. Returns code.
    SdkErrorCode _recordComFailure(HRESULT rc, SdkErrorCode code, std::int32_t line, const std::wstring& name);
    /// Stores a failure of the library itself as the last failure and logs it. Returns code.
    SdkErrorCode _recordSdkFailure(SdkErrorCode code, std::int32_t line, const std::wstring& name);
    /// Logs a tolerated failure of a call, without a trace for HRESULT 0. Returns rc. Needs no mutex.
    HRESULT _recordComIgnored(HRESULT rc, SdkErrorCode code, std::int32_t line, const std::wstring& name);
    /// The name of an HRESULT, through slot 102.
    std::wstring _resultName(HRESULT rc);

    /// Waits without limit for a long operation of VirtualBox, cancelling it where the wait itself fails. Returns its
    /// result when that is not 0, else that of the wait. Call it without the mutex.
    HRESULT _waitForProgressCompletion(ComPtr<IProgress> progress, const std::wstring& tag);

    /// Checks, reads and interprets an appliance file: what both import operations begin with.
    bool _openAppliance(Operation& op, const std::wstring& path, ComPtr<IAppliance>& appliance);

    template <class Interface>
    SdkErrorCode releaseHandle(HandleTable<Interface>& table, VBoxHandle handle)
    {
        const std::lock_guard lock(mutex);
        table.release(handle);
        return {};
    }

    // Both root objects hold one reference, released by _releaseRC only: not at exit.
    IVirtualBox* virtualBox = nullptr;
    ISession* session = nullptr;

    std::uint32_t lastRC = 0;     // HRESULT of the last recorded COM failure
    std::wstring lastErrorText;   // text of the last recorded failure
    std::wstringstream argStream; // arguments of the running operation, for its failure text

    HandleTable<IMachine> machineTable{COM_Get_MachineFail};
    HandleTable<IProgress> progressTable{COM_Get_ProgressFail};
    HandleTable<IConsole> consoleTable{COM_Get_ConsoleFail};
    HandleTable<IEventSource> eventSourceTable{COM_Get_EventSourceFail};
    HandleTable<IEventListener> eventListenerTable{COM_Get_EventSourceListenerFail};
    HandleTable<IEvent> eventTable{COM_Get_EventFail};
    HandleTable<IStateChangedEvent> stateChangedEventTable{COM_Get_StateChangedEventFail};
    HandleTable<IRuntimeErrorEvent> runtimeErrorEventTable{COM_Get_RuntimeErrorEventFail};
    HandleTable<IAudioAdapter> audioAdapterTable{COM_Get_AudioAdaptFail};
    HandleTable<INATEngine> natEngineTable{COM_Get_NatEngineFail};
    HandleTable<INetworkAdapter> networkAdapterTable{COM_Get_NetAdaptFail};
    HandleTable<IHost> hostTable{COM_Get_HostFail};
    HandleTable<IMedium> mediumTable{COM_Get_MediumFail};

    std::mutex mutex; // last, so that it is destroyed first
};

} // namespace Travik
