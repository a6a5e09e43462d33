#include "com/call_frame.h"

#include "com/clients.h"
#include "com/error_info.h"
#include "host/error_mapping.h"
#include "svc/class_objects.h"

#include <chrono>
#include <cstring>

namespace VBoxSim {

std::mutex& worldMutex()
{
    static std::mutex* const mutex = new std::mutex; // threads may still be in calls when the process leaves
    return *mutex;
}

FaultTable& faults()
{
    static FaultTable* const table = new FaultTable;
    return *table;
}

CallTrace& trace()
{
    static CallTrace* const record = new CallTrace;
    return *record;
}

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

std::wstring componentOf(const std::wstring& call)
{
    const std::size_t end = call.find(L"::");
    return call.substr(1, end == std::wstring::npos ? end : end - 1) + L"Wrap";
}

namespace {

HRESULT run(const wchar_t* call, REFIID interfaceId, const std::function<void(WorldLock&)>& body)
{
    try {
        WorldLock lock(worldMutex());
        body(lock);
        return S_OK;
    } catch (const Failure& failure) {
        reportError(failure, call, interfaceId);
        return failure.code();
    } catch (const StorageError& error) {
        const Failure failure = failureOf(error);
        reportError(failure, call, interfaceId);
        return failure.code();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (const std::exception& e) {
        reportError(Failure(Result::fail, std::wstring(e.what(), e.what() + std::strlen(e.what()))), call, interfaceId);
        return E_FAIL;
    }
}

} // namespace

HRESULT serve(const wchar_t* call, const std::function<std::wstring()>& arguments, REFIID interfaceId,
              const std::function<void(WorldLock&)>& body)
{
    Clients::noteCaller();
    const auto started = std::chrono::steady_clock::now();
    const std::uint64_t number =
        trace().on() ? trace().begin(Clients::caller(), GetCurrentThreadId(), call, arguments()) : 0;

    const CallFault fault = faults().take(call);
    if (fault.delayMilliseconds)
        Sleep(fault.delayMilliseconds);
    if (fault.die) {
        withdrawClassesBeforeDeath();
        TerminateProcess(GetCurrentProcess(), 1);
    }
    HRESULT result = S_OK;
    if (fault.fails) {
        result = fault.result;
        if (FAILED(result))
            reportError(Failure(result, L"Failure ordered by a test"), call, interfaceId);
    } else if (!fault.answersNull) {
        result = run(call, interfaceId, body);
    }

    trace().end(number, result,
                std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - started).count());
    return result;
}

} // namespace VBoxSim
