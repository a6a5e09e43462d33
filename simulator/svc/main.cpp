// vboxsim-svc: the stand-in's server. COM starts it when a client asks for VirtualBox; it leaves some seconds after its
// last client. With --stay it waits for clients until it is stopped.
#include "com/call_frame.h"
#include "com/clients.h"
#include "host/scheduler.h"
#include "host/vm_life.h"
#include "host/world.h"
#include "identity.h"
#include "svc/class_objects.h"
#include "svc/control.h"

#include "base/files.h"
#include "base/text.h"

#include <windows.h>

#include <objbase.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string>

namespace VBoxSim {
namespace {

std::wstring environmentVariable(const wchar_t* name)
{
    std::wstring value(GetEnvironmentVariableW(name, nullptr, 0), L'\0');
    value.resize(GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size())));
    return value;
}

std::wstring homeFolder()
{
    const std::wstring own = environmentVariable(L"VBOXSIM_HOME");
    return own.empty() ? environmentVariable(L"USERPROFILE") + L"\\.VirtualBox" : own;
}

DWORD lingerMilliseconds()
{
    constexpr DWORD usual = 5000;
    const std::wstring own = environmentVariable(L"VBOXSIM_LINGER_MS");
    return own.empty() ? usual : static_cast<DWORD>(std::wcstoul(own.c_str(), nullptr, 10));
}

/// One server at a time: a second one, started by a client in the same moment, leaves the work to the first.
class OnlyServer
{
public:
    OnlyServer() : mutex_(CreateMutexW(nullptr, FALSE, serverMutexName)) {}
    ~OnlyServer()
    {
        if (owned_)
            ReleaseMutex(mutex_);
        CloseHandle(mutex_);
    }
    OnlyServer(const OnlyServer&) = delete;
    OnlyServer& operator=(const OnlyServer&) = delete;

    /// Waits a moment for a server that is about to leave.
    bool become()
    {
        const DWORD result = WaitForSingleObject(mutex_, 500);
        owned_ = result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
        return owned_;
    }

private:
    HANDLE mutex_;
    bool owned_ = false;
};

/// Whether nobody uses the server. A running machine's process does.
bool isIdle()
{
    if (Clients::instance().anyConnection() || serverLocks() != 0 || Scheduler::instance().isBusy())
        return false;
    const WorldLock lock(worldMutex());
    for (const MachinePtr& machine : World::instance().machines())
        if (machine->vm())
            return false;
    return true;
}

/// Returns true when nobody has used the server for the linger time, false when it was told to stop.
bool waitForTheEnd(DWORD linger)
{
    constexpr DWORD step = 50;
    ULONGLONG lastUse = GetTickCount64();
    while (linger == INFINITE || GetTickCount64() - lastUse < linger) {
        if (WaitForSingleObject(stopEvent(), step) == WAIT_OBJECT_0)
            return false;
        lastUse = isIdle() ? std::max(lastUse, Clients::lastCall()) : GetTickCount64();
    }
    return true;
}

/// Sets what the file that VBOXSIM_SCENARIO names says.
void loadScenario()
{
    const std::wstring file = environmentVariable(L"VBOXSIM_SCENARIO");
    if (file.empty())
        return;
    try {
        applyScenario(fromUtf8(Files::read(file)), World::instance().scenario(), faults());
    } catch (const Failure& failure) {
        std::fprintf(stderr, "vboxsim-svc: %s\n", toUtf8(failure.text()).c_str());
    }
}

int run(bool stay)
{
    OnlyServer only;
    if (!only.become())
        return 0;
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    // Every XML parser takes a random salt from this provider, which would be loaded and unloaded each time: under Wine
    // that cost seven milliseconds for each machine.
    LoadLibraryExW(L"rsaenh.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    {
        const WorldLock lock(worldMutex());
        World::instance().load(homeFolder());
        loadScenario();
    }
    Clients::instance().onGone([](DWORD process) {
        const WorldLock lock(worldMutex());
        dropClient(process);
    });
    Scheduler::instance().start();
    ClassObjects classes;
    const HRESULT offered = classes.offer();
    if (FAILED(offered)) {
        std::fprintf(stderr, "vboxsim-svc: COM does not take the classes (0x%08lx)\n",
                     static_cast<unsigned long>(offered));
        return 1;
    }
    if (stay) {
        std::puts("ready");
        std::fflush(stdout);
    }
    const DWORD linger = stay ? INFINITE : lingerMilliseconds();
    while (waitForTheEnd(linger)) {
        const ULONGLONG withdrawn = GetTickCount64();
        classes.withdraw();
        Sleep(150); // for a client that found the classes just before
        if ((isIdle() && Clients::lastCall() < withdrawn) || FAILED(classes.offer()))
            break;
    }
    return 0;
}

} // namespace
} // namespace VBoxSim

int wmain(int count, wchar_t** arguments)
{
    const bool stay = count > 1 && std::wstring(arguments[1]) == L"--stay";
    const int result = VBoxSim::run(stay);
    // Threads of COM may still be on their way; nothing is left that an orderly exit would save.
    std::fflush(nullptr);
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(result));
    return result;
}
