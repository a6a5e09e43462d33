#ifndef TRAVIK_HPP
#define TRAVIK_HPP

// Made by scripts/make_flat.py from src/c/travik.hpp.in, src/c/methods.tsv and vbox_instance.h; change those.

// The library as C++17 for any compiler, header only, on top of travik.h: nothing of a C++ runtime crosses to the DLL.
//
//     travik::Library library;
//     travik::Machine machine = library.findMachine("Player");
//     {
//         travik::LockedSession session(machine, travik::LockType::Write, std::chrono::seconds(10));
//         session.machine().setMemory(4096);
//         session.save();
//     }
//     machine.launch("headless").finish(std::chrono::minutes(1));
//     travik::Watch watch(library.console());
//     while (std::optional<travik::Notice> notice = watch.next(std::chrono::seconds(5)))
//         std::cout << "state " << int(notice->state) << '\n';
//
// Texts are UTF-8. Failures are travik::Error. Objects own their handles and move. Any thread may call; a method may
// end with a limit of time, after which it throws travik::TimedOut. What is said of the functions in travik.h holds.

#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "travik.h"

namespace travik {

/// A call that failed. what() is "findMachine: FindMachineFail (107), VBOX_E_OBJECT_NOT_FOUND: ...".
class Error : public std::runtime_error
{
public:
    explicit Error(const travik_error& error)
        : std::runtime_error(summary(error)),
          code_(error.code),
          result_(error.result),
          operation_(error.operation),
          text_(error.text)
    {}

    /// The library's code or one of 1001 upwards, as in travik.h.
    std::uint32_t code() const noexcept { return code_; }
    const char* codeName() const noexcept { return travik_codeName(code_); }
    /// VirtualBox's HRESULT, 0 when it was not asked.
    std::uint32_t result() const noexcept { return result_; }
    const char* resultName() const noexcept { return travik_resultName(result_); }
    const std::string& operation() const noexcept { return operation_; }
    const std::string& text() const noexcept { return text_; }

    /// VirtualBox's server is gone: call Library::reconnect and find the machines again.
    bool isServerGone() const noexcept { return travik_isServerGone(result_) != 0; }

private:
    static std::string summary(const travik_error& error)
    {
        std::string text =
            std::string(error.operation) + ": " + error.codeName + " (" + std::to_string(error.code) + ")";
        if (*error.resultName != 0)
            text += std::string(", ") + error.resultName;
        if (*error.text != 0)
            text += std::string(": ") + error.text;
        return text;
    }

    std::uint32_t code_;
    std::uint32_t result_;
    std::string operation_;
    std::string text_;
};

/// The limit of a call passed.
class TimedOut : public Error
{
public:
    using Error::Error;
};

/// How long a call may take; none: what the library was opened with.
struct Limit
{
    constexpr Limit() = default;
    template <class Rep, class Period>
    constexpr Limit(std::chrono::duration<Rep, Period> time)
        : Limit(std::chrono::ceil<std::chrono::milliseconds>(time).count(), 0)
    {}
    /// Without limit, whatever the library was opened with.
    static constexpr Limit none() { return Limit(TRAVIK_NO_DEADLINE, 0); }

    std::uint32_t milliseconds = 0;

private:
    constexpr Limit(long long count, int)
        : milliseconds(count < 1                    ? 1
                       : count > TRAVIK_NO_DEADLINE ? TRAVIK_NO_DEADLINE
                                                    : static_cast<std::uint32_t>(count))
    {}
};

namespace detail {

/// Makes a call with an output for its error, and throws what comes there.
template <class Call>
void check(Call&& call)
{
    travik_error* raw = nullptr;
    const std::uint32_t code = call(&raw);
    if (code == 0)
        return;
    struct Owner
    {
        ~Owner() { travik_freeError(&error); }
        travik_error* error;
    } owner{raw};
    const travik_error unknown{code, 0, travik_codeName(code), "", "", ""}; // no memory for an error
    const travik_error& error = raw ? *raw : unknown;
    if (code == TRAVIK_Deadline)
        throw TimedOut(error);
    throw Error(error);
}

// Places for what comes out: the value is the caller's, and the memory is given back.

template <class Value>
struct Place
{
    Value* put() { return &value; }
    Value take() { return value; }
    Value value{};
};

struct Text
{
    ~Text() { travik_freeText(&value); }
    char** put() { return &value; }
    std::string take() { return value; }
    char* value = nullptr;
};

struct Texts
{
    ~Texts() { travik_freeTexts(&value); }
    travik_texts* put() { return &value; }
    std::vector<std::string> take() { return {value.items, value.items + value.count}; }
    travik_texts value{};
};

struct Machines
{
    ~Machines() { travik_freeMachines(&value); }
    travik_machines* put() { return &value; }
    travik_machines value{};
};

inline std::vector<const char*> pointers(const std::vector<std::string>& texts)
{
    std::vector<const char*> made;
    for (const std::string& text : texts)
        made.push_back(text.c_str());
    return made;
}

} // namespace detail

/// Owns a handle and gives it back.
template <class Raw, std::uint32_t (*Release)(Raw)>
class Handle
{
public:
    Handle() = default;
    explicit Handle(Raw raw) noexcept : raw_(raw) {}
    Handle(Handle&& other) noexcept : raw_(std::exchange(other.raw_, Raw{})) {}
    Handle& operator=(Handle&& other) noexcept
    {
        if (this != &other)
            reset(std::exchange(other.raw_, Raw{}));
        return *this;
    }
    ~Handle() { reset(); }

