// The worker: one thread for all calls, whatever a job or a listener does.

#include <travik/scoped_handle.h>

#ifdef _WINDOWS_
#error "the helper keeps windows.h out of the front end's sources"
#endif

#include <windows.h>
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <set>

#include "fake_vbox.h"

using namespace Travik;
using namespace std::chrono_literals;
using Step = EventLoop::Step;

namespace {

/// A fake whose calls are all made on one thread.
class WorkerTest : public testing::Test
{
protected:
    WorkerTest()
    {
        vbox.onCall = [this](const std::string&) { threads.insert(std::this_thread::get_id()); };
    }

    FakeVBox vbox;
    std::set<std::thread::id> threads;
};

/// What a listener has heard.
struct Heard
{
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<Worker::Notice> notices;

    Worker::Listener listener()
    {
        return [this](const Worker::Notice& notice) {
            const std::lock_guard<std::mutex> lock(mutex);
            notices.push_back(notice);
            changed.notify_all();
        };
    }
    bool waitFor(std::size_t count)
    {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, 20s, [&] { return notices.size() >= count; });
    }
};

ScopedEventSource source(Operations& vbox)
{
    return ScopedEventSource(vbox, 7);
}

} // namespace

TEST_F(WorkerTest, runsJobsInOrderOnItsOwnThreadAndReleasesAtTheEnd)
{
    std::vector<int> order;
    {
        Worker worker(vbox);
        auto first = worker.run([&](Operations& operations) {
            order.push_back(1);
            return operations.getDefaultMachineFolder();
        });
        auto second = worker.run([&](Operations&) { order.push_back(2); });
        EXPECT_EQ(first.get(), L"");
        second.get();
    }
    EXPECT_EQ(order, (std::vector<int>{1, 2}));
    EXPECT_EQ(vbox.calls.back(), "releaseRC()");
    ASSERT_EQ(threads.size(), 1u);
    EXPECT_NE(*threads.begin(), std::this_thread::get_id());
}

TEST_F(WorkerTest, hasAJobsExceptionInItsFutureAndGoesOn)
{
    Worker worker(vbox);
    auto failing = worker.run([](Operations&) { throw TimedOut("enough"); });
    auto next = worker.run([](Operations&) { return 3; });
    EXPECT_THROW(failing.get(), TimedOut);
    EXPECT_EQ(next.get(), 3);
}

TEST_F(WorkerTest, finishesWhatItTookBeforeItEnds)
{
    std::atomic<int> done{0};
    {
        Worker worker(vbox);
        for (int i = 0; i < 20; ++i)
            worker.run([&](Operations&) {
                Sleep(1);
                ++done;
            });
    }
    EXPECT_EQ(done, 20);
}

TEST_F(WorkerTest, takesJobsFromManyThreads)
{
    std::atomic<int> done{0};
    {
        Worker worker(vbox);
        std::vector<std::thread> callers;
        for (int i = 0; i < 4; ++i)
            callers.emplace_back([&] {
                for (int round = 0; round < 100; ++round)
                    worker.run([&](Operations&) { return ++done; }).get();
            });
        for (std::thread& caller : callers)
            caller.join();
    }
    EXPECT_EQ(done, 400);
}

TEST_F(WorkerTest, answersWindowMessagesWhileIdle)
{
    Worker worker(vbox);
    const HWND window =
        worker
            .run([](Operations&) {
                return CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
            })
            .get();
    ASSERT_NE(window, nullptr);
    DWORD_PTR answer = 0;
    EXPECT_NE(SendMessageTimeoutW(window, WM_GETTEXTLENGTH, 0, 0, SMTO_NORMAL, 10'000, &answer), 0)
        << "the thread does not answer";
    EXPECT_NE(PostMessageW(window, WM_CLOSE, 0, 0), 0);
    for (int i = 0; i < 100 && IsWindow(window); ++i)
        Sleep(50);
    EXPECT_FALSE(IsWindow(window)) << "a posted message is handed to its window";
}

TEST_F(WorkerTest, deliversEventsBetweenJobs)
{
    vbox.numbers["eventSourceEventGetType"] = {VBoxEventType::OnStateChanged, VBoxEventType::OnSharedFolderChanged};
    vbox.numbers["eventSourceStateChangedEventGetState"] = {MachineState::Paused};
    vbox.nothing["eventSourceGetEvent"] = {false, false};
    for (int i = 0; i < 10'000; ++i)
        vbox.nothing["eventSourceGetEvent"].push_back(true);
    Heard heard;
    Worker worker(vbox);
    worker.listen(source, {EventType::Any}, heard.listener()).get();
    ASSERT_TRUE(heard.waitFor(2));
    EXPECT_EQ(worker.run([](Operations&) { return 5; }).get(), 5) << "jobs go on";
    EXPECT_EQ(heard.notices[0].step, Step::Handled);
    EXPECT_EQ(heard.notices[0].event.state, State::Paused);
    EXPECT_EQ(heard.notices[1].event.type, EventType(VBoxEventType::OnSharedFolderChanged));
    EXPECT_EQ(threads.size(), 1u);
}

TEST_F(WorkerTest, tellsTheEndOfListeningOnce)
{
    vbox.fail("eventSourceGetEvent", EventSourceGetEventFail, Result::RpcServerUnavailable); // the server answers
    Heard heard;
    Worker worker(vbox);
    worker.listen(source, {EventType::Any}, heard.listener()).get();
    ASSERT_TRUE(heard.waitFor(1));
    worker.run([](Operations&) { Sleep(200); }).get();
    ASSERT_EQ(heard.notices.size(), 1u);
    EXPECT_EQ(heard.notices[0].step, Step::Ended);
    EXPECT_EQ(heard.notices[0].failure, nullptr);
}

TEST_F(WorkerTest, tellsTheFailureThatEndedListening)
{
    vbox.fail("eventSourceGetEvent", EventSourceGetEventFail, Result::RpcServerUnavailable);
    vbox.fail("getHost", GetHostFail, Result::RpcServerUnavailable);
    Heard heard;
    Worker worker(vbox);
    worker.listen(source, {EventType::Any}, heard.listener()).get();
    ASSERT_TRUE(heard.waitFor(1));
    EXPECT_THROW(std::rethrow_exception(heard.notices[0].failure), ServerGone);
}

TEST_F(WorkerTest, tellsWhyListeningCouldNotBegin)
{
    vbox.fail("eventSourceRegisterListener", EventSourceRegisterListenerFail, Result::InvalidArg);
    Worker worker(vbox);
    EXPECT_THROW(worker.listen(source, {EventType::Any}, [](const Worker::Notice&) {}).get(), SdkError);
}

TEST_F(WorkerTest, survivesAListenerThatThrows)
{
    std::atomic<int> calls{0};
    Worker worker(vbox); // an event is always there
    worker
        .listen(source, {EventType::Any},
                [&](const Worker::Notice&) {
                    ++calls;
                    throw std::runtime_error("listener");
                })
        .get();
    worker.run([](Operations&) { Sleep(300); }).get();
    EXPECT_EQ(worker.run([](Operations&) { return 5; }).get(), 5);
    EXPECT_GE(calls, 1);
    EXPECT_LE(calls, 2) << "with the event, and with its own failure";
}
