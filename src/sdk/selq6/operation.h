#pragma once

#include <windows.h>
#include <wrl/client.h>

#include <cstdint>
#include <mutex>
#include <source_location>
#include <string>
#include <utility>

#include "automation/com_string.h"
#include "log/log_text.h"
#include "selq6/handle_table.h"
#include "travik/sdk_error.h"

namespace Travik {

class VBox;

/// What an operation does with the HRESULT of an earlier failure when it starts.
enum class LastResult
{
    clear,
    keep
};

/// The qualified name of an operation, the line that its records show, and how it treats the last result.
struct OperationName
{
    OperationName(const wchar_t* name, LastResult lastResult = LastResult::clear,
                  std::source_location where = std::source_location::current())
        : name(name), lastResult(lastResult), where(where)
    {}

    const wchar_t* name;
    LastResult lastResult;
    std::source_location where;
};

/// The frame that every operation runs in: the lock, the entry record, the argument text for a failure, the look-ups,
/// the calls with the lock released, the recording of failures and the handing out of results.
///
/// A step that can fail returns false then and leaves the operation's code behind; the operation does its steps in turn
/// while they succeed and returns code(). References and texts that an operation keeps in locals die before the lock is
/// given back, because the frame is declared first.
class Operation
{
public:
    using Where = std::source_location;
    template <class Interface>
    using ComPtr = Microsoft::WRL::ComPtr<Interface>;

    template <class... Arguments>
    Operation(VBox& vbox, OperationName name, const Arguments&... arguments) : Operation(vbox, name, Locked{})
    {
        enter(joinArguments(arguments...));
    }

    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

    /// 0 while every step succeeded.
    SdkErrorCode code() const noexcept { return code_; }

    /// Makes sure that the COM side exists (101).
    bool ready(Where where = Where::current());

    /// The same, then takes a reference on one of the root objects, so that another thread's releaseRC cannot pull it
    /// away. The root may be missing although the COM side counts as ready (its creation failed): 101 without a record,
    /// which leaves the creation's failure to be read.
    template <class Interface>
    bool ready(Interface* const& root, ComPtr<Interface>& object, Where where = Where::current())
    {
        if (!ready(where))
            return false;
        object = root;
        if (!object)
            code_ = InitVboxComFail;
        return object != nullptr;
    }

    /// Looks a handle up; an unknown one gives the table's code.
    template <class Interface>
    bool find(HandleTable<Interface>& table, VBoxHandle handle, ComPtr<Interface>& object,
              Where where = Where::current())
    {
        object = table.lookUp(handle);
        return check(object != nullptr, table.missing(), where);
    }

    /// A step of the library itself, without an HRESULT.
    bool check(bool succeeded, SdkErrorCode failure, Where where = Where::current());

    /// Calls VirtualBox with the lock released; a negative result is the operation's failure.
    template <class Call>
    bool call(SdkErrorCode failure, Call&& function, Where where = Where::current())
    {
        result_ = unlocked(std::forward<Call>(function));
        return result_ >= 0 || fail(failure, where);
    }

    /// The same for a call that has to give an object: success without one is a failure with that call's result.
    template <class Interface, class Call>
    bool obtain(SdkErrorCode failure, ComPtr<Interface>& object, Call&& function, Where where = Where::current())
    {
        return call(failure, std::forward<Call>(function), where) && (object || fail(failure, where));
    }

    /// The same for a secondary call: a result other than 0 is only logged.
    template <class Call>
    void attempt(SdkErrorCode failure, Call&& function, Where where = Where::current())
    {
        ignore(unlocked(std::forward<Call>(function)), failure, where);
    }

    /// Stores an object under a new handle, when there are both an object and an output for the handle.
    template <class Interface>
    static void handOut(HandleTable<Interface>& table, const ComPtr<Interface>& object, VBoxHandle* handle)
    {
        if (!object || !handle)
            return;
        const VBoxHandle issued = table.newHandle();
        table.insert(issued, object);
        *handle = issued;
    }

    /// Writes a number to the caller's output, when there is one, and a record of it.
    template <class Number, class Output>
    void returnNumber(const wchar_t* label, Number number, Output* output, Where where = Where::current())
    {
        if (!output)
            return;
        *output = static_cast<Output>(number);
        record(label + recordText(number), where);
    }

    /// Writes a text to the caller's output, when there are both, and a record of it.
    void returnText(const wchar_t* label, const ComString& text, std::wstring* output, Where where = Where::current());

    /// A further record of the operation.
    void record(const std::wstring& text, Where where = Where::current());

private:
    /// The lock and nothing else yet.
    struct Locked
    {};
    Operation(VBox& vbox, OperationName name, Locked);
    void enter(const std::wstring& arguments);
    bool fail(SdkErrorCode failure, Where where);
    void ignore(HRESULT result, SdkErrorCode failure, Where where);

    /// Relocking in a destructor would turn a lock failure into termination.
    template <class Call>
    HRESULT unlocked(Call&& function)
    {
        HRESULT result = S_OK;
        lock_.unlock();
        try {
            result = function();
        } catch (...) {
            lock_.lock();
            throw;
        }
        lock_.lock();
        return result;
    }

    VBox& vbox_;
    OperationName name_;
    std::unique_lock<std::mutex> lock_;
    SdkErrorCode code_ = {};
    HRESULT result_ = S_OK;
};

} // namespace Travik
