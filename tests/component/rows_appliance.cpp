#include "operation_table.h"

// Importing appliance files.

namespace TravikTest {
namespace {

const std::wstring appliance = L"IAppliance of IVirtualBox::CreateAppliance: ";

/// What both operations begin with, and how they go on.
std::vector<Step> afterReading(std::vector<Step> rest)
{
    std::vector<Step> steps = {file(L"checkFileExists", L"{t0}", 195),
                               ReadyStep{ReadyStep::virtualBox},
                               call(L"virtualBox: IVirtualBox::CreateAppliance()", 170, Gives::required),
                               call(appliance + L"IAppliance::Read({t0})", 171, Gives::required),
                               wait(L"IProgress of IAppliance::Read", L"readOva"),
                               call(appliance + L"IAppliance::Interpret()", 172)};
    steps.insert(steps.end(), rest.begin(), rest.end());
    return steps;
}

} // namespace

template <>
Row row<Op::getImportOvaVmName>()
{
    return {.invoke = [](Invocation& i) { return i.box.getImportOvaVmName(i.text(0), i.textOutput()); },
            .arguments = L"{t0}",
            .texts = {existingFile()},
            .steps = afterReading(
                {call(appliance + L"IAppliance::get_VirtualSystemDescriptions()", 211, Gives::optional),
                 tolerated(L"description: IVirtualSystemDescription::GetValuesByType(3, 3)", 212, Gives::optional),
                 result(L"import vmname = vm2")}),
            .good = [](Outputs& outputs) { outputs.text = L"vm2"; },
            .comTexts = 1,
            .prepare =
                [](const Invocation&) {
                    FakeWorld::answer(L"IAppliance::get_VirtualSystemDescriptions",
                                      {.given = {objectArray<IVirtualSystemDescription>({L"description"})}});
                    FakeWorld::answer(L"IVirtualSystemDescription::GetValuesByType",
                                      {.given = {textArray({L"", L"vm2", L"vm3"})}});
                },
            .textsArePaths = true};
}

template <>
Row row<Op::importOva>()
{
    return {.invoke = [](Invocation& i) { return i.box.importOva(i.text(0)); },
            .arguments = L"{t0}",
            .texts = {existingFile()},
            .steps = afterReading({call(appliance + L"IAppliance::ImportMachines(VT_I4[0+1]{3})", 174, Gives::required),
                                   wait(L"IProgress of IAppliance::ImportMachines", L"importOva")}),
            .comTexts = 1,
            .textsArePaths = true};
}

} // namespace TravikTest
