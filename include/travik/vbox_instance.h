#ifndef TRAVIK_VBOX_INSTANCE_H
#define TRAVIK_VBOX_INSTANCE_H

#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "same_compiler.h"
#include "sdk_error.h"
#include "vbox_types.h"

#if defined(_WIN32) && defined(TRAVIK_SDK_EXPORTS)
#define TRAVIK_API __declspec(dllexport)
#elif defined(_WIN32) && !defined(TRAVIK_SDK_STATIC)
#define TRAVIK_API __declspec(dllimport)
#else
#define TRAVIK_API
#endif

namespace Travik {

/// Everything a front end does with VirtualBox. There is one object, from GetVBoxInstance; the caller never deletes it.
///
/// Results. An operation returns 0 or the code of the step that failed; the codes named below are its own. On failure
/// outputs are left as they were; getVBoxError and getVBoxErrorMessage tell the HRESULT and a readable text. An output
/// parameter may be null: the operation then hands nothing out there and still returns 0 (the time stamp of
/// getGuestProperty and the flag of eventSourceRuntimeErrorEventGetFatal are the exceptions). A handle that is not in
/// its table gives the code of that table (181 to 194) without asking VirtualBox. RPC failures of a server that died
/// come back as the code of the operation.
///
/// Handles. Every call that hands out an object makes a new handle, also for an object that the caller already holds.
/// The library owns the object; the caller gives the handle back through the release operation of its kind. A table
/// that holds more than 2000 entries drops its oldest one for each new one.
///
/// Threads. COM is initialised, single-threaded, on the thread whose call creates the VirtualBox objects (the first
/// that needs them); call the operations from that thread, which a real VirtualBox server insists on. One mutex
/// serialises operations and is free while VirtualBox works. "Blocks" below marks operations that wait for more than
/// one answer of the server.
///
/// Exceptions. A lock that the system refuses (std::system_error) and a lack of memory for a COM string (_com_error,
/// E_OUTOFMEMORY) leave any operation as exceptions; so do the file system's failures (Poco::Exception) in the
/// operations that touch files themselves: createVmName, setDefaultMachineFolder, openMedium, deleteMedium, importOva,
/// getImportOvaVmName, renameVmDisk.
///
/// The order of the declarations is the binary contract: new operations are never inserted.
class VBoxInstanceImpl
{
public:
    /// Sends the log to this file (appending), away from standard output. Always 0, also when the file cannot be
    /// opened: the log then stays on standard output. Takes no lock: call it before other threads run operations.
    virtual SdkErrorCode setLogPath(const std::wstring& path) = 0; // 0

    /// A free machine name: prefix, "_" and the first number from 1 to 99 whose settings file does not exist; an empty
    /// prefix stands for "kolbrenix_vbox86". The 99th is handed out even when it is taken. Returns the result of the
    /// last composeMachineFilename (0, 101, 159). Holds no lock of its own.
    virtual SdkErrorCode createVmName(const std::wstring& prefix, std::wstring* name) = 0; // 1

    /// Where VirtualBox would put the settings file of a machine of that name. 101, 159.
    virtual SdkErrorCode composeMachineFilename(const std::wstring& name, std::wstring* file) = 0; // 2

    /// The folder in which VirtualBox creates machines. 101, 160, 162.
    virtual SdkErrorCode getDefaultMachineFolder(std::wstring* folder) = 0; // 3

    /// Changes the folder in which VirtualBox creates machines; it must exist. 195, 101, 160, 161.
    virtual SdkErrorCode setDefaultMachineFolder(const std::wstring& folder) = 0; // 4

    /// Opens a hard-disk image for reading and writing. forceNewUuid gives the image a new UUID. Release the handle
    /// with releaseMedium. 195 (no such file), 101, 163.
    virtual SdkErrorCode openMedium(const std::wstring& location, bool forceNewUuid, VBoxHandle* medium) = 0; // 5

    /// Makes VirtualBox forget the image; the handle stays until releaseMedium. 194, 164.
    virtual SdkErrorCode closeMedium(VBoxHandle medium) = 0; // 6

