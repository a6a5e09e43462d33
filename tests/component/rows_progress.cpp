#include "operation_table.h"

// The progress objects that the caller holds.

namespace TravikTest {

template <>
Row row<Op::progressWaitForCompletion>()
{
    return {.invoke = [](Invocation& i) { return i.box.progressWaitForCompletion(i.handle(0), -1); },
            .arguments = L"{h0} | -1",
            .steps = {find(Table::progress), call(L"progress#1: IProgress::WaitForCompletion(-1)", 121)}};
}

template <>
Row row<Op::getProgressCompleted>()
{
    return {.invoke = [](Invocation& i) { return i.box.getProgressCompleted(i.handle(0), i.number()); },
            .arguments = L"{h0}",
            .steps = {find(Table::progress), call(L"progress#1: IProgress::get_Completed()", 122, Gives::number),
                      result(L"return completed = 1")},
            .good = [](Outputs& outputs) { outputs.number = 1; }};
}

template <>
Row row<Op::getProgressResultCode>()
{
    return {.invoke = [](Invocation& i) { return i.box.getProgressResultCode(i.handle(0), i.signedNumber()); },
            .arguments = L"{h0}",
            .steps = {find(Table::progress), call(L"progress#1: IProgress::get_ResultCode()", 123, Gives::number),
                      result(L"return code = 80bb0001")},
            .good = [](Outputs& outputs) { outputs.signedNumber = static_cast<std::int32_t>(Result::ObjectNotFound); },
            .prepare =
                [](const Invocation&) {
                    FakeWorld::answer(
                        L"IProgress::get_ResultCode",
                        {.given = {static_cast<std::int64_t>(static_cast<std::int32_t>(Result::ObjectNotFound))}});
                }};
}

template <>
Row row<Op::getProgressErrorInfo>()
{
    return {.invoke = [](Invocation& i) { return i.box.getProgressErrorInfo(i.handle(0), i.textOutput()); },
            .arguments = L"{h0}",
            .steps = {find(Table::progress), call(L"progress#1: IProgress::get_ErrorInfo()", 124, Gives::optional),
                      onlyWithOutput(L"IVirtualBoxErrorInfo of IProgress::get_ErrorInfo: "
                                     L"IVirtualBoxErrorInfo::get_Text()",
                                     124, Gives::optional),
                      result(L"return errorText = text of IVirtualBoxErrorInfo::get_Text")},
            .good = [](Outputs& outputs) { outputs.text = L"text of IVirtualBoxErrorInfo::get_Text"; }};
}

} // namespace TravikTest
