#include "automation/safe_array.h"
#include "selq6/vbox.h"

// The library's one session: launching, locking, the console and its state.

namespace Travik {

SdkErrorCode VBox::launchVMProcess(VBoxHandle machine, const std::wstring& type,
                                   std::list<std::wstring> environmentChanges, VBoxHandle* progress)
{
    const std::wstring firstChange = environmentChanges.empty() ? std::wstring() : environmentChanges.front();
    Operation op(*this, L"Travik::VBox::launchVMProcess", machine, type, firstChange);
    ComPtr<IMachine> object;
    const ComPtr<ISession> root(session); // without one VirtualBox says why
    ComPtr<IProgress> started;
    if (op.find(machineTable, machine, object)) {
        const ComString frontEnd(type);
        const ComArray environment(toTextArray(environmentChanges));
        if (op.call(LaunchVMProcessFail,
                    [&] { return object->LaunchVMProcess(root.Get(), frontEnd.get(), environment.get(), &started); }))
            op.handOut(progressTable, started, progress);
    }
    return op.code();
}

SdkErrorCode VBox::lockMachine(VBoxHandle machine, std::uint32_t lockType)
{
    Operation op(*this, L"Travik::VBox::lockMachine", machine, lockType);
    ComPtr<IMachine> object;
    const ComPtr<ISession> root(session); // without one VirtualBox says why
    if (op.find(machineTable, machine, object))
        op.call(LockMachineFail, [&] { return object->LockMachine(root.Get(), lockType); });
    return op.code();
}

SdkErrorCode VBox::unlockMachine()
{
    Operation op(*this, L"Travik::VBox::unlockMachine");
    ComPtr<ISession> root;
    if (op.ready(session, root))
        op.call(UnlockMachineFail, [&] { return root->UnlockMachine(); });
    return op.code();
}

SdkErrorCode VBox::machineGetState(VBoxHandle machine, std::uint32_t* state)
{
    Operation op(*this, L"Travik::VBox::machineGetState", machine);
    ComPtr<IMachine> object;
    ULONG value = 0;
    if (op.find(machineTable, machine, object) &&
        op.call(MachineGetStateFail, [&] { return object->get_State(&value); }))
        op.returnNumber(L"return state = ", value, state);
    return op.code();
}

SdkErrorCode VBox::powerDown(VBoxHandle console, VBoxHandle* progress)
{
    Operation op(*this, L"Travik::VBox::powerDown", console);
    ComPtr<IConsole> object;
    ComPtr<IProgress> started;
    if (op.find(consoleTable, console, object) && op.call(PowerDownFail, [&] { return object->PowerDown(&started); }))
        op.handOut(progressTable, started, progress);
    return op.code();
}

SdkErrorCode VBox::getConsole(VBoxHandle* console)
{
    Operation op(*this, L"Travik::VBox::getConsole");
    ComPtr<ISession> root;
    ComPtr<IConsole> object;
    if (op.ready(session, root) && op.call(GetConsoleFail, [&] { return root->get_Console(&object); }))
        op.handOut(consoleTable, object, console);
    return op.code();
}

SdkErrorCode VBox::consoleGetState(VBoxHandle console, std::uint32_t* state)
{
    Operation op(*this, L"Travik::VBox::consoleGetState", console);
    ComPtr<IConsole> object;
    ULONG value = 0;
    if (op.find(consoleTable, console, object) &&
        op.call(ConsoleGetStateFail, [&] { return object->get_State(&value); }))
        op.returnNumber(L"return state = ", value, state);
    return op.code();
}

SdkErrorCode VBox::consoleResume(VBoxHandle console)
{
    Operation op(*this, L"Travik::VBox::consoleResume", console);
    ComPtr<IConsole> object;
    if (op.find(consoleTable, console, object))
        op.call(ConsoleResumeFail, [&] { return object->Resume(); });
    return op.code();
}

} // namespace Travik
