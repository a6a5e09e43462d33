// Why VirtualBox cannot be reached, and what else may be wrong. The only verb that looks at registry and system itself.

#include <windows.h>

#include <objbase.h>
#include <tlhelp32.h>
#include <vbox_identity.h>

#include <filesystem>
#include <fstream>

#include "verbs.h"

using namespace Travik;

namespace {

#define TRAVIK_QUOTED(token) #token
#define TRAVIK_CLSID_TEXT(token) L"{" TRAVIK_QUOTED(token) "}"

const wchar_t* const serverClass = TRAVIK_CLSID_TEXT(TRAVIK_CLSID_VirtualBox);
const wchar_t* const sessionClass = TRAVIK_CLSID_TEXT(TRAVIK_CLSID_Session);
const wchar_t* const rootInterface = TRAVIK_CLSID_TEXT(TRAVIK_IID_IVirtualBox);
const wchar_t* const stockServerClass = TRAVIK_CLSID_TEXT(TRAVIK_STOCK61_CLSID_VirtualBox);

/// What the checks found, in order.
class Report
{
public:
    void good(const char* check, const std::string& finding) { add(check, "ok", finding, ""); }
    void hint(const char* check, const std::string& finding, const char* remedy)
    {
        add(check, "note", finding, remedy);
    }
    void bad(const char* check, const std::string& finding, const char* remedy)
    {
        add(check, "PROBLEM", finding, remedy);
        ++problems_;
    }

    const Json& rows() const { return rows_; }
    int problems() const { return problems_; }

private:
    void add(const char* check, const char* verdict, const std::string& finding, const char* remedy)
    {
        rows_.push_back({{"check", check}, {"verdict", verdict}, {"finding", finding}, {"remedy", remedy}});
    }

