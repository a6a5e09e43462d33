#pragma once

// What all samples share and what is not their subject: text on the terminal and the way in and out.

#include <travik/scoped_handle.h>

#include <cstdio>
#include <string>
#include <vector>

/// Prints a line in UTF-8.
inline void print(const std::wstring& line)
{
    std::printf("%s\n", utils_toUTF8(line.c_str()));
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
    Travik::VBoxInstanceImpl& vbox = *GetVBoxInstance();
    vbox.setLogPath(L"NUL"); // without a file the log goes to the standard output
    int exitCode = 0;
    try {
        Travik::connect(vbox, Travik::Deadline(std::chrono::seconds(10)));
        sample(vbox, arguments);
    } catch (const Travik::SdkError& error) {
        std::printf("failed: %s\n", error.what());
        print(error.text());
        exitCode = 1;
    } catch (const std::exception& error) {
        std::printf("failed: %s\n", error.what());
        exitCode = 1;
    }
    vbox.releaseRC(); // on the thread that created the objects, before the process ends
    return exitCode;
}
