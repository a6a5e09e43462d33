#pragma once

#include <gmock/gmock.h>

#include <initializer_list>
#include <memory>
#include <string>

#include "child_process.h"
#include "control.h"
#include "front_end.h"
#include "library.h"
#include "standin.h"
#include "travik/scoped_handle.h"
#include "world.h"

namespace TravikTest {

using namespace Travik;

/// The name that failure texts give an HRESULT.
std::wstring resultText(std::uint32_t result);

/// Whether an operation succeeded; its failure text when not.
testing::AssertionResult done(SdkErrorCode code);

/// Whether an operation failed with this code because VirtualBox answered this HRESULT, and says so in every way.
testing::AssertionResult refused(SdkErrorCode got, SdkErrorCode code, std::uint32_t result);

/// The same for an HRESULT of which VirtualBox does not say exactly which one it is.
testing::AssertionResult refusedAny(SdkErrorCode got, SdkErrorCode code, std::initializer_list<std::uint32_t> results);

/// Whether an operation failed with this code without asking VirtualBox, and says so in every way.
testing::AssertionResult failedUnasked(SdkErrorCode got, SdkErrorCode code);

/// A failure text without its line number, which is nobody's business.
std::wstring withoutLine(const std::wstring& failureText);

/// A test with a world of its own, the library in this process and the stand-in's server in another. At its end no
/// client holds anything in the server, no process is left, and the world is removed.
class SystemTest : public testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    /// Writes the world; by default the usual machines.
    virtual void furnish() { world().addUsualMachines(); }
    /// Whether a server waits when the test begins; otherwise COM starts one for the first client.
    virtual bool serverWaits() const { return true; }

    World& world() { return *world_; }

    /// The control of the running server.
    Control& control();
    /// Ends the server in order and starts another one, which reads the world from disk.
    void restartServer();
    /// The server dies; the library is left with what it holds.
    void crashServer();
    /// Waits for a death that was ordered by the control.
    void awaitServerDeath();
    /// The successor of a dead server, sooner than COM would start one.
    void startNextServer() { server_ = startServer(); }

    VBoxHandle find(const std::wstring& nameOrId);
    std::wstring nameOf(VBoxHandle machine);
    std::uint32_t stateOf(VBoxHandle machine);
    /// Locks the machine for writing and returns the session's machine.
    VBoxHandle lockForWriting(VBoxHandle machine);

    VBoxInstanceImpl& sdk = library();

private:
    void expectNothingHeld();

    std::unique_ptr<World> world_;
    std::unique_ptr<ChildProcess> server_;
    std::unique_ptr<Control> control_;
};

} // namespace TravikTest
