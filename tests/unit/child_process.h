#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace TravikTest {

/// How a child process ended.
struct ChildResult
{
    bool ended = false; ///< false: it had to be stopped after its time
    std::uint32_t exitCode = 0;
    std::string output; ///< the bytes of its standard output
};

/// The program that plays the other process.
std::filesystem::path childProgram();

/// Starts a program, waits for its end and collects its standard output; stops it after 20 seconds.
ChildResult runChild(const std::filesystem::path& program, const std::vector<std::wstring>& arguments);

} // namespace TravikTest
