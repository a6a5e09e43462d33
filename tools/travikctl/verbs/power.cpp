// A machine's process: start, stop, resume, state.

#include "core/context.h"
#include "core/names.h"
#include "core/verbs.h"

using namespace Travik;

namespace {

struct StartOptions
{
    std::vector<std::string> machines;
    std::string type = "headless";
    std::vector<std::string> environment;
};

void start(Context& context, const StartOptions& options)
{
    std::list<std::wstring> environment;
    for (const std::string& entry : options.environment)
        environment.push_back(fromUtf8(entry));
    context.forEach("machine", options.machines, [&](const std::string& which) {
        const ScopedMachine machine = context.machine(which);
        ScopedProgress progress;
        retryWhileLocked(
            context.lockDeadline(),
            [&] { progress = context.vbox.launchVMProcess(machine, fromUtf8(options.type), environment); },
            context.onWait());
        waitFor(context.vbox, progress, context.deadline, context.onWait());
        LockedSession::adopt(context.vbox).unlock(); // the machine runs on without us
        context.out.done("Started " + which + ".", Json::object());
        return Json::object();
    });
}

void stop(Context& context, const std::vector<std::string>& machines)
{
    context.forEach("machine", machines, [&](const std::string& which) -> Json {
        const ScopedMachine machine = context.machine(which);
        const bool ran = !isOff(context.vbox.machineGetState(machine));
        if (ran)
            context.withConsole(which, [&](const ScopedConsole& console) {
                waitFor(context.vbox, context.vbox.powerDown(console), context.deadline, context.onWait());
            });
        context.out.done(ran ? "Stopped " + which + "." : which + " was off.", Json::object());
        return {{"wasOff", !ran}};
    });
}

void resume(Context& context, const std::string& machine)
{
    context.withConsole(machine, [&](const ScopedConsole& console) { context.vbox.consoleResume(console); });
    context.out.done("Resumed " + machine + ".", {{"machine", machine}});
}

void printState(Context& context, State state)
{
    const auto number = static_cast<std::uint32_t>(state);
    Json facts = stateFacts(state);
    facts.update({{"machineState", number}, {"sdkState", context.vbox.plain().toSdkMachineState(number)}});
    context.out.answer(stateText(state), facts);
}

void state(Context& context, const std::string& which, bool fromConsole)
{
    if (!fromConsole) {
        printState(context, context.vbox.machineGetState(context.machine(which)));
        return;
    }
    context.withConsole(
        which, [&](const ScopedConsole& console) { printState(context, context.vbox.consoleGetState(console)); });
}

void addStartVerb(Verbs& verbs)
{
    auto launch = std::make_shared<StartOptions>();
    verbs
        .add("start", "Start machines and wait until they run", [launch](Context& context) { start(context, *launch); })
        .machines(launch->machines)
        .option("--type", "TYPE", &launch->type, "Front end that VirtualBox starts: headless (default), gui, sdl")
        .words({"headless", "gui", "sdl"})
        .option("--env", "NAME[=VALUE]", &launch->environment, "Change in the environment of the machine's process")
        .example("start Player")
        .example("start Player Worker --type gui --env PLAYER_LOG=debug");
}

void addStateVerb(Verbs& verbs)
{
    struct Options
    {
        std::string machine;
        bool console = false;
    };
    auto query = std::make_shared<Options>();
    verbs
        .add("state", "A machine's state",
             [query](Context& context) { state(context, query->machine, query->console); })
        .machine(query->machine)
        .flag("--console", query->console, "Ask the running machine's console rather than the machine")
        .example("state Player");
}

} // namespace

void addPowerVerbs(Verbs& verbs)
{
    addStartVerb(verbs);

    auto stopped = std::make_shared<std::vector<std::string>>();
    verbs
        .add("stop", "Switch machines off, as by pulling the plug; one that is off stays so",
             [stopped](Context& context) { stop(context, *stopped); })
        .machines(*stopped)
        .example("stop Player");

    auto resumed = std::make_shared<std::string>();
    verbs.add("resume", "Let a paused machine run on", [resumed](Context& context) { resume(context, *resumed); })
        .machine(*resumed)
        .example("resume Player");

    addStateVerb(verbs);
}
