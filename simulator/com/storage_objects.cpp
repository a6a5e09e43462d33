#include "com/storage_objects.h"

#include "com/machine_object.h"
#include "com/medium_object.h"

namespace VBoxSim {

HRESULT StorageControllerObject::get_Name(BSTR* name)
{
    return get(L"IStorageController::get_Name", name, [&] { return view_.settings().name; });
}

HRESULT StorageControllerObject::put_Name(BSTR name)
{
    return call(
        L"IStorageController::put_Name", [&] { view_.rename(textOf(name)); }, name);
}

HRESULT StorageControllerObject::get_MaxDevicesPerPortCount(ULONG* count)
{
    return get(L"IStorageController::get_MaxDevicesPerPortCount", count, [&] { return view_.limits().devicesPerPort; });
}

HRESULT StorageControllerObject::get_MinPortCount(ULONG* count)
{
    return get(L"IStorageController::get_MinPortCount", count, [&] { return view_.limits().minPorts; });
}

HRESULT StorageControllerObject::get_MaxPortCount(ULONG* count)
{
    return get(L"IStorageController::get_MaxPortCount", count, [&] { return view_.limits().maxPorts; });
}

HRESULT StorageControllerObject::get_Instance(ULONG* instance)
{
    return get(L"IStorageController::get_Instance", instance, [&] { return view_.settings().instance; });
}

HRESULT StorageControllerObject::put_Instance(ULONG instance)
{
    return call(
        L"IStorageController::put_Instance", [&] { view_.setInstance(instance); }, instance);
}

HRESULT StorageControllerObject::get_PortCount(ULONG* count)
{
    return get(L"IStorageController::get_PortCount", count, [&] { return view_.settings().portCount; });
}

HRESULT StorageControllerObject::put_PortCount(ULONG count)
{
    return call(
        L"IStorageController::put_PortCount", [&] { view_.setPortCount(count); }, count);
}

HRESULT StorageControllerObject::get_Bus(ULONG* bus)
{
    return get(L"IStorageController::get_Bus", bus, [&] { return view_.settings().bus; });
}

HRESULT StorageControllerObject::get_ControllerType(ULONG* type)
{
    return get(L"IStorageController::get_ControllerType", type, [&] { return view_.settings().type; });
}

HRESULT StorageControllerObject::put_ControllerType(ULONG type)
{
    return call(
        L"IStorageController::put_ControllerType", [&] { view_.setType(type); }, type);
}

HRESULT StorageControllerObject::get_UseHostIOCache(BOOL* use)
{
    return get(L"IStorageController::get_UseHostIOCache", use, [&] { return view_.settings().useHostIoCache; });
}

HRESULT StorageControllerObject::put_UseHostIOCache(BOOL use)
{
    return call(
        L"IStorageController::put_UseHostIOCache", [&] { view_.setUseHostIoCache(use != FALSE); }, use);
}

HRESULT StorageControllerObject::get_Bootable(BOOL* bootable)
{
    return get(L"IStorageController::get_Bootable", bootable, [&] { return view_.settings().bootable; });
}

HRESULT MediumAttachmentObject::get_Machine(IMachine** machine)
{
    return get(L"IMediumAttachment::get_Machine", machine, [&] { return make<MachineObject>(server(), machine_); });
}

HRESULT MediumAttachmentObject::get_Medium(IMedium** medium)
{
    return get(L"IMediumAttachment::get_Medium", medium,
               [&] { return mediumObject(server(), host().media().find(settings_.medium)); });
}

HRESULT MediumAttachmentObject::get_Controller(BSTR* controller)
{
    return get(L"IMediumAttachment::get_Controller", controller, [&] { return controller_; });
}

HRESULT MediumAttachmentObject::get_Port(LONG* port)
{
    return get(L"IMediumAttachment::get_Port", port, [&] { return settings_.port; });
}

HRESULT MediumAttachmentObject::get_Device(LONG* device)
{
    return get(L"IMediumAttachment::get_Device", device, [&] { return settings_.device; });
}

HRESULT MediumAttachmentObject::get_Type(ULONG* type)
{
    return get(L"IMediumAttachment::get_Type", type, [&] { return settings_.type; });
}

HRESULT MediumAttachmentObject::get_Passthrough(BOOL* passthrough)
{
    return get(L"IMediumAttachment::get_Passthrough", passthrough, [] { return false; });
}

HRESULT MediumAttachmentObject::get_TemporaryEject(BOOL* temporaryEject)
{
    return get(L"IMediumAttachment::get_TemporaryEject", temporaryEject, [] { return false; });
}

HRESULT MediumAttachmentObject::get_IsEjected(BOOL* ejected)
{
    return get(L"IMediumAttachment::get_IsEjected", ejected, [] { return false; });
}

HRESULT MediumAttachmentObject::get_NonRotational(BOOL* nonRotational)
{
    return get(L"IMediumAttachment::get_NonRotational", nonRotational, [&] { return settings_.nonRotational; });
}

HRESULT MediumAttachmentObject::get_Discard(BOOL* discard)
{
    return get(L"IMediumAttachment::get_Discard", discard, [&] { return settings_.discard; });
}

HRESULT MediumAttachmentObject::get_HotPluggable(BOOL* hotPluggable)
{
    return get(L"IMediumAttachment::get_HotPluggable", hotPluggable, [] { return false; });
}

} // namespace VBoxSim
