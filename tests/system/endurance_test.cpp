// Many machines, hostile files, and a server that dies while it saves.

#include <random>
#include <set>

#include "harness/running_machine.h"
#include "harness/settings_text.h"

namespace TravikTest {
namespace {

namespace fs = std::filesystem;

std::wstring numberedId(int number)
{
    wchar_t id[40];
    std::swprintf(id, 40, L"7f000000-0000-4000-8000-%012x", number);
    return id;
}

class ManyMachines : public SystemTest
{
protected:
    static constexpr int count = 2'000;

    void furnish() override
    {
        for (int i = 0; i < count; ++i)
            world().addMachine(L"Machine " + std::to_wstring(i), numberedId(i));
        world().writeRegistry();
    }
};

TEST_F(ManyMachines, AreListedAllAndTwice)
{
    std::vector<VBoxHandle> machines;
    ASSERT_TRUE(done(sdk.listVms(&machines)));
    ASSERT_EQ(machines.size(), std::size_t(count));
    std::set<std::wstring> names;
    for (VBoxHandle machine : machines)
        names.insert(nameOf(machine));
    EXPECT_EQ(names.size(), std::size_t(count));
    EXPECT_TRUE(names.contains(L"Machine 0"));
    EXPECT_TRUE(names.contains(L"Machine 1999"));

    // The table holds 2000: each new handle drops the oldest.
    std::vector<VBoxHandle> again;
    ASSERT_TRUE(done(sdk.listVms(&again)));
    EXPECT_EQ(again.size(), std::size_t(count));
    EXPECT_EQ(sdk.getVmName(machines.front(), nullptr), COM_Get_MachineFail);
    EXPECT_EQ(nameOf(again.back()), nameOf(find(nameOf(again.back()))));
}

// ---- hostile files

/// Damages a text or an image in one of the ways in which files get damaged.
class Damage
{
public:
    explicit Damage(std::uint32_t seed) : random_(seed) {}

    std::string to(std::string content)
    {
        for (std::size_t times = 1 + below(4); times > 0 && !content.empty(); --times) {
            const std::size_t at = below(content.size());
            const std::size_t length = 1 + below(std::min<std::size_t>(content.size() - at, 40));
            switch (below(6)) {
            case 0:
                content[at] = static_cast<char>(below(256));
                break;
            case 1:
                content[at] = static_cast<char>(content[at] ^ (1 << below(8)));
                break;
            case 2:
                content.erase(at, length);
                break;
            case 3:
                content.insert(at, content.substr(at, length));
                break;
            case 4:
                content.resize(at);
                break;
            default:
                content.replace(at, std::min<std::size_t>(length, 4), "\xff\xff\xff\x7f");
                break;
            }
        }
        return content;
    }

    std::size_t below(std::size_t limit) { return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random_); }

private:
    std::mt19937 random_;
};

constexpr std::uint32_t seed = 20'240'301;

class HostileFiles : public SystemTest
{
protected:
    void openDamagedSettings(int rounds)
    {
        MachineText text;
        text.mediaRegistry = hardDiskXml(L"5d1f4b1e-0000-4000-8000-000000000001", "disk.vdi");
        text.sataAttachments = attachedDiskXml(L"5d1f4b1e-0000-4000-8000-000000000001", 0) + emptyDriveXml(1);
        text.hardware = "<GuestProperties><GuestProperty name=\"/a\" value=\"1\" timestamp=\"1600000000000000000\" "
                        "flags=\"\"/></GuestProperties><SharedFolders><SharedFolder name=\"s\" hostPath=\"C:\\\" "
                        "writable=\"true\" autoMount=\"true\"/></SharedFolders>";
        const fs::path file = world().writeMachine(L"Victim", numberedId(1), text);
        const std::string whole = readFile(file);
        Damage damage(seed);
        int opened = 0;
        for (int round = 0; round < rounds; ++round) {
            writeFile(file, damage.to(whole));
            VBoxHandle machine = 0;
            const SdkErrorCode code = sdk.openMachine(file.wstring(), &machine);
            ASSERT_TRUE(code == 0 || code == OpenMachineFail) << "round " << round << " of seed " << seed;
            if (code == 0) {
                ++opened;
                std::wstring name;
                EXPECT_EQ(sdk.getVmName(machine, &name), 0u) << "round " << round << " of seed " << seed;
                EXPECT_EQ(sdk.releaseMachine(machine), 0u);
            } else {
                // ObjectNotFound: the disk is attached by an identifier that the file does not list (any more).
                ASSERT_TRUE(refusedAny(
                    code, OpenMachineFail,
                    {Result::XMLError, Result::Fail, Result::FileError, Result::InvalidArg, Result::ObjectNotFound}))
                    << "round " << round << " of seed " << seed;
            }
        }
        EXPECT_LT(opened, rounds) << "the damage was none";
        EXPECT_EQ(nameOf(find(Machines::player)), Machines::player) << "the server works on";
    }

