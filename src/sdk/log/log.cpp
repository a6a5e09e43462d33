#include "log/log.h"

#include <windows.h>

#include <iostream>
#include <mutex>

#include "log/log_text.h"

namespace Travik {

LogFileStream logStream;
std::wstring currentLogPath;

namespace {

// Some records are written without the instance's mutex (the wait for a progress, createVmName, the exported file
// helper); two threads on one unguarded stream lose half of their records.
std::mutex writerGuard;
std::wstring headerBuffer; // of writeRecord, guarded by it: kept for its memory
TimeStamp timeStamp;       // the same

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

/// The file escapes for itself, the console does not.
void writeText(std::wostream& stream, const std::wstring& text)
{
    if (&stream == &logStream)
        stream << text << std::flush;
    else
        stream << escapeForConsole(text) << std::flush;
}

/// Ends the previous record and writes the header of the next one, which buffer receives first: as one text, for each
/// insertion into a stream has its price.
void startRecord(std::wostream& stream, std::wstring& buffer, TimeStamp& time, std::uint32_t level, std::int32_t line,
                 std::wstring_view functionName)
{
    stream << L'\n' << std::flush;
    buffer = L'[';
    (((buffer += time.now()) += L"][") += levelText(level)) += L"] (";
    (((buffer += functionName) += L") <") += recordText(line)) += L"> # ";
    stream << buffer << std::flush;
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
    std::wstring header;
    TimeStamp time;
    startRecord(stream, header, time, level, line, functionName);
    return stream;
}

void writeRecord(std::uint32_t level, std::int32_t line, std::wstring_view functionName, const std::wstring& text)
{
    const std::lock_guard guard(writerGuard);
    std::wostream& stream = destination();
    stream.clear(); // a full disk or a closed pipe costs the records it swallowed, not all later ones
    startRecord(stream, headerBuffer, timeStamp, level, line, functionName);
    writeText(stream, text);
}

void reopenLogFile(std::wstring path)
{
    const bool samePath = path == currentLogPath;
    if (logStream.is_open() && !samePath)
        endLogFile();
    if (!logStream.is_open()) {
        logStream.open(path, std::ios_base::app);
        currentLogPath = std::move(path);
    }
}

void initLogger(std::wstring suffix) // NOLINT(performance-unnecessary-value-param): its signature is fixed
{
    wchar_t buffer[260] = {};
    const DWORD length = GetModuleFileNameW(nullptr, buffer, static_cast<DWORD>(std::size(buffer)));
    const std::wstring path = length == 0 ? suffix : logPathFor(std::wstring(buffer, length), suffix);
    if (logStream.is_open()) {
        if (path == currentLogPath)
            return;
        endLogFile();
    }
    logStream.open(path, std::ios_base::trunc);
    logStream.imbue(userTextLocale());
    writeText(destination(), L"\n[" + TimeStamp().now() + L"] initLogger " + suffix);
    logStream.close();
    reopenLogFile(path);
}

} // namespace Travik