    /// Removes the image's file. Close the medium afterwards: a closed one no longer tells its location. 194, 200, 197
    /// (not removed).
    virtual SdkErrorCode deleteMedium(VBoxHandle medium) = 0; // 7

    /// Puts an image on a controller's port and device, marked as a solid-state disk that takes discards (a refused
    /// mark is only logged). The machine must be the mutable one of a locked session; kept by saveSettings. 181, 194,
    /// 167.
    virtual SdkErrorCode attachMedium(VBoxHandle machine, VBoxHandle medium, const std::wstring& controllerName,
                                      std::int32_t port, std::int32_t device) = 0; // 8

    /// Takes the image off a controller's port and device; kept by saveSettings. 181, 168.
    virtual SdkErrorCode detachMedium(VBoxHandle machine, const std::wstring& controllerName, std::int32_t port,
                                      std::int32_t device) = 0; // 9

    /// Renames a machine; takes effect with saveSettings, which also moves its files. 181, 169.
    virtual SdkErrorCode setVmName(VBoxHandle machine, const std::wstring& name) = 0; // 10

    /// The name of a machine. 181, 169 (the code of setVmName).
    virtual SdkErrorCode getVmName(VBoxHandle machine, std::wstring* name) = 0; // 11

    /// The UUID of a machine, lower case without braces. 181, 169 (the code of setVmName).
    virtual SdkErrorCode getVmUUID(VBoxHandle machine, std::wstring* uuid) = 0; // 12

    /// The machine name that an import of this appliance file would give; left as it was when the file gives none.
    /// Blocks until the file is read. 195, 101, 170, 171, 121, 172, 211.
    virtual SdkErrorCode getImportOvaVmName(const std::wstring& ovaPath, std::wstring* name) = 0; // 13

    /// Imports an appliance file, its disks as VDI; the machine is then found by its name. Blocks until done, which can
    /// take minutes. 195, 101, 170, 171, 121, 172, 148, 174.
    virtual SdkErrorCode importOva(const std::wstring& ovaPath) = 0; // 14

    /// Creates an empty machine, neither saved nor registered; an empty settingsFile means the composed one. Release
    /// the handle with releaseMachine. 101, 177.
    virtual SdkErrorCode createMachine(const std::wstring& settingsFile, const std::wstring& name,
                                       VBoxHandle* machine) = 0; // 15

    /// Copies all states of source into target, a machine from createMachine that is not registered yet. Blocks until
    /// the disks are copied. 181, 178, 121.
    virtual SdkErrorCode cloneToMachine(VBoxHandle source, VBoxHandle target) = 0; // 16

    /// Unregisters a machine and deletes its settings and hard disks. Blocks until done. The handle stays until
    /// releaseMachine. 181, 179, 180, 121.
    virtual SdkErrorCode deleteMachine(VBoxHandle machine) = 0; // 17

    /// Moves a disk image file; VirtualBox is not told, so detach and close the image first. Nothing is overwritten.
    /// Leaves getVBoxError as it was. 196.
    virtual SdkErrorCode renameVmDisk(const std::wstring& fromPath, const std::wstring& toPath) = 0; // 18

    /// Creates the VirtualBox objects now rather than on first need, and so decides the thread they belong to. Returns
    /// 0 even when that fails: ask getVBoxError. 101 is reserved.
    virtual SdkErrorCode initComComponent() = 0; // 19

    /// Drops all objects and handles and creates the VirtualBox objects anew, for example after the server died.
    /// Returns 0 even when that fails: ask getVBoxError.
    virtual SdkErrorCode resetComComponent() = 0; // 20

    /// Drops all objects and handles. The next operation that needs VirtualBox creates the objects again. Always 0.
    virtual SdkErrorCode releaseRC() = 0; // 21

    /// The HRESULT of the last failed VirtualBox call, 0 when the last operation did not fail in one. Shared by all
    /// threads.
    virtual std::uint32_t getVBoxError() = 0; // 22

    /// The text of the last recorded failure; success does not clear it. Shared by all threads.
    virtual std::wstring getVBoxErrorMessage() = 0; // 23

