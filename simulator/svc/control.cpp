#include "svc/control.h"

#include <nlohmann/json.hpp>

#include <thread>

#include "base/text.h"
#include "host/call_names.h"
#include "host/error_mapping.h"
#include "host/vm_life.h"

namespace VBoxSim {

namespace {

using Json = nlohmann::json;

std::string narrow(std::wstring_view text)
{
    return toUtf8(text);
}

Json describe(const Machine& machine)
{
    Json json{{"id", narrow(machine.id)},
              {"file", narrow(machine.file)},
              {"accessible", !machine.accessError},
              {"state", narrow(stateName(machine.state))},
              {"session", narrow(sessionStateName(machine.sessionState))}};
    if (machine.accessError)
        json["error"] = narrow(machine.accessError->text());
    else
        json["name"] = narrow(machine.saved.name);
    if (const VmProcess* vm = machine.vm()) {
        json["frontEnd"] = narrow(vm->frontEnd);
        json["environment"] = Json::array();
        for (const std::wstring& change : vm->environment)
            json["environment"].push_back(narrow(change));
    }
    return json;
}

Json describe(const Session& session)
{
    return {{"id", narrow(session.id)},
            {"process", session.process},
            {"state", narrow(sessionStateName(session.state))},
            {"machine", session.machine ? narrow(session.machine->id) : std::string()}};
}

std::string status(Server& server)
{
    Host& host = server.host;
    Json json{{"process", GetCurrentProcessId()},
              {"home", narrow(host.surroundings().home)},
              {"version", narrow(host.scenario().version)},
              {"references", server.clients.references().size()},
              {"clients", server.clients.processes()},
              {"faults", narrow(host.faults().describe())},
              {"trace", server.trace.on()},
              {"machines", Json::array()},
              {"sessions", Json::array()}};
    if (const auto& error = host.machines().startError())
        json["error"] = narrow(error->text());
    for (const MachinePtr& machine : host.machines().all())
        json["machines"].push_back(describe(*machine));
    for (const auto& [id, session] : host.sessions().all())
        json["sessions"].push_back(describe(*session));
    return json.dump(2, ' ', false, Json::error_handler_t::replace);
}

} // namespace

Machine& Control::machineNamed(BSTR name) const
{
    return *host().machines().find(textOf(name));
}

HRESULT Control::run(const std::function<void()>& body)
{
    server().clients.noteCaller();
    const auto failure = attempt([&] {
        const HostLock lock = host().lock();
        body();
    });
    if (!failure)
        return S_OK;
    const HostLock lock = host().lock();
    lastFailure_ = failure->text();
    return failure->code();
}

HRESULT Control::Status(BSTR* json)
{
    return run([&] {
        require(json);
        store(json, fromUtf8(status(server())));
    });
}

HRESULT Control::Pause(BSTR machine)
{
    return run([&] { pauseMachine(host(), machineNamed(machine)); });
}

HRESULT Control::RaiseRuntimeError(BSTR machine, BOOL fatal, BSTR errorId, BSTR message)
{
    return run([&] {
        raiseRuntimeError(host(), machineNamed(machine), {fatal != FALSE, textOf(errorId), textOf(message)});
    });
}

HRESULT Control::CrashVM(BSTR machine)
{
    return run([&] { crashMachine(host(), machineNamed(machine)); });
}

HRESULT Control::Fail(BSTR call, LONG result, ULONG times, ULONG after, BOOL answerNull)
{
    return run([&] {
        checkCallName(textOf(call));
        if (answerNull)
            host().faults().answerNull(textOf(call), times, after);
        else
            host().faults().fail(textOf(call), result, times, after);
    });
}

HRESULT Control::Delay(BSTR call, ULONG milliseconds)
{
    return run([&] {
        checkCallName(textOf(call));
        host().faults().delay(textOf(call), milliseconds);
    });
}

HRESULT Control::DieIn(BSTR call)
{
    return run([&] {
        checkCallName(textOf(call));
        host().faults().dieIn(textOf(call));
    });
}

HRESULT Control::HoldLock(ULONG milliseconds)
{
    return run([&] { host().scenario().times.holdLock = milliseconds; });
}

HRESULT Control::References(BSTR* listing, ULONG* count)
{
    return run([&] {
        require(listing);
        require(count);
        std::wstring text;
        const auto references = server().clients.references();
        for (const Clients::Reference& reference : references)
            text += reference.type + L" held by process " + std::to_wstring(reference.client) + L"\n";
        store(listing, text);
        store(count, references.size());
    });
}

HRESULT Control::Trace(BOOL on)
{
    return run([&] { server().trace.turn(on != FALSE); });
}

HRESULT Control::GetTrace(BSTR* text)
{
    return run([&] {
        require(text);
        store(text, server().trace.text());
    });
}

HRESULT Control::LoadScenario(BSTR json)
{
    return run([&] { applyScenario(textOf(json), host().scenario(), host().faults()); });
}

HRESULT Control::Reset()
{
    return run([&] {
        host().reset();
        server().trace.turn(false);
        server().trace.clear();
    });
}

HRESULT Control::Stop()
{
    return run(stop_);
}

HRESULT Control::LastFailure(BSTR* text)
{
    return run([&] {
        require(text);
        store(text, lastFailure_);
    });
}

HRESULT Control::DieAfter(ULONG milliseconds)
{
    // A thread of its own, and no lock: the point is to die in the middle of anything.
    std::thread([milliseconds, &server = server()] {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        Sleep(milliseconds);
        server.beforeDeath();
        TerminateProcess(GetCurrentProcess(), 1);
    }).detach();
    return S_OK;
}

} // namespace VBoxSim
