#include "host/sessions.h"

#include "host/host.h"
#include "host/vm_life.h"

namespace VBoxSim {

SessionPtr Sessions::get(const std::wstring& id, ClientId process)
{
    SessionPtr& session = sessions_[id];
    if (!session) {
        session = std::make_shared<Session>();
        session->id = id;
        session->process = process;
    }
    return session;
}

SessionPtr Sessions::find(const std::wstring& id) const
{
    const auto found = sessions_.find(id);
    return found == sessions_.end() ? nullptr : found->second;
}

std::uint32_t Sessions::stateOf(const std::wstring& id) const
{
    const SessionPtr session = find(id);
    return session ? session->state : static_cast<std::uint32_t>(SessionState::Unlocked);
}

std::wstring Sessions::nameOf(const std::wstring& id) const
{
    const SessionPtr session = find(id);
    return session ? session->name : std::wstring();
}

SessionPtr Sessions::demandLocked(const std::wstring& id) const
{
    const std::uint32_t state = stateOf(id);
    if (state != SessionState::Locked)
        throw Failure(Result::unexpected,
                      L"The session is not locked (session state: " + sessionStateName(state) + L")");
    return find(id);
}

void Sessions::setName(const std::wstring& id, ClientId process, const std::wstring& name)
{
    const SessionPtr session = get(id, process);
    if (session->state != SessionState::Unlocked)
        throw Failure(Result::invalidObjectState, L"The session's name can only be set while it is unlocked");
    session->name = name;
}

void Sessions::drop(const std::wstring& id)
{
    if (const SessionPtr session = find(id)) {
        sessions_.erase(id);
        abandonSession(host_, session);
    }
}

void Sessions::dropAllOf(ClientId process)
{
    const std::map<std::wstring, SessionPtr> known = sessions_;
    for (const auto& [id, session] : known)
        if (session->process == process)
            drop(id);
}

} // namespace VBoxSim
