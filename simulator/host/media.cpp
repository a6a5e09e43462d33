#include "host/media.h"

#include <algorithm>
#include <utility>

#include "base/files.h"
#include "base/text.h"
#include "host/error_mapping.h"
#include "host/host.h"
#include "host/task.h"

namespace VBoxSim {

namespace {

bool uses(const MachineSettings& settings, const std::wstring& medium)
{
    for (const StorageControllerSettings& controller : settings.controllers)
        for (const AttachmentSettings& attachment : controller.attachments)
            if (attachment.medium == medium)
                return true;
    return std::find(settings.snapshotMedia.begin(), settings.snapshotMedia.end(), medium) !=
           settings.snapshotMedia.end();
}

bool removeRecord(MachineSettings& settings, const std::wstring& medium)
{
    return std::erase_if(settings.media, [&](const MediumRecord& record) { return record.id == medium; }) > 0;
}

/// Refuses an image that is no medium of that kind.
void checkKind(const ImageInfo& info, std::uint32_t deviceType, const std::wstring& location)
{
    const bool fits = deviceType == DeviceKind::hardDisk ? !info.optical : info.format == ImageFormat::Raw;
    const bool floppyAsDvd = deviceType == DeviceKind::dvd && !info.optical;
    if (!fits || floppyAsDvd)
        throw Failure(Result::invalidArgument, L"'" + location + L"' is not a medium of the device type asked for");
}

/// What VirtualBox answers for an image that it cannot open, for whatever reason.
ImageInfo probeForOpening(const std::wstring& path, std::uint32_t deviceType)
{
    try {
        const ImageInfo info = probeImage(path);
        checkKind(info, deviceType, path);
        return info;
    } catch (const Failure& failure) {
        throw Failure(Result::objectNotFound, failure.text());
    }
}

void describe(Medium& medium, const ImageInfo& info)
{
    medium.format = formatName(info.format);
    medium.size = static_cast<std::int64_t>(info.physicalSize);
    medium.logicalSize = static_cast<std::int64_t>(info.logicalSize);
    medium.state = MediumState::Created;
    medium.lastAccessError.clear();
}

MediumPtr mediumOf(const ImageInfo& info, const std::wstring& location, std::uint32_t deviceType)
{
    const auto medium = std::make_shared<Medium>();
    medium->id = info.uuid.empty() ? newUuid() : info.uuid;
    medium->location = location;
    medium->deviceType = deviceType;
    medium->type = deviceType == DeviceKind::hardDisk ? L"Normal" : L"Writethrough";
    medium->parent = info.parentUuid;
    describe(*medium, info);
    return medium;
}

/// IMedium::DeleteStorage.
class StorageDeletion : public Task
{
public:
    StorageDeletion(Host& host, MediumPtr medium)
        : Task(host, {L"IMedium::DeleteStorage",
                      L"Deleting medium storage unit '" + medium->location + L"'",
                      false,
                      {{L"Deleting medium storage unit"}}}),
          medium_(std::move(medium))
    {
        medium_->state = MediumState::Deleting;
    }

private:
    void work() override
    {
        if (!host().disk().remove(medium_->location))
            throw Failure(Result::fileError, L"Could not delete '" + medium_->location + L"'");
    }

    void finish() override
    {
        host().media().forget(medium_);
        medium_->closed = false; // the object stays, without storage
        medium_->state = MediumState::NotCreated;
    }

    void rollBack() override { medium_->state = MediumState::Inaccessible; }

