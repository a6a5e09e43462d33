#pragma once

#include <cstdint>
#include <ostream>
#include <source_location>
#include <string>
#include <string_view>

#include "log/log_stream.h"

namespace Travik {

/// The line of a place in the source, as records show it.
inline std::int32_t lineOf(std::source_location where)
{
    return static_cast<std::int32_t>(where.line());
}

/// The line of the call.
inline std::int32_t currentLine(std::source_location where = std::source_location::current())
{
    return lineOf(where);
}

/// Only Info and Error have a writer in the library.
namespace LogLevel {
enum : std::uint32_t
{
    Info = 0,
    Warn = 1,
    Error = 2,
    Fatal = 3
};
}

/// The log file; closed until setLogPath or initLogger names one. While it is closed the log goes to std::wcout.
extern LogFileStream logStream;

/// The path that reopenLogFile last opened logStream on, also when that failed.
extern std::wstring currentLogPath;

/// Starts one record; the caller appends its text to the returned stream and flushes it. Takes no lock: the
/// library's own records go through writeRecord.
class LogRecord
{
public:
    explicit LogRecord(std::uint32_t level) noexcept : level_(level) {}

    /// Ends the previous record with a line end and writes "[time][level] (function) <line> # ".
    std::wostream& logRecord(std::uint32_t level, std::int32_t line, const std::wstring& functionName);

private:
    [[maybe_unused]] std::uint32_t level_;
};

/// Writes one whole record. Any thread: a guard keeps records whole, and is held only while the text is written.
void writeRecord(std::uint32_t level, std::int32_t line, std::wstring_view functionName, const std::wstring& text);

/// Sends the log to the end of that file, unless it goes there already. A failure to open leaves the log on std::wcout.
void reopenLogFile(std::wstring path);

/// Starts a new log beside the program, in its folder vmsdk, in the user's locale; see logPathFor. Nothing calls it: it
/// is kept for programs that link the library statically.
void initLogger(std::wstring suffix);

} // namespace Travik
