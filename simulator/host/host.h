#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/clock.h"
#include "host/disk.h"
#include "host/events.h"
#include "host/fault_table.h"
#include "host/machines.h"
#include "host/media.h"
#include "host/monitor.h"
#include "host/progress.h"
#include "host/scenario.h"
#include "host/scheduler.h"
#include "host/sessions.h"

namespace VBoxSim {

/// What VirtualBox's server is apart from COM: owns everything that the server keeps. All of it but the faults and the
/// scheduler is guarded by its mutex, which the caller holds.
class Host
{
public:
    struct Surroundings
    {
        std::wstring home;       ///< the folder of VirtualBox.xml
        std::wstring userFolder; ///< machines are made below it unless the settings say otherwise
        ClientId process = 0;    ///< the own one, which machines run in
    };

    Host(Surroundings surroundings, const Clock& clock, Disk& disk);
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    /// Reads the machines from the home folder.
    void load();
    /// Ends every machine and session, drops the faults and reads the machines again. What clients hold is useless
    /// afterwards, and work that is under way fails.
    void reset();
    /// Counts the resets.
    std::uint64_t generation() const { return generation_; }
    /// Everything of a client's process that is no more.
    void dropClient(ClientId process);
    /// Whether the host's processor has a feature (ProcessorFeature), or the scenario says so. Throws
    /// Failure(invalidArgument) for a number that is no feature.
    bool processorHas(std::uint32_t feature) const;
    /// Whether work is under way or a machine has a process.
    bool isBusy() const;

    const Surroundings& surroundings() const { return surroundings_; }
    const Clock& clock() const { return clock_; }
    Disk& disk() { return disk_; }
    Monitor& monitor() { return monitor_; }
    HostLock lock() { return monitor_.lock(); }
    Scheduler& scheduler() { return scheduler_; }
    FaultTable& faults() { return faults_; }
    Scenario& scenario() { return scenario_; }

    const EventSourcePtr& events() const { return events_; }
    void fire(Event event) { events_->fire(std::move(event)); }
    Machines& machines() { return machines_; }
    Media& media() { return media_; }
    Sessions& sessions() { return sessions_; }
    const Sessions& sessions() const { return sessions_; }
    ProgressPtr newProgress(Progress::Plan plan);

private:
    const Surroundings surroundings_;
    const Clock& clock_;
    Disk& disk_;
    Monitor monitor_;
    FaultTable faults_;
    Scenario scenario_;
    EventSourcePtr events_;
    Machines machines_{*this};
    Media media_{*this};
    Sessions sessions_{*this};
    std::vector<std::weak_ptr<EventSource>> progressEvents_;
    std::uint64_t generation_ = 0;
    Scheduler scheduler_; ///< the last: its threads use all of the above
};

} // namespace VBoxSim
