// Controllers and what is attached to them.
#include "files.h"
#include "lab.h"

namespace Probe {
namespace {

using enum Ground;

HRESULT add(const ComPtr<IMachine>& machine, const wchar_t* name, ULONG bus, ComPtr<IStorageController>& controller)
{
    return machine->AddStorageController(Text(name), bus, &controller);
}

ComPtr<IStorageController> added(const ComPtr<IMachine>& machine, const wchar_t* name, ULONG bus)
{
    ComPtr<IStorageController> controller;
    must(add(machine, name, bus, controller));
    return controller;
}

Finding newController(Lab& lab, ULONG bus, ULONG type, ULONG ports, bool cache)
{
    const auto controller = added(lab.create(), L"new", bus);
    return all({equal(bus, read(controller, &IStorageController::get_Bus)),
                equal(type, read(controller, &IStorageController::get_ControllerType)),
                equal(ports, read(controller, &IStorageController::get_PortCount)),
                equal(cache, read(controller, &IStorageController::get_UseHostIOCache) != FALSE)});
}

Finding addAnswers(Lab& lab, std::uint32_t expected, const wchar_t* name, ULONG bus)
{
    const ComPtr<IMachine> machine = lab.create();
    added(machine, L"SATA", StorageBus::SATA);
    ComPtr<IStorageController> controller;
    return answers(expected, add(machine, name, bus, controller));
}

Finding secondOfBus(Lab& lab)
{
    return addAnswers(lab, Result::InvalidArg, L"second", StorageBus::SATA);
}

Finding namesHaveCase(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.create();
    added(machine, L"SATA", StorageBus::SATA);
    ComPtr<IStorageController> found;
    return all({answers(Result::Ok, machine->GetStorageControllerByName(Text(L"SATA"), &found)),
                answers(Result::ObjectNotFound, machine->GetStorageControllerByName(Text(L"sata"), &found))});
}

Finding unknownController(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.create();
    Array attachments;
    return all(
        {answers(Result::ObjectNotFound, machine->RemoveStorageController(Text(L"none"))),
         answers(Result::ObjectNotFound, machine->GetMediumAttachmentsOfController(Text(L"none"), attachments.put()))});
}

Finding storageUnlocked(Lab& lab)
{
    ComPtr<IStorageController> controller;
    return answers(Result::InvalidVMState, add(lab.machine(), L"SATA", StorageBus::SATA, controller));
}

Finding portCounts(Lab& lab)
{
    const auto controller = added(lab.create(), L"SATA", StorageBus::SATA);
    return all({answers(Result::Ok, controller->put_PortCount(4)),
                answers(Result::InvalidArg, controller->put_PortCount(0)),
                answers(Result::InvalidArg, controller->put_PortCount(31))});
}

Finding typeOfAnotherBus(Lab& lab)
{
    const auto controller = added(lab.create(), L"SATA", StorageBus::SATA);
    return answers(Result::InvalidArg, controller->put_ControllerType(StorageControllerType::PIIX4));
}

Finding typeOfTheBus(Lab& lab)
{
    const auto controller = added(lab.create(), L"IDE", StorageBus::IDE);
    must(controller->put_ControllerType(StorageControllerType::ICH6));
    return equal(StorageControllerType::ICH6, read(controller, &IStorageController::get_ControllerType));
}

// ---- attachments, on a machine with an IDE and a SATA controller

/// A locked machine with two controllers.
struct Bench
{
    explicit Bench(Lab& lab) : listed(lab.machine()), lock(listed, LockType::Write)
    {
        added(lock.machine, L"SATA", StorageBus::SATA);
        added(lock.machine, L"IDE", StorageBus::IDE);
    }
    HRESULT attach(const wchar_t* controller, LONG port, LONG device, ULONG type, const ComPtr<IMedium>& medium) const
    {
        return lock.machine->AttachDevice(Text(controller), port, device, type, medium.Get());
    }
    HRESULT attachDisk(LONG port, const ComPtr<IMedium>& disk) const
    {
        return attach(L"SATA", port, 0, DeviceType::HardDisk, disk);
    }
    HRESULT mediumAt(const ComPtr<IMachine>& machine, LONG port, ComPtr<IMedium>& medium) const
    {
        return machine->GetMedium(Text(L"SATA"), port, 0, &medium);
    }

