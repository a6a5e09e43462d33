#pragma once

#include <wrl/client.h>

#include <cstdint>
#include <string>

#include "vboxsim_control.h"

namespace TravikTest {

/// The stand-in's control interface. Every call that fails throws std::runtime_error.
class Control
{
public:
    /// Connects to the server, which starts when none runs.
    Control();

    /// What the server is doing, as JSON.
    std::wstring status();

    /// Pauses a running machine as an event of the host would.
    void pause(const std::wstring& machine);
    void runtimeError(const std::wstring& machine, bool fatal, const std::wstring& id, const std::wstring& message);
    void crashVm(const std::wstring& machine);

    /// A call named as Interface::Method fails, `times` times (0: always) after `after` calls went through.
    void fail(const std::wstring& call, std::uint32_t result, std::uint32_t times = 1, std::uint32_t after = 0);
    /// The next such call succeeds and hands out nothing.
    void answerNull(const std::wstring& call);
    void delay(const std::wstring& call, std::uint32_t milliseconds);
    /// The server dies inside the next such call.
    void dieIn(const std::wstring& call);
    void holdLock(std::uint32_t milliseconds);

    /// How many objects clients hold, and which.
    std::uint32_t references(std::wstring& listing);

    void trace(bool on);
    std::wstring traceText();
    void scenario(const std::wstring& json);
    void reset();
    /// The server ends.
    void stop();

private:
    Microsoft::WRL::ComPtr<IVBoxSimControl> control_;
};

} // namespace TravikTest
