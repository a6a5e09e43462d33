// Machines by list, name, UUID and settings file; registering and renaming them.

#include <algorithm>
#include <set>

#include "harness/system_test.h"

namespace TravikTest {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

constexpr const wchar_t* newId = L"3e9c1b52-6f6a-4c0e-9d55-0a1b2c3d4eff";
constexpr const wchar_t* noId = L"00000000-0000-4000-8000-000000000000";

class Lookup : public SystemTest
{
protected:
    VBoxHandle open(const std::filesystem::path& file)
    {
        VBoxHandle machine = 0;
        check(sdk, sdk.openMachine(file.wstring(), &machine));
        return machine;
    }

    std::wstring uuidOf(VBoxHandle machine) { return ask<std::wstring>(sdk, &VBoxInstanceImpl::getVmUUID, machine); }
};

TEST_F(Lookup, ListsEveryMachineAlsoTheInaccessibleOne)
{
    std::vector<VBoxHandle> machines;
    ASSERT_TRUE(done(sdk.listVms(&machines)));
    ASSERT_EQ(machines.size(), Machines::count);
    std::set<std::wstring> ids;
    for (VBoxHandle machine : machines)
        ids.insert(uuidOf(machine));
    EXPECT_THAT(ids, UnorderedElementsAre(Machines::playerId, Machines::workerId, Machines::chineseId,
                                          Machines::emojiId, Machines::damagedId));
}

TEST_F(Lookup, ListAppendsNewHandlesEachTime)
{
    std::vector<VBoxHandle> machines = {4'000'000'000u};
    ASSERT_TRUE(done(sdk.listVms(&machines)));
    ASSERT_TRUE(done(sdk.listVms(&machines)));
    ASSERT_EQ(machines.size(), 1 + 2 * Machines::count);
    EXPECT_EQ(machines.front(), 4'000'000'000u);
    EXPECT_EQ(std::set<VBoxHandle>(machines.begin(), machines.end()).size(), machines.size());
}

TEST_F(Lookup, ListWithoutAPlaceIsFine)
{
    EXPECT_TRUE(done(sdk.listVms(nullptr)));
}

TEST_F(Lookup, FindsByExactName)
{
    for (const wchar_t* name : {Machines::player, Machines::worker, Machines::chinese, Machines::emoji})
        EXPECT_EQ(nameOf(find(name)), name);
}

TEST_F(Lookup, FindsByUuidInEitherForm)
{
    EXPECT_EQ(nameOf(find(Machines::emojiId)), Machines::emoji);
    EXPECT_EQ(nameOf(find(std::wstring(L"{") + Machines::chineseId + L"}")), Machines::chinese);
}

TEST_F(Lookup, FindsTheSameMachineUnderANewHandle)
{
    const VBoxHandle first = find(Machines::player);
    const VBoxHandle second = find(Machines::player);
    EXPECT_GT(second, first);
    EXPECT_EQ(uuidOf(first), uuidOf(second));
    EXPECT_TRUE(done(sdk.releaseMachine(first)));
    std::wstring name = L"as it was";
    EXPECT_TRUE(failedUnasked(sdk.getVmName(first, &name), COM_Get_MachineFail));
    EXPECT_EQ(name, L"as it was");
    EXPECT_EQ(nameOf(second), Machines::player);
}

TEST_F(Lookup, UuidIsInLowerCaseWithoutBraces)
{
    EXPECT_EQ(uuidOf(find(Machines::player)), Machines::playerId);
}

TEST_F(Lookup, UnknownMachineIsRefusedInTheseWords)
{
    VBoxHandle machine = 77;
    EXPECT_TRUE(refused(sdk.findMachine(L"vm1", &machine), FindMachineFail, Result::ObjectNotFound));
    EXPECT_EQ(withoutLine(sdk.getVBoxErrorMessage()),
              L"vbox sdk failure in Travik::VBox::findMachine(vm1): with rc=0x80bb0001 rcDesc=ObjectNotFound "
              L"errorDesc=FindMachineFail");
    EXPECT_EQ(machine, 77u);
    EXPECT_TRUE(refused(sdk.findMachine(noId, &machine), FindMachineFail, Result::ObjectNotFound));
}

// Assumed of VirtualBox, not documented.
TEST_F(Lookup, NamesDifferByCase)
{
    VBoxHandle machine = 77;
    EXPECT_TRUE(refused(sdk.findMachine(L"player", &machine), FindMachineFail, Result::ObjectNotFound));
}

TEST_F(Lookup, FindWithoutAPlaceIsFine)
{
    EXPECT_TRUE(done(sdk.findMachine(Machines::player, nullptr)));
}

TEST_F(Lookup, ErrorIsClearedByTheNextOperationAndTheTextStays)
{
    EXPECT_EQ(sdk.findMachine(L"vm1", nullptr), FindMachineFail);
    const std::wstring text = sdk.getVBoxErrorMessage();
    EXPECT_TRUE(done(sdk.findMachine(Machines::player, nullptr)));
    EXPECT_EQ(sdk.getVBoxError(), 0u);
    EXPECT_EQ(sdk.getVBoxErrorMessage(), text);
}

TEST_F(Lookup, StrangeNamesAreRefusedAndRecorded)
{
    const std::wstring strange[] = {std::wstring(32'000, L'x'), std::wstring(L"Pla\0yer", 7),
                                    std::wstring(L"\xD83C", 1), L"* | ? < > \"", L"\r\n\t"};
    for (const std::wstring& name : strange) {
        VBoxHandle machine = 77;
        EXPECT_TRUE(refused(sdk.findMachine(name, &machine), FindMachineFail, Result::ObjectNotFound));
        EXPECT_NE(sdk.getVBoxErrorMessage().find(L"findMachine(" + name + L"):"), std::wstring::npos);
        EXPECT_EQ(machine, 77u);
    }
    EXPECT_EQ(sdk.findMachine(L"", nullptr), FindMachineFail);
}

TEST_F(Lookup, InaccessibleMachineIsFoundByUuidOnly)
{
    const VBoxHandle damaged = find(Machines::damagedId);
    EXPECT_EQ(uuidOf(damaged), Machines::damagedId);
    VBoxHandle machine = 77;
    EXPECT_TRUE(refused(sdk.findMachine(L"Damaged", &machine), FindMachineFail, Result::ObjectNotFound));
}

// That it is E_ACCESSDENIED is assumed of VirtualBox; that it fails is documented.
TEST_F(Lookup, InaccessibleMachineRefusesTheRestAndDisturbsNobody)
{
    const VBoxHandle damaged = find(Machines::damagedId);
    std::wstring name = L"as it was";
    std::uint32_t state = 77;
    EXPECT_TRUE(refused(sdk.getVmName(damaged, &name), PutNameFail, Result::AccessDenied));
    EXPECT_TRUE(refused(sdk.machineGetState(damaged, &state), MachineGetStateFail, Result::AccessDenied));
    EXPECT_TRUE(refused(sdk.setVmName(damaged, L"New"), PutNameFail, Result::AccessDenied));
    EXPECT_EQ(name, L"as it was");
    EXPECT_EQ(state, 77u);
    EXPECT_EQ(nameOf(find(Machines::worker)), Machines::worker);
}

TEST_F(Lookup, AMendedSettingsFileMakesTheMachineAccessibleAfterARestart)
{
    world().writeMachine(L"Damaged", Machines::damagedId);
    restartServer();
    EXPECT_EQ(nameOf(find(Machines::damagedId)), L"Damaged");
}

TEST_F(Lookup, OpensAMachineThatIsNotRegistered)
{
    const auto file = world().writeMachine(L"Fresh \u65b0 \U0001F3AE", newId);
    const VBoxHandle machine = open(file);
    EXPECT_EQ(nameOf(machine), L"Fresh \u65b0 \U0001F3AE");
    EXPECT_EQ(uuidOf(machine), newId);
    std::vector<VBoxHandle> machines;
    ASSERT_TRUE(done(sdk.listVms(&machines)));
    EXPECT_EQ(machines.size(), Machines::count);
}

TEST_F(Lookup, OpenIsRefusedForAMissingFile)
{
    VBoxHandle machine = 77;
    const std::wstring missing = world().machineFile(L"Missing").wstring();
    EXPECT_TRUE(refused(sdk.openMachine(missing, &machine), OpenMachineFail, Result::Fail));
    EXPECT_NE(sdk.getVBoxErrorMessage().find(L"openMachine(" + missing + L"):"), std::wstring::npos);
    EXPECT_EQ(machine, 77u);
}

TEST_F(Lookup, OpenIsRefusedForAPathThatIsNotWhole)
{
    VBoxHandle machine = 77;
    EXPECT_TRUE(refused(sdk.openMachine(L"Player\\Player.vbox", &machine), OpenMachineFail, Result::FileError));
}

TEST_F(Lookup, OpenIsRefusedForADamagedFile)
{
    VBoxHandle machine = 77;
    const std::wstring damaged = world().machineFile(L"Damaged").wstring();
    EXPECT_TRUE(refusedAny(sdk.openMachine(damaged, &machine), OpenMachineFail, {Result::XMLError, Result::Fail}));
    for (const char* content :
         {"", "no XML at all", "<VirtualBox/>", "\xff\xfe\x00", "<?xml version=\"1.0\"?><Other/>"}) {
        const auto file = world().machineFile(L"Bad");
        writeFile(file, content);
        EXPECT_TRUE(
            refusedAny(sdk.openMachine(file.wstring(), &machine), OpenMachineFail, {Result::XMLError, Result::Fail}))
            << content;
    }
    EXPECT_EQ(machine, 77u);
}

TEST_F(Lookup, RegistersAnOpenedMachineForGood)
{
    const VBoxHandle machine = open(world().writeMachine(L"Fresh", newId));
    EXPECT_TRUE(refused(sdk.findMachine(L"Fresh", nullptr), FindMachineFail, Result::ObjectNotFound));
    EXPECT_TRUE(done(sdk.registerMachine(machine)));
    EXPECT_EQ(uuidOf(find(L"Fresh")), newId);
    EXPECT_EQ(nameOf(machine), L"Fresh"); // the handle stays good

    restartServer();
    EXPECT_EQ(uuidOf(find(L"Fresh")), newId);
}

// Which results VirtualBox gives for these two is assumed.
TEST_F(Lookup, RegisterIsRefusedForAMachineThatIsRegistered)
{
    EXPECT_TRUE(refused(sdk.registerMachine(find(Machines::player)), RegisterMachineFail, Result::InvalidObjectState));
}

TEST_F(Lookup, RegisterIsRefusedForAUuidThatIsTaken)
{
    const std::filesystem::path file = world().writeMachine(L"Copy", newId);
    const VBoxHandle first = open(file), second = open(file);
    EXPECT_TRUE(done(sdk.registerMachine(first)));
    EXPECT_TRUE(refused(sdk.registerMachine(second), RegisterMachineFail, Result::InvalidArg));
}

TEST_F(Lookup, OpeningIsRefusedForAUuidThatIsTaken)
{
    const std::filesystem::path file = world().writeMachine(L"Copy", Machines::playerId);
    VBoxHandle machine = 0;
    EXPECT_TRUE(refused(sdk.openMachine(file.wstring(), &machine), OpenMachineFail, Result::Fail));
    EXPECT_EQ(nameOf(find(Machines::playerId)), Machines::player);
}

TEST_F(Lookup, RegisterOfAnUnknownHandleDoesNotAsk)
{
    EXPECT_TRUE(failedUnasked(sdk.registerMachine(4'000'000'000u), COM_Get_MachineFail));
}

TEST_F(Lookup, RenamesAnOpenedMachineWithItsFiles)
{
    const std::wstring newName = L"\u65b0\u540d \U0001F680";
    const VBoxHandle machine = open(world().writeMachine(L"Fresh", newId));
    EXPECT_TRUE(done(sdk.setVmName(machine, newName)));
    EXPECT_TRUE(std::filesystem::exists(world().machineFile(L"Fresh"))) << "nothing moves before it is saved";
    EXPECT_TRUE(done(sdk.saveSettings(machine)));
    EXPECT_EQ(nameOf(machine), newName);
    EXPECT_FALSE(std::filesystem::exists(world().machineFile(L"Fresh")));
    EXPECT_TRUE(std::filesystem::exists(world().machineFile(L"\u65b0\u540d _"))) << "files have no emoji";

    ASSERT_TRUE(done(sdk.registerMachine(machine)));
    restartServer();
    EXPECT_EQ(uuidOf(find(newName)), newId);
}

TEST_F(Lookup, RenameIsRefusedWithoutALock)
{
    const VBoxHandle machine = find(Machines::player);
    EXPECT_TRUE(refused(sdk.setVmName(machine, L"Other"), PutNameFail, Result::InvalidVMState));
    EXPECT_EQ(nameOf(machine), Machines::player);
}

TEST_F(Lookup, NameWithoutAPlaceIsFine)
{
    const VBoxHandle machine = find(Machines::player);
    EXPECT_TRUE(done(sdk.getVmName(machine, nullptr)));
    EXPECT_TRUE(done(sdk.getVmUUID(machine, nullptr)));
}

class EmptyWorld : public SystemTest
{
protected:
    void furnish() override {}
};

TEST_F(EmptyWorld, ListsNothing)
{
    std::vector<VBoxHandle> machines;
    EXPECT_TRUE(done(sdk.listVms(&machines)));
    EXPECT_TRUE(machines.empty());
}

// The world that comes with the stand-in.
class Fixtures : public SystemTest
{
protected:
    void furnish() override
    {
        const std::filesystem::path source = std::filesystem::path(_wgetenv(L"TRAVIK_TEST_FIXTURES")) / L"world";
        std::filesystem::remove_all(world().home());
        std::filesystem::copy(source, world().home(), std::filesystem::copy_options::recursive);
    }
};

TEST_F(Fixtures, ShowAtLeastFiveMachinesOfWhichSomeCannotBeRead)
{
    const std::vector<MachineEntry> entries = listMachines(sdk);
    EXPECT_GE(entries.size(), 5u);
    const auto problems = std::ranges::count_if(entries, [](const MachineEntry& entry) { return !entry.accessible; });
    EXPECT_GE(problems, 1);
    const auto named = [&](auto&& fits) {
        return std::ranges::any_of(entries,
                                   [&](const MachineEntry& entry) { return std::ranges::any_of(entry.name, fits); });
    };
    EXPECT_TRUE(named([](wchar_t c) { return c >= 0x4E00 && c <= 0x9FFF; })) << "a Chinese name";
    EXPECT_TRUE(named([](wchar_t c) { return c >= 0xD83C && c <= 0xD83E; })) << "an emoji";
    for (const MachineEntry& entry : entries) {
        if (entry.accessible) {
            EXPECT_EQ(nameOf(find(entry.name)), entry.name);
        }
        EXPECT_NE(find(entry.uuid), 0u);
    }
}

} // namespace
} // namespace TravikTest
