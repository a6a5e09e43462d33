// The worker, deadlines and the end: over a library whose every operation the test arranges.

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>

#include "flat_fake.h"

namespace TravikTest {
namespace {

using namespace std::chrono_literals;

class Worker : public FlatTest
{};

using Input = FlatTest;
using CallerThread = FlatTest;

TEST_F(Worker, DoesAllCallsOnOneThreadThatIsNotTheCallers)
{
    std::set<DWORD> threads;
    act = [&](const std::string&) {
        threads.insert(GetCurrentThreadId());
        fake.lastResult = 0;
    };
    open();
    std::thread other([] { travik_getHost(nullptr, 0, nullptr); });
    other.join();
    travik_getHost(nullptr, 0, nullptr);
    close();
    EXPECT_EQ(threads.size(), 1u);
    EXPECT_EQ(threads.count(GetCurrentThreadId()), 0u);
}

TEST_F(Worker, ReadsFailureAndCodeInOneGo)
{
    open();
    fake.fail("findMachine", TRAVIK_FindMachineFail, TRAVIK_Result_ObjectNotFound);
    Error error;
    travik_machine machine{77};
    EXPECT_EQ(travik_findMachine("Nobody", &machine, 0, error.put()), TRAVIK_FindMachineFail);
    EXPECT_EQ(machine.value, 0u);
    EXPECT_EQ(error->code, TRAVIK_FindMachineFail);
    EXPECT_STREQ(error->codeName, "FindMachineFail");
    EXPECT_EQ(error->result, TRAVIK_Result_ObjectNotFound);
    EXPECT_STREQ(error->operation, "findMachine");
    EXPECT_NE(std::string(error->text).find("errorDesc=FindMachineFail"), std::string::npos);
}

TEST_F(Worker, ADeadlineInTheQueueMeansThatTheOperationNeverRuns)
{
    open();
    Blocked blocked(*this, "getHost");
    std::thread first([] { travik_getHost(nullptr, 0, nullptr); });
    blocked.awaitCall();
    Error error;
    EXPECT_EQ(travik_findMachine("Player", nullptr, 50, error.put()), TRAVIK_Deadline);
    EXPECT_NE(std::string(error->text).find("not begun"), std::string::npos);
    blocked.release();
    first.join();
    drain();
    EXPECT_EQ(count("findMachine"), 0);
}

TEST_F(Worker, WhatComesAfterADeadlineIsGivenBack)
{
    open();
    Blocked blocked(*this, "findMachine");
    travik_machine machine{77};
    outlast([&](std::uint32_t deadlineMs, travik_error** error) {
        return travik_findMachine("Player", &machine, deadlineMs, error);
    });
    EXPECT_EQ(machine.value, 0u);
    blocked.release();
    drain();
    EXPECT_EQ(count("findMachine"), 1);
    EXPECT_TRUE(fake.live.empty());
}

TEST_F(Worker, ALockThatComesAfterItsDeadlineIsGivenBack)
{
    open();
    const auto plain = [](std::uint32_t deadlineMs, travik_error** error) {
        return travik_lockMachine(machine(1), TRAVIK_LockType_Write, deadlineMs, error);
    };
    const auto waiting = [](std::uint32_t deadlineMs, travik_error** error) {
        return travik_lockMachineInTime(machine(1), TRAVIK_LockType_Write, 5000, deadlineMs, error);
    };
    int locks = 0;
    for (const std::function<std::uint32_t(std::uint32_t, travik_error**)>& lock :
         {std::function<std::uint32_t(std::uint32_t, travik_error**)>(plain), {waiting}}) {
        Blocked blocked(*this, "lockMachine");
        outlast(lock);
        blocked.release();
        drain();
        EXPECT_EQ(count("lockMachine"), ++locks);
        EXPECT_EQ(count("unlockMachine"), locks);
    }
}

TEST_F(Worker, ALockThatIsRefusedAfterItsDeadlineIsNotGivenBack)
{
    open();
    Blocked blocked(*this, "lockMachine");
    fake.fail("lockMachine", TRAVIK_LockMachineFail, TRAVIK_Result_AccessDenied);
    outlast([](std::uint32_t deadlineMs, travik_error** error) {
        return travik_lockMachine(machine(1), TRAVIK_LockType_Write, deadlineMs, error);
    });
    blocked.release();
    drain();
    EXPECT_EQ(count("lockMachine"), 1);
    EXPECT_EQ(count("unlockMachine"), 0);
}

TEST_F(Worker, TheDeadlineOfTheOptionsHoldsForCallsThatGiveNone)
{
    open(0, 50);
    Blocked blocked(*this, "getHost");
    EXPECT_EQ(travik_getHost(nullptr, 0, nullptr), TRAVIK_Deadline);
    std::thread patient([] { EXPECT_EQ(travik_getVmName({}, nullptr, TRAVIK_NO_DEADLINE, nullptr), 0u); });
    Sleep(150);
    blocked.release();
    patient.join();
}

TEST_F(Worker, OtherCallsComeInWhileOneWaitsForAProgress)
{
    open();
    std::atomic<bool> complete = false;
    act = [&](const std::string& operation) {
        if (operation == "getProgressCompleted")
            fake.numbers[operation] = {complete ? 1 : 0};
    };
    std::thread waiter([] { EXPECT_EQ(travik_progressWaitForCompletion(progress(1), -1, 0, nullptr), 0u); });
    EXPECT_TRUE(soon([this] { return count("getProgressCompleted") > 0; }));
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(travik_getVmName({}, nullptr, 0, nullptr), 0u);
    complete = true;
    waiter.join();
}

TEST_F(Worker, AWaitForAProgressEndsWithItsTime)
{
    open();
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(travik_progressWaitForCompletion(progress(1), 300, 0, nullptr), 0u);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 300ms);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
    EXPECT_GT(count("getProgressCompleted"), 1);
}

TEST_F(Worker, AFinishedProgressFailsAsItsTaskDid)
{
    open();
    fake.numbers["getProgressCompleted"] = {0, 1};
    fake.numbers["getProgressResultCode"] = {static_cast<std::int32_t>(TRAVIK_Result_VMError)};
    fake.texts["getProgressErrorInfo"] = {L"no such luck \x78C1"};
    Error error;
    EXPECT_EQ(travik_finishProgress(progress(1), 0, error.put()), TRAVIK_ProgressWaitForCompletionFail);
    EXPECT_EQ(error->result, TRAVIK_Result_VMError);
    EXPECT_STREQ(error->resultName, "VBOX_E_VM_ERROR");
    EXPECT_STREQ(error->text, "no such luck \xE7\xA3\x81");
}

TEST_F(Worker, ALockWaitsWhileAnotherIsBeingGivenBackAndForNothingElse)
{
    open();
    fake.fail("lockMachine", TRAVIK_LockMachineFail, TRAVIK_Result_InvalidObjectState);
    fake.fail("lockMachine", TRAVIK_LockMachineFail, TRAVIK_Result_InvalidObjectState);
    EXPECT_EQ(travik_lockMachineInTime(machine(1), TRAVIK_LockType_Write, 5000, 0, nullptr), 0u);
    EXPECT_EQ(count("lockMachine"), 3);
    fake.fail("lockMachine", TRAVIK_LockMachineFail, TRAVIK_Result_AccessDenied);
    Error error;
    EXPECT_EQ(travik_lockMachineInTime(machine(1), TRAVIK_LockType_Write, 5000, 0, error.put()),
              TRAVIK_LockMachineFail);
    EXPECT_EQ(error->result, TRAVIK_Result_AccessDenied);
    EXPECT_EQ(count("lockMachine"), 4);
}

TEST_F(Worker, ReleasesDoNotWaitForACallThatRuns)
{
    open();
    Blocked blocked(*this, "importOva");
    std::thread importer([] { travik_importOva("a.ova", 0, nullptr); });
    blocked.awaitCall();
    EXPECT_EQ(travik_releaseMachine(machine(5)), 0u); // would hang here
    blocked.release();
    importer.join();
    drain();
    EXPECT_TRUE(fake.called("releaseMachine(5)"));
}

TEST_F(Worker, AStartThatFailsIsToldAndLeavesTheLibraryClosed)
{
    fake.lastText = L"vbox sdk failure in Travik::VBox::_initVBox():1 errorDesc=VBoxCoCreateInstanceVBoxFail";
    fake.fail("initComComponent", 0, TRAVIK_Result_ClassNotRegistered);
    Error error;
    EXPECT_EQ(travik_open(nullptr, error.put()), TRAVIK_InitVboxComFail);
    EXPECT_EQ(error->result, TRAVIK_Result_ClassNotRegistered);
    EXPECT_STREQ(error->resultName, "REGDB_E_CLASSNOTREG");
    EXPECT_EQ(travik_getHost(nullptr, 0, nullptr), TRAVIK_Closed);
    open(); // and can be opened again
}

TEST_F(Worker, AResetTellsWhetherItWorked)
{
    open();
    fake.lastResult = TRAVIK_Result_RpcServerUnavailable; // of an earlier call, which a reset does not clear
    EXPECT_EQ(travik_resetComComponent(0, nullptr), 0u);
    fake.succeed("initComComponent");
    fake.fail("initComComponent", 0, TRAVIK_Result_ServerExecFailure);
    EXPECT_EQ(travik_resetComComponent(0, nullptr), 0u);
    Error error;
    EXPECT_EQ(travik_resetComComponent(0, error.put()), TRAVIK_InitVboxComFail);
    EXPECT_EQ(error->result, TRAVIK_Result_ServerExecFailure);
}

TEST_F(Worker, IsOpenOnce)
{
    open();
    EXPECT_EQ(travik_open(nullptr, nullptr), TRAVIK_AlreadyOpen);
    close();
    EXPECT_EQ(travik_close(0, nullptr), TRAVIK_Closed);
    EXPECT_EQ(travik_getHost(nullptr, 0, nullptr), TRAVIK_Closed);
    EXPECT_EQ(travik_releaseMachine(machine(1)), 0u);
    open();
}

TEST_F(Worker, TheEndRefusesCallsInTheQueueAndLetsTheRunningOneFinish)
{
    open();
    Blocked blocked(*this, "getHost");
    std::uint32_t running = 77;
    std::uint32_t waiting = 77;
    std::uint32_t looking = 77;
    std::thread looks([&] { looking = travik_progressWaitForCompletion(progress(1), -1, 0, nullptr); });
    ASSERT_TRUE(soon([this] { return count("getProgressCompleted") > 0; }));
    std::thread first([&] { running = travik_getHost(nullptr, 0, nullptr); });
    blocked.awaitCall();
    std::thread second([&] { waiting = travik_findMachine("Player", nullptr, 0, nullptr); });
    Sleep(50);
    EXPECT_EQ(travik_close(50, nullptr), TRAVIK_Deadline);
    EXPECT_EQ(travik_open(nullptr, nullptr), TRAVIK_AlreadyOpen);
    second.join();
    looks.join();
    blocked.release();
    first.join();
    EXPECT_EQ(travik_close(0, nullptr), 0u);
    EXPECT_EQ(running, 0u);
    EXPECT_EQ(waiting, static_cast<std::uint32_t>(TRAVIK_Closed));
    EXPECT_EQ(looking, static_cast<std::uint32_t>(TRAVIK_Closed));
    EXPECT_EQ(count("findMachine"), 0);
    EXPECT_EQ(count("releaseRC"), 1);
}

TEST_F(Worker, TheEndFromManyThreadsAtOnceIsOneEnd)
{
    for (int round = 0; round < 20; ++round) {
        open();
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([] {
                while (travik_getVmName({}, nullptr, 0, nullptr) == 0) {
                }
                const std::uint32_t code = travik_close(0, nullptr);
                EXPECT_TRUE(code == 0 || code == TRAVIK_Closed) << code;
            });
        }
        Sleep(5);
        EXPECT_EQ(travik_close(0, nullptr), 0u);
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(count("releaseRC"), round + 1);
    }
}

