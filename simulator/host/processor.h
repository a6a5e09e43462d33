#pragma once

#include <cstdint>

namespace VBoxSim {

/// Whether the host's processor has a feature (ProcessorFeature).
bool processorHas(std::uint32_t feature);

} // namespace VBoxSim
