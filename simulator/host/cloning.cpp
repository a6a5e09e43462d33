#include "host/cloning.h"

#include "base/files.h"
#include "base/text.h"
#include "base/time.h"
#include "com/call_frame.h"
#include "host/error_mapping.h"
#include "host/scheduler.h"
#include "settings/machine_names.h"
#include "settings/snapshots.h"

#include <algorithm>
#include <map>

namespace VBoxSim {

namespace {

enum CloneMode : ULONG
{
    machineState = 1,
    machineAndChildStates = 2,
    allStates = 3
};

struct Options
{
    bool keepAllMacs = false;
    bool keepNatMacs = false;
    bool keepDiskNames = false;
    bool keepHardwareIds = false;
};

Options parse(const std::vector<LONG>& values)
{
    Options options;
    for (const LONG value : values) {
        switch (value) {
        case 1:
            throw Failure(Result::invalidArgument, L"Linked clones need a snapshot as their source");
        case 2:
            options.keepAllMacs = true;
            break;
        case 3:
            options.keepNatMacs = true;
            break;
        case 4:
            options.keepDiskNames = true;
            break;
        case 5:
            options.keepHardwareIds = true;
            break;
        default:
            throw Failure(Result::invalidArgument, L"Invalid clone option " + std::to_wstring(value));
        }
    }
    return options;
}

/// One image to copy.
struct Copy
{
    MediumPtr source;
    std::vector<std::wstring> chain; ///< the images that it is based on, the base first
    MediumRecord target;
    bool flatten = false; ///< write the whole content instead of the difference
};

/// The work of one clone; what it needs is taken from the world before it starts.
class Cloning
{
public:
    Cloning(const MachineSettings& source, MachinePtr target, ULONG mode, const Options& options)
        : target_(std::move(target)), mode_(mode), options_(options), settings_(source)
    {
        planCopies(source);
        adaptSettings();
        std::vector<ProgressData::Operation> operations;
        for (const Copy& copy : copies_)
            operations.push_back({L"Cloning disk '" + Files::nameOf(copy.source->location) + L"'", 4});
        operations.push_back({L"Saving the settings of '" + settings_.name + L"'", 1});
        progress_ =
            std::make_shared<ProgressData>(L"IMachine::CloneTo", L"Cloning machine", true, std::move(operations));
    }

    const ProgressPtr& progress() const { return progress_; }

    void run()
    {
        std::optional<Failure> failure;
        try {
            for (std::size_t i = 0; i < copies_.size(); ++i)
                copyImage(i);
        } catch (const StorageError& error) {
            failure = failureOf(error);
        } catch (const Failure& thrown) {
            failure = thrown;
        }
        const WorldLock lock(worldMutex());
        if (!failure && progress_->isCanceled())
            failure = canceledFailure();
        if (!failure)
            failure = progress_->orderedFailure();
        if (!failure)
            failure = finish();
        target_->busy = false;
        if (failure) {
            for (const std::wstring& file : made_)
                Files::remove(file);
            progress_->fail(*failure);
        } else {
            progress_->succeed();
        }
    }

private:
    /// The hard disks to copy: those attached now, or all with what they are based on, parents first.
    std::vector<MediumPtr> disksOf(const MachineSettings& source) const
    {
        std::vector<std::wstring> ids;
        for (const StorageControllerSettings& controller : source.controllers)
            for (const AttachmentSettings& attachment : controller.attachments)
                if (attachment.type == DeviceKind::hardDisk)
                    ids.push_back(attachment.medium);
        if (mode_ == allStates)
            ids.insert(ids.end(), source.snapshotMedia.begin(), source.snapshotMedia.end());
        std::vector<MediumPtr> disks;
        const auto add = [&](const MediumPtr& medium) {
            if (std::find(disks.begin(), disks.end(), medium) == disks.end())
                disks.push_back(medium);
        };
        for (const std::wstring& id : ids) {
            const MediumPtr medium = World::instance().findMedium(id);
            if (!medium)
                throw Failure(Result::objectNotFound, L"The medium " + braced(id) + L" is not known");
            if (medium->deviceType != DeviceKind::hardDisk)
                continue;
            if (mode_ == allStates)
                for (const MediumPtr& parent : chainOf(*medium))
                    add(parent);
            add(medium);
        }
        return disks;
    }

    /// What a medium is based on, the base first.
    static std::vector<MediumPtr> chainOf(const MediumData& medium)
    {
        std::vector<MediumPtr> chain;
        std::wstring id = medium.parent;
        while (!id.empty()) {
            const MediumPtr parent = World::instance().findMedium(id);
            if (!parent)
                throw Failure(Result::objectNotFound,
                              L"The parent " + braced(id) + L" of '" + medium.location + L"' is not known");
            chain.insert(chain.begin(), parent);
            id = parent->parent;
        }
        return chain;
    }