TEST_F(Worker, AnExceptionOfTheLibraryIsACode)
{
    open();
    act = [](const std::string& operation) {
        if (operation == "openMedium")
            throw std::runtime_error("Access denied");
        if (operation == "getHost")
            throw std::bad_alloc();
        if (operation == "listVms")
            throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
        if (operation == "saveSettings")
            throw 42;
    };
    Error error;
    EXPECT_EQ(travik_openMedium("disk.vdi", 0, nullptr, 0, error.put()), TRAVIK_FileSystem);
    EXPECT_STREQ(error->text, "Access denied");
    EXPECT_EQ(travik_getHost(nullptr, 0, nullptr), TRAVIK_OutOfMemory);
    EXPECT_EQ(travik_listVms(nullptr, 0, nullptr), TRAVIK_Unexpected);
    EXPECT_EQ(travik_saveSettings(machine(1), 0, nullptr), TRAVIK_Unexpected);
    act = nullptr;
    EXPECT_EQ(travik_getHost(nullptr, 0, nullptr), 0u);
}

TEST_F(Input, TextsAreUtf8AndNotNull)
{
    open();
    travik_machine machine{77};
    for (const char* bad : {"\xFF", "\xC0\x80", "\xED\xA0\x80", "\xE4\xB8", "ok \xF4\x90\x80\x80"}) {
        machine.value = 77;
        EXPECT_EQ(travik_findMachine(bad, &machine, 0, nullptr), TRAVIK_NotUtf8);
        EXPECT_EQ(machine.value, 0u);
    }
    EXPECT_EQ(travik_findMachine(nullptr, &machine, 0, nullptr), TRAVIK_NullArgument);
    const char* list[] = {"A=1", nullptr};
    EXPECT_EQ(travik_launchVMProcess(FlatTest::machine(1), "headless", list, 2, nullptr, 0, nullptr),
              TRAVIK_NullArgument);
    EXPECT_EQ(travik_launchVMProcess(FlatTest::machine(1), "headless", nullptr, 1, nullptr, 0, nullptr),
              TRAVIK_NullArgument);
    EXPECT_EQ(travik_launchVMProcess(FlatTest::machine(1), "headless", nullptr, 0, nullptr, 0, nullptr), 0u);
    EXPECT_EQ(count("findMachine"), 0);
}

