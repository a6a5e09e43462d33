#include <windows.h>

#include "core/command_line.h"
#include "core/context.h"
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

Attendant::Duties duties(const Options& options, const Verb& verb)
{
    Attendant::Duties duties;
    duties.label = verb.name();
    duties.exitCode = ExitCode::TimedOut;
    if (const auto limit = timeLimit(options, verb))
        duties.giveUp = *limit + std::chrono::seconds(2); // a wait that looks at its deadline ends before
    duties.farewell = [json = options.json] {
        reportFailure(std::make_exception_ptr(Travik::TimedOut("a call of VirtualBox did not return in time")), json);
    };
    return duties;
}

int run(const Options& options, const Verb& verb)
{
    VBoxInstanceImpl& vbox = *GetVBoxInstance();
    // Without a file the library writes its log to the standard output, between our own lines.
    vbox.setLogPath(options.log.empty() ? L"NUL" : fullPath(options.log));

    Output out(options.json);
    const auto limit = timeLimit(options, verb);
    Context context{vbox, out, limit ? Travik::Deadline(*limit) : Travik::Deadline::never(),
                    milliseconds(options.waitLock), ExitCode::Done};
    const Attendant attendant(duties(options, verb));
    try {
        if (verb.needsVirtualBox())
            Travik::connect(vbox, context.connectionDeadline(), context.onWait());
        verb.action()(context);
        out.finish();
    } catch (...) {
        context.exitCode = reportFailure(std::current_exception(), options.json);
    }
    vbox.releaseRC();
    return context.exitCode;
}

int refuse(const Request& request, bool json)
{
    const std::string hint = "See '" + request.command + " --help'.";
    if (json)
        return reportFailure(std::make_exception_ptr(CommandError(ExitCode::Usage, request.problem, hint)), json);
    writeError(request.command + ": " + request.problem + "\n" + hint + "\n");
    return ExitCode::Usage;
}

} // namespace

int wmain(int count, wchar_t** values)
{
    catchInterrupts();
    std::vector<std::string> arguments;
    for (int i = 1; i < count; ++i)
        arguments.push_back(toUtf8(values[i]));

    Verbs verbs;
    addVerbs(verbs);
    Options options;
    const Request request = parseCommandLine(verbs, options, arguments);
    if (request.verb != nullptr)
        return run(options, *request.verb);
    if (!request.problem.empty())
        return refuse(request, options.json);
    writeOut(request.text);
    return ExitCode::Done;
}
