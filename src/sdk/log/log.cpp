#include "log/log.h"

#include <windows.h>

#include <iostream>
#include <mutex>

#ifdef _MSC_VER
#include <share.h>
#endif

#include "log/log_text.h"

namespace Travik {

std::wofstream logStream;
std::wstring currentLogPath;

namespace {

// Some records are written without the instance's mutex (the wait for a progress, createVmName, the exported file
// helper); two threads on one unguarded stream lose half of their records.
std::mutex writerGuard;

const wchar_t* levelText(std::uint32_t level)
{
    switch (level) {
    case LogLevel::Info:
        return L"INFO";
    case LogLevel::Warn:
        return L"WARN";
    case LogLevel::Error:
        return L"ERROR";
    case LogLevel::Fatal:
        return L"FATAL";
    default:
        return L"";
    }
}

std::wostream& destination()
{
    if (logStream.is_open())
        return logStream;
    return std::wcout;
}

std::wstring escapeForDestination(const std::wstring& text)
{
    return logStream.is_open() ? escapeForLocale(text, logStream.getloc()) : escapeForConsole(text);
}

/// Other programs may read and write the file meanwhile.
void openShared(const std::wstring& path, std::ios_base::openmode mode)
{
#ifdef _MSC_VER
    logStream.open(path.c_str(), mode, _SH_DENYNO);
#else
    logStream.open(path.c_str(), mode); // denies nothing, like every file that libstdc++ opens
#endif
}

void endLogFile()
{
    logStream << L'\n' << std::flush;
    logStream.close();
}

} // namespace

std::wostream& LogRecord::logRecord(std::uint32_t level, std::int32_t line, const std::wstring& functionName)
{
    std::wostream& stream = destination();
    stream << L'\n' << std::flush;
    stream << L'[' << timeStamp() << L"][" << levelText(level) << L"] (" << functionName << L") <"
           << std::to_wstring(line) << L"> # " << std::flush;
    return stream;
}

void writeRecord(std::uint32_t level, std::int32_t line, const std::wstring& functionName, const std::wstring& text)
{
    const std::lock_guard guard(writerGuard);
    destination().clear(); // a full disk or a closed pipe costs the records it swallowed, not all later ones
    LogRecord(level).logRecord(level, line, functionName) << escapeForDestination(text) << std::flush;
}

void reopenLogFile(std::wstring path)
{
    const bool samePath = path == currentLogPath;
    if (logStream.is_open() && !samePath)
        endLogFile();
    if (!logStream.is_open()) {
        openShared(path, std::ios_base::out | std::ios_base::app);
        currentLogPath = std::move(path);
    }
}

void initLogger(std::wstring suffix)
{
    wchar_t buffer[260] = {};
    const DWORD length = GetModuleFileNameW(nullptr, buffer, static_cast<DWORD>(std::size(buffer)));
    const std::wstring path = length == 0 ? suffix : logPathFor(std::wstring(buffer, length), suffix);
    if (logStream.is_open()) {
        if (path == currentLogPath)
            return;
        endLogFile();
    }
    openShared(path, std::ios_base::out | std::ios_base::trunc);
    logStream.imbue(userTextLocale());
    destination() << L'\n' << L'[' << timeStamp() << L"] initLogger " << escapeForDestination(suffix) << std::flush;
    logStream.close();
    reopenLogFile(path);
}

} // namespace Travik
