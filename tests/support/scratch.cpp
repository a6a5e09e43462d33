#include "scratch.h"

#include <cstdlib>
#include <stdexcept>

namespace TravikTest {
namespace {

std::filesystem::path folderFromEnvironment(const wchar_t* variable)
{
    const wchar_t* value = _wgetenv(variable);
    if (!value || *value == L'\0')
        throw std::runtime_error("start the tests by CTest: it names their folders in the environment");
    return value;
}

} // namespace

const std::filesystem::path& scratchFolder()
{
    static const std::filesystem::path folder = folderFromEnvironment(L"TRAVIK_TEST_SCRATCH");
    return folder;
}

const std::filesystem::path& productFolder()
{
    static const std::filesystem::path folder = folderFromEnvironment(L"TRAVIK_TEST_BIN");
    return folder;
}

void makeScratchFolder()
{
    // Removal is recursive, and under Wine drive Z: is the machine's root.
    if (!scratchFolder().is_absolute() || scratchFolder().parent_path().filename() != L"scratch")
        throw std::runtime_error("TRAVIK_TEST_SCRATCH is not a folder below a folder named scratch");
    std::filesystem::remove_all(scratchFolder());
    std::filesystem::create_directories(scratchFolder());
}

} // namespace TravikTest
