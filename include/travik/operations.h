#ifndef TRAVIK_OPERATIONS_H
#define TRAVIK_OPERATIONS_H

// Part of the helper (scoped_handle.h): the operations with owners, enumerations and exceptions in place of numbers and
// codes. What each does, vbox_instance.h tells.

#include <chrono>
#include <cstdint>
#include <list>
#include <string>
#include <utility>
#include <vector>

#include "names.h"
#include "owners.h"
#include "vbox_instance.h"
#include "waits.h"

namespace Travik {

/// A guest property; empty with a time of 0 when there is none.
struct GuestProperty
{
    std::wstring value;
    std::int64_t timestamp = 0; ///< nanoseconds since 1970
    std::wstring flags;
};

/// The operations as a C++ front end calls them. Copies are views of the same instance; all of them belong on the one
/// thread that calls operations. Failures are thrown (SdkError and FileError).
class Operations
{
public:
    Operations(VBoxInstanceImpl& vbox) : vbox_(&vbox) {}

    /// The interface below, for what is wanted plain.
    [[nodiscard]] VBoxInstanceImpl& plain() const noexcept { return *vbox_; }
    operator VBoxInstanceImpl&() const noexcept { return *vbox_; }

    // Machines that are there.

    [[nodiscard]] ScopedMachine findMachine(const std::wstring& nameOrId) const
    {
        return ask<ScopedMachine>(&VBoxInstanceImpl::findMachine, nameOrId);
    }
    [[nodiscard]] ScopedMachine openMachine(const std::wstring& settingsFile) const
    {
        return ask<ScopedMachine>(&VBoxInstanceImpl::openMachine, settingsFile);
    }
    void registerMachine(const ScopedMachine& machine) const { run(&VBoxInstanceImpl::registerMachine, machine.get()); }
    [[nodiscard]] std::vector<ScopedMachine> listVms() const
    {
        std::vector<ScopedMachine> machines;
        for (VBoxHandle handle : ask<std::vector<VBoxHandle>>(&VBoxInstanceImpl::listVms))
            machines.emplace_back(*vbox_, handle);
        return machines;
    }
    [[nodiscard]] std::wstring getVmName(const ScopedMachine& machine) const
    {
        return ask<std::wstring>(&VBoxInstanceImpl::getVmName, machine.get());
    }
    [[nodiscard]] std::wstring getVmUUID(const ScopedMachine& machine) const
    {
        return ask<std::wstring>(&VBoxInstanceImpl::getVmUUID, machine.get());
    }
    [[nodiscard]] State machineGetState(const ScopedMachine& machine) const
    {
        return State(ask<std::uint32_t>(&VBoxInstanceImpl::machineGetState, machine.get()));
    }
    [[nodiscard]] std::wstring getMachineExtraData(const ScopedMachine& machine, const std::wstring& key) const
    {
        return ask<std::wstring>(&VBoxInstanceImpl::getMachineExtraData, machine.get(), key);
    }

    // Machines that come and go.

    [[nodiscard]] std::wstring createVmName(const std::wstring& prefix) const
    {
        return ask<std::wstring>(&VBoxInstanceImpl::createVmName, prefix);
    }
    [[nodiscard]] std::wstring composeMachineFilename(const std::wstring& name) const
    {
        return ask<std::wstring>(&VBoxInstanceImpl::composeMachineFilename, name);
    }
    [[nodiscard]] std::wstring getDefaultMachineFolder() const
    {
        return ask<std::wstring>(&VBoxInstanceImpl::getDefaultMachineFolder);
    }
    void setDefaultMachineFolder(const std::wstring& folder) const
    {
        run(&VBoxInstanceImpl::setDefaultMachineFolder, folder);
    }
    [[nodiscard]] ScopedMachine createMachine(const std::wstring& settingsFile, const std::wstring& name) const
    {
        return ask<ScopedMachine>(&VBoxInstanceImpl::createMachine, settingsFile, name);
    }
    void cloneToMachine(const ScopedMachine& source, const ScopedMachine& target) const
    {
        run(&VBoxInstanceImpl::cloneToMachine, source.get(), target.get());
    }
    void deleteMachine(const ScopedMachine& machine) const { run(&VBoxInstanceImpl::deleteMachine, machine.get()); }
    [[nodiscard]] std::wstring getImportOvaVmName(const std::wstring& ovaPath) const
    {
        return ask<std::wstring>(&VBoxInstanceImpl::getImportOvaVmName, ovaPath);
    }
    void importOva(const std::wstring& ovaPath) const { run(&VBoxInstanceImpl::importOva, ovaPath); }

