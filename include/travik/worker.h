#ifndef TRAVIK_WORKER_H
#define TRAVIK_WORKER_H

// Part of the helper (scoped_handle.h): the one thread that calls the operations, for programs that have others.

#ifdef _WIN32

#include <chrono>
#include <deque>
#include <exception>
#include <functional>
#include <future>
#include <list>
#include <memory>
#include <mutex>
#include <new>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "events.h"
#include "operations.h"

// The few functions of Windows that the worker calls, so that windows.h stays out of the front end's sources.
struct HWND__; // NOLINT(bugprone-reserved-identifier): Windows' own name
struct tagMSG;
struct _SECURITY_ATTRIBUTES; // NOLINT(bugprone-reserved-identifier): the same
extern "C" {
__declspec(dllimport) void* __stdcall CreateEventW(_SECURITY_ATTRIBUTES*, int, int, const wchar_t*);
__declspec(dllimport) int __stdcall SetEvent(void*);
__declspec(dllimport) int __stdcall CloseHandle(void*);
__declspec(dllimport) unsigned long __stdcall MsgWaitForMultipleObjectsEx(unsigned long, void* const*, unsigned long,
                                                                          unsigned long, unsigned long);
__declspec(dllimport) int __stdcall PeekMessageW(tagMSG*, HWND__*, unsigned, unsigned, unsigned);
__declspec(dllimport) long long __stdcall DispatchMessageW(const tagMSG*);
}

namespace Travik {

/// A thread that owns the library: it takes jobs, delivers events between them, and answers COM's window messages while
/// it is idle. At its end it drops the VirtualBox objects and all handles.
///     Worker worker;
///     auto names = worker.run([](Operations& vbox) { return namesOf(listMachines(vbox)); });
///     names.get(); // or look now and then whether it is ready
class Worker
{
public:
    /// What a listener hears.
    struct Notice
    {
        EventLoop::Step step;       ///< Handled, Resync or Ended
        EventData event;            ///< of Handled
        std::exception_ptr failure; ///< not null: listening ended by this
    };
    /// Called on the worker's thread. One that throws is not called again.
    using Listener = std::function<void(const Notice&)>;

    explicit Worker(VBoxInstanceImpl& vbox = *GetVBoxInstance())
        : vbox_(vbox), wake_(CreateEventW(nullptr, 0, 0, nullptr))
    {
        if (!wake_)
            throw std::bad_alloc();
        thread_ = std::thread([this] { work(); });
    }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Finishes the jobs that were taken. Not to be called by a job.
    ~Worker()
    {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            ending_ = true;
        }
        SetEvent(wake_);
        thread_.join();
        CloseHandle(wake_);
    }

    /// Runs job(Operations&) on the thread, after those before it. The future has what it returns or throws; a job that
    /// waits for the future of another one waits for ever. From any thread.
    template <class Job>
    std::future<std::invoke_result_t<Job&, Operations&>> run(Job job)
    {
        using Result = std::invoke_result_t<Job&, Operations&>;
        auto task = std::make_shared<std::packaged_task<Result(Operations&)>>(std::move(job));
        auto result = task->get_future();
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            jobs_.emplace_back([task](Operations& vbox) { (*task)(vbox); });
        }
        SetEvent(wake_);
        return result;
    }

    /// Listens to the source that `source`(Operations&) gives, until it has ended. The future tells when listening has
    /// begun, or why not. From any thread.
    template <class Source>
    std::future<void> listen(Source source, std::vector<EventType> types, Listener listener)
    {
        return run([this, source = std::move(source), types = std::move(types),
                    listener = std::move(listener)](Operations& vbox) mutable {
            listenings_.emplace_back(vbox, source(vbox), std::move(types), std::move(listener));
        });
    }

private:
    struct Listening
    {
        Listening(VBoxInstanceImpl& vbox, ScopedEventSource source, std::vector<EventType> types, Listener told)
            : loop(vbox, std::move(source), std::move(types)), listener(std::move(told))
        {}

        EventLoop loop;
        Listener listener;
    };

    void work()
    {
        for (;;) {
            runJobs();
            if (isOver())
                break;
            listenings_.remove_if([](Listening& listening) { return !deliver(listening); });
            idle();
        }
        listenings_.clear();
        try {
            vbox_.plain().releaseRC(); // on this thread, before it ends
        } catch (...) {                // the mutex: the objects stay with the library
        }
    }

    void runJobs()
    {
        for (;;) {
            std::function<void(Operations&)> job;
            {
                const std::lock_guard<std::mutex> lock(mutex_);
                if (jobs_.empty())
                    return;
                job = std::move(jobs_.front());
                jobs_.pop_front();
            }
            job(vbox_); // throws into its future
        }
    }

    bool isOver()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return ending_ && jobs_.empty();
    }

    /// Hands on the events that are there; false when there will be no more.
    static bool deliver(Listening& listening)
    {
        try {
            Notice notice{};
            do {
                notice = {};
                notice.step = listening.loop.next(std::chrono::milliseconds(0),
                                                  [&notice](const EventData& event) { notice.event = event; });
                if (notice.step != EventLoop::Step::Quiet)
                    listening.listener(notice);
            } while (notice.step == EventLoop::Step::Handled);
            return notice.step != EventLoop::Step::Ended;
        } catch (...) {
            tellFailure(listening, std::current_exception());
            return false;
        }
    }

    static void tellFailure(Listening& listening, std::exception_ptr failure)
    {
        try {
            listening.listener(Notice{EventLoop::Step::Ended, EventData(), failure});
        } catch (...) { // it threw before, perhaps
        }
    }

    /// Until there is a job, or it is time to look for events. COM needs its window messages answered meanwhile.
    void idle()
    {
        constexpr unsigned long forEver = 0xFFFFFFFF, allInput = 0x04FF, alsoOld = 0x0004;
        constexpr unsigned remove = 1;
        MsgWaitForMultipleObjectsEx(1, &wake_, listenings_.empty() ? forEver : 50, allInput, alsoOld);
        alignas(8) unsigned char message[64]; // room for a MSG
        tagMSG* const place = reinterpret_cast<tagMSG*>(message);
        while (PeekMessageW(place, nullptr, 0, 0, remove) != 0)
            DispatchMessageW(place);
    }

    Operations vbox_;
    void* wake_;
    std::mutex mutex_;
    std::deque<std::function<void(Operations&)>> jobs_; // guarded by mutex_
    bool ending_ = false;                               // guarded by mutex_
    std::list<Listening> listenings_;                   // of the thread
    std::thread thread_;                                // last: it uses all the others
};

} // namespace Travik

#endif

#endif
