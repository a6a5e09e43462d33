#include "settings/storage_buses.h"

#include <algorithm>

namespace VBoxSim {

namespace {

using DeviceKind::dvd, DeviceKind::floppy, DeviceKind::hardDisk;

const std::vector<StorageBusLimits>& allBuses()
{
    static const std::vector<StorageBusLimits> buses{
        {1, 2, 2, 2, 2, 5, {4, 5, 6}, {dvd, hardDisk}}, // IDE
        {2, 1, 30, 1, 30, 3, {3}, {dvd, hardDisk}},     // SATA
        {3, 16, 16, 1, 16, 1, {1, 2}, {dvd, hardDisk}}, // SCSI
        {4, 1, 1, 2, 1, 7, {7}, {floppy}},              // floppy
        {5, 1, 255, 1, 8, 8, {8}, {dvd, hardDisk}},     // SAS
        {6, 8, 8, 1, 8, 9, {9}, {dvd, hardDisk}},       // USB
        {7, 1, 255, 1, 1, 10, {10}, {hardDisk}},        // PCIe
        {8, 1, 256, 1, 1, 11, {11}, {dvd, hardDisk}},   // virtio SCSI
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

std::uint32_t busOfControllerType(std::uint32_t type)
{
    for (const StorageBusLimits& limits : allBuses())
        if (std::count(limits.types.begin(), limits.types.end(), type))
            return limits.bus;
    return 0;
}

} // namespace VBoxSim
