#pragma once

#include <string>
#include <vector>

#include "host/machine.h"
#include "host/medium.h"
#include "host/progress.h"

namespace VBoxSim {

class Host;

/// The media that the host knows. Guarded by the host's mutex.
class Media
{
public:
    explicit Media(Host& host) : host_(host) {}

    const std::vector<MediumPtr>& all() const { return media_; }
    /// Null when there is none.
    MediumPtr find(const std::wstring& id) const;
    /// The one at that location; an image that nobody knows yet is looked at and becomes known.
    MediumPtr open(const std::wstring& location, std::uint32_t deviceType, bool forceNewUuid);
    /// Makes the media of a machine's registry known.
    void learn(const MachineSettings& settings);
    void add(const MediumPtr& medium);
    /// Forgets a medium everywhere, also in the machines' registries.
    void forget(const MediumPtr& medium);
    /// IMedium::Close: forgets a medium that nobody uses.
    void close(const MediumPtr& medium);
    /// IMedium::DeleteStorage.
    ProgressPtr deleteStorage(const MediumPtr& medium);
    void clear();

    MediumPtr parentOf(const Medium& medium) const { return medium.parent.empty() ? nullptr : find(medium.parent); }
    MediumPtr baseOf(const MediumPtr& medium) const;
    std::vector<MediumPtr> childrenOf(const Medium& medium) const;
    /// Machines that have it attached, in their current state or a snapshot.
    std::vector<MachinePtr> machinesUsing(const std::wstring& medium) const;
    /// Whether it is attached or something is based on it.
    bool isBusy(const Medium& medium) const;
    bool isReadOnly(const Medium& medium) const;
    std::uint32_t stateOf(const Medium& medium) const;
    std::uint32_t refresh(Medium& medium);

private:
    void writeRegistriesWithout(const std::wstring& medium);
    /// As a running machine with these settings holds it; its own state when it does not.
    std::uint32_t lockedState(const Medium& medium, const MachineSettings& running) const;

    Host& host_;
    std::vector<MediumPtr> media_;
};

} // namespace VBoxSim
