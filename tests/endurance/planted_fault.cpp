// A program that does one thing wrong: planted_fault KIND. Exit code 0 means that nobody noticed.

#include <windows.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

// The faults are the purpose of this program.
#pragma GCC diagnostic ignored "-Warray-bounds"
#pragma GCC diagnostic ignored "-Wuse-after-free"

namespace {

volatile int sink = 0;

void writeBehind(std::size_t size, std::size_t distance)
{
    volatile char* const block = new char[size];
    block[size + distance] = 'x';
    delete[] block;
}

void writeInFront()
{
    volatile char* const block = new char[64];
    block[-8] = 'x';
    delete[] block;
}

void useAfterDelete()
{
    volatile int* const number = new int(7);
    delete number;
    sink = *number;
}

void overflow()
{
    volatile int greatest = INT_MAX;
    sink = greatest + 1;
}

void shiftTooFar()
{
    volatile int distance = 40;
    sink = 1 << distance;
}

void indexTooGreat()
{
    std::vector<int> numbers(3);
    volatile std::size_t index = 3;
    sink = numbers[index];
}

void nothing() {}

/// Without the debugger that Wine would start, and the window that Windows would show.
LONG WINAPI endWithItsCode(EXCEPTION_POINTERS* exception)
{
    TerminateProcess(GetCurrentProcess(), exception->ExceptionRecord->ExceptionCode);
    return EXCEPTION_EXECUTE_HANDLER;
}

} // namespace

int main(int count, char** arguments)
{
    SetUnhandledExceptionFilter(endWithItsCode);
    const std::map<std::string, std::function<void()>> faults = {
        {"nothing", nothing},
        {"write-behind", [] { writeBehind(64, 0); }},
        {"write-one-behind-odd-size", [] { writeBehind(61, 0); }},
        {"write-in-front", writeInFront},
        {"use-after-delete", useAfterDelete},
        {"overflow", overflow},
        {"shift-too-far", shiftTooFar},
        {"index-too-great", indexTooGreat},
    };
    const auto fault = faults.find(count == 2 ? arguments[1] : "");
    if (fault == faults.end())
        return 2;
    fault->second();
    return 0;
}
