#include "com/clients.h"

#include <objbase.h>
#include <rpc.h>

namespace VBoxSim {

namespace {
thread_local DWORD callerOfThread = 0;
} // namespace

bool underWine()
{
    static const bool wine = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
    return wine;
}

Counted::Counted(Clients& clients) : clients_(clients), client_(Clients::caller())
{
    const std::lock_guard guard(clients_.mutex_);
    clients_.objects_.insert(this);
}

void Counted::leaveCensus()
{
    if (!counted_)
        return;
    counted_ = false;
    const std::lock_guard guard(clients_.mutex_);
    clients_.objects_.erase(this);
}

void Counted::connected(bool now)
{
    const std::lock_guard guard(clients_.mutex_);
    connected_ = now;
}

DWORD Clients::caller() noexcept
{
    return callerOfThread;
}

void Clients::actFor(DWORD process)
{
    callerOfThread = process;
}

void Clients::noteCaller()
{
    lastCall_ = GetTickCount64();
    unsigned long process = 0;
    callerOfThread = I_RpcBindingInqLocalClientPID(nullptr, &process) == RPC_S_OK ? process : 0;
    if (callerOfThread && callerOfThread != GetCurrentProcessId())
        watch(callerOfThread);
}

void Clients::watch(DWORD process)
{
    const std::lock_guard guard(mutex_);
    if (watched_.contains(process))
        return;
    const HANDLE opened = OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process);
    if (!opened) {
        if (GetLastError() == ERROR_INVALID_PARAMETER)
            ended_.insert(process); // it died in this call
        return;                     // another one is not ours to watch: its references count as long as COM counts them
    }
    ended_.erase(process); // the number is another process's now
    Watch& watch = watched_.emplace(process, Watch{this, process, opened}).first->second;
    RegisterWaitForSingleObject(&watch.wait, opened, &Clients::processEnded, &watch, INFINITE,
                                WT_EXECUTEONLYONCE | WT_EXECUTELONGFUNCTION);
}

void CALLBACK Clients::processEnded(void* context, BOOLEAN)
{
    const Watch& watch = *static_cast<Watch*>(context);
    watch.clients->ended(watch.id);
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
        ended_.insert(process);
        left = heldByEnded();
    }
    if (gone_)
        gone_(process);
    cutOff(left);
}

void Clients::takeBack()
{
    std::vector<IUnknown*> left;
    {
        const std::lock_guard guard(mutex_);
        left = heldByEnded();
    }
    cutOff(left);
}

std::vector<IUnknown*> Clients::heldByEnded()
{
    std::vector<IUnknown*> held;
    if (ended_.empty())
        return held;
    for (Counted* object : objects_) {
        if (object->connected_ && ended_.contains(object->client_) && object->tryAddRef()) {
            object->connected_ = false;
            held.push_back(object->identity());
        }
    }
    return held;
}

void Clients::cutOff(const std::vector<IUnknown*>& objects)
{
    for (IUnknown* object : objects) {
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
