// Every slot from every kind of thread, through real proxies: a code comes back, never a crash, and the table of it is
// what the documents say.

#include <algorithm>
#include <condition_variable>
#include <functional>
#include <initializer_list>
#include <iostream>
#include <map>
#include <mutex>
#include <thread>
#include <tuple>
#include <type_traits>

#include "harness/running_machine.h"
#include "lawful_codes.h"
#include "operation_list.h"
#include "scratch.h"

namespace TravikTest {
namespace {

/// A thread of its own kind for the whole test: threads that come and go stall under Wine.
class ApartmentThread
{
public:
    ApartmentThread(const char* name, std::optional<DWORD> apartment)
        : name_(name), thread_([this, apartment] { work(apartment); })
    {}
    ~ApartmentThread()
    {
        run({});
        thread_.join();
    }
    ApartmentThread(const ApartmentThread&) = delete;
    ApartmentThread& operator=(const ApartmentThread&) = delete;

    const char* name() const { return name_; }

    /// Runs it there and waits; an empty function ends the thread.
    void run(std::function<void()> job)
    {
        std::unique_lock lock(guard_);
        job_ = std::move(job);
        waiting_ = true;
        changed_.notify_all();
        changed_.wait(lock, [this] { return !waiting_; });
    }

private:
    void work(std::optional<DWORD> apartment)
    {
        if (apartment)
            CoInitializeEx(nullptr, *apartment);
        for (bool more = true; more;) {
            std::unique_lock lock(guard_);
            changed_.wait(lock, [this] { return waiting_; });
            more = static_cast<bool>(job_);
            if (more)
                job_();
            waiting_ = false;
            changed_.notify_all();
        }
    }

    const char* name_;
    std::mutex guard_;
    std::condition_variable changed_;
    std::function<void()> job_;
    bool waiting_ = false;
    std::thread thread_;
};

/// The handles that a front end has when it comes to a wrong thread: one of each table.
struct Held
{
    VBoxHandle machine = 0, progress = 0, console = 0, source = 0, listener = 0, event = 0, errorEvent = 0,
               stateChanged = 0, runtimeError = 0, audio = 0, nat = 0, adapter = 0, host = 0, medium = 0;
};

bool startsWithAny(const std::string& text, std::initializer_list<const char*> beginnings)
{
    return std::any_of(beginnings.begin(), beginnings.end(), [&](const char* part) { return text.starts_with(part); });
}

/// The first handle argument of an operation names an object of this table.
VBoxHandle handleFor(const std::string& operation, const Held& held)
{
    const std::vector<std::pair<std::initializer_list<const char*>, VBoxHandle>> rules = {
        {{"eventSourceStateChangedEvent", "releaseStateChangedEvent"}, held.stateChanged},
        {{"eventSourceRuntimeErrorEvent", "releaseRuntimeErrorEvent"}, held.runtimeError},
        {{"getEventSourceRuntimeErrorEvent"}, held.errorEvent},
        {{"getEventSourceStateChangedEvent", "eventSourceEventGetType", "eventSourceReleaseEvent"}, held.event},
        {{"releaseEventSource"}, held.source},
        {{"releaseEventListener"}, held.listener},
        {{"releaseEvent"}, held.event},
        {{"eventSource"}, held.source},
        {{"console", "powerDown", "getEventSource", "releaseConsole"}, held.console},
        {{"progress", "getProgress", "releaseProgress"}, held.progress},
        {{"addRedirect", "removeRedirect", "getRedirects", "releaseNATEngine"}, held.nat},
        {{"getNATEngine", "releaseNetworkAdapter"}, held.adapter},
        {{"setAudioAdapterEnabled", "releaseAudioAdapter"}, held.audio},
        {{"host", "releaseHost"}, held.host},
        {{"closeMedium", "deleteMedium", "getMedium", "releaseMedium"}, held.medium}};
    for (const auto& [beginnings, handle] : rules) {
        if (startsWithAny(operation, beginnings))
            return handle;
    }
    return held.machine;
}

/// Plain arguments for any slot.
class Arguments
{
public:
    Arguments(const std::string& operation, const Held& held) : operation_(operation), held_(held) {}

    template <class Argument>
    Argument make()
    {
        using Value = std::remove_cv_t<std::remove_reference_t<Argument>>;
        if constexpr (std::is_pointer_v<Value>)
            return &std::get<std::remove_pointer_t<Value>>(places_);
        else if constexpr (std::is_same_v<Value, std::wstring>)
            return text();
        else if constexpr (std::is_same_v<Value, VBoxHandle>)
            return number();
        else
            return Value();
    }

private:
    /// A file that is there, whatever the text is for; but nothing is to be renamed.
    std::wstring text()
    {
        return (scratchFolder() / (operation_ == "renameVmDisk" ? L"missing" : L"present.vdi")).wstring();
    }

