#pragma once

#include <travik/scoped_handle.h>

#include <functional>
#include <string>

#include "failure.h"
#include "output.h"
#include "text.h"

using Travik::VBoxInstanceImpl;

/// What a command works with.
struct Context
{
    VBoxInstanceImpl& vbox;
    Output& out;
    Travik::Deadline deadline;          ///< from --timeout
    std::chrono::milliseconds lockWait; ///< from --wait-lock
    int exitCode = ExitCode::Done;      ///< of a verb that ran to its end

    /// For the connection: a server that cannot be started within this time will not start later.
    Travik::Deadline connectionDeadline() const { return Travik::Deadline(deadline.left(std::chrono::seconds(20))); }

    /// Ends a wait by Interrupted after Ctrl-C.
    Travik::OnWait onWait() const;

    /// Throws Interrupted after Ctrl-C.
    void throwIfInterrupted() const;

    /// A registered machine by name or UUID, or the machine of a settings file.
    Travik::ScopedMachine machine(const std::string& which) const;

    /// A lock on the machine. A shared lock also reaches a running machine; of one that is off it is a write lock.
    Travik::LockedSession lock(const std::string& which, std::uint32_t lockType) const;

    /// Locks the machine, lets change alter the session's machine, saves and unlocks.
    void edit(const std::string& which, std::uint32_t lockType,
              const std::function<void(Travik::VBoxHandle machine)>& change) const;

    /// Locks the machine as shared and hands its console to use; refuses a machine that does not run.
    void withConsole(const std::string& which, const std::function<void(Travik::VBoxHandle console)>& use) const;

    void check(std::uint32_t code) const { Travik::check(vbox, code); }

    template <class Answer, class Operation, class... Arguments>
    Answer ask(Operation operation, Arguments&&... arguments) const
    {
        return Travik::ask<Answer>(vbox, operation, std::forward<Arguments>(arguments)...);
    }

    /// The text that a machine, medium or other object answers, as UTF-8.
    template <class Operation, class... Arguments>
    std::string text(Operation operation, Arguments&&... arguments) const
    {
        return toUtf8(ask<std::wstring>(operation, std::forward<Arguments>(arguments)...));
    }
};
