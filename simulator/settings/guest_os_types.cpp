#include "settings/guest_os_types.h"

namespace VBoxSim {

const std::vector<GuestOsType>& guestOsTypes()
{
    constexpr std::uint64_t gigabyte = 1ull << 30;
    static const std::vector<GuestOsType> types{
        {L"Other", L"Other/Unknown", L"Other", L"Other", false, 64, 2 * gigabyte},
        {L"Other_64", L"Other/Unknown (64-bit)", L"Other", L"Other", true, 64, 2 * gigabyte},
        {L"WindowsXP", L"Windows XP (32-bit)", L"Windows", L"Microsoft Windows", false, 192, 10 * gigabyte},
        {L"Windows7", L"Windows 7 (32-bit)", L"Windows", L"Microsoft Windows", false, 1024, 32 * gigabyte},
        {L"Windows7_64", L"Windows 7 (64-bit)", L"Windows", L"Microsoft Windows", true, 2048, 32 * gigabyte},
        {L"Windows10", L"Windows 10 (32-bit)", L"Windows", L"Microsoft Windows", false, 1024, 50 * gigabyte},
        {L"Windows10_64", L"Windows 10 (64-bit)", L"Windows", L"Microsoft Windows", true, 2048, 50 * gigabyte},
        {L"Linux24", L"Linux 2.4 (32-bit)", L"Linux", L"Linux", false, 128, 8 * gigabyte},
        {L"Linux24_64", L"Linux 2.4 (64-bit)", L"Linux", L"Linux", true, 1024, 8 * gigabyte},
        {L"Linux26", L"Linux 2.6 / 3.x / 4.x (32-bit)", L"Linux", L"Linux", false, 1024, 8 * gigabyte},
        {L"Linux26_64", L"Linux 2.6 / 3.x / 4.x (64-bit)", L"Linux", L"Linux", true, 1024, 8 * gigabyte},
        {L"Linux", L"Other Linux (32-bit)", L"Linux", L"Linux", false, 256, 8 * gigabyte},
        {L"Linux_64", L"Other Linux (64-bit)", L"Linux", L"Linux", true, 512, 8 * gigabyte},
        {L"Debian", L"Debian (32-bit)", L"Linux", L"Linux", false, 1024, 8 * gigabyte},
        {L"Debian_64", L"Debian (64-bit)", L"Linux", L"Linux", true, 1024, 8 * gigabyte},
        {L"Ubuntu", L"Ubuntu (32-bit)", L"Linux", L"Linux", false, 1024, 10 * gigabyte},
        {L"Ubuntu_64", L"Ubuntu (64-bit)", L"Linux", L"Linux", true, 1024, 10 * gigabyte},
        {L"Fedora_64", L"Fedora (64-bit)", L"Linux", L"Linux", true, 1024, 8 * gigabyte},
        {L"RedHat_64", L"Red Hat (64-bit)", L"Linux", L"Linux", true, 1024, 8 * gigabyte},
        {L"ArchLinux_64", L"Arch Linux (64-bit)", L"Linux", L"Linux", true, 1024, 8 * gigabyte},
        {L"FreeBSD", L"FreeBSD (32-bit)", L"BSD", L"BSD", false, 1024, 16 * gigabyte},
        {L"FreeBSD_64", L"FreeBSD (64-bit)", L"BSD", L"BSD", true, 1024, 16 * gigabyte},
        {L"MacOS_64", L"Mac OS X (64-bit)", L"MacOS", L"Mac OS X", true, 2048, 20 * gigabyte},
        {L"Solaris_64", L"Oracle Solaris 10 5/09 and earlier (64-bit)", L"Solaris", L"Solaris", true, 2048,
         16 * gigabyte},
        {L"DOS", L"DOS", L"Other", L"Other", false, 32, 500ull << 20},
    };
    return types;
}

const GuestOsType* findGuestOsType(std::wstring_view id)
{
    for (const GuestOsType& type : guestOsTypes())
        if (type.id == id)
            return &type;
    return nullptr;
}

} // namespace VBoxSim
