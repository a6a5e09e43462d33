#include "appliance/os_type.h"

#include <map>

namespace VBoxSim {

std::string osTypeOfCim(std::uint32_t cimOsType)
{
    // Numbers of DMTF's CIM_OperatingSystem.OSType.
    static const std::map<std::uint32_t, const char*> types = {
        {2, "MacOS"},
        {12, "OS2"},
        {13, "Other"},
        {14, "DOS"},
        {15, "Windows31"},
        {16, "Windows95"},
        {17, "Windows98"},
        {18, "WindowsNT4"},
        {21, "Netware"},
        {29, "Solaris"},
        {36, "Linux"},
        {39, "NetBSD"},
        {40, "OpenBSD"},
        {42, "FreeBSD"},
        {58, "Windows2000"},
        {63, "WindowsMe"},
        {67, "WindowsXP"},
        {69, "Windows2003"},
        {70, "Windows2003_64"},
        {71, "WindowsXP_64"},
        {73, "WindowsVista"},
        {74, "WindowsVista_64"},
        {76, "Windows2008"},
        {77, "Windows2008_64"},
        {78, "FreeBSD_64"},
        {79, "RedHat"},
        {80, "RedHat_64"},
        {81, "OpenSolaris_64"},
        {82, "OpenSUSE"},
        {83, "OpenSUSE_64"},
        {84, "OpenSUSE"},
        {85, "OpenSUSE_64"},
        {89, "Mandriva"},
        {90, "Mandriva_64"},
        {91, "Turbolinux"},
        {92, "Turbolinux_64"},
        {93, "Ubuntu"},
        {94, "Ubuntu_64"},
        {95, "Debian"},
        {96, "Debian_64"},
        {97, "Linux24"},
        {98, "Linux24_64"},
        {99, "Linux26"},
        {100, "Linux26_64"},
        {101, "Linux_64"},
        {102, "Other_64"},
        {103, "Windows2008_64"},
        {105, "Windows7"},
        {106, "RedHat"},
        {107, "RedHat_64"},
        {108, "Oracle"},
        {109, "Oracle_64"},
        {113, "Windows2012_64"},
        {114, "Windows8"},
        {115, "Windows8_64"},
        {116, "Windows2012_64"},
        {117, "Windows2016_64"},
        {118, "Windows81"},
        {119, "Windows81_64"},
        {120, "Windows10"},
        {121, "Windows10_64"},
    };
    const auto type = types.find(cimOsType);
    return type == types.end() ? "Other" : type->second;
}

} // namespace VBoxSim
