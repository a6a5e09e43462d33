#pragma once

#include <objidl.h>

#include "control/com_object.h"

namespace VBoxSim {

/// What a session object writes of itself when it is passed to another process.
struct SessionPacket
{
    GUID session;
    DWORD process;
};

/// The bodies of IMarshal for a class that has one part in the passing of a session: the others are refused.
class SessionMarshal : public IMarshal
{
public:
    HRESULT STDMETHODCALLTYPE GetUnmarshalClass(REFIID, void*, DWORD, void*, DWORD, CLSID*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetMarshalSizeMax(REFIID, void*, DWORD, void*, DWORD, DWORD*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE MarshalInterface(IStream*, REFIID, void*, DWORD, void*, DWORD) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE UnmarshalInterface(IStream*, REFIID, void**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ReleaseMarshalData(IStream*) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE DisconnectObject(DWORD) override { return S_OK; }
};

/// The part at the other end: makes of the packet what the session is there.
class SessionUnmarshaler : public ComObject<SessionMarshal>
{
public:
    HRESULT STDMETHODCALLTYPE UnmarshalInterface(IStream* stream, REFIID id, void** out) override
    {
        SessionPacket packet{};
        ULONG got = 0;
        const HRESULT result = stream->Read(&packet, sizeof packet, &got);
        if (FAILED(result) || got != sizeof packet)
            return FAILED(result) ? result : E_INVALIDARG;
        return sessionOf(packet, id, out);
    }

protected:
    void* interfaceOf(REFIID id) override
    {
        return id == IID_IUnknown || isIdOf<IMarshal>(id) ? static_cast<IMarshal*>(this) : nullptr;
    }

private:
    virtual HRESULT sessionOf(const SessionPacket& packet, REFIID id, void** out) = 0;
};

} // namespace VBoxSim
