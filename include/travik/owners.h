#ifndef TRAVIK_OWNERS_H
#define TRAVIK_OWNERS_H

// Part of the helper (scoped_handle.h): owners of handles, and how an operation's answer becomes a value.

#include <exception>
#include <functional>
#include <new>
#include <string>
#include <system_error>
#include <type_traits>
#include <utility>

#include "errors.h"
#include "vbox_instance.h"

namespace Travik {

/// Owns a handle of one kind and gives it back. Move-only.
template <SdkErrorCode (VBoxInstanceImpl::*Release)(VBoxHandle)>
class ScopedHandle
{
public:
    ScopedHandle() = default;
    explicit ScopedHandle(VBoxInstanceImpl& vbox, VBoxHandle handle = 0) : vbox_(&vbox), handle_(handle) {}
    ScopedHandle(ScopedHandle&& other) noexcept : vbox_(other.vbox_), handle_(other.detach()) {}
    ScopedHandle& operator=(ScopedHandle&& other) noexcept
    {
        if (this != &other) {
            reset();
            vbox_ = other.vbox_;
            handle_ = other.detach();
        }
        return *this;
    }
    ~ScopedHandle() { reset(); }

    /// The number, for an operation of the plain interface. An owner is no number by itself: a machine's would be taken
    /// for a disk's.
    [[nodiscard]] VBoxHandle get() const noexcept { return handle_; }
    explicit operator bool() const noexcept { return handle_ != 0; }

    /// For an operation to write a handle to; what was owned before is given back.
    [[nodiscard]] VBoxHandle* put() noexcept
    {
        reset();
        return &handle_;
    }

    /// Lets the handle go without giving it back.
    VBoxHandle detach() noexcept { return std::exchange(handle_, 0); }

    /// Gives the handle back.
    void reset() noexcept
    {
        if (handle_ == 0)
            return;
        try {
            (vbox_->*Release)(std::exchange(handle_, 0));
        } catch (...) {
            // A mutex that cannot be locked: the handle stays with the library, which drops it at the latest on unload.
        }
    }

private:
    VBoxInstanceImpl* vbox_ = nullptr;
    VBoxHandle handle_ = 0;
};

using ScopedMachine = ScopedHandle<&VBoxInstanceImpl::releaseMachine>;
using ScopedProgress = ScopedHandle<&VBoxInstanceImpl::releaseProgress>;
using ScopedConsole = ScopedHandle<&VBoxInstanceImpl::releaseConsole>;
using ScopedEventSource = ScopedHandle<&VBoxInstanceImpl::releaseEventSource>;
using ScopedEventListener = ScopedHandle<&VBoxInstanceImpl::releaseEventListener>;
using ScopedEvent = ScopedHandle<&VBoxInstanceImpl::releaseEvent>;
using ScopedStateChangedEvent = ScopedHandle<&VBoxInstanceImpl::releaseStateChangedEvent>;
using ScopedRuntimeErrorEvent = ScopedHandle<&VBoxInstanceImpl::releaseRuntimeErrorEvent>;
using ScopedAudioAdapter = ScopedHandle<&VBoxInstanceImpl::releaseAudioAdapter>;
using ScopedNATEngine = ScopedHandle<&VBoxInstanceImpl::releaseNATEngine>;
using ScopedNetworkAdapter = ScopedHandle<&VBoxInstanceImpl::releaseNetworkAdapter>;
using ScopedHost = ScopedHandle<&VBoxInstanceImpl::releaseHost>;
using ScopedMedium = ScopedHandle<&VBoxInstanceImpl::releaseMedium>;

namespace Details {

/// The texts among an operation's arguments, joined: its paths, if it touches files.
template <class... Arguments>
std::wstring textsOf(const Arguments&... arguments)
{
    std::wstring texts;
    [[maybe_unused]] const auto add = [&texts](const auto& argument) {
        if constexpr (std::is_convertible_v<decltype(argument), std::wstring>)
            texts += (texts.empty() ? L"" : L" | ") + std::wstring(argument);
    };
    (add(arguments), ...);
    return texts;
}

/// The operation's code; what the file system refused as FileError.
template <class Operation, class... Arguments>
std::uint32_t code(VBoxInstanceImpl& vbox, Operation operation, Arguments&&... arguments)
{
    try {
        return std::invoke(operation, vbox, std::forward<Arguments>(arguments)...);
    } catch (const std::system_error&) { // the mutex
        throw;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& refusal) {
        throw FileError(textsOf(arguments...), refusal.what());
    }
}

} // namespace Details

/// Runs an operation of the plain interface, or throws.
template <class... Parameters, class... Arguments>
void run(VBoxInstanceImpl& vbox, SdkErrorCode (VBoxInstanceImpl::*operation)(Parameters...), Arguments&&... arguments)
{
    check(vbox, Details::code(vbox, operation, std::forward<Arguments>(arguments)...));
}

/// Runs an operation of the plain interface whose last argument is the output for its answer, and returns the answer or
/// throws:
///     auto machine = ask<ScopedMachine>(vbox, &VBoxInstanceImpl::findMachine, L"Player");
template <class Answer, class... Parameters, class... Arguments>
[[nodiscard]] Answer ask(VBoxInstanceImpl& vbox, SdkErrorCode (VBoxInstanceImpl::*operation)(Parameters...),
                         Arguments&&... arguments)
{
    if constexpr (std::is_constructible_v<Answer, VBoxInstanceImpl&>) {
        Answer owner(vbox);
        run(vbox, operation, std::forward<Arguments>(arguments)..., owner.put());
        return owner;
    } else {
        Answer answer{};
        run(vbox, operation, std::forward<Arguments>(arguments)..., &answer);
        return answer;
    }
}

} // namespace Travik

#endif
