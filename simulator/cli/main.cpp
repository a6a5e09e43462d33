// vboxsim: registers, runs and controls the stand-in VirtualBox.
#include <windows.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "cli/control_client.h"
#include "cli/registration.h"

namespace VBoxSim {
namespace {

/// What the command line gave; each verb uses its part.
struct Arguments
{
    bool force = false;
    bool automation = false;
    std::string machine;
    bool fatal = false;
    std::string errorId = "HostMemoryLow";
    std::string message;
    std::string call;
    std::string result;
    unsigned times = 0;
    unsigned after = 0;
    bool null = false;
    unsigned milliseconds = 0;
    std::string file;
};

/// Runs the server until it is stopped.
void serve()
{
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    std::wstring command = L"\"" + path.substr(0, path.find_last_of(L'\\') + 1) + L"vboxsim-svc.exe\" --stay";
    STARTUPINFOW start{};
    start.cb = sizeof start;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start, &process))
        throw ControlError("vboxsim-svc.exe cannot be started", HRESULT_FROM_WIN32(GetLastError()));
    std::printf("vboxsim serves as process %lu; 'vboxsim stop' ends it\n", process.dwProcessId);
    std::fflush(stdout);
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD code = 0;
    GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    if (code != 0)
        throw ControlError("the server ended", static_cast<HRESULT>(code));
}

void status()
{
    if (ControlClient::serverRuns())
        std::puts(ControlClient().text(&IVBoxSimControl::Status).c_str());
    else
        std::puts("no server runs");
}

void fail(const Arguments& given)
{
    LONG result = 0;
    if (!given.null)
        result = static_cast<LONG>(std::stoul(given.result, nullptr, 0));
    ControlClient().call(&IVBoxSimControl::Fail, TextArgument(given.call), result, given.times, given.after,
                         given.null);
}

void references()
{
    if (!ControlClient::serverRuns()) {
        std::puts("0 references (no server runs)");
        return;
    }
    unsigned long count = 0;
    const std::string listing = ControlClient().references(count);
    std::printf("%lu references\n%s", count, listing.c_str());
}

void loadScenario(const std::string& file)
{
    std::ifstream in(fromUtf8(file).c_str(), std::ios::binary);
    if (!in)
        throw std::runtime_error("the scenario file cannot be read");
    const std::string json(std::istreambuf_iterator<char>(in), {});
    ControlClient().call(&IVBoxSimControl::LoadScenario, TextArgument(json));
}

void defineServerVerbs(CLI::App& app, Arguments& given)
{
    const auto verb = [&app](const char* name, const char* help, auto action) {
        CLI::App* made = app.add_subcommand(name, help);
        made->callback(action);
        return made;
    };
    CLI::App* enroll = verb("register", "make COM start the stand-in where VirtualBox is asked for", [&] {
        registerStandIn(given.force, given.automation ? Marshaller::Automation : Marshaller::Own);
        std::puts("vboxsim is registered");
    });
    enroll->add_flag("--force", given.force, "also when another VirtualBox is registered; unregister brings it back");
    enroll->add_flag("--automation-marshaller", given.automation,
                     "carry calls by the type library, not by own proxies");
    verb("unregister", "undo register, and bring back what it replaced", [] {
        unregisterStandIn();
        std::puts("vboxsim is no longer registered");
    });
    verb("serve", "run the server until it is stopped", serve);
    verb("status", "show what the server is doing", status);
    verb("stop", "end the server", [] {
        if (ControlClient::serverRuns())
            ControlClient().call(&IVBoxSimControl::Stop);
    });
    verb("reset", "end machines and sessions, drop faults, read the world again",
         [] { ControlClient().call(&IVBoxSimControl::Reset); });
    verb("references", "show what clients hold", references);
    verb("scenario", "set times, launch failures and faults from a file", [&] { loadScenario(given.file); })
        ->add_option("file", given.file, "JSON")
        ->required();
}