    VBoxHandle number()
    {
        switch (numbers_++) {
        case 0:
            return handleFor(operation_, held_);
        case 1:
            if (operation_ == "attachMedium")
                return held_.medium;
            return operation_ == "cloneToMachine"          ? held_.machine
                   : operation_.starts_with("eventSource") ? held_.listener
                                                           : 0;
        default:
            return operation_ == "eventSourceEventProcessed" ? held_.event : 0;
        }
    }

    std::string operation_;
    const Held& held_;
    int numbers_ = 0;
    std::tuple<std::uint32_t, std::int32_t, std::int64_t, std::wstring, std::list<std::wstring>,
               std::vector<VBoxHandle>>
        places_;
};

/// The arguments in the order of the parameters: braces evaluate from left to right, a call's parentheses do not.
template <class Result, class... Parameters>
std::uint32_t callPlainly(VBoxInstanceImpl& sdk, Result (VBoxInstanceImpl::*operation)(Parameters...),
                          const std::string& name, const Held& held)
{
    Arguments arguments(name, held);
    std::tuple<std::decay_t<Parameters>...> values{arguments.make<std::decay_t<Parameters>>()...};
    return std::apply(
        [&](auto&&... value) -> std::uint32_t {
            if constexpr (std::is_same_v<Result, std::wstring>)
                return (sdk.*operation)(value...), 0;
            else
                return static_cast<std::uint32_t>((sdk.*operation)(value...));
        },
        values);
}

struct Slot
{
    const char* name;
    std::uint32_t (*call)(VBoxInstanceImpl& sdk, const std::string& name, const Held& held);
};

const Slot slots[] = {
#define OPERATION(name)                                                                                                \
    {#name, [](VBoxInstanceImpl& sdk, const std::string& operation, const Held& held) {                                \
         return callPlainly(sdk, &VBoxInstanceImpl::name, operation, held);                                            \
     }},
    FOR_EACH_OPERATION(OPERATION)
#undef OPERATION
};

/// What the documents say: whether the operation belongs on the thread that initialised COM.
bool threadMatters(const std::string& name)
{
    static const std::map<std::string, bool> promised = {
#define PROMISE(operation, throws, codes, matters) {#operation, matters},
        FOR_EACH_PROMISE(PROMISE)
#undef PROMISE
    };
    const auto found = promised.find(name);
    return found != promised.end() && found->second;
}

/// Calls of the session object, which lives in this process: COM does not guard it here, but VirtualBox's own may be
/// guarded. What it asks of the server fails there all the same.
bool isOfTheSession(const std::string& name)
{
    return name == "getConsole" || name == "createMutableMachine" || name == "unlockMachine";
}

/// Those that change the library's own state for all threads are tested elsewhere; the session is unlocked last.
bool isLeftOut(const std::string& name)
{
    return name == "setLogPath" || name == "releaseRC" || name == "resetComComponent" || name == "unlockMachine";
}

/// A question that COM may answer by itself: whether an event is of another kind.
bool isQuestionToCom(const std::string& name)
{
    return name == "getEventSourceStateChangedEvent" || name == "getEventSourceRuntimeErrorEvent";
}

bool isRelease(const std::string& name)
{
    return name.starts_with("release") || name == "eventSourceReleaseEvent";
}

class Apartments : public RunningMachineTest
{
protected:
    /// An object of each table.
    Held hold()
    {
        Held held;
        held.machine = find(Machines::player);
        retryWhileLocked(sdk, Deadline(milliseconds(10'000)),
                         [&] { return sdk.launchVMProcess(held.machine, L"headless", {L""}, &held.progress); });
        Details::waitFor(sdk, held.progress, Deadline(milliseconds(20'000)));
        check(sdk, sdk.getConsole(&held.console));
        check(sdk, sdk.getEventSource(held.console, &held.source));
        check(sdk, sdk.eventSourceCreateListener(held.source, &held.listener));
        check(sdk, sdk.eventSourceRegisterListener(held.source, held.listener,
                                                   {VBoxEventType::OnStateChanged, VBoxEventType::OnRuntimeError}, 0));
        control().runtimeError(Machines::player, true, L"id", L"pauses the machine first");
        check(sdk, sdk.eventSourceGetEvent(held.source, held.listener, 5'000, &held.event));
        check(sdk, sdk.getEventSourceStateChangedEvent(held.event, &held.stateChanged));
        check(sdk, sdk.eventSourceGetEvent(held.source, held.listener, 5'000, &held.errorEvent));
        check(sdk, sdk.getEventSourceRuntimeErrorEvent(held.errorEvent, &held.runtimeError));
        check(sdk, sdk.getNetworkAdapter(held.machine, 0, &held.adapter));
        check(sdk, sdk.getNATEngine(held.adapter, &held.nat));
        check(sdk, sdk.getAudioAdapter(held.machine, &held.audio));
        check(sdk, sdk.getHost(&held.host));
        writeVdi(scratchFolder() / L"present.vdi", L"5d1f4b1e-0000-4000-8000-000000000078");
        check(sdk, sdk.openMedium((scratchFolder() / L"present.vdi").wstring(), false, &held.medium));
        return held;
    }

    /// The code of one slot from this thread; the failure is in lastResult.
    std::uint32_t callFrom(ApartmentThread& thread, const Slot& slot, const Held& held)
    {
        std::uint32_t code = 0;
        thread.run([&] {
            try {
                code = slot.call(sdk, slot.name, held);
                lastResult = sdk.getVBoxError();
            } catch (const std::exception& error) {
                ADD_FAILURE() << slot.name << " from " << thread.name() << " throws " << error.what();
            }
        });
        return code;
    }

    std::uint32_t lastResult = 0;
    ApartmentThread other{"another single-threaded apartment", COINIT_APARTMENTTHREADED};
    ApartmentThread multi{"a multithreaded apartment", COINIT_MULTITHREADED};
    ApartmentThread none{"a thread without COM", std::nullopt};
};

constexpr std::uint32_t wrongThread = Result::RpcWrongThread;

TEST_F(Apartments, EverySlotFromEveryKindOfThreadGivesACode)
{
    const Held held = hold();
    std::map<std::string, int> outcomes;
    for (ApartmentThread* thread : {&other, &multi, &none}) {
        for (const Slot& slot : slots) {
            const std::string name = slot.name;
            if (isLeftOut(name) || isRelease(name))
                continue;
            const std::uint32_t code = callFrom(*thread, slot, held);
            const bool starts = name == "initComComponent"; // finds everything in place
            if (threadMatters(name) && !isOfTheSession(name) && !isQuestionToCom(name) && !starts) {
                EXPECT_NE(code, 0u) << name << " from " << thread->name();
                EXPECT_EQ(lastResult, wrongThread) << name << " from " << thread->name();
                ++outcomes["the operation's code, 0x8001010e"];
            } else if (isOfTheSession(name) || isQuestionToCom(name)) {
                EXPECT_TRUE(code == 0 || lastResult != 0) << name << " from " << thread->name();
                ++outcomes[std::string("of the session or of COM: ") + (code == 0 ? "0" : "its code")];
            } else {
                ++outcomes["as on the right thread"];
            }
        }
    }
    for (const auto& [outcome, count] : outcomes)
        std::cout << count << " times " << outcome << '\n';

    // The initialising thread goes on as if nothing had been: every slot reaches VirtualBox from there.
    for (const Slot& slot : slots) {
        const std::string name = slot.name;
        if (isLeftOut(name) || isRelease(name) || name == "deleteMachine")
            continue;
        const std::uint32_t code = slot.call(sdk, name, held);
        EXPECT_TRUE(!threadMatters(name) || sdk.getVBoxError() != wrongThread) << name << " gives " << code;
    }
    EXPECT_EQ(nameOf(find(Machines::worker)), Machines::worker);

    // A refused call's own arguments may stay referenced: seen under Wine. Nothing else.
    sdk.releaseRC();
    std::wstring listing;
    control().references(listing);
    for (const wchar_t* kind : {L"IVirtualBox ", L"IConsole", L"IEventSource", L"IHost", L"INetworkAdapter",
                                L"INATEngine", L"IAudioAdapter", L"IProgress", L"ISystemProperties", L"IAppliance"})
        EXPECT_EQ(listing.find(kind), std::wstring::npos) << utf8(listing);
    control().stop();
    awaitServerDeath();
}

// The handle is gone from its table and the result is 0; VirtualBox keeps the object until the process ends or not,
// that is COM's affair: the documents say that handles are given back on the right thread.
TEST_F(Apartments, HandlesGivenBackOnAWrongThreadAreGone)
{
    for (ApartmentThread* thread : {&other, &multi, &none}) {
        const Held held = hold();
        for (const Slot& slot : slots) {
            const std::string name = slot.name;
            if (isRelease(name) && name != "releaseRC" && name != "eventSourceReleaseEvent") {
                EXPECT_EQ(callFrom(*thread, slot, held), 0u) << name << " from " << thread->name();
            }
        }
        std::wstring text;
        EXPECT_EQ(sdk.getVmName(held.machine, &text), COM_Get_MachineFail) << thread->name();
        EXPECT_EQ(sdk.hostGetProcessorFeature(held.host, 0, nullptr), COM_Get_HostFail) << thread->name();
        sdk.releaseRC();
        control().reset();
    }
}

// The first call decides which thread the objects belong to.
TEST_F(Apartments, AThreadOfAnotherKindCreatesTheObjectsOrSaysWhyNot)
{
    static constexpr std::uint32_t changedMode = Result::RpcChangedMode;
    multi.run([this] {
        EXPECT_TRUE(done(sdk.initComComponent()));
        EXPECT_EQ(sdk.getVBoxError(), changedMode);
        EXPECT_EQ(sdk.findMachine(Machines::worker, nullptr), InitVboxComFail);
    });
    for (ApartmentThread* thread : {&other, &none}) {
        thread->run([this] {
            EXPECT_TRUE(done(sdk.findMachine(Machines::worker, nullptr)));
            EXPECT_TRUE(done(sdk.releaseRC()));
        });
    }
    EXPECT_EQ(nameOf(find(Machines::worker)), Machines::worker);
}

} // namespace
} // namespace TravikTest
