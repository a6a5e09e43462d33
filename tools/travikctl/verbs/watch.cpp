// A running machine's events, as they come.

#include "core/context.h"
#include "core/names.h"
#include "core/terminal.h"
#include "core/verbs.h"

using namespace Travik;

namespace {

struct WatchOptions
{
    std::string machine;
    std::uint64_t count = 0; // 0: no end
    double seconds = 0;      // 0: no end
    bool all = false;
};

void print(Output& out, const EventData& event)
{
    Json object{{"type", event.type}, {"event", eventTypeName(event.type)}};
    std::string sentence = eventTypeName(event.type);
    if (event.type == VBoxEventType::OnStateChanged) {
        object["state"] = machineStateName(event.state);
        sentence = "state: " + machineStateName(event.state);
    } else if (event.type == VBoxEventType::OnRuntimeError) {
        object["fatal"] = event.fatal;
        object["id"] = toUtf8(event.id);
        object["message"] = toUtf8(event.message);
        sentence =
            std::string(event.fatal ? "fatal error" : "error") + " " + toUtf8(event.id) + ": " + toUtf8(event.message);
    }
    out.line(sentence, object);
}

void printState(Context& context, VBoxHandle console, const char* why)
{
    const auto state = context.ask<std::uint32_t>(&VBoxInstanceImpl::consoleGetState, console);
    context.out.line(std::string(why) + ": " + machineStateName(state),
                     {{"event", why}, {"state", machineStateName(state)}});
}

bool isOff(std::uint32_t state)
{
    return state == MachineState::PoweredOff || state == MachineState::Saved || state == MachineState::Aborted;
}

/// The console's events until the machine is off, or one of the ends that the user set.
class Watch
{
public:
    // cppcheck-suppress uninitMemberVar ; all of them are in the list, which cppcheck 2.10 does not see beside
    // deadline_
    Watch(Context& context, const WatchOptions& options, VBoxHandle machine, VBoxHandle console)
        : context_(context), options_(options), machine_(machine), console_(console)
    {}

    void run();

private:
    std::vector<std::uint32_t> types() const;
    bool isOver() const;
    void step(EventLoop& loop);

    Context& context_;
    const WatchOptions& options_;
    VBoxHandle machine_, console_;
    Deadline deadline_ = options_.seconds > 0
                             ? Deadline(std::chrono::milliseconds(static_cast<std::int64_t>(options_.seconds * 1000)))
                             : context_.deadline;
    std::uint64_t seen_ = 0;
    bool off_ = false;
};

std::vector<std::uint32_t> Watch::types() const
{
    if (options_.all)
        return {VBoxEventType::Any};
    return {VBoxEventType::OnStateChanged, VBoxEventType::OnRuntimeError};
}

bool Watch::isOver() const
{
    return off_ || interrupted() || deadline_.passed() || (options_.count != 0 && seen_ >= options_.count);
}

void Watch::step(EventLoop& loop)
{
    const auto step = loop.next(deadline_.left(std::chrono::milliseconds(250)), [this](const EventData& event) {
        print(context_.out, event);
        off_ = event.type == VBoxEventType::OnStateChanged && isOff(event.state);
        ++seen_;
    });
    if (step == EventLoop::Step::Resync)
        printState(context_, console_, "events were lost; now");
}

void Watch::run()
{
    EventLoop loop(context_.vbox, context_.ask<ScopedEventSource>(&VBoxInstanceImpl::getEventSource, console_),
                   types());
    printState(context_, console_, "watching");
    while (!isOver()) {
        try {
            step(loop);
        } catch (const SdkError&) {
            // The console ends with the machine's process, perhaps before its last event was fetched.
            const auto state = context_.ask<std::uint32_t>(&VBoxInstanceImpl::machineGetState, machine_);
            if (!isOff(state))
                throw;
            context_.out.line("the machine is off: " + machineStateName(state),
                              {{"event", "off"}, {"state", machineStateName(state)}});
            off_ = true;
        }
    }
}

} // namespace

void addWatchVerb(Verbs& verbs)
{
    auto options = std::make_shared<WatchOptions>();
    verbs
        .add("watch", "The events of a running machine until it is off, or Ctrl-C; with --json one object per line",
             [options](Context& context) {
                 const ScopedMachine machine = context.machine(options->machine);
                 context.withConsole(options->machine,
                                     [&](VBoxHandle console) { Watch(context, *options, machine, console).run(); });
             })
        .waitingLong()
        .machine(options->machine)
        .option("--count", "N", &options->count, "End after so many events")
        .option("--for", "SECONDS", &options->seconds, "End after so many seconds")
        .flag("--all", options->all, "Events of every type, not only states and errors");
}