    void openDamagedImages(int rounds)
    {
        const fs::path file = world().folder() / L"victim.vdi";
        writeVdi(file, numberedId(2), 16);
        const std::string header = readFile(file).substr(0, 0x280);
        const std::string rest = readFile(file).substr(0x280);
        Damage damage(seed);
        int refusals = 0;
        for (int round = 0; round < rounds; ++round) {
            writeFile(file, damage.to(header) + rest);
            VBoxHandle medium = 0;
            const SdkErrorCode code = sdk.openMedium(file.wstring(), damage.below(4) == 0, &medium);
            ASSERT_TRUE(code == 0 || code == OpenMediumFail) << "round " << round << " of seed " << seed;
            if (code == 0) {
                std::uint32_t state = 0;
                EXPECT_EQ(sdk.getMediumState(medium, &state), 0u);
                ASSERT_TRUE(done(sdk.closeMedium(medium))) << "round " << round << " of seed " << seed;
                EXPECT_EQ(sdk.releaseMedium(medium), 0u);
            } else {
                ++refusals;
            }
        }
        EXPECT_GT(refusals, 0) << "the damage was none";
        EXPECT_EQ(nameOf(find(Machines::player)), Machines::player) << "the server works on";
    }
};

TEST_F(HostileFiles, DamagedSettingsAreAnswered)
{
    openDamagedSettings(250);
}

TEST_F(HostileFiles, DamagedImagesAreAnswered)
{
    openDamagedImages(250);
}

class HostileFilesLong : public HostileFiles
{};

TEST_F(HostileFilesLong, ThousandsOfDamagedSettingsAreAnswered)
{
    openDamagedSettings(5'000);
}

TEST_F(HostileFilesLong, ThousandsOfDamagedImagesAreAnswered)
{
    openDamagedImages(5'000);
}

// ---- a server that dies while it saves

/// Changes and saves a machine for ever; says when it begins.
const Role saveForEver(L"save-for-ever", [](const RoleIo& io) {
    VBoxInstanceImpl& sdk = library();
    const auto machine = ask<VBoxHandle>(sdk, &VBoxInstanceImpl::findMachine, Machines::playerId);
    check(sdk, sdk.lockMachine(machine, LockType::Write));
    const auto own = ask<VBoxHandle>(sdk, &VBoxInstanceImpl::createMutableMachine, machine);
    io.say(L"saving");
    for (std::uint32_t i = 0;; ++i) {
        // Now long, now short, so that half of an old file would show.
        const std::wstring value(i % 2 == 0 ? 20'000 : 1, L'x');
        if (sdk.setMachineMemory(own, 64 + i % 1'000) != 0 ||
            sdk.setMachineExtraData(own, L"travik/size", value) != 0 ||
            sdk.setVmName(own, L"Saved " + std::to_wstring(i % 7)) != 0 || sdk.saveSettings(own) != 0)
            return 0; // the server has died
    }
});

class CrashWhileSaving : public SystemTest
{
protected:
    void crashAndLook(int rounds, std::uint32_t ownSeed = seed)
    {
        std::mt19937 random(ownSeed);
        for (int round = 0; round < rounds; ++round) {
            SCOPED_TRACE("round " + std::to_string(round) + " of seed " + std::to_string(ownSeed));
            {
                FrontEndProcess saver(L"save-for-ever");
                ASSERT_EQ(saver.readLine(), L"saving");
                Sleep(std::uniform_int_distribution<DWORD>(0, 60)(random));
                crashServer();
                EXPECT_EQ(saver.wait(), 0u);
            }
            sdk.releaseRC();
            startNextServer();
            const std::vector<MachineEntry> entries = listMachines(sdk);
            ASSERT_EQ(entries.size(), Machines::count);
            for (const MachineEntry& entry : entries)
                EXPECT_EQ(entry.accessible, entry.uuid != Machines::damagedId) << utf8(entry.uuid + entry.problem);
        }
    }
};

TEST_F(CrashWhileSaving, LeavesEveryMachineWhole)
{
    crashAndLook(10);
}

/// A hundred times in all, ten in each process: one client does not outlive many servers under Wine.
class CrashWhileSavingLong : public CrashWhileSaving, public testing::WithParamInterface<std::uint32_t>
{};

TEST_P(CrashWhileSavingLong, LeavesEveryMachineWhole)
{
    crashAndLook(10, seed + GetParam());
}

INSTANTIATE_TEST_SUITE_P(Tens, CrashWhileSavingLong, testing::Range<std::uint32_t>(1, 11));

} // namespace
} // namespace TravikTest
