#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

/// The process's output: UTF-8 into files and pipes, UTF-16 to a console.
void writeOut(const std::string& utf8);
void writeError(const std::string& utf8);

enum class Color
{
    Red = 31,
    Green = 32,
    Yellow = 33
};

/// The text in a color, where the output (or the error output) is a terminal that understands it and the user has not
/// set NO_COLOR.
std::string colored(const std::string& text, Color color, bool onError = false);

/// Whether there is to be color: `noColor` is the value of NO_COLOR, null when it is not set; an empty one does not
/// count.
bool wantsColor(bool terminal, const wchar_t* noColor);

/// From here on Ctrl-C only sets a flag; a second Ctrl-C ends the process at once.
void catchInterrupts(int exitCode);
bool interrupted();

/// Stands beside the one thread that works, and never calls the library: on a terminal it shows how long the work
/// takes, and it ends a process whose call does not come back in time.
class Attendant
{
public:
    struct Duties
    {
        std::string label;                               ///< shown with the elapsed time; empty: show nothing
        std::optional<std::chrono::milliseconds> giveUp; ///< after this time ...
        std::function<void()> farewell;                  ///< ... this is called and
        unsigned exitCode = 0;                           ///< the process ends with this
    };

    explicit Attendant(Duties duties);
    ~Attendant();
    Attendant(const Attendant&) = delete;
    Attendant& operator=(const Attendant&) = delete;

private:
    void run();

    Duties duties_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool finished_ = false;
    std::thread thread_;
};
