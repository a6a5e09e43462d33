#include "automation/safe_array.h"
#include "selq6/vbox.h"

// Finding, listing and registering machines; their names and identifiers.

namespace Travik {
namespace {

// A failed listing: the one code without a name.
constexpr auto listMachinesFail = SdkErrorCode{210};

} // namespace

SdkErrorCode VBox::openMachine(const std::wstring& settingsFile, VBoxHandle* machine)
{
    Operation op(*this, L"Travik::VBox::openMachine", settingsFile);
    ComPtr<IVirtualBox> root;
    ComPtr<IMachine> opened;
    if (op.ready(virtualBox, root)) {
        const ComString file(settingsFile);
        if (op.call(OpenMachineFail, [&] { return root->OpenMachine(file.get(), &opened); }))
            op.handOut(machineTable, opened, machine);
    }
    return op.code();
}

SdkErrorCode VBox::findMachine(const std::wstring& nameOrId, VBoxHandle* machine)
{
    Operation op(*this, L"Travik::VBox::findMachine", nameOrId);
    ComPtr<IVirtualBox> root;
    ComPtr<IMachine> found;
    if (op.ready(virtualBox, root)) {
        const ComString wanted(nameOrId);
        if (op.call(FindMachineFail, [&] { return root->FindMachine(wanted.get(), &found); }))
            op.handOut(machineTable, found, machine);
    }
    return op.code();
}

SdkErrorCode VBox::registerMachine(VBoxHandle machine)
{
    Operation op(*this, L"Travik::VBox::registerMachine", machine);
    ComPtr<IVirtualBox> root;
    ComPtr<IMachine> object;
    if (op.ready(virtualBox, root) && op.find(machineTable, machine, object))
        op.call(RegisterMachineFail, [&] { return root->RegisterMachine(object.Get()); });
    return op.code();
}

SdkErrorCode VBox::listVms(std::vector<VBoxHandle>* machines)
{
    Operation op(*this, L"Travik::VBox::listVms");
    ComPtr<IVirtualBox> root;
    ComArray array;
    if (!op.ready(virtualBox, root) || !op.call(listMachinesFail, [&] { return root->get_Machines(array.put()); }))
        return op.code();
    if (!machines || !op.check(!array.isNull(), SafeArrayCreateFail))
        return op.code();
    for (const auto& machine : toObjects<IMachine>(array.get())) {
        VBoxHandle handle = 0;
        op.handOut(machineTable, machine, &handle);
        if (handle != 0)
            machines->push_back(handle);
    }
    return op.code();
}

SdkErrorCode VBox::getVmName(VBoxHandle machine, std::wstring* name)
{
    Operation op(*this, L"Travik::VBox::getVmName", machine);
    ComPtr<IMachine> object;
    ComString text;
    if (op.find(machineTable, machine, object) && op.call(PutNameFail, [&] { return object->get_Name(text.put()); }))
        op.returnText(L"return name = ", text, name);
    return op.code();
}

SdkErrorCode VBox::setVmName(VBoxHandle machine, const std::wstring& name)
{
    Operation op(*this, L"Travik::VBox::setVmName", machine, name);
    ComPtr<IMachine> object;
    if (op.find(machineTable, machine, object)) {
        const ComString text(name);
        op.call(PutNameFail, [&] { return object->put_Name(text.get()); });
    }
    return op.code();
}

SdkErrorCode VBox::getVmUUID(VBoxHandle machine, std::wstring* uuid)
{
    Operation op(*this, L"Travik::VBox::getVmUUID", machine);
    ComPtr<IMachine> object;
    ComString text;
    if (op.find(machineTable, machine, object) && op.call(PutNameFail, [&] { return object->get_Id(text.put()); }))
        op.returnText(L"return uuid = ", text, uuid);
    return op.code();
}

} // namespace Travik
