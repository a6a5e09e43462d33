#include <gtest/gtest.h>

#include <thread>

#include "bench.h"
#include "names.h"
#include "worker.h"

// Creating, keeping and dropping the root objects and the handles.

namespace TravikTest {
namespace {

const std::wstring createVirtualBox = L"class: VirtualBox::CreateInstance()";
const std::wstring createSession = L"class: Session::CreateInstance()";

/// One object in each table, released in the order of the tables.
Calls giveOneOfEach(Bench& bench)
{
    Calls labels;
    for (std::size_t i = 0; i < tableCount; ++i) {
        const auto table = static_cast<Table>(i);
        labels.push_back(tableName(table) + L"#" + std::to_wstring(bench.give(table)));
    }
    return labels;
}

} // namespace

TEST(Start, CreatesBothRootObjectsOnceAndOnDemand)
{
    Bench bench(Bench::withoutRoots);
    EXPECT_EQ(FakeWorld::takeCalls(), Calls());
    EXPECT_EQ(bench.box.initComComponent(), 0);
    EXPECT_EQ(FakeWorld::takeCalls(), (Calls{createVirtualBox, createSession}));
    EXPECT_EQ(bench.box.initComComponent(), 0);
    EXPECT_EQ(FakeWorld::takeCalls(), Calls());
    EXPECT_EQ(bench.records(), (Records{info(L"initComComponent", L""), info(L"initComComponent", L"")}));
    EXPECT_EQ(FakeWorld::references(), 2);
}

TEST(Start, HoldsTheMutexWhileItCreates)
{
    Bench bench(Bench::withoutRoots);
    int held = 0;
    for (const wchar_t* method : {L"VirtualBox::CreateInstance", L"Session::CreateInstance"})
        FakeWorld::answerOnce(
            method, {.during = [&] { EXPECT_TRUE(worker().run([&] { held += bench.mutexIsFree() ? 0 : 1; })); }});
    EXPECT_EQ(bench.box.initComComponent(), 0);
    EXPECT_EQ(held, 2);
}

TEST(Start, ReturnsZeroWithoutAServerAndTellsTheFailure)
{
    Bench bench(Bench::withoutRoots);
    FakeWorld::revokeClasses();
    EXPECT_EQ(bench.box.initComComponent(), 0);
    EXPECT_EQ(bench.records(),
              (Records{info(L"initComComponent", L""),
                       comFailure(L"_initVBox", VBoxCoCreateInstanceVBoxFail, Result::ClassNotRegistered)}));
    EXPECT_EQ(bench.box.getVBoxError(), Result::ClassNotRegistered);
    EXPECT_EQ(maskedFailure(bench.box.getVBoxErrorMessage()),
              comFailureText(L"_initVBox", L"", VBoxCoCreateInstanceVBoxFail, Result::ClassNotRegistered));
    EXPECT_TRUE(bench.box.getVBoxErrorMessage().ends_with(L" errorDesc=VBoxCoCreateInstanceVBoxFail"));
    EXPECT_EQ(bench.box.unlockMachine(), 101);
    EXPECT_EQ(bench.box.createMachine(L"a", L"b", nullptr), 101);
    EXPECT_EQ(maskedFailure(bench.box.lastErrorText),
              comFailureText(L"_initVBox", L"a | b", VBoxCoCreateInstanceVBoxFail, Result::ClassNotRegistered));
    FakeWorld::registerClasses();
    EXPECT_EQ(bench.box.unlockMachine(), 0);
}

// VirtualBox itself is another process, its session lives in this one: a class of the wrong kind does not do.
TEST(Start, TakesVirtualBoxFromALocalServerOnly)
{
    Bench bench(Bench::withoutRoots);
    FakeWorld::revokeClasses();
    FakeWorld::registerClasses(CLSCTX_INPROC_SERVER, CLSCTX_INPROC_SERVER);
    EXPECT_EQ(bench.box.initComComponent(), 0u);
    EXPECT_EQ(bench.records(),
              (Records{info(L"initComComponent", L""),
                       comFailure(L"_initVBox", VBoxCoCreateInstanceVBoxFail, Result::ClassNotRegistered)}));
    EXPECT_EQ(FakeWorld::takeCalls(), Calls());
    FakeWorld::revokeClasses();
}

TEST(Start, TakesTheSessionFromAnInProcessServerOnly)
{
    Bench bench(Bench::withoutRoots);
    FakeWorld::revokeClasses();
    FakeWorld::registerClasses(CLSCTX_LOCAL_SERVER, CLSCTX_LOCAL_SERVER);
    EXPECT_EQ(bench.box.initComComponent(), 0u);
    EXPECT_EQ(bench.records(),
              (Records{info(L"initComComponent", L""),
                       comFailure(L"_initVBox", VBoxCoCreateInstanceSessionFail, Result::ClassNotRegistered)}));
    EXPECT_EQ(FakeWorld::takeCalls(), Calls{createVirtualBox});
    FakeWorld::revokeClasses();
}

TEST(Start, WithoutASessionKeepsVirtualBoxAndDropsItWhenItStartsAgain)
{
    Bench bench(Bench::withoutRoots);
    FakeWorld::answer(L"Session::CreateInstance", {.result = E_ACCESSDENIED});
    EXPECT_EQ(bench.box.initComComponent(), 0);
    EXPECT_EQ(bench.records(),
              (Records{info(L"initComComponent", L""),
                       comFailure(L"_initVBox", VBoxCoCreateInstanceSessionFail, Result::AccessDenied)}));
    EXPECT_NE(bench.box.virtualBox, nullptr);
    EXPECT_EQ(bench.box.session, nullptr);
    EXPECT_EQ(FakeWorld::references(), 1);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(bench.box.getConsole(nullptr), 101);
        EXPECT_EQ(FakeWorld::references(), 1); // the older one is gone
    }
    FakeWorld::answer(L"Session::CreateInstance", {});
    EXPECT_EQ(bench.box.getConsole(nullptr), 0);
    EXPECT_EQ(FakeWorld::references(), 2);
}

