#include "com/audio_adapter_object.h"

namespace VBoxSim {

HRESULT AudioAdapterObject::get_Enabled(BOOL* enabled)
{
    return get(L"IAudioAdapter::get_Enabled", enabled, [&] { return view_.settings().enabled; });
}

HRESULT AudioAdapterObject::put_Enabled(BOOL enabled)
{
    return call(
        L"IAudioAdapter::put_Enabled", [&] { view_.setEnabled(enabled != FALSE); }, enabled);
}

HRESULT AudioAdapterObject::get_EnabledIn(BOOL* enabled)
{
    return get(L"IAudioAdapter::get_EnabledIn", enabled, [&] { return view_.settings().enabledIn; });
}

HRESULT AudioAdapterObject::put_EnabledIn(BOOL enabled)
{
    return call(
        L"IAudioAdapter::put_EnabledIn", [&] { view_.setEnabledIn(enabled != FALSE); }, enabled);
}

HRESULT AudioAdapterObject::get_EnabledOut(BOOL* enabled)
{
    return get(L"IAudioAdapter::get_EnabledOut", enabled, [&] { return view_.settings().enabledOut; });
}

HRESULT AudioAdapterObject::put_EnabledOut(BOOL enabled)
{
    return call(
        L"IAudioAdapter::put_EnabledOut", [&] { view_.setEnabledOut(enabled != FALSE); }, enabled);
}

HRESULT AudioAdapterObject::get_AudioController(ULONG* controller)
{
    return get(L"IAudioAdapter::get_AudioController", controller, [&] { return view_.settings().controller; });
}

HRESULT AudioAdapterObject::put_AudioController(ULONG controller)
{
    return call(
        L"IAudioAdapter::put_AudioController", [&] { view_.setController(controller); }, controller);
}

HRESULT AudioAdapterObject::get_AudioCodec(ULONG* codec)
{
    return get(L"IAudioAdapter::get_AudioCodec", codec, [&] { return view_.settings().codec; });
}

HRESULT AudioAdapterObject::put_AudioCodec(ULONG codec)
{
    return call(
        L"IAudioAdapter::put_AudioCodec", [&] { view_.setCodec(codec); }, codec);
}

HRESULT AudioAdapterObject::get_AudioDriver(ULONG* driver)
{
    return get(L"IAudioAdapter::get_AudioDriver", driver, [&] { return view_.settings().driver; });
}

HRESULT AudioAdapterObject::put_AudioDriver(ULONG driver)
{
    return call(
        L"IAudioAdapter::put_AudioDriver", [&] { view_.setDriver(driver); }, driver);
}

} // namespace VBoxSim
