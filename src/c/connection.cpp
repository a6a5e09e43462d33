#include "connection.h"

#include "call.h"

namespace Travik::Flat {
namespace {

void keepLoaded()
{
    HMODULE self = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                       reinterpret_cast<LPCWSTR>(&keepLoaded), &self);
}

void checkOptions(const travik_options& options)
{
    constexpr std::uint32_t known = TRAVIK_OPEN_CALLER_THREAD | TRAVIK_OPEN_LAZY;
    if (options.size != sizeof(travik_options) || (options.flags & ~known) != 0 || options.reserved != 0)
        throw Refused(TRAVIK_BadOptions, "travik_options are not of this version");
    if ((options.flags & TRAVIK_OPEN_CALLER_THREAD) != 0)
        Connection::refuseDeadline(options.deadlineMs);
}

} // namespace

Connection& Connection::instance()
{
    static Connection& one = *new Connection;
    return one;
}

void Connection::open(const travik_options& options)
{
    checkOptions(options);
    if (state_ == State::closing)
        closeQuietly(Clock::now()); // of an earlier one whose last call lasted longer than its deadline
    State closed = State::closed;
    if (processIsLeaving() || !state_.compare_exchange_strong(closed, State::opening))
        throw Refused(TRAVIK_AlreadyOpen, "the library is open already, or still being closed");
    try {
        begin(options);
    } catch (const Refused&) {
        state_ = State::closing;
        closeQuietly(Clock::now()); // the start may last
        throw;
    } catch (...) {
        state_ = State::closing;
        closeQuietly(Clock::time_point::max());
        throw;
    }
}

void Connection::begin(const travik_options& options)
{
    VBoxInstanceImpl& sdk = requiredLibrary();
    keepLoaded();
    if (options.logPath)
        sdk.setLogPath(toWide(options.logPath));
    deadlineMs_ = options.deadlineMs == 0 ? TRAVIK_NO_DEADLINE : options.deadlineMs;
    const bool callerThread = (options.flags & TRAVIK_OPEN_CALLER_THREAD) != 0;
    if (!callerThread) {
        const Holding holding(guard_);
        watchers_ = std::make_shared<Watchers>();
        worker_ = std::make_shared<Worker>(sdk);
    }
    const auto start = std::make_shared<OperationJob<Calls::initComComponent>>(true);
    if ((options.flags & TRAVIK_OPEN_LAZY) == 0 && callerThread)
        start->step(sdk);
    else if ((options.flags & TRAVIK_OPEN_LAZY) == 0)
        worker_->run(start, fromNow(deadlineMs_));
    if (start->failure().code != 0)
        throw start->failure();
    state_ = callerThread ? State::callerThread : State::worker;
}

void Connection::close(Clock::time_point until)
{
    if (processIsLeaving())
        return;
    State open = State::callerThread;
    if (state_.compare_exchange_strong(open, State::closing)) {
        requiredLibrary().releaseRC();
        state_ = State::closed;
        return;
    }
    open = State::worker;
    state_.compare_exchange_strong(open, State::closing);
    if (state_ != State::closing)
        throw Refused(TRAVIK_Closed, "the library is not open");
    endWorker(until);
}

void Connection::endWorker(Clock::time_point until)
{
    Holding holding(guard_);
    const std::shared_ptr<Worker> worker = worker_;
    const std::shared_ptr<Watchers> watchers = watchers_;
    holding.unlock();
    if (worker) {
        worker->stop();
        if (!watchers->close(until) || !worker->waitForEnd(until))
            throw Refused(TRAVIK_Deadline, "a call or a callback still runs");
    }
    holding.lock();
    if (worker_ != worker || state_ != State::closing) // another thread was sooner
        return;
    worker_ = nullptr;
    watchers_ = nullptr;
    state_ = State::closed;
}

void Connection::closeQuietly(Clock::time_point until)
{
    try {
        endWorker(until);
    } catch (const Refused&) {
        // It goes on; the next travik_open or travik_close looks again.
    }
}

