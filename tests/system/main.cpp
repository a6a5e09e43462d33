#include <gmock/gmock.h>

#include <exception>
#include <iostream>

#include "harness/front_end.h"
#include "own_processes.h"
#include "scratch.h"

namespace {

/// The suites of the program that no CTest entry would run.
std::string unlistedSuites()
{
    const std::string listed = "|" TRAVIK_SUITES "|";
    const testing::UnitTest& tests = *testing::UnitTest::GetInstance();
    std::string missing;
    for (int i = 0; i < tests.total_test_suite_count(); ++i) {
        const std::string name = tests.GetTestSuite(i)->name();
        if (listed.find('|' + name + '|') == std::string::npos)
            missing += ' ' + name;
    }
    return missing;
}

} // namespace

// This executable is the tests, and every front end that they start in another process.
int main(int argc, char** argv)
{
    if (const std::optional<int> exitCode = TravikTest::playRole())
        return *exitCode;
    testing::InitGoogleMock(&argc, argv);
    if (const std::string missing = unlistedSuites(); !missing.empty()) {
        std::cerr << "the build lists no such suites:" << missing << '\n';
        return 2;
    }
    if (const std::optional<int> exitCode = TravikTest::runTestsInOwnProcesses())
        return *exitCode;
    try {
        TravikTest::makeScratchFolder();
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 2;
    }
    return RUN_ALL_TESTS();
}
