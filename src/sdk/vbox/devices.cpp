#include "selq6/vbox.h"

// The audio adapter of a machine and the host computer.

namespace Travik {

SdkErrorCode VBox::getAudioAdapter(VBoxHandle machine, VBoxHandle* audioAdapter)
{
    Operation op(*this, L"Travik::VBox::getAudioAdapter", machine);
    ComPtr<IMachine> object;
    ComPtr<IAudioAdapter> adapter;
    if (op.find(machineTable, machine, object) &&
        op.call(GetAudioAdapterFail, [&] { return object->get_AudioAdapter(&adapter); }))
        op.handOut(audioAdapterTable, adapter, audioAdapter);
    return op.code();
}

SdkErrorCode VBox::setAudioAdapterEnabled(VBoxHandle audioAdapter, std::uint32_t enabled)
{
    Operation op(*this, L"Travik::VBox::setAudioAdapterEnabled", audioAdapter, enabled);
    ComPtr<IAudioAdapter> object;
    if (op.find(audioAdapterTable, audioAdapter, object))
        op.call(SetAudioAdapterEnabledFail, [&] { return object->put_Enabled(static_cast<BOOL>(enabled)); });
    return op.code();
}

SdkErrorCode VBox::getHost(VBoxHandle* host)
{
    Operation op(*this, L"Travik::VBox::getHost");
    ComPtr<IVirtualBox> root;
    ComPtr<IHost> object;
    if (op.ready(virtualBox, root) && op.call(GetHostFail, [&] { return root->get_Host(&object); }))
        op.handOut(hostTable, object, host);
    return op.code();
}

SdkErrorCode VBox::hostGetProcessorFeature(VBoxHandle host, std::uint32_t feature, std::uint32_t* supported)
{
    Operation op(*this, L"Travik::VBox::hostGetProcessorFeature", host, feature);
    ComPtr<IHost> object;
    BOOL value = FALSE;
    if (op.find(hostTable, host, object) &&
        op.call(HostGetProcessorFeatureFail, [&] { return object->GetProcessorFeature(feature, &value); }))
        op.returnNumber(L"return enabled = ", value, supported);
    return op.code();
}

} // namespace Travik