TEST(Start, WithASuccessThatGivesNoObjectIsNotTakenForStarted)
{
    Bench bench(Bench::withoutRoots);
    FakeWorld::answerOnce(L"VirtualBox::CreateInstance", {.given = {Null()}});
    EXPECT_EQ(bench.box.getHost(nullptr), 101);
    EXPECT_EQ(bench.box.virtualBox, nullptr);
    EXPECT_EQ(FakeWorld::takeCalls(), Calls{createVirtualBox});
    FakeWorld::answerOnce(L"Session::CreateInstance", {.given = {Null()}});
    EXPECT_EQ(bench.box.getHost(nullptr), 0);
    EXPECT_EQ(bench.box.session, nullptr);
}

TEST(Start, OnAThreadOfAnotherApartmentFailsAndLeavesNothing)
{
    Bench bench(Bench::withoutRoots);
    EXPECT_TRUE(worker(3).run([&] {
        ASSERT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
        EXPECT_EQ(bench.box.initComComponent(), 0);
        EXPECT_EQ(bench.box.unlockMachine(), 101);
        CoUninitialize();
    }));
    EXPECT_EQ(bench.box.lastRC, Result::RpcChangedMode);
    EXPECT_EQ(
        bench.records(),
        (Records{info(L"initComComponent", L""), comFailure(L"_initVBox", VBoxCoInitializeFail, Result::RpcChangedMode),
                 info(L"unlockMachine", L""), comFailure(L"_initVBox", VBoxCoInitializeFail, Result::RpcChangedMode)}));
    EXPECT_EQ(bench.box.virtualBox, nullptr);
    EXPECT_EQ(FakeWorld::takeCalls(), Calls());
}

TEST(Start, InitialisesTheApartmentOfItsThreadOnEveryRun)
{
    Bench bench(Bench::withoutRoots);
    FakeWorld::revokeClasses();
    EXPECT_TRUE(worker(3).run([&] {
        bench.box.initComComponent();
        EXPECT_EQ(CoInitialize(nullptr), S_FALSE); // it was initialised, as a single-threaded one
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), RPC_E_CHANGED_MODE);
        CoUninitialize();
        CoUninitialize();
    }));
    EXPECT_EQ(bench.box.lastRC, Result::ClassNotRegistered);
}

