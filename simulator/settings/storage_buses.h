#pragma once

#include <cstdint>
#include <initializer_list>
#include <vector>

namespace VBoxSim {

/// VirtualBox's DeviceType.
namespace DeviceKind {
constexpr std::uint32_t floppy = 1;
constexpr std::uint32_t dvd = 2;
constexpr std::uint32_t hardDisk = 3;
} // namespace DeviceKind

/// What a kind of storage controller can hold.
struct StorageBusLimits
{
    std::uint32_t bus; ///< StorageBus
    std::uint32_t minPorts;
    std::uint32_t maxPorts;
    std::uint32_t devicesPerPort;
    std::uint32_t defaultPorts;
    std::uint32_t defaultType;              ///< StorageControllerType
    std::vector<std::uint32_t> types;       ///< StorageControllerType
    std::vector<std::uint32_t> deviceTypes; ///< DeviceKind
};

/// Null for a number that is no bus.
const StorageBusLimits* storageBus(std::uint32_t bus);
/// The bus of a controller type; 0 for none.
std::uint32_t busOfControllerType(std::uint32_t type);

} // namespace VBoxSim
