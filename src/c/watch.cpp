#include <cstring>

#include "call.h"
#include "travik/scoped_handle.h"

// Watching: a listener that the worker looks at again and again, and whose events it hands to Watchers.

namespace Travik::Flat {
namespace {

constexpr std::uint32_t listenerDropped = Result::ObjectNotFound;
constexpr int eventsInOneLook = 64;

/// Ends with its watch, or with the machine.
class Watch : public Job
{
public:
    Watch(std::shared_ptr<Watchers> watchers, VBoxHandle source, VBoxHandle listener)
        : watchers_(std::move(watchers)), source_(source), listener_(listener)
    {
        longestPause = milliseconds(100);
    }

    std::uint64_t watcher = 0;

    bool step(VBoxInstanceImpl& sdk) noexcept override
    {
        try {
            if (watchers_->knows(watcher))
                return !look(sdk);
        } catch (...) {
            const Failure failure = currentFailure();
            watchers_->deliver(watcher, {.kind = TRAVIK_NOTICE_ENDED, .code = failure.code});
        }
        abandon(sdk);
        return true;
    }

    void abandon(VBoxInstanceImpl& sdk) noexcept override
    {
        if (source_ == 0)
            return;
        try {
            if (sdk.eventSourceUnregisterListener(source_, listener_) == 0)
                return; // which gave both back
            sdk.releaseEventListener(listener_);
            sdk.releaseEventSource(source_);
        } catch (...) {
            // A mutex that cannot be locked: the handles stay with the library.
        }
    }

    static std::uint32_t listen(VBoxInstanceImpl& sdk, VBoxHandle source, VBoxHandle& listener)
    {
        if (const std::uint32_t code = sdk.eventSourceCreateListener(source, &listener))
            return code;
        return sdk.eventSourceRegisterListener(source, listener,
                                               {VBoxEventType::OnStateChanged, VBoxEventType::OnRuntimeError}, 0);
    }

private:
    /// Hands over what has come; false when nothing can come any more.
    bool look(VBoxInstanceImpl& sdk)
    {
        for (int i = 0; i < eventsInOneLook; ++i) {
            ScopedEvent event(sdk);
            const std::uint32_t code = sdk.eventSourceGetEvent(source_, listener_, 0, event.put());
            if (code != 0)
                return listenAgain(sdk, code);
            if (!event)
                break;
            pause = milliseconds(0); // where one came, others follow
            read(sdk, event);
        }
        return true;
    }

    void read(VBoxInstanceImpl& sdk, const ScopedEvent& event)
    {
        try {
            const EventData data = readEvent(sdk, event);
            if (data.type == EventType::StateChanged)
                watchers_->deliver(watcher,
                                   {.kind = TRAVIK_NOTICE_STATE, .state = static_cast<std::uint32_t>(data.state)});
            else
                watchers_->deliver(watcher, {.kind = TRAVIK_NOTICE_RUNTIME_ERROR,
                                             .fatal = data.fatal,
                                             .id = toUtf8(data.id),
                                             .text = toUtf8(data.message)});
        } catch (const SdkError&) {
            // An event that cannot be read is as good as lost; the next look tells when the machine is gone.
            watchers_->deliver(watcher, {.kind = TRAVIK_NOTICE_RESYNC});
        }
        sdk.eventSourceEventProcessed(source_, listener_, event.get()); // a failure shows in the next look
    }

    /// VirtualBox drops a listener whose events were not fetched for long.
    bool listenAgain(VBoxInstanceImpl& sdk, std::uint32_t code)
    {
        Failure failure = failureOf(sdk, code);
        if (code == EventSourceGetEventFail && failure.result == listenerDropped) {
            sdk.releaseEventListener(listener_);
            code = listen(sdk, source_, listener_);
            if (code == 0) {
                watchers_->deliver(watcher, {.kind = TRAVIK_NOTICE_RESYNC});
                return true;
            }
            failure = failureOf(sdk, code);
        }
        watchers_->deliver(
            watcher,
            {.kind = TRAVIK_NOTICE_ENDED, .code = failure.code, .result = failure.result, .text = failure.text});
        abandon(sdk);
        return false;
    }

