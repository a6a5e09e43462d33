#pragma once

#include "com/object.h"
#include "host/device_views.h"

namespace VBoxSim {

class AudioAdapterObject : public Object<AudioAdapterObject, IAudioAdapter>
{
public:
    AudioAdapterObject(Server& server, AudioAdapterView view) : Object(server), view_(std::move(view)) {}

    HRESULT STDMETHODCALLTYPE get_Enabled(BOOL* enabled) override;
    HRESULT STDMETHODCALLTYPE put_Enabled(BOOL enabled) override;
    HRESULT STDMETHODCALLTYPE get_EnabledIn(BOOL* enabled) override;
    HRESULT STDMETHODCALLTYPE put_EnabledIn(BOOL enabled) override;
    HRESULT STDMETHODCALLTYPE get_EnabledOut(BOOL* enabled) override;
    HRESULT STDMETHODCALLTYPE put_EnabledOut(BOOL enabled) override;
    HRESULT STDMETHODCALLTYPE get_AudioController(ULONG* controller) override;
    HRESULT STDMETHODCALLTYPE put_AudioController(ULONG controller) override;
    HRESULT STDMETHODCALLTYPE get_AudioCodec(ULONG* codec) override;
    HRESULT STDMETHODCALLTYPE put_AudioCodec(ULONG codec) override;
    HRESULT STDMETHODCALLTYPE get_AudioDriver(ULONG* driver) override;
    HRESULT STDMETHODCALLTYPE put_AudioDriver(ULONG driver) override;

    const wchar_t* typeName() const override { return L"IAudioAdapter"; }

private:
    void checkUsable() const override { view_.machine().checkUsable(); }

    const AudioAdapterView view_;
};

} // namespace VBoxSim
