// Work behind a progress, and how it ends.
#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "base/files.h"
#include "host/cloning.h"
#include "host/deletion.h"
#include "host/importing.h"
#include "host/task.h"
#include "host_fixture.h"

namespace VBoxSim {

namespace {

/// Does what the test says, and notes that it was rolled back.
class TestTask : public Task
{
public:
    TestTask(Host& host, std::function<void()> work, std::function<void()> finish, bool* rolledBack)
        : Task(host, {L"ITest::Work", L"work", true, {{L"first", 1}, {L"second", 3}}}),
          work_(std::move(work)),
          finish_(std::move(finish)),
          rolledBack_(rolledBack)
    {}

private:
    void work() override { work_(); }
    void finish() override { finish_(); }
    void rollBack() override
    {
        *rolledBack_ = true;
        throw std::runtime_error("the way back fails, too");
    }

    const std::function<void()> work_, finish_;
    bool* const rolledBack_;
};

class TaskTest : public HostTest
{
protected:
    ProgressPtr start(
        std::function<void()> work, std::function<void()> finish = [] {})
    {
        return startTask<TestTask>(host, std::move(work), std::move(finish), &rolledBack_);
    }
    void expectEnd(const ProgressPtr& progress, ResultCode result)
    {
        host.scheduler().runDue();
        ASSERT_TRUE(progress->isCompleted());
        EXPECT_EQ(progress->result(), result);
        EXPECT_EQ(progress->percent(), 100u);
        EXPECT_EQ(rolledBack_, result != Result::ok);
    }

