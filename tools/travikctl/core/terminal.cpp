#include "terminal.h"

#include <windows.h>

#include <algorithm>
#include <cstdlib>

#include "text.h"

namespace {

std::mutex outputMutex;
bool indicatorShown = false; // guarded by outputMutex
std::atomic<bool> interruptFlag = false;
int interruptExitCode = 0; // set before the first interrupt can come

bool isConsole(HANDLE handle)
{
    DWORD mode = 0;
    return GetConsoleMode(handle, &mode) != 0;
}

/// Switches the terminal's escape sequences on.
bool understandsColor(HANDLE handle)
{
    DWORD mode = 0;
    return GetConsoleMode(handle, &mode) != 0 && SetConsoleMode(handle, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

void writeRaw(DWORD which, const std::string& utf8)
{
    const HANDLE handle = GetStdHandle(which);
    DWORD written = 0;
    if (isConsole(handle)) {
        const std::wstring wide = fromUtf8(utf8);
        WriteConsoleW(handle, wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr);
        return;
    }
    // A pipe takes what fits and no more at a time.
    for (std::size_t done = 0; done < utf8.size(); done += written) {
        const DWORD size = static_cast<DWORD>(utf8.size() - done);
        if (!WriteFile(handle, utf8.data() + done, size, &written, nullptr) || written == 0)
            return; // the reader is gone
    }
}

/// outputMutex must be held.
void clearIndicator()
{
    if (indicatorShown)
        writeRaw(STD_ERROR_HANDLE, "\r" + std::string(60, ' ') + "\r");
    indicatorShown = false;
}

void write(DWORD which, const std::string& utf8)
{
    const std::lock_guard lock(outputMutex);
    clearIndicator();
    writeRaw(which, utf8);
}

void showIndicator(const std::string& label, std::chrono::seconds elapsed)
{
    const std::lock_guard lock(outputMutex);
    const char* state = interrupted() ? ": stopping, " : ": ";
    writeRaw(STD_ERROR_HANDLE, "\r" + label + state + std::to_string(elapsed.count()) + " s ");
    indicatorShown = true;
}

BOOL WINAPI onConsoleEvent(DWORD event)
{
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT)
        return FALSE;
    if (interruptFlag.exchange(true))
        TerminateProcess(GetCurrentProcess(), static_cast<UINT>(interruptExitCode));
    return TRUE;
}

} // namespace

void writeOut(const std::string& utf8)
{
    write(STD_OUTPUT_HANDLE, utf8);
}

void writeError(const std::string& utf8)
{
    write(STD_ERROR_HANDLE, utf8);
}

bool wantsColor(bool terminal, const wchar_t* noColor)
{
    return terminal && (!noColor || *noColor == 0);
}

std::string colored(const std::string& text, Color color, bool onError)
{
    const HANDLE handle = GetStdHandle(onError ? STD_ERROR_HANDLE : STD_OUTPUT_HANDLE);
    return wantsColor(understandsColor(handle), _wgetenv(L"NO_COLOR"))
               ? "\x1b[" + std::to_string(static_cast<int>(color)) + "m" + text + "\x1b[0m"
               : text;
}

void catchInterrupts(int exitCode)
{
    interruptExitCode = exitCode;
    SetConsoleCtrlHandler(onConsoleEvent, TRUE);
}

bool interrupted()
{
    return interruptFlag;
}

Attendant::Attendant(Duties duties) : duties_(std::move(duties))
{
    if (!isConsole(GetStdHandle(STD_ERROR_HANDLE)))
        duties_.label.clear();
    if (!duties_.label.empty() || duties_.giveUp)
        thread_ = std::thread([this] { run(); });
}

Attendant::~Attendant()
{
    if (!thread_.joinable())
        return;
    {
        const std::lock_guard lock(mutex_);
        finished_ = true;
    }
    wake_.notify_one();
    thread_.join();
    const std::lock_guard lock(outputMutex);
    clearIndicator();
}

void Attendant::run()
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    std::unique_lock lock(mutex_);
    const auto period = [&] {
        const Clock::time_point next = Clock::now() + std::chrono::milliseconds(500);
        return duties_.giveUp ? std::min(next, start + *duties_.giveUp) : next;
    };
    while (!wake_.wait_until(lock, period(), [this] { return finished_; })) {
        const auto elapsed = Clock::now() - start;
        if (duties_.giveUp && elapsed >= *duties_.giveUp) {
            duties_.farewell();
            // The working thread is inside a call that does not return; nothing in this process can end that call.
            TerminateProcess(GetCurrentProcess(), duties_.exitCode);
        }
        if (!duties_.label.empty() && elapsed >= std::chrono::seconds(1))
            showIndicator(duties_.label, std::chrono::duration_cast<std::chrono::seconds>(elapsed));
    }
}
