// How much a machine can have.
#include "lab.h"

namespace Probe {
namespace {

using enum Ground;

ComPtr<ISystemProperties> properties(Lab& lab)
{
    return object(lab.box, &IVirtualBox::get_SystemProperties);
}

Finding memoryNumbers(Lab& lab)
{
    return all({equal(4, read(properties(lab), &ISystemProperties::get_MinGuestRAM)),
                equal(2097152, read(properties(lab), &ISystemProperties::get_MaxGuestRAM))});
}

Finding processorNumbers(Lab& lab)
{
    return all({equal(1, read(properties(lab), &ISystemProperties::get_MinGuestCPUCount)),
                equal(64, read(properties(lab), &ISystemProperties::get_MaxGuestCPUCount))});
}

Finding memoryBounds(Lab& lab)
{
    const ULONG least = read(properties(lab), &ISystemProperties::get_MinGuestRAM);
    const ULONG most = read(properties(lab), &ISystemProperties::get_MaxGuestRAM);
    const ComPtr<IMachine> machine = lab.create();
    return all({answers(Result::InvalidArg, machine->put_MemorySize(least - 1)),
                answers(Result::Ok, machine->put_MemorySize(least)),
                answers(Result::InvalidArg, machine->put_MemorySize(most + 1))});
}

Finding processorBounds(Lab& lab)
{
    const ULONG most = read(properties(lab), &ISystemProperties::get_MaxGuestCPUCount);
    const ComPtr<IMachine> machine = lab.create();
    return all({answers(Result::InvalidArg, machine->put_CPUCount(0)), answers(Result::Ok, machine->put_CPUCount(most)),
                answers(Result::InvalidArg, machine->put_CPUCount(most + 1))});
}

Finding unchangedByRefusal(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.create();
    machine->put_CPUCount(0);
    return equal(1, read(machine, &IMachine::get_CPUCount));
}

Finding providers(Lab& lab)
{
    return answers(Result::InvalidArg, lab.create()->put_ParavirtProvider(ParavirtProvider::KVM + 1));
}

Finding adapterNumbers(Lab& lab)
{
    ULONG small = 0, large = 0;
    must(properties(lab)->GetMaxNetworkAdapters(ChipsetType::PIIX3, &small));
    must(properties(lab)->GetMaxNetworkAdapters(ChipsetType::ICH9, &large));
    return all({equal(8, small), equal(36, large)});
}

Finding adaptersOfChipset(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.create();
    ComPtr<INetworkAdapter> adapter;
    const HRESULT before = machine->GetNetworkAdapter(8, &adapter);
    must(machine->put_ChipsetType(ChipsetType::ICH9));
    return all({answers(Result::InvalidArg, before), answers(Result::Ok, machine->GetNetworkAdapter(35, &adapter)),
                answers(Result::InvalidArg, machine->GetNetworkAdapter(36, &adapter))});
}

Finding ports(Lab& lab)
{
    const auto all3 = [&lab](ULONG bus) {
        ULONG least = 0, most = 0, devices = 0;
        must(properties(lab)->GetMinPortCountForStorageBus(bus, &least));
        must(properties(lab)->GetMaxPortCountForStorageBus(bus, &most));
        must(properties(lab)->GetMaxDevicesPerPortForStorageBus(bus, &devices));
        return std::to_string(least) + ".." + std::to_string(most) + " x " + std::to_string(devices);
    };
    return all({equal("2..2 x 2", all3(StorageBus::IDE)), equal("1..30 x 1", all3(StorageBus::SATA)),
                equal("16..16 x 1", all3(StorageBus::SCSI)), equal("1..1 x 2", all3(StorageBus::Floppy)),
                equal("1..255 x 1", all3(StorageBus::SAS)), equal("8..8 x 1", all3(StorageBus::USB))});
}

Finding instances(Lab& lab)
{
    const auto most = [&lab](ULONG chipset, ULONG bus) {
        ULONG count = 0;
        must(properties(lab)->GetMaxInstancesOfStorageBus(chipset, bus, &count));
        return count;
    };
    return all({equal(1, most(ChipsetType::PIIX3, StorageBus::SATA)),
                equal(8, most(ChipsetType::ICH9, StorageBus::SATA)),
                equal(1, most(ChipsetType::ICH9, StorageBus::IDE))});
}

Finding diskFormat(Lab& lab)
{
    return equal(L"VDI", text(properties(lab), &ISystemProperties::get_DefaultHardDiskFormat));
}

// ---- the default machine folder

Finding machineFolder(Lab& lab)
{
    lab.redirectMachineFolder();
    Text composed;
    must(lab.box->ComposeMachineFilename(Text(L"Player"), nullptr, nullptr, nullptr, composed.put()));
    return all({equal(lab.folder().wstring(), text(properties(lab), &ISystemProperties::get_DefaultMachineFolder)),
                equal((lab.folder() / L"Player" / L"Player.vbox").wstring(), composed.str())});
}

Finding machineFolderMissing(Lab& lab)
{
    lab.redirectMachineFolder();
    return answers(Result::Ok, properties(lab)->put_DefaultMachineFolder(Text((lab.folder() / L"new").wstring())));
}

Finding machineFolderRelative(Lab& lab)
{
    lab.redirectMachineFolder();
    return answers(Result::InvalidArg, properties(lab)->put_DefaultMachineFolder(Text(L"relative")));
}

Finding machineFolderEmpty(Lab& lab)
{
    lab.redirectMachineFolder();
    must(properties(lab)->put_DefaultMachineFolder(nullptr));
    const std::filesystem::path folder = text(properties(lab), &ISystemProperties::get_DefaultMachineFolder);
    return equal(L"VirtualBox VMs", folder.filename().wstring());
}

} // namespace

Subject limitStatements()
{
    return {"limits",
            "Limits and defaults of the system",
            {
                {"limits.memory", "Memory goes from 4 to 2097152 MB.", Assumed, memoryNumbers},
                {"limits.memory-bounds", "Less or more than the limits gives `E_INVALIDARG`.", Assumed, memoryBounds},
                {"limits.processors", "A machine has 1 to 64 processors.", Assumed, processorNumbers},
                {"limits.processor-bounds", "Less or more gives `E_INVALIDARG`.", Assumed, processorBounds},
                {"limits.refusal", "What is refused changes nothing.", Documented, unchangedByRefusal},
                {"limits.providers", "A paravirtualisation provider that does not exist gives `E_INVALIDARG`.", Assumed,
                 providers},
                {"limits.adapters", "There are 8 network adapters with the chipset PIIX3, 36 with ICH9.", Documented,
                 adapterNumbers},
                {"limits.adapter-slots", "A slot beyond them gives `E_INVALIDARG`.", Documented, adaptersOfChipset},
                {"limits.ports",
                 "Ports and devices of each: IDE 2 x 2, SATA 1 to 30, SCSI 16, floppy 1 x 2, SAS 1 to 255, USB 8.",
                 Documented, ports},
                {"limits.controllers", "PIIX3 takes one controller of each bus; ICH9 8, but one IDE.", Documented,
                 instances},
                {"limits.disk-format", "New disks are VDI unless something else is said.", Documented, diskFormat},
                {"limits.folder", "The default machine folder can be set, and is where machines are composed to be.",
                 Documented, machineFolder},
                {"limits.folder-missing", "It need not exist yet.", Documented, machineFolderMissing},
                {"limits.folder-relative", "A path that is not a full one gives `E_INVALIDARG`.", Assumed,
                 machineFolderRelative},
                {"limits.folder-empty", "An empty one brings back `VirtualBox VMs` of the user's folder.", Documented,
                 machineFolderEmpty},
            }};
}

} // namespace Probe