TEST_F(Input, AHandleOfAnotherKindIsRefused)
{
    open();
    Error error;
    EXPECT_EQ(travik_getVmName({progress(1).value}, nullptr, 0, error.put()), TRAVIK_WrongHandle);
    EXPECT_STREQ(error->codeName, "WrongHandle");
    EXPECT_EQ(travik_releaseMachine({progress(1).value}), TRAVIK_WrongHandle);
    EXPECT_EQ(travik_getVmName({}, nullptr, 0, nullptr), 0u) << "0 goes to the library";
    EXPECT_EQ(travik_createMutableMachine({progress(1).value}, nullptr, 0, nullptr), 0u) << "is not looked at";
    EXPECT_EQ(count("getVmName"), 1);
}

TEST_F(Input, FreeingTwiceAndFreeingNullIsHarmless)
{
    open();
    fake.texts["getVmName"] = {L"Player"};
    char* name = nullptr;
    EXPECT_EQ(travik_getVmName(machine(1), &name, 0, nullptr), 0u);
    EXPECT_STREQ(name, "Player");
    for (int i = 0; i < 2; ++i) {
        travik_freeText(&name);
        EXPECT_EQ(name, nullptr);
    }
    travik_error* error = nullptr;
    travik_getVmName({1}, nullptr, 0, &error);
    for (int i = 0; i < 2; ++i) {
        travik_freeError(&error);
        EXPECT_EQ(error, nullptr);
    }
    travik_machines machines{};
    travik_texts texts{};
    travik_freeMachines(&machines);
    travik_freeTexts(&texts);
    travik_freeText(nullptr);
    travik_freeError(nullptr);
    travik_freeTexts(nullptr);
    travik_freeMachines(nullptr);
    travik_freeNotice(nullptr);
}

