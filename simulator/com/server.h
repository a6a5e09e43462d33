#pragma once

#include <functional>

#include "com/call_trace.h"
#include "com/clients.h"
#include "host/host.h"

namespace VBoxSim {

/// What all COM objects of the server share. Outlives them.
struct Server
{
    explicit Server(Host& served) : host(served) {}

    Host& host;
    CallTrace trace;
    Clients clients;
    /// Called by a server that is about to die inside a call.
    std::function<void()> beforeDeath = [] {};
};

} // namespace VBoxSim
