#include "host/imported_machine.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

#include "base/failure.h"
#include "base/files.h"
#include "base/text.h"
#include "settings/guest_os_types.h"
#include "settings/limits.h"
#include "settings/machine_reader.h"
#include "settings/snapshots.h"
#include "settings/storage_buses.h"
#include "travik/vbox_types.h"

namespace VBoxSim {

namespace {

namespace StorageBus = Travik::StorageBus;
namespace AttachmentType = Travik::NetworkAttachmentType;
namespace AdapterType = Travik::NetworkAdapterType;
namespace AudioType = Travik::AudioControllerType;

std::uint32_t toNumber(const std::wstring& text, std::uint32_t lowest, std::uint32_t highest)
{
    return std::clamp(static_cast<std::uint32_t>(std::wcstoul(text.c_str(), nullptr, 10)), lowest, highest);
}

/// The value of a key in an extra text such as "slot=0;type=NAT".
std::wstring extraValue(const std::wstring& extra, std::wstring_view key)
{
    std::wstring value;
    forEachEntry(extra, L";", [&](std::wstring_view part) {
        if (part.starts_with(key) && part.size() > key.size() && part[key.size()] == L'=')
            value = part.substr(key.size() + 1);
    });
    return value;
}

/// By their numbers.
constexpr const wchar_t* attachmentModes[] = {L"Null",     L"NAT",     L"Bridged",    L"Internal",
                                              L"HostOnly", L"Generic", L"NATNetwork", L"Cloud"};

std::uint32_t attachmentType(const std::wstring& name)
{
    for (std::uint32_t value = 0; value < std::size(attachmentModes); ++value)
        if (equalIgnoringCase(name, attachmentModes[value]))
            return value;
    return AttachmentType::NAT;
}

/// The storage bus of a controller's entry; 0 for other entries.
std::uint32_t busOf(DescriptionType type)
{
    switch (type) {
    case DescriptionType::HardDiskControllerIDE:
        return StorageBus::IDE;
    case DescriptionType::HardDiskControllerSATA:
        return StorageBus::SATA;
    case DescriptionType::HardDiskControllerSCSI:
        return StorageBus::SCSI;
    case DescriptionType::HardDiskControllerSAS:
        return StorageBus::SAS;
    case DescriptionType::HardDiskControllerNVMe:
        return StorageBus::PCIe;
    case DescriptionType::HardDiskControllerVirtioSCSI:
        return StorageBus::VirtioSCSI;
    default:
        return 0;
    }
}

std::uint32_t controllerType(const StorageBusLimits& bus, const std::wstring& name)
{
    namespace Type = Travik::StorageControllerType;
    const std::map<std::wstring, std::uint32_t> types{
        {L"piix3", Type::PIIX3},       {L"piix4", Type::PIIX4},       {L"ich6", Type::ICH6},
        {L"lsilogic", Type::LsiLogic}, {L"buslogic", Type::BusLogic}, {L"lsilogicsas", Type::LsiLogicSas}};
    const auto found = types.find(toLower(name));
    const bool fits = found != types.end() && std::count(bus.types.begin(), bus.types.end(), found->second);
    return fits ? found->second : bus.defaultType;
}

constexpr std::uint32_t highestSlot = 1024;

void setAdapter(NetworkAdapterSettings& adapter, const DescriptionEntry& entry)
{
    adapter.type = toNumber(entry.suggested, AdapterType::Am79C970A, AdapterType::Virtio_1_0);
    adapter.attachment = attachmentType(extraValue(entry.extra, L"type"));
}

void setSoundCard(AudioSettings& audio, const DescriptionEntry& entry)
{
    const std::uint32_t controller = toNumber(entry.suggested, AudioType::AC97, AudioType::HDA);
    if (audio.controller != controller)
        audio.codec = defaultCodec(controller);
    audio.controller = controller;
    audio.enabled = true;
}

/// Settings from the machine element that VirtualBox itself exports.
class MachineElement
{
public:
    MachineElement(const ImportedSystem& from, const std::wstring& file) : from_(from), file_(file) {}

    MachineSettings read()
    {
        settings_ = parseMachineSettings(*from_.system.machine, file_);
        dropOldLife();
        applyEntries();
        if (!attachDisks()) // no disk may be left without a machine
            throw Failure(Result::fail, L"The machine's settings do not know all of its disks");
        renewAddresses();
        return settings_;
    }

private:
    void dropOldLife()
    {
        dropSnapshots(settings_);
        settings_.hardwareId.clear();
        settings_.stateFile.clear();
        settings_.snapshotFolder = L"Snapshots"; // another one would lead out of the machine's folder
        settings_.aborted = false;
        settings_.media.clear();
    }

    /// What the caller settled on for the devices that have entries.
    void applyEntries()
    {
        for (NetworkAdapterSettings& adapter : settings_.adapters)
            adapter.enabled = false;
        settings_.audio.enabled = false;
        for (const DescriptionEntry& entry : from_.description.entries) {
            if (entry.enabled && entry.type == DescriptionType::SoundCard)
                setSoundCard(settings_.audio, entry);
            const std::size_t slot = toNumber(extraValue(entry.extra, L"slot"), 0, highestSlot);
            if (!entry.enabled || entry.type != DescriptionType::NetworkAdapter || slot >= settings_.adapters.size())
                continue;
            settings_.adapters[slot].enabled = true;
            setAdapter(settings_.adapters[slot], entry);
        }
    }

