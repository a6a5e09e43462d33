#include "settings/storage_buses.h"

#include <algorithm>

namespace VBoxSim {

namespace {

using DeviceKind::dvd, DeviceKind::floppy, DeviceKind::hardDisk;

const std::vector<StorageBusLimits>& allBuses()
{
    static const std::vector<StorageBusLimits> buses{
        {1, 2, 2, 2, 2, 5, {4, 5, 6}, {dvd, hardDisk}, 1, true},  // IDE
        {2, 1, 30, 1, 30, 3, {3}, {dvd, hardDisk}, 8, false},     // SATA
        {3, 16, 16, 1, 16, 1, {1, 2}, {dvd, hardDisk}, 8, false}, // SCSI
        {4, 1, 1, 2, 1, 7, {7}, {floppy}, 1, true},               // floppy
        {5, 1, 255, 1, 8, 8, {8}, {dvd, hardDisk}, 8, false},     // SAS
        {6, 8, 8, 1, 8, 9, {9}, {dvd, hardDisk}, 1, false},       // USB
        {7, 1, 255, 1, 1, 10, {10}, {hardDisk}, 8, false},        // PCIe
        {8, 1, 256, 1, 1, 11, {11}, {dvd, hardDisk}, 8, false},   // virtio SCSI
    };
    return buses;
}

} // namespace

const StorageBusLimits* storageBus(std::uint32_t bus)
{
    for (const StorageBusLimits& limits : allBuses())
        if (limits.bus == bus)
            return &limits;
    return nullptr;
}

std::uint32_t mostControllers(const StorageBusLimits& bus, std::uint32_t chipset)
{
    constexpr std::uint32_t ich9 = 2;
    return chipset == ich9 ? bus.mostOnIch9 : 1;
}

std::uint32_t busOfControllerType(std::uint32_t type)
{
    for (const StorageBusLimits& limits : allBuses())
        if (std::count(limits.types.begin(), limits.types.end(), type))
            return limits.bus;
    return 0;
}

} // namespace VBoxSim
