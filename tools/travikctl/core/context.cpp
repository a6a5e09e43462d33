#include "context.h"

#include "terminal.h"

using namespace Travik;

namespace {

bool looksLikeFile(const std::string& which)
{
    return which.find_first_of("/\\") != std::string::npos || which.ends_with(".vbox");
}

} // namespace

OnWait Context::onWait() const
{
    return [this] { throwIfInterrupted(); };
}

void Context::throwIfInterrupted() const
{
    if (interrupted())
        throw Interrupted();
}

ScopedMachine Context::machine(const std::string& which) const
{
    try {
        return ask<ScopedMachine>(&VBoxInstanceImpl::findMachine, fromUtf8(which));
    } catch (const SdkError& error) {
        if (error.result() != 0x80BB0001 || !looksLikeFile(which))
            throw;
    }
    return ask<ScopedMachine>(&VBoxInstanceImpl::openMachine, fullPath(which));
}

LockedSession Context::lock(const std::string& which, std::uint32_t lockType) const
{
    return LockedSession(vbox, machine(which), lockType, Deadline(lockWait), onWait());
}

void Context::edit(const std::string& which, std::uint32_t lockType,
                   const std::function<void(VBoxHandle machine)>& change) const
{
    LockedSession session = lock(which, lockType);
    change(session.machine());
    session.save();
    session.unlock();
}

void Context::withConsole(const std::string& which, const std::function<void(VBoxHandle console)>& use) const
{
    const LockedSession session = lock(which, LockType::Shared);
    const ScopedConsole console = session.console();
    if (console == 0)
        throw CommandError(ExitCode::Refused, "the machine " + which + " does not run", "Start it first.");
    use(console);
}
