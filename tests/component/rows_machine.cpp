#include "operation_table.h"

// Finding, listing, naming, creating, cloning and deleting machines; their settings.

namespace TravikTest {
namespace {

const std::wstring cloneProgress = L"IProgress of IMachine::CloneTo";
const std::wstring deleteProgress = L"IProgress of IMachine::DeleteConfig";

/// A number that goes to a mutable machine.
Row machineSetter(SdkErrorCode (Travik::VBoxInstanceImpl::*operation)(VBoxHandle, std::uint32_t), std::uint32_t number,
                  const std::wstring& method, std::uint32_t code)
{
    return {
        .invoke = [=](Invocation& i) { return (i.box.*operation)(i.handle(0), number); },
        .arguments = L"{h0} | " + std::to_wstring(number),
        .steps = {find(Table::machine), call(L"machine#1: " + method + L"(" + std::to_wstring(number) + L")", code)}};
}

/// A text of a machine.
Row machineText(SdkErrorCode (Travik::VBoxInstanceImpl::*operation)(VBoxHandle, std::wstring*),
                const std::wstring& label, const std::wstring& method)
{
    return {.invoke = [=](Invocation& i) { return (i.box.*operation)(i.handle(0), i.textOutput()); },
            .arguments = L"{h0}",
            .steps = {find(Table::machine), call(L"machine#1: " + method + L"()", 169, Gives::optional),
                      result(label + L"text of " + method)},
            .good = [=](Outputs& outputs) { outputs.text = L"text of " + method; }};
}

} // namespace

template <>
Row row<Op::openMachine>()
{
    return {.invoke = [](Invocation& i) { return i.box.openMachine(i.text(0), i.number()); },
            .arguments = L"{t0}",
            .texts = {L"C:\\vms\\a\\a.vbox"},
            .steps = {ReadyStep{ReadyStep::virtualBox},
                      call(L"virtualBox: IVirtualBox::OpenMachine({t0})", 106, Gives::optional)},
            .handsOut = {Table::machine},
            .comTexts = 1};
}

template <>
Row row<Op::findMachine>()
{
    return {.invoke = [](Invocation& i) { return i.box.findMachine(i.text(0), i.number()); },
            .arguments = L"{t0}",
            .texts = {L"vm1"},
            .steps = {ReadyStep{ReadyStep::virtualBox},
                      call(L"virtualBox: IVirtualBox::FindMachine({t0})", 107, Gives::optional)},
            .handsOut = {Table::machine},
            .comTexts = 1};
}

template <>
Row row<Op::registerMachine>()
{
    return {.invoke = [](Invocation& i) { return i.box.registerMachine(i.handle(0)); },
            .arguments = L"{h0}",
            .steps = {ReadyStep{ReadyStep::virtualBox}, find(Table::machine),
                      call(L"virtualBox: IVirtualBox::RegisterMachine(machine#1)", 111)}};
}

template <>
Row row<Op::listVms>()
{
    return {.invoke = [](Invocation& i) { return i.box.listVms(i.handleList()); },
            .steps = {ReadyStep{ReadyStep::virtualBox}, call(L"virtualBox: IVirtualBox::get_Machines()", 210)},
            .handsOut = {Table::machine, Table::machine},
            .handsOutList = true,
            .prepare =
                [](const Invocation&) {
                    FakeWorld::answer(L"IVirtualBox::get_Machines",
                                      {.given = {objectArray<IMachine>({L"first", L"second"})}});
                }};
}

template <>
Row row<Op::getVmName>()
{
    return machineText(&Travik::VBoxInstanceImpl::getVmName, L"return name = ", L"IMachine::get_Name");
}

template <>
Row row<Op::getVmUUID>()
{
    return machineText(&Travik::VBoxInstanceImpl::getVmUUID, L"return uuid = ", L"IMachine::get_Id");
}

template <>
Row row<Op::setVmName>()
{
    return {.invoke = [](Invocation& i) { return i.box.setVmName(i.handle(0), i.text(0)); },
            .arguments = L"{h0} | {t0}",
            .texts = {L"new name"},
            .steps = {find(Table::machine), call(L"machine#1: IMachine::put_Name({t0})", 169)},
            .comTexts = 1};
}

template <>
Row row<Op::createVmName>()
{
    return {.kind = Row::special};
}

template <>
Row row<Op::composeMachineFilename>()
{
    return {.invoke = [](Invocation& i) { return i.box.composeMachineFilename(i.text(0), i.textOutput()); },
            .arguments = L"{t0}",
            .texts = {L"vm1"},
            .steps = {ReadyStep{ReadyStep::virtualBox},
                      call(L"virtualBox: IVirtualBox::ComposeMachineFilename({t0}, null, null, null)", 159,
                           Gives::optional),
                      result(L"return file = text of IVirtualBox::ComposeMachineFilename")},
            .good = [](Outputs& outputs) { outputs.text = L"text of IVirtualBox::ComposeMachineFilename"; },
            .comTexts = 1};
}

template <>
Row row<Op::getDefaultMachineFolder>()
{
    return {.invoke = [](Invocation& i) { return i.box.getDefaultMachineFolder(i.textOutput()); },
            .steps = {ReadyStep{ReadyStep::virtualBox},
                      call(L"virtualBox: IVirtualBox::get_SystemProperties()", 160, Gives::required),
                      call(L"ISystemProperties of IVirtualBox::get_SystemProperties: "
                           L"ISystemProperties::get_DefaultMachineFolder()",
                           162, Gives::optional),
                      result(L"return dir = text of ISystemProperties::get_DefaultMachineFolder")},
            .good = [](Outputs& outputs) { outputs.text = L"text of ISystemProperties::get_DefaultMachineFolder"; }};
}

template <>
Row row<Op::setDefaultMachineFolder>()
{
    return {.invoke = [](Invocation& i) { return i.box.setDefaultMachineFolder(i.text(0)); },
            .arguments = L"{t0}",
            .texts = {existingFile()},
            .steps = {file(L"checkFileExists", L"{t0}", 195), ReadyStep{ReadyStep::virtualBox},
                      call(L"virtualBox: IVirtualBox::get_SystemProperties()", 160, Gives::required),
                      call(L"ISystemProperties of IVirtualBox::get_SystemProperties: "
                           L"ISystemProperties::put_DefaultMachineFolder({t0})",
                           161)},
            .comTexts = 1,
            .textsArePaths = true};
}

template <>
Row row<Op::createMachine>()
{
    return {
        .invoke = [](Invocation& i) { return i.box.createMachine(i.text(0), i.text(1), i.number()); },
        .arguments = L"{t0} | {t1}",
        .texts = {L"C:\\vms\\new\\new.vbox", L"new"},
        .steps = {ReadyStep{ReadyStep::virtualBox},
                  call(L"virtualBox: IVirtualBox::CreateMachine({t0}, {t1}, null, null, null)", 177, Gives::optional)},
        .handsOut = {Table::machine},
        .comTexts = 2};
}

template <>
Row row<Op::cloneToMachine>()
{
    return {.invoke = [](Invocation& i) { return i.box.cloneToMachine(i.handle(0), i.handle(1)); },
            .arguments = L"{h0} | {h1}",
            .steps = {find(Table::machine), find(Table::machine),
                      call(L"machine#1: IMachine::CloneTo(machine#2, 3, null)", 178, Gives::required),
                      wait(cloneProgress, L"cloneVm")}};
}

template <>
Row row<Op::deleteMachine>()
{
    return {.invoke = [](Invocation& i) { return i.box.deleteMachine(i.handle(0)); },
            .arguments = L"{h0}",
            .steps = {find(Table::machine), call(L"machine#1: IMachine::Unregister(3)", 179),
                      call(L"machine#1: IMachine::DeleteConfig(VT_DISPATCH[0+2]{disk one, disk two})", 180,
                           Gives::required),
                      wait(deleteProgress, L"deleteVm")},
            .prepare =
                [](const Invocation&) {
                    FakeWorld::answer(L"IMachine::Unregister",
                                      {.given = {objectArray<IMedium>({L"disk one", L"disk two"})}});
                }};
}

template <>
Row row<Op::createMutableMachine>()
{
    return {.invoke = [](Invocation& i) { return i.box.createMutableMachine(12345, i.number()); },
            .arguments = L"12345",
            .steps = {ReadyStep{ReadyStep::session}, call(L"session: ISession::get_Machine()", 113, Gives::optional)},
            .handsOut = {Table::machine}};
}

template <>
Row row<Op::setMachineCPUCount>()
{
    return machineSetter(&Travik::VBoxInstanceImpl::setMachineCPUCount, 4, L"IMachine::put_CPUCount", 115);
}

template <>
Row row<Op::setMachineMemory>()
{
    return machineSetter(&Travik::VBoxInstanceImpl::setMachineMemory, 4294967295, L"IMachine::put_MemorySize", 116);
}

template <>
Row row<Op::setMachineParavirtProvider>()
{
    return machineSetter(&Travik::VBoxInstanceImpl::setMachineParavirtProvider, 77, L"IMachine::put_ParavirtProvider",
                         117);
}

template <>
Row row<Op::setMachineExtraData>()
{
    return {.invoke = [](Invocation& i) { return i.box.setMachineExtraData(i.handle(0), i.text(0), i.text(1)); },
            .arguments = L"{h0} | {t0} | {t1}",
            .texts = {L"key", L"value"},
            .steps = {find(Table::machine), call(L"machine#1: IMachine::SetExtraData({t0}, {t1})", 118)},
            .comTexts = 2};
}

template <>
Row row<Op::getMachineExtraData>()
{
    return {.invoke = [](Invocation& i) { return i.box.getMachineExtraData(i.handle(0), i.text(0), i.textOutput()); },
            .arguments = L"{h0} | {t0}",
            .texts = {L"key"},
            .steps = {find(Table::machine), call(L"machine#1: IMachine::GetExtraData({t0})", 158, Gives::optional),
                      result(L"return value = text of IMachine::GetExtraData")},
            .good = [](Outputs& outputs) { outputs.text = L"text of IMachine::GetExtraData"; },
            .comTexts = 1};
}

template <>
Row row<Op::saveSettings>()
{
    return {.invoke = [](Invocation& i) { return i.box.saveSettings(i.handle(0)); },
            .arguments = L"{h0}",
            .steps = {find(Table::machine), call(L"machine#1: IMachine::SaveSettings()", 119)}};
}

} // namespace TravikTest
