#include "cli/control_client.h"

#include <objbase.h>

#include <cstdio>

#include "identity.h"

namespace VBoxSim {

namespace {

std::string takeText(BSTR text)
{
    const int length = static_cast<int>(SysStringLen(text));
    std::string utf8(
        static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, text, length, nullptr, 0, nullptr, nullptr)), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, length, utf8.data(), static_cast<int>(utf8.size()), nullptr, nullptr);
    SysFreeString(text);
    return utf8;
}

std::string describe(const std::string& what, HRESULT result)
{
    char code[16];
    std::snprintf(code, sizeof code, "0x%08lx", static_cast<unsigned long>(result));
    return what + " (" + code + ")";
}

} // namespace

ControlError::ControlError(const std::string& what, HRESULT result) : std::runtime_error(describe(what, result)) {}

ControlClient::ControlClient()
{
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    const HRESULT result = CoCreateInstance(controlClass, nullptr, CLSCTX_LOCAL_SERVER, __uuidof(IVBoxSimControl),
                                            reinterpret_cast<void**>(control_.GetAddressOf()));
    if (FAILED(result))
        throw ControlError("the server cannot be reached; is vboxsim registered?", result);
}

ControlClient::~ControlClient()
{
    control_.Reset();
    CoUninitialize();
}

void ControlClient::check(HRESULT result)
{
    if (SUCCEEDED(result))
        return;
    BSTR reason = nullptr;
    const bool known = SUCCEEDED(control_->LastFailure(&reason)) && SysStringLen(reason) != 0;
    throw ControlError(known ? takeText(reason) : "the server refused", result);
}

std::string ControlClient::text(HRESULT (STDMETHODCALLTYPE IVBoxSimControl::*method)(BSTR*))
{
    BSTR text = nullptr;
    check((control_.Get()->*method)(&text));
    return takeText(text);
}

std::string ControlClient::references(unsigned long& count)
{
    BSTR listing = nullptr;
    check(control_->References(&listing, &count));
    return takeText(listing);
}

bool ControlClient::serverRuns()
{
    const HANDLE mutex = OpenMutexW(SYNCHRONIZE, FALSE, serverMutexName);
    if (mutex)
        CloseHandle(mutex);
    return mutex != nullptr;
}

TextArgument::TextArgument(const std::string& utf8)
{
    const int length = static_cast<int>(utf8.size());
    const int size = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, nullptr, 0);
    text_ = SysAllocStringLen(nullptr, static_cast<UINT>(size));
    if (!text_)
        throw std::bad_alloc();
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, text_, size);
}

} // namespace VBoxSim
