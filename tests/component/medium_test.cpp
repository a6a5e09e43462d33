#include <Poco/Exception.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "bench.h"
#include "com_memory.h"
#include "names.h"
#include "operation_table.h"
#include "scratch.h"
#include "worker.h"

// Appliances, disk images and their files.

namespace TravikTest {
namespace {

namespace fs = std::filesystem;

void describe(std::vector<std::wstring> labels)
{
    FakeWorld::answer(L"IAppliance::get_VirtualSystemDescriptions",
                      {.given = {objectArray<IVirtualSystemDescription>(std::move(labels))}});
}

void nameOnce(std::vector<std::wstring> names)
{
    FakeWorld::answerOnce(L"IVirtualSystemDescription::GetValuesByType", {.given = {textArray(std::move(names))}});
}

std::size_t count(const Calls& calls, const std::wstring& method)
{
    return static_cast<std::size_t>(std::count_if(
        calls.begin(), calls.end(), [&](const std::wstring& call) { return call.find(method) != std::wstring::npos; }));
}

} // namespace

TEST(ImportOva, OfAMissingFileIsToldEvenWithoutVirtualBox)
{
    Bench bench(Bench::withoutRoots);
    FakeWorld::revokeClasses();
    EXPECT_EQ(bench.box.importOva(missingFile()), 195);
    std::wstring name = L"before";
    EXPECT_EQ(bench.box.getImportOvaVmName(missingFile(), &name), 195);
    EXPECT_EQ(name, L"before");
    EXPECT_EQ(bench.box.lastRC, 0u); // nobody asked for VirtualBox
}

TEST(ImportOva, TellsOptionsThatCannotBeMade)
{
    Bench bench;
    const std::wstring file = makeFile(L"a.ova").wstring();
    for (const auto& fail : {ComMemory::failArrayCreation, ComMemory::failArrayAccess}) {
        fail(true);
        bench.records();
        EXPECT_EQ(bench.box.importOva(file), 148);
        fail(false);
        EXPECT_EQ(bench.records().back(), sdkFailure(L"importOva", SafeArrayCreateFail));
        EXPECT_EQ(maskedFailure(bench.box.lastErrorText), sdkFailureText(L"importOva", file, 148));
        EXPECT_EQ(count(FakeWorld::takeCalls(), L"ImportMachines"), 0u);
    }
}

TEST(ImportOvaVmName, IsTheFirstNameWithTextOfAllSystems)
{
    Bench bench;
    const std::wstring file = makeFile(L"a.ova").wstring();
    describe({L"one", L"two", L"three"});
    nameOnce({L""});
    nameOnce({L"vm2"});
    std::wstring name;
    EXPECT_EQ(bench.box.getImportOvaVmName(file, &name), 0);
    EXPECT_EQ(name, L"vm2");
    EXPECT_EQ(count(FakeWorld::takeCalls(), L"GetValuesByType"), 2u); // the third was not asked
    EXPECT_EQ(FakeWorld::queries(), 0);
}

TEST(ImportOvaVmName, SearchEndsAtTheFirstNameAlsoWithoutAnOutput)
{
    Bench bench;
    const std::wstring file = makeFile(L"a.ova").wstring();
    describe({L"one", L"two"});
    nameOnce({L"vm1"});
    nameOnce({L"vm2"});
    EXPECT_EQ(bench.box.getImportOvaVmName(file, nullptr), 0);
    EXPECT_EQ(count(FakeWorld::takeCalls(), L"GetValuesByType"), 1u);
    for (const std::string& text : bench.records())
        EXPECT_EQ(text.find("import vmname"), std::string::npos);
}

TEST(ImportOvaVmName, GoesOnAfterAFailingDescriptionAndASkippedNull)
{
    Bench bench;
    const std::wstring file = makeFile(L"a.ova").wstring();
    describe({L"one", L"", L"two"});
    FakeWorld::answerOnce(L"IVirtualSystemDescription::GetValuesByType", {.result = E_FAIL});
    nameOnce({L"", L"vm2"});
    bench.box.lastErrorText = L"kept";
    std::wstring name;
    EXPECT_EQ(bench.box.getImportOvaVmName(file, &name), 0);
    EXPECT_EQ(name, L"vm2");
    const Records records = bench.records();
    ASSERT_GE(records.size(), 2u);
    EXPECT_EQ(records[records.size() - 2],
              ignored(L"getImportOvaVmName", VirtualSystemDescriptionGetValuesFail, Result::Fail));
    EXPECT_EQ(records.back(), info(L"getImportOvaVmName", L"import vmname = vm2"));
    EXPECT_EQ(bench.box.lastRC, 0u);
    EXPECT_EQ(bench.box.lastErrorText, L"kept");
}

TEST(ImportOvaVmName, OfAFailingDescriptionIsWhatCameBackAllTheSame)
{
    Bench bench;
    const std::wstring file = makeFile(L"a.ova").wstring();
    describe({L"one"});
    FakeWorld::answer(L"IVirtualSystemDescription::GetValuesByType",
                      {.result = E_FAIL, .given = {textArray({L"vm1"})}, .givesOnFailure = true});
    std::wstring name;
    EXPECT_EQ(bench.box.getImportOvaVmName(file, &name), 0);
    EXPECT_EQ(name, L"vm1");
}

TEST(ImportOvaVmName, StaysAsItWasWhenNoSystemHasOne)
{
    Bench bench;
    const std::wstring file = makeFile(L"a.ova").wstring();
    describe({L"one"});
    nameOnce({L"", L""});
    std::wstring name = L"before";
    EXPECT_EQ(bench.box.getImportOvaVmName(file, &name), 0);
    EXPECT_EQ(name, L"before");
    describe({});
    EXPECT_EQ(bench.box.getImportOvaVmName(file, &name), 0);
    EXPECT_EQ(name, L"before");
}

TEST(OpenMedium, OfAMissingFileAsksForNothing)
{
    Bench bench(Bench::withoutRoots);
    VBoxHandle medium = 77;
    EXPECT_EQ(bench.box.openMedium(missingFile(), false, &medium), 195);
    EXPECT_EQ(bench.box.openMedium(L"", false, &medium), 195);
    EXPECT_EQ(medium, 77u);
    EXPECT_EQ(FakeWorld::takeCalls(), Calls());
    // An empty path is answered without a "return " record.
    EXPECT_EQ(bench.records(), (Records{info(L"openMedium", missingFile()),
                                        record("INFO", L"Travik::Utils::checkFileExists", missingFile()),
                                        record("INFO", L"Travik::Utils::checkFileExists", L"return 0"),
                                        sdkFailure(L"openMedium", CheckFileExistsFail), info(L"openMedium", L""),
                                        record("INFO", L"Travik::Utils::checkFileExists", L""),
                                        sdkFailure(L"openMedium", CheckFileExistsFail)}));
}

TEST(OpenMedium, PassesTheFlagOn)
{
    Bench bench;
    const std::wstring file = makeFile(L"disk.vdi").wstring();
    EXPECT_EQ(bench.box.openMedium(file, false, nullptr), 0);
    EXPECT_EQ(FakeWorld::takeCalls(), Calls{L"virtualBox: IVirtualBox::OpenMedium(" + rendered(file) + L", 3, 2, 0)"});
    EXPECT_EQ(bench.box.size(Table::medium), 0u);
    EXPECT_EQ(bench.records()[0], info(L"openMedium", file)); // without the flag
}

TEST(CloseMedium, KeepsTheHandle)
{
    Bench bench;
    bench.give(Table::medium);
    EXPECT_EQ(bench.box.closeMedium(1), 0);
    EXPECT_EQ(bench.box.size(Table::medium), 1u);
    EXPECT_EQ(bench.box.closeMedium(1), 0);
}

TEST(DeleteMedium, RemovesTheFileOfTheImageAndTellsNothingToVirtualBox)
{
    Bench bench;
    bench.give(Table::medium);
    const fs::path file = makeFile(L"\x4E2D\x6587 \xD83C\xDFAE.vdi");
    FakeWorld::answer(L"IMedium::get_Location", {.given = {file.wstring()}});
    EXPECT_EQ(bench.box.deleteMedium(1), 0);
    EXPECT_FALSE(fs::exists(file));
    EXPECT_EQ(FakeWorld::takeCalls(), Calls{L"medium#1: IMedium::get_Location()"});
    EXPECT_EQ(bench.box.deleteMedium(1), 197); // already gone
    EXPECT_EQ(bench.box.size(Table::medium), 1u);
}

TEST(DeleteMedium, WithoutALocationDeletesNothing)
{
    Bench bench;
    bench.give(Table::medium);
    FakeWorld::answer(L"IMedium::get_Location", {.given = {Null()}});
    EXPECT_EQ(bench.box.deleteMedium(1), 0);
    EXPECT_EQ(bench.records(), Records{info(L"deleteMedium", L"1")});
    FakeWorld::answer(L"IMedium::get_Location", {.given = {std::wstring()}});
    EXPECT_EQ(bench.box.deleteMedium(1), 197); // an empty text is one, and no file
    EXPECT_EQ(bench.records(),
              (Records{info(L"deleteMedium", L"1"), record("INFO", L"Travik::Utils::removeFilePath", L""),
                       sdkFailure(L"deleteMedium", RemoveFilePathFail)}));
}

TEST(DeleteMedium, OfAReadOnlyFileLeavesByTheSystemsException)
{
    Bench bench;
    bench.give(Table::medium);
    const fs::path file = makeFile(L"read only.vdi");
    FakeWorld::answer(L"IMedium::get_Location", {.given = {file.wstring()}});
    SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY);
    EXPECT_THROW(bench.box.deleteMedium(1), Poco::Exception);
    EXPECT_TRUE(bench.mutexIsFree());
    EXPECT_TRUE(fs::exists(file));
    SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_NORMAL);
    EXPECT_EQ(ComMemory::liveTexts(), 0u);
}

