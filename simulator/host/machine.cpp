#include "host/machine.h"

#include <iterator>

namespace VBoxSim {

Event machineEvent(std::uint32_t type, const Machine& machine)
{
    Event event;
    event.type = type;
    event.machineId = machine.id;
    return event;
}

std::wstring stateName(std::uint32_t state)
{
    constexpr const wchar_t* names[] = {L"Null",     L"PoweredOff", L"Saved",  L"Teleported",  L"Aborted",
                                        L"Running",  L"Paused",     L"Stuck",  L"Teleporting", L"LiveSnapshotting",
                                        L"Starting", L"Stopping",   L"Saving", L"Restoring"};
    return state < std::size(names) ? names[state] : std::to_wstring(state);
}

std::wstring sessionStateName(std::uint32_t state)
{
    constexpr const wchar_t* names[] = {L"Null", L"Unlocked", L"Locked", L"Spawning", L"Unlocking"};
    return state < std::size(names) ? names[state] : std::to_wstring(state);
}

} // namespace VBoxSim
