#pragma once

#include <memory>

#include "com.h"
#include "scratch.h"
#include "statement.h"

namespace Probe {

/// How a long operation ended.
struct Ending
{
    HRESULT result = S_OK;
    std::wstring text; ///< of the error, if any
};

/// Waits until an operation is over.
Ending finish(const ComPtr<IProgress>& progress);
/// The same, for an operation that the statement needs.
void finishWell(const ComPtr<IProgress>& progress, const Place& place = Place::current());

std::uint32_t sessionStateOf(const ComPtr<IMachine>& machine);
std::uint32_t stateOf(const ComPtr<IMachine>& machine);
std::filesystem::path settingsFileOf(const ComPtr<IMachine>& machine);

/// A lock on one machine, given back at the end.
class Lock
{
public:
    Lock(const ComPtr<IMachine>& machine, ULONG type);
    ~Lock();
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    void unlock();

    ComPtr<ISession> session;
    ComPtr<IMachine> machine; ///< the session's own

private:
    ComPtr<IMachine> listed_;
};

/// A machine that runs, with the session that started it.
struct RunningMachine
{
    ComPtr<IMachine> listed;
    ComPtr<ISession> session;
    ComPtr<IMachine> machine;
    ComPtr<IConsole> console;
};

/// Another process that locks a machine, and can be killed.
class Rival
{
public:
    explicit Rival(const std::wstring& machineId);
    ~Rival();
    Rival(const Rival&) = delete;
    Rival& operator=(const Rival&) = delete;

    DWORD process() const { return id_; }
    void kill();

private:
    HANDLE process_ = nullptr;
    HANDLE output_ = nullptr;
    DWORD id_ = 0;
};
/// What that process does.
int beRival(const std::wstring& machineId);

/// Where statements are tried: VirtualBox, a folder, and throwaway machines that are gone after each statement.
class Lab
{
public:
    /// Connects. Throws std::runtime_error when VirtualBox is not there or is not 6.1.
    Lab(const Scratch& scratch, bool mayStart);
    ~Lab();
    Lab(const Lab&) = delete;
    Lab& operator=(const Lab&) = delete;

    ComPtr<IVirtualBox> box;

    const std::filesystem::path& folder() const { return scratch_.path(); }
    /// A name that no other machine has.
    std::wstring newName();
    /// A path in a new folder of its own: VirtualBox may take away the folder of a machine.
    std::filesystem::path newFile(const std::wstring& suffix);
    /// Where a machine of that name goes.
    std::wstring fileFor(const std::wstring& name) const;

    /// A machine in memory only.
    ComPtr<IMachine> create(const std::wstring& name);
    ComPtr<IMachine> create() { return create(newName()); }
    /// One with a settings file that is not registered.
    ComPtr<IMachine> unregistered();
    /// A registered one.
    ComPtr<IMachine> machine();
    /// As machine(), with a disk at a SATA controller called "SATA".
    ComPtr<IMachine> machineWithDisk(ComPtr<IMedium>& disk);
    /// Looks it up; throws when it is not there.
    ComPtr<IMachine> find(const std::wstring& nameOrId, const Place& place = Place::current()) const;

    ComPtr<ISession> session() const;

    /// Opens an image, and remembers to close it.
    ComPtr<IMedium> open(const std::filesystem::path& image, ULONG deviceType = DeviceType::HardDisk);
    /// Writes a new empty disk and opens it.
    ComPtr<IMedium> disk();

    /// Machines that are made without a path go to the folder of the probe until the statement is over.
    void redirectMachineFolder();

    /// A machine without disks that runs; started when none does. Throws Cannot when that is not allowed.
    RunningMachine& running();
    /// Throws Cannot when machines may not be started.
    void needStart() const;
    /// Starts a machine with a session of its own.
    RunningMachine start(const ComPtr<IMachine>& machine) const;
    /// Powers the running machine off and forgets it.
    void stopRunning();

    /// Takes away what the last statement made. Throws when something stays.
    void tidy();
    /// The same for all, the running machine included, and for folders of runs that broke off.
    void clear(const std::filesystem::path& folder) const;

private:
    void setMachineFolderBack(const std::filesystem::path& folder) const;
    void removeMachine(const ComPtr<IMachine>& machine) const;
    void closeMedia(const std::filesystem::path& folder) const;

    const Scratch& scratch_;
    const bool mayStart_;
    unsigned count_ = 0;
    std::vector<ComPtr<IMedium>> opened_;
    RunningMachine running_;
    std::wstring runningFolder_;
};

} // namespace Probe
