#pragma once

#include <map>
#include <string>

#include "host/machine.h"

namespace VBoxSim {

class Host;

/// The session objects of the clients. Guarded by the host's mutex.
class Sessions
{
public:
    explicit Sessions(Host& host) : host_(host) {}

    const std::map<std::wstring, SessionPtr>& all() const { return sessions_; }
    /// The session of that identifier, made when it is new.
    SessionPtr get(const std::wstring& id, ClientId process);
    /// Null when nobody has used it.
    SessionPtr find(const std::wstring& id) const;
    /// One that holds a machine; throws Failure(unexpected) for any other.
    SessionPtr demandLocked(const std::wstring& id) const;
    std::uint32_t stateOf(const std::wstring& id) const;
    std::wstring nameOf(const std::wstring& id) const;
    void setName(const std::wstring& id, ClientId process, const std::wstring& name);

    /// The client dropped the session object or died: a machine that it held for writing counts as aborted.
    void drop(const std::wstring& id);
    void dropAllOf(ClientId process);
    void clear() { sessions_.clear(); }

private:
    Host& host_;
    std::map<std::wstring, SessionPtr> sessions_;
};

} // namespace VBoxSim
