#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <utility>

#include "travik/vbox_types.h"

namespace VBoxSim {

/// A COM result code, as VirtualBox's calls return it.
using ResultCode = std::int32_t;

/// The result codes that VirtualBox's calls fail with, signed as COM has them.
namespace Result {
constexpr ResultCode ok = ResultCode(Travik::Result::Ok);
constexpr ResultCode objectNotFound = ResultCode(Travik::Result::ObjectNotFound);
constexpr ResultCode invalidVmState = ResultCode(Travik::Result::InvalidVMState);
constexpr ResultCode vmError = ResultCode(Travik::Result::VMError);
constexpr ResultCode fileError = ResultCode(Travik::Result::FileError);
constexpr ResultCode iprtError = ResultCode(Travik::Result::IPRTError);
constexpr ResultCode invalidObjectState = ResultCode(Travik::Result::InvalidObjectState);
constexpr ResultCode notSupported = ResultCode(Travik::Result::NotSupported);
constexpr ResultCode xmlError = ResultCode(Travik::Result::XMLError);
constexpr ResultCode objectInUse = ResultCode(Travik::Result::ObjectInUse);
constexpr ResultCode maximumReached = ResultCode(Travik::Result::MaximumReached);
constexpr ResultCode unexpected = ResultCode(Travik::Result::Unexpected);
constexpr ResultCode notImplemented = ResultCode(Travik::Result::NotImpl);
constexpr ResultCode pointer = ResultCode(Travik::Result::Pointer);
constexpr ResultCode fail = ResultCode(Travik::Result::Fail);
constexpr ResultCode accessDenied = ResultCode(Travik::Result::AccessDenied);
constexpr ResultCode outOfMemory = ResultCode(Travik::Result::OutOfMemory);
constexpr ResultCode invalidArgument = ResultCode(Travik::Result::InvalidArg);
constexpr ResultCode serverUnavailable = ResultCode(Travik::Result::RpcServerUnavailable);
constexpr ResultCode callFailed = ResultCode(Travik::Result::RpcCallFailed);
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