    /// Opens a machine by its settings file; it need not be registered. Release the handle with releaseMachine. 101,
    /// 106.
    virtual SdkErrorCode openMachine(const std::wstring& settingsFile, VBoxHandle* machine) = 0; // 24

    /// Finds a registered machine by its exact name or its UUID. Release the handle with releaseMachine. 101, 107.
    virtual SdkErrorCode findMachine(const std::wstring& nameOrId, VBoxHandle* machine) = 0; // 25

    /// Starts a machine. type is the front end that VirtualBox knows ("headless", "gui", ...); environmentChanges are
    /// NAME=value or NAME entries for its process. Wait on the progress; its result tells whether the machine runs.
    /// Release it with releaseProgress. Not for a locked machine or session; without a session VirtualBox refuses it.
    /// 181, 108.
    virtual SdkErrorCode launchVMProcess(VBoxHandle machine, const std::wstring& type,
                                         std::list<std::wstring> environmentChanges, VBoxHandle* progress) = 0; // 26

    /// Locks a machine to the library's one session; lockType as in LockType. Without a session VirtualBox refuses it.
    /// 181, 109.
    virtual SdkErrorCode lockMachine(VBoxHandle machine, std::uint32_t lockType) = 0; // 27

    /// Gives the session's lock back; changes that were not saved are lost. 101, 110.
    virtual SdkErrorCode unlockMachine() = 0; // 28

    /// Adds a machine to VirtualBox's list. 101, 181, 111.
    virtual SdkErrorCode registerMachine(VBoxHandle machine) = 0; // 29

    /// The state of a machine, as in MachineState. 181, 112.
    virtual SdkErrorCode machineGetState(VBoxHandle machine, std::uint32_t* state) = 0; // 30

    /// A value of a machine's extra data, empty when there is none. 181, 158.
    virtual SdkErrorCode getMachineExtraData(VBoxHandle machine, const std::wstring& key,
                                             std::wstring* value) = 0; // 31

    /// The mutable machine of the library's session, whatever machine is passed: lockMachine decides. Release the
    /// handle with releaseMachine. 101, 113.
    virtual SdkErrorCode createMutableMachine(VBoxHandle machine, VBoxHandle* mutableMachine) = 0; // 32

    /// Sets the number of processors; on a mutable machine, kept by saveSettings. 181, 115.
    virtual SdkErrorCode setMachineCPUCount(VBoxHandle machine, std::uint32_t count) = 0; // 33

    /// Sets the memory size; on a mutable machine, kept by saveSettings. 181, 116.
    virtual SdkErrorCode setMachineMemory(VBoxHandle machine, std::uint32_t megabytes) = 0; // 34

    /// Sets the paravirtualisation provider, as in ParavirtProvider; on a mutable machine, kept by saveSettings. 181,
    /// 117.
    virtual SdkErrorCode setMachineParavirtProvider(VBoxHandle machine, std::uint32_t provider) = 0; // 35

    /// Sets a value of a machine's extra data; an empty value deletes the key. 181, 118.
    virtual SdkErrorCode setMachineExtraData(VBoxHandle machine, const std::wstring& key,
                                             const std::wstring& value) = 0; // 36

    /// Writes a mutable machine's settings. 181, 119.
    virtual SdkErrorCode saveSettings(VBoxHandle machine) = 0; // 37

    /// Switches a running machine off. Wait on the progress; release it with releaseProgress. 184, 120.
    virtual SdkErrorCode powerDown(VBoxHandle console, VBoxHandle* progress) = 0; // 38

    /// Waits until a progress is complete or the time, in milliseconds, is over (-1: without limit); success says only
    /// that the wait was not disturbed. Blocks. 183, 121.
    virtual SdkErrorCode progressWaitForCompletion(VBoxHandle progress, std::int32_t timeoutMs) = 0; // 39

    /// Whether a progress is complete, 0 or 1. 183, 122.
    virtual SdkErrorCode getProgressCompleted(VBoxHandle progress, std::uint32_t* completed) = 0; // 40

