#include <filesystem>
#include <fstream>

#include "operation_table.h"

// Disk images: opening, querying, attaching, renaming.

namespace TravikTest {
namespace {

/// A text of a medium.
Row mediumText(SdkErrorCode (Travik::VBoxInstanceImpl::*operation)(VBoxHandle, std::wstring*),
               const std::wstring& label, const std::wstring& method, std::uint32_t code)
{
    return {.invoke = [=](Invocation& i) { return (i.box.*operation)(i.handle(0), i.textOutput()); },
            .arguments = L"{h0}",
            .steps = {find(Table::medium), call(L"medium#1: " + method + L"()", code, Gives::optional),
                      result(label + L"text of " + method)},
            .good = [=](Outputs& outputs) { outputs.text = L"text of " + method; }};
}

} // namespace

template <>
Row row<Op::openMedium>()
{
    return {.invoke = [](Invocation& i) { return i.box.openMedium(i.text(0), true, i.number()); },
            .arguments = L"{t0}",
            .texts = {existingFile()},
            .steps = {file(L"checkFileExists", L"{t0}", 195), ReadyStep{ReadyStep::virtualBox},
                      call(L"virtualBox: IVirtualBox::OpenMedium({t0}, 3, 2, 1)", 163, Gives::optional)},
            .handsOut = {Table::medium},
            .comTexts = 1,
            .textsArePaths = true};
}

template <>
Row row<Op::closeMedium>()
{
    return {.invoke = [](Invocation& i) { return i.box.closeMedium(i.handle(0)); },
            .arguments = L"{h0}",
            .steps = {find(Table::medium), call(L"medium#1: IMedium::Close()", 164)}};
}

template <>
Row row<Op::deleteMedium>()
{
    return {
        .invoke = [](Invocation& i) { return i.box.deleteMedium(i.handle(0)); },
        .arguments = L"{h0}",
        .steps = {find(Table::medium), call(L"medium#1: IMedium::get_Location()", 200, Gives::optional),
                  file(L"removeFilePath", existingFile(), 197)},
        .prepare = [](const Invocation&) { FakeWorld::answer(L"IMedium::get_Location", {.given = {existingFile()}}); }};
}

template <>
Row row<Op::getMediumLocation>()
{
    return mediumText(&Travik::VBoxInstanceImpl::getMediumLocation, L"return path = ", L"IMedium::get_Location", 200);
}

template <>
Row row<Op::getMediumState>()
{
    return {.invoke = [](Invocation& i) { return i.box.getMediumState(i.handle(0), i.number()); },
            .arguments = L"{h0}",
            .steps = {find(Table::medium), call(L"medium#1: IMedium::RefreshState()", 213, Gives::number),
                      result(L"return medium state = 7")},
            .good = [](Outputs& outputs) { outputs.number = 7; }};
}

template <>
Row row<Op::getMediumUUID>()
{
    return mediumText(&Travik::VBoxInstanceImpl::getMediumUUID, L"return uuid = ", L"IMedium::get_Id", 215);
}

template <>
Row row<Op::getMediumLastAccessError>()
{
    return mediumText(&Travik::VBoxInstanceImpl::getMediumLastAccessError, L"return last access error = ",
                      L"IMedium::get_LastAccessError", 214);
}

template <>
Row row<Op::attachMedium>()
{
    return {.invoke = [](Invocation& i) { return i.box.attachMedium(i.handle(0), i.handle(1), i.text(0), -2, 1); },
            .arguments = L"{h0} | {h1} | {t0} | -2 | 1",
            .texts = {L"SATA"},
            .steps = {find(Table::machine), find(Table::medium),
                      call(L"machine#1: IMachine::AttachDevice({t0}, -2, 1, 3, medium#1)", 167),
                      tolerated(L"machine#1: IMachine::SetAutoDiscardForDevice({t0}, -2, 1, 1)", 165),
                      tolerated(L"machine#1: IMachine::NonRotationalDevice({t0}, -2, 1, 1)", 166)},
            .comTexts = 1};
}

template <>
Row row<Op::detachMedium>()
{
    return {.invoke = [](Invocation& i) { return i.box.detachMedium(i.handle(0), i.text(0), 2, -1); },
            .arguments = L"{h0} | {t0} | 2 | -1",
            .texts = {L"SATA"},
            .steps = {find(Table::machine), call(L"machine#1: IMachine::DetachDevice({t0}, 2, -1)", 168)},
            .comTexts = 1};
}

template <>
Row row<Op::getCurrentMedium>()
{
    return {.invoke = [](Invocation& i) { return i.box.getCurrentMedium(i.handle(0), i.text(0), 2, 1, i.number()); },
            .arguments = L"{h0} | {t0} | 2 | 1",
            .texts = {L"SATA"},
            .steps = {find(Table::machine), call(L"machine#1: IMachine::GetMedium({t0}, 2, 1)", 201, Gives::optional)},
            .handsOut = {Table::medium},
            .comTexts = 1};
}

template <>
Row row<Op::getMachineStorageControllerPortCount>()
{
    return {.invoke =
                [](Invocation& i) {
                    return i.box.getMachineStorageControllerPortCount(i.handle(0), i.text(0), i.number());
                },
            .arguments = L"{h0} | {t0}",
            .texts = {L"SATA"},
            .steps = {find(Table::machine),
                      call(L"machine#1: IMachine::GetStorageControllerByName({t0})", 198, Gives::required),
                      call(L"IStorageController of IMachine::GetStorageControllerByName: "
                           L"IStorageController::get_PortCount()",
                           199, Gives::number),
                      result(L"return portCount = 7")},
            .good = [](Outputs& outputs) { outputs.number = 7; },
            .comTexts = 1};
}

template <>
Row row<Op::renameVmDisk>()
{
    return {.invoke = [](Invocation& i) { return i.box.renameVmDisk(i.text(0), i.text(1)); },
            .arguments = L"{t0} | {t1}",
            .texts = {existingFile(), missingFile()},
            .steps = {file(L"renameFilePath", L"{t0} | {t1}", 196)},
            .keepsLastResult = true,
            .textsArePaths = true};
}

template <>
Row row<Op::restoreVmDisk>()
{
    return {.invoke = [](Invocation& i) { return i.box.restoreVmDisk(i.handle(0), i.text(0)); },
            .arguments = L"{h0} | {t0}",
            .texts = {L"C:\\vms\\disk.vdi"},
            .steps = {find(Table::machine)}};
}

} // namespace TravikTest
