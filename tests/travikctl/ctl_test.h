#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>

#include "child_process.h"
#include "control.h"
#include "run.h"
#include "scratch.h"
#include "standin.h"
#include "world.h"

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// A test with a world of its own and the stand-in's server; at its end no program holds anything in the server.
class TravikctlTest : public testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    TravikTest::World& world() { return *world_; }
    /// A folder for the test's own files.
    std::filesystem::path folder() const { return world_->folder() / L"files"; }

    static std::wstring player() { return TravikTest::Machines::player; }
    static std::string playerId() { return TravikTest::utf8(TravikTest::Machines::playerId); }

    /// What a machine's settings file holds.
    std::string settingsOf(const std::wstring& machine) const;
    std::string stateOf(const std::wstring& machine) const;

private:
    std::unique_ptr<TravikTest::World> world_;
    std::unique_ptr<TravikTest::ChildProcess> server_;
};

/// Whether a run succeeded and said nothing on the error output.
testing::AssertionResult succeeded(const Outcome& run);

/// Whether a run failed as text: this exit code, nothing on the output, and all of these on the error output.
testing::AssertionResult failed(const Outcome& run, int exitCode, const std::vector<std::string>& texts);

/// Whether a run failed as JSON: this exit code, these names of operation, code and HRESULT ("" for none), a text and a
/// hint, and nothing on the error output.
testing::AssertionResult failedAsJson(const Outcome& run, int exitCode, const std::string& operation,
                                      const std::string& code, const std::string& result);

/// Runs the arguments as text and as JSON; both must be refused, for the same reason.
void expectRefused(const std::vector<std::wstring>& arguments, int exitCode, const std::string& operation,
                   const std::string& code, const std::string& result);
