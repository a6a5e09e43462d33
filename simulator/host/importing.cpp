#include "host/importing.h"

#include <map>
#include <set>
#include <utility>

#include "base/files.h"
#include "base/text.h"
#include "host/error_mapping.h"
#include "host/host.h"
#include "host/imported_machine.h"
#include "host/task.h"
#include "settings/guest_os_types.h"
#include "settings/limits.h"

namespace VBoxSim {

namespace {

ImportOptions parseImportOptions(const std::vector<std::int32_t>& values)
{
    ImportOptions options;
    for (const std::int32_t number : values) {
        const auto value = static_cast<std::uint32_t>(number);
        if (value == Travik::ImportOptions::KeepAllMACs)
            options.keepAllMacs = true;
        else if (value == Travik::ImportOptions::KeepNATMACs)
            options.keepNatMacs = true;
        else if (value == Travik::ImportOptions::ImportToVDI)
            options.toVdi = true;
        else
            throw Failure(Result::invalidArgument, L"Invalid import option " + std::to_wstring(number));
    }
    if (options.keepAllMacs && options.keepNatMacs)
        throw Failure(Result::invalidArgument, L"Only one of the options that keep MAC addresses can be given");
    return options;
}

/// What an appliance's own settings say of a machine.
ImportMachine describedMachine(const std::string& text)
{
    const MachineSettings settings = parseMachineSettings(text, L"the appliance");
    ImportMachine machine{settings.name, settings.osType, settings.cpuCount, settings.memoryMegabytes, {}, {}};
    if (settings.audio.enabled)
        machine.soundCard = settings.audio.controller;
    for (const NetworkAdapterSettings& adapter : settings.adapters)
        if (adapter.enabled)
            machine.adapters.push_back({adapter.slot, adapter.type, attachmentMode(adapter.attachment)});
    return machine;
}

void checkIdle(const ApplianceData& data)
{
    if (data.running && !data.running->isCompleted())
        throw Failure(Result::accessDenied, L"The appliance is busy");
}

MediumRecord recordOf(const ImportedDisk& disk)
{
    MediumRecord record;
    record.id = disk.info.uuid.empty() ? newUuid() : disk.info.uuid;
    record.location = disk.file.wstring();
    record.format = formatName(disk.info.format);
    if (disk.info.optical) {
        record.deviceType = DeviceKind::dvd;
        record.type = L"Readonly";
    }
    return record;
}

class Reading : public Task
{
public:
    Reading(Host& host, AppliancePtr data, std::wstring file)
        : Task(host, {L"IAppliance::Read",
                      L"Reading appliance '" + file + L"'",
                      true,
                      {{L"Reading the appliance's description"}}}),
          data_(std::move(data)),
          file_(std::move(file))
    {}

private:
    void work() override { read_ = std::make_shared<const Appliance>(file_); }
    void finish() override { data_->appliance = read_; }

    const AppliancePtr data_;
    const std::wstring file_;
    std::shared_ptr<const Appliance> read_;
};

class Importing : public Task
{
public:
    Importing(Host& host, AppliancePtr data, const ImportOptions& options)
        : Task(host,
               {L"IAppliance::ImportMachines",
                L"Importing appliance '" + data->path + L"'",
                true,
                {{L"Importing the disk images", 8}, {L"Checking the appliance", 1}, {L"Registering the machines", 1}}}),
          data_(std::move(data)),
          options_(options),
          appliance_(data_->appliance),
          systems_(data_->interpretation.systems)
    {
        for (const SystemDescription& description : systems_)
            files_.push_back(settingsFileOf(description));
    }

private:
    void work() override
    {
        const auto reporter = [this](std::size_t operation) {
            return
                [this, operation](std::uint64_t done, std::uint64_t total) { return report(operation, done, total); };
        };
        for (std::size_t i = 0; i < systems_.size(); ++i)
            plan(systems_[i], files_[i]);
        checkPlaces();
        const auto imported = host().disk().importDisks(*appliance_, wanted_, created_, reporter(0));
        for (std::size_t i = 0; i < imported.size(); ++i)
            disks_[wanted_[i].target.wstring()] = recordOf(imported[i]);
        appliance_->verifyDigests(reporter(1));
        made_.reserve(systems_.size());
        for (std::size_t i = 0; i < systems_.size(); ++i) {
            registerOne(i);
            report(2, i + 1, systems_.size());
        }
    }