    /// For the functions of travik.h.
    Raw get() const noexcept { return raw_; }
    /// Whether it names something: an empty drive has no medium.
    explicit operator bool() const noexcept { return raw_.value != 0; }
    void reset(Raw raw = Raw{}) noexcept
    {
        if (raw_.value != 0)
            Release(raw_);
        raw_ = raw;
    }

private:
    Raw raw_{};
};

enum class MachineState : std::uint32_t
{
    Null = 0,
    PoweredOff = 1,
    Saved = 2,
    Teleported = 3,
    Aborted = 4,
    Running = 5,
    Paused = 6,
    Stuck = 7,
    Teleporting = 8,
    LiveSnapshotting = 9,
    Starting = 10,
    Stopping = 11,
    Saving = 12,
    Restoring = 13,
    TeleportingPausedVM = 14,
    TeleportingIn = 15,
    DeletingSnapshotOnline = 16,
    DeletingSnapshotPaused = 17,
    OnlineSnapshotting = 18,
    RestoringSnapshot = 19,
    DeletingSnapshot = 20,
    SettingUp = 21,
    Snapshotting = 22
};

enum class LockType : std::uint32_t
{
    Null = 0,
    Shared = 1,
    Write = 2,
    VM = 3
};

enum class MediumState : std::uint32_t
{
    NotCreated = 0,
    Created = 1,
    LockedRead = 2,
    LockedWrite = 3,
    Inaccessible = 4,
    Creating = 5,
    Deleting = 6
};

enum class ParavirtProvider : std::uint32_t
{
    Null = 0,
    Default = 1,
    Legacy = 2,
    Minimal = 3,
    HyperV = 4,
    KVM = 5
};

enum class NATProtocol : std::uint32_t
{
    UDP = 0,
    TCP = 1
};

enum class ProcessorFeature : std::uint32_t
{
    HWVirtEx = 0,
    PAE = 1,
    LongMode = 2,
    NestedPaging = 3,
    UnrestrictedGuest = 4,
    NestedHWVirt = 5
};

enum class VBoxEventType : std::uint32_t
{
    Invalid = 0,
    Any = 1,
    Vetoable = 2,
    MachineEvent = 3,
    SnapshotEvent = 4,
    InputEvent = 5,
    OnMachineStateChanged = 32,
    OnMachineDataChanged = 33,
    OnExtraDataChanged = 34,
    OnExtraDataCanChange = 35,
    OnMediumRegistered = 36,
    OnMachineRegistered = 37,
    OnSessionStateChanged = 38,
    OnSnapshotTaken = 39,
    OnSnapshotDeleted = 40,
    OnSnapshotChanged = 41,
    OnGuestPropertyChanged = 42,
    OnMousePointerShapeChanged = 43,
    OnMouseCapabilityChanged = 44,
    OnKeyboardLedsChanged = 45,
    OnStateChanged = 46,
    OnAdditionsStateChanged = 47,
    OnNetworkAdapterChanged = 48,
    OnSerialPortChanged = 49,
    OnParallelPortChanged = 50,
    OnStorageControllerChanged = 51,
    OnMediumChanged = 52,
    OnVRDEServerChanged = 53,
    OnUSBControllerChanged = 54,
    OnUSBDeviceStateChanged = 55,
    OnSharedFolderChanged = 56,
    OnRuntimeError = 57,
    OnCanShowWindow = 58,
    OnShowWindow = 59,
    OnCPUChanged = 60,
    OnVRDEServerInfoChanged = 61,
    OnEventSourceChanged = 62,
    OnCPUExecutionCapChanged = 63,
    OnNATRedirect = 66,
    OnVBoxSVCAvailabilityChanged = 68,
    OnStorageDeviceChanged = 71,
    OnSnapshotRestored = 95,
    OnMediumConfigChanged = 96,
    OnAudioAdapterChanged = 97,
    OnProgressPercentageChanged = 98,
    OnProgressTaskCompleted = 99
};

class Machine;
class Progress;
class Console;
class AudioAdapter;
class NatEngine;
class NetworkAdapter;
class Host;
class Medium;

/// What Machine::guestProperty tells.
struct GuestProperty
{
    std::string value;
    std::int64_t timestamp;
    std::string flags;
};

class Machine : public Handle<travik_machine, &travik_releaseMachine>
{
public:
    using Handle::Handle;

    /// Puts an image on a controller's port and device, marked as a solid-state disk that takes discards (a refused
    /// mark is only logged). The machine must be the mutable one of a locked session; kept by saveSettings. 181, 194,
    /// 167.
    void attach(const Medium& medium, const std::string& controllerName, std::int32_t port, std::int32_t device,
                Limit limit = Limit()) const;

    /// Takes the image off a controller's port and device; kept by saveSettings. 181, 168.
    void detach(const std::string& controllerName, std::int32_t port, std::int32_t device, Limit limit = Limit()) const;

    /// Renames a machine; takes effect with saveSettings, which also moves its files. 181, 169.
    void setName(const std::string& name, Limit limit = Limit()) const;

    /// The name of a machine. 181, 169 (the code of setName).
    std::string name(Limit limit = Limit()) const;

    /// The UUID of a machine, lower case without braces. 181, 169 (the code of setName).
    std::string uuid(Limit limit = Limit()) const;

    /// Copies all states of source into target, a machine from Library's createMachine that is not registered yet.
    /// Blocks until the disks are copied. 181, 178, 121.
    void cloneTo(const Machine& target, Limit limit = Limit()) const;

    /// Unregisters a machine and deletes its settings and hard disks. Blocks until done. 181, 179, 180, 121.
    void deleteWithFiles(Limit limit = Limit()) const;

    /// Starts a machine. type is the front end that VirtualBox knows ("headless", "gui", ...); environmentChanges are
    /// NAME=value or NAME entries for its process, null for none. Progress's finish waits and tells whether the
    /// machine runs. Not for a locked machine or session; without a session VirtualBox refuses it. 181, 108.
    Progress launch(const std::string& type, const std::vector<std::string>& environmentChanges = {},
                    Limit limit = Limit()) const;

