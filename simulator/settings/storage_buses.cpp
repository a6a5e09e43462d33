#include "settings/storage_buses.h"

#include <algorithm>

namespace VBoxSim {

namespace {

using DeviceKind::dvd, DeviceKind::floppy, DeviceKind::hardDisk;
namespace StorageBus = Travik::StorageBus;
namespace Type = Travik::StorageControllerType;

const std::vector<StorageBusLimits>& allBuses()
{
    static const std::vector<StorageBusLimits> buses{
        {StorageBus::IDE, 2, 2, 2, 2, Type::PIIX4, {Type::PIIX3, Type::PIIX4, Type::ICH6}, {dvd, hardDisk}, 1, true},
        {StorageBus::SATA, 1, 30, 1, 30, Type::IntelAhci, {Type::IntelAhci}, {dvd, hardDisk}, 8, false},
        {StorageBus::SCSI, 16, 16, 1, 16, Type::LsiLogic, {Type::LsiLogic, Type::BusLogic}, {dvd, hardDisk}, 8, false},
        {StorageBus::Floppy, 1, 1, 2, 1, Type::I82078, {Type::I82078}, {floppy}, 1, true},
        {StorageBus::SAS, 1, 255, 1, 8, Type::LsiLogicSas, {Type::LsiLogicSas}, {dvd, hardDisk}, 8, false},
        {StorageBus::USB, 8, 8, 1, 8, Type::USB, {Type::USB}, {dvd, hardDisk}, 1, false},
        {StorageBus::PCIe, 1, 255, 1, 1, Type::NVMe, {Type::NVMe}, {hardDisk}, 8, false},
        {StorageBus::VirtioSCSI, 1, 256, 1, 1, Type::VirtioSCSI, {Type::VirtioSCSI}, {dvd, hardDisk}, 8, false},
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
    return chipset == Travik::ChipsetType::ICH9 ? bus.mostOnIch9 : 1;
}

std::uint32_t busOfControllerType(std::uint32_t type)
{
    for (const StorageBusLimits& limits : allBuses())
        if (std::count(limits.types.begin(), limits.types.end(), type))
            return limits.bus;
    return StorageBus::Null;
}

} // namespace VBoxSim
