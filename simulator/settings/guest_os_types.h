#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace VBoxSim {

/// What VirtualBox recommends for a guest system. Its members have the order of the columns of guest_os_types.tsv;
/// controllers, buses and the like are VirtualBox's numbers.
struct GuestOsType
{
    std::wstring_view id;
    std::wstring_view description;
    std::wstring_view familyId;
    std::wstring_view familyDescription;
    bool is64Bit;
    std::uint32_t recommendedMegabytes;
    std::uint32_t recommendedVideoMegabytes;
    std::uint64_t recommendedDiskBytes;
    std::uint32_t recommendedCpus;
    std::uint32_t graphicsController;
    std::uint32_t adapterType;
    std::uint32_t dvdController;
    std::uint32_t dvdBus;
    std::uint32_t hardDiskController;
    std::uint32_t hardDiskBus;
    std::uint32_t chipset;
    std::uint32_t audioController;
    std::uint32_t audioCodec;
    std::uint32_t firmware;
    bool virtualization;
    bool ioApic;
    bool pae;
    bool hpet;
    bool rtcInUtc;
    bool usb;
    bool usb3;
    bool usbKeyboardAndMouse;
    bool usbTablet;
    bool floppy;
    bool tripleFaultReset;
    bool x2Apic;
};

/// All types of VirtualBox 6.1.
const std::vector<GuestOsType>& guestOsTypes();
/// By its identifier in any case; null for an unknown one.
const GuestOsType* findGuestOsType(std::wstring_view id);

} // namespace VBoxSim
