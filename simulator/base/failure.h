#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <utility>

namespace VBoxSim {

/// A COM result code, as VirtualBox's calls return it.
using ResultCode = std::int32_t;

/// The result codes that VirtualBox's calls fail with.
namespace Result {
constexpr ResultCode make(std::uint32_t value)
{
    return static_cast<ResultCode>(value);
}
constexpr ResultCode ok = 0;
constexpr ResultCode objectNotFound = make(0x80BB0001);
constexpr ResultCode invalidVmState = make(0x80BB0002);
constexpr ResultCode vmError = make(0x80BB0003);
constexpr ResultCode fileError = make(0x80BB0004);
constexpr ResultCode iprtError = make(0x80BB0005);
constexpr ResultCode invalidObjectState = make(0x80BB0007);
constexpr ResultCode notSupported = make(0x80BB0009);
constexpr ResultCode xmlError = make(0x80BB000A);
constexpr ResultCode objectInUse = make(0x80BB000C);
constexpr ResultCode maximumReached = make(0x80BB000E);
constexpr ResultCode unexpected = make(0x8000FFFF);
constexpr ResultCode notImplemented = make(0x80004001);
constexpr ResultCode pointer = make(0x80004003);
constexpr ResultCode fail = make(0x80004005);
constexpr ResultCode accessDenied = make(0x80070005);
constexpr ResultCode outOfMemory = make(0x8007000E);
constexpr ResultCode invalidArgument = make(0x80070057);
constexpr ResultCode serverUnavailable = make(0x800706BA);
constexpr ResultCode callFailed = make(0x800706BE);
} // namespace Result

/// Whatever goes wrong: the result code that the client gets, and the text of its error object.
class Failure : public std::exception
{
public:
    Failure(ResultCode code, std::wstring text) : code_(code), text_(std::move(text)) {}

    ResultCode code() const noexcept { return code_; }
    const std::wstring& text() const noexcept { return text_; }
    const char* what() const noexcept override { return "VBoxSim::Failure"; }

private:
    ResultCode code_;
    std::wstring text_;
};

/// Work that ended because the client canceled it.
class Canceled : public Failure
{
public:
    Canceled() : Failure(Result::fail, L"The operation was canceled") {}
};

} // namespace VBoxSim
