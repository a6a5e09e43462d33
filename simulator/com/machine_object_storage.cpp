// Storage controllers and attachments of a machine.
#include "com/machine_object.h"
#include "com/medium_object.h"
#include "com/storage_objects.h"
#include "host/device_views.h"
#include "host/mounting.h"

namespace VBoxSim {

HRESULT MachineObject::get_MediumAttachments(SAFEARRAY** attachments)
{
    return get(L"IMachine::get_MediumAttachments", attachments, [&] {
        Interfaces<IMediumAttachment> found;
        for (const StorageControllerSettings& controller : view_.settings().controllers)
            for (const AttachmentSettings& attachment : controller.attachments)
                found.push_back(make<MediumAttachmentObject>(server(), view_, controller.name, attachment));
        return found;
    });
}

HRESULT MachineObject::get_StorageControllers(SAFEARRAY** controllers)
{
    return get(L"IMachine::get_StorageControllers", controllers, [&] {
        Interfaces<IStorageController> found;
        for (const StorageControllerSettings& controller : view_.settings().controllers)
            found.push_back(make<StorageControllerObject>(server(), StorageControllerView(view_, controller.name)));
        return found;
    });
}

HRESULT MachineObject::AddStorageController(BSTR name, ULONG bus, IStorageController** controller)
{
    return get(
        L"IMachine::AddStorageController", controller,
        [&] {
            view_.addController(textOf(name), bus);
            return make<StorageControllerObject>(server(), StorageControllerView(view_, textOf(name)));
        },
        name, bus);
}

HRESULT MachineObject::GetStorageControllerByName(BSTR name, IStorageController** controller)
{
    return get(
        L"IMachine::GetStorageControllerByName", controller,
        [&] {
            const std::wstring found = view_.controller(textOf(name)).name;
            return make<StorageControllerObject>(server(), StorageControllerView(view_, found));
        },
        name);
}

HRESULT MachineObject::GetStorageControllerByInstance(ULONG bus, ULONG instance, IStorageController** controller)
{
    return get(
        L"IMachine::GetStorageControllerByInstance", controller,
        [&] {
            const std::wstring found = view_.controller(bus, instance).name;
            return make<StorageControllerObject>(server(), StorageControllerView(view_, found));
        },
        bus, instance);
}

HRESULT MachineObject::SetStorageControllerBootable(BSTR name, BOOL bootable)
{
    return call(
        L"IMachine::SetStorageControllerBootable", [&] { view_.setBootable(textOf(name), bootable != FALSE); }, name,
        bootable);
}

HRESULT MachineObject::RemoveStorageController(BSTR name)
{
    return call(
        L"IMachine::RemoveStorageController", [&] { view_.removeController(textOf(name)); }, name);
}

HRESULT MachineObject::AttachDevice(BSTR controller, LONG port, LONG device, ULONG type, IMedium* medium)
{
    return call(
        L"IMachine::AttachDevice",
        [&] {
            view_.attach({textOf(controller), port, device}, type, medium ? mediumOf(medium) : nullptr);
        },
        controller, port, device, type, medium);
}

HRESULT MachineObject::AttachDeviceWithoutMedium(BSTR controller, LONG port, LONG device, ULONG type)
{
    return call(
        L"IMachine::AttachDeviceWithoutMedium",
        [&] {
            view_.attach({textOf(controller), port, device}, type, nullptr);
        },
        controller, port, device, type);
}

HRESULT MachineObject::DetachDevice(BSTR controller, LONG port, LONG device)
{
    return call(
        L"IMachine::DetachDevice",
        [&] {
            view_.detach({textOf(controller), port, device});
        },
        controller, port, device);
}

HRESULT MachineObject::NonRotationalDevice(BSTR controller, LONG port, LONG device, BOOL nonRotational)
{
    return call(
        L"IMachine::NonRotationalDevice",
        [&] {
            view_.setNonRotational({textOf(controller), port, device}, nonRotational != FALSE);
        },
        controller, port, device, nonRotational);
}

HRESULT MachineObject::SetAutoDiscardForDevice(BSTR controller, LONG port, LONG device, BOOL discard)
{
    return call(
        L"IMachine::SetAutoDiscardForDevice",
        [&] {
            view_.setDiscard({textOf(controller), port, device}, discard != FALSE);
        },
        controller, port, device, discard);
}

HRESULT MachineObject::MountMedium(BSTR controller, LONG port, LONG device, IMedium* medium, BOOL force)
{
    return call(
        L"IMachine::MountMedium",
        [&] {
            mountMedium(view_, {textOf(controller), port, device}, medium ? mediumOf(medium) : nullptr);
        },
        controller, port, device, medium, force);
}

HRESULT MachineObject::UnmountMedium(BSTR controller, LONG port, LONG device, BOOL force)
{
    return call(
        L"IMachine::UnmountMedium",
        [&] {
            mountMedium(view_, {textOf(controller), port, device}, nullptr);
        },
        controller, port, device, force);
}

HRESULT MachineObject::GetMedium(BSTR controller, LONG port, LONG device, IMedium** medium)
{
    return get(
        L"IMachine::GetMedium", medium,
        [&] {
            const AttachmentSettings& attachment = view_.attachment({textOf(controller), port, device});
            return mediumObject(server(), host().media().find(attachment.medium));
        },
        controller, port, device);
}

HRESULT MachineObject::GetMediumAttachmentsOfController(BSTR controller, SAFEARRAY** attachments)
{
    return get(
        L"IMachine::GetMediumAttachmentsOfController", attachments,
        [&] {
            Interfaces<IMediumAttachment> found;
            const StorageControllerSettings& holder = view_.controller(textOf(controller));
            for (const AttachmentSettings& attachment : holder.attachments)
                found.push_back(make<MediumAttachmentObject>(server(), view_, holder.name, attachment));
            return found;
        },
        controller);
}

HRESULT MachineObject::GetMediumAttachment(BSTR controller, LONG port, LONG device, IMediumAttachment** attachment)
{
    return get(
        L"IMachine::GetMediumAttachment", attachment,
        [&] {
            const AttachmentSettings& found = view_.attachment({textOf(controller), port, device});
            return make<MediumAttachmentObject>(server(), view_, textOf(controller), found);
        },
        controller, port, device);
}

} // namespace VBoxSim
