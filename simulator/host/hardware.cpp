#include "host/hardware.h"

#include <windows.h>

#include <algorithm>
#include <vector>

#include "travik/vbox_types.h"

#ifdef _MSC_VER
#include <intrin.h>
#else
#include <cpuid.h>
#endif

namespace VBoxSim::Hardware {

namespace {

namespace ProcessorFeature = Travik::ProcessorFeature;

struct Leaf
{
    unsigned a = 0, b = 0, c = 0, d = 0;
};

Leaf cpuid(unsigned number)
{
    Leaf leaf;
#ifdef _MSC_VER
    int parts[4];
    __cpuid(parts, static_cast<int>(number & 0x80000000));
    if (static_cast<unsigned>(parts[0]) < number)
        return leaf;
    __cpuid(parts, static_cast<int>(number));
    leaf = {static_cast<unsigned>(parts[0]), static_cast<unsigned>(parts[1]), static_cast<unsigned>(parts[2]),
            static_cast<unsigned>(parts[3])};
#else
    __get_cpuid(number, &leaf.a, &leaf.b, &leaf.c, &leaf.d);
#endif
    return leaf;
}

bool hasBit(unsigned value, unsigned bit)
{
    return (value >> bit) & 1;
}

MEMORYSTATUSEX memory()
{
    MEMORYSTATUSEX status{};
    status.dwLength = sizeof status;
    GlobalMemoryStatusEx(&status);
    return status;
}

/// Where Windows notes what it found out about a processor.
std::wstring processorKey(std::uint32_t processor)
{
    return L"HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\" + std::to_wstring(processor);
}

} // namespace

bool processorHas(std::uint32_t feature)
{
    const bool vtx = hasBit(cpuid(1).c, 5);
    const bool amdV = hasBit(cpuid(0x80000001).c, 2);
    // Only the kernel can ask an Intel processor for nested paging; Windows tells what it found.
    constexpr DWORD secondLevelTranslation = 20;
    const bool nestedPaging = (amdV && hasBit(cpuid(0x8000000A).d, 0)) ||
                              ((vtx || amdV) && IsProcessorFeaturePresent(secondLevelTranslation));
    switch (feature) {
    case ProcessorFeature::HWVirtEx:
        return vtx || amdV;
    case ProcessorFeature::PAE:
        return hasBit(cpuid(1).d, 6);
    case ProcessorFeature::LongMode:
        return hasBit(cpuid(0x80000001).d, 29);
    case ProcessorFeature::NestedPaging:
    case ProcessorFeature::UnrestrictedGuest:
    case ProcessorFeature::NestedHWVirt:
        return nestedPaging;
    default:
        return false;
    }
}

std::uint32_t processorCount()
{
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    return info.dwNumberOfProcessors;
}

std::uint32_t processorMegahertz(std::uint32_t processor)
{
    DWORD megahertz = 0, size = sizeof megahertz;
    RegGetValueW(HKEY_LOCAL_MACHINE, processorKey(processor).c_str(), L"~MHz", RRF_RT_REG_DWORD, nullptr, &megahertz,
                 &size);
    return megahertz;
}

std::wstring processorDescription(std::uint32_t processor)
{
    wchar_t text[256] = L"";
    DWORD size = sizeof text;
    RegGetValueW(HKEY_LOCAL_MACHINE, processorKey(processor).c_str(), L"ProcessorNameString", RRF_RT_REG_SZ, nullptr,
                 text, &size);
    return text;
}

std::uint32_t coreCount()
{
    DWORD size = 0;
    GetLogicalProcessorInformation(nullptr, &size);
    std::vector<SYSTEM_LOGICAL_PROCESSOR_INFORMATION> parts(size / sizeof(SYSTEM_LOGICAL_PROCESSOR_INFORMATION));
    if (parts.empty() || !GetLogicalProcessorInformation(parts.data(), &size))
        return processorCount();
    return static_cast<std::uint32_t>(std::count_if(
        parts.begin(), parts.end(), [](const auto& part) { return part.Relationship == RelationProcessorCore; }));
}

std::wstring systemVersion()
{
    // GetVersionEx tells a program the version that it was made for.
    using Query = LONG(WINAPI*)(OSVERSIONINFOW*);
    static const auto query = reinterpret_cast<Query>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlGetVersion")));
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof version;
    if (!query || query(&version) != 0)
        return {};
    return std::to_wstring(version.dwMajorVersion) + L'.' + std::to_wstring(version.dwMinorVersion) + L'.' +
           std::to_wstring(version.dwBuildNumber);
}

std::uint32_t memoryMegabytes()
{
    return static_cast<std::uint32_t>(memory().ullTotalPhys >> 20);
}

std::uint32_t freeMemoryMegabytes()
{
    return static_cast<std::uint32_t>(memory().ullAvailPhys >> 20);
}

} // namespace VBoxSim::Hardware
