// Every operation that saves something, with each of its changes on disk refused in turn.
#include <windows.h>

#include <functional>
#include <optional>

#include "appliance_writers.h"
#include "base/files.h"
#include "base/text.h"
#include "host/cloning.h"
#include "host/deletion.h"
#include "host/error_mapping.h"
#include "host/importing.h"
#include "host/medium_creation.h"
#include "host/vm_life.h"
#include "host_fixture.h"

namespace VBoxSim {

namespace {

/// What the operations work on.
struct SavingScene : Scene
{
    SavingScene()
    {
        lockedBy(session(L"one"), machine);
        machine->working.memoryMegabytes = 777;
    }

    /// As the session's machine.
    MachineView view() { return MachineView(host, machine, machine->lock); }
    void unlock() { unlockSession(host, session(L"one")); }

    const MachinePtr machine = withDisk(L"first");
    const MediumPtr medium = host.media().find(machine->saved.media.at(0).id);
    const MachinePtr other = newMachine(L"second");
    const AppliancePtr appliance = std::make_shared<ApplianceData>();
};

/// A file that somebody holds open, and lets nobody else write or replace.
class HeldFile
{
public:
    explicit HeldFile(const std::wstring& file, DWORD share = FILE_SHARE_READ)
        : handle_(CreateFileW(file.c_str(), GENERIC_READ, share, nullptr, OPEN_EXISTING, 0, nullptr))
    {}
    ~HeldFile() { CloseHandle(handle_); }
    HeldFile(const HeldFile&) = delete;
    HeldFile& operator=(const HeldFile&) = delete;

