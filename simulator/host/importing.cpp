#include "host/importing.h"

#include "base/files.h"
#include "base/text.h"
#include "base/time.h"
#include "host/error_mapping.h"
#include "host/scheduler.h"
#include "host/world.h"
#include "settings/guest_os_types.h"
#include "settings/limits.h"
#include "settings/snapshots.h"
#include "settings/storage_buses.h"

#include <algorithm>
#include <cwchar>
#include <map>
#include <optional>

namespace VBoxSim {

namespace {

struct Options
{
    bool keepAllMacs = false;
    bool keepNatMacs = false;
    bool toVdi = false;
};

Options parse(const std::vector<LONG>& values)
{
    Options options;
    for (const LONG value : values) {
        if (value < 1 || value > 3)
            throw Failure(Result::invalidArgument, L"Invalid import option " + std::to_wstring(value));
        (value == 1 ? options.keepAllMacs : value == 2 ? options.keepNatMacs : options.toVdi) = true;
    }
    return options;
}

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
    return 1;
}

/// The storage bus of a controller's entry; 0 for other entries.
std::uint32_t busOf(DescriptionType type)
{
    switch (type) {
    case DescriptionType::HardDiskControllerIDE:
        return 1;
    case DescriptionType::HardDiskControllerSATA:
        return 2;
    case DescriptionType::HardDiskControllerSCSI:
        return 3;
    case DescriptionType::HardDiskControllerSAS:
        return 5;
    case DescriptionType::HardDiskControllerNVMe:
        return 7;
    case DescriptionType::HardDiskControllerVirtioSCSI:
        return 8;
    default:
        return 0;
    }
}

std::uint32_t controllerType(const StorageBusLimits& bus, const std::wstring& name)
{
    const std::map<std::wstring, std::uint32_t> types{{L"piix3", 4},    {L"piix4", 5},    {L"ich6", 6},
                                                      {L"lsilogic", 1}, {L"buslogic", 2}, {L"lsilogicsas", 8}};
    const auto found = types.find(toLower(name));
    const bool fits = found != types.end() && std::count(bus.types.begin(), bus.types.end(), found->second);
    return fits ? found->second : bus.defaultType;
}

/// No memory, or whatever else hostile input brings about: it fails the operation, not the server.
Failure unexpectedFailure(const std::exception& error)
{
    return Failure(Result::fail, L"The appliance cannot be handled: " + fromUtf8(std::string_view(error.what())));
}

/// Makes the settings of one machine from its description.
class MachineMaker
{
public:
    MachineMaker(const SystemDescription& description, const OvfSystem& system, const OvfDescriptor& ovf,
                 const Options& options)
        : description_(description), system_(system), ovf_(ovf), options_(options)
    {}

    /// `disks` are the media by the target paths that the description gives the disks.
    MachineSettings make(const std::wstring& file, const std::map<std::wstring, MediumRecord>& disks)
    {
        disks_ = &disks;
        if (!fromVirtualBox(file))
            fromDescription();
        settings_.id = newUuid();
        settings_.name = value(DescriptionType::Name);
        settings_.osType = value(DescriptionType::OS);
        settings_.lastStateChange = Time::nowMilliseconds();
        settings_.cpuCount = toNumber(value(DescriptionType::CPU), Limits::minCpus, Limits::maxCpus);
        settings_.memoryMegabytes =
            toNumber(value(DescriptionType::Memory), Limits::minMegabytes, Limits::maxMegabytes);
        const std::wstring text = value(DescriptionType::Description);
        if (isStorable(text))
            settings_.description = text;
        return settings_;
    }

