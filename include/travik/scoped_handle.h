#ifndef TRAVIK_SCOPED_HANDLE_H
#define TRAVIK_SCOPED_HANDLE_H

// Optional comfort on top of vbox_instance.h, header only, C++17: owners that give handles back, failures as
// exceptions, waits with a deadline, a session that unlocks, an event loop. Everything here may be used from the one
// thread that calls the operations.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "vbox_instance.h"

namespace Travik {

/// The name of a result of the library, "Unknow" (so spelled everywhere in the library) for a number without one.
inline const wchar_t* errorCodeName(std::uint32_t code)
{
    static constexpr std::uint32_t first = InitVboxComFail;
    static constexpr const wchar_t* names[] = {L"InitVboxComFail",
                                               L"VBoxInstance_LinkFail",
                                               L"RegisterHelper_TargetNotFoundFail",
                                               L"RegisterHelper_OpenKeyFail",
                                               L"RegisterHelper_QueryKeyFail",
                                               L"OpenMachineFail",
                                               L"FindMachineFail",
                                               L"LaunchVMProcessFail",
                                               L"LockMachineFail",
                                               L"UnlockMachineFail",
                                               L"RegisterMachineFail",
                                               L"MachineGetStateFail",
                                               L"CreateMutableMachineFail",
                                               L"ReleaseMutableMachineFail",
                                               L"SetMachineCPUCountFail",
                                               L"SetMachineMemoryFail",
                                               L"SetMachineParavirtProviderFail",
                                               L"SetMachineExtraDataFail",
                                               L"SaveSettingsFail",
                                               L"PowerDownFail",
                                               L"ProgressWaitForCompletionFail",
                                               L"GetProgressCompletedFail",
                                               L"GetProgressResultCodeFail",
                                               L"GetProgressErrorInfoFail",
                                               L"GetHostFail",
                                               L"HostGetProcessorFeatureFail",
                                               L"MachineRemoveSharedFolderFail",
                                               L"MachineCreateSharedFolderFail",
                                               L"GetConsoleFail",
                                               L"ConsoleGetStateFail",
                                               L"ConsoleResumeFail",
                                               L"ConsoleRemoveSharedFolderFail",
                                               L"ConsoleCreateSharedFolderFail",
                                               L"GetNetworkAdapterFail",
                                               L"GetNATEngineFail",
                                               L"RemoveRedirectFail",
                                               L"AddRedirectFail",
                                               L"GetRedirectsFail",
                                               L"GetGuestPropertyFail",
                                               L"SetGuestPropertyFail",
                                               L"DeleteGuestPropertyFail",
                                               L"GetAudioAdapterFail",
                                               L"SetAudioAdapterEnabledFail",
                                               L"GetEventSourceFail",
                                               L"EventSourceCreateListenerFail",
                                               L"EventSourceRegisterListenerFail",
                                               L"EventSourceUnregisterListenerFail",
                                               L"SafeArrayCreateFail",
                                               L"EventSourceGetEventFail",
                                               L"EventSourceEventProcessedFail",
                                               L"EventSourceEventGetTypeFail",
                                               L"GetEventSourceStateChangedEventFail",
                                               L"EventSourceStateChangedEventGetStateFail",
                                               L"GetEventSourceRuntimeErrorEventFail",
                                               L"EventSourceRuntimeErrorEventGetFatalFail",
                                               L"EventSourceRuntimeErrorEventGetIdFail",
                                               L"EventSourceRuntimeErrorEventGetMessageFail",
                                               L"GetMachineExtraDataFail",
                                               L"ComposeMachineFilenameFail",
                                               L"GetSystemPropertiesFail",
                                               L"PutDefaultMachineFolderFail",
                                               L"GetDefaultMachineFolderFail",
                                               L"OpenMediumFail",
                                               L"CloseMediumFail",
                                               L"SetAutoDiscardForDeviceFail",
                                               L"NonRotationalDeviceFail",
                                               L"AttachDeviceFail",
                                               L"DetachDeviceFail",
                                               L"PutNameFail",
                                               L"CreateApplianceFail",
                                               L"ApplianceReadFail",
                                               L"ApplianceInterpretFail",
                                               L"SetImportOptionsFail",
                                               L"ApplianceImportMachinesFail",
                                               L"SafeArrayCreateIntVectorFail",
                                               L"ApplianceGetMachinesFail",
                                               L"CreateMachineFail",
                                               L"CloneMachineFail",
                                               L"MachineUnregisterFail",
                                               L"MachineDeleteConfigFail",
                                               L"COM_Get_MachineFail",
                                               L"COM_Get_MutableMachineFail",
                                               L"COM_Get_ProgressFail",
                                               L"COM_Get_ConsoleFail",
                                               L"COM_Get_EventSourceFail",
                                               L"COM_Get_EventSourceListenerFail",
                                               L"COM_Get_EventFail",
                                               L"COM_Get_StateChangedEventFail",
                                               L"COM_Get_RuntimeErrorEventFail",
                                               L"COM_Get_AudioAdaptFail",
                                               L"COM_Get_NatEngineFail",
                                               L"COM_Get_NetAdaptFail",
                                               L"COM_Get_HostFail",
                                               L"COM_Get_MediumFail",
                                               L"CheckFileExistsFail",
                                               L"RenameFilePathFail",
                                               L"RemoveFilePathFail",
                                               L"MachineGetStorageControllerByNameFail",
                                               L"StorageControllerGetPortCountFail",
                                               L"MediumGetLocationFail",
                                               L"MachineGetMediumFail",
                                               L"ProgressCancelFail",
                                               L"ProgressGetDescriptionFail",
                                               L"ProgressGetErrorInfoFail",
                                               L"ProgressGetCancelFail",
                                               L"ProgressGetCancelableFail",
                                               L"VBoxCoInitializeFail",
                                               L"VBoxCoCreateInstanceVBoxFail",
                                               L"VBoxCoCreateInstanceSessionFail",
                                               nullptr,
                                               L"ApplianceGetVirtualSystemDescriptionsFail",
                                               L"VirtualSystemDescriptionGetValuesFail",
                                               L"MediumGetStateFail",
                                               L"MediumGetLastAccessErrorFail",
                                               L"MediumGetIdFail"};
    static constexpr std::size_t count = sizeof(names) / sizeof(names[0]);
    static_assert(first + count - 1 == MediumGetIdFail, "one entry for every code, in order");
    const bool known = code >= first && code - first < count && names[code - first] != nullptr;
    return known ? names[code - first] : L"Unknow";
}

/// The symbol under which an HRESULT of VirtualBox, COM or RPC is documented; empty for one that is not listed here.
inline const wchar_t* resultName(std::uint32_t result)
{
    struct Entry
    {
        std::uint32_t result;
        const wchar_t* name;
    };
    static constexpr Entry entries[] = {
        {0x00000000, L"S_OK"},
        {0x80BB0001, L"VBOX_E_OBJECT_NOT_FOUND"},
        {0x80BB0002, L"VBOX_E_INVALID_VM_STATE"},
        {0x80BB0003, L"VBOX_E_VM_ERROR"},
        {0x80BB0004, L"VBOX_E_FILE_ERROR"},
        {0x80BB0005, L"VBOX_E_IPRT_ERROR"},
        {0x80BB0006, L"VBOX_E_PDM_ERROR"},
        {0x80BB0007, L"VBOX_E_INVALID_OBJECT_STATE"},
        {0x80BB0008, L"VBOX_E_HOST_ERROR"},
        {0x80BB0009, L"VBOX_E_NOT_SUPPORTED"},
        {0x80BB000A, L"VBOX_E_XML_ERROR"},
        {0x80BB000B, L"VBOX_E_INVALID_SESSION_STATE"},
        {0x80BB000C, L"VBOX_E_OBJECT_IN_USE"},
        {0x80BB000D, L"VBOX_E_PASSWORD_INCORRECT"},
        {0x80BB000E, L"VBOX_E_MAXIMUM_REACHED"},
        {0x80BB000F, L"VBOX_E_GSTCTL_GUEST_ERROR"},
        {0x80BB0010, L"VBOX_E_TIMEOUT"},
        {0x8000FFFF, L"E_UNEXPECTED"},
        {0x80004001, L"E_NOTIMPL"},
        {0x80004002, L"E_NOINTERFACE"},
        {0x80004003, L"E_POINTER"},
        {0x80004004, L"E_ABORT"},
        {0x80004005, L"E_FAIL"},
        {0x80070005, L"E_ACCESSDENIED"},
        {0x8007000E, L"E_OUTOFMEMORY"},
        {0x80070057, L"E_INVALIDARG"},
        {0x80010007, L"RPC_E_SERVER_DIED"},
        {0x80010012, L"RPC_E_SERVER_DIED_DNE"},
        {0x80010106, L"RPC_E_CHANGED_MODE"},
        {0x80010108, L"RPC_E_DISCONNECTED"},
        {0x8001010E, L"RPC_E_WRONG_THREAD"},
        {0x800706B5, L"RPC_S_UNKNOWN_IF"},
        {0x800706BA, L"RPC_S_SERVER_UNAVAILABLE"},
        {0x800706BE, L"RPC_S_CALL_FAILED"},
        {0x800706BF, L"RPC_S_CALL_FAILED_DNE"},
        {0x800706F4, L"RPC_X_NULL_REF_POINTER"},
        {0x80040154, L"REGDB_E_CLASSNOTREG"},
        {0x80040155, L"REGDB_E_IIDNOTREG"},
        {0x800401F0, L"CO_E_NOTINITIALIZED"},
        {0x800401FD, L"CO_E_OBJNOTCONNECTED"},
        {0x80080005, L"CO_E_SERVER_EXEC_FAILURE"},
    };
    for (const Entry& entry : entries) {
        if (entry.result == result)
            return entry.name;
    }
    return L"";
}

/// Whether a result says that the server process is gone, and with it every object that handles name. The cure is
/// reconnect, and finding the machines again.
inline bool isServerGone(std::uint32_t result)
{
    switch (result) {
    case 0x800706BA: // the server is unavailable
    case 0x800706BE: // the call failed: the server went away inside it
    case 0x800706BF: // the call failed and did not run
    case 0x80010007: // the server died
    case 0x80010012: // the server died before the call
    case 0x80010108: // the object is disconnected from its clients
    case 0x800401FD: // the object is not connected to its server
        return true;
    default:
        return false;
    }
}

/// Whether a result is the one that a lock gets while the machine is still locked, or is just being locked or unlocked.
/// VirtualBox gives the lock back only a moment after a machine reads as powered off.
inline bool isLockRace(std::uint32_t result)
{
    return result == 0x80BB0007;
}

/// A failed operation: the library's code, VirtualBox's HRESULT and the library's failure text, each with its name.
class SdkError : public std::runtime_error
{
public:
    SdkError(std::uint32_t code, std::uint32_t result, std::wstring text)
        : std::runtime_error(summary(code, result)), code_(code), result_(result), text_(std::move(text))
    {}

