#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "child_process.h"

namespace TravikTest {

/// What a role reads and writes: the test's side of it is a FrontEndProcess.
struct RoleIo
{
    std::vector<std::wstring> arguments;

    /// One line to the test.
    void say(std::wstring_view text) const;
    /// The next line of the test; empty when the test has gone.
    std::wstring hear() const;
};

/// A part that this executable plays in a process of its own: a front end that holds a lock, leaves, is killed. Define
/// one per part at namespace scope.
class Role
{
public:
    using Body = int (*)(const RoleIo& io);

    Role(const wchar_t* name, Body body);

private:
    friend std::optional<int> playRole();
    const wchar_t* name_;
    Body body_;
    const Role* next_;
};

/// Plays the role that the command line names and returns its exit code; nothing when it names none.
std::optional<int> playRole();

/// Another process that plays a role.
class FrontEndProcess : public ChildProcess
{
public:
    explicit FrontEndProcess(const std::wstring& role, std::vector<std::wstring> arguments = {});
};

} // namespace TravikTest
