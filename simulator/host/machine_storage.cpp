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

void MachineView::addController(const std::wstring& name, std::uint32_t bus) const
{
    const StorageBusLimits* limits = storageBus(bus);
    if (!limits || name.empty() || !isStorable(name))
        throw Failure(Result::invalidArgument, L"Invalid storage bus or controller name");
    MachineSettings& changed = change(Allowed::Off);
    std::vector<StorageControllerSettings>& controllers = changed.controllers;
    for (const StorageControllerSettings& other : controllers)
        if (other.name == name)
            throw Failure(Result::objectInUse, L"Storage controller named '" + name + L"' already exists");
    const auto before = std::count_if(controllers.begin(), controllers.end(),
                                      [&](const StorageControllerSettings& other) { return other.bus == bus; });
    if (before >= mostControllers(*limits, changed.chipset))
        throw Failure(Result::invalidArgument, L"Too many storage controllers of this type");
    StorageControllerSettings made;
    made.name = name;
    made.bus = bus;
    made.type = limits->defaultType;
    made.portCount = limits->defaultPorts;
    made.instance = static_cast<std::uint32_t>(before);
    made.useHostIoCache = limits->usesHostCache;
    controllers.push_back(made);
}

void MachineView::removeController(const std::wstring& name) const
{
    MachineSettings& changed = change(Allowed::Off);
    findController(changed, name);
    std::erase_if(changed.controllers,
                  [&](const StorageControllerSettings& controller) { return controller.name == name; });
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
    controller.attachments.erase(demandAttachment(controller, slot));
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