TEST(DeleteMedium, RemovesAWholeFolder)
{
    Bench bench;
    bench.give(Table::medium);
    makeFile(L"tree\\branch\\leaf");
    const fs::path tree = scratchFolder() / L"tree";
    FakeWorld::answer(L"IMedium::get_Location", {.given = {tree.generic_wstring()}}); // the other separator
    EXPECT_EQ(bench.box.deleteMedium(1), 0);
    EXPECT_FALSE(fs::exists(tree));
}

TEST(GetMediumState, AsksForAFreshOneAndHandsItOutUnchanged)
{
    Bench bench;
    bench.give(Table::medium);
    FakeWorld::answer(L"IMedium::RefreshState", {.given = {std::int64_t(4294967295)}});
    std::uint32_t state = 0;
    EXPECT_EQ(bench.box.getMediumState(1, &state), 0);
    EXPECT_EQ(state, 4294967295u);
    EXPECT_EQ(bench.records().back(), info(L"getMediumState", L"return medium state = 4294967295"));
}

TEST(AttachMedium, WithAReleasedMediumMakesNoCall)
{
    Bench bench;
    bench.give(Table::machine);
    bench.give(Table::medium);
    bench.box.releaseMedium(1);
    EXPECT_EQ(bench.box.attachMedium(1, 1, L"SATA", 0, 0), 194);
    EXPECT_EQ(FakeWorld::takeCalls(), Calls());
}

