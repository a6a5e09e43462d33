#include "ctl_test.h"

using namespace TravikTest;

namespace {

// COM for the control interface, on the thread of the tests and for their whole time.
const HRESULT comReady = CoInitialize(nullptr);

} // namespace

void TravikctlTest::SetUp()
{
    ASSERT_TRUE(SUCCEEDED(comReady));
    registerStandIn();
    ASSERT_TRUE(stopServer()) << "a server of another world runs and does not end";
    world_ = std::make_unique<World>(scratchFolder() / L"world");
    world_->addUsualMachines();
    std::filesystem::create_directories(folder());
    setWorld(world_->home());
    server_ = startServer();
}

void TravikctlTest::TearDown()
{
    if (serverProcess() != 0) {
        std::wstring listing;
        EXPECT_TRUE(soon([&] { return Control().references(listing) == 0; }, milliseconds(30'000)))
            << "still held by clients: " << utf8(listing);
    }
    EXPECT_TRUE(stopServer()) << "the server does not end";
    server_.reset();
    std::filesystem::remove_all(world_->folder());
}

std::string TravikctlTest::settingsOf(const std::wstring& machine) const
{
    return readFile(world_->machineFile(machine));
}

std::string TravikctlTest::stateOf(const std::wstring& machine) const
{
    return travikctlJson({L"state", machine}).json().value("stateText", "none");
}

testing::AssertionResult succeeded(const Outcome& run)
{
    if (run.exitCode == 0 && run.err.empty())
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << run.all();
}

testing::AssertionResult failed(const Outcome& run, int exitCode, const std::vector<std::string>& texts)
{
    bool fits = run.exitCode == exitCode && run.out.empty();
    for (const std::string& text : texts)
        fits = fits && run.err.find(text) != std::string::npos;
    return fits ? testing::AssertionSuccess() : testing::AssertionFailure() << run.all();
}

testing::AssertionResult failedAsJson(const Outcome& run, int exitCode, const std::string& operation,
                                      const std::string& code, const std::string& result)
{
    const json error = run.error();
    const auto named = [&error](const char* key, const std::string& name) {
        const json expected = name.empty() ? json() : json(name);
        return error.contains(key) && error[key] == expected;
    };
    const bool fits = run.exitCode == exitCode && run.err.empty() && error.value("exitCode", -1) == exitCode &&
                      named("operation", operation) && named("name", code) && named("hresultName", result) &&
                      !error.value("sentence", "").empty() && !error.value("text", "").empty() &&
                      !error.value("remedy", "").empty() && error["code"].is_null() == code.empty() &&
                      error["hresult"].is_null() == result.empty();
    return fits ? testing::AssertionSuccess() : testing::AssertionFailure() << run.all();
}

void expectRefused(const std::vector<std::wstring>& arguments, int exitCode, const std::string& operation,
                   const std::string& code, const std::string& result)
{
    std::vector<std::string> numbers{"operation: " + operation, "code:      " + code + " ("};
    if (!result.empty())
        numbers.push_back("HRESULT:   " + result + " (0x");
    std::vector<std::wstring> verbose = arguments;
    verbose.push_back(L"--verbose");
    const Outcome run = travikctl(verbose);
    EXPECT_TRUE(failed(run, exitCode, numbers));
    EXPECT_THAT(run.err, StartsWith("travikctl ")) << "the sentence comes first";
    EXPECT_TRUE(failedAsJson(travikctlJson(arguments), exitCode, operation, code, result));
}