TEST_F(Input, OptionsOfAnotherVersionAreRefused)
{
    for (const travik_options bad : {travik_options{0, 0, nullptr, 0, 0}, travik_options{64, 0, nullptr, 0, 0},
                                     travik_options{sizeof(travik_options), 8, nullptr, 0, 0},
                                     travik_options{sizeof(travik_options), 0, nullptr, 0, 1}})
        EXPECT_EQ(travik_open(&bad, nullptr), TRAVIK_BadOptions);
    const travik_options badText{sizeof(travik_options), 0, "\xFF", 0, 0};
    EXPECT_EQ(travik_open(&badText, nullptr), TRAVIK_NotUtf8);
    open();
}

TEST_F(Input, TheLogGoesToTheFileOfTheOptions)
{
    const travik_options options{sizeof(travik_options), 0, "C:\\log \xE4\xB8\xAD.txt", 0, 0};
    ASSERT_EQ(travik_open(&options, nullptr), 0u);
    EXPECT_EQ(fake.calls.at(0), "setLogPath(C:\\log " + std::string(1, char(0x4E2D)) + ".txt)") << "noted by low bytes";
}

TEST_F(CallerThread, CallsRunWhereTheyAreMade)
{
    DWORD thread = 0;
    act = [&](const std::string&) { thread = GetCurrentThreadId(); };
    open(TRAVIK_OPEN_CALLER_THREAD);
    EXPECT_EQ(travik_getHost(nullptr, 0, nullptr), 0u);
    EXPECT_EQ(thread, GetCurrentThreadId());
    EXPECT_EQ(travik_getHost(nullptr, 100, nullptr), TRAVIK_NeedsWorker);
    travik_watcher watcher{77};
    EXPECT_EQ(travik_watch(console(1), nullptr, nullptr, &watcher, 0, nullptr), TRAVIK_NeedsWorker);
    EXPECT_EQ(watcher.value, 0u);
    EXPECT_EQ(travik_progressWaitForCompletion(progress(3), 250, 0, nullptr), 0u);
    EXPECT_TRUE(fake.called("progressWaitForCompletion(3, 250)")) << "the library waits itself";
}

