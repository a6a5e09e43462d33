// The tests' main and scratch folder where the tests run on the machine itself, not under Wine.
#include <gmock/gmock.h>

#include <cstdlib>
#include <iostream>
#include <locale>
#include <stdexcept>

#include "scratch.h"

namespace TravikTest {

const std::filesystem::path& scratchFolder()
{
    static const std::filesystem::path folder = [] {
        const char* value = std::getenv("TRAVIK_TEST_SCRATCH");
        return std::filesystem::path(value ? value : "");
    }();
    return folder;
}

void makeScratchFolder()
{
    if (!scratchFolder().is_absolute() || scratchFolder().parent_path().filename() != "scratch")
        throw std::runtime_error("TRAVIK_TEST_SCRATCH is not a folder below a folder named scratch");
    std::filesystem::remove_all(scratchFolder());
    std::filesystem::create_directories(scratchFolder());
}

} // namespace TravikTest

int main(int argc, char** argv)
{
    testing::InitGoogleMock(&argc, argv);
    std::locale::global(std::locale("C.UTF-8")); // for names of files
    try {
        TravikTest::makeScratchFolder();
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 2;
    }
    return RUN_ALL_TESTS();
}