    /// The operation's result; 101 to 215.
    std::uint32_t code() const noexcept { return code_; }
    const wchar_t* codeName() const noexcept { return errorCodeName(code_); }

    /// VirtualBox's HRESULT, 0 when VirtualBox was not asked or did not say.
    std::uint32_t result() const noexcept { return result_; }
    const wchar_t* resultName() const noexcept { return Travik::resultName(result_); }

    /// What is known in words; may be empty.
    const std::wstring& text() const noexcept { return text_; }

    /// The operation that failed ("findMachine"), as the text names it; empty when it names none.
    std::wstring operation() const
    {
        static const std::wstring opening = L"vbox sdk failure in ";
        const std::size_t end = text_.find(L'(');
        if (text_.compare(0, opening.size(), opening) != 0 || end == std::wstring::npos)
            return std::wstring();
        const std::size_t scope = text_.rfind(L"::", end);
        const std::size_t begin = scope == std::wstring::npos ? opening.size() : scope + 2;
        return text_.substr(begin, end - begin);
    }

private:
    // The names are ASCII, so that what() needs no conversion.
    static std::string summary(std::uint32_t code, std::uint32_t result)
    {
        std::string text = narrow(errorCodeName(code)) + " (" + std::to_string(code) + ")";
        if (result == 0)
            return text;
        const std::string name = narrow(Travik::resultName(result));
        return text + ", " + (name.empty() ? "HRESULT" : name) + " (" + hexadecimal(result) + ")";
    }

