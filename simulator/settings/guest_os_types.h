#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace VBoxSim {

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
    std::uint32_t adapterType; ///< NetworkAdapterType
};

/// All types of VirtualBox 6.1.40.
const std::vector<GuestOsType>& guestOsTypes();
/// By its identifier in any case; null for an unknown one.
const GuestOsType* findGuestOsType(std::wstring_view id);

} // namespace VBoxSim
