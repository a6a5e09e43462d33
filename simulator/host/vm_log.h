#pragma once

namespace VBoxSim {

class Host;
struct Machine;

/// Writes the log that a VM process leaves, with what it was started with; the three before it are kept.
void writeVmLog(Host& host, const Machine& machine);

} // namespace VBoxSim
