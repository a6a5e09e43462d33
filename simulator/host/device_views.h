#pragma once

#include <string>
#include <utility>
#include <vector>

#include "host/machine_view.h"

/// The devices of a machine as one client sees them. All with the host's mutex held; what is refused throws Failure.
namespace VBoxSim {

/// Found by its slot in each call: a machine may lose adapters with its chipset.
class NetworkAdapterView
{
public:
    /// Throws Failure(invalidArgument) when there is no such slot.
    NetworkAdapterView(MachineView machine, std::uint32_t slot);

    const MachineView& machine() const { return machine_; }
    std::uint32_t slot() const { return slot_; }
    const NetworkAdapterSettings& settings() const;
    void setType(std::uint32_t type) const;
    void setEnabled(bool enabled) const;
    /// An empty address stands for a new one.
    void setMacAddress(const std::wstring& address) const;
    void setAttachment(std::uint32_t attachment) const;
    void setCableConnected(bool connected) const;

    // The port forwarding, whatever the adapter is attached to.
    void addRule(const NatRule& rule) const;
    void removeRule(const std::wstring& name) const;
    /// The rest of the NAT engine, to change.
    NatSettings& changeNat() const { return change(Allowed::OffOrRunning).nat; }

private:
    NetworkAdapterSettings& change(Allowed allowed) const;
    void fireRedirect(const NatRule& rule, bool removed) const;

    MachineView machine_;
    std::uint32_t slot_;
};

class AudioAdapterView
{
public:
    explicit AudioAdapterView(MachineView machine) : machine_(std::move(machine)) {}

    const MachineView& machine() const { return machine_; }
    const AudioSettings& settings() const { return machine_.settings().audio; }
    void setEnabled(bool enabled) const;
    void setEnabledIn(bool enabled) const;
    void setEnabledOut(bool enabled) const;
    void setController(std::uint32_t controller) const;
    void setCodec(std::uint32_t codec) const;
    void setDriver(std::uint32_t driver) const;

private:
    void setNumber(std::uint32_t AudioSettings::*member, std::uint32_t value, std::uint32_t highest) const;

    MachineView machine_;
};

/// Found by its name in each call.
class StorageControllerView
{
public:
    StorageControllerView(MachineView machine, std::wstring name);

    const MachineView& machine() const { return machine_; }
    /// Throws Failure(accessDenied) when it was removed.
    const StorageControllerSettings& settings() const;
    const StorageBusLimits& limits() const;
    void rename(const std::wstring& name);
    void setInstance(std::uint32_t instance) const;
    void setPortCount(std::uint32_t count) const;
    void setType(std::uint32_t type) const;
    void setUseHostIoCache(bool use) const;

private:
    StorageControllerSettings& change() const;

    MachineView machine_;
    std::wstring name_;
};

/// A running machine. With its process it goes away: calls then fail as if a server had died.
class ConsoleView
{
public:
    ConsoleView(Host& host, MachinePtr machine, LockPtr lock);

    Host& host() const { return *host_; }
    const MachinePtr& machine() const { return machine_; }
    const LockPtr& lock() const { return lock_; }
    const VmProcess& vm() const { return *lock_->vm; }
    void checkUsable() const;
    void createSharedFolder(const SharedFolderSettings& folder) const;
    void removeSharedFolder(const std::wstring& name) const;
    void replaceSharedFolder(const SharedFolderSettings& folder) const;

private:
    void requireSteady() const;
    void keep(std::vector<SharedFolderSettings> folders) const;

    Host* host_;
    MachinePtr machine_;
    LockPtr lock_;
};

} // namespace VBoxSim
