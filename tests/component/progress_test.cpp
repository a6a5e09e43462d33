#include <gtest/gtest.h>

#include "bench.h"
#include "com_memory.h"
#include "names.h"

// Waiting for progress objects: the caller's, and the library's own.

namespace TravikTest {
namespace {

const std::wstring waiter = L"_waitForProgressCompletion";

Given number(std::int64_t value)
{
    return value;
}

void answer(const std::wstring& attribute, Given given, HRESULT result = S_OK)
{
    FakeWorld::answerOnce(L"IProgress::" + attribute, {.result = result, .given = {std::move(given)}});
}

/// One wait of the library on a progress, with the tag "cloneVm".
struct Wait
{
    Bench bench;
    HRESULT result = 0;
    Records records;
    Calls calls;

    void run()
    {
        IProgress* const progress = newFake<IProgress>(L"p");
        bench.box.lastRC = 5;
        bench.box.lastErrorText = L"kept";
        result = bench.box._waitForProgressCompletion(progress, L"cloneVm");
        EXPECT_EQ(FakeWorld::live(), (Calls{L"virtualBox", L"session", L"p"}));
        EXPECT_EQ(FakeWorld::references(), 3); // only the caller's reference on the progress is left
        progress->Release();
        records = bench.records();
        calls = FakeWorld::takeCalls();
        EXPECT_EQ(bench.box.lastRC, 5u); // no failure is recorded as the last one
        EXPECT_EQ(bench.box.lastErrorText, L"kept");
    }