    /// The disks by the UUIDs that they had where the machine comes from; counts the disks of the description.
    std::map<std::wstring, const MediumRecord*> disksByOldId(std::size_t& count) const
    {
        std::map<std::wstring, const MediumRecord*> disks;
        for (const DescriptionEntry& entry : from_.description.entries) {
            if (entry.type != DescriptionType::HardDiskImage || !entry.enabled)
                continue;
            ++count;
            const OvfDisk* disk = from_.ovf.findDisk(toUtf8(std::wstring_view(entry.reference)));
            const auto made = from_.disks.find(targetOf(entry, file_));
            const auto oldId = disk ? parseUuid(fromUtf8(std::string_view(disk->uuid))) : std::nullopt;
            if (oldId && made != from_.disks.end())
                disks[*oldId] = &made->second;
        }
        return disks;
    }

    /// Puts the imported disks where the old ones were; answers whether each found its place.
    bool attachDisks()
    {
        std::size_t count = 0;
        std::map<std::wstring, const MediumRecord*> disks = disksByOldId(count);
        for (StorageControllerSettings& controller : settings_.controllers) {
            for (AttachmentSettings& attachment : controller.attachments) {
                const auto found = disks.find(attachment.medium);
                attachment.medium.clear();
                if (found == disks.end())
                    continue;
                attachment.medium = found->second->id;
                settings_.media.push_back(*found->second);
                disks.erase(found);
            }
            std::erase_if(controller.attachments, [](const AttachmentSettings& attachment) {
                return attachment.type == DeviceKind::hardDisk && attachment.medium.empty();
            });
        }
        return settings_.media.size() == count;
    }

    void renewAddresses()
    {
        const ImportOptions& options = from_.options;
        for (NetworkAdapterSettings& adapter : settings_.adapters)
            if (!options.keepAllMacs && !(options.keepNatMacs && adapter.attachment == AttachmentType::NAT))
                adapter.mac = newMacAddress();
    }

    const ImportedSystem& from_;
    const std::wstring& file_;
    MachineSettings settings_;
};

/// Settings from the hardware that the description lists.
class HardwareList
{
public:
    HardwareList(const ImportedSystem& from, const std::wstring& file) : from_(from), file_(file) {}

    MachineSettings read()
    {
        const SystemDescription& description = from_.description;
        settings_ = newMachineSettings(settledValue(description, DescriptionType::Name),
                                       settledValue(description, DescriptionType::OS));
        for (NetworkAdapterSettings& adapter : settings_.adapters)
            adapter.enabled = false;
        for (std::size_t i = 0; i < description.entries.size(); ++i)
            addController(i);
        for (const DescriptionEntry& entry : description.entries)
            if (entry.enabled)
                addDevice(entry);
        return settings_;
    }

private:
    /// A controller of the machine, and where the addresses of its entry begin on it.
    struct Place
    {
        std::wstring name;
        std::uint32_t firstAddress;
    };

    void addController(std::size_t index)
    {
        const DescriptionEntry& entry = from_.description.entries[index];
        const StorageBusLimits* bus = storageBus(busOf(entry.type));
        if (!bus || !entry.enabled)
            return;
        const wchar_t* names[] = {L"", L"IDE", L"SATA", L"SCSI", L"Floppy", L"SAS", L"USB", L"NVMe", L"VirtioSCSI"};
        const std::wstring name = names[bus->bus];
        const std::uint32_t before = counts_[bus->bus]++;
        const bool isIde = bus->bus == StorageBus::IDE;
        if (before >= (isIde ? 2u : 1u))
            throw Failure(Result::fileError, L"A machine cannot have so many controllers " + name);
        controllers_[index] = {name, before * bus->devicesPerPort};
        if (before > 0) // the second channel of the same controller
            return;
        StorageControllerSettings controller;
        controller.name = name;
        controller.bus = bus->bus;
        controller.type = controllerType(*bus, entry.suggested);
        controller.portCount = bus->minPorts;
        controller.useHostIoCache = bus->usesHostCache;
        settings_.controllers.push_back(controller);
    }

    StorageControllerSettings* controllerNamed(const std::wstring& name)
    {
        for (StorageControllerSettings& controller : settings_.controllers)
            if (controller.name == name)
                return &controller;
        return nullptr;
    }

    void addDevice(const DescriptionEntry& entry)
    {
        switch (entry.type) {
        case DescriptionType::HardDiskImage:
            addDisk(entry);
            break;
        case DescriptionType::NetworkAdapter:
            addAdapter(entry);
            break;
        case DescriptionType::SoundCard:
            setSoundCard(settings_.audio, entry);
            settings_.audio.driver = Travik::AudioDriverType::DirectSound;
            break;
        case DescriptionType::Floppy:
            addFloppyDrive();
            break;
        default:
            break;
        }
    }

