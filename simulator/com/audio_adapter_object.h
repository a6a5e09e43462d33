#pragma once

#include "com/machine_object.h"

namespace VBoxSim {

class AudioAdapter : public Object<AudioAdapter, IAudioAdapter>
{
public:
    explicit AudioAdapter(ComPtr<Machine> machine) : machine_(std::move(machine)) {}

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
    void checkUsable() const override { machine_->checkUsable(); }
    template <class Out, class Member>
    HRESULT read(const wchar_t* name, Out* out, Member member);
    HRESULT write(const wchar_t* name, BOOL value, bool AudioSettings::*member, Allowed allowed);
    HRESULT write(const wchar_t* name, ULONG value, ULONG highest, std::uint32_t AudioSettings::*member);

    const ComPtr<Machine> machine_;
};

} // namespace VBoxSim
