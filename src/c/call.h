#pragma once

#include <cstdlib>
#include <list>
#include <optional>
#include <tuple>
#include <type_traits>
#include <vector>

#include "connection.h"
#include "failure.h"
#include "flat_kinds.h"
#include "text.h"

namespace Travik::Flat {

/// Sets the caller's outputs to zero.
template <class... Outputs>
void clear(Outputs*... outputs) noexcept
{
    ((outputs ? void(*outputs = Outputs{}) : void()), ...);
}

// Handles as callers hold them carry their kind.

inline constexpr Kind anyKind = Kind{0};

template <Kind kind>
auto tagged(VBoxHandle handle)
{
    const std::uint64_t value = handle == 0 ? 0 : (static_cast<std::uint64_t>(kind) << 32) | handle;
    return typename HandleOf<kind>::Type{value};
}

template <Kind kind>
bool isOfKind(std::uint64_t value)
{
    return value == 0 || kind == anyKind || value >> 32 == static_cast<std::uint64_t>(kind);
}

template <Kind kind>
VBoxHandle untagged(std::uint64_t value)
{
    if (!isOfKind<kind>(value))
        throw Refused(TRAVIK_WrongHandle, "a handle of another kind");
    return static_cast<VBoxHandle>(value);
}

/// A parameter on its way: what goes in is converted when it is made, what comes out is kept until the caller takes it.
struct Parameter
{
    void deliver() {}                  // to the caller's output; may lack memory
    void withdraw() noexcept {}        // the same output, after a failed delivery
    void discard(VBoxInstanceImpl&) {} // nobody takes it: on the thread that owns the library
};

struct InText : Parameter
{
    explicit InText(const char* text) : value(toWide(text)) {}
    const std::wstring& argument() const { return value; }
    std::wstring value;
};

struct InTexts : Parameter
{
    InTexts(const char* const* items, std::uint32_t count)
    {
        if (!items && count != 0)
            throw Refused(TRAVIK_NullArgument, "a list is null");
        for (std::uint32_t i = 0; i < count; ++i)
            value.push_back(toWide(items[i]));
    }
    std::list<std::wstring> argument() const { return value; }
    std::list<std::wstring> value;
};

struct InNumbers : Parameter
{
    InNumbers(const std::uint32_t* items, std::uint32_t count)
    {
        if (!items && count != 0)
            throw Refused(TRAVIK_NullArgument, "a list is null");
        value.assign(items, items + count);
    }
    std::vector<std::uint32_t> argument() const { return value; }
    std::vector<std::uint32_t> value;
};

template <class Number>
struct InNumber : Parameter
{
    explicit InNumber(Number number) : value(number) {}
    Number argument() const { return value; }
    Number value;
};

/// A yes or no.
struct InFlag : Parameter
{
    explicit InFlag(std::uint32_t number) : value(number != 0) {}
    bool argument() const { return value; }
    bool value;
};

template <Kind kind>
struct InHandle : Parameter
{
    template <class Handle>
    explicit InHandle(Handle handle) : value(untagged<kind>(handle.value))
    {}
    VBoxHandle argument() const { return value; }
    VBoxHandle value;
};

template <class Number>
struct OutNumber : Parameter
{
    explicit OutNumber(Number* output) : output(output) {}
    Number* argument() { return &value; }
    void deliver()
    {
        if (output)
            *output = value;
    }
    Number* output;
    Number value = 0;
};

struct OutText : Parameter
{
    explicit OutText(char** output) : output(output) {}
    std::wstring* argument() { return &value; }
    void deliver()
    {
        if (output)
            *output = newText(value);
    }
    void withdraw() noexcept { travik_freeText(output); }
    char** output;
    std::wstring value;
};

struct OutTexts : Parameter
{
    explicit OutTexts(travik_texts* output) : output(output) {}
    std::list<std::wstring>* argument() { return &value; }
    void deliver()
    {
        if (!output || value.empty())
            return;
        output->items = static_cast<char**>(std::calloc(value.size(), sizeof(char*)));
        if (!output->items)
            throw std::bad_alloc();
        for (const std::wstring& text : value)
            output->items[output->count++] = newText(text);
    }
    void withdraw() noexcept { travik_freeTexts(output); }
    travik_texts* output;
    std::list<std::wstring> value;
};

template <Kind kind>
struct OutHandle : Parameter
{
    explicit OutHandle(typename HandleOf<kind>::Type* output) : output(output) {}
    /// Without an output the library makes no handle.
    VBoxHandle* argument() { return !output ? nullptr : &value; }
    void deliver()
    {
        if (output)
            *output = tagged<kind>(value);
    }
    void withdraw() noexcept { clear(output); }
    void discard(VBoxInstanceImpl& sdk) { (sdk.*HandleOf<kind>::release)(value); }
    typename HandleOf<kind>::Type* output;
    VBoxHandle value = 0;
};

template <Kind kind>
struct OutHandles : Parameter
{
    explicit OutHandles(travik_machines* output) : output(output) {}
    std::vector<VBoxHandle>* argument() { return !output ? nullptr : &value; }
    void deliver()
    {
        if (value.empty())
            return;
        output->items = static_cast<travik_machine*>(std::calloc(value.size(), sizeof(travik_machine)));
        if (!output->items)
            throw std::bad_alloc();
        for (const VBoxHandle handle : value)
            output->items[output->count++] = tagged<kind>(handle);
    }
    void withdraw() noexcept { travik_freeMachines(output); }
    void discard(VBoxInstanceImpl& sdk)
    {
        for (const VBoxHandle handle : value)
            (sdk.*HandleOf<kind>::release)(handle);
    }
    travik_machines* output;
    std::vector<VBoxHandle> value;
};

/// Calls an operation.
template <class... Declared, class... Arguments>
std::uint32_t invoke(SdkErrorCode (VBoxInstanceImpl::*operation)(Declared...), VBoxInstanceImpl& sdk,
                     Arguments&&... arguments)
{
    return (sdk.*operation)(std::forward<Arguments>(arguments)...);
}

inline std::uint32_t invoke(std::uint32_t (VBoxInstanceImpl::*)(), VBoxInstanceImpl& sdk, std::uint32_t* result)
{
    *result = sdk.getVBoxError();
    return 0;
}

inline std::uint32_t invoke(std::wstring (VBoxInstanceImpl::*)(), VBoxInstanceImpl& sdk, std::wstring* message)
{
    *message = sdk.getVBoxErrorMessage();
    return 0;
}

/// The operations that start the COM side, which succeed even when it does not start: this gives 101 then.
std::uint32_t start(VBoxInstanceImpl& sdk, Start how);

/// Unlocks a machine that was locked for nobody.
void giveLockBack(VBoxInstanceImpl& sdk) noexcept;

/// One call of an operation, with all that it needs: it may outlive its caller.
template <class Call, class... Parameters>
class OperationJob : public Job
{
public:
    OperationJob(bool wantsError, Parameters&&... parameters)
        : wantsError_(wantsError), parameters_(std::move(parameters)...)
    {}

