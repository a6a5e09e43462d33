#include "control.h"

#include <cstdio>
#include <stdexcept>

#include "automation/com_string.h"
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
    Travik::ComString json;
    require(control_->Status(json.put()), "Status");
    return json.str();
}

void Control::pause(const std::wstring& machine)
{
    require(control_->Pause(Travik::ComString(machine).get()), "Pause");
}

void Control::runtimeError(const std::wstring& machine, bool fatal, const std::wstring& id, const std::wstring& message)
{
    require(control_->RaiseRuntimeError(Travik::ComString(machine).get(), fatal, Travik::ComString(id).get(),
                                        Travik::ComString(message).get()),
            "RaiseRuntimeError");
}

void Control::crashVm(const std::wstring& machine)
{
    require(control_->CrashVM(Travik::ComString(machine).get()), "CrashVM");
}

void Control::fail(const std::wstring& call, std::uint32_t result, std::uint32_t times, std::uint32_t after)
{
    require(control_->Fail(Travik::ComString(call).get(), static_cast<LONG>(result), times, after, FALSE), "Fail");
}

void Control::answerNull(const std::wstring& call)
{
    require(control_->Fail(Travik::ComString(call).get(), S_OK, 1, 0, TRUE), "Fail");
}

void Control::delay(const std::wstring& call, std::uint32_t milliseconds)
{
    require(control_->Delay(Travik::ComString(call).get(), milliseconds), "Delay");
}

void Control::dieIn(const std::wstring& call)
{
    require(control_->DieIn(Travik::ComString(call).get()), "DieIn");
}

void Control::holdLock(std::uint32_t milliseconds)
{
    require(control_->HoldLock(milliseconds), "HoldLock");
}

std::uint32_t Control::references(std::wstring& listing)
{
    Travik::ComString text;
    ULONG count = 0;
    require(control_->References(text.put(), &count), "References");
    listing = text.str();
    return count;
}

void Control::trace(bool on)
{
    require(control_->Trace(on), "Trace");
}

std::wstring Control::traceText()
{
    Travik::ComString text;
    require(control_->GetTrace(text.put()), "GetTrace");
    return text.str();
}

void Control::scenario(const std::wstring& json)
{
    require(control_->LoadScenario(Travik::ComString(json).get()), "LoadScenario");
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
