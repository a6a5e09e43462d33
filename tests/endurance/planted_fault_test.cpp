// The guards guard: each kind of fault that they are there for ends the program that commits it.

#include <windows.h>
#include <gmock/gmock.h>

#include <string>

#include "scratch.h"
#include "start_process.h"

namespace {

constexpr DWORD accessViolation = 0xC0000005;
constexpr DWORD illegalInstruction = 0xC000001D;
constexpr DWORD aborted = 3; // std::abort

// A trap is there first where the compiler sees how large the block is.
#ifdef TRAVIK_TRAPS
constexpr DWORD behindBlock = illegalInstruction;
constexpr DWORD behindOddBlock = illegalInstruction;
#else
constexpr DWORD behindBlock = accessViolation;
constexpr DWORD behindOddBlock = aborted;
#endif

DWORD exitCodeOf(const std::wstring& fault)
{
    const PROCESS_INFORMATION process =
        TravikTest::startProcess(TravikTest::productFolder() / L"tests" / L"planted_fault.exe", {fault});
    DWORD code = STILL_ACTIVE;
    if (WaitForSingleObject(process.hProcess, 30'000) != WAIT_OBJECT_0)
        TerminateProcess(process.hProcess, STILL_ACTIVE);
    GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hProcess);
    CloseHandle(process.hThread);
    return code;
}

TEST(GuardedMemory, LetsAnInnocentProgramPass)
{
    EXPECT_EQ(exitCodeOf(L"nothing"), 0u);
}

TEST(GuardedMemory, CatchesWritingBehindABlock)
{
    EXPECT_EQ(exitCodeOf(L"write-behind"), behindBlock);
}

TEST(GuardedMemory, CatchesWritingWhereAlignmentLeftAGap)
{
    EXPECT_EQ(exitCodeOf(L"write-one-behind-odd-size"), behindOddBlock);
}

TEST(GuardedMemory, CatchesWritingInFrontOfABlock)
{
    EXPECT_EQ(exitCodeOf(L"write-in-front"), aborted);
}

TEST(GuardedMemory, CatchesUseAfterDelete)
{
    EXPECT_EQ(exitCodeOf(L"use-after-delete"), accessViolation);
}

#ifdef TRAVIK_TRAPS
TEST(Traps, CatchAnOverflow)
{
    EXPECT_EQ(exitCodeOf(L"overflow"), illegalInstruction);
}

TEST(Traps, CatchAShiftThatIsTooFar)
{
    EXPECT_EQ(exitCodeOf(L"shift-too-far"), illegalInstruction);
}

TEST(Traps, CatchAnIndexBeyondTheEnd)
{
    EXPECT_EQ(exitCodeOf(L"index-too-great"), aborted);
}
#else
TEST(Traps, AreInTheBuildOfTheirOwnOnly)
{
    EXPECT_NE(exitCodeOf(L"overflow"), illegalInstruction);
}
#endif

} // namespace
