#include "com/audio_adapter_object.h"

namespace VBoxSim {

template <class Out, class Member>
HRESULT AudioAdapter::read(const wchar_t* name, Out* out, Member member)
{
    return get(name, out, [&] { return machine_->settings().audio.*member; });
}

HRESULT AudioAdapter::write(const wchar_t* name, BOOL value, bool AudioSettings::*member, Allowed allowed)
{
    return call(
        name, [&] { machine_->change(allowed).audio.*member = value != FALSE; }, value);
}

HRESULT AudioAdapter::write(const wchar_t* name, ULONG value, ULONG highest, std::uint32_t AudioSettings::*member)
{
    return call(
        name,
        [&] {
            if (value > highest)
                throw Failure(Result::invalidArgument, L"Invalid value " + std::to_wstring(value));
            machine_->change(Allowed::Off).audio.*member = value;
        },
        value);
}

HRESULT AudioAdapter::get_Enabled(BOOL* enabled)
{
    return read(L"IAudioAdapter::get_Enabled", enabled, &AudioSettings::enabled);
}

HRESULT AudioAdapter::put_Enabled(BOOL enabled)
{
    return write(L"IAudioAdapter::put_Enabled", enabled, &AudioSettings::enabled, Allowed::Off);
}

HRESULT AudioAdapter::get_EnabledIn(BOOL* enabled)
{
    return read(L"IAudioAdapter::get_EnabledIn", enabled, &AudioSettings::enabledIn);
}

HRESULT AudioAdapter::put_EnabledIn(BOOL enabled)
{
    return write(L"IAudioAdapter::put_EnabledIn", enabled, &AudioSettings::enabledIn, Allowed::OffOrRunning);
}

HRESULT AudioAdapter::get_EnabledOut(BOOL* enabled)
{
    return read(L"IAudioAdapter::get_EnabledOut", enabled, &AudioSettings::enabledOut);
}

HRESULT AudioAdapter::put_EnabledOut(BOOL enabled)
{
    return write(L"IAudioAdapter::put_EnabledOut", enabled, &AudioSettings::enabledOut, Allowed::OffOrRunning);
}

HRESULT AudioAdapter::get_AudioController(ULONG* controller)
{
    return read(L"IAudioAdapter::get_AudioController", controller, &AudioSettings::controller);
}

HRESULT AudioAdapter::put_AudioController(ULONG controller)
{
    return write(L"IAudioAdapter::put_AudioController", controller, 2, &AudioSettings::controller);
}

HRESULT AudioAdapter::get_AudioCodec(ULONG* codec)
{
    return read(L"IAudioAdapter::get_AudioCodec", codec, &AudioSettings::codec);
}

HRESULT AudioAdapter::put_AudioCodec(ULONG codec)
{
    return write(L"IAudioAdapter::put_AudioCodec", codec, 4, &AudioSettings::codec);
}

HRESULT AudioAdapter::get_AudioDriver(ULONG* driver)
{
    return read(L"IAudioAdapter::get_AudioDriver", driver, &AudioSettings::driver);
}

HRESULT AudioAdapter::put_AudioDriver(ULONG driver)
{
    return write(L"IAudioAdapter::put_AudioDriver", driver, 8, &AudioSettings::driver);
}

} // namespace VBoxSim
