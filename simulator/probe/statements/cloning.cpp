// Copies of machines.
#include "lab.h"

namespace Probe {
namespace {

using enum Ground;

HRESULT clone(const ComPtr<IMachine>& source, const ComPtr<IMachine>& target, ULONG mode,
              const std::vector<LONG>& options, ComPtr<IProgress>& progress)
{
    return source->CloneTo(target.Get(), mode, Array::ofNumbers(options), &progress);
}

void cloneWell(const ComPtr<IMachine>& source, const ComPtr<IMachine>& target, const std::vector<LONG>& options = {})
{
    ComPtr<IProgress> progress;
    must(clone(source, target, CloneMode::MachineState, options, progress));
    finishWell(progress);
}

std::wstring macOf(const ComPtr<IMachine>& machine)
{
    ComPtr<INetworkAdapter> adapter;
    must(machine->GetNetworkAdapter(0, &adapter));
    return text(adapter, &INetworkAdapter::get_MACAddress);
}

ComPtr<IMedium> diskOf(const ComPtr<IMachine>& machine)
{
    ComPtr<IMedium> medium;
    must(machine->GetMedium(Text(L"SATA"), 0, 0, &medium));
    return medium;
}

Finding settings(Lab& lab)
{
    const ComPtr<IMachine> source = lab.machine(), target = lab.create();
    {
        const Lock lock(source, LockType::Write);
        must(lock.machine->put_MemorySize(99));
        must(lock.machine->SaveSettings());
    }
    cloneWell(source, target);
    return equal(99, read(target, &IMachine::get_MemorySize));
}

Finding ownName(Lab& lab)
{
    const ComPtr<IMachine> target = lab.create();
    const std::wstring name = text(target, &IMachine::get_Name), id = text(target, &IMachine::get_Id);
    cloneWell(lab.machine(), target);
    return all({equal(name, text(target, &IMachine::get_Name)), equal(id, text(target, &IMachine::get_Id)),
                equal(id, text(target, &IMachine::get_HardwareUUID))});
}

Finding notRegistered(Lab& lab)
{
    const ComPtr<IMachine> target = lab.create();
    cloneWell(lab.machine(), target);
    ComPtr<IMachine> found;
    return all({answers(Result::ObjectNotFound, lab.box->FindMachine(Text(text(target, &IMachine::get_Id)), &found)),
                answers(Result::Ok, lab.box->RegisterMachine(target.Get()))});
}

Finding newMac(Lab& lab)
{
    const ComPtr<IMachine> source = lab.machine(), target = lab.create();
    cloneWell(source, target);
    return no(macOf(target) == macOf(source));
}

Finding keptMac(Lab& lab)
{
    const ComPtr<IMachine> source = lab.machine(), target = lab.create();
    cloneWell(source, target, {CloneOptions::KeepAllMACs});
    return equal(macOf(source), macOf(target));
}

Finding ownDisk(Lab& lab)
{
    ComPtr<IMedium> disk;
    const ComPtr<IMachine> source = lab.machineWithDisk(disk), target = lab.create();
    cloneWell(source, target);
    const ComPtr<IMedium> copy = diskOf(target);
    return all({no(text(copy, &IMedium::get_Id) == text(disk, &IMedium::get_Id)),
                yes(std::filesystem::exists(text(copy, &IMedium::get_Location))),
                equal(read(disk, &IMedium::get_LogicalSize), read(copy, &IMedium::get_LogicalSize)),
                yes(liesIn(settingsFileOf(target).parent_path(), text(copy, &IMedium::get_Location)))});
}

Finding diskName(Lab& lab)
{
    ComPtr<IMedium> disk;
    const ComPtr<IMachine> source = lab.machineWithDisk(disk), target = lab.create();
    cloneWell(source, target);
    const std::wstring name = text(diskOf(target), &IMedium::get_Name);
    return says(name.starts_with(text(target, &IMachine::get_Name)), "the target's name in front", utf8(name));
}

Finding keptDiskName(Lab& lab)
{
    ComPtr<IMedium> disk;
    const ComPtr<IMachine> source = lab.machineWithDisk(disk), target = lab.create();
    cloneWell(source, target, {CloneOptions::KeepDiskNames});
    return equal(text(disk, &IMedium::get_Name), text(diskOf(target), &IMedium::get_Name));
}

Finding sourceStays(Lab& lab)
{
    ComPtr<IMedium> disk;
    const ComPtr<IMachine> source = lab.machineWithDisk(disk);
    cloneWell(source, lab.create());
    return all({equal(text(disk, &IMedium::get_Id), text(diskOf(source), &IMedium::get_Id)),
                sessionState(SessionState::Unlocked, sessionStateOf(source))});
}

Finding noTarget(Lab& lab)
{
    ComPtr<IProgress> progress;
    return answers(Result::InvalidArg, clone(lab.machine(), nullptr, CloneMode::MachineState, {}, progress));
}

Finding linked(Lab& lab)
{
    ComPtr<IMedium> disk;
    const ComPtr<IMachine> source = lab.machineWithDisk(disk), target = lab.create();
    ComPtr<IProgress> progress;
    HRESULT result = clone(source, target, CloneMode::MachineState, {CloneOptions::Link}, progress);
    if (SUCCEEDED(result))
        result = finish(progress).result;
    return answersOneOf({Result::InvalidArg, Result::InvalidObjectState}, result);
}

Finding cancelable(Lab& lab)
{
    ComPtr<IProgress> progress;
    must(clone(lab.machine(), lab.create(), CloneMode::MachineState, {}, progress));
    const BOOL cancelable = read(progress, &IProgress::get_Cancelable);
    finish(progress);
    return yes(cancelable != FALSE);
}

Finding allModes(Lab& lab)
{
    const ComPtr<IMachine> source = lab.machine();
    const auto result = [&](ULONG mode) {
        ComPtr<IProgress> progress;
        const HRESULT started = clone(source, lab.create(), mode, {}, progress);
        return FAILED(started) ? started : finish(progress).result;
    };
    return all(
        {answers(Result::Ok, result(CloneMode::MachineState)), answers(Result::Ok, result(CloneMode::AllStates))});
}

} // namespace

Subject cloningStatements()
{
    return {
        "cloning",
        "Cloning",
        {
            {"cloning.settings", "A clone takes the settings of its source.", Documented, settings},
            {"cloning.own-name", "It keeps its own name, UUID and hardware UUID.", Documented, ownName},
            {"cloning.unregistered", "It is not registered; the caller does that.", Documented, notRegistered},
            {"cloning.modes", "The current state alone, or all states, can be cloned.", Documented, allModes},
            {"cloning.mac", "Its adapters have new MAC addresses.", Documented, newMac},
            {"cloning.kept-mac", "`KeepAllMACs` keeps them.", Documented, keptMac},
            {"cloning.disk", "Its disks are copies with UUIDs of their own, in its folder.", Documented, ownDisk},
            {"cloning.disk-name", "They are named after the clone.", Assumed, diskName},
            {"cloning.kept-disk-name", "`KeepDiskNames` keeps their names.", Documented, keptDiskName},
            {"cloning.source", "The source stays as it is, and is free afterwards.", Documented, sourceStays},
            {"cloning.no-target", "Without a target it gives `E_INVALIDARG`.", Documented, noTarget},
            {"cloning.linked", "A linked clone needs a snapshot: else `E_INVALIDARG` or `VBOX_E_INVALID_OBJECT_STATE`.",
             Assumed, linked},
            {"cloning.cancelable", "Cloning can be canceled.", Assumed, cancelable},
            {"cloning.target", "The target is unusable until the clone is complete.", Documented, nullptr,
             "it would need an operation that is surely slow, on a large disk"},
            {"cloning.mode-2", "Mode 2 on a machine without snapshots is as mode 1.", Assumed, nullptr,
             "VirtualBox wants a snapshot for it"},
            {"cloning.difference", "A differencing disk becomes a whole VDI in mode 1.", Assumed, nullptr,
             "it would need a snapshot"},
        }};
}

} // namespace Probe
