#include "watchers.h"

#include <atomic>

#include "failure.h"

namespace Travik::Flat {
namespace {

// More unread notices than this, and the oldest go.
constexpr std::size_t bound = 1000;

// Unlike any handle, and never used again.
std::atomic<std::uint64_t> lastWatcher = std::uint64_t(0x57) << 32;

travik_notice view(const Notice& notice)
{
    return {notice.kind, notice.state,      notice.fatal ? 1u : 0u, notice.code, notice.result,
            0,           notice.id.c_str(), notice.text.c_str()};
}

} // namespace

std::uint64_t Watchers::add(travik_callback callback, void* context)
{
    const Holding holding(guard_);
    if (closed_)
        throw Refused(TRAVIK_Closed, "the library is being closed");
    if (callback && !threadRuns_) {
        std::thread([self = shared_from_this()] { self->run(); }).detach();
        threadRuns_ = true;
    }
    const std::uint64_t watcher = ++lastWatcher;
    all_.emplace(watcher, Watcher{callback, context});
    return watcher;
}

void Watchers::deliver(std::uint64_t watcher, Notice notice)
{
    const Holding holding(guard_);
    const auto found = all_.find(watcher);
    if (found == all_.end())
        return;
    auto& notices = found->second.notices;
    if (notices.size() >= bound) {
        notices.pop_front();
        notices.front() = Notice{TRAVIK_NOTICE_RESYNC};
    }
    notices.push_back(std::move(notice));
    if (found->second.callback)
        order_.push_back(watcher);
    changed_.raise();
}

bool Watchers::knows(std::uint64_t watcher)
{
    const Holding holding(guard_);
    return all_.contains(watcher);
}

void Watchers::remove(std::uint64_t watcher)
{
    Holding holding(guard_);
    all_.erase(watcher);
    changed_.raise();
    changed_.wait(holding, Clock::time_point::max(), [&] { return !callsNow(watcher); });
}

/// Whether a callback of the watch runs on a thread other than this one.
bool Watchers::callsNow(std::uint64_t watcher) const
{
    return called_ == watcher && thread_ != std::this_thread::get_id();
}

bool Watchers::next(std::uint64_t watcher, Clock::time_point until, Notice& notice)
{
    Holding holding(guard_);
    auto found = all_.end();
    const bool came = changed_.wait(holding, until, [&] {
        found = all_.find(watcher);
        return found == all_.end() || found->second.callback || !found->second.notices.empty();
    });
    if (!came)
        return false;
    if (found == all_.end() || found->second.callback)
        throw Refused(closed_ ? TRAVIK_Closed : TRAVIK_WrongHandle, "no watch without a callback has this name");
    notice = std::move(found->second.notices.front());
    found->second.notices.pop_front();
    return true;
}

bool Watchers::close(Clock::time_point until)
{
    Holding holding(guard_);
    closed_ = true;
    all_.clear();
    changed_.raise();
    return changed_.wait(holding, until, [this] { return called_ == 0 || thread_ == std::this_thread::get_id(); });
}

void Watchers::run()
{
    Holding holding(guard_);
    thread_ = std::this_thread::get_id();
    for (;;) {
        changed_.wait(holding, Clock::time_point::max(), [this] { return closed_ || !order_.empty(); });
        if (closed_)
            return;
        const auto found = all_.find(order_.front());
        order_.pop_front();
        if (found == all_.end() || found->second.notices.empty()) // ended, or more notices than the bound
            continue;
        const Watcher watcher{found->second.callback, found->second.context};
        const Notice notice = std::move(found->second.notices.front());
        found->second.notices.pop_front();
        called_ = found->first;
        holding.unlock();
        const travik_notice shown = view(notice);
        watcher.callback(watcher.context, &shown);
        holding.lock();
        called_ = 0;
        changed_.raise();
    }
}

} // namespace Travik::Flat
