#include "probe_test.h"

namespace TravikTest {
namespace {

// COM for the control interface, on the thread of the tests and for their whole time.
const HRESULT comReady = CoInitialize(nullptr);

constexpr std::chrono::minutes limit(10);

} // namespace

std::map<std::string, std::string> ProbeRun::failing() const
{
    std::map<std::string, std::string> found;
    for (const nlohmann::json& row : report["statements"])
        if (row["holds"] == false)
            found[row["name"]] = "expected " + row.value("expected", "") + ", seen " + row.value("seen", "");
    return found;
}

std::map<std::string, std::string> ProbeRun::unchecked() const
{
    std::map<std::string, std::string> found;
    for (const nlohmann::json& row : report["statements"])
        if (row["holds"].is_null())
            found[row["name"]] = row.value("why", "");
    return found;
}

void ProbeTest::SetUp()
{
    ASSERT_TRUE(SUCCEEDED(comReady));
    registerStandIn();
    ASSERT_TRUE(stopServer()) << "a server of another world runs and does not end";
    world_ = std::make_unique<World>(scratchFolder() / L"world");
    world_->addUsualMachines();
    const std::filesystem::path temporary = world_->folder() / L"temp";
    std::filesystem::create_directory(temporary);
    ASSERT_TRUE(SetEnvironmentVariableW(L"TMP", temporary.c_str()));
    setWorld(world_->home());
    server_ = startServer();
}

void ProbeTest::TearDown()
{
    EXPECT_FALSE(std::filesystem::exists(folderOfRuns())) << "the probe left its folder";
    if (serverProcess() != 0) {
        std::wstring listing;
        EXPECT_TRUE(soon([&] { return Control().references(listing) == 0; }, milliseconds(5'000)))
            << "still held by clients: " << utf8(listing);
    }
    EXPECT_TRUE(stopServer()) << "the server does not end";
    server_.reset();
    std::filesystem::remove_all(world_->folder());
}

std::unique_ptr<Program> ProbeTest::startProbe(std::vector<std::wstring> arguments)
{
    // Another build of the stand-in may be registered beside this one.
    arguments.insert(arguments.end(), {L"--report", report().wstring(), L"--identity", L"" TRAVIK_TEST_IDENTITY});
    return std::make_unique<Program>(productFolder() / L"vboxprobe.exe", arguments, CREATE_NO_WINDOW);
}

ProbeRun ProbeTest::resultOf(Program& program)
{
    ProbeRun run{program.wait(limit), {}};
    if (std::filesystem::exists(report()))
        run.report = nlohmann::json::parse(readFile(report()), nullptr, false);
    return run;
}

ProbeRun ProbeTest::probe(std::vector<std::wstring> arguments)
{
    std::filesystem::remove(report());
    return resultOf(*startProbe(std::move(arguments)));
}

} // namespace TravikTest
