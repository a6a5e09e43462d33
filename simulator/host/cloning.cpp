#include "host/cloning.h"

#include <algorithm>
#include <map>
#include <thread>
#include <utility>

#include "base/files.h"
#include "base/text.h"
#include "host/error_mapping.h"
#include "host/host.h"
#include "host/task.h"
#include "settings/machine_names.h"
#include "settings/snapshots.h"

namespace VBoxSim {

namespace {

namespace CloneMode = Travik::CloneMode;

struct Options
{
    bool keepAllMacs = false;
    bool keepNatMacs = false;
    bool keepDiskNames = false;
    bool keepHardwareIds = false;
};

Options parseCloneOptions(const std::vector<std::int32_t>& values)
{
    Options options;
    for (const std::int32_t value : values) {
        switch (static_cast<std::uint32_t>(value)) {
        case Travik::CloneOptions::Link:
            throw Failure(Result::invalidArgument, L"Linked clones need a snapshot as their source");
        case Travik::CloneOptions::KeepAllMACs:
            options.keepAllMacs = true;
            break;
        case Travik::CloneOptions::KeepNATMACs:
            options.keepNatMacs = true;
            break;
        case Travik::CloneOptions::KeepDiskNames:
            options.keepDiskNames = true;
            break;
        case Travik::CloneOptions::KeepHwUUIDs:
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

/// What one clone is to do; taken from the host before the work starts.
struct ClonePlan
{
    MachinePtr target;
    std::uint32_t mode = CloneMode::MachineState;
    Options options;
    MachineSettings settings; ///< of the target, once the disks are copied
    std::vector<Copy> copies;
};

/// Works out a clone: the disks to copy with their new names and UUIDs, and the target's settings.
class ClonePlanner
{
public:
    ClonePlanner(const Media& media, const MachineSettings& source, ClonePlan& plan)
        : media_(media), source_(source), plan_(plan)
    {}

    void run()
    {
        for (const MediumPtr& disk : disks())
            planCopy(disk);
        plan_.settings = source_;
        adaptIdentity();
        adaptHardware();
    }

private:
    /// The hard disks to copy: those attached now, or all with what they are based on, parents first.
    std::vector<MediumPtr> disks() const
    {
        std::vector<std::wstring> ids;
        for (const StorageControllerSettings& controller : source_.controllers)
            for (const AttachmentSettings& attachment : controller.attachments)
                if (attachment.type == DeviceKind::hardDisk)
                    ids.push_back(attachment.medium);
        if (plan_.mode == CloneMode::AllStates)
            ids.insert(ids.end(), source_.snapshotMedia.begin(), source_.snapshotMedia.end());
        std::vector<MediumPtr> disks;
        const auto add = [&](const MediumPtr& medium) {
            if (std::find(disks.begin(), disks.end(), medium) == disks.end())
                disks.push_back(medium);
        };
        for (const std::wstring& id : ids) {
            const MediumPtr medium = media_.find(id);
            if (!medium)
                throw Failure(Result::objectNotFound, L"The medium " + braced(id) + L" is not known");
            if (medium->deviceType != DeviceKind::hardDisk)
                continue;
            if (plan_.mode == CloneMode::AllStates)
                for (const MediumPtr& parent : chainOf(*medium))
                    add(parent);
            add(medium);
        }
        return disks;
    }

    /// What a medium is based on, the base first.
    std::vector<MediumPtr> chainOf(const Medium& medium) const
    {
        std::vector<MediumPtr> chain;
        for (std::wstring id = medium.parent; !id.empty();) {
            const MediumPtr parent = media_.find(id);
            if (!parent)
                throw Failure(Result::objectNotFound,
                              L"The parent " + braced(id) + L" of '" + medium.location + L"' is not known");
            chain.insert(chain.begin(), parent);
            id = parent->parent;
        }
        return chain;
    }

    std::wstring targetFolder() const { return Files::folderOf(plan_.target->file); }

    std::wstring freePath(const std::wstring& name, const std::wstring& suffix)
    {
        std::wstring path = Files::join(targetFolder(), name + suffix);
        for (int i = 1; std::count(taken_.begin(), taken_.end(), toLower(path)) || Files::exists(path); ++i)
            path = Files::join(targetFolder(), name + L"_" + std::to_wstring(i) + suffix);
        taken_.push_back(toLower(path));
        return path;
    }

    void planCopy(const MediumPtr& disk)
    {
        Copy copy;
        copy.source = disk;
        copy.flatten = plan_.mode != CloneMode::AllStates && !disk->parent.empty();
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
            const std::wstring machineName = safeMachineName(plan_.target->working.name);
            copy.target.location =
                freePath(plan_.options.keepDiskNames ? Files::stemOf(disk->location) : machineName, suffix);
        } else {
            copy.target.parent = newIds_.at(disk->parent);
            copy.target.location =
                Files::resolve(Files::join(targetFolder(), L"Snapshots"), braced(copy.target.id) + suffix);
        }
        plan_.copies.push_back(std::move(copy));
    }

    void adaptIdentity()
    {
        MachineSettings& settings = plan_.settings;
        const MachineSettings& target = plan_.target->working;
        const std::wstring sourceHardware = source_.hardwareId.empty() ? source_.id : source_.hardwareId;
        settings.id = plan_.target->id;
        settings.name = target.name;
        settings.groups = target.groups;
        settings.hardwareId = plan_.options.keepHardwareIds ? sourceHardware : L"";
        settings.snapshotFolder = L"Snapshots";
        settings.stateFile.clear();
        settings.aborted = false;
        if (plan_.mode == CloneMode::AllStates)
            renameSnapshots(settings, newIds_);
        else
            dropSnapshots(settings);
    }

    void adaptHardware()
    {
        MachineSettings& settings = plan_.settings;
        const Options& options = plan_.options;
        for (NetworkAdapterSettings& adapter : settings.adapters) {
            if (!options.keepAllMacs &&
                !(options.keepNatMacs && adapter.attachment == Travik::NetworkAttachmentType::NAT))
                adapter.mac = newMacAddress();
        }
        for (StorageControllerSettings& controller : settings.controllers)
            for (AttachmentSettings& attachment : controller.attachments)
                if (newIds_.contains(attachment.medium))
                    attachment.medium = newIds_.at(attachment.medium);
        std::erase_if(settings.media,
                      [](const MediumRecord& record) { return record.deviceType == DeviceKind::hardDisk; });
        for (const Copy& copy : plan_.copies)
            settings.media.push_back(copy.target);
    }

    const Media& media_;
    const MachineSettings& source_;
    ClonePlan& plan_;
    std::map<std::wstring, std::wstring> newIds_;
    std::vector<std::wstring> taken_; ///< paths, in lower case
};

Progress::Plan progressOf(const ClonePlan& plan)
{
    Progress::Plan progress{L"IMachine::CloneTo", L"Cloning machine", true, {}};
    for (const Copy& copy : plan.copies)
        progress.operations.push_back({L"Cloning disk '" + Files::nameOf(copy.source->location) + L"'", 4});
    progress.operations.push_back({L"Saving the settings of '" + plan.settings.name + L"'", 1});
    return progress;
}

class Cloning : public Task
{
public:
    Cloning(Host& host, ClonePlan plan)
        : Task(host, progressOf(plan)), plan_(std::move(plan)), copyPerMegabyte_(host.scenario().times.copyPerMegabyte)
    {
        plan_.target->busy = true;
    }

private:
    void work() override
    {
        for (std::size_t i = 0; i < plan_.copies.size(); ++i)
            copyImage(i);
    }

    void copyImage(std::size_t index)
    {
        const Copy& copy = plan_.copies[index];
        const std::wstring& target = copy.target.location;
        const std::wstring& id = copy.target.id;
        std::uint64_t paused = 0;
        const auto told = [&](std::uint64_t done, std::uint64_t total) {
            paused = pauseFor(done >> 20, paused);
            return report(index, done, total);
        };
        made_.reserve(made_.size() + 1);
        host().disk().createFolder(Files::folderOf(target));
        if (copy.flatten)
            host().disk().convertToVdi(*openChain(copy), target, id, told);
        else
            host().disk().cloneImage(copy.source->location, target, id, told);
        made_.push_back(target);
        if (!copy.target.parent.empty())
            host().disk().setImageUuid(target, id, &copy.target.parent);
    }

    /// Takes the extra time that the scenario wants for each megabyte.
    std::uint64_t pauseFor(std::uint64_t megabytes, std::uint64_t paused) const
    {
        if (copyPerMegabyte_ && megabytes > paused)
            std::this_thread::sleep_for(std::chrono::milliseconds((megabytes - paused) * copyPerMegabyte_));
        return megabytes;
    }

    static std::shared_ptr<ImageReader> openChain(const Copy& copy)
    {
        std::shared_ptr<ImageReader> reader;
        for (const std::wstring& file : copy.chain)
            reader = openImage(file, reader);
        return openImage(copy.source->location, reader);
    }

    void finish() override
    {
        Machine& target = *plan_.target;
        MachineSettings before = std::exchange(target.working, plan_.settings);
        target.working.lastStateChange = host().clock().milliseconds();
        target.saved.name = target.working.name; // a clone never moves the target
        if (const auto failure = attempt([&] { host().machines().save(target); })) {
            target.working = std::move(before);
            throw Failure(*failure);
        }
        for (const Copy& copy : plan_.copies) {
            const MediumPtr medium = mediumOf(copy.target);
            host().media().add(medium);
            host().media().refresh(*medium);
        }
        target.busy = false;
    }

    void rollBack() override
    {
        plan_.target->busy = false;
        for (const std::wstring& file : made_)
            host().disk().remove(file);
        for (const Copy& copy : plan_.copies)
            host().disk().removeEmptyFolder(Files::folderOf(copy.target.location));
    }

    ClonePlan plan_;
    const std::uint32_t copyPerMegabyte_;
    std::vector<std::wstring> made_;
};

} // namespace

ProgressPtr cloneMachine(const MachineView& source, const MachineView& target, std::uint32_t mode,
                         const std::vector<std::int32_t>& options)
{
    if (mode < CloneMode::MachineState || mode > CloneMode::AllStates)
        throw Failure(Result::invalidArgument, L"Invalid clone mode " + std::to_wstring(mode));
    if (target.machine() == source.machine() || target.machine()->registered)
        throw Failure(Result::invalidArgument, L"The target must be another machine that is not registered yet");
    if (source.machine()->isOnline())
        throw Failure(Result::invalidVmState, L"A running machine cannot be cloned");
    ClonePlan plan{target.machine(), mode, parseCloneOptions(options), {}, {}};
    ClonePlanner(source.host().media(), source.settings(), plan).run();
    return startTask<Cloning>(source.host(), std::move(plan));
}

} // namespace VBoxSim
