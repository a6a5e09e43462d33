// The only source that includes CLI11, which costs more to compile than all the rest of one.

#include "command_line.h"

#include <CLI/CLI.hpp>

#include <map>

#include "text.h"

namespace {

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
            const std::string name = group->get_parent() ? group->get_name() + " " : "";
            const std::string examples = CLI::detail::find_and_replace(verb->get_footer(), "\n", "\n  ");
            return name + CLI::Formatter::make_expanded(verb) + "  " + examples + "\n";
        }
        std::string text;
        for (const CLI::App* ownVerb : ownVerbs)
            text += (text.empty() ? "" : "\n") + make_expanded(ownVerb);
        return text;
    }
};

void addOptions(CLI::App& app, Options& options)
{
    app.add_flag("--json", options.json, "Print one JSON document, also for a failure");
    app.add_flag("-q,--quiet", options.quiet, "Print results and failures only, no remarks about what was done");
    app.add_flag("-v,--verbose", options.verbose, "Print a failure with operation, codes and the library's text");
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

CLI::Option* addTarget(CLI::App& app, const Parameter& parameter)
{
    return std::visit(
        [&](auto* target) -> CLI::Option* {
            using Value = std::remove_pointer_t<decltype(target)>;
            if constexpr (std::is_same_v<Value, bool>)
                return app.add_flag(parameter.name, *target, parameter.description);
            else
                return app.add_option(parameter.name, *target, parameter.description)->type_name(parameter.valueName);
        },
        parameter.target);
}

void addChecks(CLI::Option& option, const Parameter& parameter)
{
    if (!parameter.words.empty())
        option.check(CLI::IsMember(parameter.words).description(""));
    if (!parameter.choices.empty()) {
        const std::map<std::string, std::uint32_t> values(parameter.choices.begin(), parameter.choices.end());
        option.transform(CLI::CheckedTransformer(values, CLI::ignore_case).description(""));
    }
    if (parameter.range)
        option.check(CLI::Range(parameter.range->first, parameter.range->second).description(""));
    if (parameter.problem)
        option.check(CLI::Validator([problem = parameter.problem](std::string& value) { return problem(value); }, ""));
}

void addParameter(CLI::App& app, const Parameter& parameter)
{
    CLI::Option* const option = addTarget(app, parameter);
    option->required(parameter.required);
    // Of an option each value stands behind a name of its own.
    if (std::holds_alternative<std::vector<std::string>*>(parameter.target) && !parameter.isArgument())
        option->take_all()->expected(1);
    if (!parameter.excludes.empty())
        option->excludes(app.get_option(parameter.excludes));
    addChecks(*option, parameter);
}

void addVerb(CLI::App& parent, const Verb& verb, const Verb*& chosen)
{
    CLI::App& app = *parent.add_subcommand(verb.word(), verb.description());
    app.fallthrough(); // the general options may follow the verb
    app.callback([&chosen, &verb] { chosen = &verb; });
    for (const Parameter& parameter : verb.parameters())
        addParameter(app, parameter);
    std::string examples;
    for (const std::string& example : verb.examples())
        examples += (examples.empty() ? "Examples:\n  travikctl " : "\n  travikctl ") + example;
    app.footer(examples);
}

/// All verbs; a group stands where its first verb does.
void addVerbs(CLI::App& app, const Verbs& verbs, const Verb*& chosen)
{
    std::map<std::string, CLI::App*> parents{{"", &app}};
    for (const Verb& verb : verbs.all()) {
        CLI::App*& parent = parents[verb.group()];
        if (!parent) {
            parent = app.add_subcommand(verb.group(), verbs.descriptionOf(verb.group()));
            parent->fallthrough();
            parent->require_subcommand(1);
        }
        addVerb(*parent, verb, chosen);
    }
}

std::string didYouMean(const std::string& word, const std::vector<std::string>& known)
{
    const std::string closest = closestTo(word, known);
    return closest.empty() ? "" : "; did you mean '" + closest + "'?";
}

std::vector<std::string> optionsOf(const CLI::App& verb)
{
    std::vector<std::string> names;
    for (const CLI::App* app = &verb; app; app = app->get_parent()) {
        for (const CLI::Option* option : app->get_options()) {
            for (const std::string& name : option->get_lnames())
                names.push_back("--" + name);
        }
    }
    return names;
}

/// CLI11's text, and better words for a verb that is missing or unknown, or an unknown option.
std::string problemOf(const CLI::App& app, const CLI::App& last, const CLI::ParseError& error)
{
    const std::vector<std::string> unknown = app.remaining(true);
    const std::vector<const CLI::App*> verbs = last.get_subcommands({});
    if (!unknown.empty() && unknown.front().starts_with("--"))
        return "there is no option " + unknown.front() + didYouMean(unknown.front(), optionsOf(last));
    if (verbs.empty() || error.get_exit_code() != static_cast<int>(CLI::ExitCodes::RequiredError))
        return error.what();
    if (unknown.empty())
        return "a verb is missing";
    std::vector<std::string> names;
    for (const CLI::App* verb : verbs)
        names.push_back(verb->get_name());
    return "there is no verb '" + unknown.front() + "'" + didYouMean(unknown.front(), names);
}

/// Help that was asked for, or what is wrong with the command line.
Request explained(const CLI::App& app, const CLI::ParseError& error)
{
    Request request;
    std::ostringstream out, problem;
    if (app.exit(error, out, problem) == 0) {
        request.text = out.str();
        return request;
    }
    request.command = app.get_name();
    const CLI::App* last = &app;
    while (!last->get_subcommands().empty()) {
        last = last->get_subcommands().front();
        request.command += " " + last->get_name();
    }
    request.problem = problemOf(app, *last, error);
    return request;
}

} // namespace

std::vector<std::string> generalOptions()
{
    CLI::App app;
    Options none;
    addOptions(app, none);
    return optionsOf(app);
}

Request parseCommandLine(const Verbs& verbs, Options& options, const std::vector<std::string>& arguments)
{
    CLI::App app("Drives VirtualBox through TravikSDK.", "travikctl");
    app.allow_windows_style_options(false); // "/tmp/x" is a path
    app.require_subcommand(1);
    app.set_help_all_flag("--help-all", "Print the help of all verbs and exit");
    app.formatter(std::make_shared<HelpFormatter>()); // the verbs take it over
    addOptions(app, options);
    Request request;
    addVerbs(app, verbs, request.verb);
    app.footer(footer); // not of the verbs
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend())); // it takes them from the back
    } catch (const CLI::ParseError& error) {
        return explained(app, error);
    }
    return request;
}
