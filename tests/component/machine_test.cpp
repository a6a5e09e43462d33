#include <Poco/Exception.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "bench.h"
#include "com_memory.h"
#include "names.h"
#include "operation_table.h"
#include "scratch.h"

// Machines: listing, naming, deleting, launching.

namespace TravikTest {
namespace {

/// Answers every composed file name with the next of these files in the scratch folder.
void composeFiles(const std::vector<std::wstring>& names)
{
    for (const std::wstring& name : names)
        FakeWorld::answerOnce(L"IVirtualBox::ComposeMachineFilename", {.given = {(scratchFolder() / name).wstring()}});
}

void listed(MakeArray machines)
{
    FakeWorld::answer(L"IVirtualBox::get_Machines", {.given = {std::move(machines)}});
}

std::string compose(const std::wstring& name)
{
    return info(L"composeMachineFilename", name);
}

/// The records of one existence check.
Records fileCheck(const std::wstring& path, bool exists)
{
    return {record("INFO", L"Travik::Utils::checkFileExists", path),
            record("INFO", L"Travik::Utils::checkFileExists", exists ? L"return 1" : L"return 0")};
}

} // namespace

TEST(ListVms, WithoutMachinesAppendsNothing)
{
    Bench bench;
    listed(objectArray<IMachine>({}));
    std::vector<VBoxHandle> handles{7, 8};
    EXPECT_EQ(bench.box.listVms(&handles), 0);
    EXPECT_EQ(handles, (std::vector<VBoxHandle>{7, 8}));
}

TEST(ListVms, AppendsFreshHandlesInOrderAndSkipsNulls)
{
    Bench bench;
    listed(objectArray<IMachine>({L"first", L"", L"second", L""}));
    std::vector<VBoxHandle> handles{9};
    EXPECT_EQ(bench.box.listVms(&handles), 0);
    EXPECT_EQ(handles, (std::vector<VBoxHandle>{9, 1, 2}));
    EXPECT_EQ(bench.box.listVms(&handles), 0);
    EXPECT_EQ(handles, (std::vector<VBoxHandle>{9, 1, 2, 3, 4}));
    FakeWorld::takeCalls();
    bench.box.saveSettings(2);
    EXPECT_EQ(FakeWorld::takeCalls(), Calls{L"second: IMachine::SaveSettings()"});
}

TEST(ListVms, TellsAMissingArrayUnlessNobodyWantsTheList)
{
    Bench bench;
    listed([]() -> SAFEARRAY* { return nullptr; });
    std::vector<VBoxHandle> handles{9};
    EXPECT_EQ(bench.box.listVms(nullptr), 0);
    EXPECT_EQ(bench.box.listVms(&handles), 148);
    EXPECT_EQ(handles, std::vector<VBoxHandle>{9});
    EXPECT_EQ(bench.records(),
              (Records{info(L"listVms", L""), info(L"listVms", L""), sdkFailure(L"listVms", SafeArrayCreateFail)}));
    EXPECT_EQ(maskedFailure(bench.box.lastErrorText), sdkFailureText(L"listVms", L"", SafeArrayCreateFail));
    EXPECT_EQ(bench.box.lastRC, 0u);
}

TEST(ListVms, IsEmptyWhenTheArrayCannotBeRead)
{
    Bench bench;
    listed(objectArray<IMachine>({L"first"}));
    ComMemory::failArrayAccess(true);
    std::vector<VBoxHandle> handles;
    EXPECT_EQ(bench.box.listVms(&handles), 0);
    EXPECT_EQ(handles, std::vector<VBoxHandle>());
}

TEST(ListVms, TakesTheElementsAsTheyCome)
{
    Bench bench;
    listed(objectArrayOf(VT_UNKNOWN, __uuidof(IMachine), {[] { return newFake<IMachine>(L"first"); }}));
    std::vector<VBoxHandle> handles;
    EXPECT_EQ(bench.box.listVms(&handles), 0);
    EXPECT_EQ(handles, std::vector<VBoxHandle>{1});
    EXPECT_EQ(FakeWorld::queries(), 0);
}

TEST(FindMachine, GivesANewHandleForAMachineThatIsHeldAlready)
{
    Bench bench;
    IMachine* const machine = newFake<IMachine>(L"the one");
    FakeWorld::answer(L"IVirtualBox::FindMachine", {.given = {MakeObject{[machine]() -> IUnknown* {
                                                        machine->AddRef();
                                                        return machine;
                                                    }}}});
    VBoxHandle first = 0;
    VBoxHandle second = 0;
    EXPECT_EQ(bench.box.findMachine(L"vm1", &first), 0);
    EXPECT_EQ(bench.box.findMachine(L"vm1", &second), 0);
    EXPECT_EQ(first, 1u);
    EXPECT_EQ(second, 2u);
    machine->Release();
    bench.box.releaseMachine(first);
    EXPECT_EQ(bench.box.saveSettings(second), 0);
}

TEST(GetVmUUID, FailsWithTheCodeOfTheRenaming)
{
    Bench bench;
    bench.give(Table::machine);
    FakeWorld::answer(L"IMachine::get_Id", {.result = E_FAIL});
    std::wstring uuid = L"before";
    EXPECT_EQ(bench.box.getVmUUID(1, &uuid), 169);
    EXPECT_EQ(uuid, L"before");
    EXPECT_EQ(bench.records(),
              (Records{info(L"getVmUUID", L"1"), comFailure(L"getVmUUID", PutNameFail, Result::Fail)}));
}

TEST(CreateVmName, IsTheBuiltInPrefixAndOneInAnEmptyFolder)
{
    Bench bench;
    composeFiles({L"nothing here"});
    std::wstring name;
    EXPECT_EQ(bench.box.createVmName(L"", &name), 0);
    EXPECT_EQ(name, L"kolbrenix_vbox86_1");
    const std::wstring file = (scratchFolder() / L"nothing here").wstring();
    Records expected{info(L"createVmName", L""), compose(L"kolbrenix_vbox86_1"),
                     info(L"composeMachineFilename", L"return file = " + file)};
    const Records check = fileCheck(file, false);
    expected.insert(expected.end(), check.begin(), check.end());
    expected.push_back(info(L"createVmName", L"return name = kolbrenix_vbox86_1"));
    EXPECT_EQ(bench.records(), expected);
}

TEST(CreateVmName, SkipsTheNamesWhoseFilesExist)
{
    Bench bench;
    makeFile(L"taken");
    composeFiles({L"taken", L"taken", L"free"});
    std::wstring name;
    EXPECT_EQ(bench.box.createVmName(L"a", &name), 0);
    EXPECT_EQ(name, L"a_3");
    EXPECT_EQ(FakeWorld::takeCalls(),
              (Calls{L"virtualBox: IVirtualBox::ComposeMachineFilename(\"a_1\"[3], null, null, null)",
                     L"virtualBox: IVirtualBox::ComposeMachineFilename(\"a_2\"[3], null, null, null)",
                     L"virtualBox: IVirtualBox::ComposeMachineFilename(\"a_3\"[3], null, null, null)"}));
    composeFiles({L"taken", L"free"});
    EXPECT_EQ(bench.box.createVmName(L"ends_", &name), 0);
    EXPECT_EQ(name, L"ends__2"); // the separator is always added
}

TEST(CreateVmName, AcceptsThe99thAlthoughItIsTaken)
{
    Bench bench;
    makeFile(L"taken");
    FakeWorld::answer(L"IVirtualBox::ComposeMachineFilename", {.given = {(scratchFolder() / L"taken").wstring()}});
    std::wstring name;
    EXPECT_EQ(bench.box.createVmName(L"a", &name), 0);
    EXPECT_EQ(name, L"a_99");
    EXPECT_EQ(FakeWorld::takeCalls().size(), 99u);
}

TEST(CreateVmName, WithoutVirtualBoxReturns101AndTheFirstName)
{
    Bench bench(Bench::withoutRoots);
    FakeWorld::answer(L"VirtualBox::CreateInstance", {.result = E_FAIL});
    std::wstring name;
    EXPECT_EQ(bench.box.createVmName(L"a", &name), 101);
    EXPECT_EQ(name, L"a_1");
    EXPECT_EQ(bench.records(), (Records{info(L"createVmName", L"a"), compose(L"a_1"),
                                        comFailure(L"_initVBox", VBoxCoCreateInstanceVBoxFail, Result::Fail),
                                        record("INFO", L"Travik::Utils::checkFileExists", L""),
                                        info(L"createVmName", L"return name = a_1")}));
}

TEST(CreateVmName, ChecksThePathOfBeforeWhenComposingFails)
{
    Bench bench;
    makeFile(L"taken");
    composeFiles({L"taken"});
    FakeWorld::answerOnce(L"IVirtualBox::ComposeMachineFilename", {.result = E_FAIL});
    composeFiles({L"free"});
    std::wstring name;
    EXPECT_EQ(bench.box.createVmName(L"a", &name), 0); // the second is checked against the first one's file
    EXPECT_EQ(name, L"a_3");
    composeFiles({L"taken"});
    FakeWorld::answer(L"IVirtualBox::ComposeMachineFilename", {.result = E_FAIL});
    EXPECT_EQ(bench.box.createVmName(L"a", &name), 159); // the result of the last composing
    EXPECT_EQ(name, L"a_99");
}

TEST(CreateVmName, HandsNothingOutWithoutAnOutputAndHoldsNoLock)
{
    Bench bench;
    FakeWorld::answer(L"IVirtualBox::ComposeMachineFilename", {.given = {missingFile()}});
    bench.box.lastRC = 5;
    EXPECT_EQ(bench.box.createVmName(L"a", nullptr), 0);
    for (const std::string& text : bench.records())
        EXPECT_EQ(text.find("return name"), std::string::npos);
    EXPECT_EQ(bench.box.lastRC, 0u); // cleared by the composing
}

TEST(CreateVmName, LeavesByTheMemoryExceptionOfItsComposing)
{
    Bench bench;
    ComMemory::failText(1);
    std::wstring name = L"before";
    EXPECT_THROW(bench.box.createVmName(L"a", &name), _com_error);
    EXPECT_EQ(name, L"before");
    EXPECT_TRUE(bench.mutexIsFree());
}

TEST(CreateVmName, ComposesThroughTheOperationOfTheObject)
{
    struct OtherComposer : TestBox
    {
        SdkErrorCode composeMachineFilename(const std::wstring& name, std::wstring* file) override
        {
            EXPECT_TRUE(mutex.try_lock()); // no lock of its own
            mutex.unlock();
            asked.push_back(name);
            if (asked.size() == 2)
                *file = missingFile();
            else
                *file = scratchFolder().wstring();
            return static_cast<SdkErrorCode>(7);
        }
        std::vector<std::wstring> asked;
    };
    Bench bench;
    OtherComposer box;
    box.lastRC = 5;
    box.lastErrorText = L"kept";
    std::wstring name;
    EXPECT_EQ(box.createVmName(L"a", &name), 7);
    EXPECT_EQ(name, L"a_2");
    EXPECT_EQ(box.asked, (std::vector<std::wstring>{L"a_1", L"a_2"}));
    EXPECT_EQ(box.lastRC, 5u); // does not clear it itself
    EXPECT_EQ(box.argStream.str(), L"a");
}

TEST(SetDefaultMachineFolder, OfAMissingFolderLeavesVirtualBoxAlone)
{
    Bench bench;
    EXPECT_EQ(bench.box.setDefaultMachineFolder(missingFile()), 195);
    EXPECT_EQ(FakeWorld::takeCalls(), Calls());
    EXPECT_EQ(bench.box.setDefaultMachineFolder(L""), 195);
    EXPECT_EQ(bench.box.setDefaultMachineFolder(scratchFolder().wstring()), 0);
    EXPECT_EQ(FakeWorld::takeCalls().size(), 2u);
}

TEST(FilesInOperations, ThatTheSystemRefusesLeaveAsItsExceptionWithTheMutexFree)
{
    Bench bench;
    const std::wstring impossible = (scratchFolder() / L"a?b*").wstring();
    bench.give(Table::medium);
    FakeWorld::answer(L"IMedium::get_Location", {.given = {impossible}});
    FakeWorld::answer(L"IVirtualBox::ComposeMachineFilename", {.given = {impossible}});
    const std::vector<std::function<void()>> operations = {[&] { bench.box.setDefaultMachineFolder(impossible); },
                                                           [&] { bench.box.openMedium(impossible, false, nullptr); },
                                                           [&] { bench.box.importOva(impossible); },
                                                           [&] { bench.box.getImportOvaVmName(impossible, nullptr); },
                                                           [&] { bench.box.renameVmDisk(impossible, L"x"); },
                                                           [&] { bench.box.deleteMedium(1); },
                                                           [&] { bench.box.createVmName(L"a", nullptr); }};
    for (std::size_t i = 0; i < operations.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_THROW(operations[i](), Poco::Exception);
        EXPECT_TRUE(bench.mutexIsFree());
    }
    EXPECT_EQ(FakeWorld::references(), 3);
    EXPECT_EQ(ComMemory::liveTexts(), 0u);
}

TEST(CloneToMachine, WithAReleasedTargetReachesNoVirtualBox)
{
    Bench bench;
    bench.give(Table::machine);
    bench.give(Table::machine);
    bench.box.releaseMachine(2);
    EXPECT_EQ(bench.box.cloneToMachine(1, 2), 181);
    EXPECT_EQ(FakeWorld::takeCalls(), Calls());
    EXPECT_EQ(bench.box.cloneToMachine(1, 1), 0); // that source and target differ is VirtualBox's business
    EXPECT_EQ(FakeWorld::takeCalls().front(), L"machine#1: IMachine::CloneTo(machine#1, 3, null)");
}

TEST(DeleteMachine, PassesOnExactlyTheMediaThatCameBack)
{
    Bench bench;
    bench.give(Table::machine);
    FakeWorld::answerOnce(L"IMachine::Unregister", {.given = {Null()}});
    EXPECT_EQ(bench.box.deleteMachine(1), 0);
    EXPECT_EQ(FakeWorld::takeCalls()[1], L"machine#1: IMachine::DeleteConfig(null)");
    FakeWorld::answerOnce(L"IMachine::Unregister", {.given = {objectArray<IMedium>({})}});
    EXPECT_EQ(bench.box.deleteMachine(1), 0);
    EXPECT_EQ(FakeWorld::takeCalls()[1], L"machine#1: IMachine::DeleteConfig(VT_DISPATCH[0+0]{})");
    EXPECT_EQ(FakeWorld::queries(), 0);
    EXPECT_EQ(bench.box.size(Table::machine), 1u); // the handle stays
}

TEST(CreateMutableMachine, IgnoresItsMachine)
{
    Bench bench;
    VBoxHandle handle = 0;
    EXPECT_EQ(bench.box.createMutableMachine(12345, &handle), 0);
    EXPECT_EQ(handle, 1u);
    EXPECT_EQ(bench.box.size(Table::machine), 1u); // the argument left no empty entry
    FakeWorld::answer(L"ISession::get_Machine", {.result = E_UNEXPECTED});
    EXPECT_EQ(bench.box.createMutableMachine(1, &handle), 113);
}

TEST(SetMachineParavirtProvider, PassesItsNumberUnchanged)
{
    struct OtherConverter : TestBox
    {
        std::uint32_t toVBoxParavirtProvider(std::uint32_t) override { return 99; }
    };
    Bench bench;
    bench.give(Table::machine);
    for (const std::uint32_t provider : {0u, 4u, 6u, 7u, 4294967295u}) {
        EXPECT_EQ(bench.box.setMachineParavirtProvider(1, provider), 0);
        EXPECT_EQ(FakeWorld::takeCalls(),
                  Calls{L"machine#1: IMachine::put_ParavirtProvider(" + std::to_wstring(provider) + L")"});
    }
    OtherConverter box;
    IMachine* const machine = newFake<IMachine>(L"other");
    box.machineTable.insert(box.machineTable.newHandle(), machine);
    machine->Release();
    EXPECT_EQ(box.setMachineParavirtProvider(1, 4), 0);
    EXPECT_EQ(FakeWorld::takeCalls(), Calls{L"other: IMachine::put_ParavirtProvider(4)"});
}

TEST(MachineExtraData, KeepsTheCallersTextWhenThereIsNoValueAndPassesAnEmptyOne)
{
    Bench bench;
    bench.give(Table::machine);
    FakeWorld::answer(L"IMachine::GetExtraData", {.given = {Null()}});
    std::wstring value = L"before";
    EXPECT_EQ(bench.box.getMachineExtraData(1, L"key", &value), 0);
    EXPECT_EQ(value, L"before");
    EXPECT_EQ(bench.box.setMachineExtraData(1, L"key", L""), 0);
    EXPECT_EQ(FakeWorld::takeCalls().back(), L"machine#1: IMachine::SetExtraData(\"key\"[3], \"\"[0])");
}

TEST(LaunchVMProcess, RecordsTheFirstEntryAndAcceptsNone)
{
    Bench bench;
    bench.give(Table::machine);
    VBoxHandle progress = 0;
    EXPECT_EQ(bench.box.launchVMProcess(1, L"gui", {}, &progress), 0);
    EXPECT_EQ(bench.records(), Records{info(L"launchVMProcess", L"1 | gui | ")});
    EXPECT_EQ(FakeWorld::takeCalls(),
              Calls{L"machine#1: IMachine::LaunchVMProcess(session, \"gui\"[3], VT_BSTR[0+0]{})"});
    EXPECT_EQ(progress, 1u);
    EXPECT_EQ(bench.box.launchVMProcess(1, L"", {std::wstring(L"A=\0b", 4), L"", L"C"}, nullptr), 0);
    EXPECT_EQ(FakeWorld::takeCalls(), Calls{L"machine#1: IMachine::LaunchVMProcess(session, \"\"[0], "
                                            L"VT_BSTR[0+3]{\"A={0000}b\"[4], \"\"[0], \"C\"[1]})"});
    EXPECT_EQ(bench.box.size(Table::progress), 1u);
}

TEST(LaunchVMProcess, LeavesByTheMemoryExceptionWhenItsArrayCannotBeMade)
{
    Bench bench;
    bench.give(Table::machine);
    for (const auto& fail : {ComMemory::failArrayCreation, ComMemory::failArrayAccess}) {
        fail(true);
        ComMemory::takeAllocatedTexts();
        try {
            bench.box.launchVMProcess(1, L"gui", {L"A"}, nullptr);
            ADD_FAILURE() << "no exception";
        } catch (const _com_error& error) {
            EXPECT_EQ(error.Error(), E_OUTOFMEMORY);
        }
        EXPECT_EQ(ComMemory::takeAllocatedTexts(), std::vector<std::wstring>{L"gui"}); // made before the array
        EXPECT_TRUE(bench.mutexIsFree());
        EXPECT_EQ(ComMemory::liveTexts(), 0u);
        EXPECT_EQ(ComMemory::liveArrays(), 0u);
        fail(false);
    }
    EXPECT_EQ(FakeWorld::takeCalls(), Calls());
}

TEST(LaunchAndLock, WithoutASessionLetVirtualBoxSayWhyAndCreateNone)
{
    Bench bench(Bench::withoutRoots);
    bench.give(Table::machine);
    for (const wchar_t* method : {L"IMachine::LockMachine", L"IMachine::LaunchVMProcess"})
        FakeWorld::answer(method, {.result = E_INVALIDARG});
    EXPECT_EQ(bench.box.lockMachine(1, 2), 109);
    EXPECT_EQ(bench.box.getVBoxError(), Result::InvalidArg);
    EXPECT_EQ(maskedFailure(bench.box.lastErrorText),
              comFailureText(L"lockMachine", L"1 | 2", LockMachineFail, Result::InvalidArg));
    EXPECT_EQ(bench.box.launchVMProcess(1, L"gui", {L"A"}, nullptr), 108);
    EXPECT_EQ(bench.box.lastRC, Result::InvalidArg);
    EXPECT_EQ(maskedFailure(bench.box.lastErrorText),
              comFailureText(L"launchVMProcess", L"1 | gui | A", LaunchVMProcessFail, Result::InvalidArg));
    EXPECT_EQ(FakeWorld::takeCalls(),
              (Calls{L"machine#1: IMachine::LockMachine(null, 2)",
                     L"machine#1: IMachine::LaunchVMProcess(null, \"gui\"[3], VT_BSTR[0+1]{\"A\"[1]})"}));
    EXPECT_EQ(bench.box.session, nullptr);
}

TEST(GetConsole, GivesTwoHandlesToTheSameConsole)
{
    Bench bench;
    IConsole* const console = newFake<IConsole>(L"the console");
    FakeWorld::answer(L"ISession::get_Console", {.given = {MakeObject{[console]() -> IUnknown* {
                                                     console->AddRef();
                                                     return console;
                                                 }}}});
    VBoxHandle first = 0;
    VBoxHandle second = 0;
    EXPECT_EQ(bench.box.getConsole(&first), 0);
    EXPECT_EQ(bench.box.getConsole(&second), 0);
    console->Release();
    EXPECT_NE(first, second);
    FakeWorld::takeCalls();
    EXPECT_EQ(bench.box.consoleResume(second), 0);
    EXPECT_EQ(FakeWorld::takeCalls(), Calls{L"the console: IConsole::Resume()"});
}

TEST(UnlockMachine, OfALibraryThatHasNotStartedStartsIt)
{
    Bench bench(Bench::withoutRoots);
    EXPECT_EQ(bench.box.unlockMachine(), 0);
    EXPECT_EQ(FakeWorld::takeCalls().size(), 3u);
}

} // namespace TravikTest