    /// Locks a machine to the library's one session; lockType as in LockType. Without a session VirtualBox refuses
    /// it. 181, 109.
    void lock(LockType lockType, Limit limit = Limit()) const;

    /// Adds a machine to VirtualBox's list. 101, 181, 111.
    void addToList(Limit limit = Limit()) const;

    /// The state of a machine, as in MachineState. 181, 112.
    MachineState state(Limit limit = Limit()) const;

    /// A value of a machine's extra data, empty when there is none. 181, 158.
    std::string extraData(const std::string& key, Limit limit = Limit()) const;

    /// The mutable machine of the library's session, whatever machine is passed: lock decides. 101, 113.
    Machine sessionMachine(Limit limit = Limit()) const;

    /// Sets the number of processors; on a mutable machine, kept by saveSettings. 181, 115.
    void setCpuCount(std::uint32_t count, Limit limit = Limit()) const;

    /// Sets the memory size; on a mutable machine, kept by saveSettings. 181, 116.
    void setMemory(std::uint32_t megabytes, Limit limit = Limit()) const;

    /// Sets the paravirtualisation provider, as in ParavirtProvider; on a mutable machine, kept by saveSettings. 181,
    /// 117.
    void setParavirtProvider(ParavirtProvider provider, Limit limit = Limit()) const;

    /// Sets a value of a machine's extra data; an empty value deletes the key. 181, 118.
    void setExtraData(const std::string& key, const std::string& value, Limit limit = Limit()) const;

    /// Writes a mutable machine's settings. 181, 119.
    void saveSettings(Limit limit = Limit()) const;

    /// Removes a permanent shared folder; on a mutable machine, kept by saveSettings. 181, 127.
    void removeSharedFolder(const std::string& name, Limit limit = Limit()) const;

    /// Shares a host folder permanently; on a mutable machine, kept by saveSettings. Non-zero writable and automount
    /// mean yes. 181, 128.
    void addSharedFolder(const std::string& name, const std::string& hostPath, bool writable, bool automount,
                         Limit limit = Limit()) const;

    /// A network adapter of a machine, the first in slot 0. 181, 134.
    NetworkAdapter networkAdapter(std::uint32_t slot, Limit limit = Limit()) const;

    /// A guest property with its time stamp (nanoseconds since 1970) and flags. 181, 139.
    GuestProperty guestProperty(const std::string& name, Limit limit = Limit()) const;

    /// Sets a guest property; flags are comma-separated, empty for none. 181, 140.
    void setGuestProperty(const std::string& name, const std::string& value, const std::string& flags,
                          Limit limit = Limit()) const;

    /// Deletes a guest property. 181, 141.
    void deleteGuestProperty(const std::string& name, Limit limit = Limit()) const;

    /// The audio adapter of a machine. 181, 142.
    AudioAdapter audioAdapter(Limit limit = Limit()) const;

    /// The number of ports of a storage controller. 181, 198, 199.
    std::uint32_t portCount(const std::string& controllerName, Limit limit = Limit()) const;

    /// The image on a controller's port and device; 0 for an empty drive. 181, 201.
    Medium medium(const std::string& controllerName, std::int32_t port, std::int32_t device,
                  Limit limit = Limit()) const;
};

class Progress : public Handle<travik_progress, &travik_releaseProgress>
{
public:
    using Handle::Handle;

    /// Waits until the task is complete, and throws as it failed. It goes on after TimedOut. 183, 121 to 124.
    void finish(Limit limit = Limit()) const
    {
        detail::check([&](travik_error** error) { return travik_finishProgress(get(), limit.milliseconds, error); });
    }

    /// Waits until a progress is complete or the time, in milliseconds, is over (-1: without limit); success says
    /// only that the wait was not disturbed. 183, 121, 122. Progress's finish tells the outcome, too.
    void waitUpTo(std::int32_t timeoutMs, Limit limit = Limit()) const;

    /// Whether a progress is complete, 0 or 1. 183, 122.
    bool isCompleted(Limit limit = Limit()) const;

    /// The result of a complete progress: an HRESULT, negative for failure. 183, 123.
    std::int32_t resultCode(Limit limit = Limit()) const;

    /// The error text of a failed progress; empty when there is none. 183, 124.
    std::string errorText(Limit limit = Limit()) const;
};

class Console : public Handle<travik_console, &travik_releaseConsole>
{
public:
    using Handle::Handle;

    /// Switches a running machine off. 184, 120.
    Progress powerDown(Limit limit = Limit()) const;

    /// The state of the console's machine, as in MachineState. 184, 130.
    MachineState state(Limit limit = Limit()) const;

    /// Lets a paused machine run on. 184, 131.
    void resume(Limit limit = Limit()) const;

    /// Removes a shared folder of the running machine. 184, 132.
    void removeSharedFolder(const std::string& name, Limit limit = Limit()) const;

    /// Shares a host folder with the running machine only. Non-zero writable and automount mean yes. 184, 133.
    void addSharedFolder(const std::string& name, const std::string& hostPath, bool writable, bool automount,
                         Limit limit = Limit()) const;
};

class AudioAdapter : public Handle<travik_audio_adapter, &travik_releaseAudioAdapter>
{
public:
    using Handle::Handle;

    /// Switches an audio adapter on (non-zero) or off; kept by Machine's saveSettings. 190, 143.
    void setEnabled(bool enabled, Limit limit = Limit()) const;
};

class NatEngine : public Handle<travik_nat_engine, &travik_releaseNATEngine>
{
public:
    using Handle::Handle;

    /// Removes a port-forwarding rule. 191, 136.
    void removeRedirect(const std::string& name, Limit limit = Limit()) const;

