#pragma once

#include <windows.h>

#include <filesystem>
#include <string>
#include <vector>

namespace TravikTest {

/// CreateProcessW: a program, which inherits the handles that it may, with arguments that are quoted here. Throws when
/// it does not start. The caller closes both handles.
///
/// Under Wine a start is lost now and then, once in 18,000 measured: the loader of the machine's C library ends the new
/// process with a failed assertion of its own, before any code of the program runs. Such a start is tried again.
PROCESS_INFORMATION startProcess(const std::filesystem::path& program, const std::vector<std::wstring>& arguments,
                                 STARTUPINFOW startup = {}, DWORD flags = 0);

} // namespace TravikTest
