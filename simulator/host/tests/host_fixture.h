#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "host/host.h"
#include "host/machine_view.h"

/// A host in this process, without COM: its clock is turned by the test, and its disk refuses what the test wants.
namespace VBoxSim {

class TurnedClock : public Clock
{
public:
    TimePoint now() const override { return TimePoint(passed_); }
    std::int64_t nanoseconds() const override { return std::chrono::nanoseconds(passed_).count(); }
    void turn(std::uint32_t milliseconds) { passed_ += std::chrono::milliseconds(milliseconds); }

private:
    TimePoint::duration passed_ = std::chrono::hours(24);
};

class RefusingDisk : public Disk
{
public:
    enum class Refusal
    {
        Write,    ///< one change fails
        FullDisk, ///< that one and all that follow
        Memory    ///< there is no memory for it
    };
    /// Refuses a change, counted from 1 on.
    void refuse(int change, Refusal refusal = Refusal::Write)
    {
        refused_ = change;
        refusal_ = refusal;
        changes_ = 0;
        hasRefused_ = false;
    }
    void allowAll() { refused_ = 0; }
    bool hasRefused() const { return hasRefused_; }

private:
    void admitChange(const std::wstring& path) override
    {
        ++changes_;
        if (refused_ == 0 || (refusal_ == Refusal::FullDisk ? changes_ < refused_ : changes_ != refused_))
            return;
        hasRefused_ = true;
        if (refusal_ == Refusal::Memory)
            throw std::bad_alloc();
        throw Failure(Result::fileError, L"'" + path + L"' cannot be written");
    }

    int refused_ = 0;
    int changes_ = 0;
    Refusal refusal_ = Refusal::Write;
    bool hasRefused_ = false;
};

/// What some work answers its caller.
ResultCode resultOf(const std::function<void()>& work);

/// A client's listener. It takes its events without waiting; null when there is none.
class PassiveListener
{
public:
    PassiveListener(Host& host, EventSource& source, std::vector<std::int32_t> types = {EventType::Any},
                    ClientId client = 1);
    EventPtr next() const;
    /// The next one of that type, passing over others.
    EventPtr next(std::uint32_t type) const;

private:
    Host& host_;
    EventSource& source_;
    const std::shared_ptr<int> identity_ = std::make_shared<int>();
};

/// The host in a folder of its own.
class Scene
{
public:
    Scene();

    std::wstring path(const std::wstring& name) const { return (folder / name).wstring(); }
    /// Turns the clock and does what is due by then.
    void pass(std::uint32_t milliseconds);
    /// Does the work behind a progress and throws its failure.
    void finish(const ProgressPtr& progress);

    MachinePtr newMachine(const std::wstring& name);
    MachinePtr registered(const std::wstring& name);
    MediumPtr newDisk(const std::wstring& name);
    /// A registered machine with a disk, in folders of their own.
    MachinePtr withDisk(const std::wstring& name);
    SessionPtr session(const std::wstring& id, ClientId process = 1) { return host.sessions().get(id, process); }
    /// The machine of a session that locks it.
    MachineView lockedBy(const SessionPtr& session, const MachinePtr& machine);
    /// Changes a machine as a client does: under a lock, saved, and unlocked again.
    void change(const MachinePtr& machine, const std::function<void(const MachineView&)>& changes);
    ProgressPtr launch(const MachinePtr& machine, const SessionPtr& session);
    /// Launches the machine and lets the time of a start pass; likewise for its power-off.
    ProgressPtr powerUp(const MachinePtr& machine, const SessionPtr& session);
    void powerOff(const MachinePtr& machine);
    /// A machine that runs, started by that session.
    MachinePtr running(const std::wstring& name, const SessionPtr& session);

    /// What clients see of registered machines, media and VirtualBox.xml, in one text.
    static std::wstring seen(Host& host);
    /// The same after a restart of the server.
    std::wstring seenAfterRestart() const;
    /// The files below the folder, but those that keep an older state.
    std::wstring files() const;

    const std::filesystem::path folder;
    TurnedClock clock;
    RefusingDisk disk;
    Host host;
};

class HostTest : public testing::Test, public Scene
{};

} // namespace VBoxSim
