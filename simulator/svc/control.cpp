#include "svc/control.h"

#include "base/text.h"
#include "host/vm_life.h"
#include "host/world.h"
#include "svc/class_objects.h"

#include <nlohmann/json.hpp>

#include <thread>

namespace VBoxSim {

namespace {

using Json = nlohmann::json;

std::string narrow(std::wstring_view text)
{
    return toUtf8(text);
}

Json describe(const MachineData& machine)
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

std::string status()
{
    World& world = World::instance();
    Json json{{"process", GetCurrentProcessId()},
              {"home", narrow(world.home())},
              {"version", narrow(world.scenario().version)},
              {"references", Clients::instance().references().size()},
              {"clients", Clients::instance().processes()},
              {"faults", narrow(faults().describe())},
              {"trace", trace().on()},
              {"machines", Json::array()},
              {"sessions", Json::array()}};
    if (world.startError())
        json["error"] = narrow(world.startError()->text());
    for (const MachinePtr& machine : world.machines())
        json["machines"].push_back(describe(*machine));
    for (const auto& [id, session] : world.sessions())
        json["sessions"].push_back({{"id", narrow(id)},
                                    {"process", session->process},
                                    {"state", narrow(sessionStateName(session->state))},
                                    {"machine", session->machine ? narrow(session->machine->id) : std::string()}});
    return json.dump(2, ' ', false, Json::error_handler_t::replace);
}

MachineData& machineNamed(BSTR name)
{
    return *World::instance().findMachine(textOf(name));
}

} // namespace

HANDLE stopEvent()
{
    static const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    return event;
}

HRESULT Control::run(const std::function<void()>& body)
{
    Clients::noteCaller();
    try {
        const WorldLock lock(worldMutex());
        body();
        return S_OK;
    } catch (const Failure& failure) {
        return failure.code();
    } catch (const std::exception&) {
        return E_FAIL;
    }
}

HRESULT Control::Status(BSTR* json)
{
    return run([&] {
        require(json);
        store(json, fromUtf8(status()));
    });
}

HRESULT Control::Pause(BSTR machine)
{
    return run([&] { pauseMachine(machineNamed(machine)); });
}

HRESULT Control::RaiseRuntimeError(BSTR machine, BOOL fatal, BSTR errorId, BSTR message)
{
    return run([&] { raiseRuntimeError(machineNamed(machine), fatal != FALSE, textOf(errorId), textOf(message)); });
}

HRESULT Control::CrashVM(BSTR machine)
{
    return run([&] { crashMachine(machineNamed(machine)); });
}

HRESULT Control::Fail(BSTR call, LONG result, ULONG times, ULONG after, BOOL answerNull)
{
    return run([&] {
        if (answerNull)
            faults().answerNull(textOf(call), times, after);
        else
            faults().fail(textOf(call), result, times, after);
    });
}

HRESULT Control::Delay(BSTR call, ULONG milliseconds)
{
    return run([&] { faults().delay(textOf(call), milliseconds); });
}

HRESULT Control::DieIn(BSTR call)
{
    return run([&] { faults().dieIn(textOf(call)); });
}

HRESULT Control::HoldLock(ULONG milliseconds)
{
    return run([&] { World::instance().scenario().times.holdLock = milliseconds; });
}

HRESULT Control::References(BSTR* listing, ULONG* count)
{
    return run([&] {
        require(listing);
        require(count);
        std::wstring text;
        const auto references = Clients::instance().references();
        for (const Clients::Reference& reference : references)
            text += reference.type + L" held by process " + std::to_wstring(reference.client) + L"\n";
        store(listing, text);
        store(count, references.size());
    });
}

HRESULT Control::Trace(BOOL on)
{
    return run([&] { trace().turn(on != FALSE); });
}

HRESULT Control::GetTrace(BSTR* text)
{
    return run([&] {
        require(text);
        store(text, trace().text());
    });
}

HRESULT Control::LoadScenario(BSTR json)
{
    return run([&] { applyScenario(textOf(json), World::instance().scenario(), faults()); });
}

HRESULT Control::Reset()
{
    return run([] { World::instance().reset(); });
}

HRESULT Control::Stop()
{
    return run([] { SetEvent(stopEvent()); });
}

HRESULT Control::DieAfter(ULONG milliseconds)
{
    // A thread of its own, and no lock: the point is to die in the middle of anything.
    std::thread([milliseconds] {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        Sleep(milliseconds);
        withdrawClassesBeforeDeath();
        TerminateProcess(GetCurrentProcess(), 1);
    }).detach();
    return S_OK;
}

} // namespace VBoxSim
