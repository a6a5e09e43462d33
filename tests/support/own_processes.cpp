#include "own_processes.h"

#include <windows.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "start_process.h"

namespace TravikTest {
namespace {

/// The full names of the tests that the filter selects.
std::vector<std::string> selectedTests()
{
    testing::GTEST_FLAG(list_tests) = true;
    testing::internal::CaptureStdout();
    [[maybe_unused]] const int exitCode = RUN_ALL_TESTS(); // lists them
    std::istringstream listing(testing::internal::GetCapturedStdout());
    std::vector<std::string> tests;
    std::string suite;
    for (std::string line; std::getline(listing, line);) {
        const std::string name = line.substr(0, line.find_last_not_of("\r") + 1);
        const std::string bare = name.substr(0, name.find("  #"));
        if (bare.starts_with("  "))
            tests.push_back(suite + bare.substr(2));
        else
            suite = bare;
    }
    return tests;
}

DWORD exitCodeOf(const std::wstring& program, const std::vector<std::wstring>& arguments)
{
    const PROCESS_INFORMATION process = startProcess(program, arguments);
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD code = 1;
    GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hProcess);
    CloseHandle(process.hThread);
    return code;
}

std::wstring ownPath()
{
    std::wstring path(32'768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

} // namespace

std::optional<int> runTestsInOwnProcesses()
{
    if (std::getenv("TRAVIK_TEST_OWN_PROCESSES") == nullptr)
        return std::nullopt;
    const std::vector<std::string> tests = selectedTests();
    testing::GTEST_FLAG(list_tests) = false;
    if (tests.size() <= 1)
        return std::nullopt;
    const std::wstring program = ownPath();
    std::vector<std::string> failed;
    for (const std::string& test : tests) {
        const std::wstring filter = L"--gtest_filter=" + std::wstring(test.begin(), test.end());
        if (exitCodeOf(program, {filter, L"--gtest_brief=1"}) != 0)
            failed.push_back(test);
        if (testing::GTEST_FLAG(fail_fast) && !failed.empty())
            break;
    }
    std::printf("%zu tests, %zu failed\n", tests.size(), failed.size());
    for (const std::string& test : failed)
        std::printf("failed: %s\n", test.c_str());
    return failed.empty() ? 0 : 1;
}

} // namespace TravikTest
