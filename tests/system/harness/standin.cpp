#include "standin.h"

#include <stdexcept>

#include "automation/com_string.h"
#include "control.h"
#include "scratch.h"

namespace TravikTest {
namespace {

constexpr const wchar_t* serverName = L"vboxsim-svc.exe";

std::wstring serverKey()
{
    wchar_t classId[64];
    StringFromGUID2(CLSID_VirtualBox, classId, 64);
    return std::wstring(L"CLSID\\") + classId + L"\\LocalServer32";
}

std::wstring registeredServer()
{
    wchar_t value[1024] = L"";
    DWORD size = sizeof(value);
    RegGetValueW(HKEY_CLASSES_ROOT, serverKey().c_str(), nullptr, RRF_RT_REG_SZ, nullptr, value, &size);
    return value;
}

/// Whether vboxsim.exe is newer than what stands in the registry: an older one may have known fewer classes.
bool registrationIsOlder()
{
    FILETIME registered{};
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, serverKey().c_str(), 0, KEY_READ, &key) == ERROR_SUCCESS) {
        RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                         &registered);
        RegCloseKey(key);
    }
    WIN32_FILE_ATTRIBUTE_DATA program{};
    GetFileAttributesExW((productFolder() / L"vboxsim.exe").c_str(), GetFileExInfoStandard, &program);
    return CompareFileTime(&registered, &program.ftLastWriteTime) < 0;
}

void runStandIn(const std::wstring& verb)
{
    ChildProcess program(productFolder() / L"vboxsim.exe", {verb});
    const auto exitCode = program.wait();
    if (exitCode != DWORD(0))
        throw std::runtime_error("vboxsim " + utf8(verb) + " failed: " + program.restOfOutput());
}

void setVariable(const wchar_t* name, const std::wstring& value)
{
    if (!SetEnvironmentVariableW(name, value.c_str()))
        throw std::runtime_error("SetEnvironmentVariable failed");
}

} // namespace

void registerStandIn()
{
    const std::wstring server = (productFolder() / serverName).wstring();
    if (registeredServer().find(server) == std::wstring::npos || registrationIsOlder())
        runStandIn(L"register");
}

void unregisterStandIn()
{
    if (!registeredServer().empty())
        runStandIn(L"unregister");
}

DWORD serverProcess()
{
    const std::vector<DWORD> servers = processesNamed(serverName);
    if (servers.size() > 1)
        throw std::runtime_error("more than one server runs");
    return servers.empty() ? 0 : servers.front();
}

std::unique_ptr<ChildProcess> startServer()
{
    auto server = std::make_unique<ChildProcess>(productFolder() / serverName, std::vector<std::wstring>{L"--stay"});
    const std::wstring line = server->readLine();
    if (line != L"ready")
        throw std::runtime_error("the server does not start, it says: " + utf8(line));
    return server;
}

bool stopServer()
{
    if (serverProcess() == 0)
        return true;
    try {
        Control().stop();
    } catch (const std::runtime_error&) {
        // It may have been leaving by itself, or it answers no more; what counts is whether it goes.
    }
    return soon([] { return serverProcess() == 0; });
}

void killServer()
{
    if (serverProcess() == 0)
        throw std::runtime_error("there is no server to kill");
    // Ordered from the server itself: under Wine a process that is killed from outside stays registered with COM, and
    // nobody finds its successor.
    Control().dieIn(L"IVirtualBox::get_Version");
    Microsoft::WRL::ComPtr<IVirtualBox> client;
    if (SUCCEEDED(CoCreateInstance(CLSID_VirtualBox, nullptr, CLSCTX_LOCAL_SERVER, IID_PPV_ARGS(&client)))) {
        Travik::ComString version;
        client->get_Version(version.put());
    }
    if (!soon([] { return serverProcess() == 0; }))
        throw std::runtime_error("the server lives on");
}

// The server is started by this process, or by COM on behalf of it or of a child of it, and inherits the environment.

void setWorld(const std::filesystem::path& home)
{
    setVariable(L"VBOXSIM_HOME", home.wstring());
}

void setLinger(milliseconds time)
{
    setVariable(L"VBOXSIM_LINGER_MS", std::to_wstring(time.count()));
}

} // namespace TravikTest
