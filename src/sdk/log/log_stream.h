#pragma once

#include <windows.h>

#include <ios>
#include <locale>
#include <ostream>
#include <streambuf>
#include <string>

namespace Travik {

/// Collects wide text and writes it to a file at each flush: one system call per flush, at the end of the file whoever
/// else writes to it, line ends as CR LF, characters that the locale lacks as escapes (see appendEncoded). A standard
/// file buffer costs half as much again per record, and one character that it cannot convert silences it for good.
class LogFileBuffer final : public std::wstreambuf
{
public:
    LogFileBuffer() = default;
    LogFileBuffer(const LogFileBuffer&) = delete;
    LogFileBuffer& operator=(const LogFileBuffer&) = delete;
    ~LogFileBuffer() override { close(); }

    bool isOpen() const noexcept { return file_ != INVALID_HANDLE_VALUE; }

    /// Creates the file where there is none; trunc in mode empties it. Other programs may read and write it meanwhile.
    bool open(const std::wstring& path, std::ios_base::openmode mode);

    /// Writes what is left. False when that or the closing fails, or when no file is open.
    bool close();

protected:
    int_type overflow(int_type unit) override;
    std::streamsize xsputn(const wchar_t* units, std::streamsize count) override;
    int sync() override;

private:
    HANDLE file_ = INVALID_HANDLE_VALUE;
    std::wstring pending_;
    std::string bytes_; // kept for its memory
};

/// The wide output stream on such a file, with the open, is_open and close of std::wofstream.
class LogFileStream : public std::wostream
{
public:
    LogFileStream() : std::wostream(nullptr) { rdbuf(&buffer_); }

    bool is_open() const noexcept { return buffer_.isOpen(); }
    void open(const std::wstring& path, std::ios_base::openmode mode);
    void close();

private:
    LogFileBuffer buffer_;
};

} // namespace Travik
