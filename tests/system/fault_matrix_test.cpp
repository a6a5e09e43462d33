// Every call of VirtualBox that any operation makes goes wrong in every way: it fails, it gives nothing, it is slow,
// the server dies inside it. The caller gets the operation's code, in time, and the next operation works.

#include <iostream>

#include "fault_matrix.h"

namespace TravikTest {
namespace {

/// QueryInterface alone is not in the table: it is COM's own, and the stand-in's controls do not reach it.
const std::vector<Fault>& faults()
{
    static const std::vector<Fault> all = [] {
        std::vector<Fault> joined = machineFaults();
        for (const auto& more : {mediumFaults(), deviceFaults(), runningFaults()})
            joined.insert(joined.end(), more.begin(), more.end());
        return joined;
    }();
    return all;
}

/// Runs one fault after the other, each in its scene; what is thrown there counts against that one.
void forEachFault(FaultMatrix& matrix, const std::function<void(const Fault&)>& run, std::size_t first = 0,
                  std::size_t step = 1)
{
    milliseconds longest(0);
    std::size_t count = 0;
    for (std::size_t i = first; i < faults().size(); i += step, ++count) {
        const Fault& fault = faults()[i];
        SCOPED_TRACE(std::string(fault.operation) + ", " + utf8(fault.call));
        const auto before = std::chrono::steady_clock::now();
        try {
            matrix.begin();
            matrix.stage(fault.scene);
            if (fault.unanswered)
                matrix.order().answerNull(fault.unanswered);
            run(fault);
        } catch (const std::exception& error) {
            ADD_FAILURE() << error.what();
        }
        longest =
            std::max(longest, std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - before));
    }
    matrix.begin();
    std::cout << count << " faults, the longest with its scene " << longest.count() << " ms\n";
}

TEST_F(FaultMatrix, EveryCallFails)
{
    forEachFault(*this, [this](const Fault& fault) {
        control().fail(fault.call, Result::VMError);
        milliseconds time;
        const SdkErrorCode got = timed(fault, time);
        if (fault.absence == Absence::tolerated)
            expectRecorded(got, 0, {0});
        else
            expectRecorded(got, fault.code, {Result::VMError});
        EXPECT_TRUE(fault.absence == Absence::tolerated || nothingWritten());
        expectWorld();
    });
}

/// The code of a later call that misses what this one should have done or given.
std::uint32_t missedCode(const Fault& fault)
{
    return fault.absence == Absence::tolerated ? 0 : fault.otherCode;
}

TEST_F(FaultMatrix, EveryCallGivesNothing)
{
    forEachFault(*this, [this](const Fault& fault) {
        control().answerNull(fault.call);
        milliseconds time;
        const SdkErrorCode got = timed(fault, time);
        EXPECT_EQ(got, fault.absence == Absence::fails ? fault.code : missedCode(fault));
        EXPECT_EQ(sdk.getVBoxError() != 0, fault.absence == Absence::nothing && missedCode(fault) != 0);
        EXPECT_TRUE(fault.absence == Absence::tolerated || nothingWritten());
        expectWorld();
    });
}

TEST_F(FaultMatrix, EveryCallIsSlow)
{
    forEachFault(*this, [this](const Fault& fault) {
        control().delay(fault.call, slowness);
        milliseconds time;
        EXPECT_TRUE(done(timed(fault, time)));
        EXPECT_GE(time.count(), slowness - 10) << "the operation does not make the call";
        control().delay(fault.call, 0);
        expectWorld();
    });
}

/// In parts, each with a process of its own: Wine gives a new server the number of a dead one in the end, and a client
/// that has talked to both mistakes them.
constexpr std::size_t parts = 9;

class FaultMatrixDeath : public FaultMatrix, public testing::WithParamInterface<std::size_t>
{};

INSTANTIATE_TEST_SUITE_P(Part, FaultMatrixDeath, testing::Range<std::size_t>(0, parts));

TEST_P(FaultMatrixDeath, TheServerDiesInEveryCall)
{
    const auto die = [this](const Fault& fault) {
        const bool tolerated = fault.absence == Absence::tolerated;
        control().dieIn(fault.call);
        milliseconds time;
        const SdkErrorCode got = timed(fault, time);
        if (tolerated && fault.otherCode == 0)
            expectRecorded(got, 0, {0});
        else
            expectRecorded(got, tolerated ? fault.otherCode : fault.code,
                           {Result::RpcCallFailed, Result::RpcServerUnavailable});
        awaitServerDeath();
        EXPECT_TRUE(tolerated || nothingWritten());
        EXPECT_TRUE(refused(sdk.findMachine(Machines::worker, nullptr), FindMachineFail, Result::RpcServerUnavailable));
        startNextServer();
        EXPECT_TRUE(done(sdk.resetComComponent()));
        expectWorld();
    };
    forEachFault(*this, die, GetParam(), parts);
}

/// The operations behind the progress objects that the library waits for itself.
TEST_F(FaultMatrix, EveryAwaitedOperationFails)
{
    const std::vector<Fault> awaited = {
        {"cloneToMachine", Scene::registered, L"IMachine::CloneTo.progress", 121, Absence::nothing, clone},
        {"deleteMachine", Scene::registered, L"IMachine::DeleteConfig.progress", 121, Absence::nothing,
         [](Slots& s) { return s.box().deleteMachine(s.machine); }},
        {"getImportOvaVmName", Scene::registered, L"IAppliance::Read.progress", 121, Absence::nothing,
         [](Slots& s) { return s.box().getImportOvaVmName(s.appliance().wstring(), nullptr); }},
        {"importOva", Scene::registered, L"IAppliance::Read.progress", 121, Absence::nothing,
         [](Slots& s) { return s.box().importOva(s.appliance().wstring()); }},
        {"importOva", Scene::registered, L"IAppliance::ImportMachines.progress", 121, Absence::nothing,
         [](Slots& s) { return s.box().importOva(s.appliance().wstring()); }}};
    for (const Fault& fault : awaited) {
        SCOPED_TRACE(std::string(fault.operation) + ", " + utf8(fault.call));
        begin();
        stage(fault.scene);
        control().fail(fault.call, Result::VMError);
        milliseconds time;
        expectRecorded(timed(fault, time), fault.code, {Result::VMError});
        expectWorld();
    }
    begin();
}

// The creation of the root object itself: it counts as ready by contract, what needs the object answers 101.
TEST_F(FaultMatrix, TheCreationFailsAndWorksAgain)
{
    control().fail(L"VirtualBox::CreateInstance", Result::VMError);
    EXPECT_TRUE(done(sdk.initComComponent()));
    EXPECT_EQ(sdk.getVBoxError(), Result::VMError);
    control().fail(L"VirtualBox::CreateInstance", Result::VMError);
    EXPECT_EQ(sdk.findMachine(Machines::worker, nullptr), InitVboxComFail);
    EXPECT_EQ(sdk.getVBoxError(), Result::VMError);
    expectWorld();
}

TEST_F(FaultMatrix, TheServerDiesInTheCreationAndItsSuccessorIsFound)
{
    control().dieIn(L"VirtualBox::CreateInstance");
    const auto before = std::chrono::steady_clock::now();
    EXPECT_TRUE(done(sdk.initComComponent()));
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(60));
    EXPECT_NE(sdk.getVBoxError(), 0u);
    awaitServerDeath();
    startNextServer();
    EXPECT_TRUE(done(sdk.resetComComponent()));
    expectWorld();
}

} // namespace
} // namespace TravikTest
