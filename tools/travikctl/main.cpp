#include <windows.h>

#include <algorithm>

#include "core/command_line.h"
#include "core/context.h"
#include "core/task_log.h"
#include "core/terminal.h"

namespace {

void addVerbs(Verbs& verbs)
{
    addShowVerbs(verbs);
    addCreateVerbs(verbs);
    addSettingsVerbs(verbs);
    addPowerVerbs(verbs);
    addWatchVerb(verbs);
    addNatVerbs(verbs);
    addShareVerbs(verbs);
    addPropertyVerbs(verbs);
    addAudioAndHostVerbs(verbs);
    addDiskVerbs(verbs);
    addFolderVerbs(verbs);
    addConverterVerb(verbs);
    addDoctorVerb(verbs);
    addTourVerb(verbs);
    addCompletionVerb(verbs);
}

std::chrono::milliseconds milliseconds(double seconds)
{
    return std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
}

/// The time limit of a run; none for 0 and for long verbs without the option.
std::optional<std::chrono::milliseconds> timeLimit(const Options& options, const Verb& verb)
{
    if (options.timeout)
        return *options.timeout == 0 ? std::nullopt : std::make_optional(milliseconds(*options.timeout));
    return verb.waitsLong() ? std::nullopt : std::make_optional(milliseconds(600));
}

/// Prints a failure that is all there is to say.
int refuse(const std::string& verb, const std::string& who, const Failure& failure, const Options& options,
           bool inLines = false)
{
    if (options.json) {
        Output out(verb, options.json, options.quiet, inLines);
        out.fail(asJson(failure));
        out.finish();
    } else {
        writeError(asText(failure, who, options.verbose));
    }
    return failure.exitCode;
}

Attendant::Duties duties(const Options& options, const Verb& verb)
{
    Attendant::Duties duties;
    duties.label = options.quiet ? "" : verb.name();
    duties.exitCode = ExitCode::TimedOut;
    if (const auto limit = timeLimit(options, verb))
        duties.giveUp = *limit + std::chrono::milliseconds(500); // a wait that looks at its deadline ends before
    duties.farewell = [options, name = verb.name(), inLines = verb.isInLines()] {
        const Travik::TimedOut late("a call of VirtualBox did not return in time");
        refuse(name, "travikctl " + name, describe(std::make_exception_ptr(late)), options, inLines);
    };
    return duties;
}

/// Runs the verb in what surrounds it: connection, time limit, failures.
class Run
{
public:
    Run(const Options& options, const Verb& verb)
        : options_(options),
          verb_(verb),
          log_(options.log, verb.failsInTheLog()),
          out_(verb.name(), options.json, options.quiet, verb.isInLines())
    {}

    int operator()()
    {
        const auto limit = timeLimit(options_, verb_);
        Context context{*GetVBoxInstance(), out_, limit ? Travik::Deadline(*limit) : Travik::Deadline::never(),
                        milliseconds(options_.waitLock),
                        [this](std::exception_ptr failure, const std::string& about) { return tell(failure, about); }};
        const Attendant attendant(duties(options_, verb_));
        try {
            if (verb_.needsVirtualBox())
                Travik::connect(context.vbox, context.connectionDeadline(), context.onWait());
            verb_.action()(context);
            noteInterruption(context);
        } catch (...) {
            const Failure failure = tell(std::current_exception(), "");
            context.exitCode = failure.exitCode;
            out_.fail(asJson(failure));
        }
        out_.finish();
        context.vbox.plain().releaseRC();
        return context.exitCode;
    }

private:
    Failure tell(std::exception_ptr exception, const std::string& about)
    {
        Failure failure = describe(exception);
        if (verb_.failsInTheLog() && hasReasonInLog(failure)) {
            if (const std::string reason = log_.reason(); !reason.empty())
                failure.reason = failure.sentence = reason;
        }
        if (!options_.json)
            writeError(
                asText(failure, "travikctl " + verb_.name() + (about.empty() ? "" : " " + about), options_.verbose));
        return failure;
    }

    /// Ctrl-C while a call could not be cut short: what was finished has been told, and the exit code says the rest.
    void noteInterruption(Context& context)
    {
        if (!interrupted() || verb_.endsByCtrlC())
            return;
        context.exitCode = ExitCode::Interrupted;
        out_.record({{"interrupted", true}});
        if (!options_.json)
            writeError("travikctl " + verb_.name() + ": interrupted; what is told above was finished\n");
    }

    const Options& options_;
    const Verb& verb_;
    TaskLog log_;
    Output out_;
};

int run(const Options& options, const Verb& verb)
{
    try {
        return Run(options, verb)();
    } catch (const CommandError&) { // of the log
        return refuse(verb.name(), "travikctl " + verb.name(), describe(std::current_exception()), options,
                      verb.isInLines());
    }
}

int refuseCommandLine(const Request& request, const Options& options, const Verbs& verbs)
{
    const CommandError wrong(ExitCode::Usage, request.problem, "See '" + request.command + " --help'.");
    const std::string verb = request.command.substr(std::min(request.command.size(), sizeof("travikctl")));
    const auto meant = std::find_if(verbs.all().begin(), verbs.all().end(),
                                    [&verb](const Verb& known) { return known.name() == verb; });
    return refuse(verb, request.command, describe(std::make_exception_ptr(wrong)), options,
                  meant != verbs.all().end() && meant->isInLines());
}

} // namespace

int wmain(int count, wchar_t** values)
{
    catchInterrupts(ExitCode::Interrupted);
    std::vector<std::string> arguments;
    for (int i = 1; i < count; ++i)
        arguments.push_back(toUtf8(values[i]));

    Verbs verbs;
    addVerbs(verbs);
    Options options;
    const Request request = parseCommandLine(verbs, options, arguments);
    if (request.verb)
        return run(options, *request.verb);
    if (!request.problem.empty())
        return refuseCommandLine(request, options, verbs);
    writeOut(request.text);
    return ExitCode::Done;
}
