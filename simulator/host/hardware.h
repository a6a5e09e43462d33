#pragma once

#include <cstdint>

/// The machine that the server runs on.
namespace VBoxSim::Hardware {

/// Whether its processor has a feature (ProcessorFeature).
bool processorHas(std::uint32_t feature);
std::uint32_t processorCount();
std::uint32_t memoryMegabytes();
std::uint32_t freeMemoryMegabytes();

} // namespace VBoxSim::Hardware
