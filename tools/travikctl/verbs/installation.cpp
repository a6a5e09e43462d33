#include "installation.h"

#include <windows.h>
#include <objbase.h>
#include <tlhelp32.h>
#include <vbox_identity.h>

#include <fstream>

#include "core/text.h"

#define TRAVIK_QUOTED(token) #token
#define TRAVIK_GUID_TEXT(token) L"{" TRAVIK_QUOTED(token) "}"

const Identity selq6Identity{
    "selq6", "the VirtualBox that comes with the emulator", TRAVIK_GUID_TEXT(TRAVIK_SELQ6_CLSID_VirtualBox),
    TRAVIK_GUID_TEXT(TRAVIK_SELQ6_CLSID_Session), TRAVIK_GUID_TEXT(TRAVIK_SELQ6_IID_IVirtualBox)};
const Identity stock61Identity{
    "stock61", "the VirtualBox 6.1 that anyone can download", TRAVIK_GUID_TEXT(TRAVIK_STOCK61_CLSID_VirtualBox),
    TRAVIK_GUID_TEXT(TRAVIK_STOCK61_CLSID_Session), TRAVIK_GUID_TEXT(TRAVIK_STOCK61_IID_IVirtualBox)};

namespace {

/// The default value of a key below HKEY_CLASSES_ROOT; nothing when the key is not there.
std::optional<std::wstring> classValue(const std::wstring& key, DWORD view = KEY_WOW64_64KEY)
{
    HKEY handle = nullptr;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, key.c_str(), 0, KEY_QUERY_VALUE | view, &handle) != ERROR_SUCCESS)
        return std::nullopt;
    wchar_t value[1024] = {};
    DWORD size = sizeof(value) - sizeof(wchar_t);
    const LSTATUS status = RegQueryValueExW(handle, nullptr, nullptr, nullptr, reinterpret_cast<BYTE*>(value), &size);
    RegCloseKey(handle);
    return status == ERROR_SUCCESS ? std::wstring(value) : std::wstring();
}

bool isRegistered(const wchar_t* classId)
{
    return classValue(std::wstring(L"CLSID\\") + classId).has_value();
}

/// The program of a registered command line: the quoted part, else what ends in ".exe" or ".dll".
std::filesystem::path programOf(const std::wstring& command)
{
    if (!command.empty() && command.front() == L'"')
        return command.substr(1, command.find(L'"', 1) - 1);
    std::size_t end = command.find(L".exe");
    if (end == std::wstring::npos)
        end = command.find(L".dll");
    return end == std::wstring::npos ? command : command.substr(0, end + 4);
}

/// Whether a program file is for 64-bit processors; nothing when it is no program file.
std::optional<bool> is64Bit(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    IMAGE_DOS_HEADER dos{};
    DWORD signature = 0;
    IMAGE_FILE_HEADER header{};
    stream.read(reinterpret_cast<char*>(&dos), sizeof(dos));
    stream.seekg(dos.e_lfanew);
    stream.read(reinterpret_cast<char*>(&signature), sizeof(signature));
    stream.read(reinterpret_cast<char*>(&header), sizeof(header));
    if (!stream || dos.e_magic != IMAGE_DOS_SIGNATURE || signature != IMAGE_NT_SIGNATURE)
        return std::nullopt;
    return header.Machine == IMAGE_FILE_MACHINE_AMD64;
}

const char* const bitnessRemedy = "Install the 64-bit VirtualBox.";
const char* const installRemedy = "Install VirtualBox 6.1 of this build, or register the stand-in: vboxsim register.";
const char* const reinstallRemedy = "Repair the installation of VirtualBox, or register the stand-in again.";

/// A class and the program behind it. Returns the program when all is well.
std::filesystem::path checkClass(Report& report, const char* check, const wchar_t* id, const wchar_t* kind)
{
    const std::wstring key = std::wstring(L"CLSID\\") + id + L"\\" + kind;
    const std::optional<std::wstring> command = classValue(key);
    if (!command) {
        if (classValue(key, KEY_WOW64_32KEY))
            report.bad(check, "registered for 32-bit programs only", bitnessRemedy);
        else
            report.bad(check, toUtf8(id) + " is not registered", installRemedy);
        return {};
    }
    const std::filesystem::path program = programOf(*command);
    std::error_code failure;
    if (!std::filesystem::exists(program, failure)) {
        report.bad(check, "its file is missing: " + toUtf8(program.wstring()), reinstallRemedy);
        return {};
    }
    const std::optional<bool> wide = is64Bit(program);
    if (!wide) {
        report.bad(check, toUtf8(program.wstring()) + " is not a program file", reinstallRemedy);
        return {};
    }
    if (!*wide) {
        report.bad(check, toUtf8(program.wstring()) + " is a 32-bit program", bitnessRemedy);
        return {};
    }
    report.good(check, toUtf8(program.wstring()));
    return program;
}