    bool rolledBack_ = false;
};

} // namespace

TEST_F(TaskTest, Succeeds)
{
    const ProgressPtr progress = start([] {});
    EXPECT_FALSE(progress->isCompleted());
    EXPECT_THROW(progress->result(), Failure);
    expectEnd(progress, Result::ok);
}

TEST_F(TaskTest, TellsHowFarItIsByTheWeightOfItsOperations)
{
    const ProgressPtr progress = start([] {}); // weighs 1 and 3
    progress->advance(0, 100);
    EXPECT_EQ(progress->percent(), 25u);
    progress->advance(1, 50);
    EXPECT_EQ(progress->percent(), 62u);
    progress->advance(1, 100);
    EXPECT_EQ(progress->percent(), 99u) << "100 is for the end";
    EXPECT_FALSE(progress->isCompleted());
}

TEST_F(TaskTest, IsWaitedForByOperation)
{
    const ProgressPtr progress = start([] {});
    const auto wait = [&](std::uint32_t operation) {
        const auto begin = std::chrono::steady_clock::now();
        HostLock lock = host.lock();
        progress->waitForOperation(lock, operation, 30);
        return std::chrono::steady_clock::now() - begin;
    };
    EXPECT_GE(wait(0), std::chrono::milliseconds(30)) << "it has only begun";
    progress->advance(1, 0);
    const auto begin = std::chrono::steady_clock::now();
    HostLock lock = host.lock();
    progress->waitForOperation(lock, 0, 60'000);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
    EXPECT_THROW(progress->waitForOperation(lock, 2, 0), Failure);
}

TEST_F(TaskTest, WakesWhoWaitsForAnOperationAtItsEndOnly)
{
    const ProgressPtr progress = start([] {});
    std::atomic<int> looks = 0;
    std::thread waiting([&] {
        HostLock lock = host.lock();
        host.monitor().wait(lock, 60'000, [&] { return ++looks > 0 && progress->operationNumber() == 1; });
    });
    while (looks == 0)
        std::this_thread::yield();
    for (std::uint32_t percent = 1; percent <= 50; ++percent) {
        {
            const HostLock lock = host.lock();
            progress->advance(0, percent);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_LT(looks, 5) << "a copy tells of each of its blocks";
    {
        const HostLock lock = host.lock();
        progress->advance(1, 0);
    }
    waiting.join();
}

TEST_F(TaskTest, IsWorkForTheHostWhileItRuns)
{
    bool busy = false;
    const ProgressPtr progress = start([&] { busy = host.isBusy(); });
    expectEnd(progress, Result::ok);
    EXPECT_TRUE(busy);
    EXPECT_FALSE(host.isBusy());
}

TEST_F(TaskTest, EndsWithWhateverIsThrown)
{
    expectEnd(start([] { throw Failure(Result::iprtError, L"x"); }), Result::iprtError);
    expectEnd(start([] { throw Failure(Result::notSupported, L"x"); }), Result::notSupported);
    expectEnd(start([] { throw std::bad_alloc(); }), Result::outOfMemory);
    expectEnd(start([] { throw std::logic_error("x"); }), Result::fail);
    expectEnd(start([] {}, [] { throw std::bad_alloc(); }), Result::outOfMemory);
}

TEST_F(TaskTest, EndsWhenItWasCanceled)
{
    bool finished = false;
    const ProgressPtr progress = start([] {}, [&] { finished = true; });
    progress->cancel();
    expectEnd(progress, Result::fail);
    EXPECT_FALSE(finished);
}

TEST_F(TaskTest, EndsWithAnOrderedFailure)
{
    host.faults().fail(L"ITest::Work.progress", Result::accessDenied, 1, 0);
    expectEnd(start([] {}), Result::accessDenied);
}

TEST_F(TaskTest, EndsWhenTheHostIsReset)
{
    bool finished = false;
    const ProgressPtr progress = start([] {}, [&] { finished = true; });
    host.reset();
    expectEnd(progress, Result::fail);
    EXPECT_FALSE(finished);
}

TEST_F(TaskTest, TheThreadsOutliveWhatTheirWorkThrows)
{
    host.scheduler().start([] {});
    host.scheduler().work([] { throw std::bad_alloc(); });
    {
        const HostLock lock = host.lock();
        host.scheduler().after(0, [] { throw std::bad_alloc(); });
        host.scheduler().after(0, [&] {
            rolledBack_ = true;
            host.monitor().notify();
        });
    }
    const ProgressPtr progress = start([] {});
    HostLock lock = host.lock();
    progress->wait(lock, 10000);
    EXPECT_TRUE(progress->isCompleted());
    EXPECT_TRUE(host.monitor().wait(lock, 10000, [&] { return rolledBack_; }));
}

TEST_F(TaskTest, WithoutMemoryACloneFailsAndTheNextOneSucceeds)
{
    const MachinePtr source = withDisk(L"source"), target = newMachine(L"target");
    const std::wstring before = files();
    disk.refuse(2, RefusingDisk::Refusal::Memory); // the copy of the disk
    const auto clone = [&] {
        return cloneMachine({host, source}, {host, target}, Travik::CloneMode::MachineState, {});
    };
    const ProgressPtr failed = clone();
    EXPECT_TRUE(target->busy);
    host.scheduler().runDue();
    EXPECT_EQ(failed->result(), Result::outOfMemory);
    EXPECT_FALSE(target->busy);
    disk.allowAll();
    finish(clone());
    EXPECT_EQ(target->saved.media.size(), 1u);
}

TEST_F(TaskTest, AFullDiskFailsACloneAndLeavesNothing)
{
    const MachinePtr source = withDisk(L"source"), target = newMachine(L"target");
    disk.refuse(3, RefusingDisk::Refusal::FullDisk); // the settings, after the copy
    const ProgressPtr progress = cloneMachine({host, source}, {host, target}, Travik::CloneMode::MachineState, {});
    host.scheduler().runDue();
    EXPECT_EQ(progress->result(), Result::fileError);
    EXPECT_FALSE(target->busy);
    EXPECT_TRUE(target->working.media.empty());
    EXPECT_EQ(host.media().all().size(), 1u);
}

TEST_F(TaskTest, ADeletionTellsWhatItCannotDelete)
{
    const MachinePtr machine = registered(L"box");
    unregisterMachine(host, machine, Travik::CleanupMode::Full);
    EXPECT_THROW(deleteMachine(MachineView(host, registered(L"other")), {}), Failure);
    disk.refuse(1);
    const ProgressPtr failed = deleteMachine({host, machine}, {});
    host.scheduler().runDue();
    EXPECT_EQ(failed->result(), Result::iprtError);
    disk.allowAll();
    finish(deleteMachine({host, machine}, {}));
    EXPECT_FALSE(Files::exists(Files::folderOf(machine->file)));
}

TEST_F(TaskTest, AnApplianceThatIsMissingFailsItsReading)
{
    const auto appliance = std::make_shared<ApplianceData>();
    EXPECT_THROW(finish(readAppliance(host, appliance, path(L"none.ova"))), Failure);
    EXPECT_THROW(interpretAppliance(host, *appliance), Failure);
    EXPECT_THROW(importAppliance(host, appliance, {}), Failure);
}

TEST_F(TaskTest, ManyLivesLeaveNothing)
{
    for (int life = 0; life < 10; ++life) {
        const MachinePtr machine = withDisk(L"box");
        finish(deleteMachine({host, machine}, unregisterMachine(host, machine, Travik::CleanupMode::Full)));
    }
    EXPECT_TRUE(host.machines().all().empty());
    EXPECT_TRUE(host.machines().everyOne().empty());
    EXPECT_TRUE(host.media().all().empty());
    EXPECT_FALSE(host.isBusy());
}

} // namespace VBoxSim