void defineMachineVerbs(CLI::App& app, Arguments& given)
{
    const auto verb = [&](const char* name, const char* help, auto action) {
        CLI::App* made = app.add_subcommand(name, help);
        made->add_option("machine", given.machine, "name or UUID")->required();
        made->callback(action);
        return made;
    };
    verb("pause", "pause a running machine as the host would",
         [&] { ControlClient().call(&IVBoxSimControl::Pause, TextArgument(given.machine)); });
    verb("crash-vm", "end a running machine's process: Aborted",
         [&] { ControlClient().call(&IVBoxSimControl::CrashVM, TextArgument(given.machine)); });
    CLI::App* error = verb("runtime-error", "raise a runtime error in a running machine", [&] {
        ControlClient().call(&IVBoxSimControl::RaiseRuntimeError, TextArgument(given.machine), given.fatal,
                             TextArgument(given.errorId), TextArgument(given.message));
    });
    error->add_flag("--fatal", given.fatal, "pause the machine first");
    error->add_option("--id", given.errorId, "such as HostMemoryLow")->capture_default_str();
    error->add_option("--message", given.message, "text for people");
}

void defineFaultVerbs(CLI::App& app, Arguments& given)
{
    const auto verb = [&](const char* name, const char* help, auto action) {
        CLI::App* made = app.add_subcommand(name, help);
        made->add_option("call", given.call, "such as IMachine::get_Name")->required();
        made->callback(action);
        return made;
    };
    CLI::App* failing = verb("fail", "make a call fail", [&] {
        if (given.result.empty() != given.null)
            throw CLI::ValidationError("fail", "give either a result code or --null");
        fail(given);
    });
    failing->add_option("result", given.result, "result code, such as 0x80004005");
    failing->add_option("--times", given.times, "so many times (0: until reset)");
    failing->add_option("--after", given.after, "after so many calls");
    failing->add_flag("--null", given.null, "succeed instead, and hand out nothing");
    verb("delay", "make a call take longer (0: not any more)",
         [&] { ControlClient().call(&IVBoxSimControl::Delay, TextArgument(given.call), given.milliseconds); })
        ->add_option("milliseconds", given.milliseconds)
        ->required();
    verb("die-in", "end the server inside the next such call",
         [&] { ControlClient().call(&IVBoxSimControl::DieIn, TextArgument(given.call)); });
}

void defineTimeVerbs(CLI::App& app, Arguments& given)
{
    const auto verb = [&](const char* name, const char* help, auto method) {
        CLI::App* made = app.add_subcommand(name, help);
        made->add_option("milliseconds", given.milliseconds)->required();
        made->callback([&given, method] { ControlClient().call(method, given.milliseconds); });
    };
    verb("die-after", "end the server after a time, whatever it is doing then", &IVBoxSimControl::DieAfter);
    verb("hold-lock", "how long a machine stays locked after its power-off", &IVBoxSimControl::HoldLock);
}

void defineTraceVerb(CLI::App& app)
{
    CLI::App* trace = app.add_subcommand("trace", "the record of calls");
    trace->require_subcommand(1);
    trace->add_subcommand("on", "start it anew")->callback([] { ControlClient().call(&IVBoxSimControl::Trace, TRUE); });
    trace->add_subcommand("off", "stop it")->callback([] { ControlClient().call(&IVBoxSimControl::Trace, FALSE); });
    trace->add_subcommand("show", "print it")->callback([] {
        std::fputs(ControlClient().text(&IVBoxSimControl::GetTrace).c_str(), stdout);
    });
}

int run(int count, wchar_t** arguments)
{
    SetConsoleOutputCP(CP_UTF8);
    CLI::App app("vboxsim, a stand-in VirtualBox behind COM", "vboxsim");
    app.require_subcommand(1);
    app.set_version_flag("--version", "vboxsim " TRAVIK_VERSION);
    Arguments given;
    defineServerVerbs(app, given);
    defineMachineVerbs(app, given);
    defineFaultVerbs(app, given);
    defineTimeVerbs(app, given);
    defineTraceVerb(app);
    std::vector<std::string> words;
    for (int i = count - 1; i > 0; --i) // CLI11 takes them from the end
        words.push_back(toUtf8(std::wstring_view(arguments[i])));
    try {
        app.parse(words);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : 2;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "vboxsim: %s\n", e.what());
        return 1;
    }
    return 0;
}

} // namespace
} // namespace VBoxSim

int wmain(int count, wchar_t** arguments)
{
    return VBoxSim::run(count, arguments);
}