    /// The result of a complete progress: an HRESULT, negative for failure. 183, 123.
    virtual SdkErrorCode getProgressResultCode(VBoxHandle progress, std::int32_t* resultCode) = 0; // 41

    /// The error text of a failed progress; left as it was when there is none. 183, 124.
    virtual SdkErrorCode getProgressErrorInfo(VBoxHandle progress, std::wstring* errorText) = 0; // 42

    /// The host computer. Release the handle with releaseHost. 101, 125.
    virtual SdkErrorCode getHost(VBoxHandle* host) = 0; // 43

    /// Whether the host's processor has a feature, as in ProcessorFeature: 0 or 1. 193, 126.
    virtual SdkErrorCode hostGetProcessorFeature(VBoxHandle host, std::uint32_t feature,
                                                 std::uint32_t* supported) = 0; // 44

    /// Removes a permanent shared folder; on a mutable machine, kept by saveSettings. 181, 127.
    virtual SdkErrorCode machineRemoveSharedFolder(VBoxHandle machine, const std::wstring& name) = 0; // 45

    /// Shares a host folder permanently; on a mutable machine, kept by saveSettings. Non-zero writable and automount
    /// mean yes. 181, 128.
    virtual SdkErrorCode machineCreateSharedFolder(VBoxHandle machine, const std::wstring& name,
                                                   const std::wstring& hostPath, std::uint32_t writable,
                                                   std::uint32_t automount) = 0; // 46

    /// The console of the session's running machine. Left as it was when the session has none. Release the handle with
    /// releaseConsole. 101, 129.
    virtual SdkErrorCode getConsole(VBoxHandle* console) = 0; // 47

    /// The state of the console's machine, as in MachineState. 184, 130.
    virtual SdkErrorCode consoleGetState(VBoxHandle console, std::uint32_t* state) = 0; // 48

    /// Lets a paused machine run on. 184, 131.
    virtual SdkErrorCode consoleResume(VBoxHandle console) = 0; // 49

    /// Removes a shared folder of the running machine. 184, 132.
    virtual SdkErrorCode consoleRemoveSharedFolder(VBoxHandle console, const std::wstring& name) = 0; // 50

    /// Shares a host folder with the running machine only. Non-zero writable and automount mean yes. 184, 133.
    virtual SdkErrorCode consoleCreateSharedFolder(VBoxHandle console, const std::wstring& name,
                                                   const std::wstring& hostPath, std::uint32_t writable,
                                                   std::uint32_t automount) = 0; // 51

    /// A network adapter of a machine, the first in slot 0. Release the handle with releaseNetworkAdapter. 181, 134.
    virtual SdkErrorCode getNetworkAdapter(VBoxHandle machine, std::uint32_t slot, VBoxHandle* adapter) = 0; // 52

    /// The NAT engine of a network adapter. Release the handle with releaseNATEngine. 192, 135.
    virtual SdkErrorCode getNATEngine(VBoxHandle adapter, VBoxHandle* natEngine) = 0; // 53

    /// Removes a port-forwarding rule. 191, 136.
    virtual SdkErrorCode removeRedirect(VBoxHandle natEngine, const std::wstring& name) = 0; // 54

    /// Adds a port-forwarding rule; protocol as in NATProtocol, addresses in dotted form or empty for VirtualBox's
    /// default. Only the low 16 bits of a port count. An equal rule makes it fail. 191, 137.
    virtual SdkErrorCode addRedirect(VBoxHandle natEngine, const std::wstring& name, std::uint32_t protocol,
                                     std::wstring hostIP, std::uint32_t hostPort, std::wstring guestIP,
                                     std::uint32_t guestPort) = 0; // 55

    /// The port-forwarding rules as "name,protocol,host address,host port,guest address,guest port", all but the last
    /// one: the list never holds it, so a single rule gives an empty list. Replaces the caller's list. 191, 138.
    virtual SdkErrorCode getRedirects(VBoxHandle natEngine, std::list<std::wstring>* rules) = 0; // 56

