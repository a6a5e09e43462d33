#include "com/clients.h"

#include <objbase.h>
#include <rpc.h>

#include <atomic>

namespace VBoxSim {

namespace {
thread_local DWORD callerOfThread = 0;
std::atomic<ULONGLONG> timeOfLastCall{0};
} // namespace

bool underWine()
{
    static const bool wine = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
    return wine;
}

Counted::Counted() : client_(Clients::caller())
{
    Clients& clients = Clients::instance();
    const std::lock_guard guard(clients.mutex_);
    clients.objects_.insert(this);
}

void Counted::leaveCensus()
{
    if (!counted_)
        return;
    counted_ = false;
    Clients& clients = Clients::instance();
    const std::lock_guard guard(clients.mutex_);
    clients.objects_.erase(this);
}

void Counted::connected(bool now)
{
    const std::lock_guard guard(Clients::instance().mutex_);
    connected_ = now;
}

Clients& Clients::instance()
{
    static Clients* const clients = new Clients; // outlives the last object
    return *clients;
}

DWORD Clients::caller() noexcept
{
    return callerOfThread;
}

ULONGLONG Clients::lastCall() noexcept
{
    return timeOfLastCall;
}

void Clients::actFor(DWORD process)
{
    callerOfThread = process;
}

void Clients::noteCaller()
{
    timeOfLastCall = GetTickCount64();
    unsigned long process = 0;
    callerOfThread = I_RpcBindingInqLocalClientPID(nullptr, &process) == RPC_S_OK ? process : 0;
    if (callerOfThread && callerOfThread != GetCurrentProcessId())
        instance().watch(callerOfThread);
}

void Clients::watch(DWORD process)
{
    const std::lock_guard guard(mutex_);
    if (watched_.contains(process))
        return;
    Watch watch;
    watch.process = OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process);
    if (!watch.process)
        return; // not ours to watch; its references count as long as COM counts them
    RegisterWaitForSingleObject(&watch.wait, watch.process, &Clients::processEnded,
                                // NOLINTNEXTLINE(performance-no-int-to-ptr): the context is the number, nothing points
                                reinterpret_cast<void*>(static_cast<ULONG_PTR>(process)), INFINITE,
                                WT_EXECUTEONLYONCE | WT_EXECUTELONGFUNCTION);
    watched_.emplace(process, watch);
}

void CALLBACK Clients::processEnded(void* context, BOOLEAN)
{
    instance().ended(static_cast<DWORD>(reinterpret_cast<ULONG_PTR>(context)));
}

void Clients::ended(DWORD process)
{
    std::vector<IUnknown*> left;
    {
        // In one step: the number of the process may be given to another one, whose calls begin afresh.
        const std::lock_guard guard(mutex_);
        const auto found = watched_.find(process);
        if (found == watched_.end())
            return;
        UnregisterWaitEx(found->second.wait, nullptr);
        CloseHandle(found->second.process);
        watched_.erase(found);
        for (Counted* object : objects_) {
            if (object->client_ == process && object->connected_ && object->tryAddRef()) {
                object->connected_ = false;
                left.push_back(object->identity());
            }
        }
    }
    if (gone_)
        gone_(process);
    // COM (under Wine) never takes back what a dead process held: cut those objects off.
    for (IUnknown* object : left) {
        CoDisconnectObject(object, 0);
        object->Release();
    }
}

std::vector<Clients::Reference> Clients::references() const
{
    const std::lock_guard guard(mutex_);
    std::vector<Reference> found;
    for (const Counted* object : objects_)
        if (object->connected_ && !object->isOwn())
            found.push_back({object->client_, object->typeName()});
    return found;
}

bool Clients::anyConnection() const
{
    const std::lock_guard guard(mutex_);
    for (const Counted* object : objects_)
        if (object->connected_)
            return true;
    return false;
}

std::vector<DWORD> Clients::processes() const
{
    const std::lock_guard guard(mutex_);
    std::vector<DWORD> found;
    for (const auto& [process, watch] : watched_)
        found.push_back(process);
    return found;
}

} // namespace VBoxSim
