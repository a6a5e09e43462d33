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
    if (event.type == EventType::StateChanged) {
        Json object{{"event", "state"}};
        object.update(stateFacts(event.state));
        out.line("state: " + stateText(event.state), object);
    } else if (event.type == EventType::RuntimeError) {
        out.line(
            std::string(event.fatal ? "fatal error " : "error ") + toUtf8(event.id) + ": " + toUtf8(event.message),
            {{"event", "error"}, {"fatal", event.fatal}, {"id", toUtf8(event.id)}, {"message", toUtf8(event.message)}});
    } else {
        out.line(eventText(event.type), {{"event", "other"},
                                         {"type", static_cast<std::uint32_t>(event.type)},
                                         {"name", eventIdentifier(event.type)}});
    }
}

/// The console's events until the machine is off, or one of the ends that the user set.
class Watch
{
public:
    // cppcheck-suppress uninitMemberVar ; all of them are in the list, which cppcheck 2.10 does not see beside
    // deadline_
    Watch(Context& context, const WatchOptions& options, const ScopedMachine& machine, const ScopedConsole& console)
        : context_(context), options_(options), machine_(machine), console_(console)
    {}

    void run();

private:
    std::vector<EventType> types() const;
    /// Why it is over; null while it is not.
    const char* end() const;
    void step(EventLoop& loop);
    void printState(const char* event, const std::string& words, State state);

    Context& context_;
    const WatchOptions& options_;
    const ScopedMachine& machine_;
    const ScopedConsole& console_;
    Deadline deadline_ = options_.seconds > 0 ? Deadline(std::chrono::duration<double>(options_.seconds))
                                              : Deadline::never();
    std::uint64_t seen_ = 0;
    bool off_ = false;
};

std::vector<EventType> Watch::types() const
{
    if (options_.all)
        return {EventType::Any};
    return {EventType::StateChanged, EventType::RuntimeError};
}

const char* Watch::end() const
{
    if (off_)
        return "off";
    if (interrupted())
        return "interrupted";
    if (deadline_.passed())
        return "time";
    return options_.count != 0 && seen_ >= options_.count ? "count" : nullptr;
}

void Watch::printState(const char* event, const std::string& words, State state)
{
    Json object{{"event", event}};
    object.update(stateFacts(state));
    context_.out.line(words + ": " + stateText(state), object);
}

void Watch::step(EventLoop& loop)
{
    const auto limit = deadline_.left(context_.deadline.left(std::chrono::milliseconds(250)));
    const auto step = loop.next(limit, [this](const EventData& event) {
        print(context_.out, event);
        off_ = event.type == EventType::StateChanged && isOff(event.state);
        ++seen_;
    });
    if (step == EventLoop::Step::Resync)
        printState("lost", "events were lost; now", context_.vbox.consoleGetState(console_));
    if (step != EventLoop::Step::Ended)
        return;
    // The machine's process went before its last event was fetched.
    printState("state", "state", context_.vbox.machineGetState(machine_));
    off_ = true;
}

void Watch::run()
{
    EventLoop loop(context_.vbox, context_.vbox.getEventSource(console_), types());
    printState("watching", "watching", context_.vbox.consoleGetState(console_));
    while (!end()) {
        if (context_.deadline.passed())
            throw TimedOut("the machine was still on");
        step(loop);
    }
    if (context_.out.json())
        context_.out.line("", {{"event", "ended"}, {"reason", end()}});
}

} // namespace

void addWatchVerb(Verbs& verbs)
{
    auto options = std::make_shared<WatchOptions>();
    verbs
        .add("watch", "The events of a running machine until it is off, or Ctrl-C; with --json one object per line",
             [options](Context& context) {
                 const ScopedMachine machine = context.machine(options->machine);
                 context.withConsole(options->machine, [&](const ScopedConsole& console) {
                     Watch(context, *options, machine, console).run();
                 });
             })
        .waitingLong()
        .endedByCtrlC()
        .inLines()
        .machine(options->machine)
        .option("--count", "N", &options->count, "End after so many events")
        .option("--for", "SECONDS", &options->seconds, "End after so many seconds")
        .flag("--all", options->all, "Events of every type, not only states and errors")
        .example("watch Player")
        .example("watch Player --json --for 60");
}