    bool step(VBoxInstanceImpl& sdk) noexcept override
    {
        try {
            failure_.code = run(sdk);
            if (failure_.code != 0 && wantsError_)
                failure_ = failureOf(sdk, failure_.code);
        } catch (...) {
            failure_ = currentFailure();
        }
        return true;
    }

    void abandon(VBoxInstanceImpl& sdk) noexcept override
    {
        if (std::is_same_v<Call, Calls::lockMachine> && failure_.code == 0)
            giveLockBack(sdk);
        try {
            std::apply([&](auto&... parameter) { (parameter.discard(sdk), ...); }, parameters_);
        } catch (...) {
            // A mutex that cannot be locked: the handles stay with the library.
        }
    }

    const Failure& failure() const { return failure_; }

    /// Hands the answers to the caller.
    void deliver()
    {
        try {
            std::apply([](auto&... parameter) { (parameter.deliver(), ...); }, parameters_);
        } catch (...) {
            std::apply([](auto&... parameter) { (parameter.withdraw(), ...); }, parameters_);
            throw;
        }
    }

private:
    std::uint32_t run(VBoxInstanceImpl& sdk)
    {
        if constexpr (Call::start != Start::none)
            return start(sdk, Call::start);
        else
            return std::apply([&](auto&... parameter) { return invoke(Call::operation, sdk, parameter.argument()...); },
                              parameters_);
    }

    bool wantsError_;
    std::tuple<Parameters...> parameters_;
    Failure failure_;
};

/// Gives back what a finished job handed out and its caller could not take.
class Discarding : public Job
{
public:
    explicit Discarding(std::shared_ptr<Job> job) : job_(std::move(job)) {}
    bool step(VBoxInstanceImpl& sdk) noexcept override
    {
        job_->abandon(sdk);
        return true;
    }

private:
    std::shared_ptr<Job> job_;
};

/// Ends a call whose operation has run.
template <class Made>
std::uint32_t finish(Made& job, const char* operation, travik_error** error)
{
    if (job.failure().code != 0)
        return report(job.failure(), operation, error);
    job.deliver();
    return 0;
}

/// Has the worker do a job, and ends the call.
template <class Made>
std::uint32_t runOn(Worker& worker, const std::shared_ptr<Made>& job, Clock::time_point deadline, const char* operation,
                    travik_error** error)
{
    worker.run(job, deadline);
    try {
        return finish(*job, operation, error);
    } catch (...) {
        worker.post(std::make_shared<Discarding>(job));
        throw;
    }
}

/// A call of an operation.
template <class Call, class... Parameters>
std::uint32_t call(std::uint32_t deadlineMs, travik_error** error, Parameters... parameters)
{
    using Made = OperationJob<Call, Parameters...>;
    Connection& connection = Connection::instance();
    const std::shared_ptr<Worker> worker = connection.enter();
    if (worker)
        return runOn(*worker, std::make_shared<Made>(error != nullptr, std::move(parameters)...),
                     connection.deadline(deadlineMs), Call::name, error);
    Connection::refuseDeadline(deadlineMs);
    Made job(error != nullptr, std::move(parameters)...);
    job.step(requiredLibrary());
    return finish(job, Call::name, error);
}

/// Gives a handle back, without waiting for it.
class Release : public Job
{
public:
    using Operation = SdkErrorCode (VBoxInstanceImpl::*)(VBoxHandle);

    Release(Operation operation, VBoxHandle handle) : operation_(operation), handle_(handle) {}
    bool step(VBoxInstanceImpl& sdk) noexcept override;

private:
    Operation operation_;
    VBoxHandle handle_;
};

std::uint32_t postRelease(Release::Operation operation, VBoxHandle handle) noexcept;

template <Kind kind>
std::uint32_t release(std::uint64_t value) noexcept
{
    if (!isOfKind<kind>(value))
        return TRAVIK_WrongHandle;
    if (value == 0)
        return 0;
    return postRelease(HandleOf<kind>::release, static_cast<VBoxHandle>(value));
}

template <std::uint32_t (VBoxInstanceImpl::*converter)(std::uint32_t)>
std::uint32_t convert(std::uint32_t value) noexcept
{
    VBoxInstanceImpl* const sdk = library();
    return !sdk ? 0 : (sdk->*converter)(value);
}

} // namespace Travik::Flat
