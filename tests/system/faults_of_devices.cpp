// The host and a machine's devices: shared folders, network, guest properties, audio.

#include "fault_matrix.h"

namespace TravikTest {

std::vector<Fault> deviceFaults()
{
    using enum Scene;
    using enum Absence;
    std::vector<Fault> all;
    add(all, "getHost", registered, [](Slots& s) { return s.box().getHost(&s.outputs.handle); },
        {{L"IVirtualBox::get_Host", 125, endsWell}});
    add(all, "hostGetProcessorFeature", registered,
        [](Slots& s) { return s.box().hostGetProcessorFeature(s.host, 0, &s.outputs.number); },
        {{L"IHost::GetProcessorFeature", 126, nothing}});
    add(all, "machineRemoveSharedFolder", locked,
        [](Slots& s) { return s.box().machineRemoveSharedFolder(s.mutableMachine, L"there"); },
        {{L"IMachine::RemoveSharedFolder", 127, nothing}});
    add(all, "machineCreateSharedFolder", locked,
        [](Slots& s) { return s.box().machineCreateSharedFolder(s.mutableMachine, L"share", L"C:\\", 0, 0); },
        {{L"IMachine::CreateSharedFolder", 128, nothing}});
    add(all, "consoleRemoveSharedFolder", running,
        [](Slots& s) { return s.box().consoleRemoveSharedFolder(s.console, L"there"); },
        {{L"IConsole::RemoveSharedFolder", 132, nothing}});
    add(all, "consoleCreateSharedFolder", running,
        [](Slots& s) { return s.box().consoleCreateSharedFolder(s.console, L"share", L"C:\\", 0, 0); },
        {{L"IConsole::CreateSharedFolder", 133, nothing}});
    add(all, "getNetworkAdapter", registered,
        [](Slots& s) { return s.box().getNetworkAdapter(s.machine, 0, &s.outputs.handle); },
        {{L"IMachine::GetNetworkAdapter", 134, endsWell}});
    add(all, "getNATEngine", locked, [](Slots& s) { return s.box().getNATEngine(s.adapter, &s.outputs.handle); },
        {{L"INetworkAdapter::get_NATEngine", 135, endsWell}});
    add(all, "removeRedirect", locked, [](Slots& s) { return s.box().removeRedirect(s.nat, L"there"); },
        {{L"INATEngine::RemoveRedirect", 136, nothing}});
    add(all, "addRedirect", locked, [](Slots& s) { return s.box().addRedirect(s.nat, L"rule", 1, L"", 2022, L"", 22); },
        {{L"INATEngine::AddRedirect", 137, nothing}});
    add(all, "getRedirects", locked, [](Slots& s) { return s.box().getRedirects(s.nat, &s.outputs.rules); },
        {{L"INATEngine::get_Redirects", 138, endsWell}});
    add(all, "getGuestProperty", locked,
        [](Slots& s) {
            std::int64_t time = 0;
            return s.box().getGuestProperty(s.mutableMachine, L"/there", &s.outputs.text, &time, nullptr);
        },
        {{L"IMachine::GetGuestProperty", 139, endsWell}});
    add(all, "setGuestProperty", locked,
        [](Slots& s) { return s.box().setGuestProperty(s.mutableMachine, L"/name", L"value", L""); },
        {{L"IMachine::SetGuestProperty", 140, nothing}});
    add(all, "deleteGuestProperty", locked,
        [](Slots& s) { return s.box().deleteGuestProperty(s.mutableMachine, L"/there"); },
        {{L"IMachine::DeleteGuestProperty", 141, nothing}});
    add(all, "getAudioAdapter", registered,
        [](Slots& s) { return s.box().getAudioAdapter(s.machine, &s.outputs.handle); },
        {{L"IMachine::get_AudioAdapter", 142, endsWell}});
    add(all, "setAudioAdapterEnabled", locked, [](Slots& s) { return s.box().setAudioAdapterEnabled(s.audio, 1); },
        {{L"IAudioAdapter::put_Enabled", 143, nothing}});
    return all;
}

} // namespace TravikTest
