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
    std::uint64_t recommendedDiskBytes;
};

/// The types that the stand-in knows: those that people run emulators and tests with.
const std::vector<GuestOsType>& guestOsTypes();
/// Null for an unknown identifier.
const GuestOsType* findGuestOsType(std::wstring_view id);

} // namespace VBoxSim
