#include "cli/control_client.h"

#include <objbase.h>

#include <cstdio>

#include "identity.h"

namespace VBoxSim {

namespace {

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
    Travik::ComString reason;
    const bool known = SUCCEEDED(control_->LastFailure(reason.put())) && SysStringLen(reason.get()) != 0;
    throw ControlError(known ? toUtf8(reason.str()) : "the server refused", result);
}

std::string ControlClient::text(HRESULT (STDMETHODCALLTYPE IVBoxSimControl::*method)(BSTR*))
{
    Travik::ComString text;
    check((control_.Get()->*method)(text.put()));
    return toUtf8(text.str());
}

std::string ControlClient::references(unsigned long& count)
{
    Travik::ComString listing;
    check(control_->References(listing.put(), &count));
    return toUtf8(listing.str());
}

bool ControlClient::serverRuns()
{
    const HANDLE mutex = OpenMutexW(SYNCHRONIZE, FALSE, serverMutexName);
    if (mutex)
        CloseHandle(mutex);
    return mutex != nullptr;
}

} // namespace VBoxSim