    const MediumPtr medium_;
};

Event registeredEvent(const Medium& medium, bool registered)
{
    Event event;
    event.type = EventType::OnMediumRegistered;
    event.mediumId = medium.id;
    event.kind = medium.deviceType;
    event.flag = registered;
    return event;
}

} // namespace

MediumPtr Media::find(const std::wstring& id) const
{
    for (const MediumPtr& medium : media_)
        if (medium->id == id)
            return medium;
    return nullptr;
}

void Media::learn(const MachineSettings& settings)
{
    for (const MediumRecord& record : settings.media)
        if (!find(record.id))
            media_.push_back(mediumOf(record));
}

void Media::add(const MediumPtr& medium)
{
    media_.push_back(medium);
    host_.fire(registeredEvent(*medium, true));
}

MediumPtr Media::open(const std::wstring& location, std::uint32_t deviceType, bool forceNewUuid)
{
    if (const auto id = parseUuid(location))
        if (MediumPtr known = find(*id))
            return known;
    if (!Files::isAbsolute(location))
        throw Failure(Result::fileError, L"The location '" + location + L"' is not a full path");
    const std::wstring path = Files::resolve(host_.surroundings().home, location);
    for (const MediumPtr& known : media_)
        if (known->deviceType == deviceType && Files::samePath(known->location, path))
            return known;

    ImageInfo info = probeForOpening(path, deviceType);
    if (forceNewUuid && !info.uuid.empty()) {
        host_.disk().setImageUuid(path, newUuid());
        info = probeImage(path);
    }
    const MediumPtr medium = mediumOf(info, path, deviceType);
    if (const MediumPtr same = find(medium->id))
        throw Failure(Result::invalidArgument, L"Cannot register the hard disk '" + path + L"' " + braced(medium->id) +
                                                   L" because a hard disk '" + same->location + L"' with UUID " +
                                                   braced(same->id) + L" already exists");
    if (!medium->parent.empty() && !find(medium->parent))
        throw Failure(Result::objectNotFound,
                      L"The parent " + braced(medium->parent) + L" of the hard disk '" + path + L"' is not known");
    add(medium);
    return medium;
}

void Media::writeRegistriesWithout(const std::wstring& medium)
{
    std::vector<std::pair<MachinePtr, MachineSettings>> written;
    try {
        for (const MachinePtr& machine : host_.machines().all()) {
            MachineSettings changed = machine->saved;
            if (machine->accessError || !removeRecord(changed, medium))
                continue;
            MachineSettings before = machine->saved;
            host_.machines().writeSaved(*machine, std::move(changed));
            written.emplace_back(machine, std::move(before));
        }
    } catch (const std::exception&) {
        for (auto& [machine, before] : written)
            attempt([&, &machine = machine, &before = before] { host_.machines().writeSaved(*machine, before); });
        throw;
    }
}

void Media::forget(const MediumPtr& medium)
{
    writeRegistriesWithout(medium->id);
    for (const MachinePtr& machine : host_.machines().everyOne()) {
        removeRecord(machine->working, medium->id);
        removeRecord(machine->saved, medium->id);
    }
    medium->closed = true;
    std::erase(media_, medium);
    host_.fire(registeredEvent(*medium, false));
}

void Media::close(const MediumPtr& medium)
{
    const std::uint32_t state = stateOf(*medium);
    if (isBusy(*medium))
        throw Failure(Result::objectInUse,
                      L"Medium '" + medium->location + L"' cannot be closed because it is attached or has child media");
    if (state != MediumState::NotCreated && state != MediumState::Created && state != MediumState::Inaccessible)
        throw Failure(Result::invalidObjectState, L"Medium '" + medium->location + L"' is in use");
    forget(medium);
}

ProgressPtr Media::deleteStorage(const MediumPtr& medium)
{
    if (isBusy(*medium))
        throw Failure(Result::objectInUse,
                      L"Cannot delete storage: medium '" + medium->location + L"' is attached or has child media");
    if (medium->state != MediumState::Created && medium->state != MediumState::Inaccessible)
        throw Failure(Result::invalidObjectState, L"Medium '" + medium->location + L"' is in use");
    return startTask<StorageDeletion>(host_, medium);
}

void Media::clear()
{
    for (const MediumPtr& medium : media_)
        medium->closed = true;
    media_.clear();
}

MediumPtr Media::baseOf(const MediumPtr& medium) const
{
    MediumPtr base = medium;
    while (const MediumPtr parent = parentOf(*base))
        base = parent;
    return base;
}

std::vector<MediumPtr> Media::childrenOf(const Medium& medium) const
{
    std::vector<MediumPtr> children;
    for (const MediumPtr& other : media_)
        if (other->parent == medium.id)
            children.push_back(other);
    return children;
}

std::vector<MachinePtr> Media::machinesUsing(const std::wstring& medium) const
{
    std::vector<MachinePtr> users;
    for (const MachinePtr& machine : host_.machines().everyOne())
        if (!machine->accessError && !machine->dead && (uses(machine->working, medium) || uses(machine->saved, medium)))
            users.push_back(machine);
    return users;
}

bool Media::isBusy(const Medium& medium) const
{
    return !childrenOf(medium).empty() || !machinesUsing(medium.id).empty();
}

bool Media::isReadOnly(const Medium& medium) const
{
    return medium.deviceType == DeviceKind::dvd || !childrenOf(medium).empty();
}

std::uint32_t Media::lockedState(const Medium& medium, const MachineSettings& running) const
{
    for (const StorageControllerSettings& controller : running.controllers) {
        for (const AttachmentSettings& attachment : controller.attachments) {
            if (attachment.medium == medium.id)
                return medium.deviceType == DeviceKind::hardDisk ? MediumState::LockedWrite : MediumState::LockedRead;
            for (MediumPtr child = find(attachment.medium); child && !child->parent.empty();
                 child = find(child->parent))
                if (child->parent == medium.id)
                    return MediumState::LockedRead;
        }
    }
    return medium.state;
}

std::uint32_t Media::stateOf(const Medium& medium) const
{
    if (medium.state != MediumState::Created && medium.state != MediumState::Inaccessible)
        return medium.state;
    for (const MachinePtr& machine : host_.machines().all()) {
        if (!machine->vm() || !machine->isOnline())
            continue;
        const std::uint32_t state = lockedState(medium, machine->saved);
        if (state != medium.state)
            return state;
    }
    return medium.state;
}

std::uint32_t Media::refresh(Medium& medium)
{
    const std::uint32_t before = stateOf(medium);
    if (before != MediumState::Created && before != MediumState::Inaccessible && before != MediumState::LockedRead)
        return before;
    const auto failure = attempt([&] {
        const ImageInfo info = probeImage(medium.location);
        if (!info.uuid.empty() && info.uuid != medium.id)
            throw Failure(Result::fail, L"UUID " + braced(info.uuid) + L" of the medium '" + medium.location +
                                            L"' does not match the value " + braced(medium.id) +
                                            L" stored in the media registry");
        describe(medium, info);
    });
    if (failure) {
        medium.lastAccessError = failure->text();
        medium.state = MediumState::Inaccessible;
    }
    return stateOf(medium);
}

} // namespace VBoxSim