    // Settings, on the machine of a session.

    void setVmName(const ScopedMachine& machine, const std::wstring& name) const
    {
        run(&VBoxInstanceImpl::setVmName, machine.get(), name);
    }
    void setMachineCPUCount(const ScopedMachine& machine, std::uint32_t count) const
    {
        run(&VBoxInstanceImpl::setMachineCPUCount, machine.get(), count);
    }
    void setMachineMemory(const ScopedMachine& machine, std::uint32_t megabytes) const
    {
        run(&VBoxInstanceImpl::setMachineMemory, machine.get(), megabytes);
    }
    void setMachineParavirtProvider(const ScopedMachine& machine, Paravirtualisation provider) const
    {
        run(&VBoxInstanceImpl::setMachineParavirtProvider, machine.get(), static_cast<std::uint32_t>(provider));
    }
    void setMachineExtraData(const ScopedMachine& machine, const std::wstring& key, const std::wstring& value) const
    {
        run(&VBoxInstanceImpl::setMachineExtraData, machine.get(), key, value);
    }
    void machineCreateSharedFolder(const ScopedMachine& machine, const std::wstring& name, const std::wstring& hostPath,
                                   bool writable, bool automount) const
    {
        run(&VBoxInstanceImpl::machineCreateSharedFolder, machine.get(), name, hostPath, writable ? 1u : 0u,
            automount ? 1u : 0u);
    }
    void machineRemoveSharedFolder(const ScopedMachine& machine, const std::wstring& name) const
    {
        run(&VBoxInstanceImpl::machineRemoveSharedFolder, machine.get(), name);
    }
    void saveSettings(const ScopedMachine& machine) const { run(&VBoxInstanceImpl::saveSettings, machine.get()); }

    // The session and the running machine.

    void lockMachine(const ScopedMachine& machine, Lock type) const
    {
        run(&VBoxInstanceImpl::lockMachine, machine.get(), static_cast<std::uint32_t>(type));
    }
    void unlockMachine() const { run(&VBoxInstanceImpl::unlockMachine); }
    [[nodiscard]] ScopedMachine createMutableMachine(const ScopedMachine& machine) const
    {
        return ask<ScopedMachine>(&VBoxInstanceImpl::createMutableMachine, machine.get());
    }
    [[nodiscard]] ScopedProgress launchVMProcess(const ScopedMachine& machine, const std::wstring& type = L"headless",
                                                 std::list<std::wstring> environmentChanges = {}) const
    {
        return ask<ScopedProgress>(&VBoxInstanceImpl::launchVMProcess, machine.get(), type,
                                   std::move(environmentChanges));
    }
    [[nodiscard]] ScopedConsole getConsole() const { return ask<ScopedConsole>(&VBoxInstanceImpl::getConsole); }
    [[nodiscard]] State consoleGetState(const ScopedConsole& console) const
    {
        return State(ask<std::uint32_t>(&VBoxInstanceImpl::consoleGetState, console.get()));
    }
    void consoleResume(const ScopedConsole& console) const { run(&VBoxInstanceImpl::consoleResume, console.get()); }
    void consoleCreateSharedFolder(const ScopedConsole& console, const std::wstring& name, const std::wstring& hostPath,
                                   bool writable, bool automount) const
    {
        run(&VBoxInstanceImpl::consoleCreateSharedFolder, console.get(), name, hostPath, writable ? 1u : 0u,
            automount ? 1u : 0u);
    }
    void consoleRemoveSharedFolder(const ScopedConsole& console, const std::wstring& name) const
    {
        run(&VBoxInstanceImpl::consoleRemoveSharedFolder, console.get(), name);
    }
    [[nodiscard]] ScopedProgress powerDown(const ScopedConsole& console) const
    {
        return ask<ScopedProgress>(&VBoxInstanceImpl::powerDown, console.get());
    }

