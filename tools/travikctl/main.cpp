#include <windows.h>

#include "terminal.h"
#include "verbs.h"

namespace {

struct Options
{
    bool json = false;
    std::string log;
    std::optional<double> timeout;
    double waitLock = 5;
};

const char* const footer =
    R"(Exit codes: 0 done, 1 refused or failed, 2 wrong command line, 3 no such thing, 4 time-out, 5 locked,
6 VirtualBox cannot be reached, 7 doctor or tour found a problem, 130 Ctrl-C.)";

/// In the help of all verbs, those of a group stand like the others, each by its whole name.
class HelpFormatter : public CLI::Formatter
{
public:
    std::string make_expanded(const CLI::App* verb) const override
    {
        const std::vector<const CLI::App*> ownVerbs = verb->get_subcommands({});
        if (ownVerbs.empty()) {
            const CLI::App* group = verb->get_parent();
            return (group->get_parent() != nullptr ? group->get_name() + " " : "") +
                   CLI::Formatter::make_expanded(verb);
        }
        std::string text;
        for (const CLI::App* ownVerb : ownVerbs)
            text += (text.empty() ? "" : "\n") + make_expanded(ownVerb);
        return text;
    }
};

void addOptions(CLI::App& app, Options& options)
{
    app.add_flag("--json", options.json, "Print one JSON object, also for a failure");
    app.add_option("--log", options.log, "Append the library's log to this file")->type_name("FILE");
    app.add_option("--timeout", options.timeout,
                   "Stop after this time (600 unless the verb works long by nature; 0: no limit)")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.0, 1e6).description(""));
    app.add_option("--wait-lock", options.waitLock, "Wait so long for a machine that is locked (5)")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.0, 1e6).description(""));
    app.set_version_flag("--version", "travikctl " TRAVIK_VERSION);
}

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
    return verb.waitsLong ? std::nullopt : std::make_optional(milliseconds(600));
}

Attendant::Duties duties(const Options& options, const Verb& verb)
{
    Attendant::Duties duties;
    duties.label = verb.name;
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
        if (verb.needsVirtualBox)
            Travik::connect(vbox, context.connectionDeadline(), context.onWait());
        verb.action(context);
        out.finish();
    } catch (...) {
        context.exitCode = reportFailure(std::current_exception(), options.json);
    }
    vbox.releaseRC();
    return context.exitCode;
}

/// CLI11's text, and better words for a verb that is missing or unknown.
std::string problemOf(const CLI::App& app, const CLI::App& last, const CLI::ParseError& error)
{
    const std::vector<const CLI::App*> verbs = last.get_subcommands({});
    if (verbs.empty() || error.get_exit_code() != static_cast<int>(CLI::ExitCodes::RequiredError))
        return error.what();
    const std::vector<std::string> unknown = app.remaining(true);
    return unknown.empty() ? "a verb is missing" : "there is no verb '" + unknown.front() + "'";
}

/// Help that was asked for, or what is wrong with the command line.
int explain(const CLI::App& app, const CLI::ParseError& error, bool json)
{
    std::ostringstream out, problem;
    if (app.exit(error, out, problem) == 0) {
        writeOut(out.str());
        return ExitCode::Done;
    }
    std::string command = app.get_name();
    const CLI::App* last = &app;
    while (!last->get_subcommands().empty()) {
        last = last->get_subcommands().front();
        command += " " + last->get_name();
    }
    const std::string text = problemOf(app, *last, error);
    const std::string hint = "See '" + command + " --help'.";
    if (json)
        return reportFailure(std::make_exception_ptr(CommandError(ExitCode::Usage, text, hint)), json);
    writeError(command + ": " + text + "\n" + hint + "\n");
    return ExitCode::Usage;
}

} // namespace

int wmain(int count, wchar_t** values)
{
    catchInterrupts();
    std::vector<std::string> arguments;
    for (int i = count - 1; i > 0; --i) // CLI11 takes them from the back
        arguments.push_back(toUtf8(values[i]));

    CLI::App app("Drives VirtualBox through TravikSDK.", "travikctl");
    app.allow_windows_style_options(false); // "/tmp/x" is a path
    app.require_subcommand(1);
    app.set_help_all_flag("--help-all", "Print the help of all verbs and exit");
    app.footer(footer);
    app.formatter(std::make_shared<HelpFormatter>()); // the verbs take it over
    Options options;
    addOptions(app, options);
    Verbs verbs(app);
    addVerbs(verbs);
    try {
        app.parse(arguments);
    } catch (const CLI::ParseError& error) {
        return explain(app, error, options.json);
    }
    return run(options, verbs.chosen());
}