TEST(AttachMedium, ReturnsZeroWhenBothMarksAreRefused)
{
    Bench bench;
    bench.give(Table::machine);
    bench.give(Table::medium);
    FakeWorld::answer(L"IMachine::SetAutoDiscardForDevice", {.result = E_NOTIMPL});
    FakeWorld::answer(L"IMachine::NonRotationalDevice", {.result = S_FALSE}); // any result but 0
    EXPECT_EQ(bench.box.attachMedium(1, 1, L"SATA", 0, 0), 0);
    EXPECT_EQ(bench.records(), (Records{info(L"attachMedium", L"1 | 1 | SATA | 0 | 0"),
                                        ignored(L"attachMedium", SetAutoDiscardForDeviceFail, Result::NotImpl),
                                        ignored(L"attachMedium", NonRotationalDeviceFail, 1)}));
    EXPECT_EQ(bench.box.lastRC, 0u);
}

TEST(AttachMedium, LetsAnotherOperationRunBetweenTheAttachingAndTheMarks)
{
    Bench bench;
    bench.give(Table::machine);
    bench.give(Table::medium);
    FakeWorld::answerOnce(L"IMachine::AttachDevice", {.during = [&] {
                              EXPECT_TRUE(worker().run([&] { EXPECT_EQ(bench.box.saveSettings(1), 0); }));
                          }});
    EXPECT_EQ(bench.box.attachMedium(1, 1, L"SATA", 0, 0), 0);
    const Calls calls = FakeWorld::takeCalls();
    ASSERT_EQ(calls.size(), 4u);
    EXPECT_EQ(calls[1], L"machine#1: IMachine::SaveSettings()");
}

