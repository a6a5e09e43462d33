#include "selq6/vbox.h"

// Guest properties.

namespace Travik {

SdkErrorCode VBox::getGuestProperty(VBoxHandle machine, const std::wstring& name, std::wstring* value,
                                    std::int64_t* timestamp, std::wstring* flags)
{
    Operation op(*this, L"Travik::VBox::getGuestProperty", machine, name);
    ComPtr<IMachine> object;
    if (op.find(machineTable, machine, object)) {
        const ComString nameText(name);
        ComString valueText;
        ComString flagsText;
        // VirtualBox writes the time stamp to the caller's output itself, and fails without one.
        if (op.call(GetGuestPropertyFail, [&] {
                return object->GetGuestProperty(nameText.get(), valueText.put(), timestamp, flagsText.put());
            })) {
            op.returnText(L"return value = ", valueText, value);
            if (!flagsText.isNull() && flags)
                *flags = flagsText.str();
        }
    }
    return op.code();
}

SdkErrorCode VBox::setGuestProperty(VBoxHandle machine, const std::wstring& name, const std::wstring& value,
                                    const std::wstring& flags)
{
    Operation op(*this, L"Travik::VBox::setGuestProperty", machine, name, value, flags);
    ComPtr<IMachine> object;
    if (op.find(machineTable, machine, object)) {
        const ComString nameText(name);
        const ComString valueText(value);
        const ComString flagsText(flags);
        op.call(SetGuestPropertyFail,
                [&] { return object->SetGuestProperty(nameText.get(), valueText.get(), flagsText.get()); });
    }
    return op.code();
}

SdkErrorCode VBox::deleteGuestProperty(VBoxHandle machine, const std::wstring& name)
{
    Operation op(*this, L"Travik::VBox::deleteGuestProperty", machine, name);
    ComPtr<IMachine> object;
    if (op.find(machineTable, machine, object)) {
        const ComString nameText(name);
        op.call(DeleteGuestPropertyFail, [&] { return object->DeleteGuestProperty(nameText.get()); });
    }
    return op.code();
}

} // namespace Travik