TEST(Names, AreThoseOfTheLibraryAndOurOwn)
{
    EXPECT_STREQ(travik_codeName(107), "FindMachineFail");
    EXPECT_STREQ(travik_codeName(210), "Unknow");
    EXPECT_STREQ(travik_codeName(TRAVIK_NotUtf8), "NotUtf8");
    EXPECT_STREQ(travik_codeName(TRAVIK_BadOptions), "BadOptions");
    EXPECT_STREQ(travik_codeName(TRAVIK_BadOptions + 1), "Unknow");
    EXPECT_STREQ(travik_resultName(TRAVIK_Result_InvalidObjectState), "VBOX_E_INVALID_OBJECT_STATE");
    EXPECT_STREQ(travik_resultName(0x12345678), "");
    EXPECT_EQ(travik_isServerGone(TRAVIK_Result_RpcServerUnavailable), 1u);
    EXPECT_EQ(travik_isServerGone(TRAVIK_Result_ObjectNotFound), 0u);
    EXPECT_EQ(travik_isLockRace(TRAVIK_Result_InvalidObjectState), 1u);
    EXPECT_STREQ(travik_version(), TRAVIK_VERSION);
    EXPECT_STREQ(travik_identity(), TRAVIK_TEST_IDENTITY);
}

TEST(WithoutLibrary, OpeningTellsIt)
{
    libraryUnderTest = nullptr;
    EXPECT_EQ(travik_open(nullptr, nullptr), TRAVIK_LibraryMissing);
    EXPECT_EQ(travik_open(nullptr, nullptr), TRAVIK_LibraryMissing);
    EXPECT_EQ(travik_toVBoxEventType(1), 0u);
}

} // namespace
} // namespace TravikTest
