// The media that the world knows.
#include "host/error_mapping.h"
#include "host/world.h"

#include "base/files.h"
#include "base/text.h"
#include "base/time.h"

#include <algorithm>

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

/// Refuses an image that is no medium of that kind.
void checkKind(const ImageInfo& info, std::uint32_t deviceType, const std::wstring& location)
{
    const bool fits = deviceType == DeviceKind::hardDisk ? !info.optical : info.format == ImageFormat::Raw;
    const bool floppyAsDvd = deviceType == DeviceKind::dvd && !info.optical;
    if (!fits || floppyAsDvd)
        throw Failure(Result::invalidArgument, L"'" + location + L"' is not a medium of the device type asked for");
}

void describe(MediumData& medium, const ImageInfo& info)
{
    medium.format = formatName(info.format);
    medium.size = static_cast<std::int64_t>(info.physicalSize);
    medium.logicalSize = static_cast<std::int64_t>(info.logicalSize);
    medium.state = MediumState::Created;
    medium.lastAccessError.clear();
}

} // namespace

MediumRecord recordOf(const MediumData& medium)
{
    return {medium.id, medium.location, medium.format, medium.type, medium.deviceType, medium.parent};
}

MediumPtr World::findMedium(const std::wstring& id) const
{
    for (const MediumPtr& medium : media_)
        if (medium->id == id)
            return medium;
    return nullptr;
}

void World::learnMedia(const MachineSettings& settings)
{
    for (const MediumRecord& record : settings.media) {
        if (findMedium(record.id))
            continue;
        const auto medium = std::make_shared<MediumData>();
        medium->id = record.id;
        medium->location = record.location;
        medium->format = record.format;
        medium->type = record.type;
        medium->deviceType = record.deviceType;
        medium->parent = record.parent;
        media_.push_back(medium);
    }
}

void World::addMedium(const MediumPtr& medium)
{
    media_.push_back(medium);
    EventData event;
    event.type = EventType::OnMediumRegistered;
    fire(std::move(event));
}

MediumPtr World::openMedium(const std::wstring& location, std::uint32_t deviceType, bool forceNewUuid)
{
    if (!Files::isAbsolute(location))
        throw Failure(Result::fileError, L"The location '" + location + L"' is not a full path");
    const std::wstring path = Files::resolve(home_, location);
    for (const MediumPtr& known : media_)
        if (known->deviceType == deviceType && Files::samePath(known->location, path))
            return known;

    ImageInfo info = probeImage(path);
    checkKind(info, deviceType, path);
    if (forceNewUuid && !info.uuid.isNull()) {
        setImageUuid(path, toUuid(newUuid()));
        info = probeImage(path);
    }
    const auto medium = std::make_shared<MediumData>();
    medium->id = info.uuid.isNull() ? newUuid() : fromUuid(info.uuid);
    medium->location = path;
    medium->deviceType = deviceType;
    medium->type = deviceType == DeviceKind::hardDisk ? L"Normal" : L"Writethrough";
    medium->parent = fromUuid(info.parentUuid);
    if (const MediumPtr same = findMedium(medium->id))
        throw Failure(Result::invalidArgument, L"Cannot register the hard disk '" + path + L"' " + braced(medium->id) +
                                                   L" because a hard disk '" + same->location + L"' with UUID " +
                                                   braced(same->id) + L" already exists");
    if (!medium->parent.empty() && !findMedium(medium->parent))
        throw Failure(Result::objectNotFound,
                      L"The parent " + braced(medium->parent) + L" of the hard disk '" + path + L"' is not known");
    describe(*medium, info);
    addMedium(medium);
    return medium;
}

void World::forgetMedium(const MediumPtr& medium)
{
    medium->closed = true;
    std::erase(media_, medium);
    for (const MachinePtr& machine : everyMachine()) {
        const auto forget = [&](MachineSettings& settings) {
            return std::erase_if(settings.media, [&](const MediumRecord& record) { return record.id == medium->id; });
        };
        forget(machine->working);
        if (forget(machine->saved) && machine->registered && !machine->accessError)
            rewriteSaved(*machine);
    }
    EventData event;
    event.type = EventType::OnMediumRegistered;
    fire(std::move(event));
}

std::vector<MediumPtr> World::childrenOf(const MediumData& medium) const
{
    std::vector<MediumPtr> children;
    for (const MediumPtr& other : media_)
        if (other->parent == medium.id)
            children.push_back(other);
    return children;
}

std::vector<MachinePtr> World::machinesUsing(const std::wstring& medium) const
{
    std::vector<MachinePtr> users;
    for (const MachinePtr& machine : everyMachine())
        if (!machine->accessError && !machine->dead && (uses(machine->working, medium) || uses(machine->saved, medium)))
            users.push_back(machine);
    return users;
}

bool World::isMediumBusy(const MediumData& medium) const
{
    return !childrenOf(medium).empty() || !machinesUsing(medium.id).empty();
}

std::uint32_t World::stateOf(const MediumData& medium) const
{
    if (medium.state != MediumState::Created && medium.state != MediumState::Inaccessible)
        return medium.state;
    for (const MachinePtr& machine : machines_) {
        if (!machine->vm() || !machine->isOnline())
            continue;
        for (const StorageControllerSettings& controller : machine->saved.controllers) {
            for (const AttachmentSettings& attachment : controller.attachments) {
                if (attachment.medium == medium.id)
                    return medium.deviceType == DeviceKind::hardDisk ? MediumState::LockedWrite
                                                                     : MediumState::LockedRead;
                for (MediumPtr child = findMedium(attachment.medium); child && !child->parent.empty();
                     child = findMedium(child->parent))
                    if (child->parent == medium.id)
                        return MediumState::LockedRead;
            }
        }
    }
    return medium.state;
}

std::uint32_t World::refresh(MediumData& medium)
{
    const std::uint32_t before = stateOf(medium);
    if (before != MediumState::Created && before != MediumState::Inaccessible && before != MediumState::LockedRead)
        return before;
    try {
        const ImageInfo info = probeImage(medium.location);
        if (!info.uuid.isNull() && fromUuid(info.uuid) != medium.id)
            throw Failure(Result::fail, L"UUID " + braced(fromUuid(info.uuid)) + L" of the medium '" + medium.location +
                                            L"' does not match the value " + braced(medium.id) +
                                            L" stored in the media registry");
        describe(medium, info);
    } catch (const StorageError& error) {
        medium.lastAccessError = error.text();
    } catch (const Failure& failure) {
        medium.lastAccessError = failure.text();
    }
    if (!medium.lastAccessError.empty())
        medium.state = MediumState::Inaccessible;
    return stateOf(medium);
}

} // namespace VBoxSim
