#pragma once

#include <gmock/gmock.h>

#include <map>
#include <memory>
#include <set>
#include <string>

#include "child_process.h"
#include "control.h"
#include "run.h"
#include "scratch.h"
#include "standin.h"
#include "world.h"

namespace TravikTest {

/// What a run of the probe said.
struct ProbeRun
{
    Outcome outcome;
    nlohmann::json report;

    /// The statements that were checked and do not hold, with what was seen.
    std::map<std::string, std::string> failing() const;
    /// Those that could not be checked, with the reason.
    std::map<std::string, std::string> unchecked() const;
    std::size_t holding() const { return report["totals"]["hold"]; }
};

/// A test with a world of the usual machines and the stand-in's server; the probe's folder is in the scratch folder. At
/// the end nothing of the probe is left.
class ProbeTest : public testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    World& world() { return *world_; }

    /// Runs the probe to its end.
    ProbeRun probe(std::vector<std::wstring> arguments);
    /// Starts it with an output and a report of its own.
    std::unique_ptr<Program> startProbe(std::vector<std::wstring> arguments);
    ProbeRun resultOf(Program& program);

    /// Where runs of the probe have their folders.
    std::filesystem::path folderOfRuns() const { return world_->folder() / L"temp" / L"vboxprobe"; }

private:
    std::filesystem::path report() const { return world_->folder() / L"report.json"; }

    std::unique_ptr<World> world_;
    std::unique_ptr<ChildProcess> server_;
};

} // namespace TravikTest
