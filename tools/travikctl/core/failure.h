#pragma once

#include <exception>
#include <stdexcept>
#include <string>

#include "output.h"

/// What the process answers.
namespace ExitCode {
enum : int
{
    Done = 0,
    Refused = 1,       ///< VirtualBox or the library refused, or the task failed
    Usage = 2,         ///< the command line is wrong
    NotFound = 3,      ///< no such machine, file or other thing
    TimedOut = 4,      ///< --timeout ran out
    Locked = 5,        ///< the machine is locked, also after --wait-lock
    Unreachable = 6,   ///< VirtualBox cannot be reached, or its server went away
    Findings = 7,      ///< doctor found a problem, or a step of the tour did not give what it states
    Interrupted = 130, ///< Ctrl-C
};
}

/// A command's own refusal.
class CommandError : public std::runtime_error
{
public:
    CommandError(int exitCode, const std::string& text, std::string hint = std::string())
        : std::runtime_error(text), exitCode_(exitCode), hint_(std::move(hint))
    {}

    int exitCode() const { return exitCode_; }
    const std::string& hint() const { return hint_; }

private:
    int exitCode_;
    std::string hint_;
};

/// Ctrl-C.
class Interrupted : public std::exception
{
public:
    const char* what() const noexcept override { return "interrupted"; }
};

/// A failure with all that is known about it; JSON values are null where there is none.
struct Failure
{
    int exitCode = ExitCode::Refused;
    std::string sentence; ///< what went wrong
    std::string remedy;   ///< what to do about it
    Json operation, code, codeName, result, resultName;
    std::string text; ///< of the library or the system
    Json reason;      ///< VirtualBox's own sentence, where it has one
};

Failure describe(std::exception_ptr failure);

/// For people: the sentence and the remedy; the numbers, too, if they are wanted.
std::string asText(const Failure& failure, const std::string& who, bool verbose);
/// For programs.
Json asJson(const Failure& failure);

/// Whether it is a task's failure inside an operation, whose reason only the library's log has.
bool hasReasonInLog(const Failure& failure);