std::shared_ptr<Worker> Connection::enter()
{
    if (state_ == State::callerThread)
        return nullptr;
    const Holding holding(guard_);
    if (state_ != State::worker || processIsLeaving())
        throw Refused(TRAVIK_Closed, "the library is not open");
    return worker_;
}

bool Connection::enterQuietly(std::shared_ptr<Worker>& worker) noexcept
{
    try {
        worker = enter();
        return true;
    } catch (const Refused&) {
        return false;
    }
}

std::shared_ptr<Watchers> Connection::watchers()
{
    if (state_ == State::callerThread)
        throw Refused(TRAVIK_NeedsWorker, "there are no watches with TRAVIK_OPEN_CALLER_THREAD");
    const std::shared_ptr<Watchers> watchers = watchersToEnd();
    if (!watchers)
        throw Refused(TRAVIK_Closed, "the library is not open");
    return watchers;
}

std::shared_ptr<Watchers> Connection::watchersToEnd()
{
    if (processIsLeaving())
        return nullptr;
    const Holding holding(guard_);
    return watchers_;
}

Clock::time_point Connection::deadline(std::uint32_t deadlineMs) const
{
    return fromNow(deadlineMs == 0 ? deadlineMs_.load() : deadlineMs);
}

void Connection::refuseDeadline(std::uint32_t deadlineMs)
{
    if (deadlineMs != 0 && deadlineMs != TRAVIK_NO_DEADLINE)
        throw Refused(TRAVIK_NeedsWorker, "nobody can keep a deadline with TRAVIK_OPEN_CALLER_THREAD");
}

VBoxInstanceImpl& requiredLibrary()
{
    VBoxInstanceImpl* const sdk = library();
    if (!sdk)
        throw Refused(TRAVIK_LibraryMissing, "TravikSDK-selq6.dll of this version is not beside TravikSDK-c.dll");
    return *sdk;
}

bool Release::step(VBoxInstanceImpl& sdk) noexcept
{
    try {
        (sdk.*operation_)(handle_);
    } catch (...) {
        // A mutex that cannot be locked: the handle stays with the library.
    }
    return true;
}

std::uint32_t postRelease(Release::Operation operation, VBoxHandle handle) noexcept
{
    try {
        std::shared_ptr<Worker> worker;
        if (!Connection::instance().enterQuietly(worker))
            return 0; // nothing is held any more
        if (worker)
            worker->post(std::make_shared<Release>(operation, handle));
        else
            Release(operation, handle).step(requiredLibrary());
        return 0;
    } catch (...) {
        return currentFailure().code;
    }
}

void giveLockBack(VBoxInstanceImpl& sdk) noexcept
{
    try {
        sdk.unlockMachine();
    } catch (...) {
        // A mutex that cannot be locked: the lock stays with the session.
    }
}

std::uint32_t start(VBoxInstanceImpl& sdk, Start how)
{
    if (how == Start::anew)
        sdk.resetComComponent();
    sdk.initComComponent(); // unlike a reset it clears the last result: what is left is the reason
    return sdk.getVBoxError() == 0 ? 0 : static_cast<std::uint32_t>(InitVboxComFail);
}

} // namespace Travik::Flat

using namespace Travik::Flat;

extern "C" {

uint32_t travik_open(const travik_options* options, travik_error** error)
{
    return guarded("open", error, [&] {
        const travik_options usual{sizeof(travik_options), 0, nullptr, 0, 0};
        Connection::instance().open(!options ? usual : *options);
        return 0u;
    });
}

uint32_t travik_close(uint32_t deadlineMs, travik_error** error)
{
    return guarded("close", error, [&] {
        Connection& connection = Connection::instance();
        connection.close(connection.deadline(deadlineMs));
        return 0u;
    });
}

const char* travik_version(void)
{
    return TRAVIK_VERSION;
}

const char* travik_identity(void)
{
    return TRAVIK_IDENTITY;
}
}
