#pragma once

#include <travik/scoped_handle.h>

#include <functional>
#include <string>
#include <vector>

#include "failure.h"
#include "output.h"
#include "text.h"

/// What a command works with.
struct Context
{
    Travik::Operations vbox;
    Output& out;
    Travik::Deadline deadline;          ///< from --timeout
    std::chrono::milliseconds lockWait; ///< from --wait-lock
    /// Prints a failure that does not end the command, and returns it; `about` is what it is about.
    std::function<Failure(std::exception_ptr, const std::string& about)> tell;
    int exitCode = ExitCode::Done; ///< of a verb that ran to its end

    /// For the connection: a server that cannot be started within this time will not start later.
    Travik::Deadline connectionDeadline() const { return deadline.left(std::chrono::seconds(20)); }

    /// For a lock.
    Travik::Deadline lockDeadline() const { return deadline.left(lockWait); }

    /// Ends a wait by Interrupted after Ctrl-C.
    Travik::OnWait onWait() const;

    /// Throws Interrupted after Ctrl-C.
    void throwIfInterrupted() const;

    /// A registered machine by name or UUID, or the machine of a settings file.
    Travik::ScopedMachine machine(const std::string& which) const;

    /// A lock on the machine. A shared lock also reaches a running machine; of one that is off it is a write lock.
    Travik::LockedSession lock(const std::string& which, Travik::Lock type) const;

    /// Locks the machine, lets change alter the session's machine, saves and unlocks.
    void edit(const std::string& which, Travik::Lock type,
              const std::function<void(const Travik::ScopedMachine& machine)>& change) const;

    /// Locks the machine as shared and hands its console to use; refuses a machine that does not run.
    void withConsole(const std::string& which,
                     const std::function<void(const Travik::ScopedConsole& console)>& use) const;

    /// Does the same with each of several things, also after a failure, and sums up. `act` says what was done and
    /// returns facts. After Ctrl-C, at the end of the time and without VirtualBox the rest is left alone.
    void forEach(const std::string& kind, const std::vector<std::string>& things,
                 const std::function<Json(const std::string& thing)>& act);
};