    // Progress.

    void progressWaitForCompletion(const ScopedProgress& progress, std::chrono::milliseconds limit) const
    {
        run(&VBoxInstanceImpl::progressWaitForCompletion, progress.get(), static_cast<std::int32_t>(limit.count()));
    }
    [[nodiscard]] bool getProgressCompleted(const ScopedProgress& progress) const
    {
        return ask<std::uint32_t>(&VBoxInstanceImpl::getProgressCompleted, progress.get()) != 0;
    }
    [[nodiscard]] std::int32_t getProgressResultCode(const ScopedProgress& progress) const
    {
        return ask<std::int32_t>(&VBoxInstanceImpl::getProgressResultCode, progress.get());
    }
    [[nodiscard]] std::wstring getProgressErrorInfo(const ScopedProgress& progress) const
    {
        return ask<std::wstring>(&VBoxInstanceImpl::getProgressErrorInfo, progress.get());
    }

    // Host, network, properties, audio.

    [[nodiscard]] ScopedHost getHost() const { return ask<ScopedHost>(&VBoxInstanceImpl::getHost); }
    [[nodiscard]] bool hostGetProcessorFeature(const ScopedHost& host, Feature feature) const
    {
        return ask<std::uint32_t>(&VBoxInstanceImpl::hostGetProcessorFeature, host.get(),
                                  static_cast<std::uint32_t>(feature)) != 0;
    }
    [[nodiscard]] ScopedNetworkAdapter getNetworkAdapter(const ScopedMachine& machine, std::uint32_t slot) const
    {
        return ask<ScopedNetworkAdapter>(&VBoxInstanceImpl::getNetworkAdapter, machine.get(), slot);
    }
    [[nodiscard]] ScopedNATEngine getNATEngine(const ScopedNetworkAdapter& adapter) const
    {
        return ask<ScopedNATEngine>(&VBoxInstanceImpl::getNATEngine, adapter.get());
    }
    void addRedirect(const ScopedNATEngine& natEngine, const std::wstring& name, Protocol protocol,
                     const std::wstring& hostAddress, std::uint32_t hostPort, const std::wstring& guestAddress,
                     std::uint32_t guestPort) const
    {
        run(&VBoxInstanceImpl::addRedirect, natEngine.get(), name, static_cast<std::uint32_t>(protocol), hostAddress,
            hostPort, guestAddress, guestPort);
    }
    void removeRedirect(const ScopedNATEngine& natEngine, const std::wstring& name) const
    {
        run(&VBoxInstanceImpl::removeRedirect, natEngine.get(), name);
    }
    [[nodiscard]] std::list<std::wstring> getRedirects(const ScopedNATEngine& natEngine) const
    {
        return ask<std::list<std::wstring>>(&VBoxInstanceImpl::getRedirects, natEngine.get());
    }
    [[nodiscard]] GuestProperty getGuestProperty(const ScopedMachine& machine, const std::wstring& name) const
    {
        GuestProperty property;
        run(&VBoxInstanceImpl::getGuestProperty, machine.get(), name, &property.value, &property.timestamp,
            &property.flags);
        return property;
    }
    void setGuestProperty(const ScopedMachine& machine, const std::wstring& name, const std::wstring& value,
                          const std::wstring& flags) const
    {
        run(&VBoxInstanceImpl::setGuestProperty, machine.get(), name, value, flags);
    }
    void deleteGuestProperty(const ScopedMachine& machine, const std::wstring& name) const
    {
        run(&VBoxInstanceImpl::deleteGuestProperty, machine.get(), name);
    }
    [[nodiscard]] ScopedAudioAdapter getAudioAdapter(const ScopedMachine& machine) const
    {
        return ask<ScopedAudioAdapter>(&VBoxInstanceImpl::getAudioAdapter, machine.get());
    }
    void setAudioAdapterEnabled(const ScopedAudioAdapter& audioAdapter, bool enabled) const
    {
        run(&VBoxInstanceImpl::setAudioAdapterEnabled, audioAdapter.get(), enabled ? 1u : 0u);
    }

