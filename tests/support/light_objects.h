#pragma once

#include <virtualbox.h>
#include <virtualbox_defaults.h>

#include <atomic>
#include <utility>

namespace TravikTest {

/// Objects of VirtualBox that record nothing and go with their last reference, so that millions of them can come and
/// go. Each kind hands out the kinds that the library asks of it.
template <class Interface>
class LightObject : public Defaults<Interface>
{
public:
    LightObject() { ++live; }
    virtual ~LightObject() { --live; }
    LightObject(const LightObject&) = delete;
    LightObject& operator=(const LightObject&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        *object = nullptr;
        if (iid != __uuidof(Interface) && iid != __uuidof(IUnknown))
            return E_NOINTERFACE;
        AddRef();
        *object = static_cast<Interface*>(this);
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++references_); }
    ULONG STDMETHODCALLTYPE Release() override
    {
        const long left = --references_;
        if (left == 0)
            delete this;
        return static_cast<ULONG>(left);
    }

    static inline std::atomic<long> live = 0;

private:
    std::atomic<long> references_ = 1;
};

template <class Made, class Out>
HRESULT give(Out** out)
{
    *out = new Made;
    return S_OK;
}

using LightProgress = LightObject<IProgress>;
using LightNatEngine = LightObject<INATEngine>;
using LightAudioAdapter = LightObject<IAudioAdapter>;
using LightMedium = LightObject<IMedium>;
using LightHost = LightObject<IHost>;
using LightListener = LightObject<IEventListener>;
using LightStateChangedEvent = LightObject<IStateChangedEvent>;
using LightRuntimeErrorEvent = LightObject<IRuntimeErrorEvent>;

struct LightNetworkAdapter final : LightObject<INetworkAdapter>
{
    HRESULT STDMETHODCALLTYPE get_NATEngine(INATEngine** engine) override { return give<LightNatEngine>(engine); }
};

struct LightMachine final : LightObject<IMachine>
{
    HRESULT STDMETHODCALLTYPE GetNetworkAdapter(ULONG, INetworkAdapter** adapter) override
    {
        return give<LightNetworkAdapter>(adapter);
    }
    HRESULT STDMETHODCALLTYPE get_AudioAdapter(IAudioAdapter** adapter) override
    {
        return give<LightAudioAdapter>(adapter);
    }
    HRESULT STDMETHODCALLTYPE GetMedium(BSTR, LONG, LONG, IMedium** medium) override
    {
        return give<LightMedium>(medium);
    }
};

struct LightEvent final : LightObject<IEvent>
{
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        if (iid == __uuidof(IStateChangedEvent))
            return give<LightStateChangedEvent>(reinterpret_cast<IStateChangedEvent**>(object));
        if (iid == __uuidof(IRuntimeErrorEvent))
            return give<LightRuntimeErrorEvent>(reinterpret_cast<IRuntimeErrorEvent**>(object));
        return LightObject::QueryInterface(iid, object);
    }
};

struct LightEventSource final : LightObject<IEventSource>
{
    HRESULT STDMETHODCALLTYPE CreateListener(IEventListener** listener) override
    {
        return give<LightListener>(listener);
    }
    HRESULT STDMETHODCALLTYPE GetEvent(IEventListener*, LONG, IEvent** event) override
    {
        return give<LightEvent>(event);
    }
};

struct LightConsole final : LightObject<IConsole>
{
    HRESULT STDMETHODCALLTYPE PowerDown(IProgress** progress) override { return give<LightProgress>(progress); }
    HRESULT STDMETHODCALLTYPE get_EventSource(IEventSource** source) override { return give<LightEventSource>(source); }
};

struct LightSession final : LightObject<ISession>
{
    HRESULT STDMETHODCALLTYPE get_Console(IConsole** console) override { return give<LightConsole>(console); }
};

struct LightVirtualBox final : LightObject<IVirtualBox>
{
    HRESULT STDMETHODCALLTYPE FindMachine(BSTR, IMachine** machine) override { return give<LightMachine>(machine); }
    HRESULT STDMETHODCALLTYPE get_Host(IHost** host) override { return give<LightHost>(host); }
};

} // namespace TravikTest
