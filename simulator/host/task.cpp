#include "host/task.h"

#include "host/error_mapping.h"
#include "host/host.h"

namespace VBoxSim {

Task::Task(Host& host, Progress::Plan plan)
    : host_(host), generation_(host.generation()), progress_(host.newProgress(std::move(plan)))
{}

Task::~Task()
{
    if (!progress_->isCompleted()) // its steps were dropped
        progress_->fail(Failure(Result::fail, std::wstring()));
}

void Task::start()
{
    host_.scheduler().work([self = shared_from_this()] { self->run(); });
}

void Task::after(std::uint32_t milliseconds, std::function<void()> step)
{
    host_.scheduler().after(milliseconds, [self = shared_from_this(), step = std::move(step)] {
        if (const auto failure = attempt(step))
            self->end(failure);
    });
}

void Task::run() noexcept
{
    std::optional<Failure> failure = attempt([&] { work(); });
    const HostLock lock = host_.lock();
    if (!failure)
        failure = attempt([&] {
            checkGoesOn();
            finish();
        });
    end(failure);
}

void Task::end(const std::optional<Failure>& failure) noexcept
{
    if (progress_->isCompleted())
        return;
    if (!failure) {
        progress_->succeed();
        return;
    }
    attempt([&] { rollBack(); }); // a failure on the way back does not hide the one that led there
    progress_->fail(*failure);
}

void Task::checkGoesOn() const
{
    if (progress_->isCanceled())
        throw Canceled();
    if (generation_ != host_.generation())
        throw Failure(Result::fail, L"The server was reset");
    if (const auto failure = progress_->orderedFailure())
        throw Failure(*failure);
}

bool Task::report(std::size_t operation, std::uint64_t done, std::uint64_t total)
{
    const HostLock lock = host_.lock();
    progress_->advance(operation, static_cast<std::uint32_t>(total ? done * 100 / total : 100));
    return !progress_->isCanceled();
}

} // namespace VBoxSim
