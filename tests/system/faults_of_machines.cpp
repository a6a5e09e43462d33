// Machines and their settings.

#include "fault_matrix.h"

namespace TravikTest {

SdkErrorCode clone(Slots& s)
{
    VBoxHandle target = 0;
    check(s.box(), s.box().createMachine(s.world().machineFile(L"made").wstring(), L"made", &target));
    return s.box().cloneToMachine(s.machine, target);
}

std::vector<Fault> machineFaults()
{
    using enum Scene;
    using enum Absence;
    std::vector<Fault> all;
    add(all, "composeMachineFilename", registered,
        [](Slots& s) { return s.box().composeMachineFilename(L"made", &s.outputs.text); },
        {{L"IVirtualBox::ComposeMachineFilename", 159, endsWell}});
    add(all, "createVmName", registered, [](Slots& s) { return s.box().createVmName(L"made", nullptr); },
        {{L"IVirtualBox::ComposeMachineFilename", 159, endsWell}});
    add(all, "getDefaultMachineFolder", registered,
        [](Slots& s) { return s.box().getDefaultMachineFolder(&s.outputs.text); },
        {{L"IVirtualBox::get_SystemProperties", 160, fails},
         {L"ISystemProperties::get_DefaultMachineFolder", 162, endsWell}});
    add(all, "setDefaultMachineFolder", registered,
        [](Slots& s) { return s.box().setDefaultMachineFolder(s.world().machineFolder().wstring()); },
        {{L"IVirtualBox::get_SystemProperties", 160, fails},
         {L"ISystemProperties::put_DefaultMachineFolder", 161, nothing}});
    add(all, "setVmName", locked, [](Slots& s) { return s.box().setVmName(s.mutableMachine, L"Renamed"); },
        {{L"IMachine::put_Name", 169, nothing}});
    add(all, "getVmName", registered, [](Slots& s) { return s.box().getVmName(s.machine, &s.outputs.text); },
        {{L"IMachine::get_Name", 169, endsWell}});
    add(all, "getVmUUID", registered, [](Slots& s) { return s.box().getVmUUID(s.machine, &s.outputs.text); },
        {{L"IMachine::get_Id", 169, endsWell}});
    add(all, "createMachine", registered,
        [](Slots& s) {
            return s.box().createMachine(s.world().machineFile(L"made").wstring(), L"made", &s.outputs.handle);
        },
        {{L"IVirtualBox::CreateMachine", 177, endsWell}});
    add(all, "cloneToMachine", registered, clone,
        {{L"IMachine::CloneTo", 178, fails},
         {L"IProgress::get_Completed", 122, tolerated, 121},
         {L"IProgress::WaitForCompletion", 121, nothing, 0, L"IProgress::get_Completed"},
         {L"IProgress::get_ResultCode", 123, tolerated}});
    add(all, "deleteMachine", registered, [](Slots& s) { return s.box().deleteMachine(s.machine); },
        {{L"IMachine::Unregister", 179, nothing, 180}, {L"IMachine::DeleteConfig", 180, fails}});
    add(all, "openMachine", registered,
        [](Slots& s) {
            const auto file = s.world().writeMachine(L"Fresh", L"3e9c1b52-6f6a-4c0e-9d55-0a1b2c3d4eff");
            return s.box().openMachine(file.wstring(), &s.outputs.handle);
        },
        {{L"IVirtualBox::OpenMachine", 106, endsWell}});
    add(all, "findMachine", registered,
        [](Slots& s) { return s.box().findMachine(Machines::player, &s.outputs.handle); },
        {{L"IVirtualBox::FindMachine", 107, endsWell}});
    add(all, "registerMachine", registered,
        [](Slots& s) {
            VBoxHandle made = 0;
            s.box().createMachine(s.world().machineFile(L"made").wstring(), L"made", &made);
            return s.box().registerMachine(made);
        },
        {{L"IVirtualBox::RegisterMachine", 111, nothing}});
    add(all, "getMachineExtraData", registered,
        [](Slots& s) { return s.box().getMachineExtraData(s.machine, L"key", &s.outputs.text); },
        {{L"IMachine::GetExtraData", 158, endsWell}});
    add(all, "createMutableMachine", locked,
        [](Slots& s) { return s.box().createMutableMachine(s.machine, &s.outputs.handle); },
        {{L"ISession::get_Machine", 113, endsWell}});
    add(all, "setMachineCPUCount", locked, [](Slots& s) { return s.box().setMachineCPUCount(s.mutableMachine, 2); },
        {{L"IMachine::put_CPUCount", 115, nothing}});
    add(all, "setMachineMemory", locked, [](Slots& s) { return s.box().setMachineMemory(s.mutableMachine, 512); },
        {{L"IMachine::put_MemorySize", 116, nothing}});
    add(all, "setMachineParavirtProvider", locked,
        [](Slots& s) { return s.box().setMachineParavirtProvider(s.mutableMachine, 1); },
        {{L"IMachine::put_ParavirtProvider", 117, nothing}});
    add(all, "setMachineExtraData", locked,
        [](Slots& s) { return s.box().setMachineExtraData(s.mutableMachine, L"key", L"value"); },
        {{L"IMachine::SetExtraData", 118, nothing}});
    add(all, "saveSettings", locked, [](Slots& s) { return s.box().saveSettings(s.mutableMachine); },
        {{L"IMachine::SaveSettings", 119, nothing}});
    add(all, "listVms", registered, [](Slots& s) { return s.box().listVms(&s.outputs.machines); },
        {{L"IVirtualBox::get_Machines", 210, otherCode, 148}});
    return all;
}

} // namespace TravikTest
