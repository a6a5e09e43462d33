// A machine's process: start, stop, resume, state.

#include "core/context.h"
#include "core/names.h"
#include "core/verbs.h"

using namespace Travik;

namespace {

struct StartOptions
{
    std::string machine, type = "headless";
    std::vector<std::string> environment;
};

void start(Context& context, const StartOptions& options)
{
    const ScopedMachine machine = context.machine(options.machine);
    std::list<std::wstring> environment;
    for (const std::string& entry : options.environment)
        environment.push_back(fromUtf8(entry));

    ScopedProgress progress(context.vbox);
    retryWhileLocked(
        context.vbox, Deadline(context.lockWait),
        [&] { return context.vbox.launchVMProcess(machine, fromUtf8(options.type), environment, progress.put()); },
        context.onWait());
    waitFor(context.vbox, progress, context.deadline, context.onWait());
    LockedSession::adopt(context.vbox).unlock(); // the machine runs on without us
    context.out.done("Started " + options.machine + ".", {{"started", options.machine}});
}

void stop(Context& context, const std::string& machine)
{
    context.withConsole(machine, [&](VBoxHandle console) {
        const auto progress = context.ask<ScopedProgress>(&VBoxInstanceImpl::powerDown, console);
        waitFor(context.vbox, progress, context.deadline, context.onWait());
    });
    context.out.done("Stopped " + machine + ".", {{"stopped", machine}});
}

void resume(Context& context, const std::string& machine)
{
    context.withConsole(machine, [&](VBoxHandle console) { context.check(context.vbox.consoleResume(console)); });
    context.out.done("Resumed " + machine + ".", {{"resumed", machine}});
}

void printState(Context& context, std::uint32_t state)
{
    context.out.done(machineStateName(state), {{"state", machineStateName(state)},
                                               {"machineState", state},
                                               {"sdkState", context.vbox.toSdkMachineState(state)}});
}

void state(Context& context, const std::string& which, bool fromConsole)
{
    if (!fromConsole) {
        printState(context, context.ask<std::uint32_t>(&VBoxInstanceImpl::machineGetState, context.machine(which)));
        return;
    }
    context.withConsole(which, [&](VBoxHandle console) {
        printState(context, context.ask<std::uint32_t>(&VBoxInstanceImpl::consoleGetState, console));
    });
}

} // namespace

void addPowerVerbs(Verbs& verbs)
{
    auto launch = std::make_shared<StartOptions>();
    verbs
        .add("start", "Start a machine and wait until it runs", [launch](Context& context) { start(context, *launch); })
        .machine(launch->machine)
        .option("--type", "TEXT", &launch->type, "Front end that VirtualBox starts: headless (default), gui, sdl")
        .option("--env", "NAME[=VALUE]", &launch->environment, "Change in the environment of the machine's process");

    auto stopped = std::make_shared<std::string>();
    verbs
        .add("stop", "Switch a machine off, as by pulling its plug",
             [stopped](Context& context) { stop(context, *stopped); })
        .machine(*stopped);

    auto resumed = std::make_shared<std::string>();
    verbs.add("resume", "Let a paused machine run on", [resumed](Context& context) { resume(context, *resumed); })
        .machine(*resumed);

    struct StateOptions
    {
        std::string machine;
        bool console = false;
    };
    auto query = std::make_shared<StateOptions>();
    verbs
        .add("state", "A machine's state",
             [query](Context& context) { state(context, query->machine, query->console); })
        .machine(query->machine)
        .flag("--console", query->console, "Ask the running machine's console rather than the machine");
}
