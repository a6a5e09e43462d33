#include "com.h"

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <thread>

namespace Probe {

namespace {

std::atomic<bool> interrupted{false};
std::atomic<bool> cleaningUp{false};

const char* knownName(std::uint32_t result)
{
    switch (result) {
    case Result::Ok:
        return "S_OK";
    case Result::ObjectNotFound:
        return "VBOX_E_OBJECT_NOT_FOUND";
    case Result::InvalidVMState:
        return "VBOX_E_INVALID_VM_STATE";
    case Result::VMError:
        return "VBOX_E_VM_ERROR";
    case Result::FileError:
        return "VBOX_E_FILE_ERROR";
    case Result::IPRTError:
        return "VBOX_E_IPRT_ERROR";
    case Result::PDMError:
        return "VBOX_E_PDM_ERROR";
    case Result::InvalidObjectState:
        return "VBOX_E_INVALID_OBJECT_STATE";
    case Result::HostError:
        return "VBOX_E_HOST_ERROR";
    case Result::NotSupported:
        return "VBOX_E_NOT_SUPPORTED";
    case Result::XMLError:
        return "VBOX_E_XML_ERROR";
    case Result::InvalidSessionState:
        return "VBOX_E_INVALID_SESSION_STATE";
    case Result::ObjectInUse:
        return "VBOX_E_OBJECT_IN_USE";
    case Result::MaximumReached:
        return "VBOX_E_MAXIMUM_REACHED";
    case Result::Timeout:
        return "VBOX_E_TIMEOUT";
    case Result::Unexpected:
        return "E_UNEXPECTED";
    case Result::NotImpl:
        return "E_NOTIMPL";
    case Result::OutOfMemory:
        return "E_OUTOFMEMORY";
    case Result::InvalidArg:
        return "E_INVALIDARG";
    case Result::NoInterface:
        return "E_NOINTERFACE";
    case Result::Pointer:
        return "E_POINTER";
    case Result::Abort:
        return "E_ABORT";
    case Result::Fail:
        return "E_FAIL";
    case Result::AccessDenied:
        return "E_ACCESSDENIED";
    case Result::RpcCallFailed:
        return "RPC_S_CALL_FAILED";
    case Result::RpcServerUnavailable:
        return "RPC_S_SERVER_UNAVAILABLE";
    case Result::RpcDisconnected:
        return "RPC_E_DISCONNECTED";
    case Result::RpcNullReference:
        return "RPC_X_NULL_REF_POINTER";
    case Result::ClassNotRegistered:
        return "REGDB_E_CLASSNOTREG";
    case static_cast<std::uint32_t>(CLASS_E_NOAGGREGATION):
        return "CLASS_E_NOAGGREGATION";
    default:
        return nullptr;
    }
}

} // namespace

std::string utf8(std::wstring_view text)
{
    const int length = static_cast<int>(text.size());
    std::string converted(
        static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr)),
        '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, converted.data(), static_cast<int>(converted.size()), nullptr,
                        nullptr);
    return converted;
}

std::wstring wide(std::string_view utf8Text)
{
    const int length = static_cast<int>(utf8Text.size());
    std::wstring converted(
        static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, utf8Text.data(), length, nullptr, 0)), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8Text.data(), length, converted.data(), static_cast<int>(converted.size()));
    return converted;
}

std::string resultName(std::uint32_t result)
{
    if (const char* name = knownName(result))
        return name;
    char number[11];
    std::snprintf(number, sizeof number, "0x%08lX", static_cast<unsigned long>(result));
    return number;
}

CallFailed::CallFailed(std::uint32_t result, const Place& place)
    : std::runtime_error("a call on the way gives " + resultName(result) + " (" +
                         std::filesystem::path(place.file_name()).filename().string() + ":" +
                         std::to_string(place.line()) + ")")
{}

void must(HRESULT result, const Place& place)
{
    throwIfInterrupted();
    if (FAILED(result))
        throw CallFailed(static_cast<std::uint32_t>(result), place);
}

void throwIfInterrupted()
{
    if (interrupted && !cleaningUp)
        throw Interrupted();
}

void interrupt()
{
    interrupted = true;
}

void ignoreInterrupts()
{
    cleaningUp = true;
}

bool soon(const std::function<bool()>& question, unsigned milliseconds)
{
    const ULONGLONG end = GetTickCount64() + milliseconds;
    while (!question()) {
        throwIfInterrupted();
        if (GetTickCount64() >= end)
            return question();
        Sleep(20);
    }
    return true;
}

Array::~Array()
{
    if (array_)
        SafeArrayDestroy(array_);
}

Array Array::ofNumbers(const std::vector<LONG>& numbers)
{
    Array made(SafeArrayCreateVector(VT_I4, 0, static_cast<ULONG>(numbers.size())));
    for (LONG i = 0; i < static_cast<LONG>(numbers.size()); ++i)
        must(SafeArrayPutElement(made, &i, const_cast<LONG*>(&numbers[static_cast<std::size_t>(i)])));
    return made;
}

Array Array::ofTexts(const std::vector<std::wstring>& texts)
{
    Array made(SafeArrayCreateVector(VT_BSTR, 0, static_cast<ULONG>(texts.size())));
    for (LONG i = 0; i < static_cast<LONG>(texts.size()); ++i)
        must(SafeArrayPutElement(made, &i, static_cast<BSTR>(Text(texts[static_cast<std::size_t>(i)]))));
    return made;
}

Array Array::ofObjects(const std::vector<IDispatch*>& objects, REFIID id)
{
    Array made(SafeArrayCreateVectorEx(VT_DISPATCH, 0, static_cast<ULONG>(objects.size()), const_cast<IID*>(&id)));
    for (LONG i = 0; i < static_cast<LONG>(objects.size()); ++i)
        must(SafeArrayPutElement(made, &i, objects[static_cast<std::size_t>(i)]));
    return made;
}

std::size_t Array::size() const
{
    LONG lowest = 0, highest = -1;
    if (!array_ || FAILED(SafeArrayGetLBound(array_, 1, &lowest)) || FAILED(SafeArrayGetUBound(array_, 1, &highest)))
        return 0;
    const LONG count = highest - lowest + 1;
    return static_cast<std::size_t>(count);
}

std::vector<std::wstring> Array::texts() const
{
    std::vector<std::wstring> found;
    for (LONG i = 0; i < static_cast<LONG>(size()); ++i) {
        Text element;
        must(SafeArrayGetElement(array_, &i, element.put()));
        found.push_back(element.str());
    }
    return found;
}

std::vector<LONG> Array::numbers() const
{
    std::vector<LONG> found;
    for (LONG i = 0; i < static_cast<LONG>(size()); ++i) {
        LONG element = 0;
        must(SafeArrayGetElement(array_, &i, &element));
        found.push_back(element);
    }
    return found;
}

void Array::forEachObject(const std::function<void(IUnknown*)>& action) const
{
    // What the elements are may have been lost on their way here; they are to be released with the array all the same.
    if (array_ && !(array_->fFeatures & (FADF_DISPATCH | FADF_UNKNOWN)))
        array_->fFeatures |= FADF_UNKNOWN;
    for (LONG i = 0; i < static_cast<LONG>(size()); ++i) {
        ComPtr<IUnknown> element;
        must(SafeArrayGetElement(array_, &i, element.GetAddressOf()));
        if (element)
            action(element.Get());
    }
}

} // namespace Probe