    std::string read(DWORD length)
    {
        std::string text(length, '\0');
        DWORD got = 0;
        ReadFile(handle_, text.data(), length, &got, nullptr);
        text.resize(got);
        return text;
    }

private:
    HANDLE handle_;
};

/// A file in the place of a folder.
class FileInTheWay
{
public:
    explicit FileInTheWay(const std::wstring& folder) : file_(folder)
    {
        ImageWriters::writeFile(file_, ImageWriters::Bytes(1));
    }
    ~FileInTheWay() { std::filesystem::remove(file_); }
    FileInTheWay(const FileInTheWay&) = delete;
    FileInTheWay& operator=(const FileInTheWay&) = delete;

private:
    const std::filesystem::path file_;
};

/// Makes a write of an operation fail as it does in life, for as long as the result is kept.
using Obstruct = std::function<std::shared_ptr<void>(SavingScene&)>;

std::shared_ptr<void> holdSettings(SavingScene& scene)
{
    return std::make_shared<HeldFile>(scene.machine->file);
}

std::shared_ptr<void> holdRegistry(SavingScene& scene)
{
    scene.host.machines().setExtraData(L"Key", L"value"); // that there is one
    return std::make_shared<HeldFile>(scene.host.machines().settingsFile());
}

std::shared_ptr<void> holdDisk(SavingScene& scene)
{
    return std::make_shared<HeldFile>(scene.medium->location);
}

std::shared_ptr<void> obstructOther(SavingScene& scene)
{
    return std::make_shared<FileInTheWay>(Files::folderOf(scene.other->file));
}

struct Operation
{
    const char* name;
    std::function<void(SavingScene&)> run;
    Obstruct obstruct;
    std::function<void(SavingScene&)> before = [](SavingScene&) {};
};

void unlock(SavingScene& scene)
{
    scene.unlock();
}

void detach(SavingScene& scene)
{
    scene.view().detach({L"SATA", 0, 0});
    scene.view().saveSettings();
    scene.unlock();
}

/// The medium is in the registries of two machines, and attached to neither.
void listTwice(SavingScene& scene)
{
    detach(scene);
    scene.host.machines().add(scene.other);
    const MachineView other = scene.lockedBy(scene.session(L"one"), scene.other);
    other.addController(L"SATA", Travik::StorageBus::SATA);
    other.attach({L"SATA", 0, 0}, DeviceKind::hardDisk, scene.medium);
    other.detach({L"SATA", 0, 0});
    other.saveSettings();
    scene.unlock();
}

void rename(SavingScene& scene)
{
    scene.view().setName(L"renamed");
    scene.view().saveSettings();
}

void unregister(SavingScene& scene)
{
    unregisterMachine(scene.host, scene.machine, Travik::CleanupMode::DetachAllReturnHardDisksOnly);
}

std::wstring newImage(SavingScene& scene)
{
    return scene.path(L"disks\\new.vdi");
}

void makeImage(SavingScene& scene)
{
    createVdi(newImage(scene), 1 << 20, {});
}

void createStorage(SavingScene& scene)
{
    const MediumPtr made = createMedium(scene.host, L"VDI", newImage(scene), DeviceKind::hardDisk);
    scene.finish(createBaseStorage(scene.host, made, 1 << 20, 0));
}

void startMachine(SavingScene& scene)
{
    scene.unlock();
    scene.powerUp(scene.machine, scene.session(L"one"));
}

void saveMachineState(SavingScene& scene)
{
    const ProgressPtr progress = saveState(scene.host, scene.machine);
    scene.pass(scene.host.scenario().times.stop);
    scene.finish(progress);
}

void adoptState(SavingScene& scene)
{
    adoptSavedState(scene.host, *scene.machine, L"Snapshots\\state.sav");
}

void deleteTheMachine(SavingScene& scene)
{
    scene.finish(deleteMachine({scene.host, scene.machine}, {scene.medium}));
}

void readOvf(SavingScene& scene)
{
    const std::string ovf = ApplianceWriters::makeOvf({});
    ImageWriters::writeFile(scene.folder / "disk1.vmdk", ImageWriters::makeVmdk(ImageWriters::makeContent(1 << 20, 1)));
    ImageWriters::writeFile(scene.folder / "box.ovf", ImageWriters::Bytes(ovf.begin(), ovf.end()));
    scene.finish(readAppliance(scene.host, scene.appliance, scene.path(L"box.ovf")));
    interpretAppliance(scene.host, *scene.appliance);
}

void clone(SavingScene& scene)
{
    const MachineView source(scene.host, scene.machine), target(scene.host, scene.other);
    scene.finish(cloneMachine(source, target, Travik::CloneMode::MachineState, {}));
}

const std::vector<Operation>& operations()
{
    static const std::vector<Operation> all{
        {"SaveSettings", [](SavingScene& scene) { scene.view().saveSettings(); }, holdSettings},
        {"Rename", rename, holdSettings},
        {"Register", [](SavingScene& scene) { scene.host.machines().add(scene.other); }, holdRegistry},
        {"Unregister", unregister, holdSettings, unlock},
        {"DefaultFolder", [](SavingScene& scene) { scene.host.machines().setDefaultFolder(scene.path(L"machines")); },
         holdRegistry},
        {"ExtraData", [](SavingScene& scene) { scene.host.machines().setExtraData(L"GUI/Key", L"value"); },
         holdRegistry},
        {"MachineExtraData",
         [](SavingScene& scene) { scene.host.machines().setExtraData(*scene.machine, L"Key", L"value"); },
         holdSettings},
        {"OpenWithNewUuid",
         [](SavingScene& scene) { scene.host.media().open(newImage(scene), DeviceKind::hardDisk, true); },
         [](SavingScene& scene) { return std::make_shared<HeldFile>(newImage(scene)); }, makeImage},
        {"CreateStorage", createStorage,
         [](SavingScene& scene) { return std::make_shared<FileInTheWay>(newImage(scene)); }},
        {"CloseMedium", [](SavingScene& scene) { scene.host.media().close(scene.medium); }, holdSettings, detach},
        {"CloseMediumListedTwice", [](SavingScene& scene) { scene.host.media().close(scene.medium); }, holdSettings,
         listTwice},
        {"DeleteStorage", [](SavingScene& scene) { scene.finish(scene.host.media().deleteStorage(scene.medium)); },
         holdDisk, detach},
        {"DeleteMachine", deleteTheMachine, holdSettings,
         [](SavingScene& scene) {
             unlock(scene);
             unregister(scene);
         }},
        {"SaveState", saveMachineState, holdSettings, startMachine},
        {"AdoptState", adoptState, holdSettings, unlock},
        {"DiscardState", [](SavingScene& scene) { discardSavedState(scene.host, *scene.machine, true); }, holdSettings,
         [](SavingScene& scene) {
             unlock(scene);
             adoptState(scene);
         }},
        {"Clone", clone, obstructOther, unlock},
        {"Import", [](SavingScene& scene) { scene.finish(importAppliance(scene.host, scene.appliance, {})); },
         holdRegistry, readOvf},
    };
    return all;
}

std::optional<Failure> failureOf(const Operation& operation, SavingScene& scene)
{
    return attempt([&] { operation.run(scene); });
}

class EachSaving : public testing::TestWithParam<std::size_t>
{
protected:
    /// Refuses one change after the other, on a scene of its own for each, until the operation needs no more of them.
    void refuseEachChange(RefusingDisk::Refusal refusal)
    {
        const Operation& operation = operations()[GetParam()];
        int change = 1;
        for (bool refused = true; refused; ++change) {
            SavingScene scene;
            operation.before(scene);
            const std::wstring before = Scene::seen(scene.host);
            scene.disk.refuse(change, refusal);
            const auto failure = failureOf(operation, scene);
            scene.disk.allowAll();
            refused = scene.disk.hasRefused();
            const std::string where = operation.name + (" with change " + std::to_string(change)) + " refused";
            EXPECT_EQ(Scene::seen(scene.host), scene.seenAfterRestart()) << where;
            EXPECT_TRUE(refused || !failure) << where;
            if (failure) {
                EXPECT_EQ(Scene::seen(scene.host), before) << where;
            }
        }
        EXPECT_GT(change, 2) << operation.name << " changes nothing on disk";
    }
};

} // namespace

TEST_P(EachSaving, LeavesWhatOthersSeeWhenAChangeFails)
{
    refuseEachChange(RefusingDisk::Refusal::Write);
}

TEST_P(EachSaving, LeavesWhatOthersSeeWithoutMemory)
{
    refuseEachChange(RefusingDisk::Refusal::Memory);
}

TEST_P(EachSaving, ReportsAFileThatCannotBeWrittenAndSucceedsOnceItCan)
{
    const Operation& operation = operations()[GetParam()];
    SavingScene scene;
    operation.before(scene);
    {
        const std::shared_ptr<void> obstacle = operation.obstruct(scene);
        const std::wstring before = Scene::seen(scene.host);
        EXPECT_TRUE(failureOf(operation, scene));
        EXPECT_EQ(Scene::seen(scene.host), before);
        EXPECT_EQ(scene.seenAfterRestart(), before);
    }
    const auto failure = failureOf(operation, scene);
    EXPECT_FALSE(failure) << toUtf8(failure->text());
}

INSTANTIATE_TEST_SUITE_P(All, EachSaving, testing::Range<std::size_t>(0, operations().size()),
                         [](const auto& tested) { return operations()[tested.param].name; });

// Whether a file that is held this way can be replaced is the system's decision: the reader reads the old one whole in
// either case.
TEST(Save, IsAtomicForAReaderOfTheOldFile)
{
    SavingScene scene;
    const std::string old = Files::read(scene.machine->file);
    bool refused = false;
    {
        HeldFile reader(scene.machine->file, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
        std::string text = reader.read(40);
        refused = attempt([&] { scene.view().saveSettings(); }).has_value();
        text += reader.read(static_cast<DWORD>(old.size()));
        EXPECT_EQ(text, old);
    }
    EXPECT_EQ(Files::read(scene.machine->file) == old, refused);
    scene.view().saveSettings();
    EXPECT_NE(Files::read(scene.machine->file), old);
}

TEST(Save, KeepsTheStateBeforeAlsoAfterARename)
{
    SavingScene scene;
    scene.view().saveSettings();
    const std::string before = Files::read(scene.machine->file);
    const std::wstring oldFile = scene.machine->file;
    rename(scene);
    EXPECT_EQ(Files::read(scene.machine->file + L"-prev"), before);
    EXPECT_FALSE(Files::exists(oldFile) || Files::exists(oldFile + L"-prev"));
    EXPECT_EQ(Files::list(Files::folderOf(scene.machine->file)).size(), 2u) << "nothing is left under the old name";
}

TEST(Save, LeavesTheStateBeforeInItsPlaceWhenARenameFails)
{
    for (int change = 1;; ++change) {
        SavingScene scene;
        scene.view().saveSettings();
        const std::wstring previous = scene.machine->file + L"-prev";
        const std::string before = Files::read(previous);
        scene.disk.refuse(change);
        const bool failed = attempt([&] { rename(scene); }).has_value();
        if (!scene.disk.hasRefused())
            break;
        if (failed) {
            ASSERT_TRUE(Files::exists(previous)) << "with change " << change << " refused";
            EXPECT_EQ(Files::read(previous), before) << "with change " << change << " refused";
        }
    }
}

TEST(Import, OfADiskThatDiffersFromItsDigestIsRefusedAndLeavesNothing)
{
    SavingScene scene;
    const std::string manifest = "SHA1(disk1.vmdk)= " + std::string(40, '0') + "\n";
    ImageWriters::writeFile(scene.folder / "box.mf", ImageWriters::Bytes(manifest.begin(), manifest.end()));
    readOvf(scene);
    const std::wstring files = scene.files(), seen = Scene::seen(scene.host);
    EXPECT_THROW(scene.finish(importAppliance(scene.host, scene.appliance, {})), Failure);
    EXPECT_EQ(scene.files(), files);
    EXPECT_EQ(Scene::seen(scene.host), seen);
}

TEST(Save, LeavesNoFileOfAFailedCopy)
{
    for (const char* name : {"Clone", "CreateStorage", "Import"}) {
        for (int change = 1;; ++change) {
            SavingScene scene;
            scene.unlock();
            readOvf(scene);
            const std::wstring before = scene.files();
            const std::size_t known = scene.host.media().all().size();
            scene.disk.refuse(change);
            std::optional<Failure> failure;
            for (const Operation& operation : operations())
                if (operation.name == std::string(name))
                    failure = failureOf(operation, scene);
            if (failure) {
                EXPECT_EQ(scene.files(), before) << name << " with change " << change << " refused";
                EXPECT_EQ(scene.host.media().all().size(), known) << name << " with change " << change << " refused";
            }
            if (!scene.disk.hasRefused())
                break;
        }
    }
}

} // namespace VBoxSim
