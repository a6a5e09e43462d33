#pragma once

#include "com/medium_object.h"
#include "com/progress_object.h"
#include "host/world.h"

#include <vector>

/// The end of a machine. All with the world's mutex held.
namespace VBoxSim {

/// IMachine::Unregister: the media that the mode hands back, children before their parents.
std::vector<MediumPtr> unregisterMachine(const MachinePtr& machine, ULONG mode);

/// IMachine::DeleteConfig.
ProgressPtr deleteMachine(const MachinePtr& machine, const std::vector<MediumPtr>& media);

Interfaces<IMedium> mediumObjects(const std::vector<MediumPtr>& media);
/// Throws Failure(invalidArgument) for objects that are not this server's media.
std::vector<MediumPtr> mediaOf(SAFEARRAY* objects);

} // namespace VBoxSim
