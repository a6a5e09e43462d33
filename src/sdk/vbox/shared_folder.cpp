#include "selq6/vbox.h"

// Host folders shared with a machine for good, or with its running console. The mount point is always VirtualBox's
// default.

namespace Travik {
namespace {

template <class Interface>
SdkErrorCode createSharedFolder(Operation& op, HandleTable<Interface>& table, VBoxHandle handle, SdkErrorCode failure,
                                const std::wstring& name, const std::wstring& hostPath, std::uint32_t writable,
                                std::uint32_t automount)
{
    Microsoft::WRL::ComPtr<Interface> object;
    if (op.find(table, handle, object)) {
        const ComString nameText(name);
        const ComString pathText(hostPath);
        op.call(failure, [&] {
            return object->CreateSharedFolder(nameText.get(), pathText.get(), static_cast<BOOL>(writable),
                                              static_cast<BOOL>(automount), nullptr);
        });
    }
    return op.code();
}

template <class Interface>
SdkErrorCode removeSharedFolder(Operation& op, HandleTable<Interface>& table, VBoxHandle handle, SdkErrorCode failure,
                                const std::wstring& name)
{
    Microsoft::WRL::ComPtr<Interface> object;
    if (op.find(table, handle, object)) {
        const ComString nameText(name);
        op.call(failure, [&] { return object->RemoveSharedFolder(nameText.get()); });
    }
    return op.code();
}

} // namespace

SdkErrorCode VBox::machineCreateSharedFolder(VBoxHandle machine, const std::wstring& name, const std::wstring& hostPath,
                                             std::uint32_t writable, std::uint32_t automount)
{
    Operation op(*this, L"Travik::VBox::machineCreateSharedFolder", machine, name, hostPath, writable, automount);
    return createSharedFolder(op, machineTable, machine, MachineCreateSharedFolderFail, name, hostPath, writable,
                              automount);
}

SdkErrorCode VBox::machineRemoveSharedFolder(VBoxHandle machine, const std::wstring& name)
{
    Operation op(*this, L"Travik::VBox::machineRemoveSharedFolder", machine, name);
    return removeSharedFolder(op, machineTable, machine, MachineRemoveSharedFolderFail, name);
}

SdkErrorCode VBox::consoleCreateSharedFolder(VBoxHandle console, const std::wstring& name, const std::wstring& hostPath,
                                             std::uint32_t writable, std::uint32_t automount)
{
    Operation op(*this, L"Travik::VBox::consoleCreateSharedFolder", console, name, hostPath, writable, automount);
    return createSharedFolder(op, consoleTable, console, ConsoleCreateSharedFolderFail, name, hostPath, writable,
                              automount);
}

SdkErrorCode VBox::consoleRemoveSharedFolder(VBoxHandle console, const std::wstring& name)
{
    Operation op(*this, L"Travik::VBox::consoleRemoveSharedFolder", console, name);
    return removeSharedFolder(op, consoleTable, console, ConsoleRemoveSharedFolderFail, name);
}

} // namespace Travik
