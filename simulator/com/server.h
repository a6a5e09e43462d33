#pragma once

#include <functional>
#include <map>
#include <memory>

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
    /// The imports by the processes that ordered them, which end with them. Guarded by the host's mutex.
    std::multimap<DWORD, std::weak_ptr<Progress>> imports;

    void noteImport(const ProgressPtr& progress)
    {
        std::erase_if(imports, [](const auto& entry) { return entry.second.expired(); });
        imports.emplace(Clients::caller(), progress);
    }
    void cancelImportsOf(DWORD process)
    {
        const auto [first, last] = imports.equal_range(process);
        for (auto entry = first; entry != last; ++entry)
            if (const ProgressPtr progress = entry->second.lock(); progress && !progress->isCompleted())
                progress->cancel();
        imports.erase(first, last);
    }
    /// Called by a server that is about to die inside a call.
    std::function<void()> beforeDeath = [] {};
};

} // namespace VBoxSim