    /// Adds a port-forwarding rule; protocol as in NATProtocol, addresses in dotted form or empty for VirtualBox's
    /// default. Only the low 16 bits of a port count. An equal rule makes it fail. 191, 137.
    void addRedirect(const std::string& name, NATProtocol protocol, const std::string& hostIP, std::uint32_t hostPort,
                     const std::string& guestIP, std::uint32_t guestPort, Limit limit = Limit()) const;

    /// The port-forwarding rules as "name,protocol,host address,host port,guest address,guest port", all but the last
    /// one: the list never holds it, so a single rule gives an empty list. 191, 138.
    std::vector<std::string> redirects(Limit limit = Limit()) const;
};

class NetworkAdapter : public Handle<travik_network_adapter, &travik_releaseNetworkAdapter>
{
public:
    using Handle::Handle;

    /// The NAT engine of a network adapter. 192, 135.
    NatEngine natEngine(Limit limit = Limit()) const;
};

class Host : public Handle<travik_host, &travik_releaseHost>
{
public:
    using Handle::Handle;

    /// Whether the host's processor has a feature, as in ProcessorFeature: 0 or 1. 193, 126.
    bool hasProcessorFeature(ProcessorFeature feature, Limit limit = Limit()) const;
};

class Medium : public Handle<travik_medium, &travik_releaseMedium>
{
public:
    using Handle::Handle;

    /// Makes VirtualBox forget the image. 194, 164.
    void close(Limit limit = Limit()) const;

    /// Removes the image's file. Close the medium afterwards: a closed one no longer tells its location. 194, 200,
    /// 197 (not removed).
    void deleteFile(Limit limit = Limit()) const;

    /// The full path of an image. 194, 200.
    std::string location(Limit limit = Limit()) const;

    /// The state of an image as in MediumState, checked on the file again. 194, 213.
    MediumState state(Limit limit = Limit()) const;

    /// The UUID of an image, lower case without braces. 194, 215.
    std::string uuid(Limit limit = Limit()) const;

    /// Why the last check found the image inaccessible; empty when it did not. 194, 214.
    std::string lastAccessError(Limit limit = Limit()) const;
};

/// The library, open as long as this object. One at a time in a process.
class Library
{
public:
    struct Options
    {
        std::string logPath = {};           ///< the log's file; empty: standard output
        std::chrono::milliseconds limit{0}; ///< of calls that give none; 0: none
        bool callerThread = false;          ///< calls run where they are made; see TRAVIK_OPEN_CALLER_THREAD
        bool lazy = false;                  ///< VirtualBox's objects are made on first need
    };

    Library() : Library(Options()) {}
    explicit Library(const Options& options)
    {
        travik_options raw{sizeof(travik_options), 0, nullptr, static_cast<std::uint32_t>(options.limit.count()), 0};
        if (options.callerThread)
            raw.flags |= TRAVIK_OPEN_CALLER_THREAD;
        if (options.lazy)
            raw.flags |= TRAVIK_OPEN_LAZY;
        raw.logPath = options.logPath.empty() ? nullptr : options.logPath.c_str();
        detail::check([&](travik_error** error) { return travik_open(&raw, error); });
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    /// Waits for a call that runs; those that wait for their turn fail.
    ~Library() { travik_close(TRAVIK_NO_DEADLINE, nullptr); }

    /// Ends now, and throws TimedOut when a running call lasts longer.
    void close(Limit limit = Limit())
    {
        detail::check([&](travik_error** error) { return travik_close(limit.milliseconds, error); });
    }

    /// A free machine name: prefix, "_" and the first number from 1 to 99 whose settings file does not exist; an
    /// empty prefix stands for "kolbrenix_vbox86". The 99th is handed out even when it is taken. 101, 159.
    std::string freeName(const std::string& prefix, Limit limit = Limit()) const;

    /// Where VirtualBox would put the settings file of a machine of that name. 101, 159.
    std::string settingsFileFor(const std::string& name, Limit limit = Limit()) const;

    /// The folder in which VirtualBox creates machines. 101, 160, 162.
    std::string machineFolder(Limit limit = Limit()) const;

    /// Changes the folder in which VirtualBox creates machines; it must exist. 195, 101, 160, 161.
    void setMachineFolder(const std::string& folder, Limit limit = Limit()) const;

    /// Opens a hard-disk image for reading and writing. forceNewUuid gives the image a new UUID. 195 (no such file),
    /// 101, 163.
    Medium openMedium(const std::string& location, bool forceNewUuid, Limit limit = Limit()) const;

    /// The machine name that an import of this appliance file would give; empty when the file gives none. Blocks
    /// until the file is read. 195, 101, 170, 171, 121, 172, 211.
    std::string applianceName(const std::string& ovaPath, Limit limit = Limit()) const;

    /// Imports an appliance file, its disks as VDI; the machine is then found by its name. Blocks until done, which
    /// can take minutes, and lets no other call in meanwhile. 195, 101, 170, 171, 121, 172, 148, 174.
    void importAppliance(const std::string& ovaPath, Limit limit = Limit()) const;

    /// Creates an empty machine, neither saved nor registered; an empty settingsFile means the composed one. 101,
    /// 177.
    Machine createMachine(const std::string& settingsFile, const std::string& name, Limit limit = Limit()) const;

    /// Moves a disk image file; VirtualBox is not told, so detach and close the image first. Nothing is overwritten.
    /// 196.
    void renameDisk(const std::string& fromPath, const std::string& toPath, Limit limit = Limit()) const;

    /// Drops all objects and handles and creates the VirtualBox objects anew, for example after the server died;
    /// watches end. 101, with the HRESULT of what failed.
    void reconnect(Limit limit = Limit()) const;

    /// Opens a machine by its settings file; it need not be registered. 101, 106.
    Machine openMachine(const std::string& settingsFile, Limit limit = Limit()) const;

    /// Finds a registered machine by its exact name or its UUID. 101, 107.
    Machine findMachine(const std::string& nameOrId, Limit limit = Limit()) const;

    /// Gives the session's lock back; changes that were not saved are lost. 101, 110.
    void unlock(Limit limit = Limit()) const;

    /// The host computer. 101, 125.
    Host host(Limit limit = Limit()) const;

    /// The console of the session's running machine. 0 when the session has none. 101, 129.
    Console console(Limit limit = Limit()) const;

    /// A new handle for every registered machine. 101, 210 (VirtualBox could not list them), 148.
    std::vector<Machine> machines(Limit limit = Limit()) const;
};

/// A machine that is locked to the library's one session. Unlocks at the end; what was not saved is lost then.
class LockedSession
{
public:
    /// Waits while another lock is just being given back.
    LockedSession(const Machine& machine, LockType type, std::chrono::milliseconds wait, Limit limit = Limit())
    {
        const auto ms = static_cast<std::uint32_t>(wait.count());
        detail::check([&](travik_error** error) {
            return travik_lockMachineInTime(machine.get(), static_cast<std::uint32_t>(type), ms, limit.milliseconds,
                                            error);
        });
        held_ = true;
        try {
            machine_ = machine.sessionMachine(limit);
        } catch (...) {
            release();
            throw;
        }
    }
    LockedSession(const LockedSession&) = delete;
    LockedSession& operator=(const LockedSession&) = delete;
    ~LockedSession() { release(); }

