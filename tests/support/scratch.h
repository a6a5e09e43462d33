#pragma once

#include <filesystem>

namespace TravikTest {

/// The folder in which this test may do as it likes; empty when the program starts.
const std::filesystem::path& scratchFolder();

/// The folder with the products: the DLL and the stand-in.
const std::filesystem::path& productFolder();

/// Empties the scratch folder; throws when it is not surely a scratch folder.
void makeScratchFolder();

} // namespace TravikTest
