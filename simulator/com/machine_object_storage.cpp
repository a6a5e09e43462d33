// Storage controllers and attachments of a machine.
#include "com/machine_object.h"
#include "com/medium_object.h"
#include "com/storage_objects.h"

#include "base/text.h"
#include "settings/storage_buses.h"

#include <algorithm>

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

void checkSlot(const StorageControllerSettings& controller, LONG port, LONG device)
{
    const StorageBusLimits& limits = *storageBus(controller.bus);
    if (port < 0 || static_cast<ULONG>(port) >= controller.portCount)
        throw Failure(Result::invalidArgument,
                      L"Invalid port number " + std::to_wstring(port) + L" for '" + controller.name + L"'");
    if (device < 0 || static_cast<ULONG>(device) >= limits.devicesPerPort)
        throw Failure(Result::invalidArgument,
                      L"Invalid device number " + std::to_wstring(device) + L" for '" + controller.name + L"'");
}

template <class Controller>
auto* attachmentAt(Controller& controller, LONG port, LONG device)
{
    for (auto& attachment : controller.attachments)
        if (attachment.port == port && attachment.device == device)
            return &attachment;
    return static_cast<decltype(&controller.attachments.front())>(nullptr);
}

[[noreturn]] void nothingAttached(const std::wstring& controller, LONG port, LONG device)
{
    throw Failure(Result::objectNotFound, L"No storage device attached to device slot " + std::to_wstring(device) +
                                              L" on port " + std::to_wstring(port) + L" of controller '" + controller +
                                              L"'");
}

void requireRegistered(const MachineData& machine)
{
    if (!machine.registered)
        throw Failure(Result::invalidObjectState, L"The machine is not registered");
}

/// Puts a device into a slot. A null medium is an empty drive.
void attach(MachineSettings& settings, const std::wstring& name, const AttachmentSettings& wanted,
            const MediumPtr& medium)
{
    StorageControllerSettings& controller = findController(settings, name);
    checkSlot(controller, wanted.port, wanted.device);
    const auto& types = storageBus(controller.bus)->deviceTypes;
    if (std::find(types.begin(), types.end(), wanted.type) == types.end())
        throw Failure(Result::invalidArgument, L"The controller '" + name + L"' does not take this type of device");
    if (attachmentAt(controller, wanted.port, wanted.device))
        throw Failure(Result::objectInUse, L"Device is already attached to port " + std::to_wstring(wanted.port) +
                                               L", device " + std::to_wstring(wanted.device) + L" of controller '" +
                                               name + L"'");
    if (!medium) {
        if (wanted.type == DeviceKind::hardDisk)
            throw Failure(Result::invalidArgument, L"A hard disk slot cannot be empty");
    } else {
        if (medium->closed)
            throw Failure(Result::accessDenied, L"The medium is closed");
        if (medium->deviceType != wanted.type)
            throw Failure(Result::invalidArgument, L"The medium is not of the device type");
        if (medium->deviceType == DeviceKind::hardDisk && World::instance().isMediumBusy(*medium))
            throw Failure(Result::objectInUse, L"Medium '" + medium->location +
                                                   L"' is already attached to a virtual "
                                                   L"machine, or has differencing children");
    }
    controller.attachments.push_back(wanted);
    if (!medium)
        return;
    controller.attachments.back().medium = medium->id;
    const bool listed = std::any_of(settings.media.begin(), settings.media.end(),
                                    [&](const MediumRecord& record) { return record.id == medium->id; });
    if (!listed)
        settings.media.push_back(recordOf(*medium));
}

} // namespace

HRESULT Machine::get_MediumAttachments(SAFEARRAY** attachments)
{
    return get(L"IMachine::get_MediumAttachments", attachments, [&] {
        Interfaces<IMediumAttachment> found;
        for (const StorageControllerSettings& controller : settings().controllers)
            for (const AttachmentSettings& attachment : controller.attachments)
                found.push_back(make<MediumAttachment>(ComPtr<Machine>(this), controller.name, attachment));
        return found;
    });
}

HRESULT Machine::get_StorageControllers(SAFEARRAY** controllers)
{
    return get(L"IMachine::get_StorageControllers", controllers, [&] {
        Interfaces<IStorageController> found;
        for (const StorageControllerSettings& controller : settings().controllers)
            found.push_back(make<StorageController>(ComPtr<Machine>(this), controller.name));
        return found;
    });
}

HRESULT Machine::AddStorageController(BSTR name, ULONG bus, IStorageController** controller)
{
    return get(
        L"IMachine::AddStorageController", controller,
        [&] {
            const std::wstring text = textOf(name);
            const StorageBusLimits* limits = storageBus(bus);
            if (!limits || text.empty() || !isStorable(text))
                throw Failure(Result::invalidArgument, L"Invalid storage bus or controller name");
            MachineSettings& changed = change(Allowed::Off);
            for (const StorageControllerSettings& other : changed.controllers)
                if (other.name == text)
                    throw Failure(Result::objectInUse, L"Storage controller named '" + text + L"' already exists");
            StorageControllerSettings made;
            made.name = text;
            made.bus = bus;
            made.type = limits->defaultType;
            made.portCount = limits->defaultPorts;
            made.instance = static_cast<ULONG>(
                std::count_if(changed.controllers.begin(), changed.controllers.end(),
                              [&](const StorageControllerSettings& other) { return other.bus == bus; }));
            constexpr ULONG ide = 1;
            made.useHostIoCache = bus == ide;
            changed.controllers.push_back(made);
            return make<StorageController>(ComPtr<Machine>(this), text);
        },
        name, bus);
}