    /// The machine on which settings can be changed.
    const Machine& machine() const noexcept { return machine_; }
    void save(Limit limit = Limit()) { machine_.saveSettings(limit); }

    /// Unlocks now, and throws when that fails.
    void unlock(Limit limit = Limit())
    {
        machine_.reset();
        held_ = false;
        detail::check([&](travik_error** error) { return travik_unlockMachine(limit.milliseconds, error); });
    }

private:
    void release() noexcept
    {
        machine_.reset();
        if (std::exchange(held_, false))
            travik_unlockMachine(0, nullptr); // fails when the machine's end has closed the session already
    }

    Machine machine_;
    bool held_ = false;
};

/// What a watched machine tells.
struct Notice
{
    enum class Kind : std::uint32_t
    {
        State = TRAVIK_NOTICE_STATE,
        RuntimeError = TRAVIK_NOTICE_RUNTIME_ERROR,
        Resync = TRAVIK_NOTICE_RESYNC, ///< notices were lost: ask for the state anew
        Ended = TRAVIK_NOTICE_ENDED    ///< the last one: the console is gone
    };

    explicit Notice(const travik_notice& raw)
        : kind(static_cast<Kind>(raw.kind)),
          state(static_cast<MachineState>(raw.state)),
          fatal(raw.fatal != 0),
          code(raw.code),
          result(raw.result),
          id(raw.id),
          text(raw.text)
    {}

    Kind kind;
    MachineState state;
    bool fatal;
    std::uint32_t code;   ///< of the call that met the end
    std::uint32_t result; ///< and its HRESULT
    std::string id;
    std::string text;
};

/// Watches the machine of a console, by a callback or by next. The watch lasts as long as the object.
class Watch
{
public:
    using Callback = std::function<void(const Notice&)>;

