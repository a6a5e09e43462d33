// Watching, over a library whose every operation the test arranges.

#include <atomic>
#include <deque>

#include "flat_fake.h"

namespace TravikTest {
namespace {

constexpr std::uint32_t dropped = TRAVIK_Result_ObjectNotFound;
constexpr std::uint32_t unavailable = TRAVIK_Result_RpcServerUnavailable;

/// What the event source hands out next.
struct NextEvent
{
    std::uint32_t type = 0; // 0: the call fails
    std::int64_t value = 0;
    std::uint32_t code = 0;
    std::uint32_t result = 0;
};

class Watching : public FlatTest
{
protected:
    void SetUp() override
    {
        act = [this](const std::string& operation) { arrange(operation); };
        open();
    }

    void come(NextEvent event)
    {
        const std::lock_guard lock(guard_);
        events_.push_back(event);
    }

    travik_watcher watch(travik_callback callback = nullptr, void* context = nullptr)
    {
        travik_watcher watcher{};
        EXPECT_EQ(travik_watch(console(1), callback, context, &watcher, 0, nullptr), 0u);
        EXPECT_NE(watcher.value, 0u);
        return watcher;
    }

    /// The next notice, as "kind state fatal code result id text".
    std::string next(travik_watcher watcher, std::uint32_t waitMs = 5'000)
    {
        travik_notice* notice = nullptr;
        const std::uint32_t code = travik_nextNotice(watcher, waitMs, &notice, nullptr);
        if (code != 0 || !notice)
            return code == 0 ? "none" : travik_codeName(code);
        const std::string text = std::to_string(notice->kind) + " " + std::to_string(notice->state) + " " +
                                 std::to_string(notice->fatal) + " " + std::to_string(notice->code) + " " + notice->id +
                                 " " + notice->text;
        travik_freeNotice(&notice);
        EXPECT_EQ(notice, nullptr);
        return text;
    }

private:
    // On the worker.
    void arrange(const std::string& operation)
    {
        if (operation != "eventSourceGetEvent")
            return;
        const std::lock_guard lock(guard_);
        fake.nothing[operation] = {events_.empty()};
        if (events_.empty())
            return;
        const NextEvent event = events_.front();
        events_.pop_front();
        if (event.type == 0) {
            fake.fail(operation, event.code, event.result);
            return;
        }
        fake.numbers["eventSourceEventGetType"] = {event.type};
        fake.numbers["eventSourceStateChangedEventGetState"] = {event.value};
        fake.numbers["eventSourceRuntimeErrorEventGetFatal"] = {event.value};
        fake.texts["eventSourceRuntimeErrorEventGetId"] = {L"DiskFull"};
        fake.texts["eventSourceRuntimeErrorEventGetMessage"] = {L"\x78C1"};
    }

    std::mutex guard_;
    std::deque<NextEvent> events_;
};

TEST_F(Watching, DeliversStatesAndRuntimeErrorsAndKeepsNothing)
{
    const travik_watcher watcher = watch();
    come({46, TRAVIK_MachineState_Paused});
    come({57, 1});
    EXPECT_EQ(next(watcher), "1 6 0 0  ");
    EXPECT_EQ(next(watcher), "2 0 1 0 DiskFull \xE7\xA3\x81");
    EXPECT_EQ(next(watcher, 20), "none");
    EXPECT_EQ(travik_unwatch(watcher), 0u);
    close();
    EXPECT_EQ(count("eventSourceEventProcessed"), 2);
    EXPECT_EQ(count("eventSourceUnregisterListener"), 1);
    EXPECT_EQ(fake.live.size(), 2u) << "the source and the listener, which the library gives back by itself";
}

TEST_F(Watching, RegistersAgainWhenTheListenerWasDroppedAndSaysSo)
{
    const travik_watcher watcher = watch();
    come({0, 0, 149, dropped});
    come({46, TRAVIK_MachineState_Running});
    EXPECT_EQ(next(watcher), "3 0 0 0  ");
    EXPECT_EQ(next(watcher), "1 5 0 0  ");
    EXPECT_EQ(count("eventSourceRegisterListener"), 2);
}

TEST_F(Watching, EndsWithTheMachine)
{
    const travik_watcher watcher = watch();
    come({46, TRAVIK_MachineState_PoweredOff});
    come({0, 0, 149, unavailable});
    EXPECT_EQ(next(watcher), "1 1 0 0  ");
    EXPECT_EQ(next(watcher).substr(0, 9), "4 0 0 149");
    EXPECT_EQ(next(watcher, 50), "none");
    const auto looks = count("eventSourceGetEvent");
    Sleep(300);
    EXPECT_EQ(count("eventSourceGetEvent"), looks) << "nobody looks after the end";
    EXPECT_EQ(travik_unwatch(watcher), 0u);
}

TEST_F(Watching, FailsWithTheConsole)
{
    fake.fail("getEventSource", TRAVIK_COM_Get_ConsoleFail, 0);
    travik_watcher watcher{77};
    Error error;
    EXPECT_EQ(travik_watch(console(1), nullptr, nullptr, &watcher, 0, error.put()), TRAVIK_COM_Get_ConsoleFail);
    EXPECT_EQ(watcher.value, 0u);
    fake.fail("eventSourceRegisterListener", TRAVIK_EventSourceRegisterListenerFail, unavailable);
    fake.fail("eventSourceUnregisterListener", TRAVIK_EventSourceUnregisterListenerFail, unavailable);
    EXPECT_EQ(travik_watch(console(1), nullptr, nullptr, &watcher, 0, error.put()),
              TRAVIK_EventSourceRegisterListenerFail);
    EXPECT_EQ(error->result, unavailable);
    EXPECT_TRUE(fake.live.empty());
    EXPECT_EQ(travik_watch(console(1), nullptr, nullptr, nullptr, 0, nullptr), TRAVIK_NullArgument);
}

TEST_F(Watching, TooManyUnreadNoticesLoseTheOldestAndSaySo)
{
    const travik_watcher watcher = watch();
    for (std::uint32_t i = 0; i < 1'100; ++i)
        come({46, TRAVIK_MachineState_Running});
    come({46, TRAVIK_MachineState_Paused});
    ASSERT_TRUE(soon([this] { return count("eventSourceEventProcessed") == 1'101; }));
    EXPECT_EQ(next(watcher), "3 0 0 0  ");
    int count = 1;
    std::string last;
    for (std::string notice = next(watcher, 0); notice != "none"; notice = next(watcher, 0)) {
        ++count;
        last = notice;
    }
    EXPECT_EQ(count, 1'000);
    EXPECT_EQ(last, "1 6 0 0  ");
}

TEST_F(Watching, ANoticeWakesWhoWaitsForIt)
{
    const travik_watcher watcher = watch();
    std::thread later([this] {
        Sleep(100);
        come({46, TRAVIK_MachineState_Running});
    });
    EXPECT_EQ(next(watcher), "1 5 0 0  ");
    later.join();
    std::thread ender([&] {
        Sleep(50);
        travik_unwatch(watcher);
    });
    EXPECT_EQ(next(watcher, TRAVIK_NO_DEADLINE), "WrongHandle");
    ender.join();
    EXPECT_EQ(travik_unwatch(watcher), 0u);
    EXPECT_EQ(travik_nextNotice(watcher, 0, nullptr, nullptr), TRAVIK_NullArgument);
}

TEST_F(Watching, TheEndWakesWhoWaitsForANotice)
{
    const travik_watcher watcher = watch();
    std::thread closer([] {
        Sleep(50);
        EXPECT_EQ(travik_close(0, nullptr), 0u);
    });
    EXPECT_EQ(next(watcher, TRAVIK_NO_DEADLINE), "Closed");
    closer.join();
}

/// What a callback does and has seen.
struct Caller
{
    std::function<void()> act;
    std::atomic<int> begun = 0;
    std::atomic<int> done = 0;
    std::atomic<DWORD> thread = 0;

    static void callback(void* context, const travik_notice*)
    {
        auto& self = *static_cast<Caller*>(context);
        self.thread = GetCurrentThreadId();
        ++self.begun;
        if (self.act)
            self.act();
        ++self.done;
    }
};

TEST_F(Watching, ACallbackMayCallBackIn)
{
    Caller caller;
    std::uint32_t code = 77;
    caller.act = [&] { code = travik_getVmName(machine(1), nullptr, 0, nullptr); };
    const travik_watcher watcher = watch(&Caller::callback, &caller);
    come({46, TRAVIK_MachineState_Running});
    ASSERT_TRUE(soon([&] { return caller.done == 1; }));
    EXPECT_EQ(code, 0u);
    travik_notice* notice = nullptr;
    EXPECT_EQ(travik_nextNotice(watcher, 0, &notice, nullptr), TRAVIK_WrongHandle) << "it has a callback";
    travik_unwatch(watcher);
}

TEST_F(Watching, NoCallbackRunsAfterItsWatchHasEnded)
{
    Caller caller;
    caller.act = [] { Sleep(100); };
    const travik_watcher watcher = watch(&Caller::callback, &caller);
    for (int i = 0; i < 50; ++i)
        come({46, TRAVIK_MachineState_Running});
    ASSERT_TRUE(soon([&] { return caller.begun > 0; }));
    EXPECT_EQ(travik_unwatch(watcher), 0u);
    const int begun = caller.begun;
    EXPECT_EQ(caller.done, begun);
    Sleep(200);
    EXPECT_EQ(caller.begun, begun);
}

TEST_F(Watching, ACallbackMayEndItsWatch)
{
    Caller caller;
    travik_watcher watcher{};
    caller.act = [&] { EXPECT_EQ(travik_unwatch(watcher), 0u); };
    watcher = watch(&Caller::callback, &caller);
    come({46, TRAVIK_MachineState_Running});
    come({46, TRAVIK_MachineState_Running});
    ASSERT_TRUE(soon([&] { return caller.done == 1; }));
    Sleep(150);
    EXPECT_EQ(caller.begun, 1);
}

TEST_F(Watching, ACallbackMayEndEverything)
{
    Caller caller;
    std::uint32_t code = 77;
    caller.act = [&] { code = travik_close(0, nullptr); };
    watch(&Caller::callback, &caller);
    come({46, TRAVIK_MachineState_Running});
    come({46, TRAVIK_MachineState_Running});
    ASSERT_TRUE(soon([&] { return caller.done == 1; }));
    EXPECT_EQ(code, 0u);
    EXPECT_EQ(travik_close(0, nullptr), TRAVIK_Closed);
    act = nullptr;
    open();
    EXPECT_EQ(caller.begun, 1);
}

TEST_F(Watching, TheEndWaitsForACallback)
{
    Caller caller;
    caller.act = [] { Sleep(150); };
    watch(&Caller::callback, &caller);
    come({46, TRAVIK_MachineState_Running});
    ASSERT_TRUE(soon([&] { return caller.begun == 1; }));
    EXPECT_EQ(travik_close(20, nullptr), TRAVIK_Deadline);
    EXPECT_EQ(travik_close(0, nullptr), 0u);
    EXPECT_EQ(caller.done, 1);
}

TEST_F(Watching, TheNoticesOfAllWatchesComeOneAfterTheOther)
{
    std::atomic<int> inside = 0;
    std::atomic<bool> overlapped = false;
    Caller callers[2];
    for (Caller& caller : callers) {
        caller.act = [&] {
            overlapped = overlapped || ++inside > 1;
            Sleep(5);
            --inside;
        };
        watch(&Caller::callback, &caller);
    }
    // More than one callback has time for, until both watches have met one.
    for (int i = 0; i < 5'000 && (callers[0].done == 0 || callers[1].done == 0); ++i) {
        come({46, TRAVIK_MachineState_Running});
        Sleep(1);
    }
    EXPECT_GT(callers[0].done, 0);
    EXPECT_GT(callers[1].done, 0);
    close();
    EXPECT_FALSE(overlapped);
    EXPECT_NE(callers[0].thread, GetCurrentThreadId());
}

} // namespace
} // namespace TravikTest