    static std::string narrow(const wchar_t* name)
    {
        std::string text;
        for (; *name != 0; ++name)
            text += static_cast<char>(*name);
        return text;
    }

    static std::string hexadecimal(std::uint32_t value)
    {
        std::string text = "0x";
        for (int shift = 28; shift >= 0; shift -= 4)
            text += "0123456789abcdef"[(value >> shift) & 15];
        return text;
    }

    std::uint32_t code_;
    std::uint32_t result_;
    std::wstring text_;
};

/// A failed operation whose result says that the server process is gone.
class ServerGone : public SdkError
{
public:
    using SdkError::SdkError;
};

/// A task that VirtualBox accepted and that failed later: the progress's own result and text.
class ProgressError : public SdkError
{
public:
    ProgressError(std::uint32_t result, std::wstring text)
        : SdkError(ProgressWaitForCompletionFail, result, std::move(text))
    {}
};

/// A deadline passed while waiting.
class TimedOut : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// The failure that the last operation left behind, given its code.
inline SdkError lastFailure(VBoxInstanceImpl& vbox, std::uint32_t code)
{
    // Unknown handles and files fail before VirtualBox is asked; renameVmDisk even leaves an older result standing.
    const bool asked = code < COM_Get_MachineFail || code > RemoveFilePathFail;
    const std::uint32_t result = asked ? vbox.getVBoxError() : 0;

    // A call that succeeded without an object where one is needed leaves no text: do not pass an older one on. 101
    // stands for a creation that failed under a code of its own, which the text names.
    std::wstring text = vbox.getVBoxErrorMessage();
    const std::wstring ending = std::wstring(L" errorDesc=") + errorCodeName(code);
    const bool own =
        text.size() >= ending.size() && text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
    if (!own && code != InitVboxComFail)
        text.clear();
    return SdkError(code, result, std::move(text));
}

/// Throws SdkError, or ServerGone, when an operation failed:
///     check(vbox, vbox.setMachineMemory(machine, 2048));
inline void check(VBoxInstanceImpl& vbox, std::uint32_t code)
{
    if (code == 0)
        return;
    SdkError failure = lastFailure(vbox, code);
    if (isServerGone(failure.result()))
        throw ServerGone(failure.code(), failure.result(), failure.text());
    throw failure;
}

/// Owns a handle of one kind and gives it back. Move-only.
template <SdkErrorCode (VBoxInstanceImpl::*Release)(VBoxHandle)>
class ScopedHandle
{
public:
    ScopedHandle() = default;
    explicit ScopedHandle(VBoxInstanceImpl& vbox, VBoxHandle handle = 0) : vbox_(&vbox), handle_(handle) {}
    ScopedHandle(ScopedHandle&& other) noexcept : vbox_(other.vbox_), handle_(other.detach()) {}
    ScopedHandle& operator=(ScopedHandle&& other) noexcept
    {
        if (this != &other) {
            reset();
            vbox_ = other.vbox_;
            handle_ = other.detach();
        }
        return *this;
    }
    ~ScopedHandle() { reset(); }