void checkIdentity(Report& report, const Identity& own, const Identity& other)
{
    const std::string drives = std::string("this build drives ") + own.name + ", " + own.description;
    const std::string otherIs = std::string(other.name) + ", " + other.description + ", is registered";
    const bool otherRegistered = isRegistered(other.serverClass);
    if (otherRegistered && !isRegistered(own.serverClass))
        report.bad("identity", drives + "; but " + otherIs,
                   std::string("Use a library built with TRAVIK_VBOX_IDENTITY=") + other.name + ", or install " +
                       own.description + ".");
    else
        report.good("identity", drives + (otherRegistered ? "; " + otherIs + " too" : ""));
}

void checkProxy(Report& report, const Identity& own)
{
    if (classValue(std::wstring(L"Interface\\") + own.rootInterface + L"\\ProxyStubClsid32"))
        report.good("proxy", "the interfaces are registered");
    else
        report.bad("proxy", "IVirtualBox " + toUtf8(own.rootInterface) + " has no registered proxy", reinstallRemedy);
}

} // namespace

std::filesystem::path checkInstallation(Report& report, const Identity& own, const Identity& other)
{
    checkIdentity(report, own, other);
    const std::filesystem::path server = checkClass(report, "server class", own.serverClass, L"LocalServer32");
    checkClass(report, "session class", own.sessionClass, L"InprocServer32");
    checkProxy(report, own);
    return server;
}

void checkApartment(Report& report)
{
    APTTYPE type = APTTYPE_CURRENT;
    APTTYPEQUALIFIER qualifier = APTTYPEQUALIFIER_NONE;
    const HRESULT result = CoGetApartmentType(&type, &qualifier);
    if (result == CO_E_NOTINITIALIZED)
        report.bad("apartment", "COM is not initialised on this thread",
                   "Let a call of the library be the first, on the thread that makes all of them.");
    else if (SUCCEEDED(result) && (type == APTTYPE_STA || type == APTTYPE_MAINSTA))
        report.good("apartment", "single-threaded, as the library makes it");
    else
        report.bad("apartment", "not single-threaded",
                   "Let the library's first call come from a thread that has not initialised COM otherwise.");
}

namespace {

/// Whether a process runs elevated; nothing when it cannot be asked.
std::optional<bool> isElevated(HANDLE process)
{
    HANDLE token = nullptr;
    if (!OpenProcessToken(process, TOKEN_QUERY, &token))
        return std::nullopt;
    TOKEN_ELEVATION elevation{};
    DWORD size = sizeof(elevation);
    const BOOL known = GetTokenInformation(token, TokenElevation, &elevation, sizeof(elevation), &size);
    CloseHandle(token);
    return known ? std::make_optional(elevation.TokenIsElevated != 0) : std::nullopt;
}

/// The running process of a program; 0 when there is none.
DWORD processOf(const std::filesystem::path& program)
{
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    DWORD found = 0;
    for (BOOL more = Process32FirstW(snapshot, &entry); more && found == 0; more = Process32NextW(snapshot, &entry)) {
        if (_wcsicmp(entry.szExeFile, program.filename().c_str()) == 0)
            found = entry.th32ProcessID;
    }
    CloseHandle(snapshot);
    return found;
}

} // namespace

Elevation elevationBeside(const std::filesystem::path& server)
{
    Elevation elevation;
    elevation.own = isElevated(GetCurrentProcess()).value_or(false);
    const DWORD id = server.empty() ? 0 : processOf(server);
    elevation.serverRuns = id != 0;
    if (const HANDLE process = id == 0 ? nullptr : OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, id)) {
        elevation.server = isElevated(process);
        CloseHandle(process);
    }
    return elevation;
}

void checkElevation(Report& report, const Elevation& elevation)
{
    const auto named = [](bool elevated) { return std::string(elevated ? "elevated" : "not elevated"); };
    const char* const remedy = "Run all programs that use VirtualBox as the same user, all elevated or none.";
    const std::string own = "this process is " + named(elevation.own);
    if (!elevation.serverRuns)
        report.good("elevation", own + "; no server runs");
    else if (!elevation.server)
        report.bad("elevation", own + ", the server runs as another user or elevated", remedy);
    else if (*elevation.server != elevation.own)
        report.bad("elevation", own + ", the server is " + named(*elevation.server), remedy);
    else
        report.good("elevation", own + ", and so is the server");
}
