#include "host/deletion.h"

#include "base/files.h"
#include "host/scheduler.h"
#include "settings/snapshots.h"

#include <algorithm>

namespace VBoxSim {

namespace {

enum CleanupMode : ULONG
{
    unregisterOnly = 1,
    detachAllReturnNone = 2,
    detachAllReturnHardDisksOnly = 3,
    full = 4
};

std::vector<std::wstring> attachedMedia(const MachineSettings& settings)
{
    std::vector<std::wstring> ids = settings.snapshotMedia;
    for (const StorageControllerSettings& controller : settings.controllers)
        for (const AttachmentSettings& attachment : controller.attachments)
            if (!attachment.medium.empty())
                ids.push_back(attachment.medium);
    return ids;
}

int depthOf(const MediumData& medium)
{
    int depth = 0;
    for (MediumPtr parent = World::instance().findMedium(medium.parent); parent;
         parent = World::instance().findMedium(parent->parent))
        ++depth;
    return depth;
}

/// The machine's media and what they are based on, children first.
std::vector<MediumPtr> mediaToReturn(const MachineSettings& settings, ULONG mode)
{
    std::vector<MediumPtr> media;
    if (mode != detachAllReturnHardDisksOnly && mode != full)
        return media;
    for (const std::wstring& id : attachedMedia(settings)) {
        const MediumPtr medium = World::instance().findMedium(id);
        const bool known = std::find(media.begin(), media.end(), medium) != media.end();
        if (medium && !known && (mode == full || medium->deviceType == DeviceKind::hardDisk))
            media.push_back(medium);
    }
    std::stable_sort(media.begin(), media.end(),
                     [](const MediumPtr& a, const MediumPtr& b) { return depthOf(*a) > depthOf(*b); });
    return media;
}

void detachAll(MachineData& machine)
{
    dropSnapshots(machine.saved);
    for (StorageControllerSettings& controller : machine.saved.controllers)
        controller.attachments.clear();
    World::instance().rewriteSaved(machine);
    machine.working = machine.saved;
    machine.modified = false;
}

/// What a machine leaves on disk beside its media.
struct Leftovers
{
    std::wstring settingsFile;
    std::wstring stateFile;
    std::wstring snapshotFolder;
};

void deleteLeftovers(const Leftovers& left)
{
    const std::wstring folder = Files::folderOf(left.settingsFile);
    if (!left.stateFile.empty())
        Files::remove(left.stateFile);
    if (!Files::remove(left.settingsFile))
        throw Failure(Result::iprtError, L"Could not delete the settings file '" + left.settingsFile + L"'");
    Files::remove(left.settingsFile + L"-prev");
    Files::remove(left.settingsFile + L"-tmp");
    const std::wstring logs = Files::join(folder, L"Logs");
    for (const std::wstring& name : Files::list(logs))
        if (name.starts_with(L"VBox.log"))
            Files::remove(Files::join(logs, name));
    Files::removeEmptyFolder(logs);
    Files::removeEmptyFolder(left.snapshotFolder);
    Files::removeEmptyFolder(folder);
}

/// Closes a medium and deletes its file; one that somebody still uses is skipped.
void deleteMedium(const MediumPtr& medium)
{
    {
        const WorldLock lock(worldMutex());
        if (medium->closed || World::instance().isMediumBusy(*medium))
            return;
        World::instance().forgetMedium(medium);
    }
    Files::remove(medium->location);
}

void runDeletion(const std::vector<MediumPtr>& media, const Leftovers& left, const ProgressPtr& progress)
{
    std::optional<Failure> failure;
    try {
        for (std::size_t i = 0; i < media.size(); ++i) {
            deleteMedium(media[i]);
            const WorldLock lock(worldMutex());
            progress->advance(i + 1, 0);
        }
        deleteLeftovers(left);
    } catch (const Failure& thrown) {
        failure = thrown;
    }
    const WorldLock lock(worldMutex());
    if (!failure)
        failure = progress->orderedFailure();
    if (failure)
        progress->fail(*failure);
    else
        progress->succeed();
}

} // namespace

std::vector<MediumPtr> unregisterMachine(const MachinePtr& machine, ULONG mode)
{
    if (mode < unregisterOnly || mode > full)
        throw Failure(Result::invalidArgument, L"Invalid cleanup mode " + std::to_wstring(mode));
    if (!machine->registered)
        throw Failure(Result::invalidObjectState, L"The machine is not registered");
    if (machine->sessionState != SessionState::Unlocked)
        throw Failure(Result::invalidObjectState,
                      L"Cannot unregister the machine '" + machine->saved.name + L"' while it is locked");
    std::vector<MediumPtr> media;
    if (!machine->accessError) {
        const bool hasMedia = !attachedMedia(machine->saved).empty();
        if (mode == unregisterOnly &&
            (machine->state == MachineState::Saved || machine->saved.snapshotCount > 0 || hasMedia))
            throw Failure(Result::invalidObjectState,
                          L"Cannot unregister the machine '" + machine->saved.name +
                              L"' because it has snapshots, attached media or a saved state");
        media = mediaToReturn(machine->saved, mode);
        detachAll(*machine);
    }
    World::instance().unregisterMachine(machine);
    return media;
}

ProgressPtr deleteMachine(const MachinePtr& machine, const std::vector<MediumPtr>& media)
{
    const std::wstring folder = Files::folderOf(machine->file);
    const Leftovers left{machine->file,
                         machine->saved.stateFile.empty() ? L"" : Files::resolve(folder, machine->saved.stateFile),
                         Files::resolve(folder, machine->saved.snapshotFolder)};
    std::vector<ProgressData::Operation> operations;
    for (const MediumPtr& medium : media)
        operations.push_back({L"Deleting '" + medium->location + L"'", 1});
    operations.push_back({L"Deleting '" + machine->file + L"'", 1});
    const auto progress = std::make_shared<ProgressData>(
        L"IMachine::DeleteConfig", L"Deleting '" + machine->working.name + L"'", false, std::move(operations));
    Scheduler::instance().work([=] { runDeletion(media, left, progress); });
    return progress;
}

Interfaces<IMedium> mediumObjects(const std::vector<MediumPtr>& media)
{
    Interfaces<IMedium> objects;
    for (const MediumPtr& medium : media)
        objects.push_back(make<Medium>(medium));
    return objects;
}

std::vector<MediumPtr> mediaOf(SAFEARRAY* objects)
{
    std::vector<MediumPtr> media;
    for (IUnknown* object : objectsOf(objects)) {
        const ComPtr<Medium> own = implementationOf<Medium>(object);
        if (!own)
            throw Failure(Result::invalidArgument, L"The array has something that is no medium of this server");
        media.push_back(own->data());
    }
    return media;
}

} // namespace VBoxSim
