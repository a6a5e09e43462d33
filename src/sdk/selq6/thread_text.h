#pragma once

#include <windows.h>

#include <string>

namespace Travik {

/// One text for each thread, until the thread ends or the owner does, whichever comes first.
///
/// Not thread_local: MinGW keeps a DLL in the process for as long as a thread lives that has such a variable with a
/// destructor, so that FreeLibrary would unload nothing, close no log and release no object.
class ThreadText
{
public:
    ThreadText();
    ThreadText(const ThreadText&) = delete;
    ThreadText& operator=(const ThreadText&) = delete;
    ~ThreadText();

    /// The text of the calling thread, empty at first. Throws std::bad_alloc.
    std::string& ofThisThread();

private:
    DWORD slot_;
};

} // namespace Travik