    Json rows_ = Json::array();
    int problems_ = 0;
};

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

const char* const installRemedy = "Install VirtualBox 6.1 of this build, or register the stand-in: vboxsim register.";
const char* const reinstallRemedy = "Repair the installation of VirtualBox, or register the stand-in again.";

/// A class and the program behind it. Returns the program when all is well.
std::filesystem::path checkClass(Report& report, const char* check, const wchar_t* id, const wchar_t* kind)
{
    const std::wstring key = std::wstring(L"CLSID\\") + id + L"\\" + kind;
    const std::optional<std::wstring> command = classValue(key);
    if (!command) {
        if (classValue(key, KEY_WOW64_32KEY))
            report.bad(check, "registered for 32-bit programs only", "Install the 64-bit VirtualBox.");
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
    if (!wide || !*wide) {
        report.bad(check, toUtf8(program.wstring()) + (wide ? " is a 32-bit program" : " is not a program file"),
                   "Install the 64-bit VirtualBox.");
        return {};
    }
    report.good(check, toUtf8(program.wstring()));
    return program;
}

void checkIdentity(Report& report)
{
#ifdef TRAVIK_IDENTITY_STOCK61
    const char* const identity = "stock61, the VirtualBox 6.1 that anyone can download";
#else
    const char* const identity = "selq6, the VirtualBox that comes with the emulator";
#endif
    const bool own = classValue(std::wstring(L"CLSID\\") + serverClass).has_value();
    const bool stock = classValue(std::wstring(L"CLSID\\") + stockServerClass).has_value();
    if (!own && stock)
        report.bad("identity", std::string("this build drives ") + identity + "; a stock VirtualBox is installed",
                   "Use a library built with TRAVIK_VBOX_IDENTITY=stock61 (VirtualBox 6.1 only).");
    else
        report.good("identity", identity);
}

void checkProxy(Report& report)
{
    if (classValue(std::wstring(L"Interface\\") + rootInterface + L"\\ProxyStubClsid32"))
        report.good("proxy", "the interfaces are registered");
    else
        report.bad("proxy", "IVirtualBox " + toUtf8(rootInterface) + " has no registered proxy", reinstallRemedy);
}

void checkApartment(Report& report)
{
    APTTYPE type;
    APTTYPEQUALIFIER qualifier;
    const HRESULT result = CoGetApartmentType(&type, &qualifier);
    if (result == CO_E_NOTINITIALIZED)
        report.bad("apartment", "COM is not initialised on this thread", "See the finding about VirtualBox.");
    else if (SUCCEEDED(result) && (type == APTTYPE_STA || type == APTTYPE_MAINSTA))
        report.good("apartment", "single-threaded, as the library makes it");
    else
        report.bad("apartment", "not single-threaded",
                   "Let the library's first call come from a thread that has not initialised COM otherwise.");
}

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

void checkElevation(Report& report, const std::filesystem::path& server)
{
    const std::string own = isElevated(GetCurrentProcess()).value_or(false) ? "elevated" : "not elevated";
    const DWORD id = server.empty() ? 0 : processOf(server);
    if (id == 0) {
        report.good("elevation", "this process is " + own + "; no server runs");
        return;
    }
    const HANDLE process = OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, id);
    const std::optional<bool> other = process == nullptr ? std::nullopt : isElevated(process);
    if (process != nullptr)
        CloseHandle(process);
    const char* const remedy = "Run all programs that use VirtualBox as the same user, all elevated or none.";
    if (!other)
        report.bad("elevation", "the server runs as another user or elevated, this process is " + own, remedy);
    else if (std::string(*other ? "elevated" : "not elevated") != own)
        report.bad("elevation",
                   "the server is " + std::string(*other ? "" : "not ") + "elevated, this process is " + own, remedy);
    else
        report.good("elevation", "this process and the server are " + own);
}

std::string explain(const SdkError& error)
{
    return toUtf8(error.codeName()) + ", " + hexadecimal(error.result()) + " " + toUtf8(error.resultName());
}

bool checkConnection(Report& report, const Context& context)
{
    try {
        connect(context.vbox, context.deadline, context.onWait());
        report.good("VirtualBox", "answers");
        return true;
    } catch (const SdkError& error) {
        report.bad("VirtualBox", "cannot be reached: " + explain(error),
                   error.result() == 0x80080005 ? "Close VirtualBox, wait some seconds, and try again."
                                                : "Cure the findings above first.");
        return false;
    }
}

void checkFolder(Report& report, const Context& context)
{
    try {
        const std::wstring folder = context.ask<std::wstring>(&VBoxInstanceImpl::getDefaultMachineFolder);
        std::error_code failure;
        if (std::filesystem::is_directory(folder, failure))
            report.good("machine folder", toUtf8(folder));
        else
            report.hint("machine folder", toUtf8(folder) + " does not exist yet",
                        "VirtualBox makes it with the first machine; 'travikctl folder set' chooses another.");
    } catch (const SdkError& error) {
        report.bad("machine folder", explain(error),
                   "VirtualBox answers but fails: it may be of another version than 6.1.");
    }
}

void checkMachines(Report& report, const Context& context)
{
    try {
        std::size_t broken = 0;
        const std::vector<MachineEntry> machines = listMachines(context.vbox);
        for (const MachineEntry& entry : machines)
            broken += entry.accessible ? 0 : 1;
        const std::string count = std::to_string(machines.size()) + " registered";
        if (broken == 0)
            report.good("machines", count);
        else
            report.hint("machines", count + ", " + std::to_string(broken) + " inaccessible",
                        "'travikctl list' marks them: put the settings file back, or delete the machine by its UUID.");
    } catch (const SdkError& error) {
        report.bad("machines", explain(error), "VirtualBox answers but fails: it may be of another version than 6.1.");
    }
}

void print(Context& context, const Report& report)
{
    context.out.table("checks", {"check", "verdict", "finding"}, report.rows());
    if (context.out.json())
        return;
    for (const Json& row : report.rows()) {
        if (!plain(row["remedy"]).empty())
            context.out.note(plain(row["check"]) + ": " + plain(row["remedy"]));
    }
}

void examine(Context& context)
{
    Report report;
    report.good("travikctl", "version " TRAVIK_VERSION ", 64 bit");
    checkIdentity(report);
    const std::filesystem::path server = checkClass(report, "server class", serverClass, L"LocalServer32");
    checkClass(report, "session class", sessionClass, L"InprocServer32");
    checkProxy(report);
    checkElevation(report, server);
    if (checkConnection(report, context)) {
        checkApartment(report);
        checkFolder(report, context);
        checkMachines(report, context);
    }
    print(context, report);
    if (report.problems() != 0)
        context.exitCode = ExitCode::Findings;
}

} // namespace

void addDoctorVerb(Verbs& verbs)
{
    verbs.add("doctor", "Check the installation of VirtualBox and name the remedy of each finding", examine);
    verbs.withoutVirtualBox();
}
