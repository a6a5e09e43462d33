#include "appliance/cim_os_types.h"

#include <iterator>
#include <map>

#include "base/text.h"

namespace VBoxSim {

namespace {

constexpr std::uint32_t other = 1;
constexpr std::uint32_t other64Bit = 102;

/// Words of a description, the more exact ones first.
constexpr std::pair<const wchar_t*, const wchar_t*> knownWords[] = {{L"windows xp", L"WindowsXP"},
                                                                    {L"windows 2003", L"Windows2003"},
                                                                    {L"windows 2008", L"Windows2008"},
                                                                    {L"windows vista", L"WindowsVista"},
                                                                    {L"windows 7", L"Windows7"},
                                                                    {L"windows 8.1", L"Windows81"},
                                                                    {L"windows 8", L"Windows8"},
                                                                    {L"windows 10", L"Windows10"},
                                                                    {L"ubuntu", L"Ubuntu"},
                                                                    {L"debian", L"Debian"},
                                                                    {L"fedora", L"Fedora"},
                                                                    {L"red hat", L"RedHat"},
                                                                    {L"redhat", L"RedHat"},
                                                                    {L"suse", L"OpenSUSE"},
                                                                    {L"oracle", L"Oracle"},
                                                                    {L"freebsd", L"FreeBSD"},
                                                                    {L"solaris", L"Solaris"},
                                                                    {L"linux", L"Linux"}};

std::wstring fromDescription(const std::wstring& description, const wchar_t* ending)
{
    const std::wstring text = toLower(description);
    for (const auto& [words, type] : knownWords)
        if (text.find(words) != std::wstring::npos)
            return std::wstring(type) + ending;
    return std::wstring(L"Other") + ending;
}

} // namespace

std::wstring osTypeOfCim(std::uint32_t number, const std::wstring& description)
{
    if (number == other || number == other64Bit)
        return fromDescription(description, number == other ? L"" : L"_64");
    static const std::map<std::uint32_t, const wchar_t*> types = {
        {0, L"Other"},
        {2, L"MacOS"},
        {12, L"OS2"},
        {14, L"DOS"},
        {15, L"Windows31"},
        {16, L"Windows95"},
        {17, L"Windows98"},
        {18, L"WindowsNT"},
        {21, L"Netware"},
        {29, L"Solaris"},
        {30, L"Solaris"},
        {36, L"Linux"},
        {42, L"FreeBSD"},
        {43, L"NetBSD"},
        {48, L"QNX"},
        {58, L"Windows2000"},
        {63, L"WindowsMe"},
        {65, L"OpenBSD"},
        {67, L"WindowsXP"},
        {69, L"Windows2003"},
        {70, L"Windows2003_64"},
        {71, L"WindowsXP_64"},
        {72, L"WindowsXP"},
        {73, L"WindowsVista"},
        {74, L"WindowsVista_64"},
        {75, L"WindowsXP"},
        {76, L"Windows2008"},
        {77, L"Windows2008_64"},
        {78, L"FreeBSD_64"},
        {79, L"RedHat"},
        {80, L"RedHat_64"},
        {81, L"Solaris_64"},
        {82, L"OpenSUSE"},
        {83, L"OpenSUSE_64"},
        {84, L"OpenSUSE"},
        {85, L"OpenSUSE_64"},
        {86, L"Netware"},
        {87, L"OpenSUSE"},
        {88, L"Linux"},
        {89, L"Mandriva"},
        {90, L"Mandriva_64"},
        {91, L"Turbolinux"},
        {92, L"Turbolinux_64"},
        {93, L"Ubuntu"},
        {94, L"Ubuntu_64"},
        {95, L"Debian"},
        {96, L"Debian_64"},
        {97, L"Linux24"},
        {98, L"Linux24_64"},
        {99, L"Linux26"},
        {100, L"Linux26_64"},
        {101, L"Linux26_64"},
        {103, L"Windows2008"},
        {105, L"Windows7"},
        {106, L"RedHat"},
        {107, L"RedHat_64"},
        {108, L"Oracle"},
        {109, L"Oracle_64"},
        {110, L"OS2eCS"},
        {111, L"Windows2008_64"},
        {112, L"Windows2012_64"},
        {113, L"Windows8"},
        {114, L"Windows8_64"},
        {115, L"Windows2012_64"},
        {116, L"Windows81"},
        {117, L"Windows81_64"},
        {118, L"Windows2016_64"},
        {119, L"Windows10"},
        {120, L"Windows10_64"},
    };
    const auto type = types.find(number);
    return type == types.end() ? L"Other" : type->second;
}

} // namespace VBoxSim