    /// The callback runs on a thread of the library, and may call everything but the end of this object's life. What it
    /// throws ends the program.
    explicit Watch(const Console& console, Callback callback = nullptr, Limit limit = Limit())
        : callback_(std::move(callback))
    {
        detail::check([&](travik_error** error) {
            return travik_watch(console.get(), callback_ ? &Watch::call : nullptr, this, &raw_, limit.milliseconds,
                                error);
        });
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    /// When it has returned, the callback does not run.
    ~Watch() { travik_unwatch(raw_); }

    /// Without callback: the next notice; nothing when none came in time. Not to be called after Ended.
    std::optional<Notice> next(std::chrono::milliseconds wait)
    {
        struct Owner
        {
            ~Owner() { travik_freeNotice(&notice); }
            travik_notice* notice = nullptr;
        } owner;
        detail::check([&](travik_error** error) {
            return travik_nextNotice(raw_, static_cast<std::uint32_t>(wait.count()), &owner.notice, error);
        });
        return owner.notice ? std::optional<Notice>(std::in_place, *owner.notice) : std::nullopt;
    }

private:
    static void call(void* context, const travik_notice* notice) noexcept
    {
        static_cast<Watch*>(context)->callback_(Notice(*notice));
    }

    Callback callback_;
    travik_watcher raw_{};
};

/// Runs long work beside the caller: auto done = travik::background([&] { library.importAppliance(path); });
template <class Work>
auto background(Work&& work)
{
    return std::async(std::launch::async, std::forward<Work>(work));
}

inline void Machine::attach(const Medium& medium, const std::string& controllerName, std::int32_t port,
                            std::int32_t device, Limit limit) const
{
    detail::check([&](travik_error** error) {
        return travik_attachMedium(get(), medium.get(), controllerName.c_str(), port, device, limit.milliseconds,
                                   error);
    });
}

inline void Machine::detach(const std::string& controllerName, std::int32_t port, std::int32_t device,
                            Limit limit) const
{
    detail::check([&](travik_error** error) {
        return travik_detachMedium(get(), controllerName.c_str(), port, device, limit.milliseconds, error);
    });
}

inline void Machine::setName(const std::string& name, Limit limit) const
{
    detail::check(
        [&](travik_error** error) { return travik_setVmName(get(), name.c_str(), limit.milliseconds, error); });
}

inline std::string Machine::name(Limit limit) const
{
    detail::Text nameOut;
    detail::check(
        [&](travik_error** error) { return travik_getVmName(get(), nameOut.put(), limit.milliseconds, error); });
    return nameOut.take();
}

inline std::string Machine::uuid(Limit limit) const
{
    detail::Text uuidOut;
    detail::check(
        [&](travik_error** error) { return travik_getVmUUID(get(), uuidOut.put(), limit.milliseconds, error); });
    return uuidOut.take();
}

inline void Machine::cloneTo(const Machine& target, Limit limit) const
{
    detail::check(
        [&](travik_error** error) { return travik_cloneToMachine(get(), target.get(), limit.milliseconds, error); });
}

inline void Machine::deleteWithFiles(Limit limit) const
{
    detail::check([&](travik_error** error) { return travik_deleteMachine(get(), limit.milliseconds, error); });
}

inline Progress Machine::launch(const std::string& type, const std::vector<std::string>& environmentChanges,
                                Limit limit) const
{
    const std::vector<const char*> environmentChangesIn = detail::pointers(environmentChanges);
    detail::Place<travik_progress> progressOut;
    detail::check([&](travik_error** error) {
        return travik_launchVMProcess(get(), type.c_str(), environmentChangesIn.data(),
                                      static_cast<std::uint32_t>(environmentChangesIn.size()), progressOut.put(),
                                      limit.milliseconds, error);
    });
    return Progress(progressOut.take());
}

inline void Machine::lock(LockType lockType, Limit limit) const
{
    detail::check([&](travik_error** error) {
        return travik_lockMachine(get(), static_cast<std::uint32_t>(lockType), limit.milliseconds, error);
    });
}

inline void Machine::addToList(Limit limit) const
{
    detail::check([&](travik_error** error) { return travik_registerMachine(get(), limit.milliseconds, error); });
}

inline MachineState Machine::state(Limit limit) const
{
    detail::Place<std::uint32_t> stateOut;
    detail::check(
        [&](travik_error** error) { return travik_machineGetState(get(), stateOut.put(), limit.milliseconds, error); });
    return static_cast<MachineState>(stateOut.take());
}

inline std::string Machine::extraData(const std::string& key, Limit limit) const
{
    detail::Text valueOut;
    detail::check([&](travik_error** error) {
        return travik_getMachineExtraData(get(), key.c_str(), valueOut.put(), limit.milliseconds, error);
    });
    return valueOut.take();
}

inline Machine Machine::sessionMachine(Limit limit) const
{
    detail::Place<travik_machine> mutableMachineOut;
    detail::check([&](travik_error** error) {
        return travik_createMutableMachine(get(), mutableMachineOut.put(), limit.milliseconds, error);
    });
    return Machine(mutableMachineOut.take());
}

inline void Machine::setCpuCount(std::uint32_t count, Limit limit) const
{
    detail::check(
        [&](travik_error** error) { return travik_setMachineCPUCount(get(), count, limit.milliseconds, error); });
}

inline void Machine::setMemory(std::uint32_t megabytes, Limit limit) const
{
    detail::check(
        [&](travik_error** error) { return travik_setMachineMemory(get(), megabytes, limit.milliseconds, error); });
}

inline void Machine::setParavirtProvider(ParavirtProvider provider, Limit limit) const
{
    detail::check([&](travik_error** error) {
        return travik_setMachineParavirtProvider(get(), static_cast<std::uint32_t>(provider), limit.milliseconds,
                                                 error);
    });
}

inline void Machine::setExtraData(const std::string& key, const std::string& value, Limit limit) const
{
    detail::check([&](travik_error** error) {
        return travik_setMachineExtraData(get(), key.c_str(), value.c_str(), limit.milliseconds, error);
    });
}

inline void Machine::saveSettings(Limit limit) const
{
    detail::check([&](travik_error** error) { return travik_saveSettings(get(), limit.milliseconds, error); });
}

inline void Machine::removeSharedFolder(const std::string& name, Limit limit) const
{
    detail::check([&](travik_error** error) {
        return travik_machineRemoveSharedFolder(get(), name.c_str(), limit.milliseconds, error);
    });
}

inline void Machine::addSharedFolder(const std::string& name, const std::string& hostPath, bool writable,
                                     bool automount, Limit limit) const
{
    detail::check([&](travik_error** error) {
        return travik_machineCreateSharedFolder(get(), name.c_str(), hostPath.c_str(), writable ? 1u : 0u,
                                                automount ? 1u : 0u, limit.milliseconds, error);
    });
}

inline NetworkAdapter Machine::networkAdapter(std::uint32_t slot, Limit limit) const
{
    detail::Place<travik_network_adapter> adapterOut;
    detail::check([&](travik_error** error) {
        return travik_getNetworkAdapter(get(), slot, adapterOut.put(), limit.milliseconds, error);
    });
    return NetworkAdapter(adapterOut.take());
}

inline GuestProperty Machine::guestProperty(const std::string& name, Limit limit) const
{
    detail::Text valueOut;
    detail::Place<std::int64_t> timestampOut;
    detail::Text flagsOut;
    detail::check([&](travik_error** error) {
        return travik_getGuestProperty(get(), name.c_str(), valueOut.put(), timestampOut.put(), flagsOut.put(),
                                       limit.milliseconds, error);
    });
    return {valueOut.take(), timestampOut.take(), flagsOut.take()};
}

inline void Machine::setGuestProperty(const std::string& name, const std::string& value, const std::string& flags,
                                      Limit limit) const
{
    detail::check([&](travik_error** error) {
        return travik_setGuestProperty(get(), name.c_str(), value.c_str(), flags.c_str(), limit.milliseconds, error);
    });
}

inline void Machine::deleteGuestProperty(const std::string& name, Limit limit) const
{
    detail::check([&](travik_error** error) {
        return travik_deleteGuestProperty(get(), name.c_str(), limit.milliseconds, error);
    });
}

inline AudioAdapter Machine::audioAdapter(Limit limit) const
{
    detail::Place<travik_audio_adapter> audioAdapterOut;
    detail::check([&](travik_error** error) {
        return travik_getAudioAdapter(get(), audioAdapterOut.put(), limit.milliseconds, error);
    });
    return AudioAdapter(audioAdapterOut.take());
}

inline std::uint32_t Machine::portCount(const std::string& controllerName, Limit limit) const
{
    detail::Place<std::uint32_t> portCountOut;
    detail::check([&](travik_error** error) {
        return travik_getMachineStorageControllerPortCount(get(), controllerName.c_str(), portCountOut.put(),
                                                           limit.milliseconds, error);
    });
    return portCountOut.take();
}

inline Medium Machine::medium(const std::string& controllerName, std::int32_t port, std::int32_t device,
                              Limit limit) const
{
    detail::Place<travik_medium> mediumOut;
    detail::check([&](travik_error** error) {
        return travik_getCurrentMedium(get(), controllerName.c_str(), port, device, mediumOut.put(), limit.milliseconds,
                                       error);
    });
    return Medium(mediumOut.take());
}

inline void Progress::waitUpTo(std::int32_t timeoutMs, Limit limit) const
{
    detail::check([&](travik_error** error) {
        return travik_progressWaitForCompletion(get(), timeoutMs, limit.milliseconds, error);
    });
}

inline bool Progress::isCompleted(Limit limit) const
{
    detail::Place<std::uint32_t> completedOut;
    detail::check([&](travik_error** error) {
        return travik_getProgressCompleted(get(), completedOut.put(), limit.milliseconds, error);
    });
    return completedOut.take() != 0;
}

inline std::int32_t Progress::resultCode(Limit limit) const
{
    detail::Place<std::int32_t> resultCodeOut;
    detail::check([&](travik_error** error) {
        return travik_getProgressResultCode(get(), resultCodeOut.put(), limit.milliseconds, error);
    });
    return resultCodeOut.take();
}

inline std::string Progress::errorText(Limit limit) const
{
    detail::Text errorTextOut;
    detail::check([&](travik_error** error) {
        return travik_getProgressErrorInfo(get(), errorTextOut.put(), limit.milliseconds, error);
    });
    return errorTextOut.take();
}

inline Progress Console::powerDown(Limit limit) const
{
    detail::Place<travik_progress> progressOut;
    detail::check(
        [&](travik_error** error) { return travik_powerDown(get(), progressOut.put(), limit.milliseconds, error); });
    return Progress(progressOut.take());
}

inline MachineState Console::state(Limit limit) const
{
    detail::Place<std::uint32_t> stateOut;
    detail::check(
        [&](travik_error** error) { return travik_consoleGetState(get(), stateOut.put(), limit.milliseconds, error); });
    return static_cast<MachineState>(stateOut.take());
}

inline void Console::resume(Limit limit) const
{
    detail::check([&](travik_error** error) { return travik_consoleResume(get(), limit.milliseconds, error); });
}

inline void Console::removeSharedFolder(const std::string& name, Limit limit) const
{
    detail::check([&](travik_error** error) {
        return travik_consoleRemoveSharedFolder(get(), name.c_str(), limit.milliseconds, error);
    });
}

inline void Console::addSharedFolder(const std::string& name, const std::string& hostPath, bool writable,
                                     bool automount, Limit limit) const
{
    detail::check([&](travik_error** error) {
        return travik_consoleCreateSharedFolder(get(), name.c_str(), hostPath.c_str(), writable ? 1u : 0u,
                                                automount ? 1u : 0u, limit.milliseconds, error);
    });
}

inline void AudioAdapter::setEnabled(bool enabled, Limit limit) const
{
    detail::check([&](travik_error** error) {
        return travik_setAudioAdapterEnabled(get(), enabled ? 1u : 0u, limit.milliseconds, error);
    });
}

inline void NatEngine::removeRedirect(const std::string& name, Limit limit) const
{
    detail::check(
        [&](travik_error** error) { return travik_removeRedirect(get(), name.c_str(), limit.milliseconds, error); });
}

inline void NatEngine::addRedirect(const std::string& name, NATProtocol protocol, const std::string& hostIP,
                                   std::uint32_t hostPort, const std::string& guestIP, std::uint32_t guestPort,
                                   Limit limit) const
{
    detail::check([&](travik_error** error) {
        return travik_addRedirect(get(), name.c_str(), static_cast<std::uint32_t>(protocol), hostIP.c_str(), hostPort,
                                  guestIP.c_str(), guestPort, limit.milliseconds, error);
    });
}

inline std::vector<std::string> NatEngine::redirects(Limit limit) const
{
    detail::Texts rulesOut;
    detail::check(
        [&](travik_error** error) { return travik_getRedirects(get(), rulesOut.put(), limit.milliseconds, error); });
    return rulesOut.take();
}

inline NatEngine NetworkAdapter::natEngine(Limit limit) const
{
    detail::Place<travik_nat_engine> natEngineOut;
    detail::check([&](travik_error** error) {
        return travik_getNATEngine(get(), natEngineOut.put(), limit.milliseconds, error);
    });
    return NatEngine(natEngineOut.take());
}

inline bool Host::hasProcessorFeature(ProcessorFeature feature, Limit limit) const
{
    detail::Place<std::uint32_t> supportedOut;
    detail::check([&](travik_error** error) {
        return travik_hostGetProcessorFeature(get(), static_cast<std::uint32_t>(feature), supportedOut.put(),
                                              limit.milliseconds, error);
    });
    return supportedOut.take() != 0;
}

inline void Medium::close(Limit limit) const
{
    detail::check([&](travik_error** error) { return travik_closeMedium(get(), limit.milliseconds, error); });
}

inline void Medium::deleteFile(Limit limit) const
{
    detail::check([&](travik_error** error) { return travik_deleteMedium(get(), limit.milliseconds, error); });
}

inline std::string Medium::location(Limit limit) const
{
    detail::Text locationOut;
    detail::check([&](travik_error** error) {
        return travik_getMediumLocation(get(), locationOut.put(), limit.milliseconds, error);
    });
    return locationOut.take();
}

inline MediumState Medium::state(Limit limit) const
{
    detail::Place<std::uint32_t> stateOut;
    detail::check(
        [&](travik_error** error) { return travik_getMediumState(get(), stateOut.put(), limit.milliseconds, error); });
    return static_cast<MediumState>(stateOut.take());
}

inline std::string Medium::uuid(Limit limit) const
{
    detail::Text uuidOut;
    detail::check(
        [&](travik_error** error) { return travik_getMediumUUID(get(), uuidOut.put(), limit.milliseconds, error); });
    return uuidOut.take();
}

inline std::string Medium::lastAccessError(Limit limit) const
{
    detail::Text textOut;
    detail::check([&](travik_error** error) {
        return travik_getMediumLastAccessError(get(), textOut.put(), limit.milliseconds, error);
    });
    return textOut.take();
}

inline std::string Library::freeName(const std::string& prefix, Limit limit) const
{
    detail::Text nameOut;
    detail::check([&](travik_error** error) {
        return travik_createVmName(prefix.c_str(), nameOut.put(), limit.milliseconds, error);
    });
    return nameOut.take();
}

inline std::string Library::settingsFileFor(const std::string& name, Limit limit) const
{
    detail::Text fileOut;
    detail::check([&](travik_error** error) {
        return travik_composeMachineFilename(name.c_str(), fileOut.put(), limit.milliseconds, error);
    });
    return fileOut.take();
}

inline std::string Library::machineFolder(Limit limit) const
{
    detail::Text folderOut;
    detail::check([&](travik_error** error) {
        return travik_getDefaultMachineFolder(folderOut.put(), limit.milliseconds, error);
    });
    return folderOut.take();
}

inline void Library::setMachineFolder(const std::string& folder, Limit limit) const
{
    detail::check([&](travik_error** error) {
        return travik_setDefaultMachineFolder(folder.c_str(), limit.milliseconds, error);
    });
}

inline Medium Library::openMedium(const std::string& location, bool forceNewUuid, Limit limit) const
{
    detail::Place<travik_medium> mediumOut;
    detail::check([&](travik_error** error) {
        return travik_openMedium(location.c_str(), forceNewUuid ? 1u : 0u, mediumOut.put(), limit.milliseconds, error);
    });
    return Medium(mediumOut.take());
}

inline std::string Library::applianceName(const std::string& ovaPath, Limit limit) const
{
    detail::Text nameOut;
    detail::check([&](travik_error** error) {
        return travik_getImportOvaVmName(ovaPath.c_str(), nameOut.put(), limit.milliseconds, error);
    });
    return nameOut.take();
}

inline void Library::importAppliance(const std::string& ovaPath, Limit limit) const
{
    detail::check([&](travik_error** error) { return travik_importOva(ovaPath.c_str(), limit.milliseconds, error); });
}

inline Machine Library::createMachine(const std::string& settingsFile, const std::string& name, Limit limit) const
{
    detail::Place<travik_machine> machineOut;
    detail::check([&](travik_error** error) {
        return travik_createMachine(settingsFile.c_str(), name.c_str(), machineOut.put(), limit.milliseconds, error);
    });
    return Machine(machineOut.take());
}

inline void Library::renameDisk(const std::string& fromPath, const std::string& toPath, Limit limit) const
{
    detail::check([&](travik_error** error) {
        return travik_renameVmDisk(fromPath.c_str(), toPath.c_str(), limit.milliseconds, error);
    });
}

inline void Library::reconnect(Limit limit) const
{
    detail::check([&](travik_error** error) { return travik_resetComComponent(limit.milliseconds, error); });
}

inline Machine Library::openMachine(const std::string& settingsFile, Limit limit) const
{
    detail::Place<travik_machine> machineOut;
    detail::check([&](travik_error** error) {
        return travik_openMachine(settingsFile.c_str(), machineOut.put(), limit.milliseconds, error);
    });
    return Machine(machineOut.take());
}

inline Machine Library::findMachine(const std::string& nameOrId, Limit limit) const
{
    detail::Place<travik_machine> machineOut;
    detail::check([&](travik_error** error) {
        return travik_findMachine(nameOrId.c_str(), machineOut.put(), limit.milliseconds, error);
    });
    return Machine(machineOut.take());
}

inline void Library::unlock(Limit limit) const
{
    detail::check([&](travik_error** error) { return travik_unlockMachine(limit.milliseconds, error); });
}

inline Host Library::host(Limit limit) const
{
    detail::Place<travik_host> hostOut;
    detail::check([&](travik_error** error) { return travik_getHost(hostOut.put(), limit.milliseconds, error); });
    return Host(hostOut.take());
}

inline Console Library::console(Limit limit) const
{
    detail::Place<travik_console> consoleOut;
    detail::check([&](travik_error** error) { return travik_getConsole(consoleOut.put(), limit.milliseconds, error); });
    return Console(consoleOut.take());
}

inline std::vector<Machine> Library::machines(Limit limit) const
{
    detail::Machines machinesOut;
    detail::check([&](travik_error** error) { return travik_listVms(machinesOut.put(), limit.milliseconds, error); });
    std::vector<Machine> all;
    for (std::uint32_t i = 0; i < machinesOut.value.count; ++i)
        all.emplace_back(machinesOut.value.items[i]);
    return all;
}

} // namespace travik

#endif
