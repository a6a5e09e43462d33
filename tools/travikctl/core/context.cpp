#include "context.h"

#include <algorithm>

#include "terminal.h"

using namespace Travik;

namespace {

bool looksLikeFile(const std::string& which)
{
    return which.find_first_of("/\\") != std::string::npos || which.ends_with(".vbox");
}

/// Whether what follows would fail in the same way.
bool endsAll(int exitCode)
{
    return exitCode == ExitCode::TimedOut || exitCode == ExitCode::Unreachable || exitCode == ExitCode::Interrupted;
}

std::string summary(const Json& results)
{
    const auto count = [&results](const char* outcome) {
        return std::count_if(results.begin(), results.end(),
                             [outcome](const Json& result) { return result["outcome"] == outcome; });
    };
    std::string text = std::to_string(count("done")) + " of " + std::to_string(results.size()) + " done";
    if (const auto failed = count("failed"); failed != 0)
        text += ", " + std::to_string(failed) + " failed";
    if (const auto skipped = count("skipped"); skipped != 0)
        text += ", " + std::to_string(skipped) + " not begun";
    return text + ".";
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
        return vbox.findMachine(fromUtf8(which));
    } catch (const SdkError& error) {
        if (error.result() != Result::ObjectNotFound || !looksLikeFile(which))
            throw;
    }
    const std::wstring file = fullPath(which);
    try {
        return vbox.findMachine(file);
    } catch (const SdkError& error) {
        if (error.result() != Result::ObjectNotFound)
            throw;
    }
    return vbox.openMachine(file);
}

LockedSession Context::lock(const std::string& which, Lock type) const
{
    return LockedSession(vbox, machine(which), type, lockDeadline(), onWait());
}

void Context::edit(const std::string& which, Lock type,
                   const std::function<void(const ScopedMachine& machine)>& change) const
{
    LockedSession session = lock(which, type);
    change(session.machine());
    session.save();
    session.unlock();
}

void Context::withConsole(const std::string& which, const std::function<void(const ScopedConsole& console)>& use) const
{
    const LockedSession session = lock(which, Lock::Shared);
    const ScopedConsole console = session.console();
    if (!console)
        throw CommandError(ExitCode::Refused, "the machine " + which + " does not run", "Start it first.");
    use(console);
}

void Context::forEach(const std::string& kind, const std::vector<std::string>& things,
                      const std::function<Json(const std::string& thing)>& act)
{
    Json results = Json::array();
    Json worst;
    bool ended = false;
    for (const std::string& thing : things) {
        ended = ended || interrupted();
        Json result{{kind, thing}, {"outcome", ended ? "skipped" : "done"}};
        try {
            if (!ended)
                result.update(act(thing));
        } catch (...) {
            const Failure failure = tell(std::current_exception(), things.size() > 1 ? thing : "");
            result["outcome"] = "failed";
            result["error"] = asJson(failure);
            ended = endsAll(failure.exitCode);
            if (failure.exitCode > exitCode) {
                exitCode = failure.exitCode;
                worst = result["error"];
            }
        }
        results.push_back(result);
    }
    out.record({{"results", results}});
    if (things.size() > 1)
        out.done(summary(results), Json::object());
    if (!worst.is_null())
        out.fail(worst);
}