    /// A guest property with its time stamp (nanoseconds since 1970) and flags. Without a time stamp VirtualBox
    /// fails the call; value and flags may be null, and the rest is handed out all the same. 181, 139.
    virtual SdkErrorCode getGuestProperty(VBoxHandle machine, const std::wstring& name, std::wstring* value,
                                          std::int64_t* timestamp, std::wstring* flags) = 0; // 57

    /// Sets a guest property; flags are comma-separated, empty for none. 181, 140.
    virtual SdkErrorCode setGuestProperty(VBoxHandle machine, const std::wstring& name, const std::wstring& value,
                                          const std::wstring& flags) = 0; // 58

    /// Deletes a guest property. 181, 141.
    virtual SdkErrorCode deleteGuestProperty(VBoxHandle machine, const std::wstring& name) = 0; // 59

    /// The audio adapter of a machine. Release the handle with releaseAudioAdapter. 181, 142.
    virtual SdkErrorCode getAudioAdapter(VBoxHandle machine, VBoxHandle* audioAdapter) = 0; // 60

    /// Switches an audio adapter on (non-zero) or off; kept by saveSettings. 190, 143.
    virtual SdkErrorCode setAudioAdapterEnabled(VBoxHandle audioAdapter, std::uint32_t enabled) = 0; // 61

    /// The event source of a running machine's console. eventSourceUnregisterListener or releaseEventSource give the
    /// handle back. 184, 144.
    virtual SdkErrorCode getEventSource(VBoxHandle console, VBoxHandle* eventSource) = 0; // 62

    /// A new listener. eventSourceUnregisterListener or releaseEventListener give the handle back. 185, 145.
    virtual SdkErrorCode eventSourceCreateListener(VBoxHandle eventSource, VBoxHandle* listener) = 0; // 63

    /// Registers a listener for event types as in VBoxEventType. active is 0: the caller pulls the events. VirtualBox
    /// drops a listener that leaves more than 500 events unread. 185, 186, 148, 146.
    virtual SdkErrorCode eventSourceRegisterListener(VBoxHandle eventSource, VBoxHandle listener,
                                                     std::vector<std::uint32_t> types, std::uint32_t active) = 0; // 64

    /// Ends the registration. On success both handles are given back too. 185, 186, 147.
    virtual SdkErrorCode eventSourceUnregisterListener(VBoxHandle eventSource, VBoxHandle listener) = 0; // 65

    /// The next event, waiting up to timeoutMs milliseconds for it; event is left as it was when none came, so preset
    /// it to 0. Blocks. Mark it with eventSourceEventProcessed, then give it back with eventSourceReleaseEvent. 185,
    /// 186, 149.
    virtual SdkErrorCode eventSourceGetEvent(VBoxHandle eventSource, VBoxHandle listener, std::uint32_t timeoutMs,
                                             VBoxHandle* event) = 0; // 66

    /// Gives an event's handle back. Leaves getVBoxError as it was. 187.
    virtual SdkErrorCode eventSourceReleaseEvent(VBoxHandle event) = 0; // 67

    /// Tells VirtualBox that the listener is done with the event. 185, 186, 187, 150.
    virtual SdkErrorCode eventSourceEventProcessed(VBoxHandle eventSource, VBoxHandle listener,
                                                   VBoxHandle event) = 0; // 68

    /// The type of an event, as in VBoxEventType. 187, 151.
    virtual SdkErrorCode eventSourceEventGetType(VBoxHandle event, std::uint32_t* type) = 0; // 69

    /// The event as a change of state; fails for events of another type. Release the handle with
    /// releaseStateChangedEvent. 187, 152.
    virtual SdkErrorCode getEventSourceStateChangedEvent(VBoxHandle event, VBoxHandle* stateChangedEvent) = 0; // 70

    /// The new state, as in MachineState. 188, 153.
    virtual SdkErrorCode eventSourceStateChangedEventGetState(VBoxHandle stateChangedEvent,
                                                              std::uint32_t* state) = 0; // 71