TEST(Reset, DropsEverythingAndStartsAnew)
{
    Bench bench;
    giveOneOfEach(bench);
    const VBoxHandle second = bench.give(Table::machine);
    bench.box.lastRC = 5;
    bench.records();
    EXPECT_EQ(bench.box.resetComComponent(), 0);
    EXPECT_EQ(bench.records(), (Records{info(L"resetComComponent", L""), info(L"_releaseRC", L"")}));
    EXPECT_EQ(FakeWorld::takeCalls(), (Calls{createVirtualBox, createSession}));
    EXPECT_EQ(bench.box.lastRC, 5u); // not cleared
    EXPECT_EQ(bench.sizes(), (std::array<std::size_t, tableCount>{}));
    EXPECT_EQ(bench.box.saveSettings(second), 181);
    EXPECT_EQ(bench.box.consoleResume(1), 184);
    EXPECT_EQ(bench.give(Table::machine), second + 1);
    EXPECT_EQ(bench.give(Table::medium), 2u);
}

TEST(Reset, WithoutAServerReturnsZeroAndTellsTheFailure)
{
    Bench bench;
    FakeWorld::answer(L"VirtualBox::CreateInstance", {.result = E_FAIL});
    EXPECT_EQ(bench.box.resetComComponent(), 0);
    EXPECT_EQ(bench.box.lastRC, Result::Fail);
    EXPECT_EQ(bench.records(), (Records{info(L"resetComComponent", L""), info(L"_releaseRC", L""),
                                        comFailure(L"_initVBox", VBoxCoCreateInstanceVBoxFail, Result::Fail)}));
    EXPECT_EQ(maskedFailure(bench.box.lastErrorText),
              comFailureText(L"_initVBox", L"", VBoxCoCreateInstanceVBoxFail, Result::Fail));
}

TEST(ReleaseRC, ReleasesTablesInTheirOrderAndThenTheRoots)
{
    Bench bench;
    Calls labels = giveOneOfEach(bench);
    labels.insert(labels.end(), {L"virtualBox", L"session"});
    bench.box.lastRC = 5;
    EXPECT_EQ(bench.box.releaseRC(), 0);
    EXPECT_EQ(FakeWorld::takeReleased(), labels);
    EXPECT_EQ(bench.box.lastRC, 5u);
    EXPECT_EQ(bench.records(), (Records{info(L"releaseRC", L""), info(L"_releaseRC", L"")}));
    EXPECT_EQ(FakeWorld::takeCalls(), Calls());
}

TEST(ReleaseRC, TwiceFindsNothingToReleaseTheSecondTime)
{
    Bench bench;
    EXPECT_EQ(bench.box.releaseRC(), 0);
    FakeWorld::takeReleased();
    EXPECT_EQ(bench.box.releaseRC(), 0);
    EXPECT_EQ(FakeWorld::takeReleased(), Calls());
    EXPECT_EQ(bench.records(), (Records{info(L"releaseRC", L""), info(L"_releaseRC", L""), info(L"releaseRC", L""),
                                        info(L"_releaseRC", L"")}));
}

TEST(ReleaseRC, LetsTheNextOperationStartAgain)
{
    Bench bench;
    bench.box.releaseRC();
    VBoxHandle machine = 0;
    EXPECT_EQ(bench.box.findMachine(L"vm1", &machine), 0);
    EXPECT_EQ(FakeWorld::takeCalls(),
              (Calls{createVirtualBox, createSession,
                     L"IVirtualBox of VirtualBox::CreateInstance: IVirtualBox::FindMachine(\"vm1\"[3])"}));
    EXPECT_EQ(machine, 1u);
}

TEST(EndOfTheInstance, ReleasesTheHandlesFromTheLastTableToTheFirstButNotTheRoots)
{
    Bench bench;
    Calls labels = giveOneOfEach(bench);
    std::reverse(labels.begin(), labels.end());
    IVirtualBox* const virtualBox = bench.box.virtualBox;
    ISession* const session = bench.box.session;
    FakeWorld::takeReleased();
    bench.instance.reset();
    EXPECT_EQ(FakeWorld::takeReleased(), labels);
    EXPECT_EQ(FakeWorld::live(), (Calls{L"virtualBox", L"session"}));
    virtualBox->Release();
    session->Release();
    bench.instance.emplace(); // at the same place, for the end of the bench
}

TEST(HandleTables, StartAtOneAndNeverUseANumberAgain)
{
    Bench bench;
    for (std::size_t i = 0; i < tableCount; ++i) {
        const auto table = static_cast<Table>(i);
        EXPECT_EQ(bench.give(table), 1u);
        bench.box.release(table, 1);
        EXPECT_EQ(bench.give(table), 2u);
        EXPECT_EQ(bench.give(table), 3u);
    }
}