    VBoxHandle get() const noexcept { return handle_; }
    /// So that an owner is passed to operations as it is.
    operator VBoxHandle() const noexcept { return handle_; }

    /// The place for an operation to write a handle to; what was owned before is given back.
    VBoxHandle* put() noexcept
    {
        reset();
        return &handle_;
    }

    /// Lets the handle go without giving it back.
    VBoxHandle detach() noexcept { return std::exchange(handle_, 0); }

    /// Gives the handle back.
    void reset() noexcept
    {
        if (handle_ == 0)
            return;
        try {
            (vbox_->*Release)(std::exchange(handle_, 0));
        } catch (...) {
            // A mutex that cannot be locked: the handle stays with the library, which drops it at the latest on unload.
        }
    }

private:
    VBoxInstanceImpl* vbox_ = nullptr;
    VBoxHandle handle_ = 0;
};

using ScopedMachine = ScopedHandle<&VBoxInstanceImpl::releaseMachine>;
using ScopedProgress = ScopedHandle<&VBoxInstanceImpl::releaseProgress>;
using ScopedConsole = ScopedHandle<&VBoxInstanceImpl::releaseConsole>;
using ScopedEventSource = ScopedHandle<&VBoxInstanceImpl::releaseEventSource>;
using ScopedEventListener = ScopedHandle<&VBoxInstanceImpl::releaseEventListener>;
using ScopedEvent = ScopedHandle<&VBoxInstanceImpl::releaseEvent>;
using ScopedStateChangedEvent = ScopedHandle<&VBoxInstanceImpl::releaseStateChangedEvent>;
using ScopedRuntimeErrorEvent = ScopedHandle<&VBoxInstanceImpl::releaseRuntimeErrorEvent>;
using ScopedAudioAdapter = ScopedHandle<&VBoxInstanceImpl::releaseAudioAdapter>;
using ScopedNATEngine = ScopedHandle<&VBoxInstanceImpl::releaseNATEngine>;
using ScopedNetworkAdapter = ScopedHandle<&VBoxInstanceImpl::releaseNetworkAdapter>;
using ScopedHost = ScopedHandle<&VBoxInstanceImpl::releaseHost>;
using ScopedMedium = ScopedHandle<&VBoxInstanceImpl::releaseMedium>;

/// Runs an operation whose last argument is the place for its answer, and returns the answer or throws:
///     auto machine = ask<ScopedMachine>(vbox, &VBoxInstanceImpl::findMachine, L"Player");
///     auto name = ask<std::wstring>(vbox, &VBoxInstanceImpl::getVmName, machine);
template <class Answer, class... Parameters, class... Arguments>
Answer ask(VBoxInstanceImpl& vbox, SdkErrorCode (VBoxInstanceImpl::*operation)(Parameters...), Arguments&&... arguments)
{
    if constexpr (std::is_constructible_v<Answer, VBoxInstanceImpl&>) {
        Answer owner(vbox);
        check(vbox, (vbox.*operation)(std::forward<Arguments>(arguments)..., owner.put()));
        return owner;
    } else {
        Answer answer{};
        check(vbox, (vbox.*operation)(std::forward<Arguments>(arguments)..., &answer));
        return answer;
    }
}

/// The moment until which a wait may last. Every wait here wants one.
class Deadline
{
public:
    using Clock = std::chrono::steady_clock;

