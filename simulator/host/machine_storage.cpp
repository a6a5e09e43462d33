// Storage controllers and attachments of a machine.
#include <algorithm>

#include "base/text.h"
#include "host/host.h"
#include "host/machine_view.h"
#include "settings/storage_buses.h"

namespace VBoxSim {

namespace {

template <class Settings>
auto& findController(Settings& settings, const std::wstring& name)
{
    for (auto& controller : settings.controllers)
        if (controller.name == name)
            return controller;
    throw Failure(Result::objectNotFound, L"Could not find a storage controller named '" + name + L"'");
}

void checkSlot(const StorageControllerSettings& controller, const MachineView::Slot& slot)
{
    const StorageBusLimits& limits = *storageBus(controller.bus);
    if (slot.port < 0 || static_cast<std::uint32_t>(slot.port) >= controller.portCount)
        throw Failure(Result::invalidArgument,
                      L"Invalid port number " + std::to_wstring(slot.port) + L" for '" + controller.name + L"'");
    if (slot.device < 0 || static_cast<std::uint32_t>(slot.device) >= limits.devicesPerPort)
        throw Failure(Result::invalidArgument,
                      L"Invalid device number " + std::to_wstring(slot.device) + L" for '" + controller.name + L"'");
}

template <class Controller>
auto attachmentAt(Controller& controller, const MachineView::Slot& slot)
{
    return std::find_if(controller.attachments.begin(), controller.attachments.end(),
                        [&](const AttachmentSettings& attachment) {
                            return attachment.port == slot.port && attachment.device == slot.device;
                        });
}

template <class Controller>
auto demandAttachment(Controller& controller, const MachineView::Slot& slot)
{
    const auto found = attachmentAt(controller, slot);
    if (found == controller.attachments.end())
        throw Failure(Result::objectNotFound,
                      L"No storage device attached to device slot " + std::to_wstring(slot.device) + L" on port " +
                          std::to_wstring(slot.port) + L" of controller '" + controller.name + L"'");
    return found;
}

void checkDeviceType(const StorageControllerSettings& controller, std::uint32_t deviceType)
{
    const auto& types = storageBus(controller.bus)->deviceTypes;
    if (std::find(types.begin(), types.end(), deviceType) == types.end())
        throw Failure(Result::invalidArgument,
                      L"The controller '" + controller.name + L"' does not take this type of device");
}

void checkMedium(const Media& media, const Medium& medium, std::uint32_t deviceType)
{
    if (medium.closed)
        throw Failure(Result::accessDenied, L"The medium is closed");
    if (medium.deviceType != deviceType)
        throw Failure(Result::invalidArgument, L"The medium is not of the device type");
    if (medium.deviceType == DeviceKind::hardDisk && media.isBusy(medium))
        throw Failure(Result::objectInUse, L"Medium '" + medium.location +
                                               L"' is already attached to a virtual machine, or has differencing "
                                               L"children");
}

/// Gives a new controller its number among those of its bus. The first one is that which the machine boots from.
void numberAmong(const MachineSettings& settings, StorageControllerSettings& made)
{
    std::uint32_t count = 0;
    for (const StorageControllerSettings& other : settings.controllers) {
        if (other.bus != made.bus)
            continue;
        ++count;
        made.instance = std::max(made.instance, other.instance + 1);
        made.bootable = made.bootable && !other.bootable;
    }
    if (count >= mostControllers(*storageBus(made.bus), settings.chipset))
        throw Failure(Result::invalidArgument, L"The machine takes no more storage controllers of this bus");
}

void list(std::vector<MediumRecord>& records, const Medium& medium)
{
    const auto same = [&](const MediumRecord& record) { return record.id == medium.id; };
    if (std::none_of(records.begin(), records.end(), same))
        records.push_back(recordOf(medium));
}

} // namespace

void MachineView::requireRegistered() const
{
    if (!machine_->registered)
        throw Failure(Result::invalidObjectState, L"The machine is not registered");
}

const StorageControllerSettings& MachineView::controller(const std::wstring& name) const
{
    return findController(settings(), name);
}

const StorageControllerSettings& MachineView::controller(std::uint32_t bus, std::uint32_t instance) const
{
    for (const StorageControllerSettings& controller : settings().controllers)
        if (controller.bus == bus && controller.instance == instance)
            return controller;
    throw Failure(Result::objectNotFound, L"Could not find instance " + std::to_wstring(instance) +
                                              L" of a storage controller of bus " + std::to_wstring(bus));
}

void MachineView::addController(const std::wstring& name, std::uint32_t bus) const
{
    const StorageBusLimits* limits = storageBus(bus);
    if (!limits)
        throw Failure(Result::invalidArgument, L"Invalid storage bus " + std::to_wstring(bus));
    MachineSettings& changed = change(Allowed::Off);
    for (const StorageControllerSettings& other : changed.controllers)
        if (other.name == name)
            throw Failure(Result::objectInUse, L"Storage controller named '" + name + L"' already exists");
    if (name.empty() || !isStorable(name))
        throw Failure(Result::invalidArgument, L"A storage controller needs a name");
    StorageControllerSettings made;
    made.name = name;
    made.bus = bus;
    made.type = limits->defaultType;
    made.portCount = limits->defaultPorts;
    made.useHostIoCache = limits->usesHostCache;
    numberAmong(changed, made);
    changed.controllers.push_back(made);
    fireControllerChanged(name);
}

void MachineView::fireControllerChanged(const std::wstring& controller) const
{
    if (!lock_ || !machine_->registered)
        return;
    Event event;
    event.type = EventType::OnStorageControllerChanged;
    event.machineId = machine_->id;
    event.controller = controller;
    host_->fire(std::move(event));
}

void MachineView::fireDeviceRemoved(const std::wstring& controller, const AttachmentSettings& attachment) const
{
    if (!lock_ || !machine_->registered)
        return;
    Event event;
    event.type = EventType::OnStorageDeviceChanged;
    event.machineId = machine_->id;
    event.flag = true;
    event.controller = controller;
    event.attachment = attachment;
    host_->fire(std::move(event));
}

void MachineView::removeController(const std::wstring& name) const
{
    MachineSettings& changed = change(Allowed::Off);
    const StorageControllerSettings removed = findController(changed, name);
    std::erase_if(changed.controllers,
                  [&](const StorageControllerSettings& controller) { return controller.name == name; });
    for (const AttachmentSettings& attachment : removed.attachments)
        fireDeviceRemoved(name, attachment);
    fireControllerChanged(name);
}

void MachineView::setBootable(const std::wstring& name, bool bootable) const
{
    MachineSettings& changed = change(Allowed::Off);
    StorageControllerSettings& chosen = findController(changed, name);
    if (bootable)
        for (StorageControllerSettings& other : changed.controllers)
            if (other.bus == chosen.bus)
                other.bootable = false;
    chosen.bootable = bootable;
    fireControllerChanged(name);
}

const AttachmentSettings& MachineView::attachment(const Slot& slot) const
{
    return *demandAttachment(controller(slot.controller), slot);
}

void MachineView::attach(const Slot& slot, std::uint32_t deviceType, const MediumPtr& medium) const
{
    requireRegistered();
    MachineSettings& changed = change(Allowed::Off);
    StorageControllerSettings& controller = findController(changed, slot.controller);
    checkSlot(controller, slot);
    checkDeviceType(controller, deviceType);
    if (attachmentAt(controller, slot) != controller.attachments.end())
        throw Failure(Result::objectInUse, L"Device is already attached to port " + std::to_wstring(slot.port) +
                                               L", device " + std::to_wstring(slot.device) + L" of controller '" +
                                               slot.controller + L"'");
    if (!medium && deviceType == DeviceKind::hardDisk)
        throw Failure(Result::invalidArgument, L"A hard disk slot cannot be empty");
    if (medium)
        checkMedium(host_->media(), *medium, deviceType);
    controller.attachments.push_back(
        {deviceType, slot.port, slot.device, false, false, medium ? medium->id : std::wstring()});
    if (medium)
        list(changed.media, *medium);
}

void MachineView::detach(const Slot& slot) const
{
    StorageControllerSettings& controller = findController(change(Allowed::Off), slot.controller);
    const auto found = demandAttachment(controller, slot);
    const AttachmentSettings removed = *found;
    controller.attachments.erase(found);
    fireDeviceRemoved(slot.controller, removed);
}

AttachmentSettings& MachineView::hardDiskToMark(const Slot& slot) const
{
    requireRegistered();
    StorageControllerSettings& controller = findController(change(Allowed::Off), slot.controller);
    checkSlot(controller, slot);
    AttachmentSettings& attachment = *demandAttachment(controller, slot);
    if (attachment.type != DeviceKind::hardDisk)
        throw Failure(Result::invalidArgument, L"The device is no hard disk");
    return attachment;
}

void MachineView::setNonRotational(const Slot& slot, bool nonRotational) const
{
    hardDiskToMark(slot).nonRotational = nonRotational;
}

void MachineView::setDiscard(const Slot& slot, bool discard) const
{
    hardDiskToMark(slot).discard = discard;
}

} // namespace VBoxSim