    std::wstring value(DescriptionType type) const
    {
        for (const DescriptionEntry& entry : description_.entries)
            if (entry.type == type && entry.enabled)
                return entry.suggested;
        return {};
    }

private:
    /// A machine that VirtualBox exported brings its settings along.
    bool fromVirtualBox(const std::wstring& file)
    {
        if (system_.machineElement.empty())
            return false;
        try {
            settings_ =
                parseMachineSettings("<?xml version=\"1.0\"?>\n<VirtualBox xmlns=\"http://www.virtualbox.org/\" "
                                     "version=\"1.16-windows\">" +
                                         system_.machineElement + "</VirtualBox>",
                                     file);
        } catch (const Failure&) {
            return false;
        }
        dropSnapshots(settings_);
        settings_.hardwareId.clear();
        settings_.stateFile.clear();
        settings_.snapshotFolder = L"Snapshots"; // another one would lead out of the machine's folder
        settings_.aborted = false;
        settings_.media.clear();
        std::size_t diskCount = 0;
        std::map<std::wstring, const MediumRecord*> byOldId;
        for (const DescriptionEntry& entry : description_.entries) {
            if (entry.type != DescriptionType::HardDiskImage || !entry.enabled)
                continue;
            ++diskCount;
            const OvfDisk* disk = ovf_.findDisk(toUtf8(std::wstring_view(entry.reference)));
            const auto made = disks_->find(entry.suggested);
            const auto oldId = disk ? parseUuid(fromUtf8(std::string_view(disk->uuid))) : std::nullopt;
            if (oldId && made != disks_->end())
                byOldId[*oldId] = &made->second;
        }
        for (StorageControllerSettings& controller : settings_.controllers) {
            for (AttachmentSettings& attachment : controller.attachments) {
                const auto found = byOldId.find(attachment.medium);
                attachment.medium.clear();
                if (found != byOldId.end()) {
                    attachment.medium = found->second->id;
                    settings_.media.push_back(*found->second);
                    byOldId.erase(found);
                }
            }
            std::erase_if(controller.attachments, [](const AttachmentSettings& attachment) {
                return attachment.type == DeviceKind::hardDisk && attachment.medium.empty();
            });
        }
        if (settings_.media.size() != diskCount)
            return false; // the two descriptions disagree, and no disk may be left without a machine
        for (NetworkAdapterSettings& adapter : settings_.adapters)
            if (!options_.keepAllMacs && !(options_.keepNatMacs && adapter.attachment == 1))
                adapter.mac = newMacAddress();
        return true;
    }

    void fromDescription()
    {
        settings_ = newMachineSettings(value(DescriptionType::Name), value(DescriptionType::OS));
        for (NetworkAdapterSettings& adapter : settings_.adapters)
            adapter.enabled = false;
        for (std::size_t i = 0; i < description_.entries.size(); ++i)
            addController(i);
        for (const DescriptionEntry& entry : description_.entries)
            if (entry.enabled)
                addDevice(entry);
    }

    void addController(std::size_t index)
    {
        const DescriptionEntry& entry = description_.entries[index];
        const StorageBusLimits* bus = storageBus(busOf(entry.type));
        if (!bus || !entry.enabled)
            return;
        const wchar_t* names[] = {L"", L"IDE", L"SATA", L"SCSI", L"Floppy", L"SAS", L"USB", L"NVMe", L"VirtioSCSI"};
        std::wstring name = names[bus->bus];
        constexpr std::uint32_t ide = 1;
        if (bus->bus == ide && controllerNamed(name)) { // the second channel of the same controller
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
        controller.useHostIoCache = bus->bus == ide;
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
            addDrive(entry, 2);
            break;
        case DescriptionType::NetworkAdapter: {
            const std::uint32_t slot = toNumber(extraValue(entry.extra, L"slot"), 0, 1024);
            if (slot >= settings_.adapters.size())
                break;
            NetworkAdapterSettings& adapter = settings_.adapters[slot];
            adapter.enabled = true;
            adapter.type = toNumber(entry.suggested, 1, 8);
            adapter.attachment = attachmentType(extraValue(entry.extra, L"type"));
            break;
        }
        case DescriptionType::SoundCard:
            settings_.audio.enabled = true;
            settings_.audio.driver = 4;
            break;
        default:
            break;
        }
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
            const MediumRecord& disk = disks_->at(entry.suggested);
            attachment.medium = disk.id;
            settings_.media.push_back(disk);
        }
        controller->attachments.push_back(attachment);
    }

