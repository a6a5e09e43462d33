#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/machine.h"
#include "settings/global_settings.h"

namespace VBoxSim {

class Host;
class Renaming;

/// The machines, registered or not, and VirtualBox.xml. Guarded by the host's mutex.
///
/// What lies on disk is changed first: a file that cannot be written leaves everything as others saw it.
class Machines
{
public:
    explicit Machines(Host& host) : host_(host) {}

    /// A damaged machine does not stop the others; a damaged VirtualBox.xml gives no machines at all, and the first
    /// calls fail with `startError`.
    void load();
    const std::optional<Failure>& startError() const { return startError_; }

    /// The registered ones.
    const std::vector<MachinePtr>& all() const { return machines_; }
    /// Also those that are not registered but held by somebody.
    std::vector<MachinePtr> everyOne() const;
    /// By UUID, exact name or the full path of the settings file; inaccessible machines only by UUID. Throws
    /// Failure(objectNotFound).
    MachinePtr find(const std::wstring& nameOrId) const;
    /// Whether find() has an answer, so that VirtualBox gives the name to no other machine.
    bool isNameTaken(const std::wstring& name) const;

    struct NewMachine
    {
        std::wstring settingsFile;
        std::wstring name;
        std::vector<std::wstring> groups;
        std::wstring osType;
        std::wstring flags;
    };
    MachinePtr open(const std::wstring& file);
    MachinePtr create(const NewMachine& wanted);
    /// An unregistered machine with settings that come from elsewhere.
    MachinePtr adopt(const MachineSettings& settings, const std::wstring& file);
    void add(const MachinePtr& machine);
    void remove(const MachinePtr& machine);
    /// Reads the settings of an inaccessible machine again.
    void refreshAccess(Machine& machine);

    /// Commits the working settings: writes the file, and moves it first when the name changed.
    void save(Machine& machine);
    /// Writes these in place of the saved settings, leaving aside the working ones.
    void writeSaved(Machine& machine, MachineSettings settings);
    void setExtraData(Machine& machine, const std::wstring& key, const std::wstring& value);
    /// Asks the listeners before extra data change: a machine's, or VirtualBox's own without one. Throws
    /// Failure(accessDenied) when one of them is against it; who does not answer in time agrees. Waits without the
    /// lock.
    void requireConsent(HostLock& lock, const Machine* machine, const std::wstring& key, const std::wstring& value);

    void setState(Machine& machine, std::uint32_t state);
    void setSessionState(Machine& machine, std::uint32_t state);

    // ---- VirtualBox.xml

    std::wstring settingsFile() const;
    std::wstring composeFile(const std::wstring& name, const std::wstring& group, const std::wstring& flags,
                             const std::wstring& baseFolder) const;
    std::wstring defaultFolder() const;
    void setDefaultFolder(const std::wstring& folder);
    const std::map<std::wstring, std::wstring>& extraData() const { return settings_.extraData; }
    void setExtraData(const std::wstring& key, const std::wstring& value);

private:
    std::vector<MachinePtr>::const_iterator lookUp(const std::wstring& nameOrId) const;
    void checkDisksAreKnown(const MachineSettings& settings) const;
    std::wstring freeFileFor(const NewMachine& wanted) const;
    /// Makes the text of a file from its settings; one of an older version is kept beside it.
    void render(MachineSettings& settings, const std::wstring& file);
    void saveInPlace(Machine& machine, MachineSettings settings, const std::wstring& file);
    void saveRenamed(Machine& machine, Renaming& renaming);
    /// Notes in the registry where a settings file goes; an empty path takes the note back.
    void announceMove(const Machine& machine, const std::wstring& newFile);
    void finishMove(const Machine& machine);
    void saveRegistry(GlobalSettings settings);
    void changeRegistry(const std::function<void(GlobalSettings&)>& change);

    Host& host_;
    std::optional<Failure> startError_;
    GlobalSettings settings_;
    std::vector<MachinePtr> machines_;
    std::vector<std::weak_ptr<Machine>> unregistered_; ///< may be held by somebody still
};

/// What an extra data key or value must not have.
void checkExtraData(const std::wstring& key, const std::wstring& value);

} // namespace VBoxSim
