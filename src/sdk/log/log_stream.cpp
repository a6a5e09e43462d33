#include "log/log_stream.h"

#include "log/log_text.h"

namespace Travik {

bool LogFileBuffer::open(const std::wstring& path, std::ios_base::openmode mode)
{
    if (isOpen())
        return false;
    const DWORD disposition = (mode & std::ios_base::trunc) != 0 ? CREATE_ALWAYS : OPEN_ALWAYS;
    file_ = CreateFileW(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, disposition,
                        FILE_ATTRIBUTE_NORMAL, nullptr);
    return isOpen();
}

bool LogFileBuffer::close()
{
    if (!isOpen())
        return false;
    const bool written = sync() == 0;
    const bool closed = CloseHandle(file_) != FALSE;
    file_ = INVALID_HANDLE_VALUE;
    return written && closed;
}

LogFileBuffer::int_type LogFileBuffer::overflow(int_type unit)
{
    if (!isOpen())
        return traits_type::eof();
    if (!traits_type::eq_int_type(unit, traits_type::eof()))
        pending_ += traits_type::to_char_type(unit);
    return traits_type::not_eof(unit);
}

std::streamsize LogFileBuffer::xsputn(const wchar_t* units, std::streamsize count)
{
    if (!isOpen())
        return 0;
    pending_.append(units, static_cast<std::size_t>(count));
    return count;
}

int LogFileBuffer::sync()
{
    if (pending_.empty())
        return 0;
    bytes_.clear();
    appendEncoded(bytes_, pending_, getloc());
    pending_.clear(); // what a full disk refuses is lost; what follows is not held up by it
    DWORD written = 0;
    const bool done = WriteFile(file_, bytes_.data(), static_cast<DWORD>(bytes_.size()), &written, nullptr) != FALSE;
    return done && written == bytes_.size() ? 0 : -1;
}

void LogFileStream::open(const std::wstring& path, std::ios_base::openmode mode)
{
    if (buffer_.open(path, mode))
        clear();
    else
        setstate(std::ios_base::failbit);
}

void LogFileStream::close()
{
    if (!buffer_.close())
        setstate(std::ios_base::failbit);
}

} // namespace Travik
