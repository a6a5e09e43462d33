// The list of machines: in and out.
#include "files.h"
#include "lab.h"

namespace Probe {
namespace {

using enum Ground;

Finding savesAndLists(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.create();
    must(lab.box->RegisterMachine(machine.Get()));
    ComPtr<IMachine> found;
    return all({yes(std::filesystem::exists(settingsFileOf(machine))),
                answers(Result::Ok, lab.box->FindMachine(Text(text(machine, &IMachine::get_Name)), &found))});
}

Finding inTheRegistry(Lab& lab)
{
    const std::string id = utf8(text(lab.machine(), &IMachine::get_Id));
    return yes(readText(text(lab.box, &IVirtualBox::get_SettingsFilePath)).find(id) != std::string::npos);
}

Finding twice(Lab& lab)
{
    return answers(Result::InvalidObjectState, lab.box->RegisterMachine(lab.machine().Get()));
}

Finding sameUuid(Lab& lab)
{
    const std::wstring id = text(lab.machine(), &IMachine::get_Id);
    ComPtr<IMachine> second;
    must(lab.box->CreateMachine(Text(lab.fileFor(L"second")), Text(L"second"), nullptr, Text(L"Other"),
                                Text(L"UUID=" + id), &second));
    return answers(Result::InvalidArg, lab.box->RegisterMachine(second.Get()));
}

Finding noLongerMutable(Lab& lab)
{
    return answers(Result::InvalidVMState, lab.machine()->put_MemorySize(100));
}

/// A settings file with a disk whose image is not there.
std::string textWithMissingDisk(const std::wstring& name)
{
    const std::string disk = "\"{6d1f1b9a-0c8e-4a53-9a3c-1b2c3d4e5f65}\"";
    return "<?xml version=\"1.0\"?>\n<VirtualBox xmlns=\"http://www.virtualbox.org/\" version=\"1.15-windows\">\n"
           "  <Machine uuid=\"{6d1f1b9a-0c8e-4a53-9a3c-1b2c3d4e5f64}\" name=\"" +
           utf8(name) +
           "\" OSType=\"Other\" lastStateChange=\"2024-02-03T04:05:06Z\">\n    <MediaRegistry><HardDisks>"
           "<HardDisk uuid=" +
           disk +
           " location=\"missing.vdi\" format=\"VDI\" type=\"Normal\"/></HardDisks></MediaRegistry>\n"
           "    <Hardware><CPU><PAE enabled=\"false\"/></CPU><Memory RAMSize=\"64\"/></Hardware>\n"
           "    <StorageControllers><StorageController name=\"SATA\" type=\"AHCI\" PortCount=\"1\">"
           "<AttachedDevice type=\"HardDisk\" hotpluggable=\"false\" port=\"0\" device=\"0\"><Image uuid=" +
           disk + "/></AttachedDevice></StorageController></StorageControllers>\n  </Machine>\n</VirtualBox>\n";
}

Finding missingImage(Lab& lab)
{
    const std::filesystem::path file = lab.newFile(L".vbox");
    writeText(file, textWithMissingDisk(lab.newName()));
    ComPtr<IMachine> opened;
    must(lab.box->OpenMachine(Text(file.wstring()), &opened));
    const HRESULT result = lab.box->RegisterMachine(opened.Get());
    ComPtr<IMedium> medium;
    must(opened->GetMedium(Text(L"SATA"), 0, 0, &medium));
    return all(
        {answers(Result::Ok, result), mediumState(MediumState::Inaccessible, read(medium, &IMedium::get_State))});
}

/// Unregisters a machine with a hard disk and an empty DVD drive.
HRESULT unregister(Lab& lab, ULONG mode, ComPtr<IMachine>& machine, Array& media)
{
    ComPtr<IMedium> disk;
    machine = lab.machineWithDisk(disk);
    return machine->Unregister(mode, media.put());
}

Finding unregisterReturns(Lab& lab, ULONG mode, std::int64_t expected)
{
    ComPtr<IMachine> machine;
    Array media;
    must(unregister(lab, mode, machine, media));
    return equal(expected, static_cast<std::int64_t>(media.size()));
}

Finding unregisterOnlyWithMedia(Lab& lab)
{
    ComPtr<IMachine> machine;
    Array media;
    return answers(Result::InvalidObjectState, unregister(lab, CleanupMode::UnregisterOnly, machine, media));
}

Finding unregisterOnly(Lab& lab)
{
    Array media;
    const Finding result = answers(Result::Ok, lab.machine()->Unregister(CleanupMode::UnregisterOnly, media.put()));
    return all({result, equal(0, static_cast<std::int64_t>(media.size()))});
}

Finding detached(Lab& lab)
{
    ComPtr<IMachine> machine;
    Array media;
    must(unregister(lab, CleanupMode::Full, machine, media));
    return equal(0, static_cast<std::int64_t>(array(machine, &IMachine::get_MediumAttachments).size()));
}

Finding filesStay(Lab& lab)
{
    ComPtr<IMachine> machine;
    Array media;
    must(unregister(lab, CleanupMode::Full, machine, media));
    const ComPtr<IMedium> disk = media.objects<IMedium>().at(0);
    return all({yes(std::filesystem::exists(settingsFileOf(machine))),
                yes(std::filesystem::exists(text(disk, &IMedium::get_Location)))});
}

Finding usableAfterwards(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    const std::wstring name = text(machine, &IMachine::get_Name);
    Array media;
    must(machine->Unregister(CleanupMode::Full, media.put()));
    return all({equal(name, text(machine, &IMachine::get_Name)), answers(Result::Ok, machine->put_MemorySize(100))});
}

Finding registeredAgain(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    Array media;
    must(machine->Unregister(CleanupMode::Full, media.put()));
    return answers(Result::Ok, lab.box->RegisterMachine(machine.Get()));
}

Finding lockedStays(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    const Lock lock(machine, LockType::Write);
    Array media;
    return answers(Result::InvalidObjectState, machine->Unregister(CleanupMode::Full, media.put()));
}

} // namespace

Subject registrationStatements()
{
    return {
        "registration",
        "Registering and unregistering",
        {
            {"registration.saves", "Registering a machine saves its settings, and others find it.", Documented,
             savesAndLists},
            {"registration.registry", "It is written to the list in `VirtualBox.xml` at once.", Documented,
             inTheRegistry},
            {"registration.immutable", "From then on it cannot be changed without a lock: `VBOX_E_INVALID_VM_STATE`.",
             Documented, noLongerMutable},
            {"registration.twice", "A machine that is registered gives `VBOX_E_INVALID_OBJECT_STATE`.", Documented,
             twice},
            {"registration.same-uuid", "A second one with the same UUID gives `E_INVALIDARG`.", Documented, sameUuid},
            {"registration.missing-image",
             "A machine whose disk image is missing can be registered; the disk is Inaccessible.", Documented,
             missingImage},
            {"registration.unregister-only", "Unregistering a plain machine returns no media.", Documented,
             unregisterOnly},
            {"registration.unregister-only-media",
             "`UnregisterOnly` is refused while media are attached, with `VBOX_E_INVALID_OBJECT_STATE`.", Assumed,
             unregisterOnlyWithMedia},
            {"registration.return-none", "`DetachAllReturnNone` returns none of them.", Documented,
             [](Lab& lab) { return unregisterReturns(lab, CleanupMode::DetachAllReturnNone, 0); }},
            {"registration.return-disks", "`DetachAllReturnHardDisksOnly` returns the hard disks.", Documented,
             [](Lab& lab) { return unregisterReturns(lab, CleanupMode::DetachAllReturnHardDisksOnly, 1); }},
            {"registration.return-all", "`Full` returns all media.", Documented,
             [](Lab& lab) { return unregisterReturns(lab, CleanupMode::Full, 1); }},
            {"registration.detached", "The machine has no attachments then.", Documented, detached},
            {"registration.files-stay", "Unregistering deletes no file.", Documented, filesStay},
            {"registration.usable", "The object stays usable, as a machine that is not registered.", Documented,
             usableAfterwards},
            {"registration.again", "It can be registered again.", Documented, registeredAgain},
            {"registration.locked", "A locked machine gives `VBOX_E_INVALID_OBJECT_STATE`.", Documented, lockedStays},
            {"registration.inaccessible", "The object of an inaccessible machine is dead after `Unregister`.",
             Documented, nullptr, "a file becomes unreadable for VirtualBox only when its server starts"},
        }};
}

} // namespace Probe
