#include "selq6/vbox.h"

// Disk images on the storage controllers of a machine.

namespace Travik {

SdkErrorCode VBox::attachMedium(VBoxHandle machine, VBoxHandle medium, const std::wstring& controllerName,
                                std::int32_t port, std::int32_t device)
{
    Operation op(*this, L"Travik::VBox::attachMedium", machine, medium, controllerName, port, device);
    ComPtr<IMachine> object;
    ComPtr<IMedium> image;
    if (!op.find(machineTable, machine, object) || !op.find(mediumTable, medium, image))
        return op.code();
    const ComString name(controllerName);
    if (op.call(AttachDeviceFail,
                [&] { return object->AttachDevice(name.get(), port, device, DeviceType::HardDisk, image.Get()); })) {
        op.attempt(SetAutoDiscardForDeviceFail,
                   [&] { return object->SetAutoDiscardForDevice(name.get(), port, device, TRUE); });
        op.attempt(NonRotationalDeviceFail,
                   [&] { return object->NonRotationalDevice(name.get(), port, device, TRUE); });
    }
    return op.code();
}

SdkErrorCode VBox::detachMedium(VBoxHandle machine, const std::wstring& controllerName, std::int32_t port,
                                std::int32_t device)
{
    Operation op(*this, L"Travik::VBox::detachMedium", machine, controllerName, port, device);
    ComPtr<IMachine> object;
    if (op.find(machineTable, machine, object)) {
        const ComString name(controllerName);
        op.call(DetachDeviceFail, [&] { return object->DetachDevice(name.get(), port, device); });
    }
    return op.code();
}

SdkErrorCode VBox::getMachineStorageControllerPortCount(VBoxHandle machine, const std::wstring& controllerName,
                                                        std::uint32_t* portCount)
{
    Operation op(*this, L"Travik::VBox::getMachineStorageControllerPortCount", machine, controllerName);
    ComPtr<IMachine> object;
    ComPtr<IStorageController> controller;
    ULONG value = 0;
    if (op.find(machineTable, machine, object)) {
        const ComString name(controllerName);
        if (op.obtain(MachineGetStorageControllerByNameFail, controller,
                      [&] { return object->GetStorageControllerByName(name.get(), &controller); }) &&
            op.call(StorageControllerGetPortCountFail, [&] { return controller->get_PortCount(&value); }))
            op.returnNumber(L"return portCount = ", value, portCount);
    }
    return op.code();
}

SdkErrorCode VBox::getCurrentMedium(VBoxHandle machine, const std::wstring& controllerName, std::int32_t port,
                                    std::int32_t device, VBoxHandle* medium)
{
    Operation op(*this, L"Travik::VBox::getCurrentMedium", machine, controllerName, port, device);
    ComPtr<IMachine> object;
    ComPtr<IMedium> attached;
    if (op.find(machineTable, machine, object)) {
        const ComString name(controllerName);
        if (op.call(MachineGetMediumFail, [&] { return object->GetMedium(name.get(), port, device, &attached); }))
            op.handOut(mediumTable, attached, medium);
    }
    return op.code();
}

} // namespace Travik
