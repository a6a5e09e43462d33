#pragma once

#include <windows.h>
#include <unknwn.h>

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace VBoxSim {

bool underWine();

class Clients;

/// What the census knows of an object: who got it and whether a client holds it now.
class Counted
{
public:
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

    /// The process whose call made the object; 0 for objects made without one.
    DWORD client() const noexcept { return client_; }

protected:
    explicit Counted(Clients& clients);
    ~Counted() { leaveCensus(); } // for a constructor that throws

    /// COM tells the first and the last reference from outside the process.
    void connected(bool now);

    /// To be called before the destructor begins: the census may look at the object until then.
    void leaveCensus();

    virtual IUnknown* identity() = 0;
    /// Takes a reference unless the last one is gone already.
    virtual bool tryAddRef() = 0;
    virtual const wchar_t* typeName() const = 0;
    /// Controls and session services are no part of what a client must give back.
    virtual bool isOwn() const { return false; }

private:
    friend class Clients;
    Clients& clients_;
    DWORD client_;
    bool connected_ = false;
    bool counted_ = true;
};

/// The client processes and the objects they hold. Takes no other lock of the server while it holds its own.
class Clients
{
public:
    Clients() = default;
    Clients(const Clients&) = delete;
    Clients& operator=(const Clients&) = delete;

    /// Called at the start of every call: remembers the calling process and watches it from now on.
    void noteCaller();
    /// When the last call came (GetTickCount64).
    ULONGLONG lastCall() const noexcept { return lastCall_; }
    /// Makes this thread work for a client: what it hands out counts as that client's.
    static void actFor(DWORD process);
    /// The process that makes the call of this thread; 0 outside of calls.
    static DWORD caller() noexcept;

    /// Called on a thread of its own when a client process has ended, before its references are dropped.
    void onGone(std::function<void(DWORD process)> handler) { gone_ = std::move(handler); }

    /// COM (under Wine) never takes back what a dead process held, and hands a result to a client that died while it
    /// waited for it: cuts off all that is connected for processes that have ended. To be called now and then.
    void takeBack();

    struct Reference
    {
        DWORD client;
        std::wstring type;
    };
    /// What clients hold now, the stand-in's own interfaces aside.
    std::vector<Reference> references() const;
    /// Whether anybody holds anything at all.
    bool anyConnection() const;
    std::vector<DWORD> processes() const;

private:
    friend class Counted;
    struct Watch
    {
        Clients* clients;
        DWORD id;
        HANDLE process;
        HANDLE wait = nullptr;
    };

    void watch(DWORD process);
    void ended(DWORD process);
    /// With a reference of their own, no longer counted as connected. To be called with the mutex held.
    std::vector<IUnknown*> heldByEnded();
    static void cutOff(const std::vector<IUnknown*>& objects);
    static void CALLBACK processEnded(void* context, BOOLEAN timedOut);

    mutable std::mutex mutex_;
    std::map<DWORD, Watch> watched_;
    std::set<DWORD> ended_; // and no process has the number again
    std::set<Counted*> objects_;
    std::function<void(DWORD)> gone_;
    std::atomic<ULONGLONG> lastCall_{0};
};

} // namespace VBoxSim
