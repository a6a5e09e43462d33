#include "com/storage_objects.h"

#include "com/medium_object.h"

#include "base/text.h"
#include "settings/storage_buses.h"

#include <algorithm>

namespace VBoxSim {

const StorageControllerSettings& StorageController::shown() const
{
    for (const StorageControllerSettings& controller : machine_->settings().controllers)
        if (controller.name == name_)
            return controller;
    throw Failure(Result::accessDenied, L"The storage controller '" + name_ + L"' was removed");
}

StorageControllerSettings& StorageController::changed()
{
    const StorageControllerSettings& same = shown();
    std::vector<StorageControllerSettings>& controllers = machine_->change(Allowed::Off).controllers;
    return controllers[static_cast<std::size_t>(&same - controllers.data())];
}

HRESULT StorageController::get_Name(BSTR* name)
{
    return get(L"IStorageController::get_Name", name, [&] { return shown().name; });
}

HRESULT StorageController::put_Name(BSTR name)
{
    return call(
        L"IStorageController::put_Name",
        [&] {
            const std::wstring text = textOf(name);
            StorageControllerSettings& controller = changed();
            if (text.empty() || !isStorable(text))
                throw Failure(Result::invalidArgument, L"Invalid controller name");
            for (const StorageControllerSettings& other : machine_->settings().controllers)
                if (&other != &controller && other.name == text)
                    throw Failure(Result::objectInUse, L"Storage controller named '" + text + L"' already exists");
            controller.name = text;
            name_ = text;
        },
        name);
}

HRESULT StorageController::get_MaxDevicesPerPortCount(ULONG* count)
{
    return get(L"IStorageController::get_MaxDevicesPerPortCount", count,
               [&] { return storageBus(shown().bus)->devicesPerPort; });
}

HRESULT StorageController::get_MinPortCount(ULONG* count)
{
    return get(L"IStorageController::get_MinPortCount", count, [&] { return storageBus(shown().bus)->minPorts; });
}

HRESULT StorageController::get_MaxPortCount(ULONG* count)
{
    return get(L"IStorageController::get_MaxPortCount", count, [&] { return storageBus(shown().bus)->maxPorts; });
}

HRESULT StorageController::get_Instance(ULONG* instance)
{
    return get(L"IStorageController::get_Instance", instance, [&] { return shown().instance; });
}

HRESULT StorageController::put_Instance(ULONG instance)
{
    return call(
        L"IStorageController::put_Instance", [&] { changed().instance = instance; }, instance);
}

HRESULT StorageController::get_PortCount(ULONG* count)
{
    return get(L"IStorageController::get_PortCount", count, [&] { return shown().portCount; });
}

HRESULT StorageController::put_PortCount(ULONG count)
{
    return call(
        L"IStorageController::put_PortCount",
        [&] {
            StorageControllerSettings& controller = changed();
            const StorageBusLimits& limits = *storageBus(controller.bus);
            if (count < limits.minPorts || count > limits.maxPorts)
                throw Failure(Result::invalidArgument, L"Invalid port count " + std::to_wstring(count));
            for (const AttachmentSettings& attachment : controller.attachments)
                if (static_cast<ULONG>(attachment.port) >= count)
                    throw Failure(Result::notSupported, L"A port beyond the new count has a device");
            controller.portCount = count;
        },
        count);
}

HRESULT StorageController::get_Bus(ULONG* bus)
{
    return get(L"IStorageController::get_Bus", bus, [&] { return shown().bus; });
}

HRESULT StorageController::get_ControllerType(ULONG* type)
{
    return get(L"IStorageController::get_ControllerType", type, [&] { return shown().type; });
}

HRESULT StorageController::put_ControllerType(ULONG type)
{
    return call(
        L"IStorageController::put_ControllerType",
        [&] {
            StorageControllerSettings& controller = changed();
            if (busOfControllerType(type) != controller.bus)
                throw Failure(Result::invalidArgument, L"Invalid controller type " + std::to_wstring(type));
            controller.type = type;
        },
        type);
}

HRESULT StorageController::get_UseHostIOCache(BOOL* use)
{
    return get(L"IStorageController::get_UseHostIOCache", use, [&] { return shown().useHostIoCache; });
}

HRESULT StorageController::put_UseHostIOCache(BOOL use)
{
    return call(
        L"IStorageController::put_UseHostIOCache", [&] { changed().useHostIoCache = use != FALSE; }, use);
}

HRESULT StorageController::get_Bootable(BOOL* bootable)
{
    return get(L"IStorageController::get_Bootable", bootable, [&] { return shown().bootable; });
}

HRESULT MediumAttachment::get_Machine(IMachine** machine)
{
    return get(L"IMediumAttachment::get_Machine", machine, [&] { return machine_; });
}

HRESULT MediumAttachment::get_Medium(IMedium** medium)
{
    return get(L"IMediumAttachment::get_Medium", medium, [&]() -> ComPtr<Medium> {
        const MediumPtr found = World::instance().findMedium(settings_.medium);
        return found ? make<Medium>(found) : nullptr;
    });
}

HRESULT MediumAttachment::get_Controller(BSTR* controller)
{
    return get(L"IMediumAttachment::get_Controller", controller, [&] { return controller_; });
}

HRESULT MediumAttachment::get_Port(LONG* port)
{
    return get(L"IMediumAttachment::get_Port", port, [&] { return settings_.port; });
}

HRESULT MediumAttachment::get_Device(LONG* device)
{
    return get(L"IMediumAttachment::get_Device", device, [&] { return settings_.device; });
}

HRESULT MediumAttachment::get_Type(ULONG* type)
{
    return get(L"IMediumAttachment::get_Type", type, [&] { return settings_.type; });
}

HRESULT MediumAttachment::get_Passthrough(BOOL* passthrough)
{
    return get(L"IMediumAttachment::get_Passthrough", passthrough, [] { return false; });
}

HRESULT MediumAttachment::get_TemporaryEject(BOOL* temporaryEject)
{
    return get(L"IMediumAttachment::get_TemporaryEject", temporaryEject, [] { return false; });
}

HRESULT MediumAttachment::get_IsEjected(BOOL* ejected)
{
    return get(L"IMediumAttachment::get_IsEjected", ejected, [] { return false; });
}

HRESULT MediumAttachment::get_NonRotational(BOOL* nonRotational)
{
    return get(L"IMediumAttachment::get_NonRotational", nonRotational, [&] { return settings_.nonRotational; });
}

HRESULT MediumAttachment::get_Discard(BOOL* discard)
{
    return get(L"IMediumAttachment::get_Discard", discard, [&] { return settings_.discard; });
}

HRESULT MediumAttachment::get_HotPluggable(BOOL* hotPluggable)
{
    return get(L"IMediumAttachment::get_HotPluggable", hotPluggable, [] { return false; });
}

} // namespace VBoxSim
