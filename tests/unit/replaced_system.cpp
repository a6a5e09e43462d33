#include "replaced_system.h"

#include <windows.h>

#include <algorithm>
#include <ctime>
#include <utility>

namespace TravikTest {
namespace {

const ProgramPath* programPath = nullptr;
unsigned codePage = 0; // 0: the system's
bool diskIsFull = false;
bool clockIsSet = false;
std::int64_t clockSeconds = 0;

template <class Function>
Function* systemFunction(const char* name)
{
    return reinterpret_cast<Function*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), name)));
}

DWORD WINAPI moduleFileName(HMODULE module, LPWSTR buffer, DWORD size)
{
    if (!programPath || module)
        return systemFunction<decltype(moduleFileName)>("GetModuleFileNameW")(module, buffer, size);
    const std::wstring& path = programPath->path();
    const DWORD length = std::min(size, static_cast<DWORD>(path.size()));
    std::copy_n(path.data(), length, buffer);
    return length;
}

UINT WINAPI ansiCodePage()
{
    return codePage != 0 ? codePage : systemFunction<decltype(ansiCodePage)>("GetACP")();
}

BOOL WINAPI writeFile(HANDLE file, LPCVOID bytes, DWORD count, LPDWORD written, LPOVERLAPPED overlapped)
{
    if (!diskIsFull)
        return systemFunction<decltype(writeFile)>("WriteFile")(file, bytes, count, written, overlapped);
    *written = 0;
    SetLastError(ERROR_DISK_FULL);
    return FALSE;
}

__time64_t readClock(__time64_t* out)
{
    using Function = __time64_t(__time64_t*);
    static auto* const original = reinterpret_cast<Function*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"msvcrt.dll"), "_time64")));
    const __time64_t seconds = clockIsSet ? clockSeconds : original(nullptr);
    if (out)
        *out = seconds;
    return seconds;
}

void WINAPI readFileTime(FILETIME* out)
{
    if (!clockIsSet) {
        systemFunction<decltype(readFileTime)>("GetSystemTimeAsFileTime")(out);
        return;
    }
    constexpr std::int64_t from1601To1970 = 11'644'473'600;
    const std::int64_t time = (clockSeconds + from1601To1970) * 10'000'000;
    out->dwLowDateTime = static_cast<DWORD>(time);
    out->dwHighDateTime = static_cast<DWORD>(time >> 32);
}

} // namespace

ProgramPath::ProgramPath(std::wstring path) : path_(std::move(path)), before_(std::exchange(programPath, this)) {}

ProgramPath::~ProgramPath()
{
    programPath = before_;
}

CodePage::CodePage(unsigned number)
{
    codePage = number;
}

CodePage::~CodePage()
{
    codePage = 0;
}

FullDisk::FullDisk()
{
    diskIsFull = true;
}

FullDisk::~FullDisk()
{
    diskIsFull = false;
}

Clock::Clock(std::int64_t seconds)
{
    clockIsSet = true;
    clockSeconds = seconds;
}

Clock::~Clock()
{
    clockIsSet = false;
}

} // namespace TravikTest

// Calls of an imported function go through these pointers. The linker takes ours before it looks into the system's
// import library.
extern "C" {
decltype(&TravikTest::moduleFileName) __imp_GetModuleFileNameW = &TravikTest::moduleFileName;
decltype(&TravikTest::ansiCodePage) __imp_GetACP = &TravikTest::ansiCodePage;
decltype(&TravikTest::writeFile) __imp_WriteFile = &TravikTest::writeFile;
decltype(&TravikTest::readClock) __imp__time64 = &TravikTest::readClock;
decltype(&TravikTest::readFileTime) __imp_GetSystemTimeAsFileTime = &TravikTest::readFileTime;
}
