#pragma once

#include "child_process.h"
#include "scratch.h"

namespace TravikTest {

/// The program that plays the other process.
inline std::filesystem::path childProgram()
{
    return productFolder() / L"tests" / L"unit_child.exe";
}

} // namespace TravikTest
