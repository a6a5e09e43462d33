// Releasing an object of another process while the own one is shutting down hangs for ever. A table in a DLL therefore
// lets go without calling then; on unload, and in a program that links the library statically, it releases.

#include <gmock/gmock.h>

#include "child_program.h"

namespace {

using TravikTest::ChildResult;

ChildResult leave(const wchar_t* how)
{
    return TravikTest::runToEnd(TravikTest::childProgram(), {L"leave", how});
}

TEST(LeavingWithLiveHandles, ByReturnFromMainCallsNoObject)
{
    const ChildResult child = leave(L"return");
    EXPECT_EQ(0u, child.exitCode);
    EXPECT_EQ("leaving\n", child.output);
}

TEST(LeavingWithLiveHandles, ByExitCallsNoObject)
{
    const ChildResult child = leave(L"exit");
    EXPECT_EQ(0u, child.exitCode);
    EXPECT_EQ("leaving\n", child.output);
}

TEST(LeavingWithLiveHandles, ByAnUncaughtExceptionCallsNoObject)
{
    const ChildResult child = leave(L"exception");
    EXPECT_TRUE(child.exitCode) << "it had to be stopped";
    EXPECT_NE(0u, child.exitCode);
    EXPECT_EQ("leaving\n", child.output);
}

TEST(LeavingWithLiveHandles, ByExitProcessCallsNoObject)
{
    const ChildResult child = leave(L"quick");
    EXPECT_EQ(0u, child.exitCode);
    EXPECT_EQ("leaving\n", child.output);
}

TEST(LeavingWithLiveHandles, ByUnloadOfTheLibraryReleasesThem)
{
    const ChildResult child = leave(L"unload");
    EXPECT_EQ(0u, child.exitCode);
    EXPECT_EQ("leaving\nreleased\nunloaded\n", child.output);
}

TEST(LeavingWithLiveHandles, OfAStaticallyLinkedLibraryReleasesThem)
{
    const ChildResult child = leave(L"static");
    EXPECT_EQ(0u, child.exitCode);
    EXPECT_EQ("leaving\nreleased\n", child.output);
}

} // namespace