    /// What VirtualBox wants of a description, and its disks.
    void plan(const SystemDescription& description, const std::wstring& file)
    {
        checkEntries(description);
        for (const DescriptionEntry& entry : description.entries)
            if (entry.type == DescriptionType::HardDiskImage && entry.enabled)
                wanted_.push_back({toUtf8(entry.reference), targetOf(entry, file), formatOf(entry.suggested), {}});
    }

    ImageFormat formatOf(const std::wstring& target) const
    {
        const ImageFormat format = targetFormat(target);
        return options_.toVdi || format == ImageFormat::Vdi ? ImageFormat::Vdi : ImageFormat::Vmdk;
    }

    /// Whether machines can be made of the descriptions at all, before the disks take their time.
    void checkPlaces() const
    {
        std::map<std::wstring, MediumRecord> disks;
        for (const DiskImport& wanted : wanted_)
            disks[wanted.target.wstring()].id = newUuid();
        for (std::size_t i = 0; i < systems_.size(); ++i)
            settingsOf(systemAt(i, disks), files_[i]);
    }

    ImportedSystem systemAt(std::size_t index, const std::map<std::wstring, MediumRecord>& disks) const
    {
        const OvfDescriptor& ovf = appliance_->descriptor();
        return {systems_[index], ovf.systems.at(systems_[index].system), ovf, options_, disks};
    }

    void finish() override
    {
        data_->machines.clear();
        for (const MachinePtr& machine : made_)
            data_->machines.push_back(machine->id);
        created_.commit();
    }

    /// Holds the host for one machine only: others have their turn in between.
    void registerOne(std::size_t index)
    {
        const std::wstring& file = files_[index];
        MachineSettings settings = settingsOf(systemAt(index, disks_), file);
        const HostLock lock = host().lock();
        checkGoesOn();
        if (Files::exists(file))
            throw Failure(Result::fileError, L"Machine settings file '" + file + L"' already exists");
        settings.lastStateChange = host().clock().milliseconds();
        const MachinePtr machine = host().machines().adopt(settings, file);
        made_.push_back(machine);
        host().machines().add(machine);
        for (const MediumRecord& record : machine->saved.media)
            if (const MediumPtr medium = host().media().find(record.id))
                host().media().refresh(*medium);
    }

    std::wstring settingsFileOf(const SystemDescription& description)
    {
        const std::wstring given = settledValue(description, DescriptionType::SettingsFile);
        if (Files::isAbsolute(given))
            return given;
        return host().machines().composeFile(settledValue(description, DescriptionType::Name), L"", L"", L"");
    }

    void rollBack() override
    {
        for (const MachinePtr& machine : made_)
            attempt([&] { takeBack(machine); });
        created_.rollBack();
    }

    void takeBack(const MachinePtr& machine)
    {
        machine->dead = true;
        if (machine->registered)
            attempt([&] { host().machines().remove(machine); });
        for (const MediumRecord& record : std::vector<MediumRecord>(machine->working.media))
            if (const MediumPtr medium = host().media().find(record.id))
                attempt([&] { host().media().forget(medium); });
        Disk& disk = host().disk();
        disk.remove(machine->file);
        disk.remove(machine->file + L"-prev");
        disk.removeEmptyFolder(Files::folderOf(machine->file));
    }

