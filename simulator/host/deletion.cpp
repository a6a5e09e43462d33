#include "host/deletion.h"

#include <algorithm>
#include <utility>

#include "base/files.h"
#include "host/error_mapping.h"
#include "host/host.h"
#include "host/task.h"
#include "settings/snapshots.h"

namespace VBoxSim {

namespace {

namespace CleanupMode = Travik::CleanupMode;

std::vector<std::wstring> attachedMedia(const MachineSettings& settings)
{
    std::vector<std::wstring> ids = settings.snapshotMedia;
    for (const StorageControllerSettings& controller : settings.controllers)
        for (const AttachmentSettings& attachment : controller.attachments)
            if (!attachment.medium.empty())
                ids.push_back(attachment.medium);
    return ids;
}

int depthOf(const Media& known, const Medium& medium)
{
    int depth = 0;
    for (MediumPtr parent = known.parentOf(medium); parent; parent = known.parentOf(*parent))
        ++depth;
    return depth;
}

/// The machine's media and what they are based on, children first.
std::vector<MediumPtr> mediaToReturn(const Media& known, const MachineSettings& settings, std::uint32_t mode)
{
    std::vector<MediumPtr> media;
    if (mode != CleanupMode::DetachAllReturnHardDisksOnly && mode != CleanupMode::Full)
        return media;
    for (const std::wstring& id : attachedMedia(settings)) {
        const MediumPtr medium = known.find(id);
        const bool listed = std::find(media.begin(), media.end(), medium) != media.end();
        if (medium && !listed && (mode == CleanupMode::Full || medium->deviceType == DeviceKind::hardDisk))
            media.push_back(medium);
    }
    std::stable_sort(media.begin(), media.end(),
                     [&](const MediumPtr& a, const MediumPtr& b) { return depthOf(known, *a) > depthOf(known, *b); });
    return media;
}

MachineSettings withoutMedia(MachineSettings settings)
{
    dropSnapshots(settings);
    for (StorageControllerSettings& controller : settings.controllers)
        controller.attachments.clear();
    return settings;
}

/// What a machine leaves on disk beside its media.
struct Leftovers
{
    std::wstring settingsFile;
    std::wstring stateFile;
    std::wstring snapshotFolder;
};

Progress::Plan progressOf(const std::vector<MediumPtr>& media, const Machine& machine)
{
    Progress::Plan plan{L"IMachine::DeleteConfig", L"Deleting '" + machine.working.name + L"'", false, {}};
    for (const MediumPtr& medium : media)
        plan.operations.push_back({L"Deleting '" + medium->location + L"'"});
    plan.operations.push_back({L"Deleting '" + machine.file + L"'"});
    return plan;
}

/// IMachine::DeleteConfig. What is deleted is gone, also when the rest fails.
class Deletion : public Task
{
public:
    Deletion(Host& host, const Machine& machine, std::vector<MediumPtr> media)
        : Task(host, progressOf(media, machine)), media_(std::move(media))
    {
        const std::wstring folder = Files::folderOf(machine.file);
        const MachineSettings& saved = machine.saved;
        left_ = {machine.file, saved.stateFile.empty() ? L"" : Files::resolve(folder, saved.stateFile),
                 Files::resolve(folder, saved.snapshotFolder)};
    }

private:
    void work() override
    {
        for (std::size_t i = 0; i < media_.size(); ++i) {
            deleteMedium(media_[i]);
            report(i + 1, 0, 1);
        }
        deleteLeftovers();
    }

    /// Closes a medium and deletes its file; one that somebody still uses is skipped.
    void deleteMedium(const MediumPtr& medium)
    {
        {
            const HostLock lock = host().lock();
            if (medium->closed || host().media().isBusy(*medium))
                return;
            host().media().forget(medium);
        }
        host().disk().remove(medium->location);
    }

    void deleteLeftovers()
    {
        Disk& disk = host().disk();
        const std::wstring folder = Files::folderOf(left_.settingsFile);
        if (!left_.stateFile.empty())
            disk.remove(left_.stateFile);
        if (!disk.remove(left_.settingsFile))
            throw Failure(Result::iprtError, L"Could not delete the settings file '" + left_.settingsFile + L"'");
        disk.remove(left_.settingsFile + L"-prev");
        disk.remove(left_.settingsFile + L"-tmp");
        const std::wstring logs = Files::join(folder, L"Logs");
        for (const std::wstring& name : Files::list(logs))
            if (name.starts_with(L"VBox.log"))
                disk.remove(Files::join(logs, name));
        for (const std::wstring& left : {logs, left_.snapshotFolder, folder})
            disk.removeEmptyFolder(left);
    }

    const std::vector<MediumPtr> media_;
    Leftovers left_;
};

} // namespace

std::vector<MediumPtr> unregisterMachine(Host& host, const MachinePtr& machine, std::uint32_t mode)
{
    if (mode < CleanupMode::UnregisterOnly || mode > CleanupMode::Full)
        throw Failure(Result::invalidArgument, L"Invalid cleanup mode " + std::to_wstring(mode));
    if (!machine->registered)
        throw Failure(Result::invalidObjectState, L"The machine is not registered");
    if (machine->sessionState != SessionState::Unlocked)
        throw Failure(Result::invalidObjectState,
                      L"Cannot unregister the machine '" + machine->saved.name + L"' while it is locked");
    if (machine->accessError) {
        host.machines().remove(machine);
        return {};
    }
    const bool hasMedia = !attachedMedia(machine->saved).empty();
    if (mode == CleanupMode::UnregisterOnly &&
        (machine->state == MachineState::Saved || machine->saved.snapshotCount > 0 || hasMedia))
        throw Failure(Result::invalidObjectState, L"Cannot unregister the machine '" + machine->saved.name +
                                                      L"' because it has snapshots, attached media or a saved state");
    std::vector<MediumPtr> media = mediaToReturn(host.media(), machine->saved, mode);
    const MachineSettings before = machine->saved;
    host.machines().writeSaved(*machine, withoutMedia(before));
    if (const auto failure = attempt([&] { host.machines().remove(machine); })) {
        attempt([&] { host.machines().writeSaved(*machine, before); });
        throw Failure(*failure);
    }
    machine->discardChanges();
    return media;
}

ProgressPtr deleteMachine(const MachineView& machine, const std::vector<MediumPtr>& media)
{
    if (!machine.isMutable())
        throw Failure(Result::invalidVmState, L"Cannot delete settings of a registered machine");
    return startTask<Deletion>(machine.host(), *machine.machine(), media);
}

} // namespace VBoxSim
