// vboxprobe: says of VirtualBox, statement by statement, whether it behaves as this project believes.
#include <CLI/CLI.hpp>
#include <io.h>

#include <algorithm>
#include <cstdio>
#include <iostream>

#include "lab.h"
#include "report.h"

namespace Probe {
namespace {

namespace ExitCode {
enum : int
{
    Done = 0,         ///< every statement that was checked holds
    Failed = 1,       ///< the probe itself could not do its work
    Usage = 2,        ///< the command line is wrong
    Unreachable = 6,  ///< no VirtualBox 6.1 answers
    Findings = 7,     ///< a statement does not hold
    Interrupted = 130 ///< Ctrl-C
};
}

/// VirtualBox is not there, or is not the one that was asked for.
class Unreachable : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

struct Arguments
{
    bool list = false;
    bool tables = false;
    bool start = false;
    std::vector<std::string> only;
    std::string identity;
    std::string report = "vboxprobe-report.json";
    std::string rivalFor;
};

class Apartment
{
public:
    Apartment() { must(CoInitializeEx(nullptr, COINIT_MULTITHREADED)); }
    ~Apartment() { CoUninitialize(); }
    Apartment(const Apartment&) = delete;
    Apartment& operator=(const Apartment&) = delete;
};

BOOL WINAPI onCtrlC(DWORD event)
{
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT)
        return FALSE;
    static bool second = false;
    if (std::exchange(second, true))
        return FALSE; // the user does not want to wait; the next start takes away what is left
    interrupt();
    return TRUE;
}

void choose(const std::string& name)
{
    const std::optional<Identity> wanted = name.empty() ? registeredIdentity() : identityNamed(name);
    if (!wanted)
        throw Unreachable("no VirtualBox is registered, or more than one; --identity chooses between them");
    chooseIdentity(*wanted);
}

/// Machines start only with the user's consent: by option, or by an answer when somebody is there to ask.
bool mayStart(const Arguments& given)
{
    if (given.start || !_isatty(_fileno(stdin)) || !_isatty(_fileno(stdout)))
        return given.start;
    std::printf("May an empty machine without disks be started, without a window? [y/N] ");
    std::fflush(stdout);
    std::string answer;
    std::getline(std::cin, answer);
    return answer == "y" || answer == "Y";
}

void checkAll(Lab& lab, const Arguments& given, std::vector<Outcome>& outcomes)
{
    for (const Subject& subject : subjects()) {
        for (const Statement& statement : subject.statements) {
            if (!isWanted(statement, given.only))
                continue;
            throwIfInterrupted();
            outcomes.push_back(check(lab, subject, statement));
            printRow(outcomes.back());
        }
    }
}

int probe(const Arguments& given)
{
    const Apartment apartment;
    choose(given.identity);
    if (!given.rivalFor.empty())
        return beRival(wide(given.rivalFor));
    const bool start = mayStart(given);
    SetConsoleCtrlHandler(onCtrlC, TRUE);
    const std::vector<std::filesystem::path> leftovers = Scratch::leftovers();
    const Scratch scratch;
    std::optional<Lab> lab;
    try {
        lab.emplace(scratch, start);
    } catch (const std::runtime_error& failure) {
        throw Unreachable(failure.what());
    }
    for (const std::filesystem::path& folder : leftovers) {
        lab->clear(folder);
        std::printf("taken away what an earlier run left: %s\n", utf8(folder.wstring()).c_str());
    }
    const Versions versions = versionsOf(lab->box);
    std::vector<Outcome> outcomes;
    int code = ExitCode::Done;
    try {
        checkAll(*lab, given, outcomes);
    } catch (const Interrupted&) {
        std::printf("interrupted; taking away what was made\n");
        code = ExitCode::Interrupted;
    }
    lab.reset();
    const Totals totals = totalsOf(outcomes);
    printTotals(versions, totals);
    const std::filesystem::path report = wide(given.report);
    writeReport(report, versions, outcomes, start);
    std::printf("report: %s\n", utf8(std::filesystem::absolute(report).wstring()).c_str());
    return code == ExitCode::Done && totals.failing > 0 ? static_cast<int>(ExitCode::Findings) : code;
}

void define(CLI::App& app, Arguments& given)
{
    app.add_flag("--list", given.list, "say all statements instead of checking them");
    app.add_option("--only", given.only, "statements or subjects, such as media or media.close-attached")
        ->type_name("NAME");
    app.add_flag("--start", given.start, "allow to start an empty machine without disks, headless");
    app.add_option("--report", given.report, "where the report goes (JSON)")->capture_default_str();
    app.add_option("--identity", given.identity, "which VirtualBox, when two are registered")
        ->check(CLI::IsMember({"selq6", "stock61"}));
    app.add_flag("--tables", given.tables, "say all statements as tables for docs/simulator.md");
    app.add_option("--be-rival", given.rivalFor, "(used by the probe itself)")->group("");
}

void checkNames(const std::vector<std::string>& words)
{
    for (const std::string& word : words) {
        const bool known = std::any_of(subjects().begin(), subjects().end(), [&](const Subject& subject) {
            return std::any_of(subject.statements.begin(), subject.statements.end(),
                               [&](const Statement& statement) { return isWanted(statement, {word}); });
        });
        if (!known)
            throw CLI::ValidationError("--only", "no statement begins with '" + word + "'; --list shows them");
    }
}

int run(int count, wchar_t** arguments)
{
    SetConsoleOutputCP(CP_UTF8);
    CLI::App app("Says of a VirtualBox 6.1, statement by statement, whether it behaves as described", "vboxprobe");
    Arguments given;
    define(app, given);
    std::vector<std::string> words;
    for (int i = count - 1; i > 0; --i) // CLI11 takes them from the end
        words.push_back(utf8(arguments[i]));
    try {
        app.parse(words);
        checkNames(given.only);
        if (given.list || given.tables) {
            given.tables ? printTables() : printList(given.only);
            return ExitCode::Done;
        }
        return probe(given);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? ExitCode::Done : ExitCode::Usage;
    } catch (const Unreachable& e) {
        std::fprintf(stderr, "vboxprobe: %s\n", e.what());
        return ExitCode::Unreachable;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "vboxprobe: %s\n", e.what());
        return ExitCode::Failed;
    }
}

} // namespace
} // namespace Probe

int wmain(int count, wchar_t** arguments)
{
    return Probe::run(count, arguments);
}