    const AppliancePtr data_;
    const ImportOptions options_;
    const std::shared_ptr<const Appliance> appliance_;
    const std::vector<SystemDescription> systems_;
    std::vector<std::wstring> files_; ///< the settings files of the systems
    std::vector<DiskImport> wanted_;
    CreatedFiles created_;
    std::map<std::wstring, MediumRecord> disks_; ///< those written, by the paths that were wanted
    std::vector<MachinePtr> made_;
};

} // namespace

ProgressPtr readAppliance(Host& host, const AppliancePtr& data, const std::wstring& file)
{
    constexpr std::wstring_view scheme = L"file://";
    if (file.starts_with(L"webdav://"))
        throw Failure(Result::notImplemented, L"Appliances are read from files only");
    const std::wstring path = file.starts_with(scheme) ? file.substr(scheme.size()) : file;
    Appliance::checkSuffix(path);
    checkIdle(*data);
    data->path = path;
    data->appliance.reset();
    data->interpreted = false;
    data->interpretation = {};
    data->running = startTask<Reading>(host, data, path);
    return data->running;
}

std::vector<std::wstring> diskTexts(const ApplianceData& data)
{
    if (!data.appliance)
        return {};
    constexpr const char* tab = "\t";
    constexpr const char* unknownChunk = "-1";
    std::vector<std::wstring> texts;
    for (const auto& [id, disk] : data.appliance->descriptor().disks)
        texts.push_back(fromUtf8(id + tab + std::to_string(disk.capacity) + tab + std::to_string(disk.populatedSize) +
                                 tab + disk.format + tab + disk.href + tab + std::to_string(disk.size) + tab +
                                 unknownChunk + tab + disk.compression));
    return texts;
}

void interpretAppliance(Host& host, ApplianceData& data)
{
    checkIdle(data);
    if (!data.appliance)
        throw Failure(Result::fail, L"Cannot interpret appliance without reading it first (call read() before "
                                    L"interpret())");
    Machines& machines = host.machines();
    ImportSurroundings surroundings;
    surroundings.isNameTaken = [&](const std::wstring& name) { return machines.isNameTaken(name); };
    surroundings.settingsFile = [&](const std::wstring& name) {
        return std::filesystem::path(machines.composeFile(name, L"", L"", L""));
    };
    surroundings.readMachine = describedMachine;
    surroundings.baseFolder = machines.defaultFolder();
    surroundings.findOsType = [](const std::wstring& id) {
        const GuestOsType* type = findGuestOsType(id);
        return type ? std::optional(ImportOsType{type->recommendedMegabytes, type->adapterType}) : std::nullopt;
    };
    std::set<std::wstring> known;
    for (const MediumPtr& medium : host.media().all())
        known.insert(toLower(medium->location));
    surroundings.isFileTaken = [&known](const std::filesystem::path& file) {
        return known.contains(toLower(file.wstring())) || Files::exists(file.wstring());
    };
    surroundings.maxCpuCount = Limits::maxCpus;
    surroundings.minMemoryMegabytes = Limits::minMegabytes;
    surroundings.maxMemoryMegabytes = Limits::maxMegabytes;
    data.interpretation = interpret(data.appliance->descriptor(), surroundings);
    data.interpreted = true;
}

ProgressPtr importAppliance(Host& host, const AppliancePtr& data, const std::vector<std::int32_t>& options)
{
    const ImportOptions parsed = parseImportOptions(options);
    checkIdle(*data);
    if (!data->interpreted)
        throw Failure(Result::fail, L"Cannot import machines without reading and interpreting the appliance first");
    data->running = startTask<Importing>(host, data, parsed);
    return data->running;
}

std::vector<DescriptionEntry>& entriesOf(ApplianceData& data, std::size_t system)
{
    if (system >= data.interpretation.systems.size())
        throw Failure(Result::accessDenied, L"The appliance was read anew");
    return data.interpretation.systems[system].entries;
}

void setFinalValues(std::vector<DescriptionEntry>& entries, const FinalValues& values)
{
    const std::size_t count = entries.size();
    if (values.enabled.size() != count || values.suggested.size() != count || values.extras.size() != count)
        throw Failure(Result::invalidArgument, L"The arrays must be as long as the description");
    for (std::size_t i = 0; i < count; ++i) {
        entries[i].enabled = values.enabled[i] != 0;
        entries[i].suggested = values.suggested[i];
        entries[i].extra = values.extras[i];
    }
}

} // namespace VBoxSim
