#include "host/imported_machine.h"

#include <algorithm>
#include <cwchar>
#include <iterator>
#include <optional>

#include "base/failure.h"
#include "base/text.h"
#include "settings/limits.h"
#include "settings/snapshots.h"
#include "settings/storage_buses.h"
#include "travik/vbox_types.h"

namespace VBoxSim {

namespace {

namespace StorageBus = Travik::StorageBus;
namespace AttachmentType = Travik::NetworkAttachmentType;
namespace AdapterType = Travik::NetworkAdapterType;

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

std::uint32_t attachmentType(const std::wstring& name)
{
    constexpr const wchar_t* names[] = {L"Null",     L"NAT",     L"Bridged",   L"Internal",
                                        L"HostOnly", L"Generic", L"NATNetwork"};
    for (std::uint32_t value = 0; value < std::size(names); ++value)
        if (equalIgnoringCase(name, names[value]))
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

/// Settings from the machine element that VirtualBox itself exports; nothing when there is none, or when it does not
/// know all of the system's disks.
class MachineElement
{
public:
    explicit MachineElement(const ImportedSystem& from) : from_(from) {}

    std::optional<MachineSettings> read(const std::wstring& file)
    {
        if (from_.system.machineElement.empty())
            return std::nullopt;
        try {
            settings_ =
                parseMachineSettings("<?xml version=\"1.0\"?>\n<VirtualBox xmlns=\"http://www.virtualbox.org/\" "
                                     "version=\"1.16-windows\">" +
                                         from_.system.machineElement + "</VirtualBox>",
                                     file);
        } catch (const Failure&) {
            return std::nullopt;
        }
        dropOldLife();
        if (!attachDisks())
            return std::nullopt; // the two descriptions disagree, and no disk may be left without a machine
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

    /// The disks by the UUIDs that they had where the machine comes from; counts the disks of the description.
    std::map<std::wstring, const MediumRecord*> disksByOldId(std::size_t& count) const
    {
        std::map<std::wstring, const MediumRecord*> disks;
        for (const DescriptionEntry& entry : from_.description.entries) {
            if (entry.type != DescriptionType::HardDiskImage || !entry.enabled)
                continue;
            ++count;
            const OvfDisk* disk = from_.ovf.findDisk(toUtf8(std::wstring_view(entry.reference)));
            const auto made = from_.disks.find(entry.suggested);
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
    MachineSettings settings_;
};

/// Settings from the hardware that the description lists.
class HardwareList
{
public:
    explicit HardwareList(const ImportedSystem& from) : from_(from) {}

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
    void addController(std::size_t index)
    {
        const DescriptionEntry& entry = from_.description.entries[index];
        const StorageBusLimits* bus = storageBus(busOf(entry.type));
        if (!bus || !entry.enabled)
            return;
        const wchar_t* names[] = {L"", L"IDE", L"SATA", L"SCSI", L"Floppy", L"SAS", L"USB", L"NVMe", L"VirtioSCSI"};
        std::wstring name = names[bus->bus];
        if (bus->bus == StorageBus::IDE && controllerNamed(name)) { // the second channel of the same controller
            controllers_[index] = name;
            return;
        }
        for (int i = 1; controllerNamed(name); ++i)
            name = std::wstring(names[bus->bus]) + L" " + std::to_wstring(i);
        StorageControllerSettings controller;
        controller.name = name;
        controller.bus = bus->bus;
        controller.type = controllerType(*bus, entry.suggested);
        controller.portCount = bus->minPorts;
        controller.useHostIoCache = bus->bus == StorageBus::IDE;
        settings_.controllers.push_back(controller);
        controllers_[index] = name;
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
            addDrive(entry, DeviceKind::hardDisk);
            break;
        case DescriptionType::CDROM:
            addDrive(entry, DeviceKind::dvd);
            break;
        case DescriptionType::NetworkAdapter:
            addAdapter(entry);
            break;
        case DescriptionType::SoundCard:
            settings_.audio.enabled = true;
            settings_.audio.driver = Travik::AudioDriverType::DirectSound;
            break;
        default:
            break;
        }
    }

    void addAdapter(const DescriptionEntry& entry)
    {
        const std::uint32_t slot = toNumber(extraValue(entry.extra, L"slot"), 0, 1024);
        if (slot >= settings_.adapters.size())
            return;
        NetworkAdapterSettings& adapter = settings_.adapters[slot];
        adapter.enabled = true;
        adapter.type = toNumber(entry.suggested, AdapterType::Am79C970A, AdapterType::Virtio_1_0);
        adapter.attachment = attachmentType(extraValue(entry.extra, L"type"));
    }

    void addDrive(const DescriptionEntry& entry, std::uint32_t deviceType)
    {
        const auto place = parseDrivePlace(entry.extra);
        const auto name = place ? controllers_.find(place->controller) : controllers_.end();
        StorageControllerSettings* controller = name == controllers_.end() ? nullptr : controllerNamed(name->second);
        const StorageBusLimits* bus = controller ? storageBus(controller->bus) : nullptr;
        if (!bus || place->channel / bus->devicesPerPort >= bus->maxPorts) {
            // An empty drive is no loss; a disk would be left without a machine.
            if (deviceType == DeviceKind::hardDisk)
                throw Failure(Result::invalidArgument,
                              L"There is no place for the disk '" + entry.reference + L"' at '" + entry.extra + L"'");
            return;
        }
        AttachmentSettings attachment;
        attachment.type = deviceType;
        attachment.port = static_cast<std::int32_t>(place->channel / bus->devicesPerPort);
        attachment.device = static_cast<std::int32_t>(place->channel % bus->devicesPerPort);
        controller->portCount = std::max(controller->portCount, static_cast<std::uint32_t>(attachment.port) + 1);
        if (deviceType == DeviceKind::hardDisk) {
            const MediumRecord& disk = from_.disks.at(entry.suggested);
            attachment.medium = disk.id;
            settings_.media.push_back(disk);
        }
        controller->attachments.push_back(attachment);
    }

    const ImportedSystem& from_;
    std::map<std::size_t, std::wstring> controllers_; ///< by the index of their entries
    MachineSettings settings_;
};

} // namespace

std::wstring settledValue(const SystemDescription& description, DescriptionType type)
{
    for (const DescriptionEntry& entry : description.entries)
        if (entry.type == type && entry.enabled)
            return entry.suggested;
    return {};
}

MachineSettings settingsOf(const ImportedSystem& system, const std::wstring& file)
{
    const auto value = [&](DescriptionType type) { return settledValue(system.description, type); };
    auto brought = MachineElement(system).read(file);
    MachineSettings settings = brought ? std::move(*brought) : HardwareList(system).read();
    settings.id = newUuid();
    settings.name = value(DescriptionType::Name);
    settings.osType = value(DescriptionType::OS);
    settings.cpuCount = toNumber(value(DescriptionType::CPU), Limits::minCpus, Limits::maxCpus);
    settings.memoryMegabytes = toNumber(value(DescriptionType::Memory), Limits::minMegabytes, Limits::maxMegabytes);
    const std::wstring text = value(DescriptionType::Description);
    if (isStorable(text))
        settings.description = text;
    return settings;
}

} // namespace VBoxSim
