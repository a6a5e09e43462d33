#include "worker.h"

#include <objbase.h>

#include <algorithm>

#include "failure.h"

namespace Travik::Flat {
namespace {

constexpr milliseconds firstPause(2);
// A look costs a call; a job often changes what a look waits for.
constexpr milliseconds pauseAfterAJob(20);

/// Hands out the messages of the apartment, as COM wants it of its thread.
void pumpMessages()
{
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

/// Undoes every CoInitialize of the library on this thread, which ends.
void leaveApartment()
{
    APTTYPE type = APTTYPE_CURRENT;
    APTTYPEQUALIFIER qualifier = APTTYPEQUALIFIER_NONE;
    while (CoGetApartmentType(&type, &qualifier) == S_OK && (type == APTTYPE_STA || type == APTTYPE_MAINSTA))
        CoUninitialize();
}

} // namespace

Worker::Worker(VBoxInstanceImpl& sdk) : sdk_(sdk), wake_(CreateEventW(nullptr, FALSE, FALSE, nullptr))
{
    if (!wake_)
        throw std::bad_alloc();
    thread_ = std::thread([this] { work(); });
}

Worker::~Worker()
{
    if (thread_.joinable())
        thread_.join();
    CloseHandle(wake_);
}

void Worker::run(const std::shared_ptr<Job>& job, Clock::time_point deadline)
{
    Holding holding(guard_);
    if (stopping_)
        throw Refused(TRAVIK_Closed, "the library is being closed");
    queue_.push_back(job);
    if (idle_)
        SetEvent(wake_);
    const bool ended = job->finished_.wait(holding, deadline, [&] { return job->state_ >= Job::State::done; });
    if (!ended)
        giveUp(job);
    if (job->state_ == Job::State::refused)
        throw Refused(TRAVIK_Closed, "the library was closed before the call's turn or answer");
}

void Worker::giveUp(const std::shared_ptr<Job>& job)
{
    if (job->state_ == Job::State::running) {
        job->abandoned_ = true;
        throw Refused(TRAVIK_Deadline, "the operation has begun and goes on");
    }
    std::erase(queue_, job);
    std::erase(looks_, job);
    throw Refused(TRAVIK_Deadline,
                  job->begun_ ? "what the call waits for has not come" : "the operation has not begun");
}

void Worker::post(std::shared_ptr<Job> job)
{
    const Holding holding(guard_);
    if (stopping_)
        return;
    queue_.push_back(std::move(job));
    if (idle_)
        SetEvent(wake_);
}

void Worker::stop()
{
    const Holding holding(guard_);
    stopping_ = true;
    const auto refuse = [](const std::shared_ptr<Job>& job) {
        job->state_ = Job::State::refused;
        job->finished_.raise();
    };
    std::for_each(queue_.begin(), queue_.end(), refuse);
    std::for_each(looks_.begin(), looks_.end(), refuse);
    queue_.clear(); // those in looks_ have something to end
    SetEvent(wake_);
}

bool Worker::waitForEnd(Clock::time_point until)
{
    Holding holding(guard_);
    return end_.wait(holding, until, [this] { return ended_; });
}

void Worker::work()
{
    MSG message;
    PeekMessageW(&message, nullptr, WM_USER, WM_USER, PM_NOREMOVE); // makes the queue of messages
    for (;;) {
        pumpMessages();
        const Turn turn = nextTurn();
        if (turn.ends)
            break;
        if (turn.job)
            take(turn.job);
        else
            idle(turn.until);
    }
    leave();
}

/// Looks that are due come first, so that a full queue cannot keep them off.
Worker::Turn Worker::nextTurn()
{
    const Holding holding(guard_);
    if (stopping_)
        return {nullptr, {}, true};
    const auto earlier = [](const auto& a, const auto& b) { return a->nextLook_ < b->nextLook_; };
    const auto next = std::min_element(looks_.begin(), looks_.end(), earlier);
    const auto due = next == looks_.end() ? Clock::time_point::max() : (*next)->nextLook_;
    Turn turn{nullptr, due};
    if (due <= Clock::now()) {
        turn.job = *next;
        looks_.erase(next);
    } else if (!queue_.empty()) {
        turn.job = queue_.front();
        queue_.pop_front();
    }
    if (turn.job)
        turn.job->state_ = Job::State::running;
    idle_ = turn.job == nullptr;
    return turn;
}

void Worker::take(const std::shared_ptr<Job>& job)
{
    const bool done = job->step(sdk_);
    settle(job, done);
}

void Worker::settle(const std::shared_ptr<Job>& job, bool done)
{
    Holding holding(guard_);
    const bool look = job->begun_;
    job->begun_ = true;
    if (job->abandoned_) {
        holding.unlock();
        job->abandon(sdk_);
        return;
    }
    const auto now = Clock::now();
    if (!look) {
        for (const auto& other : looks_)
            other->nextLook_ = std::min(other->nextLook_, now + pauseAfterAJob);
    }
    if (done) {
        job->state_ = Job::State::done;
    } else {
        job->pause = std::clamp(job->pause * 2, firstPause, job->longestPause);
        job->nextLook_ = now + job->pause;
        job->state_ = stopping_ ? Job::State::refused : Job::State::waiting;
        looks_.push_back(job);
    }
    if (job->state_ >= Job::State::done)
        job->finished_.raise();
}

void Worker::idle(Clock::time_point until)
{
    DWORD time = INFINITE;
    if (until != Clock::time_point::max()) {
        const auto left = std::chrono::ceil<milliseconds>(until - Clock::now()).count();
        time = static_cast<DWORD>(std::max<long long>(left, 0));
    }
    MsgWaitForMultipleObjectsEx(1, &wake_, time, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
}

void Worker::leave()
{
    for (const auto& job : looks_)
        job->abandon(sdk_);
    looks_.clear();
    try {
        sdk_.releaseRC();
    } catch (...) {
        // A mutex that cannot be locked: nothing is left to be done about it.
    }
    leaveApartment();
    const Holding holding(guard_);
    ended_ = true;
    end_.raise();
}

} // namespace Travik::Flat