    void planCopies(const MachineSettings& source)
    {
        const std::wstring folder = Files::folderOf(target_->file);
        const std::wstring name = safeMachineName(target_->working.name);
        std::vector<std::wstring> taken;
        const auto freePath = [&](const std::wstring& wanted, const std::wstring& suffix) {
            std::wstring path = Files::join(folder, wanted + suffix);
            for (int i = 1; std::count(taken.begin(), taken.end(), toLower(path)) || Files::exists(path); ++i)
                path = Files::join(folder, wanted + L"_" + std::to_wstring(i) + suffix);
            taken.push_back(toLower(path));
            return path;
        };
        for (const MediumPtr& disk : disksOf(source)) {
            Copy copy;
            copy.source = disk;
            copy.flatten = mode_ != allStates && !disk->parent.empty();
            for (const MediumPtr& parent : chainOf(*disk))
                copy.chain.push_back(parent->location);
            copy.target = recordOf(*disk);
            copy.target.id = newUuid();
            newIds_[disk->id] = copy.target.id;
            const std::wstring suffix = copy.flatten ? L".vdi" : Files::suffixOf(disk->location);
            if (copy.flatten) {
                copy.target.format = L"VDI";
                copy.target.parent.clear();
            }
            if (copy.target.parent.empty()) {
                copy.target.location = freePath(options_.keepDiskNames ? Files::stemOf(disk->location) : name, suffix);
            } else {
                copy.target.parent = newIds_.at(disk->parent);
                copy.target.location =
                    Files::resolve(Files::join(folder, L"Snapshots"), braced(copy.target.id) + suffix);
            }
            copies_.push_back(std::move(copy));
        }
    }

    void adaptSettings()
    {
        const std::wstring sourceHardware = settings_.hardwareId.empty() ? settings_.id : settings_.hardwareId;
        settings_.id = target_->id;
        settings_.name = target_->working.name;
        settings_.groups = target_->working.groups;
        settings_.hardwareId = options_.keepHardwareIds ? sourceHardware : L"";
        settings_.snapshotFolder = L"Snapshots";
        settings_.stateFile.clear();
        settings_.aborted = false;
        settings_.lastStateChange = Time::nowMilliseconds();
        if (mode_ == allStates)
            renameSnapshots(settings_, newIds_);
        else
            dropSnapshots(settings_);
        for (NetworkAdapterSettings& adapter : settings_.adapters) {
            constexpr std::uint32_t nat = 1;
            if (!options_.keepAllMacs && !(options_.keepNatMacs && adapter.attachment == nat))
                adapter.mac = newMacAddress();
        }
        for (StorageControllerSettings& controller : settings_.controllers)
            for (AttachmentSettings& attachment : controller.attachments)
                if (newIds_.contains(attachment.medium))
                    attachment.medium = newIds_.at(attachment.medium);
        std::erase_if(settings_.media,
                      [](const MediumRecord& record) { return record.deviceType == DeviceKind::hardDisk; });
        for (const Copy& copy : copies_)
            settings_.media.push_back(copy.target);
    }

    void copyImage(std::size_t index)
    {
        const Copy& copy = copies_[index];
        Files::createFolder(Files::folderOf(copy.target.location));
        std::uint64_t paused = 0;
        const auto report = [&](std::uint64_t done, std::uint64_t total) {
            const std::uint64_t megabytes = done >> 20;
            if (copyPerMegabyte_ && megabytes > paused) {
                Sleep(static_cast<DWORD>((megabytes - paused) * copyPerMegabyte_));
                paused = megabytes;
            }
            const WorldLock lock(worldMutex());
            progress_->advance(index, static_cast<std::uint32_t>(total ? done * 100 / total : 100));
            return !progress_->isCanceled();
        };
        const Poco::UUID id = toUuid(copy.target.id);
        if (copy.flatten) {
            std::shared_ptr<ImageReader> reader;
            for (const std::wstring& file : copy.chain)
                reader = openImage(file, reader);
            reader = openImage(copy.source->location, reader);
            convertToVdi(*reader, copy.target.location, id, report);
        } else {
            cloneImage(copy.source->location, copy.target.location, id, report);
        }
        made_.push_back(copy.target.location);
        if (!copy.target.parent.empty()) {
            const Poco::UUID parent = toUuid(copy.target.parent);
            setImageUuid(copy.target.location, id, &parent);
        }
    }

    std::optional<Failure> finish()
    {
        World& world = World::instance();
        const MachineSettings before = std::exchange(target_->working, settings_);
        target_->saved.name = settings_.name; // a clone never moves the target
        try {
            world.saveMachine(*target_);
        } catch (const Failure& failure) {
            target_->working = before;
            return failure;
        }
        for (const Copy& copy : copies_) {
            const auto medium = std::make_shared<MediumData>();
            medium->id = copy.target.id;
            medium->location = copy.target.location;
            medium->format = copy.target.format;
            medium->type = copy.target.type;
            medium->parent = copy.target.parent;
            world.addMedium(medium);
            world.refresh(*medium);
        }
        return std::nullopt;
    }

    const MachinePtr target_;
    const ULONG mode_;
    const Options options_;
    MachineSettings settings_;
    std::vector<Copy> copies_;
    std::map<std::wstring, std::wstring> newIds_;
    std::vector<std::wstring> made_;
    ProgressPtr progress_;
    std::uint32_t copyPerMegabyte_ = World::instance().scenario().times.copyPerMegabyte;
};

} // namespace

ProgressPtr cloneMachine(const MachinePtr& machine, const MachineSettings& source, const MachinePtr& target, ULONG mode,
                         const std::vector<LONG>& options)
{
    if (mode < machineState || mode > allStates)
        throw Failure(Result::invalidArgument, L"Invalid clone mode " + std::to_wstring(mode));
    if (target == machine || target->registered)
        throw Failure(Result::invalidArgument, L"The target must be another machine that is not registered yet");
    if (machine->isOnline())
        throw Failure(Result::invalidVmState, L"A running machine cannot be cloned");
    const auto cloning = std::make_shared<Cloning>(source, target, mode, parse(options));
    target->busy = true;
    Scheduler::instance().work([cloning] { cloning->run(); });
    return cloning->progress();
}

} // namespace VBoxSim
