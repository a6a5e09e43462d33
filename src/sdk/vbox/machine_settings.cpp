#include "selq6/vbox.h"

// Editing the settings of the session's mutable machine, and saving them.

namespace Travik {

SdkErrorCode VBox::createMutableMachine(VBoxHandle machine, VBoxHandle* mutableMachine)
{
    // The machine is only logged: the result is always the machine of the library's one session.
    Operation op(*this, L"Travik::VBox::createMutableMachine", machine);
    ComPtr<ISession> root;
    ComPtr<IMachine> locked;
    if (op.ready(session, root) && op.call(CreateMutableMachineFail, [&] { return root->get_Machine(&locked); }))
        op.handOut(machineTable, locked, mutableMachine);
    return op.code();
}

SdkErrorCode VBox::setMachineCPUCount(VBoxHandle machine, std::uint32_t count)
{
    Operation op(*this, L"Travik::VBox::setMachineCPUCount", machine, count);
    ComPtr<IMachine> object;
    if (op.find(machineTable, machine, object))
        op.call(SetMachineCPUCountFail, [&] { return object->put_CPUCount(count); });
    return op.code();
}

SdkErrorCode VBox::setMachineMemory(VBoxHandle machine, std::uint32_t megabytes)
{
    Operation op(*this, L"Travik::VBox::setMachineMemory", machine, megabytes);
    ComPtr<IMachine> object;
    if (op.find(machineTable, machine, object))
        op.call(SetMachineMemoryFail, [&] { return object->put_MemorySize(megabytes); });
    return op.code();
}

SdkErrorCode VBox::setMachineParavirtProvider(VBoxHandle machine, std::uint32_t provider)
{
    Operation op(*this, L"Travik::VBox::setMachineParavirtProvider", machine, provider);
    ComPtr<IMachine> object;
    if (op.find(machineTable, machine, object))
        op.call(SetMachineParavirtProviderFail, [&] { return object->put_ParavirtProvider(provider); });
    return op.code();
}

SdkErrorCode VBox::setMachineExtraData(VBoxHandle machine, const std::wstring& key, const std::wstring& value)
{
    Operation op(*this, L"Travik::VBox::setMachineExtraData", machine, key, value);
    ComPtr<IMachine> object;
    if (op.find(machineTable, machine, object)) {
        const ComString keyText(key);
        const ComString valueText(value);
        op.call(SetMachineExtraDataFail, [&] { return object->SetExtraData(keyText.get(), valueText.get()); });
    }
    return op.code();
}

SdkErrorCode VBox::getMachineExtraData(VBoxHandle machine, const std::wstring& key, std::wstring* value)
{
    Operation op(*this, L"Travik::VBox::getMachineExtraData", machine, key);
    ComPtr<IMachine> object;
    if (op.find(machineTable, machine, object)) {
        const ComString keyText(key);
        ComString text;
        if (op.call(GetMachineExtraDataFail, [&] { return object->GetExtraData(keyText.get(), text.put()); }))
            op.returnText(L"return value = ", text, value);
    }
    return op.code();
}

SdkErrorCode VBox::saveSettings(VBoxHandle machine)
{
    Operation op(*this, L"Travik::VBox::saveSettings", machine);
    ComPtr<IMachine> object;
    if (op.find(machineTable, machine, object))
        op.call(SaveSettingsFail, [&] { return object->SaveSettings(); });
    return op.code();
}

} // namespace Travik
