// The flat interface with the stand-in's server in another process; and the DLL in programs of other compilers.

#include "harness/system_test.h"

#include <atomic>
#include <cstdlib>
#include <thread>

#include "connection.h"
#include "travik/travik.h"

Travik::VBoxInstanceImpl* Travik::Flat::library()
{
    return &TravikTest::library();
}

namespace TravikTest {
namespace {

/// A program of one source by several compilers, against the stand-in; in the folder TRAVIK_TEST_PROGRAMS.
class ProgramTest : public SystemTest, public testing::WithParamInterface<const wchar_t*>
{
protected:
    std::string outputOf(const std::wstring& source)
    {
        control().scenario(LR"({"times": {"spawn": 10, "start": 10, "stop": 500}})");
        const std::filesystem::path folder = std::getenv("TRAVIK_TEST_PROGRAMS");
        ChildProcess program(folder / (source + L"_" + GetParam() + L".exe"), {});
        EXPECT_EQ(program.wait(milliseconds(60'000)), 0u);
        std::string output = program.restOfOutput();
        std::erase(output, '\r');
        return output;
    }
};

class CProgram : public ProgramTest
{};

TEST_P(CProgram, StartsWatchesAndStopsAMachineFromAThreadThatDidNotOpen)
{
    EXPECT_EQ(outputOf(L"story"), "Player\nruns\nstops\nended\ndone\n");
}

INSTANTIATE_TEST_SUITE_P(Compilers, CProgram, testing::Values(L"gcc", L"clang_gnu", L"clang_msvc"));

class CppTour : public ProgramTest
{};

TEST_P(CppTour, IsAMachinesWholeLife)
{
    EXPECT_EQ(outputOf(L"tour"), "1 machines: " + std::to_string(Machines::count) +
                                     "\n2 created Tour_1\n3 found true\n4 changed\n"
                                     "5 extra data \xE7\xA3\x81\xE7\x9B\x98 \xF0\x9F\x8E\xAE\n"
                                     "6 failed: FindMachineFail VBOX_E_OBJECT_NOT_FOUND\n7 runs: true\n"
                                     "8 stopping seen: true\n9 ended: true\n10 deleted\n");
}

INSTANTIATE_TEST_SUITE_P(Compilers, CppTour, testing::Values(L"gcc", L"gcc_ucrt", L"clang_gnu"));

class FlatSystem : public SystemTest
{
protected:
    void SetUp() override
    {
        SystemTest::SetUp();
        ASSERT_EQ(travik_open(nullptr, nullptr), 0u);
    }
    void TearDown() override
    {
        travik_close(0, nullptr);
        SystemTest::TearDown();
    }

    static std::string nameOfMachine(travik_machine machine)
    {
        char* name = nullptr;
        EXPECT_EQ(travik_getVmName(machine, &name, 0, nullptr), 0u);
        const std::string text = !name ? "" : name;
        travik_freeText(&name);
        return text;
    }

    static travik_machine findMachine(const wchar_t* name)
    {
        travik_machine machine{};
        EXPECT_EQ(travik_findMachine(utf8(name).c_str(), &machine, 0, nullptr), 0u);
        return machine;
    }
};

TEST_F(FlatSystem, ListsMachinesInUtf8)
{
    travik_machines machines{};
    ASSERT_EQ(travik_listVms(&machines, 0, nullptr), 0u);
    EXPECT_EQ(machines.count, Machines::count);
    travik_freeMachines(&machines);
    EXPECT_EQ(nameOfMachine(findMachine(Machines::emoji)), "Game \xF0\x9F\x8E\xAE");
}

TEST_F(FlatSystem, TheDeathOfTheServerInACallIsACodeAndAResetMendsIt)
{
    const travik_machine machine = findMachine(Machines::player);
    control().dieIn(L"IMachine::get_Name");
    travik_error* error = nullptr;
    char* name = nullptr;
    EXPECT_EQ(travik_getVmName(machine, &name, 0, &error), TRAVIK_PutNameFail);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(travik_isServerGone(error->result), 1u) << error->resultName;
    EXPECT_EQ(name, nullptr);
    travik_freeError(&error);
    awaitServerDeath();
    startNextServer();
    EXPECT_EQ(travik_resetComComponent(0, nullptr), 0u);
    EXPECT_EQ(travik_getVmName(machine, &name, 0, nullptr), TRAVIK_COM_Get_MachineFail)
        << "handles from before name nothing";
    EXPECT_EQ(nameOfMachine(findMachine(Machines::player)), "Player");
}

TEST_F(FlatSystem, AWatchEndsWithTheServer)
{
    travik_progress progress{};
    travik_console console{};
    travik_watcher watcher{};
    ASSERT_EQ(travik_launchVMProcess(findMachine(Machines::player), "headless", nullptr, 0, &progress, 0, nullptr), 0u);
    ASSERT_EQ(travik_finishProgress(progress, 20'000, nullptr), 0u);
    ASSERT_EQ(travik_getConsole(&console, 0, nullptr), 0u);
    ASSERT_EQ(travik_watch(console, nullptr, nullptr, &watcher, 0, nullptr), 0u);
    control().pause(Machines::player);
    travik_notice* notice = nullptr;
    ASSERT_EQ(travik_nextNotice(watcher, 10'000, &notice, nullptr), 0u);
    ASSERT_NE(notice, nullptr);
    EXPECT_EQ(notice->kind, TRAVIK_NOTICE_STATE);
    EXPECT_EQ(notice->state, static_cast<std::uint32_t>(TRAVIK_MachineState_Paused));
    travik_freeNotice(&notice);
    crashServer();
    ASSERT_EQ(travik_nextNotice(watcher, 10'000, &notice, nullptr), 0u);
    ASSERT_NE(notice, nullptr);
    EXPECT_EQ(notice->kind, TRAVIK_NOTICE_ENDED);
    EXPECT_EQ(travik_isServerGone(notice->result), 1u);
    travik_freeNotice(&notice);
}

TEST_F(FlatSystem, TheEndDoesNotWaitForAServerLongerThanItsDeadline)
{
    control().delay(L"IMachine::get_Name", 4'000);
    const travik_machine machine = findMachine(Machines::player);
    std::uint32_t code = 77;
    std::thread caller([&] { code = travik_getVmName(machine, nullptr, 0, nullptr); });
    Sleep(300);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(travik_close(100, nullptr), TRAVIK_Deadline);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, milliseconds(3'000));
    EXPECT_EQ(travik_close(0, nullptr), 0u);
    caller.join();
    EXPECT_EQ(code, 0u);
}

TEST_F(FlatSystem, CanBeOpenedAgainAndAgain)
{
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(nameOfMachine(findMachine(Machines::player)), "Player");
        EXPECT_EQ(travik_close(0, nullptr), 0u);
        EXPECT_EQ(travik_open(nullptr, nullptr), 0u);
    }
}

// Leaving the process.

void openAndWatch()
{
    travik_machine machine{};
    travik_progress progress{};
    travik_console console{};
    travik_watcher watcher{};
    const bool good = travik_open(nullptr, nullptr) == 0 && travik_findMachine("Player", &machine, 0, nullptr) == 0 &&
                      travik_launchVMProcess(machine, "headless", nullptr, 0, &progress, 0, nullptr) == 0 &&
                      travik_finishProgress(progress, 20'000, nullptr) == 0 &&
                      travik_getConsole(&console, 0, nullptr) == 0 &&
                      travik_watch(
                          console, [](void*, const travik_notice*) {}, nullptr, &watcher, 0, nullptr) == 0;
    if (!good)
        std::exit(99);
}

const Role leaveOpen(L"c-leave-open", [](const RoleIo& io) {
    openAndWatch();
    if (io.arguments[0] == L"calling") {
        for (int i = 0; i < 4; ++i) {
            std::thread([] {
                while (travik_getVmName({}, nullptr, 0, nullptr) != TRAVIK_Closed) {
                }
            }).detach();
        }
        Sleep(50);
    }
    if (io.arguments[0] == L"closing at exit")
        std::atexit([] { travik_close(0, nullptr); });
    if (io.arguments[0] == L"closing too late") {
        static const struct AtTheVeryEnd
        {
            ~AtTheVeryEnd() { travik_close(0, nullptr); }
        } last;
    }
    io.say(L"leaving");
    if (io.arguments[0] == L"ExitProcess")
        ExitProcess(0);
    return 0;
});

class FlatLeaving : public SystemTest, public testing::WithParamInterface<const wchar_t*>
{};

TEST_P(FlatLeaving, EndsSoon)
{
    FrontEndProcess frontEnd(L"c-leave-open", {GetParam()});
    ASSERT_EQ(frontEnd.readLine(), L"leaving");
    EXPECT_EQ(frontEnd.wait(milliseconds(10'000)), 0u);
}

INSTANTIATE_TEST_SUITE_P(Ways, FlatLeaving,
                         testing::Values(L"idle", L"calling", L"closing at exit", L"closing too late", L"ExitProcess"));

class FlatEndurance : public FlatSystem
{};

TEST_F(FlatEndurance, AMillionCallsOfSixteenThreads)
{
    const travik_machine machine = findMachine(Machines::player);
    std::atomic<std::uint32_t> wrong = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 16; ++i) {
        threads.emplace_back([&] {
            for (std::uint32_t n = 0; n < 62'500; ++n) {
                travik_error* error = nullptr;
                // A call of VirtualBox every so often; the others are refused by the library, with an error of their
                // own.
                const bool asks = n % 100 == 0;
                const std::uint32_t code = asks ? travik_machineGetState(machine, nullptr, 0, &error)
                                                : travik_consoleGetState({std::uint64_t(3) << 32}, nullptr, 0, &error);
                wrong += code != (asks ? 0u : std::uint32_t(TRAVIK_COM_Get_ConsoleFail)) ||
                         (error == nullptr) != (code == 0);
                wrong += error && std::string_view(error->operation) != "consoleGetState";
                travik_freeError(&error);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0u);
    EXPECT_EQ(nameOfMachine(machine), "Player");
}

} // namespace
} // namespace TravikTest
