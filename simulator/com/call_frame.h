#pragma once

#include "base/failure.h"
#include "com/call_trace.h"
#include "com/values.h"
#include "host/fault_table.h"

#include <windows.h>

#include <functional>
#include <mutex>
#include <string>

namespace VBoxSim {

/// The mutex of the whole world. Everything is read and changed with it held; nobody waits for a client, a file copy or
/// the time with it held.
std::mutex& worldMutex();
using WorldLock = std::unique_lock<std::mutex>;

FaultTable& faults();
CallTrace& trace();

// describe: one argument as the trace shows it.
std::wstring describe(BSTR text);
std::wstring describe(const void* object);
std::wstring describe(SAFEARRAY* array);
template <class Number>
requires std::is_integral_v<Number> std::wstring describe(Number number)
{
    return std::to_wstring(number);
}

/// Carries out one call from a client: notes the caller, lets the call suffer its faults, takes the world's mutex, runs
/// the body, and turns what it throws into a result with an error object.
HRESULT serve(const wchar_t* call, const std::function<std::wstring()>& arguments, REFIID interfaceId,
              const std::function<void(WorldLock&)>& body);

/// The component name that VirtualBox's error objects give for a call.
std::wstring componentOf(const std::wstring& call);

} // namespace VBoxSim