HRESULT Machine::GetStorageControllerByName(BSTR name, IStorageController** controller)
{
    return get(
        L"IMachine::GetStorageControllerByName", controller,
        [&] {
            findController(settings(), textOf(name));
            return make<StorageController>(ComPtr<Machine>(this), textOf(name));
        },
        name);
}

HRESULT Machine::RemoveStorageController(BSTR name)
{
    return call(
        L"IMachine::RemoveStorageController",
        [&] {
            const std::wstring text = textOf(name);
            MachineSettings& changed = change(Allowed::Off);
            findController(changed, text);
            std::erase_if(changed.controllers,
                          [&](const StorageControllerSettings& controller) { return controller.name == text; });
        },
        name);
}

HRESULT Machine::AttachDevice(BSTR controller, LONG port, LONG device, ULONG type, IMedium* medium)
{
    return call(
        L"IMachine::AttachDevice",
        [&] {
            requireRegistered(*data_);
            MachineSettings& changed = change(Allowed::Off);
            const ComPtr<Medium> own = implementationOf<Medium>(medium);
            if (medium && !own)
                throw Failure(Result::invalidArgument, L"The medium does not belong to this server");
            attach(changed, textOf(controller), {type, port, device, false, false, L""}, own ? own->data() : nullptr);
        },
        controller, port, device, type, medium);
}

HRESULT Machine::AttachDeviceWithoutMedium(BSTR controller, LONG port, LONG device, ULONG type)
{
    return call(
        L"IMachine::AttachDeviceWithoutMedium",
        [&] {
            requireRegistered(*data_);
            attach(change(Allowed::Off), textOf(controller), {type, port, device, false, false, L""}, nullptr);
        },
        controller, port, device, type);
}

HRESULT Machine::DetachDevice(BSTR controller, LONG port, LONG device)
{
    return call(
        L"IMachine::DetachDevice",
        [&] {
            MachineSettings& changed = change(Allowed::Off);
            const std::wstring name = textOf(controller);
            StorageControllerSettings& found = findController(changed, name);
            if (!attachmentAt(found, port, device))
                nothingAttached(name, port, device);
            std::erase_if(found.attachments, [&](const AttachmentSettings& attachment) {
                return attachment.port == port && attachment.device == device;
            });
        },
        controller, port, device);
}

AttachmentSettings& Machine::attachmentToMark(BSTR controller, LONG port, LONG device)
{
    requireRegistered(*data_);
    MachineSettings& changed = change(Allowed::Off);
    const std::wstring name = textOf(controller);
    StorageControllerSettings& found = findController(changed, name);
    checkSlot(found, port, device);
    AttachmentSettings* attachment = attachmentAt(found, port, device);
    if (!attachment)
        nothingAttached(name, port, device);
    if (attachment->type != DeviceKind::hardDisk)
        throw Failure(Result::invalidArgument, L"The device is no hard disk");
    return *attachment;
}

HRESULT Machine::NonRotationalDevice(BSTR controller, LONG port, LONG device, BOOL nonRotational)
{
    return call(
        L"IMachine::NonRotationalDevice",
        [&] { attachmentToMark(controller, port, device).nonRotational = nonRotational != FALSE; }, controller, port,
        device, nonRotational);
}

HRESULT Machine::SetAutoDiscardForDevice(BSTR controller, LONG port, LONG device, BOOL discard)
{
    return call(
        L"IMachine::SetAutoDiscardForDevice",
        [&] { attachmentToMark(controller, port, device).discard = discard != FALSE; }, controller, port, device,
        discard);
}

HRESULT Machine::GetMedium(BSTR controller, LONG port, LONG device, IMedium** medium)
{
    return get(
        L"IMachine::GetMedium", medium,
        [&]() -> ComPtr<Medium> {
            const std::wstring name = textOf(controller);
            const AttachmentSettings* attachment = attachmentAt(findController(settings(), name), port, device);
            if (!attachment)
                nothingAttached(name, port, device);
            const MediumPtr found = World::instance().findMedium(attachment->medium);
            return found ? make<Medium>(found) : nullptr;
        },
        controller, port, device);
}

HRESULT Machine::GetMediumAttachmentsOfController(BSTR controller, SAFEARRAY** attachments)
{
    return get(
        L"IMachine::GetMediumAttachmentsOfController", attachments,
        [&] {
            Interfaces<IMediumAttachment> found;
            const StorageControllerSettings& holder = findController(settings(), textOf(controller));
            for (const AttachmentSettings& attachment : holder.attachments)
                found.push_back(make<MediumAttachment>(ComPtr<Machine>(this), holder.name, attachment));
            return found;
        },
        controller);
}

HRESULT Machine::GetMediumAttachment(BSTR controller, LONG port, LONG device, IMediumAttachment** attachment)
{
    return get(
        L"IMachine::GetMediumAttachment", attachment,
        [&] {
            const StorageControllerSettings& holder = findController(settings(), textOf(controller));
            const AttachmentSettings* found = attachmentAt(holder, port, device);
            if (!found)
                nothingAttached(holder.name, port, device);
            return make<MediumAttachment>(ComPtr<Machine>(this), holder.name, *found);
        },
        controller, port, device);
}

} // namespace VBoxSim
