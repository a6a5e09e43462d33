#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <type_traits>

#include "com/server.h"
#include "com/values.h"

namespace VBoxSim {

// describe: one argument as the trace shows it.
std::wstring describe(BSTR text);
std::wstring describe(const void* object);
std::wstring describe(SAFEARRAY* array);
template <class Number>
requires std::is_integral_v<Number> std::wstring describe(Number number)
{
    return std::to_wstring(number);
}

/// A call of the server's interfaces.
struct CallName
{
    const wchar_t* text; ///< "IMachine::get_Name"
    const IID& interfaceId;
};

/// Carries out one call from a client: notes the caller, lets the call suffer its faults, takes the host's mutex, runs
/// the body, and turns what it throws into a result with an error object.
HRESULT serve(Server& server, const CallName& call, const std::function<std::wstring()>& arguments,
              const std::function<void(HostLock&)>& body);

} // namespace VBoxSim
