// Deleting machines with their files.
#include "files.h"
#include "lab.h"

namespace Probe {
namespace {

using enum Ground;

ComPtr<IProgress> deleteConfig(const ComPtr<IMachine>& machine, SAFEARRAY* media = nullptr)
{
    ComPtr<IProgress> progress;
    must(machine->DeleteConfig(media, &progress));
    return progress;
}

Finding registered(Lab& lab)
{
    ComPtr<IProgress> progress;
    return answers(Result::InvalidVMState, lab.machine()->DeleteConfig(nullptr, &progress));
}

Finding settingsFile(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.unregistered();
    const std::filesystem::path file = settingsFileOf(machine);
    finishWell(deleteConfig(machine));
    return no(std::filesystem::exists(file));
}

Finding emptyArray(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.unregistered();
    ComPtr<IProgress> progress;
    must(machine->DeleteConfig(Array::ofNumbers({}), &progress));
    return answers(Result::Ok, finish(progress).result);
}

Finding folder(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.unregistered();
    must(machine->put_MemorySize(100));
    must(machine->SaveSettings()); // leaves the version before
    const std::filesystem::path file = settingsFileOf(machine);
    finishWell(deleteConfig(machine));
    return all(
        {no(std::filesystem::exists(file.wstring() + L"-prev")), no(std::filesystem::exists(file.parent_path()))});
}

Finding foreignFiles(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.unregistered();
    const std::filesystem::path mine = settingsFileOf(machine).parent_path() / L"notes.txt";
    writeText(mine, "mine");
    finishWell(deleteConfig(machine));
    return yes(readText(mine) == "mine");
}

/// A machine that was unregistered, with its disk.
struct Left
{
    explicit Left(Lab& lab) : machine(lab.machineWithDisk(disk))
    {
        must(machine->Unregister(CleanupMode::DetachAllReturnHardDisksOnly, media.put()));
        image = text(disk, &IMedium::get_Location);
    }
    ComPtr<IMedium> disk;
    ComPtr<IMachine> machine;
    Array media;
    std::filesystem::path image;
};

Finding disks(Lab& lab)
{
    const Left left(lab);
    finishWell(deleteConfig(left.machine, left.media.copy<IMedium>()));
    Text location;
    return all({no(std::filesystem::exists(left.image)), fails(left.disk->get_Location(location.put()))});
}

Finding disksNotGiven(Lab& lab)
{
    const Left left(lab);
    finishWell(deleteConfig(left.machine));
    return yes(std::filesystem::exists(left.image));
}

Finding diskInUse(Lab& lab)
{
    const Left left(lab);
    const ComPtr<IMachine> other = lab.machine();
    const Lock lock(other, LockType::Write);
    ComPtr<IStorageController> controller;
    must(lock.machine->AddStorageController(Text(L"SATA"), StorageBus::SATA, &controller));
    must(lock.machine->AttachDevice(Text(L"SATA"), 0, 0, DeviceType::HardDisk, left.disk.Get()));
    must(lock.machine->SaveSettings());
    const HRESULT result = finish(deleteConfig(left.machine, left.media.copy<IMedium>())).result;
    return all({answers(Result::Ok, result), yes(std::filesystem::exists(left.image)),
                no(std::filesystem::exists(settingsFileOf(left.machine)))});
}

Finding operations(Lab& lab)
{
    const Left left(lab);
    const ComPtr<IProgress> progress = deleteConfig(left.machine, left.media.copy<IMedium>());
    const ULONG count = read(progress, &IProgress::get_OperationCount);
    finishWell(progress);
    return says(count >= 2, "2 or more", std::to_string(count));
}

} // namespace

Subject deletionStatements()
{
    return {"deletion",
            "Deleting machines",
            {
                {"deletion.registered", "The files of a registered machine are not deleted: `VBOX_E_INVALID_VM_STATE`.",
                 Documented, registered},
                {"deletion.file", "Those of one that is not registered are: its settings file is gone.", Documented,
                 settingsFile},
                {"deletion.no-media", "There may be no media to delete with it.", Documented, emptyArray},
                {"deletion.folder", "The version before and the folder go, too, when nothing else is in it.",
                 Documented, folder},
                {"deletion.foreign-files", "Files of others stay, and the folder with them.", Assumed, foreignFiles},
                {"deletion.disks", "Disks that are given are closed, and their files deleted.", Documented, disks},
                {"deletion.disks-not-given", "Disks that are not given stay.", Documented, disksNotGiven},
                {"deletion.in-use", "One that another machine uses is left out silently.", Documented, diskInUse},
                {"deletion.operations", "Each file is an operation.", Documented, operations},
            }};
}

} // namespace Probe
