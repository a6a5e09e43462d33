#pragma once

#include <windows.h>

#include <atomic>
#include <string>
#include <utility>

#include "com/call_frame.h"
#include "com/clients.h"
#include "com/interface_keeper.h"
#include "com/server.h"
#include "com/values.h"
#include "control/com_object.h"
#include "late_binding/late_bound.h"
#include "vboxsim_control_defaults.h"
#include "virtualbox_defaults.h"

namespace VBoxSim {

template <class... Parts>
std::wstring describeAll(const Parts&... parts)
{
    std::wstring all;
    ((all += (all.empty() ? L"" : L", ") + describe(parts)), ...);
    return all;
}

/// Base of every COM object of the server: reference count, identity, the census, and the frame around each call.
/// `Bases` are the interfaces that `Interface` derives from, IDispatch and IUnknown aside. A class that other calls
/// must recognise as an argument has a member `static constexpr GUID implementationId`.
template <class Derived, class Interface, class... Bases>
class Object : public ComObject<LateBound<Interface>, IExternalConnection, ISupportErrorInfo>, public Counted
{
public:
    DWORD STDMETHODCALLTYPE AddConnection(DWORD kind, DWORD) override
    {
        if (kind & EXTCONN_STRONG) {
            ++connections_;
            connected(true);
        }
        return connections_;
    }

    DWORD STDMETHODCALLTYPE ReleaseConnection(DWORD kind, DWORD, BOOL lastReleaseCloses) override
    {
        if (kind & EXTCONN_STRONG && --connections_ == 0) {
            connected(false);
            // COM expects this of an object that counts its connections; Wine's COM does it by itself, and would not
            // survive it here.
            if (lastReleaseCloses && !underWine())
                CoDisconnectObject(identity(), 0);
        }
        return connections_;
    }

    HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID id) override
    {
        return isIdOf<Interface, Bases...>(id) || id == IID_IMarshal ? S_OK : S_FALSE;
    }

protected:
    explicit Object(Server& server) : Counted(server.clients), server_(server)
    {
        static const bool prepared = (prepare(__uuidof(Interface)), (prepare(__uuidof(Bases)), ...), true);
        static_cast<void>(prepared);
    }

    void* interfaceOf(REFIID id) override
    {
        if (id == IID_IUnknown || isIdOf<Interface, Bases...>(id))
            return static_cast<Interface*>(this);
        if (id == IID_IExternalConnection)
            return static_cast<IExternalConnection*>(this);
        if (id == IID_ISupportErrorInfo)
            return static_cast<ISupportErrorInfo*>(this);
        if constexpr (requires { Derived::implementationId; }) {
            if (id == Derived::implementationId)
                return static_cast<Derived*>(this);
        }
        return nullptr;
    }

    Server& server() const { return server_; }
    Host& host() const { return server_.host; }

    IUnknown* identity() override { return static_cast<Interface*>(this); }

    bool tryAddRef() override { return this->addReferenceToLiving(); }
    void finalRelease() override { leaveCensus(); }

    /// Throws when the object takes no calls any more.
    virtual void checkUsable() const {}

    /// A method: `body` is called with the host's lock when it wants it.
    template <class Body, class... Arguments>
    HRESULT call(const wchar_t* name, Body&& body, const Arguments&... arguments)
    {
        return callAlways(
            name,
            [&](HostLock& lock) {
                checkUsable();
                if constexpr (std::is_invocable_v<Body, HostLock&>)
                    body(lock);
                else
                    body();
            },
            arguments...);
    }

    /// A method that works on an unusable object as well.
    template <class Body, class... Arguments>
    HRESULT callAlways(const wchar_t* name, Body&& body, const Arguments&... arguments)
    {
        return serve(
            server_, {name, __uuidof(Interface)}, [&] { return describeAll(arguments...); },
            [&](HostLock& lock) {
                if constexpr (std::is_invocable_v<Body, HostLock&>)
                    body(lock);
                else
                    body();
            });
    }

    /// A method with one result: `read` gives it.
    template <class Out, class Read, class... Arguments>
    HRESULT get(const wchar_t* name, Out* out, Read&& read, const Arguments&... arguments)
    {
        return getAlways(
            name, out,
            [&] {
                checkUsable();
                return read();
            },
            arguments...);
    }

    template <class Out, class Read, class... Arguments>
    HRESULT getAlways(const wchar_t* name, Out* out, Read&& read, const Arguments&... arguments)
    {
        if (out)
            *out = Out{};
        return callAlways(
            name,
            [&] {
                require(out);
                store(out, read());
            },
            arguments...);
    }

private:
    static void prepare(REFIID id)
    {
        useOwnStubs(id);
        keepRegistered(id);
    }

    Server& server_;
    std::atomic<DWORD> connections_{0};
};

template <class Implementation, class... Arguments>
ComPtr<Implementation> make(Arguments&&... arguments)
{
    return ComPtr<Implementation>(new Implementation(std::forward<Arguments>(arguments)...));
}

/// The implementation behind an argument; null when it is not an object of that class of this server.
template <class Implementation>
ComPtr<Implementation> implementationOf(IUnknown* object)
{
    void* pointer = nullptr;
    if (!object || FAILED(object->QueryInterface(Implementation::implementationId, &pointer)))
        return nullptr;
    const ComPtr<Implementation> found = static_cast<Implementation*>(pointer);
    found->Release(); // not by Attach, which takes a reference of its own in MinGW's header
    return found;
}

} // namespace VBoxSim
