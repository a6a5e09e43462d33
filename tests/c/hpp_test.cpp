// travik.hpp, over a library whose every operation the test arranges.

#include <travik/travik.hpp>

#include "flat_fake.h"

namespace TravikTest {
namespace {

using namespace std::chrono_literals;

class Hpp : public FlatTest
{};

TEST_F(Hpp, ObjectsGiveTheirHandlesBack)
{
    travik::Library library;
    {
        const travik::Machine machine = library.findMachine("Player");
        ASSERT_TRUE(machine);
        EXPECT_EQ(static_cast<std::uint32_t>(machine.get().value), fake.live.at(0));
        travik::Machine moved = library.createMachine("", "New");
        moved = library.findMachine("Other");
    }
    drain();
    library.close();
    EXPECT_TRUE(fake.live.empty());
}

TEST_F(Hpp, AFailureIsAnExceptionThatTellsAll)
{
    travik::Library library;
    fake.fail("findMachine", TRAVIK_FindMachineFail, TRAVIK_Result_ObjectNotFound);
    try {
        library.findMachine("Nobody");
        FAIL();
    } catch (const travik::Error& error) {
        EXPECT_EQ(error.code(), TRAVIK_FindMachineFail);
        EXPECT_EQ(error.result(), TRAVIK_Result_ObjectNotFound);
        EXPECT_EQ(error.operation(), "findMachine");
        EXPECT_FALSE(error.isServerGone());
        EXPECT_EQ(std::string(error.what()).substr(0, 64),
                  "findMachine: FindMachineFail (107), VBOX_E_OBJECT_NOT_FOUND: vbo");
    }
    fake.fail("getVmName", TRAVIK_PutNameFail, TRAVIK_Result_RpcServerUnavailable);
    try {
        travik::Machine().name();
        FAIL();
    } catch (const travik::Error& error) {
        EXPECT_TRUE(error.isServerGone());
    }
}

TEST_F(Hpp, ALimitThatPassesIsTimedOut)
{
    travik::Library library;
    Blocked blocked(*this, "importOva");
    auto import = travik::background([&] { library.importAppliance("a.ova"); });
    blocked.awaitCall();
    EXPECT_THROW(library.machineFolder(50ms), travik::TimedOut);
    blocked.release();
    import.get();
}

TEST_F(Hpp, ALimitIsRoundedUpAndNeverNone)
{
    EXPECT_EQ(travik::Limit().milliseconds, 0u);
    EXPECT_EQ(travik::Limit(0ms).milliseconds, 1u) << "0 would mean the usual limit";
    EXPECT_EQ(travik::Limit(1us).milliseconds, 1u);
    EXPECT_EQ(travik::Limit(2s).milliseconds, 2000u);
    EXPECT_EQ(travik::Limit(24h * 365).milliseconds, TRAVIK_NO_DEADLINE);
    EXPECT_EQ(travik::Limit::none().milliseconds, TRAVIK_NO_DEADLINE);
}

TEST_F(Hpp, CarriesWhatGoesInAndComesOut)
{
    travik::Library library;
    const travik::Machine machine = library.findMachine("Player");
    fake.texts["getVmName"] = {L"\x4E2D\x6587"};
    EXPECT_EQ(machine.name(), "\xE4\xB8\xAD\xE6\x96\x87");
    fake.numbers["machineGetState"] = {5};
    EXPECT_EQ(machine.state(), travik::MachineState::Running);
    fake.numbers["hostGetProcessorFeature"] = {1};
    EXPECT_TRUE(library.host().hasProcessorFeature(travik::ProcessorFeature::LongMode));
    machine.setMemory(4096);
    machine.addSharedFolder("games", "C:\\Games", true, false);
    const travik::Progress progress = machine.launch("headless", {"A=1", "B"});
    fake.listed = {7, 8};
    EXPECT_EQ(library.machines().size(), 2u);
    drain();
    const std::string number = std::to_string(static_cast<std::uint32_t>(machine.get().value));
    library.close();
    EXPECT_TRUE(fake.called("setMachineMemory(" + number + ", 4096)"));
    EXPECT_TRUE(fake.called("machineCreateSharedFolder(" + number + ", games, C:\\Games, 1, 0)"));
    EXPECT_TRUE(fake.called("launchVMProcess(" + number + ", headless, 2 texts)"));
    EXPECT_TRUE(fake.called("releaseMachine(7)"));
}

TEST_F(Hpp, AnEmptyDriveHasNoMedium)
{
    travik::Library library;
    fake.nothing["getCurrentMedium"] = {true};
    EXPECT_FALSE(travik::Machine().medium("SATA", 0, 0));
}

TEST_F(Hpp, ALockedSessionWaitsForTheLockAndUnlocks)
{
    travik::Library library;
    fake.fail("lockMachine", TRAVIK_LockMachineFail, TRAVIK_Result_InvalidObjectState);
    {
        travik::LockedSession session(library.findMachine("Player"), travik::LockType::Write, 5s);
        session.machine().setMemory(2048);
        session.save();
    }
    fake.fail("createMutableMachine", TRAVIK_CreateMutableMachineFail, TRAVIK_Result_Fail);
    EXPECT_THROW(travik::LockedSession(travik::Machine(), travik::LockType::Write, 1s), travik::Error);
    library.close();
    EXPECT_EQ(count("lockMachine"), 3);
    EXPECT_EQ(count("unlockMachine"), 2) << "also when the session's machine could not be had";
}

TEST_F(Hpp, ATaskThatFailsThrowsItsOwnResult)
{
    travik::Library library;
    fake.numbers["getProgressCompleted"] = {1};
    fake.numbers["getProgressResultCode"] = {static_cast<std::int32_t>(TRAVIK_Result_VMError)};
    fake.texts["getProgressErrorInfo"] = {L"no such luck"};
    try {
        library.findMachine("Player").launch("headless").finish(10s);
        FAIL();
    } catch (const travik::Error& error) {
        EXPECT_EQ(error.code(), TRAVIK_ProgressWaitForCompletionFail);
        EXPECT_EQ(error.result(), TRAVIK_Result_VMError);
        EXPECT_EQ(error.text(), "no such luck");
    }
}

TEST_F(Hpp, AWatchCallsBackAndEndsWithItsObject)
{
    travik::Library library;
    std::atomic<int> seen = 0;
    act = [this](const std::string& operation) {
        if (operation == "eventSourceGetEvent")
            fake.numbers["eventSourceEventGetType"] = {46};
        if (operation == "eventSourceGetEvent")
            fake.numbers["eventSourceStateChangedEventGetState"] = {6};
    };
    {
        travik::Watch watch(travik::Console(console(1)), [&](const travik::Notice& notice) {
            if (notice.kind == travik::Notice::Kind::State && notice.state == travik::MachineState::Paused)
                ++seen;
        });
        EXPECT_TRUE(soon([&] { return seen > 0; }));
    }
    const int before = seen;
    Sleep(150);
    EXPECT_EQ(seen, before);
}

TEST_F(Hpp, AWatchWithoutCallbackIsRead)
{
    travik::Library library;
    act = [this](const std::string& operation) {
        if (operation != "eventSourceGetEvent")
            return;
        fake.nothing[operation] = {true};
    };
    travik::Watch watch{travik::Console(console(1))};
    EXPECT_FALSE(watch.next(20ms));
}

TEST_F(Hpp, OptionsReachTheLibrary)
{
    fake.fail("initComComponent", 0, TRAVIK_Result_ClassNotRegistered);
    travik::Library::Options options;
    options.lazy = true;
    options.logPath = "C:\\list.log";
    travik::Library library(options); // does not start VirtualBox, so nothing fails
    EXPECT_EQ(count("initComComponent"), 0);
    EXPECT_TRUE(fake.called("setLogPath(C:\\list.log)"));
    library.close();
    try {
        travik::Library started;
        FAIL() << "this one starts it";
    } catch (const travik::Error& error) {
        EXPECT_EQ(error.result(), TRAVIK_Result_ClassNotRegistered);
    }
}

} // namespace
} // namespace TravikTest
