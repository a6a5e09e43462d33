#include "control.h"

#include <cstdio>
#include <stdexcept>

#include "identity.h"

namespace TravikTest {
namespace {

void require(HRESULT result, const char* call)
{
    if (SUCCEEDED(result))
        return;
    char text[32];
    std::snprintf(text, sizeof(text), " failed: 0x%08lx", static_cast<unsigned long>(result));
    throw std::runtime_error(std::string("the stand-in's control: ") + call + text);
}

class Bstr
{
public:
    Bstr() = default;
    explicit Bstr(const std::wstring& text) : text_(SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {}
    ~Bstr() { SysFreeString(text_); }
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;

    operator BSTR() const { return text_; }
    BSTR* put() { return &text_; }
    std::wstring text() const { return std::wstring(text_, text_ + SysStringLen(text_)); }

private:
    BSTR text_ = nullptr;
};

} // namespace

Control::Control()
{
    // As a front end's thread does; the library does it again on its first call.
    require(CoInitialize(nullptr), "CoInitialize");
    require(CoCreateInstance(VBoxSim::controlClass, nullptr, CLSCTX_LOCAL_SERVER,
                             IID_PPV_ARGS(control_.ReleaseAndGetAddressOf())),
            "CoCreateInstance");
}

std::wstring Control::status()
{
    Bstr json;
    require(control_->Status(json.put()), "Status");
    return json.text();
}

void Control::pause(const std::wstring& machine)
{
    require(control_->Pause(Bstr(machine)), "Pause");
}

void Control::runtimeError(const std::wstring& machine, bool fatal, const std::wstring& id, const std::wstring& message)
{
    require(control_->RaiseRuntimeError(Bstr(machine), fatal, Bstr(id), Bstr(message)), "RaiseRuntimeError");
}

void Control::crashVm(const std::wstring& machine)
{
    require(control_->CrashVM(Bstr(machine)), "CrashVM");
}

void Control::fail(const std::wstring& call, std::uint32_t result, std::uint32_t times, std::uint32_t after)
{
    require(control_->Fail(Bstr(call), static_cast<LONG>(result), times, after, FALSE), "Fail");
}

void Control::answerNull(const std::wstring& call)
{
    require(control_->Fail(Bstr(call), S_OK, 1, 0, TRUE), "Fail");
}

void Control::delay(const std::wstring& call, std::uint32_t milliseconds)
{
    require(control_->Delay(Bstr(call), milliseconds), "Delay");
}

void Control::dieIn(const std::wstring& call)
{
    require(control_->DieIn(Bstr(call)), "DieIn");
}

void Control::holdLock(std::uint32_t milliseconds)
{
    require(control_->HoldLock(milliseconds), "HoldLock");
}

std::uint32_t Control::references(std::wstring& listing)
{
    Bstr text;
    ULONG count = 0;
    require(control_->References(text.put(), &count), "References");
    listing = text.text();
    return count;
}

void Control::trace(bool on)
{
    require(control_->Trace(on), "Trace");
}

std::wstring Control::traceText()
{
    Bstr text;
    require(control_->GetTrace(text.put()), "GetTrace");
    return text.text();
}

void Control::scenario(const std::wstring& json)
{
    require(control_->LoadScenario(Bstr(json)), "LoadScenario");
}

void Control::reset()
{
    require(control_->Reset(), "Reset");
}

void Control::stop()
{
    require(control_->Stop(), "Stop");
}

} // namespace TravikTest
