#include "settings/guest_property_flags.h"

#include "base/text.h"

namespace VBoxSim {

std::wstring GuestPropertyFlags::text() const
{
    std::wstring list;
    const auto add = [&](const wchar_t* flag) { list += (list.empty() ? L"" : L", ") + std::wstring(flag); };
    if (transientOnReset)
        add(L"TRANSRESET");
    else if (transient)
        add(L"TRANSIENT");
    if (readOnlyGuest && readOnlyHost)
        add(L"READONLY");
    else if (readOnlyGuest)
        add(L"RDONLYGUEST");
    else if (readOnlyHost)
        add(L"RDONLYHOST");
    return list;
}

std::optional<GuestPropertyFlags> parseGuestPropertyFlags(std::wstring_view text)
{
    GuestPropertyFlags flags;
    bool valid = true;
    forEachEntry(text, L",", [&](std::wstring_view flag) {
        if (equalIgnoringCase(flag, L"TRANSIENT"))
            flags.transient = true;
        else if (equalIgnoringCase(flag, L"TRANSRESET"))
            flags.transient = flags.transientOnReset = true;
        else if (equalIgnoringCase(flag, L"RDONLYGUEST"))
            flags.readOnlyGuest = true;
        else if (equalIgnoringCase(flag, L"RDONLYHOST"))
            flags.readOnlyHost = true;
        else if (equalIgnoringCase(flag, L"READONLY"))
            flags.readOnlyGuest = flags.readOnlyHost = true;
        else
            valid = false;
    });
    return valid ? std::optional(flags) : std::nullopt;
}

} // namespace VBoxSim
