#include "operation_table.h"

// The session, the console, shared folders.

namespace TravikTest {

template <>
Row row<Op::launchVMProcess>()
{
    return {.invoke =
                [](Invocation& i) {
                    return i.box.launchVMProcess(i.handle(0), i.text(0), {i.text(1), i.text(2)}, i.number());
                },
            .arguments = L"{h0} | {t0} | {t1}",
            .texts = {L"headless", L"A=1", L"B"},
            .steps = {find(Table::machine), SessionStep{},
                      call(L"machine#1: IMachine::LaunchVMProcess({session}, {t0}, VT_BSTR[0+2]{{t1}, {t2}})", 108,
                           Gives::optional)},
            .handsOut = {Table::progress},
            .comTexts = 3};
}

template <>
Row row<Op::lockMachine>()
{
    return {
        .invoke = [](Invocation& i) { return i.box.lockMachine(i.handle(0), 99); },
        .arguments = L"{h0} | 99",
        .steps = {find(Table::machine), SessionStep{}, call(L"machine#1: IMachine::LockMachine({session}, 99)", 109)}};
}

template <>
Row row<Op::unlockMachine>()
{
    return {.invoke = [](Invocation& i) { return i.box.unlockMachine(); },
            .steps = {ReadyStep{ReadyStep::session}, call(L"session: ISession::UnlockMachine()", 110)}};
}

template <>
Row row<Op::machineGetState>()
{
    return {.invoke = [](Invocation& i) { return i.box.machineGetState(i.handle(0), i.number()); },
            .arguments = L"{h0}",
            .steps = {find(Table::machine), call(L"machine#1: IMachine::get_State()", 112, Gives::number),
                      result(L"return state = 7")},
            .good = [](Outputs& outputs) { outputs.number = 7; }};
}

template <>
Row row<Op::powerDown>()
{
    return {.invoke = [](Invocation& i) { return i.box.powerDown(i.handle(0), i.number()); },
            .arguments = L"{h0}",
            .steps = {find(Table::console), call(L"console#1: IConsole::PowerDown()", 120, Gives::optional)},
            .handsOut = {Table::progress}};
}

template <>
Row row<Op::getConsole>()
{
    return {.invoke = [](Invocation& i) { return i.box.getConsole(i.number()); },
            .steps = {ReadyStep{ReadyStep::session}, call(L"session: ISession::get_Console()", 129, Gives::optional)},
            .handsOut = {Table::console}};
}

template <>
Row row<Op::consoleGetState>()
{
    return {.invoke = [](Invocation& i) { return i.box.consoleGetState(i.handle(0), i.number()); },
            .arguments = L"{h0}",
            .steps = {find(Table::console), call(L"console#1: IConsole::get_State()", 130, Gives::number),
                      result(L"return state = 7")},
            .good = [](Outputs& outputs) { outputs.number = 7; }};
}

template <>
Row row<Op::consoleResume>()
{
    return {.invoke = [](Invocation& i) { return i.box.consoleResume(i.handle(0)); },
            .arguments = L"{h0}",
            .steps = {find(Table::console), call(L"console#1: IConsole::Resume()", 131)}};
}

template <>
Row row<Op::machineCreateSharedFolder>()
{
    return {
        .invoke =
            [](Invocation& i) { return i.box.machineCreateSharedFolder(i.handle(0), i.text(0), i.text(1), 2, 0); },
        .arguments = L"{h0} | {t0} | {t1} | 2 | 0",
        .texts = {L"share", L"C:\\pictures"},
        .steps = {find(Table::machine), call(L"machine#1: IMachine::CreateSharedFolder({t0}, {t1}, 2, 0, null)", 128)},
        .comTexts = 2};
}

template <>
Row row<Op::machineRemoveSharedFolder>()
{
    return {.invoke = [](Invocation& i) { return i.box.machineRemoveSharedFolder(i.handle(0), i.text(0)); },
            .arguments = L"{h0} | {t0}",
            .texts = {L"share"},
            .steps = {find(Table::machine), call(L"machine#1: IMachine::RemoveSharedFolder({t0})", 127)},
            .comTexts = 1};
}

template <>
Row row<Op::consoleCreateSharedFolder>()
{
    return {
        .invoke =
            [](Invocation& i) { return i.box.consoleCreateSharedFolder(i.handle(0), i.text(0), i.text(1), 0, 3); },
        .arguments = L"{h0} | {t0} | {t1} | 0 | 3",
        .texts = {L"share", L"C:\\pictures"},
        .steps = {find(Table::console), call(L"console#1: IConsole::CreateSharedFolder({t0}, {t1}, 0, 3, null)", 133)},
        .comTexts = 2};
}

template <>
Row row<Op::consoleRemoveSharedFolder>()
{
    return {.invoke = [](Invocation& i) { return i.box.consoleRemoveSharedFolder(i.handle(0), i.text(0)); },
            .arguments = L"{h0} | {t0}",
            .texts = {L"share"},
            .steps = {find(Table::console), call(L"console#1: IConsole::RemoveSharedFolder({t0})", 132)},
            .comTexts = 1};
}

} // namespace TravikTest
