#pragma once

#include <cstdint>
#include <initializer_list>
#include <vector>

#include "travik/vbox_types.h"

namespace VBoxSim {

/// Those of VirtualBox's devices that hold media.
namespace DeviceKind {
constexpr std::uint32_t floppy = Travik::DeviceType::Floppy;
constexpr std::uint32_t dvd = Travik::DeviceType::DVD;
constexpr std::uint32_t hardDisk = Travik::DeviceType::HardDisk;
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
    std::uint32_t mostOnIch9;               ///< controllers of a machine with that chipset
    bool usesHostCache;                     ///< a new controller
};

/// Null for a number that is no bus.
const StorageBusLimits* storageBus(std::uint32_t bus);
/// How many controllers of a bus a machine with that chipset can have.
std::uint32_t mostControllers(const StorageBusLimits& bus, std::uint32_t chipset);
/// The bus of a controller type; 0 for none.
std::uint32_t busOfControllerType(std::uint32_t type);

} // namespace VBoxSim
