// Sessions, progress objects, the console and its events.

#include "fault_matrix.h"

namespace TravikTest {

std::vector<Fault> runningFaults()
{
    using enum Scene;
    using enum Absence;
    std::vector<Fault> all;
    add(all, "launchVMProcess", registered,
        [](Slots& s) { return s.box().launchVMProcess(s.machine, L"headless", {L""}, &s.outputs.handle); },
        {{L"IMachine::LaunchVMProcess", 108, endsWell}});
    add(all, "lockMachine", registered, [](Slots& s) { return s.box().lockMachine(s.machine, LockType::Write); },
        {{L"IMachine::LockMachine", 109, nothing}});
    add(all, "unlockMachine", locked, [](Slots& s) { return s.box().unlockMachine(); },
        {{L"ISession::UnlockMachine", 110, nothing}});
    add(all, "machineGetState", registered,
        [](Slots& s) { return s.box().machineGetState(s.machine, &s.outputs.number); },
        {{L"IMachine::get_State", 112, nothing}});
    add(all, "powerDown", running, [](Slots& s) { return s.box().powerDown(s.console, &s.outputs.handle); },
        {{L"IConsole::PowerDown", 120, endsWell}});
    add(all, "progressWaitForCompletion", failed,
        [](Slots& s) { return s.box().progressWaitForCompletion(s.progress, 1'000); },
        {{L"IProgress::WaitForCompletion", 121, nothing}});
    add(all, "getProgressCompleted", failed,
        [](Slots& s) { return s.box().getProgressCompleted(s.progress, &s.outputs.number); },
        {{L"IProgress::get_Completed", 122, nothing}});
    add(all, "getProgressResultCode", failed,
        [](Slots& s) { return s.box().getProgressResultCode(s.progress, &s.outputs.signedNumber); },
        {{L"IProgress::get_ResultCode", 123, nothing}});
    add(all, "getProgressErrorInfo", failed,
        [](Slots& s) { return s.box().getProgressErrorInfo(s.progress, &s.outputs.text); },
        {{L"IProgress::get_ErrorInfo", 124, endsWell}, {L"IVirtualBoxErrorInfo::get_Text", 124, endsWell}});
    add(all, "getConsole", running, [](Slots& s) { return s.box().getConsole(&s.outputs.handle); },
        {{L"ISession::get_Console", 129, endsWell}});
    add(all, "consoleGetState", running, [](Slots& s) { return s.box().consoleGetState(s.console, &s.outputs.number); },
        {{L"IConsole::get_State", 130, nothing}});
    add(all, "consoleResume", running, [](Slots& s) { return s.box().consoleResume(s.console); },
        {{L"IConsole::Resume", 131, nothing}});
    add(all, "getEventSource", running, [](Slots& s) { return s.box().getEventSource(s.console, &s.outputs.handle); },
        {{L"IConsole::get_EventSource", 144, endsWell}});
    add(all, "eventSourceCreateListener", running,
        [](Slots& s) { return s.box().eventSourceCreateListener(s.source, &s.outputs.handle); },
        {{L"IEventSource::CreateListener", 145, endsWell}});
    add(all, "eventSourceRegisterListener", running,
        [](Slots& s) {
            VBoxHandle another = 0;
            s.box().eventSourceCreateListener(s.source, &another);
            return s.box().eventSourceRegisterListener(s.source, another, {VBoxEventType::OnStateChanged}, 0);
        },
        {{L"IEventSource::RegisterListener", 146, nothing}});
    add(all, "eventSourceUnregisterListener", running,
        [](Slots& s) { return s.box().eventSourceUnregisterListener(s.source, s.listener); },
        {{L"IEventSource::UnregisterListener", 147, nothing}});
    add(all, "eventSourceGetEvent", running,
        [](Slots& s) { return s.box().eventSourceGetEvent(s.source, s.listener, 1'000, &s.outputs.handle); },
        {{L"IEventSource::GetEvent", 149, endsWell}});
    add(all, "eventSourceEventProcessed", running,
        [](Slots& s) { return s.box().eventSourceEventProcessed(s.source, s.listener, s.event); },
        {{L"IEventSource::EventProcessed", 150, nothing}});
    add(all, "eventSourceEventGetType", running,
        [](Slots& s) { return s.box().eventSourceEventGetType(s.event, &s.outputs.number); },
        {{L"IEvent::get_Type", 151, nothing}});
    add(all, "eventSourceStateChangedEventGetState", running,
        [](Slots& s) { return s.box().eventSourceStateChangedEventGetState(s.stateChanged, &s.outputs.number); },
        {{L"IStateChangedEvent::get_State", 153, nothing}});
    add(all, "eventSourceRuntimeErrorEventGetFatal", running,
        [](Slots& s) { return s.box().eventSourceRuntimeErrorEventGetFatal(s.runtimeError, &s.outputs.signedNumber); },
        {{L"IRuntimeErrorEvent::get_Fatal", 155, nothing}});
    add(all, "eventSourceRuntimeErrorEventGetId", running,
        [](Slots& s) { return s.box().eventSourceRuntimeErrorEventGetId(s.runtimeError, &s.outputs.text); },
        {{L"IRuntimeErrorEvent::get_Id", 156, endsWell}});
    add(all, "eventSourceRuntimeErrorEventGetMessage", running,
        [](Slots& s) { return s.box().eventSourceRuntimeErrorEventGetMessage(s.runtimeError, &s.outputs.text); },
        {{L"IRuntimeErrorEvent::get_Message", 157, endsWell}});
    return all;
}

} // namespace TravikTest