    const SystemDescription& description_;
    const OvfSystem& system_;
    const OvfDescriptor& ovf_;
    const Options& options_;
    const std::map<std::wstring, MediumRecord>* disks_ = nullptr;
    std::map<std::size_t, std::wstring> controllers_; ///< by the index of their entries
    MachineSettings settings_;
};

/// The work of one import.
class Importing
{
public:
    Importing(AppliancePtr data, const Options& options)
        : data_(std::move(data)),
          options_(options),
          appliance_(data_->appliance),
          systems_(data_->interpretation.systems)
    {
        for (const SystemDescription& description : systems_)
            for (const DescriptionEntry& entry : description.entries)
                if (entry.type == DescriptionType::HardDiskImage && entry.enabled)
                    disks_.push_back({toUtf8(std::wstring_view(entry.reference)), entry.suggested,
                                      options_.toVdi ? ImageFormat::Vdi : ImageFormat::Vmdk, Poco::UUID()});
        std::vector<ProgressData::Operation> operations{
            {L"Checking the appliance", 1}, {L"Importing the disk images", 8}, {L"Registering the machines", 1}};
        progress_ = std::make_shared<ProgressData>(
            L"IAppliance::ImportMachines", L"Importing appliance '" + data_->path + L"'", true, std::move(operations));
    }

    const ProgressPtr& progress() const { return progress_; }

    void run()
    {
        std::optional<Failure> failure;
        CreatedFiles created;
        std::vector<ImportedDisk> imported;
        try {
            appliance_->verifyDigests(reporter(0));
            imported = appliance_->importDisks(disks_, created, reporter(1));
        } catch (const StorageError& error) {
            failure = error.fault() == Fault::Canceled ? canceledFailure() : failureOf(error);
        } catch (const std::exception& error) {
            failure = unexpectedFailure(error);
        }
        const WorldLock lock(worldMutex());
        if (!failure)
            failure = progress_->orderedFailure();
        if (!failure)
            failure = registerAll(imported);
        if (failure) {
            created.rollBack();
            progress_->fail(*failure);
            return;
        }
        created.commit();
        progress_->succeed();
    }

private:
    ProgressCallback reporter(std::size_t operation)
    {
        return [this, operation](std::uint64_t done, std::uint64_t total) {
            const WorldLock lock(worldMutex());
            progress_->advance(operation, static_cast<std::uint32_t>(total ? done * 100 / total : 100));
            return !progress_->isCanceled();
        };
    }

    std::optional<Failure> registerAll(const std::vector<ImportedDisk>& imported)
    {
        World& world = World::instance();
        std::vector<MachinePtr> made;
        std::map<std::wstring, MediumRecord> disks;
        for (std::size_t i = 0; i < imported.size(); ++i) {
            const ImageInfo& info = imported[i].info;
            MediumRecord record;
            record.id = info.uuid.isNull() ? newUuid() : fromUuid(info.uuid);
            record.location = imported[i].file.wstring();
            record.format = formatName(info.format);
            disks[disks_[i].target.wstring()] = record;
        }
        try {
            for (const SystemDescription& description : systems_) {
                MachineMaker maker(description, appliance_->descriptor().systems.at(description.system),
                                   appliance_->descriptor(), options_);
                const std::wstring given = maker.value(DescriptionType::SettingsFile);
                const std::wstring file =
                    Files::isAbsolute(given)
                        ? given
                        : world.composeMachineFile(maker.value(DescriptionType::Name), L"", L"", L"");
                if (Files::exists(file))
                    throw Failure(Result::fileError, L"Machine settings file '" + file + L"' already exists");
                const MachinePtr machine = world.adoptMachine(maker.make(file, disks), file);
                made.push_back(machine);
                world.registerMachine(machine);
                for (const MediumRecord& record : machine->saved.media)
                    if (const MediumPtr medium = world.findMedium(record.id))
                        world.refresh(*medium);
            }
        } catch (const Failure& failure) {
            rollBack(made);
            return failure;
        } catch (const std::exception& error) {
            rollBack(made);
            return unexpectedFailure(error);
        }
        data_->machines.clear();
        for (const MachinePtr& machine : made)
            data_->machines.push_back(machine->id);
        return std::nullopt;
    }

