// A lock that the system refuses leaves an operation as std::system_error, with nothing done that was not done before.

#include <gtest/gtest.h>

#include <stdexcept>
#include <system_error>

#include "failing_mutex.h"
#include "model.h"
#include "operation_table.h"

namespace TravikTest {
namespace {

template <class Call>
bool refused(Call call)
{
    try {
        call();
    } catch (const std::system_error& error) {
        return error.code() == std::errc::resource_deadlock_would_occur;
    }
    return false;
}

} // namespace

TEST(FailingLock, EndsEveryOperationBeforeItBegins)
{
    for (std::size_t slot = 0; slot < rows().size(); ++slot) {
        const Row& row = rows()[slot];
        if (row.kind != Row::framed && row.kind != Row::release)
            continue;
        SCOPED_TRACE(nameOf(slot));
        Bench bench;
        Invocation invocation = row.kind == Row::framed ? prepared(bench, slot) : Invocation(bench.box);
        bench.box.lastRC = 5;
        bench.records();
        {
            const FailingMutex failing(bench.box.mutex);
            EXPECT_TRUE(refused([&] {
                if (row.kind == Row::framed)
                    row.invoke(invocation);
                else
                    row.convert(bench.box, 1);
            }));
        }
        EXPECT_EQ(bench.records(), Records());
        EXPECT_EQ(FakeWorld::takeCalls(), Calls());
        EXPECT_EQ(bench.box.lastRC, 5u);
        EXPECT_TRUE(invocation.outputs == Outputs());
        EXPECT_TRUE(bench.mutexIsFree());
    }
}

TEST(FailingLock, EndsTheQuestionsForTheLastFailure)
{
    Bench bench;
    {
        const FailingMutex failing(bench.box.mutex);
        EXPECT_TRUE(refused([&] { bench.box.getVBoxError(); }));
    }
    {
        const FailingMutex failing(bench.box.mutex);
        EXPECT_TRUE(refused([&] { bench.box.getVBoxErrorMessage(); }));
    }
    EXPECT_TRUE(bench.mutexIsFree());
}

TEST(FailingLock, AfterACallHandsNothingOutAndLeavesTheMutexFree)
{
    Bench bench;
    VBoxHandle machine = 77;
    {
        const FailingMutex failing(bench.box.mutex, 1);
        EXPECT_TRUE(refused([&] { bench.box.findMachine(L"vm1", &machine); }));
    }
    EXPECT_EQ(FakeWorld::takeCalls(), Calls{L"virtualBox: IVirtualBox::FindMachine(\"vm1\"[3])"});
    EXPECT_EQ(FakeWorld::takeReleased(), Calls{L"IMachine of IVirtualBox::FindMachine"});
    EXPECT_EQ(machine, 77u);
    EXPECT_EQ(bench.box.size(Table::machine), 0u);
    EXPECT_TRUE(bench.mutexIsFree());
    EXPECT_EQ(bench.box.findMachine(L"vm1", &machine), 0u);
    EXPECT_EQ(machine, 1u);
}

TEST(FailingLock, AfterACallThatThrewTakesThePlaceOfItsException)
{
    Bench bench;
    bench.give(Table::machine);
    FakeWorld::answerOnce(L"IMachine::SaveSettings", {.during = [] { throw std::runtime_error("thrown by a call"); }});
    const FailingMutex failing(bench.box.mutex, 1);
    EXPECT_TRUE(refused([&] { bench.box.saveSettings(1); }));
    EXPECT_TRUE(bench.mutexIsFree());
}

} // namespace TravikTest