    std::shared_ptr<Watchers> watchers_;
    VBoxHandle source_;
    VBoxHandle listener_;
};

/// Registers the listener.
class Begin : public Job
{
public:
    explicit Begin(VBoxHandle console) : console_(console) {}

    bool step(VBoxInstanceImpl& sdk) noexcept override
    {
        try {
            failure_.code = begin(sdk);
            if (failure_.code == 0)
                return true;
            failure_ = failureOf(sdk, failure_.code);
        } catch (...) {
            failure_ = currentFailure();
        }
        abandon(sdk);
        return true;
    }

    void abandon(VBoxInstanceImpl& sdk) noexcept override { Watch({}, source, listener).abandon(sdk); }

    const Failure& failure() const { return failure_; }
    void deliver() {}

    VBoxHandle source = 0;
    VBoxHandle listener = 0;

private:
    std::uint32_t begin(VBoxInstanceImpl& sdk)
    {
        const std::uint32_t code = sdk.getEventSource(console_, &source);
        return code != 0 ? code : Watch::listen(sdk, source, listener);
    }

    VBoxHandle console_;
    Failure failure_;
};

std::uint32_t watch(VBoxHandle console, travik_callback callback, void* context, travik_watcher* watcher,
                    std::uint32_t deadlineMs, travik_error** error)
{
    if (!watcher)
        throw Refused(TRAVIK_NullArgument, "without an output for its name a watch could not be ended");
    Connection& connection = Connection::instance();
    const std::shared_ptr<Watchers> watchers = connection.watchers();
    const std::shared_ptr<Worker> worker = connection.enter();
    const auto begin = std::make_shared<Begin>(console);
    if (const std::uint32_t code = runOn(*worker, begin, connection.deadline(deadlineMs), "watch", error))
        return code;
    try {
        const auto job = std::make_shared<Watch>(watchers, begin->source, begin->listener);
        job->watcher = watchers->add(callback, context);
        worker->post(job);
        watcher->value = job->watcher;
        return 0;
    } catch (...) {
        worker->post(std::make_shared<Discarding>(begin));
        throw;
    }
}

/// One block: the notice, then its texts.
struct NoticeBlock
{
    travik_notice notice;
    char texts[2];
};

travik_notice* newNotice(const Notice& notice)
{
    const std::size_t size = notice.id.size() + notice.text.size();
    auto* const block = static_cast<NoticeBlock*>(std::malloc(sizeof(NoticeBlock) + size));
    if (!block)
        throw std::bad_alloc();
    char* const text = block->texts + notice.id.size() + 1;
    std::memcpy(block->texts, notice.id.c_str(), notice.id.size() + 1);
    std::memcpy(text, notice.text.c_str(), notice.text.size() + 1);
    block->notice = {notice.kind,  notice.state, notice.fatal ? 1u : 0u, notice.code, notice.result, 0,
                     block->texts, text};
    return &block->notice;
}

} // namespace
} // namespace Travik::Flat

using namespace Travik::Flat;

extern "C" {

uint32_t travik_watch(travik_console console, travik_callback callback, void* context, travik_watcher* watcher,
                      uint32_t deadlineMs, travik_error** error)
{
    clear(watcher);
    return guarded("watch", error, [&] {
        return watch(untagged<Kind::console>(console.value), callback, context, watcher, deadlineMs, error);
    });
}

uint32_t travik_unwatch(travik_watcher watcher)
{
    return guarded("unwatch", nullptr, [&] {
        if (const std::shared_ptr<Watchers> watchers = Connection::instance().watchersToEnd())
            watchers->remove(watcher.value);
        return 0u;
    });
}

uint32_t travik_nextNotice(travik_watcher watcher, uint32_t waitMs, travik_notice** notice, travik_error** error)
{
    clear(notice);
    return guarded("nextNotice", error, [&] {
        if (!notice)
            throw Refused(TRAVIK_NullArgument, "there is no output for the notice");
        Notice next;
        if (Connection::instance().watchers()->next(watcher.value, fromNow(waitMs), next))
            *notice = newNotice(next);
        return 0u;
    });
}

void travik_freeNotice(travik_notice** notice)
{
    if (notice)
        std::free(std::exchange(*notice, nullptr));
}
}
