#include <comdef.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <stdexcept>

#include "com_memory.h"
#include "model.h"
#include "names.h"
#include "worker.h"

// What holds for every operation alike, driven by the table of operations.

namespace TravikTest {
namespace {

/// Calls the function with the slot of every operation of a kind, under the operation's name.
template <class Function>
void forEach(Row::Kind kind, Function function)
{
    for (std::size_t slot = 0; slot < rows().size(); ++slot) {
        if (rows()[slot].kind != kind)
            continue;
        SCOPED_TRACE(nameOf(slot));
        function(slot, rows()[slot]);
    }
}

/// Calls the function with every step of one type.
template <class StepType, class Function>
void forEachStep(Function function)
{
    forEach(Row::framed, [&](std::size_t slot, const Row& row) {
        for (std::size_t i = 0; i < row.steps.size(); ++i) {
            if (const auto* step = std::get_if<StepType>(&row.steps[i])) {
                SCOPED_TRACE("step " + std::to_string(i));
                function(slot, i, *step);
            }
        }
    });
}

/// The failures that every call is tried with: all known ones, one that is not known, and the one nearest to success.
std::vector<HRESULT> failures()
{
    std::vector<HRESULT> all;
    for (const NamedResult& known : knownResults())
        all.push_back(static_cast<HRESULT>(known.result));
    all.push_back(static_cast<HRESULT>(0x80070002));
    all.push_back(static_cast<HRESULT>(0xFFFFFFFF));
    return all;
}

/// Runs one kind of deviation with every failure.
void runWithEveryFailure(std::size_t slot, std::size_t step, Deviation::Kind kind)
{
    for (const HRESULT result : failures()) {
        SCOPED_TRACE(hexadecimalText(static_cast<std::uint32_t>(result)));
        runAndCompare(slot, {.kind = kind, .step = step, .result = result});
    }
}

/// Texts that go in or out unchanged, whatever they hold.
std::vector<std::wstring> unusualTexts()
{
    return {L"",
            std::wstring(L"a\0b\0", 4),
            std::wstring(32000, L'x'),
            L"\xD800 lone high",
            L"lone low \xDFFF",
            L"\x4E2D\x6587 \xD83C\xDFAE",
            L"two\nlines | and %s {0} \""};
}

/// The methods that a row calls, those of the waits included.
std::vector<std::wstring> methodsOf(const Row& row)
{
    std::set<std::wstring> methods;
    for (const Step& step : row.steps) {
        if (const auto* call = std::get_if<CallStep>(&step))
            methods.insert(methodOf(*call));
        if (std::holds_alternative<WaitStep>(step))
            methods.insert({L"IProgress::get_Completed", L"IProgress::get_ResultCode"});
    }
    return {methods.begin(), methods.end()};
}

} // namespace

TEST(OperationTable, HasARowForEveryOperationAndKnowsTheirOrder)
{
    ASSERT_EQ(rows().size(), operationCount);
    EXPECT_EQ(nameOf(0), L"setLogPath");
    EXPECT_EQ(nameOf(5), L"openMedium");
    EXPECT_EQ(nameOf(82), L"listVms");
    EXPECT_EQ(nameOf(83), L"toSdkMachineState");
    EXPECT_EQ(nameOf(117), L"releaseMedium");
    EXPECT_EQ(nameOf(operationCount - 1), L"restoreVmDisk"); // behind the interface's own
    std::array<std::size_t, 4> kinds = {};
    std::set<std::wstring> special;
    for (std::size_t slot = 0; slot < operationCount; ++slot) {
        ++kinds[rows()[slot].kind];
        if (rows()[slot].kind == Row::special)
            special.insert(nameOf(slot));
    }
    EXPECT_EQ(kinds[Row::release], tableCount);
    EXPECT_EQ(kinds[Row::converter], 104u - 83u + 1u); // their slots
    EXPECT_EQ(special, (std::set<std::wstring>{L"setLogPath", L"createVmName", L"resetComComponent", L"releaseRC",
                                               L"getVBoxError", L"getVBoxErrorMessage"}));
    EXPECT_EQ(kinds[Row::framed] + special.size() + tableCount + kinds[Row::converter], operationCount);
}

TEST(EveryOperation, SucceedsWithItsArgumentsCallsRecordsAndOutputs)
{
    forEach(Row::framed, [](std::size_t slot, const Row&) { runAndCompare(slot, {}); });
}

TEST(EveryOperation, ReportsEveryFailureOfEveryCall)
{
    forEachStep<CallStep>([](std::size_t slot, std::size_t step, const CallStep&) {
        runWithEveryFailure(slot, step, Deviation::comResult);
    });
}

TEST(EveryOperation, ReportsEveryFailureOfAProgressItWaitsFor)
{
    forEachStep<WaitStep>([](std::size_t slot, std::size_t step, const WaitStep&) {
        runWithEveryFailure(slot, step, Deviation::progressResult);
    });
}

TEST(EveryOperation, ReportsEveryFailureOfAWait)
{
    forEachStep<WaitStep>([](std::size_t slot, std::size_t step, const WaitStep&) {
        runWithEveryFailure(slot, step, Deviation::waitResult);
    });
}

TEST(EveryOperation, ReleasesWhatAFailingCallHandsOut)
{
    forEachStep<CallStep>([](std::size_t slot, std::size_t step, const CallStep& call) {
        if (!call.tolerated)
            runAndCompare(slot, {.kind = Deviation::comResult, .step = step, .result = E_FAIL, .givesOnFailure = true});
    });
}

TEST(EveryOperation, TakesAPositiveResultForSuccess)
{
    forEachStep<CallStep>([](std::size_t slot, std::size_t step, const CallStep&) {
        runAndCompare(slot, {.kind = Deviation::comResult, .step = step, .result = S_FALSE});
    });
    forEachStep<WaitStep>([](std::size_t slot, std::size_t step, const WaitStep&) {
        runAndCompare(slot, {.kind = Deviation::progressResult, .step = step, .result = 1});
        runAndCompare(slot, {.kind = Deviation::waitResult, .step = step, .result = 1});
    });
}

// Success without an object leaves no trace where the object is required, as the result is 0; a positive result does.
TEST(EveryOperation, TellsASuccessWithoutAnObject)
{
    forEachStep<CallStep>([](std::size_t slot, std::size_t step, const CallStep& call) {
        if (call.gives != Gives::required && call.gives != Gives::optional)
            return;
        runAndCompare(slot, {.kind = Deviation::comGivesNull, .step = step, .result = S_OK});
        runAndCompare(slot, {.kind = Deviation::comGivesNull, .step = step, .result = S_FALSE});
    });
}

TEST(EveryOperation, HandsNothingOutWithoutOutputs)
{
    forEach(Row::framed, [](std::size_t slot, const Row& row) {
        if (row.hasOutputs())
            runAndCompare(slot, {.withOutputs = false});
    });
}

TEST(EveryOperation, RefusesHandlesThatAreNotInTheirTable)
{
    forEachStep<FindStep>([](std::size_t slot, std::size_t step, const FindStep& find) {
        std::size_t index = 0;
        for (std::size_t i = 0; i < step; ++i)
            index += std::holds_alternative<FindStep>(rows()[slot].steps[i]) ? 1 : 0;
        const std::array<const char*, 5> cases = {"zero", "largest", "never issued", "released", "of another table"};
        for (std::size_t number = 0; number < cases.size(); ++number) {
            SCOPED_TRACE(cases[number]);
            Bench bench;
            Invocation invocation = prepared(bench, slot);
            const Table other = find.table == Table::medium ? Table::host : Table::medium;
            VBoxHandle ofAnotherTable = 0;
            for (int i = 0; i < 5; ++i)
                ofAnotherTable = bench.give(other);
            const VBoxHandle released = bench.give(find.table);
            bench.box.release(find.table, released);
            const VBoxHandle handles[] = {0, 0xFFFFFFFF, 1000, released, ofAnotherTable};
            invocation.handles[index] = handles[number];

            // It leaves exactly one empty entry, however often it is asked for.
            const auto sizes = bench.sizes();
            runAndCompare(bench, slot, invocation, {.kind = Deviation::unknownHandle, .step = step});
            const auto code = static_cast<std::uint32_t>(rows()[slot].invoke(invocation));
            EXPECT_EQ(code, missingCode(find.table));
            EXPECT_EQ(bench.sizes()[static_cast<std::size_t>(find.table)],
                      sizes[static_cast<std::size_t>(find.table)] + 1);
            EXPECT_EQ(bench.box.release(find.table, handles[number]), 0);
            EXPECT_EQ(bench.sizes(), sizes);
        }
    });
}

TEST(EveryOperation, IssuesAscendingHandlesAndNoneOnFailure)
{
    forEach(Row::framed, [](std::size_t slot, const Row& row) {
        if (row.handsOut.empty() || row.handsOutList)
            return;
        Bench bench;
        Invocation invocation = prepared(bench, slot);
        const Table table = row.handsOut.front();
        const auto first = static_cast<VBoxHandle>(bench.box.size(table) + 1);
        ASSERT_EQ(row.invoke(invocation), 0);
        EXPECT_EQ(invocation.outputs.number, first);
        bench.box.release(table, first);
        invocation.withOutputs = false;
        ASSERT_EQ(row.invoke(invocation), 0);
        invocation.withOutputs = true;
        const auto& call = *std::find_if(row.steps.rbegin(), row.steps.rend(),
                                         [](const Step& step) { return std::holds_alternative<CallStep>(step); });
        FakeWorld::changeOnce(methodOf(std::get<CallStep>(call)), [](Answer& answer) { answer.result = E_FAIL; });
        ASSERT_NE(row.invoke(invocation), 0);
        ASSERT_EQ(row.invoke(invocation), 0);
        EXPECT_EQ(invocation.outputs.number, first + 1);
    });
}

TEST(EveryOperation, ReportsItsFileBeforeAnythingElse)
{
    forEachStep<FileStep>([](std::size_t slot, std::size_t step, const FileStep&) {
        runAndCompare(slot, {.kind = Deviation::fileAnswersNo, .step = step});
        if (step != 0)
            return;
        // Not even the root objects are asked for.
        Bench bench(Bench::withoutRoots);
        Invocation invocation = prepared(bench, slot);
        deviate(bench, slot, {.kind = Deviation::fileAnswersNo, .step = step});
        runAndCompare(bench, slot, invocation, {.kind = Deviation::fileAnswersNo, .step = step});
        EXPECT_EQ(bench.box.virtualBox, nullptr);
    });
}

TEST(EveryOperation, CreatesTheRootObjectsOnlyWhereItChecksThem)
{
    forEachStep<ReadyStep>([](std::size_t slot, std::size_t step, const ReadyStep&) {
        runAndCompare(slot, {.kind = Deviation::freshRoots, .step = step});
    });
    forEach(Row::framed, [](std::size_t slot, const Row& row) {
        const auto isReady = [](const Step& step) {
            return std::holds_alternative<ReadyStep>(step) || std::holds_alternative<SessionStep>(step);
        };
        if (std::any_of(row.steps.begin(), row.steps.end(), isReady))
            return;
        Bench bench(Bench::withoutRoots);
        Invocation invocation = prepared(bench, slot);
        runAndCompare(bench, slot, invocation, {});
        EXPECT_EQ(bench.box.virtualBox, nullptr);
        EXPECT_EQ(bench.box.session, nullptr);
    });
}

TEST(EveryOperation, ChecksReadinessInExactlyTheseOperations)
{
    std::set<std::wstring> checking;
    forEachStep<ReadyStep>([&](std::size_t slot, std::size_t, const ReadyStep&) { checking.insert(nameOf(slot)); });
    checking.insert(L"resetComComponent"); // has tests of its own
    EXPECT_EQ(checking, (std::set<std::wstring>{L"openMachine", L"findMachine", L"registerMachine", L"listVms",
                                                L"composeMachineFilename", L"getDefaultMachineFolder",
                                                L"setDefaultMachineFolder", L"createMachine", L"createMutableMachine",
                                                L"getImportOvaVmName", L"importOva", L"unlockMachine", L"getConsole",
                                                L"getHost", L"openMedium", L"initComComponent", L"resetComComponent"}));
}

// The creation's failure stays to be read; the operation adds no record of its own.
TEST(EveryOperation, ReturnsThatItIsNotReadyWithoutTheRootItUses)
{
    forEachStep<ReadyStep>([](std::size_t slot, std::size_t step, const ReadyStep&) {
        runAndCompare(slot, {.kind = Deviation::noVirtualBox, .step = step, .result = REGDB_E_CLASSNOTREG});
        runAndCompare(slot, {.kind = Deviation::noSession, .step = step, .result = E_ACCESSDENIED});
    });
}

TEST(EveryOperation, PassesAMissingSessionOnWhereItChecksNoReadiness)
{
    std::set<std::wstring> passing;
    forEachStep<SessionStep>([&](std::size_t slot, std::size_t step, const SessionStep&) {
        passing.insert(nameOf(slot));
        runAndCompare(slot, {.kind = Deviation::noSession, .step = step});
    });
    EXPECT_EQ(passing, (std::set<std::wstring>{L"launchVMProcess", L"lockMachine"}));
}

TEST(EveryOperation, PassesUnusualTextsInUnchanged)
{
    forEach(Row::framed, [](std::size_t slot, const Row& row) {
        if (row.textsArePaths)
            return;
        for (std::size_t i = 0; i < row.texts.size(); ++i) {
            for (const std::wstring& text : unusualTexts()) {
                SCOPED_TRACE(rendered(text.substr(0, 20)));
                Bench bench;
                Invocation invocation = prepared(bench, slot);
                invocation.texts[i] = text;
                runAndCompare(bench, slot, invocation, {});
            }
        }
    });
}

TEST(EveryOperation, HandsUnusualTextsOutUnchanged)
{
    int count = 0;
    forEach(Row::framed, [&count](std::size_t slot, const Row& row) {
        const auto* result = row.steps.empty() ? nullptr : std::get_if<ResultStep>(&row.steps.back());
        const auto* call = !result ? nullptr : std::get_if<CallStep>(&row.steps[row.steps.size() - 2]);
        if (!call || !result->text.ends_with(L"text of " + methodOf(*call)))
            return;
        ++count;
        for (const std::wstring& text : unusualTexts()) {
            SCOPED_TRACE(rendered(text.substr(0, 20)));
            Bench bench;
            Invocation invocation = prepared(bench, slot);
            FakeWorld::change(methodOf(*call), [&](Answer& answer) { answer.given = {text}; });
            runAndCompare(bench, slot, invocation, {.given = text});
        }
    });
    EXPECT_EQ(count, 11); // all that hand out one text of one call
}

TEST(EveryOperation, MakesItsComStringsInTheOrderOfItsArguments)
{
    forEach(Row::framed, [](std::size_t slot, const Row& row) {
        Bench bench;
        Invocation invocation = prepared(bench, slot);
        ComMemory::takeAllocatedTexts();
        ASSERT_EQ(row.invoke(invocation), 0);
        const auto made = ComMemory::takeAllocatedTexts();
        EXPECT_EQ(made, row.comTexts == 0 ? std::vector<std::wstring>() : invocation.texts);
        EXPECT_EQ(static_cast<int>(made.size()), row.comTexts);
    });
}

TEST(EveryOperation, LeavesByAnExceptionWhenAComStringCannotBeMade)
{
    forEach(Row::framed, [](std::size_t slot, const Row& row) {
        for (int number = 1; number <= row.comTexts; ++number) {
            SCOPED_TRACE("string " + std::to_string(number));
            Bench bench;
            Invocation invocation = prepared(bench, slot);
            const auto sizes = bench.sizes();
            const long references = FakeWorld::references();
            const std::size_t wholeCalls = expected(slot, invocation, {}).calls.size();
            ComMemory::failText(number);
            try {
                row.invoke(invocation);
                ADD_FAILURE() << "no exception";
            } catch (const _com_error& error) {
                EXPECT_EQ(error.Error(), E_OUTOFMEMORY);
            }
            EXPECT_TRUE(bench.mutexIsFree());
            EXPECT_LT(FakeWorld::takeCalls().size(), wholeCalls);
            EXPECT_TRUE(invocation.outputs == Outputs());
            EXPECT_EQ(bench.sizes(), sizes);
            EXPECT_EQ(FakeWorld::references(), references);
            EXPECT_EQ(ComMemory::liveTexts(), 0u);
            EXPECT_EQ(ComMemory::liveArrays(), 0u);
        }
    });
}

// A reader of the log finds the failing step by its line, not the beginning of the operation.
TEST(EveryOperation, ShowsTheLineOfTheStepThatFails)
{
    const auto expectOwnLine = [](std::size_t slot, std::size_t step, Deviation deviation) {
        deviation.step = step;
        Bench bench;
        Invocation invocation = prepared(bench, slot);
        deviate(bench, slot, deviation);
        if (deviation.kind == Deviation::unknownHandle)
            bench.box.with(std::get<FindStep>(rows()[slot].steps[step]).table, [](auto& table) { table.releaseAll(); });
        bench.records();
        const auto code = static_cast<std::uint32_t>(rows()[slot].invoke(invocation));
        std::vector<int> lines;
        const Records records = bench.log.take(lines);
        ASSERT_GE(records.size(), 2u);
        EXPECT_EQ(records.front(), info(nameOf(slot), filled(rows()[slot].arguments, invocation, false)));
        const auto failure = std::find_if(records.begin() + 1, records.end(), [](const std::string& record) {
            return record.starts_with("[ERROR]") || record.find("# [ignore]") != std::string::npos;
        });
        ASSERT_NE(failure, records.end());
        const int line = lines[static_cast<std::size_t>(failure - records.begin())];
        EXPECT_GT(line, 0);
        EXPECT_NE(line, lines.front()) << *failure;
        if (code != 0) {
            EXPECT_NE(bench.box.lastErrorText.find(L"):" + std::to_wstring(line) + L" "), std::wstring::npos)
                << logged(bench.box.lastErrorText) << " shows another line than " << line;
        }
    };
    forEachStep<CallStep>([&](std::size_t slot, std::size_t step, const CallStep&) {
        expectOwnLine(slot, step, {.kind = Deviation::comResult, .result = E_FAIL});
    });
    forEachStep<WaitStep>([&](std::size_t slot, std::size_t step, const WaitStep&) {
        expectOwnLine(slot, step, {.kind = Deviation::progressResult, .result = E_FAIL});
    });
    forEachStep<FindStep>([&](std::size_t slot, std::size_t step, const FindStep&) {
        expectOwnLine(slot, step, {.kind = Deviation::unknownHandle});
    });
    forEachStep<FileStep>([&](std::size_t slot, std::size_t step, const FileStep&) {
        expectOwnLine(slot, step, {.kind = Deviation::fileAnswersNo});
    });
}

TEST(EveryOperation, ShowsTheLineOfItsResult)
{
    forEachStep<ResultStep>([](std::size_t slot, std::size_t, const ResultStep&) {
        Bench bench;
        Invocation invocation = prepared(bench, slot);
        bench.records();
        EXPECT_EQ(rows()[slot].invoke(invocation), 0u);
        std::vector<int> lines;
        bench.log.take(lines);
        ASSERT_GE(lines.size(), 2u);
        EXPECT_NE(lines.back(), lines.front());
    });
}

TEST(EveryOperation, LetsAnotherThreadRunAWholeOperationDuringEveryCall)
{
    forEach(Row::framed, [](std::size_t slot, const Row& row) {
        for (const std::wstring& method : methodsOf(row)) {
            SCOPED_TRACE(method);
            if (testing::Test::HasFailure())
                return; // each one that fails costs seconds
            Bench bench;
            Invocation invocation = prepared(bench, slot);
            const VBoxHandle machine = bench.give(Table::machine);
            int whole = 0;
            FakeWorld::change(method, [&](Answer& answer) {
                answer.during = [&] {
                    const bool ended = worker().run([&] {
                        // Another call than the one that is under way.
                        const bool busy = method == L"IMachine::SaveSettings";
                        const auto code =
                            busy ? bench.box.setMachineMemory(machine, 1) : bench.box.saveSettings(machine);
                        whole += code == 0 ? 1 : 0;
                    });
                    EXPECT_TRUE(ended) << "the mutex is held during the call";
                };
            });
            const Expected expects = expected(slot, invocation, {});
            EXPECT_EQ(row.invoke(invocation), 0);
            ASSERT_TRUE(worker().drain());
            EXPECT_GE(whole, 1);
            // Its own calls are all made, in their order.
            Calls own;
            for (const std::wstring& call : FakeWorld::takeCalls()) {
                if (call.find(L"machine#" + std::to_wstring(machine) + L":") != 0)
                    own.push_back(call);
            }
            EXPECT_EQ(own, expects.calls);
            EXPECT_TRUE(bench.mutexIsFree());
        }
    });
}

TEST(EveryOperation, IsNotDisturbedWhenItsObjectsAreReleasedDuringACall)
{
    forEach(Row::framed, [](std::size_t slot, const Row& row) {
        for (const std::wstring& method : methodsOf(row)) {
            SCOPED_TRACE(method);
            Bench bench;
            Invocation invocation = prepared(bench, slot);
            FakeWorld::changeOnce(method, [&](Answer& answer) {
                answer.during = [&] {
                    EXPECT_TRUE(worker().run([&] {
                        std::size_t next = 0;
                        for (const Step& step : row.steps) {
                            if (const auto* find = std::get_if<FindStep>(&step))
                                bench.box.release(find->table, invocation.handle(next++));
                        }
                        bench.box.releaseRC();
                    }));
                };
            });
            const Expected expects = expected(slot, invocation, {});
            EXPECT_EQ(row.invoke(invocation), 0);
            EXPECT_EQ(FakeWorld::takeCalls(), expects.calls);
            EXPECT_EQ(bench.box.virtualBox, nullptr);
            bench.finish(); // counts the references and any use of a dead object
        }
    });
}

// The objects that an operation looked up go back under the lock, also when the exception of a call takes them along.
TEST(EveryOperation, TakesTheMutexBackWhenACallThrows)
{
    forEachStep<CallStep>([](std::size_t slot, std::size_t step, const CallStep& call) {
        if (methodOf(call).find(L"QueryInterface") != std::wstring::npos)
            return; // ComPtr asks, and lets nothing through
        Bench bench;
        Invocation invocation = prepared(bench, slot);
        std::vector<bool> lockedAtRelease;
        FakeWorld::changeOnce(methodOf(call), [&](Answer& answer) {
            answer.during = [&] {
                EXPECT_TRUE(bench.mutexIsFree());
                // From here on the operation's references are the last ones.
                EXPECT_TRUE(worker().run([&] {
                    std::size_t next = 0;
                    for (const Step& earlier : rows()[slot].steps) {
                        if (const auto* find = std::get_if<FindStep>(&earlier))
                            bench.box.release(find->table, invocation.handle(next++));
                    }
                    bench.box.releaseRC();
                }));
                FakeWorld::onLastRelease(
                    [&] { EXPECT_TRUE(worker().run([&] { lockedAtRelease.push_back(!bench.mutexIsFree()); })); });
                throw std::runtime_error("thrown by a call");
            };
        });
        EXPECT_THROW(rows()[slot].invoke(invocation), std::runtime_error);
        FakeWorld::onLastRelease({});
        EXPECT_FALSE(lockedAtRelease.empty()) << "nothing was released on the way out of step " << step;
        EXPECT_EQ(std::count(lockedAtRelease.begin(), lockedAtRelease.end(), false), 0);
        EXPECT_TRUE(bench.mutexIsFree());
    });
}

TEST(EveryConverter, TakesNoLockAndLeavesNoTrace)
{
    forEach(Row::converter, [](std::size_t, const Row& row) {
        Bench bench;
        bench.box.lastRC = 5;
        bench.box.lastErrorText = L"kept";
        bench.box.argStream.str(L"kept too");
        std::uint32_t answer = 0;
        {
            const std::lock_guard lock(bench.box.mutex);
            EXPECT_TRUE(worker().run([&] { answer = row.convert(bench.box, 1); }));
        }
        EXPECT_TRUE(worker().drain());
        EXPECT_EQ(row.convert(bench.box, 4000000000), row.convert(bench.box, 4000000000));
        EXPECT_EQ(bench.box.lastRC, 5u);
        EXPECT_EQ(bench.box.lastErrorText, L"kept");
        EXPECT_EQ(bench.box.argStream.str(), L"kept too");
        EXPECT_EQ(bench.records(), Records());
    });
}

TEST(EveryRelease, AlwaysReturnsZeroAndWritesNothing)
{
    forEach(Row::release, [](std::size_t, const Row& row) {
        Bench bench;
        const VBoxHandle handle = bench.give(row.table);
        bench.box.lastRC = 5;
        bench.box.lastErrorText = L"kept";
        bench.box.argStream.str(L"kept too");
        for (const VBoxHandle unknown : {0u, 77u, 0xFFFFFFFFu})
            EXPECT_EQ(row.convert(bench.box, unknown), 0u);
        EXPECT_EQ(bench.box.size(row.table), 1u);
        EXPECT_EQ(row.convert(bench.box, handle), 0u);
        EXPECT_EQ(bench.box.size(row.table), 0u);
        EXPECT_EQ(FakeWorld::takeReleased(), Calls{tableName(row.table) + L"#1"});
        EXPECT_EQ(row.convert(bench.box, handle), 0u);
        EXPECT_EQ(bench.give(row.table), 2u); // numbers are not used again
        EXPECT_EQ(bench.box.lastRC, 5u);
        EXPECT_EQ(bench.box.lastErrorText, L"kept");
        EXPECT_EQ(bench.box.argStream.str(), L"kept too");
        EXPECT_EQ(bench.records(), Records());
        EXPECT_EQ(FakeWorld::takeCalls(), Calls());
        EXPECT_TRUE(bench.mutexIsFree());
    });
}

TEST(EveryRelease, WaitsForTheMutex)
{
    forEach(Row::release, [](std::size_t, const Row& row) {
        Bench bench;
        const VBoxHandle handle = bench.give(row.table);
        {
            const std::lock_guard lock(bench.box.mutex);
            EXPECT_FALSE(worker().run([&] { row.convert(bench.box, handle); }, std::chrono::milliseconds(20)));
            EXPECT_EQ(bench.box.size(row.table), 1u);
        }
        EXPECT_TRUE(worker().drain());
        EXPECT_EQ(bench.box.size(row.table), 0u);
    });
}

} // namespace TravikTest
