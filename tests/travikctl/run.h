#pragma once

#include <windows.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

/// What a program left behind.
struct Outcome
{
    int exitCode = -1; ///< -1: it did not end in time and was killed
    std::string out;
    std::string err;

    /// The output as JSON; a discarded value when it is none.
    nlohmann::json json() const { return nlohmann::json::parse(out, nullptr, false); }
    /// Of travikctl: the document without what every one begins with.
    nlohmann::json facts() const
    {
        nlohmann::json document = json();
        document.erase("schema");
        document.erase("verb");
        return document;
    }
    /// The fields of a failure printed as JSON.
    nlohmann::json error() const { return json().value("error", nlohmann::json::object()); }
    /// All of it, for a test's message.
    std::string all() const { return "exit code " + std::to_string(exitCode) + "\n" + out + err; }
};

/// A console of this process's own, in place of one that it may have.
class Console
{
public:
    Console();
    ~Console();
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    /// For programs to write to.
    HANDLE screen() const { return screen_; }
    /// The first line of what it shows.
    std::wstring firstLine() const;

private:
    HANDLE screen_ = nullptr;
};

/// A program with its output in files of the scratch folder; the error output goes to the console if there is one.
class Program
{
public:
    Program(const std::filesystem::path& program, const std::vector<std::wstring>& arguments, DWORD flags = 0,
            const Console* console = nullptr);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// As if the user pressed Ctrl-C; for a program that was started with CREATE_NO_WINDOW, which has a console of its
    /// own that nobody sees.
    void pressCtrlC() const;
    /// What it has written so far.
    std::string outSoFar() const;
    Outcome wait(std::chrono::milliseconds limit = std::chrono::seconds(60));

private:
    std::filesystem::path outFile_, errFile_;
    HANDLE process_ = nullptr;
    DWORD id_ = 0;
};

Outcome runProgram(const std::filesystem::path& program, const std::vector<std::wstring>& arguments);
Outcome travikctl(const std::vector<std::wstring>& arguments);
/// The same with --json in front; the output must be as travikctl.schema.json says.
Outcome travikctlJson(std::vector<std::wstring> arguments);
/// The stand-in's control program; a failure is the test's.
void vboxsim(const std::vector<std::wstring>& arguments);
