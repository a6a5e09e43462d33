#ifndef TRAVIK_SESSION_H
#define TRAVIK_SESSION_H

// Part of the helper (scoped_handle.h): the locked session, and what a front end does with whole machines.

#include <chrono>
#include <list>
#include <string>
#include <utility>
#include <vector>

#include "operations.h"

namespace Travik {

/// The library's one session, holding a machine's lock; unlocks at the end. Changes that were not saved are lost then.
class LockedSession
{
public:
    /// Locks the machine, waiting until the deadline while another lock is just being given back.
    LockedSession(VBoxInstanceImpl& vbox, const ScopedMachine& machine, Lock type, Deadline deadline,
                  const OnWait& onWait = OnWait())
        : lock_(vbox)
    {
        // cppcheck-suppress useInitializationList ; an action that takes time and may throw, not a value to begin with
        waited_ = retryWhileLocked(
            deadline, [&] { lock_.vbox.lockMachine(machine, type); }, onWait);
        lock_.held = true;
        machine_ = lock_.vbox.createMutableMachine(machine);
    }

    /// Takes over the lock that a finished launchVMProcess left with the session. Unlocking drops the link only: the
    /// machine runs on.
    [[nodiscard]] static LockedSession adopt(VBoxInstanceImpl& vbox)
    {
        LockedSession session(vbox);
        session.lock_.held = true;
        session.machine_ = session.lock_.vbox.createMutableMachine(ScopedMachine());
        return session;
    }

    LockedSession(LockedSession&&) = default;
    /// Unlocks what was held before.
    LockedSession& operator=(LockedSession&& other) noexcept
    {
        machine_ = std::move(other.machine_); // given back before its lock
        lock_ = std::move(other.lock_);
        waited_ = other.waited_;
        return *this;
    }

    /// The session's machine, on which settings can be changed.
    [[nodiscard]] const ScopedMachine& machine() const noexcept { return machine_; }

    /// How long the lock had to be waited for.
    [[nodiscard]] std::chrono::milliseconds waited() const noexcept { return waited_; }

    /// Keeps the changes.
    void save() { lock_.vbox.saveSettings(machine_); }

    /// The running machine's console; empty when the machine does not run.
    [[nodiscard]] ScopedConsole console() const { return lock_.vbox.getConsole(); }

    /// Unlocks now, and tells a failure, which the end of the object keeps to itself.
    void unlock()
    {
        machine_.reset();
        lock_.held = false;
        lock_.vbox.unlockMachine();
    }

private:
    struct HeldLock
    {
        explicit HeldLock(VBoxInstanceImpl& instance) : vbox(instance) {}
        HeldLock(HeldLock&& other) noexcept : vbox(other.vbox), held(std::exchange(other.held, false)) {}
        HeldLock& operator=(HeldLock&& other) noexcept
        {
            if (this != &other) {
                giveBack();
                vbox = other.vbox;
                held = std::exchange(other.held, false);
            }
            return *this;
        }
        ~HeldLock() { giveBack(); }

        void giveBack() noexcept
        {
            if (!std::exchange(held, false))
                return;
            try {
                vbox.plain().unlockMachine(); // fails when the machine's end has closed the session already
            } catch (...) {
            }
        }

        Operations vbox;
        bool held = false;
    };

    explicit LockedSession(VBoxInstanceImpl& vbox) : lock_(vbox) {}

    HeldLock lock_;
    ScopedMachine machine_; // after the lock: given back before it
    std::chrono::milliseconds waited_{0};
};

/// Starts a machine and returns when it runs. Throws ProgressError with VirtualBox's own sentence when it does not.
inline void startMachine(VBoxInstanceImpl& vbox, const ScopedMachine& machine, Deadline deadline,
                         const std::wstring& type = L"headless", const std::list<std::wstring>& environmentChanges = {},
                         const OnWait& onWait = OnWait())
{
    const Operations operations(vbox);
    ScopedProgress progress;
    retryWhileLocked(
        deadline, [&] { progress = operations.launchVMProcess(machine, type, environmentChanges); }, onWait);
    waitFor(vbox, progress, deadline, onWait);
    LockedSession::adopt(vbox).unlock(); // the launch left its lock with the session; the machine runs on without it
}

/// Switches a machine off, as by pulling its plug, and returns when it is off. False when it was off already.
inline bool stopMachine(VBoxInstanceImpl& vbox, const ScopedMachine& machine, Deadline deadline,
                        const OnWait& onWait = OnWait())
{
    const Operations operations(vbox);
    if (isOff(operations.machineGetState(machine)))
        return false;
    const LockedSession session(vbox, machine, Lock::Shared, deadline, onWait);
    const ScopedConsole console = session.console();
    if (!console)
        return false; // it has ended meanwhile
    waitFor(vbox, operations.powerDown(console), deadline, onWait);
    return true;
}

/// Deletes a machine with its disks, waiting while its lock is just being given back.
inline void deleteMachine(VBoxInstanceImpl& vbox, const ScopedMachine& machine, Deadline deadline,
                          const OnWait& onWait = OnWait())
{
    retryWhileLocked(
        deadline, [&] { Operations(vbox).deleteMachine(machine); }, onWait);
}

/// One machine of the list. An inaccessible one (a settings file that is lost or damaged) has its UUID and the reason.
struct MachineEntry
{
    ScopedMachine machine;
    std::wstring uuid;
    std::wstring name;
    State state = State::Null;
    bool accessible = true;
    std::wstring problem;
};

/// All registered machines. One that cannot be read is marked, and does not end the listing; only a server that is gone
/// does. (The library holds about 2000 machines at a time: of more, the first can no longer be read.)
[[nodiscard]] inline std::vector<MachineEntry> listMachines(VBoxInstanceImpl& vbox)
{
    const Operations operations(vbox);
    std::vector<MachineEntry> entries;
    for (ScopedMachine& machine : operations.listVms()) {
        entries.emplace_back();
        entries.back().machine = std::move(machine);
    }
    for (MachineEntry& entry : entries) {
        try {
            entry.uuid = operations.getVmUUID(entry.machine);
            entry.name = operations.getVmName(entry.machine);
            entry.state = operations.machineGetState(entry.machine);
        } catch (const ServerGone&) {
            throw;
        } catch (const SdkError& error) {
            entry.accessible = false;
            entry.problem = error.text();
        }
    }
    return entries;
}

} // namespace Travik

#endif
