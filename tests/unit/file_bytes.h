#pragma once

#include <filesystem>
#include <string>

namespace TravikTest {

/// The bytes of a file, which may be open for writing elsewhere; throws when it cannot be read.
std::string readBytes(const std::filesystem::path& file);

/// Makes or replaces a file.
void writeBytes(const std::filesystem::path& file, const std::string& bytes);

} // namespace TravikTest