TEST(GetCurrentMedium, OfAnEmptySlotLeavesTheOutputAsItWas)
{
    Bench bench;
    bench.give(Table::machine);
    FakeWorld::answer(L"IMachine::GetMedium", {.given = {Null()}});
    VBoxHandle medium = 77;
    EXPECT_EQ(bench.box.getCurrentMedium(1, L"SATA", 0, 0, &medium), 0);
    EXPECT_EQ(medium, 77u);
}

TEST(RenameVmDisk, WorksWithoutVirtualBoxAndKeepsTheLastResult)
{
    Bench bench(Bench::withoutRoots);
    bench.box.lastRC = Result::ObjectNotFound;
    const fs::path from = makeFile(L"from \xD83C\xDFAE.vdi");
    const fs::path to = scratchFolder() / L"to.vdi";
    fs::remove(to);
    EXPECT_EQ(bench.box.renameVmDisk(from.wstring(), to.wstring()), 0);
    EXPECT_TRUE(fs::exists(to));
    EXPECT_FALSE(fs::exists(from));
    EXPECT_EQ(bench.box.renameVmDisk(from.wstring(), to.wstring()), 196); // the source is missing now
    EXPECT_EQ(bench.box.getVBoxError(), Result::ObjectNotFound);
    EXPECT_EQ(bench.box.virtualBox, nullptr);
}

TEST(RenameVmDisk, OverwritesNothing)
{
    Bench bench;
    const fs::path from = makeFile(L"from.vdi");
    const fs::path to = makeFile(L"to.vdi");
    EXPECT_EQ(bench.box.renameVmDisk(from.wstring(), to.wstring()), 196);
    EXPECT_TRUE(fs::exists(from));
    EXPECT_TRUE(fs::exists(to));
    bench.records();
    EXPECT_EQ(bench.box.renameVmDisk(from.wstring(), L""), 196);
    EXPECT_EQ(bench.records(), (Records{info(L"renameVmDisk", from.wstring() + L" | "),
                                        record("INFO", L"Travik::Utils::renameFilePath", from.wstring() + L" | "),
                                        sdkFailure(L"renameVmDisk", RenameFilePathFail)}));
}

TEST(RestoreVmDisk, ChecksItsMachineAndTouchesNoFile)
{
    Bench bench;
    bench.give(Table::machine);
    const fs::path disk = makeFile(L"disk.vdi");
    EXPECT_EQ(bench.box.restoreVmDisk(1, disk.wstring()), 0);
    EXPECT_TRUE(fs::exists(disk));
    EXPECT_EQ(bench.records(), Records{info(L"restoreVmDisk", L"1 | " + disk.wstring())});
    bench.box.releaseMachine(1);
    EXPECT_EQ(bench.box.restoreVmDisk(1, disk.wstring()), 181);
    EXPECT_EQ(FakeWorld::takeCalls(), Calls());
}

} // namespace TravikTest
