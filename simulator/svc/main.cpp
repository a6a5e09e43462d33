// vboxsim-svc: the stand-in's server. COM starts it when a client asks for VirtualBox; it leaves some seconds after its
// last client. With --stay it waits for clients until it is stopped.
#include <windows.h>
#include <objbase.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string>

#include "base/files.h"
#include "base/text.h"
#include "com/server.h"
#include "host/host.h"
#include "identity.h"
#include "svc/class_objects.h"

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

/// Sets what the file that VBOXSIM_SCENARIO names says.
void loadScenario(Host& host)
{
    const std::wstring file = environmentVariable(L"VBOXSIM_SCENARIO");
    if (file.empty())
        return;
    try {
        applyScenario(fromUtf8(Files::read(file)), host.scenario(), host.faults());
    } catch (const Failure& failure) {
        std::fprintf(stderr, "vboxsim-svc: %s\n", toUtf8(failure.text()).c_str());
    }
}

/// The server with all its parts; serves from its construction on.
class Service
{
public:
    Service()
        : host_({homeFolder(), environmentVariable(L"USERPROFILE"), GetCurrentProcessId()}, clock_, disk_),
          server_(host_),
          classes_(server_, [this] { SetEvent(stopEvent_); })
    {
        server_.beforeDeath = [this] { classes_.withdraw(); };
        {
            const HostLock lock = host_.lock();
            host_.load();
            loadScenario(host_);
        }
        server_.clients.onGone([this](DWORD process) {
            const HostLock lock = host_.lock();
            host_.dropClient(process);
            server_.cancelImportsOf(process);
        });
        host_.scheduler().start([] { CoInitializeEx(nullptr, COINIT_MULTITHREADED); });
    }

    HRESULT offer() { return classes_.offer(); }

    /// Serves until nobody has used the server for the linger time, or until it is told to stop.
    void serve(DWORD linger)
    {
        while (waitForTheEnd(linger)) {
            const ULONGLONG withdrawn = GetTickCount64();
            classes_.withdraw();
            Sleep(150); // for a client that found the classes just before
            if ((isIdle() && server_.clients.lastCall() < withdrawn) || FAILED(classes_.offer()))
                break;
        }
        classes_.withdraw(); // else Wine's COM would send clients here for ever
    }

private:
    /// Whether nobody uses the server. A running machine's process does.
    bool isIdle()
    {
        if (server_.clients.anyConnection() || classes_.locks() != 0)
            return false;
        const HostLock lock = host_.lock();
        return !host_.isBusy();
    }

    /// Returns true when nobody has used the server for the linger time, false when it was told to stop.
    bool waitForTheEnd(DWORD linger)
    {
        constexpr DWORD step = 50;
        ULONGLONG lastUse = GetTickCount64();
        while (linger == INFINITE || GetTickCount64() - lastUse < linger) {
            if (WaitForSingleObject(stopEvent_, step) == WAIT_OBJECT_0)
                return false;
            server_.clients.takeBack();
            lastUse = isIdle() ? std::max(lastUse, server_.clients.lastCall()) : GetTickCount64();
        }
        return true;
    }

    const HANDLE stopEvent_ = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    SystemClock clock_;
    Disk disk_;
    Host host_;
    Server server_;
    ClassObjects classes_;
};

int run(bool stay)
{
    OnlyServer only;
    if (!only.become())
        return 0;
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    // Every XML parser takes a random salt from this provider, which would be loaded and unloaded each time: under Wine
    // that cost seven milliseconds for each machine.
    LoadLibraryExW(L"rsaenh.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    static Service* const service = new Service; // threads may still be in calls when the process leaves
    const HRESULT offered = service->offer();
    if (FAILED(offered)) {
        std::fprintf(stderr, "vboxsim-svc: COM does not take the classes (0x%08lx)\n",
                     static_cast<unsigned long>(offered));
        return 1;
    }
    if (stay) {
        std::puts("ready");
        std::fflush(stdout);
    }
    service->serve(stay ? INFINITE : lingerMilliseconds());
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
