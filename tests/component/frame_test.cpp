#include <gtest/gtest.h>

#include <string>

#include "bench.h"
#include "names.h"
#include "worker.h"

// The frame of operations: the last failure, the argument text, the lock.

namespace TravikTest {
namespace {

void failOnce(const std::wstring& method, HRESULT result)
{
    FakeWorld::answerOnce(method, {.result = result});
}

} // namespace

TEST(LastFailure, IsZeroBeforeAnyFailureAndAfterTheNextOperationStarts)
{
    Bench bench;
    EXPECT_EQ(bench.box.getVBoxError(), 0u);
    EXPECT_EQ(bench.box.getVBoxErrorMessage(), L"");
    failOnce(L"IVirtualBox::FindMachine", notFound);
    EXPECT_EQ(bench.box.findMachine(L"vm1", nullptr), 107);
    EXPECT_EQ(bench.box.getVBoxError(), Result::ObjectNotFound);
    EXPECT_EQ(bench.box.getVBoxError(), Result::ObjectNotFound);
    EXPECT_EQ(bench.box.findMachine(L"vm1", nullptr), 0);
    EXPECT_EQ(bench.box.getVBoxError(), 0u);
    EXPECT_NE(bench.box.getVBoxErrorMessage().find(L"FindMachineFail"), std::wstring::npos);
}

TEST(LastFailure, OfFindMachineReadsInTheFixedOrder)
{
    Bench bench;
    failOnce(L"IVirtualBox::FindMachine", notFound);
    EXPECT_EQ(bench.box.findMachine(L"vm1", nullptr), 107);
    EXPECT_EQ(maskedFailure(bench.box.getVBoxErrorMessage()),
              L"vbox sdk failure in Travik::VBox::findMachine(vm1):LINE with rc=0x80bb0001 rcDesc=ObjectNotFound "
              L"errorDesc=FindMachineFail");
}

TEST(LastFailure, OfAnUnknownHandleHasNoResult)
{
    Bench bench;
    failOnce(L"IVirtualBox::FindMachine", notFound);
    bench.box.findMachine(L"vm1", nullptr);
    EXPECT_EQ(bench.box.saveSettings(9), 181);
    EXPECT_EQ(bench.box.getVBoxError(), 0u);
    EXPECT_EQ(maskedFailure(bench.box.getVBoxErrorMessage()),
              L"vbox sdk failure in Travik::VBox::saveSettings(9):LINE errorDesc=COM_Get_MachineFail");
}

TEST(LastFailure, OfAnOperationWithoutArgumentsHasAnEmptyList)
{
    Bench bench;
    failOnce(L"ISession::UnlockMachine", static_cast<HRESULT>(0x80000002));
    EXPECT_EQ(bench.box.unlockMachine(), 110);
    EXPECT_EQ(maskedFailure(bench.box.getVBoxErrorMessage()),
              L"vbox sdk failure in Travik::VBox::unlockMachine():LINE with rc=0x80000002 rcDesc=Unknow "
              L"errorDesc=UnlockMachineFail");
}

TEST(LastFailure, OfListVmsHasNoName)
{
    Bench bench;
    failOnce(L"IVirtualBox::get_Machines", E_FAIL);
    EXPECT_EQ(bench.box.listVms(nullptr), 210);
    EXPECT_EQ(
        maskedFailure(bench.box.getVBoxErrorMessage()),
        L"vbox sdk failure in Travik::VBox::listVms():LINE with rc=0x80004005 rcDesc=OleFailError errorDesc=Unknow");
}

TEST(LastFailure, IsReadWithBareRecordsAndTouchesNothing)
{
    Bench bench;
    bench.box.lastRC = Result::ObjectNotFound;
    bench.box.lastErrorText = L"the text";
    bench.box.argStream.str(L"arguments");
    EXPECT_EQ(bench.box.getVBoxError(), Result::ObjectNotFound);
    EXPECT_EQ(bench.box.getVBoxErrorMessage(), L"the text");
    bench.box.lastRC = 0;
    EXPECT_EQ(bench.box.getVBoxError(), 0u);
    EXPECT_EQ(bench.records(), (Records{info(L"getVBoxError", L"80bb0001"), info(L"getVBoxErrorMessage", L"the text"),
                                        info(L"getVBoxError", L"0")}));
    EXPECT_EQ(bench.box.argStream.str(), L"arguments");
    EXPECT_EQ(bench.box.lastErrorText, L"the text");
    EXPECT_TRUE(bench.mutexIsFree());
}

TEST(LastFailure, ResultIsReadAfterLocking)
{
    Bench bench;
    std::uint32_t result = 0;
    {
        const std::lock_guard lock(bench.box.mutex);
        EXPECT_FALSE(worker().run([&] { result = bench.box.getVBoxError(); }, std::chrono::milliseconds(50)));
        bench.box.lastRC = 0xAB;
    }
    ASSERT_TRUE(worker().drain());
    EXPECT_EQ(result, 0xABu);
    EXPECT_EQ(bench.records(), Records{info(L"getVBoxError", L"ab")});
}

TEST(LastFailure, TextIsReadAfterLocking)
{
    Bench bench;
    std::wstring text;
    {
        const std::lock_guard lock(bench.box.mutex);
        EXPECT_FALSE(worker().run([&] { text = bench.box.getVBoxErrorMessage(); }, std::chrono::milliseconds(50)));
        bench.box.lastErrorText = L"written meanwhile";
    }
    ASSERT_TRUE(worker().drain());
    EXPECT_EQ(text, L"written meanwhile");
    EXPECT_EQ(bench.records(), Records{info(L"getVBoxErrorMessage", L"written meanwhile")});
}

TEST(LastFailure, MayNameTheArgumentsOfAnotherThread)
{
    Bench bench;
    const VBoxHandle machine = bench.give(Table::machine);
    FakeWorld::answerOnce(L"IVirtualBox::FindMachine",
                          {.result = notFound, .during = [&] {
                               EXPECT_TRUE(worker().run([&] { bench.box.setMachineMemory(machine, 64); }));
                           }});
    EXPECT_EQ(bench.box.findMachine(L"vm1", nullptr), 107);
    EXPECT_EQ(maskedFailure(bench.box.lastErrorText),
              comFailureText(L"findMachine", L"1 | 64", FindMachineFail, Result::ObjectNotFound));
}

TEST(Recorders, LeaveNoTraceOfTheResultZero)
{
    Bench bench;
    bench.box.lastRC = 5;
    bench.box.lastErrorText = L"kept";
    EXPECT_EQ(bench.box._recordComFailure(0, Travik::FindMachineFail, 1, L"name"), Travik::FindMachineFail);
    EXPECT_EQ(bench.box._recordComIgnored(0, Travik::FindMachineFail, 1, L"name"), 0);
    EXPECT_EQ(bench.box.lastRC, 5u);
    EXPECT_EQ(bench.box.lastErrorText, L"kept");
    EXPECT_EQ(bench.records(), Records());
}

TEST(Recorders, OfToleratedFailuresStoreNothingAndReturnTheResult)
{
    Bench bench;
    bench.box.lastRC = 5;
    bench.box.lastErrorText = L"kept";
    EXPECT_EQ(bench.box._recordComIgnored(1, Travik::AttachDeviceFail, 1, qualified(L"x")), 1);
    EXPECT_EQ(bench.box._recordComIgnored(notFound, Travik::AttachDeviceFail, 1, qualified(L"x")), notFound);
    EXPECT_EQ(bench.box.lastRC, 5u);
    EXPECT_EQ(bench.box.lastErrorText, L"kept");
    EXPECT_EQ(
        bench.records(),
        (Records{record("INFO", L"Travik::VBox::x", L"[ignore]AttachDeviceFail rc=0x1 rcDesc=Unknow"),
                 record("INFO", L"Travik::VBox::x", L"[ignore]AttachDeviceFail rc=0x80bb0001 rcDesc=ObjectNotFound")}));
}

TEST(Recorders, NameResultsThroughTheConverterOfTheObject)
{
    struct OtherNames : TestBox
    {
        std::uint32_t toVBoxResultCode(std::uint32_t) override { return 13; }
    };
    Bench bench;
    OtherNames box;
    EXPECT_EQ(box._recordComFailure(E_FAIL, Travik::FindMachineFail, 7, L"name"), Travik::FindMachineFail);
    EXPECT_EQ(box.lastErrorText,
              L"vbox sdk failure in name():7 with rc=0x80004005 rcDesc=PasswordIncorrect errorDesc=FindMachineFail");
    bench.records();
}

TEST(ArgumentText, IsEmptiedAndItsErrorStateCleared)
{
    Bench bench;
    bench.box.argStream << L"old";
    bench.box.argStream.setstate(std::ios_base::badbit);
    bench.box._argStream() << L"new";
    EXPECT_EQ(bench.box.argStream.str(), L"new");
}

TEST(ArgumentText, IsWrittenAlsoByOperationsThatKeepTheLastResult)
{
    Bench bench;
    bench.box.argStream.str(L"old");
    bench.box.releaseRC();
    EXPECT_EQ(bench.box.argStream.str(), L"");
    bench.box.eventSourceReleaseEvent(8);
    EXPECT_EQ(bench.box.argStream.str(), L"8");
    bench.box.renameVmDisk(L"", L"to");
    EXPECT_EQ(bench.box.argStream.str(), L" | to");
    bench.box.resetComComponent();
    EXPECT_EQ(bench.box.argStream.str(), L"");
}

TEST(LogOfOperations, LaysRecordsOutWithTheLineEndInFront)
{
    Bench bench;
    const VBoxHandle machine = bench.give(Table::machine);
    bench.log.takeBytes();
    bench.box.saveSettings(machine);
    bench.box.saveSettings(machine);
    const std::string bytes = bench.log.takeBytes();
    const std::size_t second = bytes.find("\r\n[", 1);
    ASSERT_NE(second, std::string::npos);
    for (const std::string& raw : {bytes.substr(0, second), bytes.substr(second)}) {
        EXPECT_EQ(raw.substr(0, 3), "\r\n[");
        EXPECT_EQ(raw[27], ']');
        EXPECT_EQ(raw.substr(28, 37), "[INFO] (Travik::VBox::saveSettings) <");
        EXPECT_EQ(raw.substr(raw.rfind('>')), "> # 1"); // no line end of its own
    }
}

TEST(LogOfOperations, GoesOnAfterAPathThatCannotBeOpened)
{
    Bench bench;
    bench.records();
    {
        const std::lock_guard lock(bench.box.mutex); // setLogPath takes no lock
        EXPECT_EQ(bench.box.setLogPath(logFile().wstring()), 0);
    }
    EXPECT_EQ(bench.records(), Records()); // and writes no record; the file was open already
    EXPECT_EQ(bench.box.setLogPath((logFile().parent_path() / L"no such folder" / L"x.log").wstring()), 0);
    EXPECT_EQ(bench.log.takeBytes(), "\r\n"); // the old file is ended
    testing::internal::CaptureStdout();
    bench.box.saveSettings(0);
    EXPECT_NE(testing::internal::GetCapturedStdout().find("(Travik::VBox::saveSettings) <"), std::string::npos);
    EXPECT_EQ(bench.box.setLogPath(logFile().wstring()), 0);
    bench.box.saveSettings(0);
    EXPECT_EQ(bench.records(),
              (Records{info(L"saveSettings", L"0"), sdkFailure(L"saveSettings", COM_Get_MachineFail)}));
}

TEST(LogOfOperations, KeepsEveryRecordWholeUnderFourThreads)
{
    Bench bench;
    const VBoxHandle machine = bench.give(Table::machine);
    bench.records();
    constexpr int rounds = 200;
    for (std::size_t thread = 0; thread < 4; ++thread) {
        worker(thread).start([&] {
            for (int i = 0; i < rounds; ++i)
                bench.box.saveSettings(machine);
        });
    }
    for (std::size_t thread = 0; thread < 4; ++thread)
        ASSERT_TRUE(worker(thread).drain());
    EXPECT_EQ(bench.records(), Records(4 * rounds, info(L"saveSettings", L"1")));
}

} // namespace TravikTest