    explicit Deadline(std::chrono::milliseconds fromNow) : at_(Clock::now() + fromNow) {}
    /// For a wait that something else ends.
    static Deadline never() { return Deadline(Clock::time_point::max()); }

    bool passed() const { return Clock::now() >= at_; }

    /// What is left of it, at most limit, never negative.
    std::chrono::milliseconds left(std::chrono::milliseconds limit) const
    {
        const Clock::time_point now = Clock::now();
        if (at_ <= now)
            return std::chrono::milliseconds(0);
        if (at_ - now >= limit)
            return limit;
        return std::chrono::duration_cast<std::chrono::milliseconds>(at_ - now) + std::chrono::milliseconds(1);
    }

private:
    explicit Deadline(Clock::time_point at) : at_(at) {}

    Clock::time_point at_;
};

/// Called again and again while something waits; may throw to end the wait.
using OnWait = std::function<void()>;

namespace Details {

inline void tick(const OnWait& onWait)
{
    if (onWait)
        onWait();
}

} // namespace Details

/// Creates the VirtualBox objects on this thread, or throws. Tries again until the deadline while the server cannot be
/// started (0x80080005) or is gone before it answers, as happens when the previous one is just going down.
inline void connect(VBoxInstanceImpl& vbox, Deadline deadline, const OnWait& onWait = OnWait())
{
    for (;;) {
        check(vbox, vbox.initComComponent());
        const std::uint32_t result = vbox.getVBoxError(); // its return value does not tell
        if (result == 0)
            return;
        if ((result != 0x80080005 && !isServerGone(result)) || deadline.passed())
            throw SdkError(InitVboxComFail, result, vbox.getVBoxErrorMessage());
        Details::tick(onWait);
        std::this_thread::sleep_for(deadline.left(std::chrono::milliseconds(250)));
        vbox.releaseRC();
    }
}

/// Connects anew after the server went away. All handles are void; owners of such handles may stay and end as usual.
inline void reconnect(VBoxInstanceImpl& vbox, Deadline deadline, const OnWait& onWait = OnWait())
{
    check(vbox, vbox.resetComComponent());
    connect(vbox, deadline, onWait); // which finds out whether it worked
}

/// Runs an operation that needs a free lock, again and again while it fails in the lock race, until the deadline. Any
/// other failure, and the last one of the race, is thrown. Returns how long it waited.
template <class Operation>
std::chrono::milliseconds retryWhileLocked(VBoxInstanceImpl& vbox, Deadline deadline, Operation&& operation,
                                           const OnWait& onWait = OnWait())
{
    const Deadline::Clock::time_point start = Deadline::Clock::now();
    for (;;) {
        const std::uint32_t code = operation();
        if (code == 0)
            return std::chrono::duration_cast<std::chrono::milliseconds>(Deadline::Clock::now() - start);
        if (!isLockRace(vbox.getVBoxError()) || deadline.passed())
            check(vbox, code);
        Details::tick(onWait);
        std::this_thread::sleep_for(deadline.left(std::chrono::milliseconds(50)));
    }
}

/// The library's one session, holding a machine's lock; unlocks at the end. Changes that were not saved are lost then.
class LockedSession
{
public:
    /// Locks the machine (lockType as in LockType), waiting until the deadline while another lock is just being given
    /// back.
    LockedSession(VBoxInstanceImpl& vbox, VBoxHandle machine, std::uint32_t lockType, Deadline deadline,
                  const OnWait& onWait = OnWait())
        : lock_(vbox)
    {
        // cppcheck-suppress useInitializationList ; an action that takes time and may throw, not a value to begin with
        waited_ = retryWhileLocked(
            vbox, deadline, [&] { return vbox.lockMachine(machine, lockType); }, onWait);
        lock_.held = true;
        machine_ = ask<ScopedMachine>(vbox, &VBoxInstanceImpl::createMutableMachine, machine);
    }