    // Disk images.

    [[nodiscard]] ScopedMedium openMedium(const std::wstring& location, bool forceNewUuid) const
    {
        return ask<ScopedMedium>(&VBoxInstanceImpl::openMedium, location, forceNewUuid);
    }
    void closeMedium(const ScopedMedium& medium) const { run(&VBoxInstanceImpl::closeMedium, medium.get()); }
    void deleteMedium(const ScopedMedium& medium) const { run(&VBoxInstanceImpl::deleteMedium, medium.get()); }
    void renameVmDisk(const std::wstring& fromPath, const std::wstring& toPath) const
    {
        run(&VBoxInstanceImpl::renameVmDisk, fromPath, toPath);
    }
    [[nodiscard]] std::wstring getMediumLocation(const ScopedMedium& medium) const
    {
        return ask<std::wstring>(&VBoxInstanceImpl::getMediumLocation, medium.get());
    }
    [[nodiscard]] std::wstring getMediumUUID(const ScopedMedium& medium) const
    {
        return ask<std::wstring>(&VBoxInstanceImpl::getMediumUUID, medium.get());
    }
    [[nodiscard]] ImageState getMediumState(const ScopedMedium& medium) const
    {
        return ImageState(ask<std::uint32_t>(&VBoxInstanceImpl::getMediumState, medium.get()));
    }
    [[nodiscard]] std::wstring getMediumLastAccessError(const ScopedMedium& medium) const
    {
        return ask<std::wstring>(&VBoxInstanceImpl::getMediumLastAccessError, medium.get());
    }
    void attachMedium(const ScopedMachine& machine, const ScopedMedium& medium, const std::wstring& controllerName,
                      std::int32_t port, std::int32_t device) const
    {
        run(&VBoxInstanceImpl::attachMedium, machine.get(), medium.get(), controllerName, port, device);
    }
    void detachMedium(const ScopedMachine& machine, const std::wstring& controllerName, std::int32_t port,
                      std::int32_t device) const
    {
        run(&VBoxInstanceImpl::detachMedium, machine.get(), controllerName, port, device);
    }
    [[nodiscard]] ScopedMedium getCurrentMedium(const ScopedMachine& machine, const std::wstring& controllerName,
                                                std::int32_t port, std::int32_t device) const
    {
        return ask<ScopedMedium>(&VBoxInstanceImpl::getCurrentMedium, machine.get(), controllerName, port, device);
    }
    [[nodiscard]] std::uint32_t getMachineStorageControllerPortCount(const ScopedMachine& machine,
                                                                     const std::wstring& controllerName) const
    {
        return ask<std::uint32_t>(&VBoxInstanceImpl::getMachineStorageControllerPortCount, machine.get(),
                                  controllerName);
    }

    // Events (EventLoop calls them).