    void addAdapter(const DescriptionEntry& entry)
    {
        const std::wstring slot = extraValue(entry.extra, L"slot");
        const std::uint32_t index = slot.empty() ? nextSlot_++ : toNumber(slot, 0, highestSlot);
        if (index >= settings_.adapters.size())
            throw Failure(Result::fileError, L"A machine cannot have so many network adapters");
        settings_.adapters[index].enabled = true;
        setAdapter(settings_.adapters[index], entry);
    }

    /// One drive without a disk in it.
    void addFloppyDrive()
    {
        const StorageBusLimits& bus = *storageBus(StorageBus::Floppy);
        StorageControllerSettings controller;
        controller.name = L"Floppy";
        controller.bus = bus.bus;
        controller.type = bus.defaultType;
        controller.portCount = bus.defaultPorts;
        controller.useHostIoCache = bus.usesHostCache;
        AttachmentSettings drive;
        drive.type = DeviceKind::floppy;
        controller.attachments.push_back(drive);
        settings_.controllers.push_back(controller);
    }

    void addDisk(const DescriptionEntry& entry)
    {
        const auto place = parseDrivePlace(entry.extra);
        const auto found = place ? controllers_.find(place->controller) : controllers_.end();
        if (found == controllers_.end())
            throw noPlace(Result::invalidArgument, entry);
        StorageControllerSettings& controller = *controllerNamed(found->second.name);
        const StorageBusLimits& bus = *storageBus(controller.bus);
        const std::uint64_t address = std::uint64_t(place->channel) + found->second.firstAddress;
        if (address / bus.devicesPerPort >= bus.maxPorts)
            throw noPlace(bus.bus == StorageBus::IDE ? Result::notSupported : Result::invalidArgument, entry);
        const MediumRecord& disk = from_.disks.at(targetOf(entry, file_));
        AttachmentSettings attachment;
        attachment.type = disk.deviceType;
        attachment.port = static_cast<std::int32_t>(address / bus.devicesPerPort);
        attachment.device = static_cast<std::int32_t>(address % bus.devicesPerPort);
        attachment.medium = disk.id;
        for (const AttachmentSettings& other : controller.attachments)
            if (other.port == attachment.port && other.device == attachment.device)
                throw noPlace(Result::objectInUse, entry);
        controller.portCount = std::max(controller.portCount, static_cast<std::uint32_t>(attachment.port) + 1);
        controller.attachments.push_back(attachment);
        settings_.media.push_back(disk);
    }

    static Failure noPlace(ResultCode code, const DescriptionEntry& entry)
    {
        return Failure(code, L"There is no place for the disk '" + entry.reference + L"' at '" + entry.extra + L"'");
    }

    const ImportedSystem& from_;
    const std::wstring& file_;
    std::map<std::size_t, Place> controllers_;      ///< by the index of their entries
    std::map<std::uint32_t, std::uint32_t> counts_; ///< of the entries of each bus
    std::uint32_t nextSlot_ = 0;
    MachineSettings settings_;
};

} // namespace

std::wstring attachmentMode(std::uint32_t attachment)
{
    return attachment < std::size(attachmentModes) ? attachmentModes[attachment] : attachmentModes[0];
}

void checkEntries(const SystemDescription& description)
{
    const auto count = [&](DescriptionType type) {
        return std::count_if(description.entries.begin(), description.entries.end(),
                             [&](const DescriptionEntry& entry) { return entry.enabled && entry.type == type; });
    };
    if (count(DescriptionType::Name) == 0 || count(DescriptionType::OS) == 0 || count(DescriptionType::CPU) != 1 ||
        count(DescriptionType::Memory) != 1)
        throw Failure(Result::fileError, L"A description lacks its name, operating system, CPUs or memory");
}

std::wstring settledValue(const SystemDescription& description, DescriptionType type)
{
    for (const DescriptionEntry& entry : description.entries)
        if (entry.type == type && entry.enabled)
            return entry.suggested;
    return {};
}

std::wstring targetOf(const DescriptionEntry& disk, const std::wstring& settingsFile)
{
    return Files::resolve(Files::folderOf(settingsFile), disk.suggested);
}

MachineSettings settingsOf(const ImportedSystem& system, const std::wstring& file)
{
    const auto value = [&](DescriptionType type) { return settledValue(system.description, type); };
    const GuestOsType* osType = findGuestOsType(value(DescriptionType::OS));
    if (!osType)
        throw Failure(Result::objectNotFound, L"Guest OS type '" + value(DescriptionType::OS) + L"' is not known");
    MachineSettings settings =
        system.system.machine ? MachineElement(system, file).read() : HardwareList(system, file).read();
    settings.id = newUuid();
    settings.name = value(DescriptionType::Name);
    settings.osType = osType->id;
    settings.cpuCount = toNumber(value(DescriptionType::CPU), Limits::minCpus, Limits::maxCpus);
    settings.memoryMegabytes = toNumber(value(DescriptionType::Memory), Limits::minMegabytes, Limits::maxMegabytes);
    const std::wstring text = value(DescriptionType::Description);
    if (isStorable(text))
        settings.description = text;
    return settings;
}

} // namespace VBoxSim