    /// The event as a runtime error; fails for events of another type. Release the handle with
    /// releaseRuntimeErrorEvent. 187, 154.
    virtual SdkErrorCode getEventSourceRuntimeErrorEvent(VBoxHandle event, VBoxHandle* runtimeErrorEvent) = 0; // 72

    /// Whether the error is fatal, 0 or 1. VirtualBox writes to the parameter itself and fails without one. 189, 155.
    virtual SdkErrorCode eventSourceRuntimeErrorEventGetFatal(VBoxHandle runtimeErrorEvent,
                                                              std::int32_t* fatal) = 0; // 73

    /// The error's identifier. 189, 156.
    virtual SdkErrorCode eventSourceRuntimeErrorEventGetId(VBoxHandle runtimeErrorEvent, std::wstring* id) = 0; // 74

    /// The error's text; may be empty. 189, 157.
    virtual SdkErrorCode eventSourceRuntimeErrorEventGetMessage(VBoxHandle runtimeErrorEvent,
                                                                std::wstring* message) = 0; // 75

    /// The number of ports of a storage controller. 181, 198, 199.
    virtual SdkErrorCode getMachineStorageControllerPortCount(VBoxHandle machine, const std::wstring& controllerName,
                                                              std::uint32_t* portCount) = 0; // 76

    /// The full path of an image. 194, 200.
    virtual SdkErrorCode getMediumLocation(VBoxHandle medium, std::wstring* location) = 0; // 77

    /// The state of an image as in MediumState, checked on the file again. 194, 213.
    virtual SdkErrorCode getMediumState(VBoxHandle medium, std::uint32_t* state) = 0; // 78

    /// The UUID of an image, lower case without braces. 194, 215.
    virtual SdkErrorCode getMediumUUID(VBoxHandle medium, std::wstring* uuid) = 0; // 79

    /// Why the last check found the image inaccessible; empty when it did not. 194, 214.
    virtual SdkErrorCode getMediumLastAccessError(VBoxHandle medium, std::wstring* text) = 0; // 80

    /// The image on a controller's port and device; left as it was for an empty drive. Release the handle with
    /// releaseMedium. 181, 201.
    virtual SdkErrorCode getCurrentMedium(VBoxHandle machine, const std::wstring& controllerName, std::int32_t port,
                                          std::int32_t device, VBoxHandle* medium) = 0; // 81

    /// Appends a new handle for every registered machine to the caller's list. Release each with releaseMachine. 101,
    /// 210 (VirtualBox could not list them), 148.
    virtual SdkErrorCode listVms(std::vector<VBoxHandle>* machines) = 0; // 82

    // Converters between the library's numbering and VirtualBox's. Pure: no lock, no log; an unknown value gives 0.

