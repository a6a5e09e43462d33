// Waits: deadlines, the progress wait, connecting.

#include <gtest/gtest.h>

#include "fake_vbox.h"

using namespace Travik;
using std::chrono::milliseconds;

TEST(DeadlineTest, passesAndTellsWhatIsLeft)
{
    const Deadline past(milliseconds(-5));
    EXPECT_TRUE(past.passed());
    EXPECT_EQ(past.left(milliseconds(100)), milliseconds(0));

    const Deadline soon(milliseconds(60000));
    EXPECT_FALSE(soon.passed());
    EXPECT_EQ(soon.left(milliseconds(100)), milliseconds(100));
    EXPECT_GT(soon.left(milliseconds(120000)), milliseconds(1000));
    EXPECT_LE(soon.left(milliseconds(120000)), milliseconds(60001));

    EXPECT_FALSE(Deadline::never().passed());
    EXPECT_EQ(Deadline::never().left(milliseconds(250)), milliseconds(250));
}

TEST(DeadlineTest, leavesNothingOnlyWhenItHasPassed)
{
    for (int round = 0; round < 20; ++round) {
        const Deadline deadline(milliseconds(3));
        while (deadline.left(milliseconds(100)) > milliseconds(0)) {
        }
        EXPECT_TRUE(deadline.passed()) << "a wait for what is left would be one too short";
    }
}

TEST(DeadlineTest, isMadeOfAnyDuration)
{
    const Deadline minute = std::chrono::minutes(1);
    EXPECT_GT(minute.left(milliseconds(120000)), milliseconds(50000));
    EXPECT_FALSE(Deadline(std::chrono::duration<double>(60.0)).passed());
    EXPECT_FALSE(Deadline(std::chrono::hours::max()).passed()) << "what does not fit is no limit";
    EXPECT_TRUE(Deadline(std::chrono::duration<double>(-0.5)).passed());
}

TEST(WaitFor, waitsUntilTheProgressIsComplete)
{
    FakeVBox vbox;
    vbox.numbers["getProgressCompleted"] = {0, 0, 1};
    int ticks = 0;
    Details::waitFor(vbox, 9, Deadline(milliseconds(60000)), [&] { ++ticks; });
    EXPECT_EQ(ticks, 2);
    EXPECT_EQ(vbox.calls, (std::vector<std::string>{"getProgressCompleted(9)", "progressWaitForCompletion(9, 200)",
                                                    "getProgressCompleted(9)", "progressWaitForCompletion(9, 200)",
                                                    "getProgressCompleted(9)", "getProgressResultCode(9)"}));
}

TEST(WaitFor, throwsTheProgressesOwnError)
{
    FakeVBox vbox;
    vbox.numbers["getProgressCompleted"] = {1};
    vbox.numbers["getProgressResultCode"] = {static_cast<std::int32_t>(Result::Fail)};
    vbox.texts["getProgressErrorInfo"] = {L"VT-x is not available"};
    try {
        Details::waitFor(vbox, 9, Deadline(milliseconds(1000)));
        FAIL() << "nothing was thrown";
    } catch (const ProgressError& error) {
        EXPECT_EQ(error.code(), 121u);
        EXPECT_EQ(error.result(), Result::Fail);
        EXPECT_EQ(error.text(), L"VT-x is not available");
        EXPECT_EQ(error.operation(), L"");
    }
}

TEST(WaitFor, takesAPositiveResultAsSuccess)
{
    FakeVBox vbox;
    vbox.numbers["getProgressCompleted"] = {1};
    vbox.numbers["getProgressResultCode"] = {1};
    EXPECT_NO_THROW(Details::waitFor(vbox, 9, Deadline(milliseconds(1000))));
    EXPECT_EQ(vbox.count("getProgressErrorInfo"), 0);
}

TEST(WaitFor, givesUpAtTheDeadline)
{
    FakeVBox vbox; // never complete
    EXPECT_THROW(Details::waitFor(vbox, 9, Deadline(milliseconds(30))), TimedOut);
    EXPECT_GE(vbox.count("progressWaitForCompletion"), 1);
    EXPECT_EQ(vbox.count("getProgressResultCode"), 0);
}

TEST(WaitFor, looksOnceEvenWithoutTime)
{
    FakeVBox vbox;
    vbox.numbers["getProgressCompleted"] = {1};
    EXPECT_NO_THROW(Details::waitFor(vbox, 9, Deadline(milliseconds(0))));
}

TEST(WaitFor, endsWhenTheServerGoesAway)
{
    FakeVBox vbox;
    vbox.fail("progressWaitForCompletion", ProgressWaitForCompletionFail, Result::RpcCallFailed);
    vbox.fail("getHost", GetHostFail, Result::RpcServerUnavailable);
    EXPECT_THROW(Details::waitFor(vbox, 9, Deadline(milliseconds(60000))), ServerGone);
}

TEST(WaitFor, isEndedByTheCallersTick)
{
    FakeVBox vbox;
    EXPECT_THROW(Details::waitFor(vbox, 9, Deadline::never(), [] { throw std::runtime_error("enough"); }),
                 std::runtime_error);
    EXPECT_EQ(vbox.count("progressWaitForCompletion"), 0);
}

TEST(Connect, looksAtTheResultBecauseTheReturnValueDoesNotTell)
{
    FakeVBox vbox;
    EXPECT_NO_THROW(connect(vbox, Deadline(milliseconds(0))));

    vbox.failSilently("initComComponent", 0, Result::ClassNotRegistered);
    vbox.lastText = L"the library's text";
    try {
        connect(vbox, Deadline(milliseconds(60000)));
        FAIL() << "nothing was thrown";
    } catch (const SdkError& error) {
        EXPECT_EQ(error.code(), 101u);
        EXPECT_EQ(error.result(), Result::ClassNotRegistered);
        EXPECT_EQ(error.text(), L"the library's text");
    }
    EXPECT_EQ(vbox.count("initComComponent"), 2);
}

TEST(Connect, triesAgainWhileTheServerCannotBeStarted)
{
    FakeVBox vbox;
    vbox.failSilently("initComComponent", 0, Result::ServerExecFailure);
    vbox.failSilently("initComComponent", 0, Result::RpcServerUnavailable); // the old server's last moment
    connect(vbox, Deadline(milliseconds(60000)));
    EXPECT_EQ(vbox.calls, (std::vector<std::string>{"initComComponent()", "releaseRC()", "initComComponent()",
                                                    "releaseRC()", "initComComponent()"}));
}

TEST(Connect, givesUpAtTheDeadline)
{
    FakeVBox vbox;
    vbox.failSilently("initComComponent", 0, Result::ServerExecFailure);
    EXPECT_THROW(connect(vbox, Deadline(milliseconds(0))), SdkError);
    EXPECT_EQ(vbox.count("initComComponent"), 1);
}

TEST(Reconnect, dropsAllAndLooksAtTheNewResult)
{
    FakeVBox vbox;
    reconnect(vbox, Deadline(milliseconds(0)));
    EXPECT_EQ(vbox.calls, (std::vector<std::string>{"resetComComponent()", "initComComponent()"}));

    vbox.failSilently("initComComponent", 0, Result::RpcServerUnavailable);
    EXPECT_THROW(reconnect(vbox, Deadline(milliseconds(0))), SdkError);
}