    static void rollBack(const std::vector<MachinePtr>& made)
    {
        World& world = World::instance();
        for (const MachinePtr& machine : made) {
            for (const MediumRecord& record : std::vector<MediumRecord>(machine->working.media))
                if (const MediumPtr medium = world.findMedium(record.id))
                    world.forgetMedium(medium);
            if (machine->registered)
                world.unregisterMachine(machine);
            machine->dead = true;
            Files::remove(machine->file);
            Files::remove(machine->file + L"-prev");
            Files::removeEmptyFolder(Files::folderOf(machine->file));
        }
    }

    const AppliancePtr data_;
    const Options options_;
    const std::shared_ptr<const Appliance> appliance_;
    const std::vector<SystemDescription> systems_;
    std::vector<DiskImport> disks_;
    ProgressPtr progress_;
};

} // namespace

ProgressPtr readAppliance(const AppliancePtr& data, const std::wstring& file)
{
    Appliance::checkSuffix(file);
    data->path = file;
    data->appliance.reset();
    data->interpreted = false;
    data->interpretation = {};
    const auto progress = std::make_shared<ProgressData>(
        L"IAppliance::Read", L"Reading appliance '" + file + L"'", true,
        std::vector<ProgressData::Operation>{{L"Reading the appliance's description", 1}});
    Scheduler::instance().work([data, progress, file] {
        std::shared_ptr<const Appliance> read;
        std::optional<Failure> failure;
        try {
            read = std::make_shared<const Appliance>(file);
        } catch (const StorageError& error) {
            failure = failureOf(error);
        } catch (const std::exception& error) {
            failure = unexpectedFailure(error);
        }
        const WorldLock lock(worldMutex());
        if (!failure && progress->isCanceled())
            failure = canceledFailure();
        if (!failure)
            failure = progress->orderedFailure();
        if (failure) {
            progress->fail(*failure);
            return;
        }
        data->appliance = read;
        progress->succeed();
    });
    return progress;
}

void interpretAppliance(ApplianceData& data)
{
    if (!data.appliance)
        throw Failure(Result::fail, L"Cannot interpret appliance without reading it first (call read() before "
                                    L"interpret())");
    World& world = World::instance();
    ImportSurroundings surroundings;
    surroundings.isNameTaken = [&](const std::wstring& name) { return world.isNameTaken(name); };
    surroundings.settingsFile = [&](const std::wstring& name) {
        return std::filesystem::path(world.composeMachineFile(name, L"", L"", L""));
    };
    surroundings.baseFolder = world.defaultMachineFolder();
    surroundings.isOsTypeKnown = [](const std::wstring& type) { return findGuestOsType(type) != nullptr; };
    surroundings.minCpuCount = Limits::minCpus;
    surroundings.maxCpuCount = Limits::maxCpus;
    surroundings.minMemoryMegabytes = Limits::minMegabytes;
    surroundings.maxMemoryMegabytes = Limits::maxMegabytes;
    data.interpretation = interpret(data.appliance->descriptor(), surroundings);
    data.interpreted = true;
}

ProgressPtr importAppliance(const AppliancePtr& data, const std::vector<LONG>& options)
{
    const Options parsed = parse(options);
    if (!data->interpreted)
        throw Failure(Result::fail, L"Cannot import machines without reading and interpreting the appliance first");
    const auto importing = std::make_shared<Importing>(data, parsed);
    Scheduler::instance().work([importing] { importing->run(); });
    return importing->progress();
}

} // namespace VBoxSim
