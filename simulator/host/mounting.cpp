#include "host/mounting.h"

#include <algorithm>

#include "host/host.h"

namespace VBoxSim {

namespace {

AttachmentSettings& attachmentAt(MachineSettings& settings, const MachineView::Slot& slot)
{
    for (StorageControllerSettings& controller : settings.controllers)
        for (AttachmentSettings& attachment : controller.attachments)
            if (controller.name == slot.controller && attachment.port == slot.port && attachment.device == slot.device)
                return attachment;
    throw Failure(Result::objectNotFound, L"No drive is attached to port " + std::to_wstring(slot.port) + L", device " +
                                              std::to_wstring(slot.device) + L" of controller '" + slot.controller +
                                              L"'");
}

} // namespace

void mountMedium(const MachineView& machine, const MachineView::Slot& slot, const MediumPtr& medium)
{
    MachineSettings& settings = machine.change(Allowed::OffOrRunning);
    AttachmentSettings& drive = attachmentAt(settings, slot);
    if (drive.type == DeviceKind::hardDisk)
        throw Failure(Result::invalidObjectState, L"A hard disk is no drive whose medium can be changed");
    drive.medium = medium ? medium->id : std::wstring();
    const auto isSame = [&](const MediumRecord& record) { return record.id == drive.medium; };
    if (medium && std::none_of(settings.media.begin(), settings.media.end(), isSame))
        settings.media.push_back(recordOf(*medium));
    Event event;
    event.type = EventType::OnMediumChanged;
    event.machineId = machine.machine()->id;
    event.controller = slot.controller;
    event.attachment = drive;
    if (const VmProcess* vm = machine.machine()->vm())
        vm->events->fire(event);
    if (machine.machine()->registered)
        machine.host().fire(std::move(event));
}

} // namespace VBoxSim
