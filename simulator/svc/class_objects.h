#pragma once

#include <windows.h>

#include <functional>
#include <memory>
#include <vector>

namespace VBoxSim {

struct Server;

/// Offers the server's classes to COM for as long as it lives.
class ClassObjects
{
public:
    /// `stop` is what the controls call to end the server.
    ClassObjects(Server& server, const std::function<void()>& stop);
    ~ClassObjects();
    ClassObjects(const ClassObjects&) = delete;
    ClassObjects& operator=(const ClassObjects&) = delete;

    HRESULT offer();
    /// Also for a server that is about to die: Wine's COM would send clients to it for ever.
    void withdraw();
    /// How many clients asked the server to stay although they hold no object.
    long locks() const;

private:
    struct Factories;

    const std::unique_ptr<Factories> factories_;
    std::vector<DWORD> registrations_;
};

} // namespace VBoxSim
