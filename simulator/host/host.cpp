#include "host/host.h"

#include <utility>

#include "host/hardware.h"
#include "host/vm_life.h"

namespace VBoxSim {

Host::Host(Surroundings surroundings, const Clock& clock, Disk& disk)
    : surroundings_(std::move(surroundings)),
      clock_(clock),
      disk_(disk),
      events_(std::make_shared<EventSource>(monitor_)),
      scheduler_(monitor_, clock)
{}

void Host::load()
{
    machines_.load();
}

void Host::reset()
{
    ++generation_;
    for (const MachinePtr& machine : machines_.everyOne()) {
        endLock(*this, *machine);
        machine->dead = true;
    }
    scheduler_.dropSteps();
    events_->close();
    events_ = std::make_shared<EventSource>(monitor_);
    sessions_.clear();
    media_.clear();
    scenario_ = {};
    faults_.clear();
    load();
    monitor_.notify();
}

void Host::dropClient(ClientId process)
{
    sessions_.dropAllOf(process);
    events_->dropListenersOf(process);
    for (const MachinePtr& machine : machines_.all())
        if (VmProcess* vm = machine->vm())
            vm->events->dropListenersOf(process);
    for (const std::weak_ptr<EventSource>& weak : progressEvents_)
        if (const EventSourcePtr events = weak.lock())
            events->dropListenersOf(process);
}

bool Host::isBusy() const
{
    if (scheduler_.isBusy())
        return true;
    for (const MachinePtr& machine : machines_.all())
        if (machine->vm())
            return true;
    return false;
}

bool Host::processorHas(std::uint32_t feature) const
{
    if (feature > Travik::ProcessorFeature::NestedHWVirt)
        throw Failure(Result::invalidArgument, L"Invalid processor feature " + std::to_wstring(feature));
    const auto ordered = scenario_.processorFeatures.find(feature);
    return ordered == scenario_.processorFeatures.end() ? Hardware::processorHas(feature) : ordered->second;
}

ProgressPtr Host::newProgress(Progress::Plan plan)
{
    auto progress = std::make_shared<Progress>(monitor_, faults_, std::move(plan));
    std::erase_if(progressEvents_, [](const std::weak_ptr<EventSource>& events) { return events.expired(); });
    progressEvents_.push_back(progress->events());
    return progress;
}

} // namespace VBoxSim