    /// Takes over the lock that a finished launchVMProcess left with the session. Unlocking drops the link only: the
    /// machine runs on.
    static LockedSession adopt(VBoxInstanceImpl& vbox)
    {
        LockedSession session(vbox);
        session.lock_.held = true;
        session.machine_ = ask<ScopedMachine>(vbox, &VBoxInstanceImpl::createMutableMachine, 0u);
        return session;
    }

    LockedSession(LockedSession&&) = default;
    LockedSession& operator=(LockedSession&&) = delete;

    /// The session's machine, on which settings can be changed.
    const ScopedMachine& machine() const noexcept { return machine_; }

    /// How long the lock had to be waited for.
    std::chrono::milliseconds waited() const noexcept { return waited_; }

    /// Keeps the changes.
    void save() { check(*lock_.vbox, lock_.vbox->saveSettings(machine_)); }

    /// The running machine's console; empty when the machine does not run.
    ScopedConsole console() const { return ask<ScopedConsole>(*lock_.vbox, &VBoxInstanceImpl::getConsole); }

    /// Unlocks now, and tells a failure, which the end of the object keeps to itself.
    void unlock()
    {
        machine_.reset();
        lock_.held = false;
        check(*lock_.vbox, lock_.vbox->unlockMachine());
    }

private:
    struct Lock
    {
        explicit Lock(VBoxInstanceImpl& instance) : vbox(&instance) {}
        Lock(Lock&& other) noexcept : vbox(other.vbox), held(std::exchange(other.held, false)) {}
        Lock& operator=(Lock&&) = delete;
        ~Lock()
        {
            if (!held)
                return;
            try {
                vbox->unlockMachine(); // fails when the machine's end has closed the session already
            } catch (...) {
            }
        }

