#pragma once

// What all samples share and what is not their subject: text on the terminal and the way in and out.

#include <travik/scoped_handle.h>

#include <cstdio>
#include <string>
#include <vector>

/// Prints a line in UTF-8.
inline void print(const std::wstring& line)
{
    std::printf("%s\n", Travik::toUTF8(line).c_str());
    std::fflush(stdout);
}

/// Starts the library, runs the sample and tells an error that nobody caught. Returns the exit code.
template <class Sample>
int runSample(int count, wchar_t** values, std::size_t needed, const wchar_t* usage, Sample sample)
{
    const std::vector<std::wstring> arguments(values + 1, values + count);
    if (arguments.size() != needed) {
        print(std::wstring(L"usage: ") + usage);
        return 2;
    }
    GetVBoxInstance()->setLogPath(L"NUL"); // without a file the log goes to the standard output
    try {
        const Travik::Connection vbox(std::chrono::seconds(10)); // for this thread, until the end of the block
        sample(vbox, arguments);
        return 0;
    } catch (const Travik::SdkError& error) {
        std::printf("failed: %s\n", error.what());
        print(error.text());
    } catch (const std::exception& error) {
        std::printf("failed: %s\n", error.what());
    }
    return 1;
}
