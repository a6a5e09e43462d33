// Disk images and appliances.

#include "fault_matrix.h"

namespace TravikTest {

std::vector<Fault> mediumFaults()
{
    using enum Scene;
    using enum Absence;
    std::vector<Fault> all;
    add(all, "openMedium", registered,
        [](Slots& s) { return s.box().openMedium(s.loose().wstring(), false, &s.outputs.handle); },
        {{L"IVirtualBox::OpenMedium", 163, endsWell}});
    add(all, "closeMedium", locked, [](Slots& s) { return s.box().closeMedium(s.medium); },
        {{L"IMedium::Close", 164, nothing}});
    add(all, "deleteMedium", locked, [](Slots& s) { return s.box().deleteMedium(s.medium); },
        {{L"IMedium::get_Location", 200, endsWell}});
    add(all, "attachMedium", locked,
        [](Slots& s) { return s.box().attachMedium(s.mutableMachine, s.medium, L"SATA", 0, 0); },
        {{L"IMachine::AttachDevice", 167, nothing},
         {L"IMachine::SetAutoDiscardForDevice", 165, tolerated},
         {L"IMachine::NonRotationalDevice", 166, tolerated}});
    add(all, "detachMedium", diskLocked, [](Slots& s) { return s.box().detachMedium(s.mutableMachine, L"SATA", 0, 0); },
        {{L"IMachine::DetachDevice", 168, nothing}});
    add(all, "getImportOvaVmName", registered,
        [](Slots& s) { return s.box().getImportOvaVmName(s.appliance().wstring(), &s.outputs.text); },
        {{L"IVirtualBox::CreateAppliance", 170, fails},
         {L"IAppliance::Read", 171, fails},
         {L"IAppliance::Interpret", 172, nothing},
         {L"IAppliance::get_VirtualSystemDescriptions", 211, endsWell},
         {L"IVirtualSystemDescription::GetValuesByType", 212, tolerated}});
    add(all, "importOva", registered, [](Slots& s) { return s.box().importOva(s.appliance().wstring()); },
        {{L"IVirtualBox::CreateAppliance", 170, fails},
         {L"IAppliance::Read", 171, fails},
         {L"IAppliance::Interpret", 172, nothing, 174},
         {L"IAppliance::ImportMachines", 174, fails}});
    add(all, "getMachineStorageControllerPortCount", registered,
        [](Slots& s) { return s.box().getMachineStorageControllerPortCount(s.machine, L"SATA", &s.outputs.number); },
        {{L"IMachine::GetStorageControllerByName", 198, fails}, {L"IStorageController::get_PortCount", 199, nothing}});
    add(all, "getMediumLocation", registered,
        [](Slots& s) { return s.box().getMediumLocation(s.medium, &s.outputs.text); },
        {{L"IMedium::get_Location", 200, endsWell}});
    add(all, "getMediumState", registered, [](Slots& s) { return s.box().getMediumState(s.medium, &s.outputs.number); },
        {{L"IMedium::RefreshState", 213, nothing}});
    add(all, "getMediumUUID", registered, [](Slots& s) { return s.box().getMediumUUID(s.medium, &s.outputs.text); },
        {{L"IMedium::get_Id", 215, endsWell}});
    add(all, "getMediumLastAccessError", registered,
        [](Slots& s) { return s.box().getMediumLastAccessError(s.medium, &s.outputs.text); },
        {{L"IMedium::get_LastAccessError", 214, endsWell}});
    add(all, "getCurrentMedium", registered,
        [](Slots& s) { return s.box().getCurrentMedium(s.diskMachine, L"SATA", 0, 0, &s.outputs.handle); },
        {{L"IMachine::GetMedium", 201, endsWell}});
    return all;
}

} // namespace TravikTest
