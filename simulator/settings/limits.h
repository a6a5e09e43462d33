#pragma once

#include <cstdint>

/// What VirtualBox 6.1 allows a machine.
namespace VBoxSim::Limits {

constexpr std::uint32_t minCpus = 1;
constexpr std::uint32_t maxCpus = 64;
constexpr std::uint32_t minMegabytes = 4;
constexpr std::uint32_t maxMegabytes = 2097152;

} // namespace VBoxSim::Limits