    /// VirtualBox's machine state (MachineState) to the library's (SdkMachineState): 1 to 15 as they are, 17 to 23 one
    /// less.
    virtual std::uint32_t toSdkMachineState(std::uint32_t value) = 0; // 83
    /// The library's machine state (SdkMachineState) to VirtualBox's (MachineState): 1 to 15 as they are, 16 to 22 one
    /// more.
    virtual std::uint32_t toVBoxMachineState(std::uint32_t value) = 0; // 84
    /// 1 for 1.
    virtual std::uint32_t toVBoxFlagA(std::uint32_t value) = 0; // 85
    /// 1 for any non-zero value.
    virtual std::uint32_t toSdkFlagA(std::uint32_t value) = 0; // 86
    /// 1 to 5 as they are.
    virtual std::uint32_t toVBoxKindA(std::uint32_t value) = 0; // 87
    /// 1 to 5 as they are.
    virtual std::uint32_t toSdkKindA(std::uint32_t value) = 0; // 88
    /// 1 for 1.
    virtual std::uint32_t toVBoxFlagB(std::uint32_t value) = 0; // 89
    /// 1 for any non-zero value.
    virtual std::uint32_t toSdkFlagB(std::uint32_t value) = 0; // 90
    /// 1 to 6 as they are.
    virtual std::uint32_t toVBoxParavirtProvider(std::uint32_t value) = 0; // 91
    /// 1 to 6 as they are.
    virtual std::uint32_t toSdkParavirtProvider(std::uint32_t value) = 0; // 92
    /// The library's event type to VirtualBox's: 1 is 46 (state changed), 2 is 57 (runtime error).
    virtual std::uint32_t toVBoxEventType(std::uint32_t value) = 0; // 93
    /// VirtualBox's event type to the library's: 46 is 1, 57 is 2.
    virtual std::uint32_t toSdkEventType(std::uint32_t value) = 0; // 94
    /// 1 to 5 as they are.
    virtual std::uint32_t toVBoxKindB(std::uint32_t value) = 0; // 95
    /// 1 to 5 as they are.
    virtual std::uint32_t toSdkKindB(std::uint32_t value) = 0; // 96
    /// 1 for 1.
    virtual std::uint32_t toVBoxFlagC(std::uint32_t value) = 0; // 97
    /// 1 for any non-zero value.
    virtual std::uint32_t toSdkFlagC(std::uint32_t value) = 0; // 98
    /// 1 for 1.
    virtual std::uint32_t toVBoxSwitch(std::uint32_t value) = 0; // 99
    /// 1 for 1.
    virtual std::uint32_t toSdkSwitch(std::uint32_t value) = 0; // 100
    /// VBoxResultCode to HRESULT.
    virtual std::uint32_t toHResult(std::uint32_t value) = 0; // 101
    /// HRESULT to VBoxResultCode: 0 for 0, 31 for a result that the library does not know.
    virtual std::uint32_t toVBoxResultCode(std::uint32_t value) = 0; // 102
    /// 1 to 3 as they are.
    virtual std::uint32_t toVBoxKindC(std::uint32_t value) = 0; // 103
    /// 1 to 3 as they are.
    virtual std::uint32_t toSdkKindC(std::uint32_t value) = 0; // 104

    // Giving handles back. Always 0, also for an unknown handle; not logged.

    virtual SdkErrorCode releaseMachine(VBoxHandle machine) = 0;                     // 105
    virtual SdkErrorCode releaseProgress(VBoxHandle progress) = 0;                   // 106
    virtual SdkErrorCode releaseConsole(VBoxHandle console) = 0;                     // 107
    virtual SdkErrorCode releaseEventSource(VBoxHandle eventSource) = 0;             // 108
    virtual SdkErrorCode releaseEventListener(VBoxHandle listener) = 0;              // 109
    virtual SdkErrorCode releaseEvent(VBoxHandle event) = 0;                         // 110
    virtual SdkErrorCode releaseStateChangedEvent(VBoxHandle stateChangedEvent) = 0; // 111
    virtual SdkErrorCode releaseRuntimeErrorEvent(VBoxHandle runtimeErrorEvent) = 0; // 112
    virtual SdkErrorCode releaseAudioAdapter(VBoxHandle audioAdapter) = 0;           // 113
    virtual SdkErrorCode releaseNATEngine(VBoxHandle natEngine) = 0;                 // 114
    virtual SdkErrorCode releaseNetworkAdapter(VBoxHandle adapter) = 0;              // 115
    virtual SdkErrorCode releaseHost(VBoxHandle host) = 0;                           // 116
    virtual SdkErrorCode releaseMedium(VBoxHandle medium) = 0;                       // 117

protected:
    ~VBoxInstanceImpl() = default; // not virtual: it would take a slot, and the caller never deletes the object
};

} // namespace Travik

extern "C" {

/// The one object of the process, made on the first call (from any thread). Touches no COM, so it succeeds without
/// VirtualBox too. The library owns it.
TRAVIK_API Travik::VBoxInstanceImpl* GetVBoxInstance();

/// Removes a file, or a folder with all it holds; true when it no longer exists, false also when it never did. path
/// must not be null. A refusal of the file system leaves as Poco::Exception.
TRAVIK_API bool utils_removeFilePath(const wchar_t* path);

/// The text in UTF-8; valid until the next call on the same thread, nothing to free. text must not be null.
TRAVIK_API const char* utils_toUTF8(const wchar_t* text);
}

#endif
