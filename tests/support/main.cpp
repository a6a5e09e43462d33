#include <gmock/gmock.h>

#include <exception>
#include <iostream>

#include "own_processes.h"
#include "scratch.h"

int main(int argc, char** argv)
{
    testing::InitGoogleMock(&argc, argv);
    try {
        if (const std::optional<int> exitCode = TravikTest::runTestsInOwnProcesses())
            return *exitCode;
        TravikTest::makeScratchFolder();
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 2;
    }
    return RUN_ALL_TESTS();
}
