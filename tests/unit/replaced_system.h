#pragma once

#include <cstdint>
#include <string>

namespace TravikTest {

/// While it lives, the program believes to be that file; an empty path stands for a system that cannot tell. The path
/// that held before holds again afterwards.
class ProgramPath
{
public:
    explicit ProgramPath(std::wstring path);
    ProgramPath(const ProgramPath&) = delete;
    ProgramPath& operator=(const ProgramPath&) = delete;
    ~ProgramPath();

    const std::wstring& path() const { return path_; }

private:
    std::wstring path_;
    const ProgramPath* before_;
};

/// While it lives, the user's ANSI code page is that one.
class CodePage
{
public:
    explicit CodePage(unsigned number);
    CodePage(const CodePage&) = delete;
    CodePage& operator=(const CodePage&) = delete;
    ~CodePage();
};

/// While it lives, nothing can be written to a file.
class FullDisk
{
public:
    FullDisk();
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;
    ~FullDisk();
};

/// While it lives, the clocks of the system and of the C runtime show this number of seconds since 1970 UTC; a negative
/// one has no date.
class Clock
{
public:
    explicit Clock(std::int64_t seconds);
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;
    ~Clock();
};

} // namespace TravikTest