        VBoxInstanceImpl* vbox;
        bool held = false;
    };

    explicit LockedSession(VBoxInstanceImpl& vbox) : lock_(vbox) {}

    Lock lock_;
    ScopedMachine machine_; // after the lock: given back before it
    std::chrono::milliseconds waited_{0};
};

/// Waits until a progress is complete. Throws ProgressError with the progress's own result and text when the task
/// failed, TimedOut when the deadline passed first (the task goes on).
inline void waitFor(VBoxInstanceImpl& vbox, VBoxHandle progress, Deadline deadline, const OnWait& onWait = OnWait())
{
    while (ask<std::uint32_t>(vbox, &VBoxInstanceImpl::getProgressCompleted, progress) == 0) {
        if (deadline.passed())
            throw TimedOut("the task was not complete in time");
        Details::tick(onWait);
        const auto slice = deadline.left(std::chrono::milliseconds(200));
        check(vbox, vbox.progressWaitForCompletion(progress, static_cast<std::int32_t>(slice.count())));
    }
    const auto result = ask<std::int32_t>(vbox, &VBoxInstanceImpl::getProgressResultCode, progress);
    if (result < 0)
        throw ProgressError(static_cast<std::uint32_t>(result),
                            ask<std::wstring>(vbox, &VBoxInstanceImpl::getProgressErrorInfo, progress));
}

/// One machine of the list. An inaccessible one (a settings file that is lost or damaged) has its UUID and the reason.
struct MachineEntry
{
    ScopedMachine machine;
    std::wstring uuid;
    std::wstring name;
    std::uint32_t state = MachineState::Null;
    bool accessible = true;
    std::wstring problem;
};

/// All registered machines. One that cannot be read is marked, and does not end the listing; only a server that is gone
/// does. (The library holds about 2000 machines at a time: of more, the first can no longer be read.)
inline std::vector<MachineEntry> listMachines(VBoxInstanceImpl& vbox)
{
    std::vector<MachineEntry> entries;
    const auto handles = ask<std::vector<VBoxHandle>>(vbox, &VBoxInstanceImpl::listVms);
    for (VBoxHandle handle : handles) {
        entries.emplace_back();
        entries.back().machine = ScopedMachine(vbox, handle);
    }
    for (MachineEntry& entry : entries) {
        try {
            entry.uuid = ask<std::wstring>(vbox, &VBoxInstanceImpl::getVmUUID, entry.machine);
            entry.name = ask<std::wstring>(vbox, &VBoxInstanceImpl::getVmName, entry.machine);
            entry.state = ask<std::uint32_t>(vbox, &VBoxInstanceImpl::machineGetState, entry.machine);
        } catch (const ServerGone&) {
            throw;
        } catch (const SdkError& error) {
            entry.accessible = false;
            entry.problem = error.text();
        }
    }
    return entries;
}

/// What an event says. The fields beyond the type belong to the two types that the library reads.
struct EventData
{
    std::uint32_t type = VBoxEventType::Invalid;
    std::uint32_t state = MachineState::Null; ///< OnStateChanged: the new state
    bool fatal = false;                       ///< OnRuntimeError: the machine has been paused and cannot go on
    std::wstring id;                          ///< OnRuntimeError
    std::wstring message;                     ///< OnRuntimeError; may be empty
};

inline EventData readEvent(VBoxInstanceImpl& vbox, VBoxHandle event)
{
    EventData data;
    data.type = ask<std::uint32_t>(vbox, &VBoxInstanceImpl::eventSourceEventGetType, event);
    if (data.type == VBoxEventType::OnStateChanged) {
        const auto typed =
            ask<ScopedStateChangedEvent>(vbox, &VBoxInstanceImpl::getEventSourceStateChangedEvent, event);
        data.state = ask<std::uint32_t>(vbox, &VBoxInstanceImpl::eventSourceStateChangedEventGetState, typed);
    } else if (data.type == VBoxEventType::OnRuntimeError) {
        const auto typed =
            ask<ScopedRuntimeErrorEvent>(vbox, &VBoxInstanceImpl::getEventSourceRuntimeErrorEvent, event);
        data.fatal = ask<std::int32_t>(vbox, &VBoxInstanceImpl::eventSourceRuntimeErrorEventGetFatal, typed) != 0;
        data.id = ask<std::wstring>(vbox, &VBoxInstanceImpl::eventSourceRuntimeErrorEventGetId, typed);
        data.message = ask<std::wstring>(vbox, &VBoxInstanceImpl::eventSourceRuntimeErrorEventGetMessage, typed);
    }
    return data;
}

/// A registered listener. VirtualBox drops a listener whose events are not fetched for long: the loop then registers
/// another one and says so, because events were lost.
class EventLoop
{
public:
    enum class Step
    {
        Quiet,   ///< no event came in time
        Handled, ///< the handler has seen an event
        Resync   ///< events were lost: ask for the state anew
    };

