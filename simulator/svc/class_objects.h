#pragma once

#include <windows.h>

#include <vector>

namespace VBoxSim {

/// Offers the server's classes to COM for as long as it lives.
class ClassObjects
{
public:
    ClassObjects() = default;
    ~ClassObjects();
    ClassObjects(const ClassObjects&) = delete;
    ClassObjects& operator=(const ClassObjects&) = delete;

    HRESULT offer();
    void withdraw();

private:
    std::vector<DWORD> registrations_;
};

/// Takes the classes back for a server that is about to die: Wine's COM would send clients to it for ever.
void withdrawClassesBeforeDeath();

/// How many clients asked the server to stay although they hold no object.
long serverLocks();

} // namespace VBoxSim
