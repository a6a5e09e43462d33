#pragma once

#include <filesystem>
#include <string>

/// The library's log of one run: the user's file, one of our own that goes with the run, or none.
class TaskLog
{
public:
    /// Throws CommandError when the user's file cannot be written: the library would fall back to the standard output.
    TaskLog(const std::string& file, bool wanted);
    ~TaskLog();
    TaskLog(const TaskLog&) = delete;
    TaskLog& operator=(const TaskLog&) = delete;

    /// What VirtualBox said of the last task of this run that failed inside an operation; empty when it said nothing.
    std::string reason() const;

private:
    std::filesystem::path file_;
    bool ours_ = false;
    std::uintmax_t begin_ = 0; ///< where this run's records begin
};

/// That sentence in the text of a log, with its characters back in place of the log's escapes.
std::string reasonIn(const std::string& log);
