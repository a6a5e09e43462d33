#pragma once

#include <cstdint>
#include <string>

/// The machine that the server runs on.
namespace VBoxSim::Hardware {

/// Whether its processor has a feature (ProcessorFeature).
bool processorHas(std::uint32_t feature);
std::uint32_t processorCount();
/// Of one processor; 0 and empty for one that is not there.
std::uint32_t processorMegahertz(std::uint32_t processor);
std::wstring processorDescription(std::uint32_t processor);
std::uint32_t coreCount();
/// Such as `10.0.19045`.
std::wstring systemVersion();
std::uint32_t memoryMegabytes();
std::uint32_t freeMemoryMegabytes();

} // namespace VBoxSim::Hardware
