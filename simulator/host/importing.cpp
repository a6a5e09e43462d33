#include "host/importing.h"

#include <map>
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

ImportOptions parse(const std::vector<std::int32_t>& values)
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
    return options;
}

MediumRecord recordOf(const ImportedDisk& disk)
{
    MediumRecord record;
    record.id = disk.info.uuid.isNull() ? newUuid() : fromUuid(disk.info.uuid);
    record.location = disk.file.wstring();
    record.format = formatName(disk.info.format);
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
                {{L"Checking the appliance", 1}, {L"Importing the disk images", 8}, {L"Registering the machines", 1}}}),
          data_(std::move(data)),
          options_(options),
          appliance_(data_->appliance),
          systems_(data_->interpretation.systems)
    {
        for (const SystemDescription& description : systems_)
            for (const DescriptionEntry& entry : description.entries)
                if (entry.type == DescriptionType::HardDiskImage && entry.enabled)
                    wanted_.push_back({toUtf8(std::wstring_view(entry.reference)), entry.suggested,
                                       options_.toVdi ? ImageFormat::Vdi : ImageFormat::Vmdk, Poco::UUID()});
    }

private:
    void work() override
    {
        const auto reporter = [this](std::size_t operation) {
            return
                [this, operation](std::uint64_t done, std::uint64_t total) { return report(operation, done, total); };
        };
        appliance_->verifyDigests(reporter(0));
        const auto imported = host().disk().importDisks(*appliance_, wanted_, created_, reporter(1));
        for (std::size_t i = 0; i < imported.size(); ++i)
            disks_[wanted_[i].target.wstring()] = recordOf(imported[i]);
    }

    void finish() override
    {
        made_.reserve(systems_.size());
        for (const SystemDescription& description : systems_)
            registerOne(description);
        data_->machines.clear();
        for (const MachinePtr& machine : made_)
            data_->machines.push_back(machine->id);
        created_.commit();
    }

    void registerOne(const SystemDescription& description)
    {
        const OvfDescriptor& ovf = appliance_->descriptor();
        const std::wstring file = settingsFileOf(description);
        if (Files::exists(file))
            throw Failure(Result::fileError, L"Machine settings file '" + file + L"' already exists");
        MachineSettings settings =
            settingsOf({description, ovf.systems.at(description.system), ovf, options_, disks_}, file);
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
    std::vector<DiskImport> wanted_;
    CreatedFiles created_;
    std::map<std::wstring, MediumRecord> disks_; ///< those written, by the paths that were wanted
    std::vector<MachinePtr> made_;
};

} // namespace

ProgressPtr readAppliance(Host& host, const AppliancePtr& data, const std::wstring& file)
{
    Appliance::checkSuffix(file);
    data->path = file;
    data->appliance.reset();
    data->interpreted = false;
    data->interpretation = {};
    return startTask<Reading>(host, data, file);
}

void interpretAppliance(Host& host, ApplianceData& data)
{
    if (!data.appliance)
        throw Failure(Result::fail, L"Cannot interpret appliance without reading it first (call read() before "
                                    L"interpret())");
    Machines& machines = host.machines();
    ImportSurroundings surroundings;
    surroundings.isNameTaken = [&](const std::wstring& name) { return machines.isNameTaken(name); };
    surroundings.settingsFile = [&](const std::wstring& name) {
        return std::filesystem::path(machines.composeFile(name, L"", L"", L""));
    };
    surroundings.baseFolder = machines.defaultFolder();
    surroundings.isOsTypeKnown = [](const std::wstring& type) { return findGuestOsType(type) != nullptr; };
    surroundings.minCpuCount = Limits::minCpus;
    surroundings.maxCpuCount = Limits::maxCpus;
    surroundings.minMemoryMegabytes = Limits::minMegabytes;
    surroundings.maxMemoryMegabytes = Limits::maxMegabytes;
    data.interpretation = interpret(data.appliance->descriptor(), surroundings);
    data.interpreted = true;
}

ProgressPtr importAppliance(Host& host, const AppliancePtr& data, const std::vector<std::int32_t>& options)
{
    const ImportOptions parsed = parse(options);
    if (!data->interpreted)
        throw Failure(Result::fail, L"Cannot import machines without reading and interpreting the appliance first");
    return startTask<Importing>(host, data, parsed);
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