    /// Listens to a source for event types as in VBoxEventType.
    EventLoop(VBoxInstanceImpl& vbox, ScopedEventSource source, std::vector<std::uint32_t> types)
        : vbox_(vbox), source_(std::move(source)), types_(std::move(types))
    {
        registerListener();
    }
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    ~EventLoop()
    {
        try {
            if (vbox_.eventSourceUnregisterListener(source_, listener_) == 0) {
                source_.detach(); // the success gave both back
                listener_.detach();
            }
        } catch (...) {
        }
    }

    /// Waits up to timeout for one event and hands its EventData to the handler. The event is marked as processed in
    /// any case, also when the handler throws.
    template <class Handler>
    Step next(std::chrono::milliseconds timeout, Handler&& handler)
    {
        if (listener_ == 0) { // the replacement of a dropped one failed
            registerListener();
            return Step::Resync;
        }
        Pending pending(*this);
        const auto limit = static_cast<std::uint32_t>(timeout.count());
        const std::uint32_t code = vbox_.eventSourceGetEvent(source_, listener_, limit, pending.event.put());
        if (code == EventSourceGetEventFail && vbox_.getVBoxError() == 0x80BB0001) {
            listener_.reset();
            registerListener();
            return Step::Resync;
        }
        check(vbox_, code);
        if (pending.event == 0)
            return Step::Quiet;
        const EventData data = readEvent(vbox_, pending.event);
        std::forward<Handler>(handler)(data);
        return Step::Handled;
    }

private:
    struct Pending
    {
        explicit Pending(EventLoop& owner) : loop(owner), event(owner.vbox_) {}
        Pending(const Pending&) = delete;
        Pending& operator=(const Pending&) = delete;
        ~Pending()
        {
            if (event == 0)
                return;
            try {
                // A failure here shows again in the next wait for an event.
                loop.vbox_.eventSourceEventProcessed(loop.source_, loop.listener_, event);
                if (loop.vbox_.eventSourceReleaseEvent(event) == 0)
                    event.detach();
            } catch (...) {
            }
        }

        EventLoop& loop;
        ScopedEvent event;
    };

    void registerListener()
    {
        listener_ = ask<ScopedEventListener>(vbox_, &VBoxInstanceImpl::eventSourceCreateListener, source_);
        check(vbox_, vbox_.eventSourceRegisterListener(source_, listener_, types_, 0));
    }

    VBoxInstanceImpl& vbox_;
    ScopedEventSource source_;
    ScopedEventListener listener_;
    std::vector<std::uint32_t> types_;
};

} // namespace Travik

#endif