TEST(HandleTables, DropTheOldestHandleWhenMoreThan2000StandBeforeAnInsert)
{
    Bench bench;
    std::vector<VBoxHandle> handles;
    FakeWorld::answer(L"IVirtualBox::get_Machines",
                      {.given = {objectArray<IMachine>(std::vector<std::wstring>(2001, L"listed"))}});
    EXPECT_EQ(bench.box.listVms(&handles), 0);
    EXPECT_EQ(bench.box.size(Table::machine), 2001u); // strictly more than 2000 is the limit
    EXPECT_EQ(FakeWorld::takeReleased(), Calls());
    VBoxHandle next = 0;
    EXPECT_EQ(bench.box.findMachine(L"vm1", &next), 0);
    EXPECT_EQ(next, 2002u);
    EXPECT_EQ(bench.box.size(Table::machine), 2001u);
    EXPECT_EQ(FakeWorld::takeReleased(), Calls{L"listed"});
    EXPECT_EQ(bench.box.saveSettings(2), 0);
    EXPECT_EQ(bench.box.saveSettings(1), 181); // an empty entry now, which counts
    EXPECT_EQ(bench.box.size(Table::machine), 2002u);

    // The cursor stands at 1: one candidate per insert, also when the caller has released it already.
    bench.box.releaseMachine(2);
    bench.box.findMachine(L"vm1", &next);
    EXPECT_EQ(bench.box.size(Table::machine), 2002u);
    bench.box.findMachine(L"vm1", &next);
    EXPECT_EQ(bench.box.size(Table::machine), 2002u);
    EXPECT_EQ(bench.box.saveSettings(3), 181);
    EXPECT_EQ(bench.box.saveSettings(4), 0);
}

TEST(HandleTables, DropAHandleDuringACallOnItWithoutDisturbingTheCall)
{
    Bench bench;
    const VBoxHandle first = bench.give(Table::machine);
    for (int i = 0; i < 2000; ++i)
        bench.box.machineTable.insert(bench.box.machineTable.newHandle(), nullptr);
    FakeWorld::answerOnce(L"IMachine::SaveSettings", {.during = [&] {
                              EXPECT_TRUE(worker().run([&] {
                                  VBoxHandle next = 0;
                                  EXPECT_EQ(bench.box.findMachine(L"vm1", &next), 0);
                              }));
                              EXPECT_EQ(FakeWorld::takeReleased(), Calls()); // the call holds it
                          }});
    EXPECT_EQ(bench.box.saveSettings(first), 0);
    EXPECT_EQ(FakeWorld::takeReleased(), Calls{L"machine#1"});
    EXPECT_EQ(bench.box.saveSettings(first), 181);
}

TEST(HandleTables, KeepOneEmptyEntryOfAnUnknownHandleUntilItIsReleased)
{
    Bench bench;
    EXPECT_EQ(bench.box.saveSettings(77), 181);
    EXPECT_EQ(bench.box.saveSettings(77), 181);
    EXPECT_EQ(bench.box.size(Table::machine), 1u);
    EXPECT_EQ(bench.box.releaseMachine(76), 0);
    EXPECT_EQ(bench.box.size(Table::machine), 1u);
    EXPECT_EQ(bench.box.releaseMachine(77), 0);
    EXPECT_EQ(bench.box.size(Table::machine), 0u);
    bench.box.saveSettings(1);
    EXPECT_EQ(bench.give(Table::machine), 1u); // overwrites the empty entry of its number
    EXPECT_EQ(bench.box.size(Table::machine), 1u);
    EXPECT_EQ(bench.box.saveSettings(1), 0);
}

TEST(HandleTables, KnowANumberOnlyInTheTableThatTheOperationNames)
{
    Bench bench;
    const VBoxHandle console = bench.give(Table::console);
    EXPECT_EQ(bench.box.saveSettings(console), 181);
    EXPECT_EQ(bench.box.closeMedium(console), 194);
    EXPECT_EQ(bench.box.consoleResume(console), 0);
    EXPECT_EQ(bench.box.removeRedirect(console, L"x"), 191);
}

} // namespace TravikTest
