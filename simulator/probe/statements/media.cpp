// Disk images and optical discs.
#include "files.h"
#include "lab.h"

namespace Probe {
namespace {

using enum Ground;

HRESULT open(Lab& lab, const std::filesystem::path& file, ULONG type, ComPtr<IMedium>& medium)
{
    return lab.box->OpenMedium(Text(file.wstring()), type, AccessMode::ReadWrite, FALSE, &medium);
}

std::int64_t machinesOf(const ComPtr<IMedium>& disk)
{
    return static_cast<std::int64_t>(array(disk, &IMedium::get_MachineIds).size());
}

Finding header(Lab& lab)
{
    const std::filesystem::path file = lab.newFile(L".vdi");
    const std::string id = writeVdi(file, 8 << 20);
    const ComPtr<IMedium> disk = lab.open(file);
    return all({equal(wide(id), text(disk, &IMedium::get_Id)), equal(L"VDI", text(disk, &IMedium::get_Format)),
                equal(8 << 20, read(disk, &IMedium::get_LogicalSize))});
}

Finding vmdk(Lab& lab)
{
    const std::filesystem::path file = lab.newFile(L".vmdk");
    writeVmdk(file);
    const ComPtr<IMedium> disk = lab.open(file);
    return all(
        {equal(L"VMDK", text(disk, &IMedium::get_Format)), equal(4 << 20, read(disk, &IMedium::get_LogicalSize))});
}

Finding optical(Lab& lab)
{
    const std::filesystem::path file = lab.newFile(L".iso");
    writeIso(file);
    const ComPtr<IMedium> disc = lab.open(file, DeviceType::DVD);
    return all({equal(DeviceType::DVD, read(disc, &IMedium::get_DeviceType)),
                yes(read(disc, &IMedium::get_ReadOnly) != FALSE)});
}

Finding opticalId(Lab& lab)
{
    const std::filesystem::path file = lab.newFile(L".iso");
    writeIso(file);
    const ComPtr<IMedium> first = lab.open(file, DeviceType::DVD);
    const std::wstring before = text(first, &IMedium::get_Id);
    must(first->Close());
    return no(text(lab.open(file, DeviceType::DVD), &IMedium::get_Id) == before);
}

Finding checkedOnOpening(Lab& lab)
{
    const ComPtr<IMedium> disk = lab.disk();
    return all({mediumState(MediumState::Created, read(disk, &IMedium::get_State)),
                equal(L"", text(disk, &IMedium::get_LastAccessError))});
}

Finding place(Lab& lab)
{
    const std::filesystem::path file = lab.newFile(L".vdi");
    writeVdi(file);
    const ComPtr<IMedium> disk = lab.open(file);
    return all({equal(file.wstring(), text(disk, &IMedium::get_Location)),
                equal(file.filename().wstring(), text(disk, &IMedium::get_Name))});
}

Finding baseDisk(Lab& lab)
{
    const ComPtr<IMedium> disk = lab.disk();
    const auto base = object(disk, &IMedium::get_Base);
    return all({yes(!object(disk, &IMedium::get_Parent)),
                equal(text(disk, &IMedium::get_Id), base ? text(base, &IMedium::get_Id) : L"none"),
                equal(MediumType::Normal, read(disk, &IMedium::get_Type))});
}

Finding known(Lab& lab)
{
    const std::filesystem::path file = lab.newFile(L".vdi");
    writeVdi(file);
    const std::wstring first = text(lab.open(file), &IMedium::get_Id);
    return equal(first, text(lab.open(file), &IMedium::get_Id));
}

Finding byId(Lab& lab)
{
    const ComPtr<IMedium> disk = lab.disk();
    ComPtr<IMedium> found;
    must(open(lab, text(disk, &IMedium::get_Id), DeviceType::HardDisk, found));
    return equal(text(disk, &IMedium::get_Location), text(found, &IMedium::get_Location));
}

Finding copyOfKnown(Lab& lab)
{
    const std::filesystem::path first = lab.newFile(L".vdi"), copy = lab.newFile(L".vdi");
    writeVdi(first);
    std::filesystem::copy_file(first, copy);
    lab.open(first);
    ComPtr<IMedium> second;
    return answers(Result::InvalidArg, open(lab, copy, DeviceType::HardDisk, second));
}

Finding newId(Lab& lab)
{
    const std::filesystem::path first = lab.newFile(L".vdi"), copy = lab.newFile(L".vdi");
    writeVdi(first);
    std::filesystem::copy_file(first, copy);
    const std::wstring id = text(lab.open(first), &IMedium::get_Id);
    ComPtr<IMedium> second;
    must(lab.box->OpenMedium(Text(copy.wstring()), DeviceType::HardDisk, AccessMode::ReadWrite, TRUE, &second));
    return no(text(second, &IMedium::get_Id) == id);
}

Finding mediumListed(Lab& lab)
{
    const std::wstring id = text(lab.disk(), &IMedium::get_Id);
    for (const ComPtr<IMedium>& disk : array(lab.box, &IVirtualBox::get_HardDisks).objects<IMedium>())
        if (text(disk, &IMedium::get_Id) == id)
            return yes(true);
    return yes(false);
}

// ---- refusals

Finding missingDisk(Lab& lab)
{
    ComPtr<IMedium> disk;
    const HRESULT result = open(lab, lab.newFile(L".vdi"), DeviceType::HardDisk, disk);
    return all({answersOneOf({Result::FileError, Result::ObjectNotFound}, result), yes(!disk)});
}

Finding noImage(Lab& lab)
{
    const std::filesystem::path file = lab.newFile(L".vdi");
    writeText(file, std::string(4096, 'x'));
    ComPtr<IMedium> disk;
    return answersOneOf({Result::IPRTError, Result::ObjectNotFound}, open(lab, file, DeviceType::HardDisk, disk));
}

Finding relative(Lab& lab)
{
    ComPtr<IMedium> disk;
    return answersOneOf({Result::FileError, Result::ObjectNotFound},
                        open(lab, L"relative\\disk.vdi", DeviceType::HardDisk, disk));
}

Finding wrongDevice(Lab& lab)
{
    const std::filesystem::path file = lab.newFile(L".vdi");
    writeVdi(file);
    ComPtr<IMedium> disk;
    return answers(Result::InvalidArg, open(lab, file, DeviceType::Network, disk));
}

// ---- refreshing

Finding refreshed(Lab& lab)
{
    ULONG state = 0;
    must(lab.disk()->RefreshState(&state));
    return mediumState(MediumState::Created, state);
}

Finding vanished(Lab& lab)
{
    const std::filesystem::path file = lab.newFile(L".vdi");
    writeVdi(file);
    const ComPtr<IMedium> disk = lab.open(file);
    std::filesystem::rename(file, file.wstring() + L".away");
    const std::uint32_t before = read(disk, &IMedium::get_State);
    ULONG after = 0;
    must(disk->RefreshState(&after));
    const bool explained = !text(disk, &IMedium::get_LastAccessError).empty();
    std::filesystem::rename(file.wstring() + L".away", file);
    ULONG again = 0;
    must(disk->RefreshState(&again));
    return all({mediumState(MediumState::Created, before), mediumState(MediumState::Inaccessible, after),
                yes(explained), mediumState(MediumState::Created, again)});
}

// ---- attached, closed, deleted

Finding attachedTo(Lab& lab)
{
    ComPtr<IMedium> disk;
    const ComPtr<IMachine> machine = lab.machineWithDisk(disk);
    const std::vector<std::wstring> ids = array(disk, &IMedium::get_MachineIds).texts();
    return all({equal(text(machine, &IMachine::get_Id), ids.size() == 1 ? ids[0] : L"another number of machines"),
                equal(0, machinesOf(lab.disk()))});
}

Finding closeAttached(Lab& lab)
{
    ComPtr<IMedium> disk;
    lab.machineWithDisk(disk);
    return answers(Result::ObjectInUse, disk->Close());
}

Finding deleteAttached(Lab& lab)
{
    ComPtr<IMedium> disk;
    lab.machineWithDisk(disk);
    ComPtr<IProgress> progress;
    HRESULT result = disk->DeleteStorage(&progress);
    if (SUCCEEDED(result))
        result = finish(progress).result;
    return all(
        {answers(Result::ObjectInUse, result), yes(std::filesystem::exists(text(disk, &IMedium::get_Location)))});
}

Finding closed(Lab& lab)
{
    const std::filesystem::path file = lab.newFile(L".vdi");
    writeVdi(file);
    const ComPtr<IMedium> disk = lab.open(file);
    must(disk->Close());
    Text location;
    return all({answers(Result::AccessDenied, disk->get_Location(location.put())), yes(std::filesystem::exists(file))});
}

Finding mediumDeleted(Lab& lab)
{
    const ComPtr<IMedium> disk = lab.disk();
    const std::wstring file = text(disk, &IMedium::get_Location);
    ComPtr<IProgress> progress;
    must(disk->DeleteStorage(&progress));
    finishWell(progress);
    return all(
        {no(std::filesystem::exists(file)), mediumState(MediumState::NotCreated, read(disk, &IMedium::get_State))});
}

} // namespace

Subject mediumStatements()
{
    return {
        "media",
        "Media",
        {
            {"media.header", "An image's UUID, format and size are those of its header.", Documented, header},
            {"media.vmdk", "The format is found by the content: VMDK as well as VDI.", Documented, vmdk},
            {"media.optical", "An ISO image opens as a DVD, which is read-only.", Documented, optical},
            {"media.optical-id", "What has no UUID of its own gets a new one each time it is opened.", Documented,
             opticalId},
            {"media.checked", "An image that was opened is Created, without an access error.", Assumed,
             checkedOnOpening},
            {"media.location", "The location is the full path, the name the file's.", Documented, place},
            {"media.base", "A base disk has no parent, is its own base, and its type is Normal.", Documented, baseDisk},
            {"media.known", "A location that is known gives the medium that is known.", Documented, known},
            {"media.by-id", "So does a UUID in its place.", Documented, byId},
            {"media.copy", "A copy with the same UUID gives `E_INVALIDARG`.", Documented, copyOfKnown},
            {"media.new-id", "With `forceNewUuid` the copy opens under a new one.", Documented, newId},
            {"media.list", "Disks that were opened are in the list of hard disks.", Documented, mediumListed},
            {"media.missing",
             "A missing file is refused: with `VBOX_E_FILE_ERROR` by the documents, with `VBOX_E_OBJECT_NOT_FOUND` by "
             "the sources.",
             Documented, missingDisk},
            {"media.no-image",
             "So is a file that is no image: `VBOX_E_IPRT_ERROR` by the documents, `VBOX_E_OBJECT_NOT_FOUND` by the "
             "sources.",
             Documented, noImage},
            {"media.relative", "And a path that is not a full one, as if the file were missing.", Documented, relative},
            {"media.wrong-device", "A device type that has no media gives `E_INVALIDARG`.", Documented, wrongDevice},
            {"media.refresh", "`RefreshState` gives the state anew.", Documented, refreshed},
            {"media.vanished",
             "That a file is gone, or is back, shows in `RefreshState` only: Inaccessible with a text, and Created.",
             Documented, vanished},
            {"media.unchecked", "Media of a settings file are Inaccessible until they are refreshed.", Documented,
             nullptr, "it shows only when VirtualBox's server starts"},
            {"media.machines", "A medium tells the machines that it is attached to.", Documented, attachedTo},
            {"media.close", "A closed medium is dead, `E_ACCESSDENIED`; its file stays.", Documented, closed},
            {"media.close-attached", "An attached one is not closed: `VBOX_E_OBJECT_IN_USE`.", Documented,
             closeAttached},
            {"media.delete", "`DeleteStorage` deletes the file; the medium is NotCreated then.", Documented,
             mediumDeleted},
            {"media.delete-attached", "An attached one is not deleted: `VBOX_E_OBJECT_IN_USE`.", Documented,
             deleteAttached},
        }};
}

} // namespace Probe
