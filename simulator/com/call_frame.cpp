#include "com/call_frame.h"

#include <chrono>

#include "com/error_info.h"
#include "host/error_mapping.h"

namespace VBoxSim {

std::wstring describe(BSTR text)
{
    if (!text)
        return L"null";
    constexpr std::size_t mostShown = 200;
    std::wstring shown(text, SysStringLen(text));
    if (shown.size() > mostShown) {
        shown.resize(mostShown);
        shown += L"...";
    }
    return L"\"" + shown + L"\"";
}

std::wstring describe(const void* object)
{
    return object ? L"object" : L"null";
}

std::wstring describe(SAFEARRAY* array)
{
    return array ? L"array of " + std::to_wstring(array->cDims ? array->rgsabound[0].cElements : 0) : L"null";
}

namespace {

/// One call in the trace, with its arguments only while the trace is on.
class TracedCall
{
public:
    TracedCall(Server& server, const CallName& call, const std::function<std::wstring()>& arguments)
        : trace_(server.trace), started_(std::chrono::steady_clock::now())
    {
        if (trace_.on())
            number_ = trace_.begin(Clients::caller(), GetCurrentThreadId(), call.text, arguments());
    }

    void end(HRESULT result)
    {
        const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - started_;
        trace_.end(number_, result, taken.count());
    }

private:
    CallTrace& trace_;
    const std::chrono::steady_clock::time_point started_;
    std::uint64_t number_ = 0;
};

HRESULT refuse(Server& server, const CallName& call, const Failure& failure)
{
    if (FAILED(failure.code()) && !failure.text().empty())
        reportError(server, failure, call.text, call.interfaceId);
    return failure.code();
}

HRESULT run(Server& server, const CallName& call, const std::function<void(HostLock&)>& body)
{
    const auto failure = attempt([&] {
        HostLock lock = server.host.lock();
        body(lock);
    });
    return failure ? refuse(server, call, *failure) : S_OK;
}

HRESULT runUnderFaults(Server& server, const CallName& call, const std::function<void(HostLock&)>& body)
{
    const CallFault fault = server.host.faults().take(call.text);
    if (fault.delayMilliseconds)
        Sleep(fault.delayMilliseconds);
    if (fault.die) {
        server.beforeDeath();
        TerminateProcess(GetCurrentProcess(), 1);
    }
    if (fault.fails)
        return refuse(server, call, Failure(fault.result, L"Failure ordered by a test"));
    return fault.answersNull ? S_OK : run(server, call, body);
}

} // namespace

HRESULT serve(Server& server, const CallName& call, const std::function<std::wstring()>& arguments,
              const std::function<void(HostLock&)>& body)
{
    server.clients.noteCaller();
    TracedCall traced(server, call, arguments);
    const HRESULT result = runUnderFaults(server, call, body);
    traced.end(result);
    return result;
}

} // namespace VBoxSim
