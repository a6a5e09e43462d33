#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace VBoxSim {

/// Flags of a guest property.
struct GuestPropertyFlags
{
    bool transient = false;        ///< gone when the machine stops
    bool transientOnReset = false; ///< also when it is reset
    bool readOnlyGuest = false;
    bool readOnlyHost = false;

    /// In VirtualBox's order, separated by ", ".
    std::wstring text() const;
};

/// Nothing for a text with flags that do not exist.
std::optional<GuestPropertyFlags> parseGuestPropertyFlags(std::wstring_view text);

} // namespace VBoxSim
