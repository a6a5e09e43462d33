#include "com/system_objects.h"

#include "base/time.h"
#include "host/processor.h"
#include "host/world.h"
#include "settings/limits.h"
#include "settings/machine_settings.h"
#include "settings/storage_buses.h"

namespace VBoxSim {

namespace {

const StorageBusLimits& busOf(ULONG bus)
{
    const StorageBusLimits* limits = storageBus(bus);
    if (!limits)
        throw Failure(Result::invalidArgument, L"Invalid storage bus " + std::to_wstring(bus));
    return *limits;
}

MEMORYSTATUSEX memory()
{
    MEMORYSTATUSEX status{};
    status.dwLength = sizeof status;
    GlobalMemoryStatusEx(&status);
    return status;
}

DWORD processors()
{
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    return info.dwNumberOfProcessors;
}

} // namespace

HRESULT SystemProperties::get_MinGuestRAM(ULONG* megabytes)
{
    return get(L"ISystemProperties::get_MinGuestRAM", megabytes, [] { return Limits::minMegabytes; });
}

HRESULT SystemProperties::get_MaxGuestRAM(ULONG* megabytes)
{
    return get(L"ISystemProperties::get_MaxGuestRAM", megabytes, [] { return Limits::maxMegabytes; });
}

HRESULT SystemProperties::get_MinGuestCPUCount(ULONG* count)
{
    return get(L"ISystemProperties::get_MinGuestCPUCount", count, [] { return Limits::minCpus; });
}

HRESULT SystemProperties::get_MaxGuestCPUCount(ULONG* count)
{
    return get(L"ISystemProperties::get_MaxGuestCPUCount", count, [] { return Limits::maxCpus; });
}

HRESULT SystemProperties::get_DefaultMachineFolder(BSTR* folder)
{
    return get(L"ISystemProperties::get_DefaultMachineFolder", folder,
               [] { return World::instance().defaultMachineFolder(); });
}

HRESULT SystemProperties::put_DefaultMachineFolder(BSTR folder)
{
    return call(
        L"ISystemProperties::put_DefaultMachineFolder",
        [&] { World::instance().setDefaultMachineFolder(textOf(folder)); }, folder);
}

HRESULT SystemProperties::get_DefaultHardDiskFormat(BSTR* format)
{
    return get(L"ISystemProperties::get_DefaultHardDiskFormat", format, [] { return std::wstring(L"VDI"); });
}

HRESULT SystemProperties::GetMaxNetworkAdapters(ULONG chipset, ULONG* count)
{
    return get(
        L"ISystemProperties::GetMaxNetworkAdapters", count,
        [&] {
            if (chipset != 1 && chipset != 2)
                throw Failure(Result::invalidArgument, L"Invalid chipset " + std::to_wstring(chipset));
            return adapterCount(chipset);
        },
        chipset);
}

HRESULT SystemProperties::GetMaxDevicesPerPortForStorageBus(ULONG bus, ULONG* count)
{
    return get(
        L"ISystemProperties::GetMaxDevicesPerPortForStorageBus", count, [&] { return busOf(bus).devicesPerPort; }, bus);
}

HRESULT SystemProperties::GetMinPortCountForStorageBus(ULONG bus, ULONG* count)
{
    return get(
        L"ISystemProperties::GetMinPortCountForStorageBus", count, [&] { return busOf(bus).minPorts; }, bus);
}

HRESULT SystemProperties::GetMaxPortCountForStorageBus(ULONG bus, ULONG* count)
{
    return get(
        L"ISystemProperties::GetMaxPortCountForStorageBus", count, [&] { return busOf(bus).maxPorts; }, bus);
}

HRESULT SystemProperties::GetDeviceTypesForStorageBus(ULONG bus, SAFEARRAY** types)
{
    return get(
        L"ISystemProperties::GetDeviceTypesForStorageBus", types,
        [&] {
            const auto& found = busOf(bus).deviceTypes;
            return std::vector<LONG>(found.begin(), found.end());
        },
        bus);
}

HRESULT Host::get_ProcessorCount(ULONG* count)
{
    return get(L"IHost::get_ProcessorCount", count, processors);
}

HRESULT Host::get_ProcessorOnlineCount(ULONG* count)
{
    return get(L"IHost::get_ProcessorOnlineCount", count, processors);
}

HRESULT Host::get_MemorySize(ULONG* megabytes)
{
    return get(L"IHost::get_MemorySize", megabytes, [] { return memory().ullTotalPhys >> 20; });
}

HRESULT Host::get_MemoryAvailable(ULONG* megabytes)
{
    return get(L"IHost::get_MemoryAvailable", megabytes, [] { return memory().ullAvailPhys >> 20; });
}

HRESULT Host::get_OperatingSystem(BSTR* name)
{
    return get(L"IHost::get_OperatingSystem", name, [] { return std::wstring(L"Windows"); });
}

HRESULT Host::get_UTCTime(LONG64* milliseconds)
{
    return get(L"IHost::get_UTCTime", milliseconds, [] { return Time::nowMilliseconds(); });
}

HRESULT Host::GetProcessorFeature(ULONG feature, BOOL* supported)
{
    return get(
        L"IHost::GetProcessorFeature", supported,
        [&] {
            if (feature > Travik::ProcessorFeature::NestedHWVirt)
                throw Failure(Result::invalidArgument, L"Invalid processor feature " + std::to_wstring(feature));
            const auto& ordered = World::instance().scenario().processorFeatures;
            const auto found = ordered.find(feature);
            return found == ordered.end() ? processorHas(feature) : found->second;
        },
        feature);
}

HRESULT Host::GenerateMACAddress(BSTR* address)
{
    return get(L"IHost::GenerateMACAddress", address, newMacAddress);
}

HRESULT GuestOsTypeObject::get_FamilyId(BSTR* id)
{
    return get(L"IGuestOSType::get_FamilyId", id, [&] { return type_.familyId; });
}

HRESULT GuestOsTypeObject::get_FamilyDescription(BSTR* description)
{
    return get(L"IGuestOSType::get_FamilyDescription", description, [&] { return type_.familyDescription; });
}

HRESULT GuestOsTypeObject::get_Id(BSTR* id)
{
    return get(L"IGuestOSType::get_Id", id, [&] { return type_.id; });
}

HRESULT GuestOsTypeObject::get_Description(BSTR* description)
{
    return get(L"IGuestOSType::get_Description", description, [&] { return type_.description; });
}

HRESULT GuestOsTypeObject::get_Is64Bit(BOOL* is64Bit)
{
    return get(L"IGuestOSType::get_Is64Bit", is64Bit, [&] { return type_.is64Bit; });
}

HRESULT GuestOsTypeObject::get_RecommendedRAM(ULONG* megabytes)
{
    return get(L"IGuestOSType::get_RecommendedRAM", megabytes, [&] { return type_.recommendedMegabytes; });
}

HRESULT GuestOsTypeObject::get_RecommendedHDD(LONG64* bytes)
{
    return get(L"IGuestOSType::get_RecommendedHDD", bytes, [&] { return type_.recommendedDiskBytes; });
}

HRESULT GuestOsTypeObject::get_RecommendedCPUCount(ULONG* count)
{
    return get(L"IGuestOSType::get_RecommendedCPUCount", count, [] { return 1; });
}

} // namespace VBoxSim