    [[nodiscard]] ScopedEventSource getEventSource(const ScopedConsole& console) const
    {
        return ask<ScopedEventSource>(&VBoxInstanceImpl::getEventSource, console.get());
    }
    [[nodiscard]] ScopedEventListener eventSourceCreateListener(const ScopedEventSource& source) const
    {
        return ask<ScopedEventListener>(&VBoxInstanceImpl::eventSourceCreateListener, source.get());
    }
    void eventSourceRegisterListener(const ScopedEventSource& source, const ScopedEventListener& listener,
                                     const std::vector<EventType>& types) const
    {
        std::vector<std::uint32_t> numbers;
        for (const EventType type : types)
            numbers.push_back(static_cast<std::uint32_t>(type));
        run(&VBoxInstanceImpl::eventSourceRegisterListener, source.get(), listener.get(), std::move(numbers), 0u);
    }
    /// On success both are given back.
    void eventSourceUnregisterListener(ScopedEventSource& source, ScopedEventListener& listener) const
    {
        run(&VBoxInstanceImpl::eventSourceUnregisterListener, source.get(), listener.get());
        source.detach();
        listener.detach();
    }
    [[nodiscard]] ScopedEvent eventSourceGetEvent(const ScopedEventSource& source, const ScopedEventListener& listener,
                                                  std::chrono::milliseconds limit) const
    {
        return ask<ScopedEvent>(&VBoxInstanceImpl::eventSourceGetEvent, source.get(), listener.get(),
                                static_cast<std::uint32_t>(limit.count()));
    }
    void eventSourceEventProcessed(const ScopedEventSource& source, const ScopedEventListener& listener,
                                   const ScopedEvent& event) const
    {
        run(&VBoxInstanceImpl::eventSourceEventProcessed, source.get(), listener.get(), event.get());
    }
    void eventSourceReleaseEvent(ScopedEvent& event) const
    {
        run(&VBoxInstanceImpl::eventSourceReleaseEvent, event.get());
        event.detach();
    }
    [[nodiscard]] EventType eventSourceEventGetType(const ScopedEvent& event) const
    {
        return EventType(ask<std::uint32_t>(&VBoxInstanceImpl::eventSourceEventGetType, event.get()));
    }
    [[nodiscard]] ScopedStateChangedEvent getEventSourceStateChangedEvent(const ScopedEvent& event) const
    {
        return ask<ScopedStateChangedEvent>(&VBoxInstanceImpl::getEventSourceStateChangedEvent, event.get());
    }
    [[nodiscard]] State eventSourceStateChangedEventGetState(const ScopedStateChangedEvent& event) const
    {
        return State(ask<std::uint32_t>(&VBoxInstanceImpl::eventSourceStateChangedEventGetState, event.get()));
    }
    [[nodiscard]] ScopedRuntimeErrorEvent getEventSourceRuntimeErrorEvent(const ScopedEvent& event) const
    {
        return ask<ScopedRuntimeErrorEvent>(&VBoxInstanceImpl::getEventSourceRuntimeErrorEvent, event.get());
    }
    [[nodiscard]] bool eventSourceRuntimeErrorEventGetFatal(const ScopedRuntimeErrorEvent& event) const
    {
        return ask<std::int32_t>(&VBoxInstanceImpl::eventSourceRuntimeErrorEventGetFatal, event.get()) != 0;
    }
    [[nodiscard]] std::wstring eventSourceRuntimeErrorEventGetId(const ScopedRuntimeErrorEvent& event) const
    {
        return ask<std::wstring>(&VBoxInstanceImpl::eventSourceRuntimeErrorEventGetId, event.get());
    }
    [[nodiscard]] std::wstring eventSourceRuntimeErrorEventGetMessage(const ScopedRuntimeErrorEvent& event) const
    {
        return ask<std::wstring>(&VBoxInstanceImpl::eventSourceRuntimeErrorEventGetMessage, event.get());
    }

private:
    template <class... Parameters, class... Arguments>
    void run(SdkErrorCode (VBoxInstanceImpl::*operation)(Parameters...), Arguments&&... arguments) const
    {
        Travik::run(*vbox_, operation, std::forward<Arguments>(arguments)...);
    }
    template <class Answer, class... Parameters, class... Arguments>
    [[nodiscard]] Answer ask(SdkErrorCode (VBoxInstanceImpl::*operation)(Parameters...), Arguments&&... arguments) const
    {
        return Travik::ask<Answer>(*vbox_, operation, std::forward<Arguments>(arguments)...);
    }

    VBoxInstanceImpl* vbox_;
};

/// The connection of a thread: makes the VirtualBox objects, and drops them with all handles at its end. Owners of
/// handles may end before or after it.
class Connection : public Operations
{
public:
    explicit Connection(Deadline deadline, const OnWait& onWait = OnWait())
        : Connection(*GetVBoxInstance(), deadline, onWait)
    {}
    Connection(VBoxInstanceImpl& vbox, Deadline deadline, const OnWait& onWait = OnWait()) : Operations(vbox)
    {
        connect(vbox, deadline, onWait);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection()
    {
        try {
            plain().releaseRC();
        } catch (...) { // the mutex: the objects stay with the library
        }
    }
};

} // namespace Travik

#endif