    ComPtr<IMachine> listed;
    Lock lock;
};

Finding attached(Lab& lab)
{
    const Bench bench(lab);
    const ComPtr<IMedium> disk = lab.disk();
    must(bench.attachDisk(3, disk));
    ComPtr<IMedium> found;
    must(bench.mediumAt(bench.lock.machine, 3, found));
    return equal(text(disk, &IMedium::get_Id), text(found, &IMedium::get_Id));
}

Finding finalWhenSaved(Lab& lab)
{
    const Bench bench(lab);
    must(bench.lock.machine->SaveSettings());
    must(bench.attachDisk(0, lab.disk()));
    ComPtr<IMedium> medium;
    const HRESULT before = bench.mediumAt(bench.listed, 0, medium);
    must(bench.lock.machine->SaveSettings());
    return all({answers(Result::ObjectNotFound, before), answers(Result::Ok, bench.mediumAt(bench.listed, 0, medium))});
}

Finding detachedWhenSaved(Lab& lab)
{
    const Bench bench(lab);
    must(bench.attachDisk(0, lab.disk()));
    must(bench.lock.machine->SaveSettings());
    must(bench.lock.machine->DetachDevice(Text(L"SATA"), 0, 0));
    ComPtr<IMedium> medium;
    const HRESULT before = bench.mediumAt(bench.listed, 0, medium);
    must(bench.lock.machine->SaveSettings());
    return all({answers(Result::Ok, before), answers(Result::ObjectNotFound, bench.mediumAt(bench.listed, 0, medium))});
}

Finding outOfRange(Lab& lab)
{
    const Bench bench(lab);
    const ComPtr<IMedium> disk = lab.disk();
    return all({answers(Result::InvalidArg, bench.attach(L"SATA", 30, 0, DeviceType::HardDisk, disk)),
                answers(Result::InvalidArg, bench.attach(L"SATA", 0, 1, DeviceType::HardDisk, disk)),
                answers(Result::InvalidArg, bench.attach(L"IDE", 2, 0, DeviceType::HardDisk, disk)),
                answers(Result::InvalidArg, bench.attach(L"IDE", 0, 2, DeviceType::HardDisk, disk))});
}

Finding beyondPortCount(Lab& lab)
{
    const Bench bench(lab);
    ComPtr<IStorageController> controller;
    must(bench.lock.machine->GetStorageControllerByName(Text(L"SATA"), &controller));
    must(controller->put_PortCount(2));
    return answers(Result::InvalidArg, bench.attachDisk(2, lab.disk()));
}

Finding placeTaken(Lab& lab)
{
    const Bench bench(lab);
    must(bench.attachDisk(0, lab.disk()));
    return answers(Result::ObjectInUse, bench.attachDisk(0, lab.disk()));
}

Finding diskTaken(Lab& lab)
{
    const Bench bench(lab);
    const ComPtr<IMedium> disk = lab.disk();
    must(bench.attachDisk(0, disk));
    return answers(Result::ObjectInUse, bench.attachDisk(1, disk));
}

Finding storageUnregistered(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.create();
    added(machine, L"SATA", StorageBus::SATA);
    return answers(Result::InvalidObjectState,
                   machine->AttachDevice(Text(L"SATA"), 0, 0, DeviceType::HardDisk, lab.disk().Get()));
}

Finding attachUnlocked(Lab& lab)
{
    const Bench bench(lab);
    must(bench.lock.machine->SaveSettings());
    return answers(Result::InvalidVMState,
                   bench.listed->AttachDevice(Text(L"SATA"), 0, 0, DeviceType::HardDisk, lab.disk().Get()));
}

Finding attachToNothing(Lab& lab)
{
    const Bench bench(lab);
    return answers(Result::ObjectNotFound, bench.attach(L"none", 0, 0, DeviceType::HardDisk, lab.disk()));
}

Finding emptyDrive(Lab& lab)
{
    const Bench bench(lab);
    must(bench.attach(L"IDE", 1, 0, DeviceType::DVD, nullptr));
    ComPtr<IMedium> medium;
    const HRESULT result = bench.lock.machine->GetMedium(Text(L"IDE"), 1, 0, &medium);
    return all({answers(Result::Ok, result), yes(!medium)});
}

Finding nothingThere(Lab& lab)
{
    const Bench bench(lab);
    ComPtr<IMedium> medium;
    return all({answers(Result::ObjectNotFound, bench.mediumAt(bench.lock.machine, 5, medium)),
                answers(Result::ObjectNotFound, bench.lock.machine->DetachDevice(Text(L"SATA"), 5, 0))});
}

Finding attachmentTells(Lab& lab)
{
    const Bench bench(lab);
    must(bench.attachDisk(3, lab.disk()));
    const auto attachments = array(bench.lock.machine, &IMachine::get_MediumAttachments).objects<IMediumAttachment>();
    if (attachments.size() != 1)
        return equal(1, static_cast<std::int64_t>(attachments.size()));
    return all({equal(L"SATA", text(attachments[0], &IMediumAttachment::get_Controller)),
                equal(3, read(attachments[0], &IMediumAttachment::get_Port)),
                equal(0, read(attachments[0], &IMediumAttachment::get_Device)),
                equal(DeviceType::HardDisk, read(attachments[0], &IMediumAttachment::get_Type))});
}

Finding marks(Lab& lab)
{
    const Bench bench(lab);
    must(bench.attachDisk(0, lab.disk()));
    must(bench.lock.machine->NonRotationalDevice(Text(L"SATA"), 0, 0, TRUE));
    must(bench.lock.machine->SetAutoDiscardForDevice(Text(L"SATA"), 0, 0, TRUE));
    ComPtr<IMediumAttachment> attachment;
    must(bench.lock.machine->GetMediumAttachment(Text(L"SATA"), 0, 0, &attachment));
    return all({yes(read(attachment, &IMediumAttachment::get_NonRotational) != FALSE),
                yes(read(attachment, &IMediumAttachment::get_Discard) != FALSE)});
}

Finding marksOfNothing(Lab& lab)
{
    const Bench bench(lab);
    return answers(Result::ObjectNotFound, bench.lock.machine->NonRotationalDevice(Text(L"SATA"), 5, 0, TRUE));
}

Finding marksOfDrives(Lab& lab)
{
    const Bench bench(lab);
    must(bench.attach(L"IDE", 1, 0, DeviceType::DVD, nullptr));
    return answers(Result::InvalidArg, bench.lock.machine->NonRotationalDevice(Text(L"IDE"), 1, 0, TRUE));
}

Finding removedWithDevices(Lab& lab)
{
    const Bench bench(lab);
    must(bench.attachDisk(0, lab.disk()));
    must(bench.lock.machine->RemoveStorageController(Text(L"SATA")));
    return all(
        {equal(0, static_cast<std::int64_t>(array(bench.lock.machine, &IMachine::get_MediumAttachments).size())),
         equal(1, static_cast<std::int64_t>(array(bench.lock.machine, &IMachine::get_StorageControllers).size()))});
}

Finding inTheFile(Lab& lab)
{
    ComPtr<IMedium> disk;
    const ComPtr<IMachine> machine = lab.machineWithDisk(disk);
    return yes(readText(settingsFileOf(machine)).find(utf8(text(disk, &IMedium::get_Id))) != std::string::npos);
}

} // namespace

Subject storageStatements()
{
    return {
        "storage",
        "Controllers and attachments",
        {
            {"storage.ide", "A new IDE controller is a PIIX4 with 2 ports, and uses the host's cache.", Documented,
             [](Lab& lab) { return newController(lab, StorageBus::IDE, StorageControllerType::PIIX4, 2, true); }},
            {"storage.sata", "A new SATA controller is an AHCI with 30 ports, and does not.", Documented,
             [](Lab& lab) {
                 return newController(lab, StorageBus::SATA, StorageControllerType::IntelAhci, 30, false);
             }},
            {"storage.scsi", "A new SCSI controller is an LsiLogic with 16 ports.", Documented,
             [](Lab& lab) { return newController(lab, StorageBus::SCSI, StorageControllerType::LsiLogic, 16, false); }},
            {"storage.sas", "A new SAS controller is an LsiLogicSas with 8 ports.", Documented,
             [](Lab& lab) {
                 return newController(lab, StorageBus::SAS, StorageControllerType::LsiLogicSas, 8, false);
             }},
            {"storage.floppy", "A new floppy controller is an I82078 with 1 port, and uses the host's cache.",
             Documented,
             [](Lab& lab) { return newController(lab, StorageBus::Floppy, StorageControllerType::I82078, 1, true); }},
            {"storage.name-taken", "A name that is taken gives `VBOX_E_OBJECT_IN_USE`.", Documented,
             [](Lab& lab) { return addAnswers(lab, Result::ObjectInUse, L"SATA", StorageBus::IDE); }},
            {"storage.empty-name", "An empty name gives `E_INVALIDARG`.", Documented,
             [](Lab& lab) { return addAnswers(lab, Result::InvalidArg, L"", StorageBus::IDE); }},
            {"storage.bad-bus", "So does a bus that does not exist.", Documented,
             [](Lab& lab) { return addAnswers(lab, Result::InvalidArg, L"new", StorageBus::VirtioSCSI + 1); }},
            {"storage.second", "So does a second controller of a bus, with the chipset PIIX3.", Documented,
             secondOfBus},
            {"storage.names", "Names of controllers have their case; another gives `VBOX_E_OBJECT_NOT_FOUND`.",
             Documented, namesHaveCase},
            {"storage.unknown", "Removing or listing one that is not there gives that, too.", Documented,
             unknownController},
            {"storage.unlocked", "Without a lock nothing is added: `VBOX_E_INVALID_VM_STATE`.", Documented,
             storageUnlocked},
            {"storage.port-count", "The ports of SATA can be 1 to 30; else `E_INVALIDARG`.", Documented, portCounts},
            {"storage.type", "The type can be another one of the same bus.", Documented, typeOfTheBus},
            {"storage.other-type", "One of another bus gives `E_INVALIDARG`.", Documented, typeOfAnotherBus},
            {"storage.attach", "What is attached is found at its place.", Documented, attached},
            {"storage.attachment", "The attachment tells controller, port, device and kind.", Documented,
             attachmentTells},
            {"storage.saved", "For others it is there after `SaveSettings`.", Documented, finalWhenSaved},
            {"storage.file", "The settings file then names the disk by its UUID.", Documented, inTheFile},
            {"storage.detach", "Detaching, too, counts for others after `SaveSettings`.", Documented,
             detachedWhenSaved},
            {"storage.range", "A port or device that the bus does not have gives `E_INVALIDARG`.", Documented,
             outOfRange},
            {"storage.beyond-count", "So does a port beyond the controller's `PortCount`.", Assumed, beyondPortCount},
            {"storage.place-taken", "A place that is taken gives `VBOX_E_OBJECT_IN_USE`.", Documented, placeTaken},
            {"storage.disk-taken", "So does a disk that the machine has already.", Documented, diskTaken},
            {"storage.disk-of-another", "A disk of another machine cannot be attached as it is.", Assumed, nullptr,
             "VirtualBox may make a differencing image instead"},
            {"storage.unregistered",
             "On a machine that is not registered attaching gives `VBOX_E_INVALID_OBJECT_STATE`.", Documented,
             storageUnregistered},
            {"storage.attach-unlocked", "Without a lock it gives `VBOX_E_INVALID_VM_STATE`.", Documented,
             attachUnlocked},
            {"storage.attach-unknown", "At a controller that is not there it gives `VBOX_E_OBJECT_NOT_FOUND`.", Assumed,
             attachToNothing},
            {"storage.empty-drive", "An empty drive is a place without medium: `S_OK` and nothing.", Documented,
             emptyDrive},
            {"storage.nothing", "A place with nothing gives `VBOX_E_OBJECT_NOT_FOUND`, to look at and to detach.",
             Documented, nothingThere},
            {"storage.marks", "Marks for non-rotational disks and for discarding read as they were set.", Documented,
             marks},
            {"storage.marks-nothing", "At a place with nothing they give `VBOX_E_OBJECT_NOT_FOUND`.", Assumed,
             marksOfNothing},
            {"storage.marks-drive", "For a DVD drive they give `E_INVALIDARG`.", Assumed, marksOfDrives},
            {"storage.remove", "Removing a controller detaches its devices.", Documented, removedWithDevices},
        }};
}

} // namespace Probe