    static std::string log(const std::wstring& text) { return info(waiter, text); }
};

} // namespace

TEST(ProgressWait, DoesNotWaitForACompleteProgress)
{
    Wait wait;
    wait.run();
    EXPECT_EQ(wait.result, 0);
    EXPECT_EQ(wait.calls, (Calls{L"p: IProgress::get_Completed()", L"p: IProgress::get_ResultCode()"}));
    EXPECT_EQ(wait.records, (Records{Wait::log(L"get cloneVm Progress completed before waitCompletion: 1"),
                                     Wait::log(L"get cloneVm Progress return:0")}));
}

TEST(ProgressWait, WaitsWithoutLimit)
{
    Wait wait;
    answer(L"get_Completed", number(0));
    wait.run();
    EXPECT_EQ(wait.result, 0);
    EXPECT_EQ(wait.calls, (Calls{L"p: IProgress::get_Completed()", L"p: IProgress::WaitForCompletion(-1)",
                                 L"p: IProgress::get_ResultCode()"}));
    EXPECT_EQ(wait.records, (Records{Wait::log(L"get cloneVm Progress completed before waitCompletion: 0"),
                                     Wait::log(L"cloneVm Progress waitting for completion"),
                                     Wait::log(L"get cloneVm Progress return:0")}));
}

TEST(ProgressWait, CancelsWhenTheWaitFailsOnAnUnfinishedProgressThatLetsIt)
{
    Wait wait;
    answer(L"get_Completed", number(0));
    answer(L"get_Completed", number(0));
    answer(L"get_Cancelable", number(1));
    answer(L"get_Canceled", number(1));
    FakeWorld::answer(L"IProgress::WaitForCompletion", {.result = E_ABORT});
    answer(L"get_ResultCode", number(0));
    wait.run();
    EXPECT_EQ(wait.result, E_ABORT); // the failed wait, as the progress has no result
    EXPECT_EQ(wait.calls,
              (Calls{L"p: IProgress::get_Completed()", L"p: IProgress::WaitForCompletion(-1)",
                     L"p: IProgress::get_Completed()", L"p: IProgress::get_Cancelable()", L"p: IProgress::Cancel()",
                     L"p: IProgress::get_Canceled()", L"p: IProgress::get_ResultCode()"}));
    EXPECT_EQ(
        wait.records,
        (Records{Wait::log(L"get cloneVm Progress completed before waitCompletion: 0"),
                 Wait::log(L"cloneVm Progress waitting for completion"),
                 Wait::log(L"get cloneVm Progress completed: 0"), Wait::log(L"get cloneVm Progress canCancelable: 1"),
                 Wait::log(L"get cloneVm Progress canceled: 1"), Wait::log(L"get cloneVm Progress return:0")}));
}

TEST(ProgressWait, DoesNotCancelWhatCannotBeCancelled)
{
    Wait wait;
    answer(L"get_Completed", number(0));
    answer(L"get_Completed", number(0));
    answer(L"get_Cancelable", number(0));
    FakeWorld::answer(L"IProgress::WaitForCompletion", {.result = E_ABORT});
    wait.run();
    EXPECT_EQ(wait.calls, (Calls{L"p: IProgress::get_Completed()", L"p: IProgress::WaitForCompletion(-1)",
                                 L"p: IProgress::get_Completed()", L"p: IProgress::get_Cancelable()",
                                 L"p: IProgress::get_ResultCode()"}));
}

TEST(ProgressWait, TakesAPositiveWaitForASuccessfulOne)
{
    Wait wait;
    answer(L"get_Completed", number(0));
    FakeWorld::answer(L"IProgress::WaitForCompletion", {.result = S_FALSE});
    wait.run();
    EXPECT_EQ(wait.result, S_FALSE);
    EXPECT_EQ(wait.calls.size(), 3u);
}

TEST(ProgressWait, ReturnsTheProgresssOwnFailureWithItsDescription)
{
    Wait wait;
    answer(L"get_Completed", number(0));
    answer(L"get_Completed", number(1));
    FakeWorld::answer(L"IProgress::WaitForCompletion", {.result = E_ABORT});
    answer(L"get_ResultCode", number(notFound));
    FakeWorld::answer(L"IVirtualBoxErrorInfo::GetDescription", {.given = {std::wstring(L"a\0b", 3)}});
    wait.run();
    EXPECT_EQ(wait.result, notFound);
    EXPECT_EQ(wait.calls.back(),
              L"IVirtualBoxErrorInfo of IProgress::get_ErrorInfo: IVirtualBoxErrorInfo::GetDescription()");
    EXPECT_EQ(wait.records, (Records{Wait::log(L"get cloneVm Progress completed before waitCompletion: 0"),
                                     Wait::log(L"cloneVm Progress waitting for completion"),
                                     Wait::log(L"get cloneVm Progress completed: 1"),
                                     Wait::log(L"get cloneVm Progress return:-2135228415"),
                                     Wait::log(L"get cloneVm Progress fail desc: " + std::wstring(L"a\0b", 3))}));
}

TEST(ProgressWait, WithoutErrorInfoOrDescriptionReturnsTheFailureAlone)
{
    {
        Wait wait;
        answer(L"get_ResultCode", number(notFound));
        answer(L"get_ErrorInfo", Null());
        wait.run();
        EXPECT_EQ(wait.result, notFound);
        EXPECT_EQ(wait.records.back(), Wait::log(L"get cloneVm Progress return:-2135228415"));
    }
    Wait wait;
    answer(L"get_ResultCode", number(1)); // also a positive one
    FakeWorld::answer(L"IVirtualBoxErrorInfo::GetDescription", {.given = {Null()}});
    wait.run();
    EXPECT_EQ(wait.result, 1);
    EXPECT_EQ(wait.records.back(), Wait::log(L"get cloneVm Progress return:1"));
}

TEST(ProgressWait, ToleratesEveryFailingReadAndGoesOnWithWhatItLeft)
{
    Wait wait;
    for (const wchar_t* attribute :
         {L"get_Completed", L"get_ResultCode", L"get_Cancelable", L"get_Canceled", L"Cancel"})
        FakeWorld::answer(std::wstring(L"IProgress::") + attribute, {.result = E_FAIL});
    FakeWorld::answer(L"IProgress::WaitForCompletion", {.result = E_ABORT});
    wait.run();
    EXPECT_EQ(wait.result, E_ABORT);
    EXPECT_EQ(wait.records, (Records{ignored(waiter, GetProgressCompletedFail, Result::Fail),
                                     Wait::log(L"get cloneVm Progress completed before waitCompletion: 0"),
                                     Wait::log(L"cloneVm Progress waitting for completion"),
                                     ignored(waiter, GetProgressCompletedFail, Result::Fail),
                                     Wait::log(L"get cloneVm Progress completed: 0"),
                                     ignored(waiter, ProgressGetCancelableFail, Result::Fail),
                                     Wait::log(L"get cloneVm Progress canCancelable: 0"),
                                     ignored(waiter, GetProgressResultCodeFail, Result::Fail),
                                     Wait::log(L"get cloneVm Progress return:0")}));
}

TEST(ProgressWait, ToleratesAFailingCancel)
{
    Wait wait;
    answer(L"get_Completed", number(0));
    answer(L"get_Completed", number(0));
    FakeWorld::answer(L"IProgress::WaitForCompletion", {.result = E_ABORT});
    FakeWorld::answer(L"IProgress::Cancel", {.result = E_ACCESSDENIED});
    FakeWorld::answer(L"IProgress::get_Canceled", {.result = E_FAIL});
    wait.run();
    EXPECT_EQ(Records(wait.records.begin() + 4, wait.records.end()),
              (Records{ignored(waiter, ProgressCancelFail, Result::AccessDenied),
                       ignored(waiter, ProgressGetCancelFail, Result::Fail),
                       Wait::log(L"get cloneVm Progress canceled: 0"), Wait::log(L"get cloneVm Progress return:0")}));
}

TEST(ProgressWait, ToleratesFailingErrorReads)
{
    {
        Wait wait;
        answer(L"get_ResultCode", number(notFound));
        answer(L"get_ErrorInfo", OwnValue(), E_FAIL);
        wait.run();
        EXPECT_EQ(wait.result, notFound);
        EXPECT_EQ(wait.records.back(), ignored(waiter, ProgressGetErrorInfoFail, Result::Fail));
    }
    Wait wait;
    answer(L"get_ResultCode", number(notFound));
    FakeWorld::answer(L"IVirtualBoxErrorInfo::GetDescription", {.result = E_NOTIMPL});
    wait.run();
    EXPECT_EQ(wait.result, notFound);
    EXPECT_EQ(wait.records.back(), ignored(waiter, ProgressGetDescriptionFail, Result::NotImpl));
}

TEST(ProgressWait, RunsWithoutTheMutexInEveryCall)
{
    Bench bench;
    bench.give(Table::machine);
    int free = 0;
    const auto watch = [&](Answer& answer) { answer.during = [&] { free += bench.mutexIsFree() ? 1 : 0; }; };
    for (const wchar_t* method : {L"get_Completed", L"WaitForCompletion", L"get_Cancelable", L"Cancel", L"get_Canceled",
                                  L"get_ResultCode", L"get_ErrorInfo"})
        FakeWorld::change(std::wstring(L"IProgress::") + method, watch);
    FakeWorld::change(L"IVirtualBoxErrorInfo::GetDescription", watch);
    FakeWorld::change(L"IProgress::get_Completed", [](Answer& answer) { answer.given = {std::int64_t(0)}; });
    FakeWorld::change(L"IProgress::WaitForCompletion", [](Answer& answer) { answer.result = E_FAIL; });
    FakeWorld::change(L"IProgress::get_ResultCode", [](Answer& answer) { answer.given = {std::int64_t(notFound)}; });
    EXPECT_EQ(bench.box.deleteMachine(1), 121);
    EXPECT_EQ(free, 9); // Completed is read twice
    EXPECT_EQ(bench.box.lastRC, Result::ObjectNotFound);
}

TEST(GetProgressErrorInfo, OfASuccessfulProgressLeavesTheTextAsItWas)
{
    Bench bench;
    bench.give(Table::progress);
    FakeWorld::answer(L"IProgress::get_ErrorInfo", {.given = {Null()}});
    std::wstring text = L"before";
    EXPECT_EQ(bench.box.getProgressErrorInfo(1, &text), 0);
    EXPECT_EQ(text, L"before");
    EXPECT_EQ(bench.records(), Records{info(L"getProgressErrorInfo", L"1")});
}

TEST(GetProgressResultCode, RecordsHexadecimalAndTheNextRecordIsDecimalAgain)
{
    Bench bench;
    bench.give(Table::progress);
    FakeWorld::answer(L"IProgress::get_ResultCode", {.given = {number(notFound)}});
    std::int32_t code = 0;
    EXPECT_EQ(bench.box.getProgressResultCode(1, &code), 0);
    EXPECT_EQ(code, notFound);
    EXPECT_EQ(bench.box.setMachineMemory(4095, 255), 181);
    EXPECT_EQ(
        bench.records(),
        (Records{info(L"getProgressResultCode", L"1"), info(L"getProgressResultCode", L"return code = 80bb0001"),
                 info(L"setMachineMemory", L"4095 | 255"), sdkFailure(L"setMachineMemory", COM_Get_MachineFail)}));
}

TEST(ProgressWaitForCompletion, PassesItsTimeOutUnchanged)
{
    Bench bench;
    bench.give(Table::progress);
    for (const std::int32_t timeout : {0, -1, 2147483647, -2147483647 - 1}) {
        EXPECT_EQ(bench.box.progressWaitForCompletion(1, timeout), 0);
        EXPECT_EQ(FakeWorld::takeCalls(),
                  Calls{L"progress#1: IProgress::WaitForCompletion(" + std::to_wstring(timeout) + L")"});
    }
}

} // namespace TravikTest
