#include "automation/safe_array.h"
#include "log/log.h"
#include "selq6/vbox.h"
#include "utils/file_path.h"

// Naming, creating, cloning and deleting machines; the folder they are created in.

namespace Travik {
namespace {

constexpr wchar_t defaultPrefix[] = L"kolbrenix_vbox86";

} // namespace

SdkErrorCode VBox::createVmName(const std::wstring& prefix, std::wstring* name)
{
    // Not in the frame: each composeMachineFilename below takes the lock for itself.
    const wchar_t* const operation = L"Travik::VBox::createVmName";
    writeRecord(LogLevel::Info, currentLine(), operation, prefix);
    _argStream() << prefix;

    SdkErrorCode result = {};
    std::wstring candidate;
    std::wstring path; // keeps its content when composing fails
    for (int number = 1; number < 100; ++number) {
        candidate = (prefix.empty() ? defaultPrefix : prefix) + L"_" + std::to_wstring(number);
        result = composeMachineFilename(candidate, &path);
        if (!Utils::checkFileExists(path))
            break;
    }
    if (name) {
        *name = candidate;
        writeRecord(LogLevel::Info, currentLine(), operation, L"return name = " + candidate);
    }
    return result;
}

SdkErrorCode VBox::composeMachineFilename(const std::wstring& name, std::wstring* file)
{
    Operation op(*this, L"Travik::VBox::composeMachineFilename", name);
    ComPtr<IVirtualBox> root;
    if (op.ready(virtualBox, root)) {
        const ComString wanted(name);
        ComString text;
        if (op.call(ComposeMachineFilenameFail,
                    [&] { return root->ComposeMachineFilename(wanted.get(), nullptr, nullptr, nullptr, text.put()); }))
            op.returnText(L"return file = ", text, file);
    }
    return op.code();
}

SdkErrorCode VBox::getDefaultMachineFolder(std::wstring* folder)
{
    Operation op(*this, L"Travik::VBox::getDefaultMachineFolder");
    ComPtr<IVirtualBox> root;
    ComPtr<ISystemProperties> properties;
    ComString text;
    if (op.ready(virtualBox, root) &&
        op.obtain(GetSystemPropertiesFail, properties, [&] { return root->get_SystemProperties(&properties); }) &&
        op.call(GetDefaultMachineFolderFail, [&] { return properties->get_DefaultMachineFolder(text.put()); }))
        op.returnText(L"return dir = ", text, folder);
    return op.code();
}

SdkErrorCode VBox::setDefaultMachineFolder(const std::wstring& folder)
{
    Operation op(*this, L"Travik::VBox::setDefaultMachineFolder", folder);
    ComPtr<IVirtualBox> root;
    ComPtr<ISystemProperties> properties;
    if (op.check(Utils::checkFileExists(folder), CheckFileExistsFail) && op.ready(virtualBox, root) &&
        op.obtain(GetSystemPropertiesFail, properties, [&] { return root->get_SystemProperties(&properties); })) {
        const ComString text(folder);
        op.call(PutDefaultMachineFolderFail, [&] { return properties->put_DefaultMachineFolder(text.get()); });
    }
    return op.code();
}

SdkErrorCode VBox::createMachine(const std::wstring& settingsFile, const std::wstring& name, VBoxHandle* machine)
{
    Operation op(*this, L"Travik::VBox::createMachine", settingsFile, name);
    ComPtr<IVirtualBox> root;
    ComPtr<IMachine> created;
    if (op.ready(virtualBox, root)) {
        const ComString file(settingsFile);
        const ComString text(name);
        if (op.call(CreateMachineFail,
                    [&] { return root->CreateMachine(file.get(), text.get(), nullptr, nullptr, nullptr, &created); }))
            op.handOut(machineTable, created, machine);
    }
    return op.code();
}

SdkErrorCode VBox::cloneToMachine(VBoxHandle source, VBoxHandle target)
{
    Operation op(*this, L"Travik::VBox::cloneToMachine", source, target);
    ComPtr<IMachine> from;
    ComPtr<IMachine> to;
    ComPtr<IProgress> progress;
    if (op.find(machineTable, source, from) && op.find(machineTable, target, to) &&
        op.obtain(CloneMachineFail, progress,
                  [&] { return from->CloneTo(to.Get(), CloneMode::AllStates, nullptr, &progress); }))
        op.call(ProgressWaitForCompletionFail, [&] { return _waitForProgressCompletion(progress, L"cloneVm"); });
    return op.code();
}

SdkErrorCode VBox::deleteMachine(VBoxHandle machine)
{
    Operation op(*this, L"Travik::VBox::deleteMachine", machine);
    ComPtr<IMachine> object;
    ComArray media;
    ComPtr<IProgress> progress;
    if (op.find(machineTable, machine, object) &&
        op.call(MachineUnregisterFail,
                [&] { return object->Unregister(CleanupMode::DetachAllReturnHardDisksOnly, media.put()); }) &&
        op.obtain(MachineDeleteConfigFail, progress, [&] { return object->DeleteConfig(media.get(), &progress); }))
        op.call(ProgressWaitForCompletionFail, [&] { return _waitForProgressCompletion(progress, L"deleteVm"); });
    return op.code();
}

} // namespace Travik
