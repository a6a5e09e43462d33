#include "com/system_objects.h"

#include "host/hardware.h"
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

ULONG knownChipset(ULONG chipset)
{
    if (chipset != Travik::ChipsetType::PIIX3 && chipset != Travik::ChipsetType::ICH9)
        throw Failure(Result::invalidArgument, L"Invalid chipset " + std::to_wstring(chipset));
    return chipset;
}

} // namespace

HRESULT SystemPropertiesObject::get_MinGuestRAM(ULONG* megabytes)
{
    return get(L"ISystemProperties::get_MinGuestRAM", megabytes, [] { return Limits::minMegabytes; });
}

HRESULT SystemPropertiesObject::get_MaxGuestRAM(ULONG* megabytes)
{
    return get(L"ISystemProperties::get_MaxGuestRAM", megabytes, [] { return Limits::maxMegabytes; });
}

HRESULT SystemPropertiesObject::get_MinGuestCPUCount(ULONG* count)
{
    return get(L"ISystemProperties::get_MinGuestCPUCount", count, [] { return Limits::minCpus; });
}

HRESULT SystemPropertiesObject::get_MaxGuestCPUCount(ULONG* count)
{
    return get(L"ISystemProperties::get_MaxGuestCPUCount", count, [] { return Limits::maxCpus; });
}

HRESULT SystemPropertiesObject::get_DefaultMachineFolder(BSTR* folder)
{
    return get(L"ISystemProperties::get_DefaultMachineFolder", folder,
               [&] { return host().machines().defaultFolder(); });
}

HRESULT SystemPropertiesObject::put_DefaultMachineFolder(BSTR folder)
{
    return call(
        L"ISystemProperties::put_DefaultMachineFolder", [&] { host().machines().setDefaultFolder(textOf(folder)); },
        folder);
}

HRESULT SystemPropertiesObject::get_DefaultHardDiskFormat(BSTR* format)
{
    return get(L"ISystemProperties::get_DefaultHardDiskFormat", format, [] { return std::wstring(L"VDI"); });
}

HRESULT SystemPropertiesObject::GetMaxNetworkAdapters(ULONG chipset, ULONG* count)
{
    return get(
        L"ISystemProperties::GetMaxNetworkAdapters", count, [&] { return adapterCount(knownChipset(chipset)); },
        chipset);
}

HRESULT SystemPropertiesObject::GetMaxNetworkAdaptersOfType(ULONG chipset, ULONG attachment, ULONG* count)
{
    return get(
        L"ISystemProperties::GetMaxNetworkAdaptersOfType", count,
        [&] {
            if (attachment == Travik::NetworkAttachmentType::Null ||
                attachment > Travik::NetworkAttachmentType::NATNetwork)
                throw Failure(Result::invalidArgument, L"Invalid attachment type " + std::to_wstring(attachment));
            return adapterCount(knownChipset(chipset));
        },
        chipset, attachment);
}

HRESULT SystemPropertiesObject::GetMaxDevicesPerPortForStorageBus(ULONG bus, ULONG* count)
{
    return get(
        L"ISystemProperties::GetMaxDevicesPerPortForStorageBus", count, [&] { return busOf(bus).devicesPerPort; }, bus);
}

HRESULT SystemPropertiesObject::GetMaxInstancesOfStorageBus(ULONG chipset, ULONG bus, ULONG* count)
{
    return get(
        L"ISystemProperties::GetMaxInstancesOfStorageBus", count,
        [&] { return mostControllers(busOf(bus), knownChipset(chipset)); }, chipset, bus);
}

HRESULT SystemPropertiesObject::GetMinPortCountForStorageBus(ULONG bus, ULONG* count)
{
    return get(
        L"ISystemProperties::GetMinPortCountForStorageBus", count, [&] { return busOf(bus).minPorts; }, bus);
}

HRESULT SystemPropertiesObject::GetMaxPortCountForStorageBus(ULONG bus, ULONG* count)
{
    return get(
        L"ISystemProperties::GetMaxPortCountForStorageBus", count, [&] { return busOf(bus).maxPorts; }, bus);
}

HRESULT SystemPropertiesObject::GetDeviceTypesForStorageBus(ULONG bus, SAFEARRAY** types)
{
    return get(
        L"ISystemProperties::GetDeviceTypesForStorageBus", types,
        [&] {
            const auto& found = busOf(bus).deviceTypes;
            return std::vector<LONG>(found.begin(), found.end());
        },
        bus);
}

HRESULT HostObject::get_ProcessorCount(ULONG* count)
{
    return get(L"IHost::get_ProcessorCount", count, Hardware::processorCount);
}

HRESULT HostObject::get_ProcessorOnlineCount(ULONG* count)
{
    return get(L"IHost::get_ProcessorOnlineCount", count, Hardware::processorCount);
}

HRESULT HostObject::get_ProcessorCoreCount(ULONG* count)
{
    return get(L"IHost::get_ProcessorCoreCount", count, Hardware::coreCount);
}

HRESULT HostObject::get_ProcessorOnlineCoreCount(ULONG* count)
{
    return get(L"IHost::get_ProcessorOnlineCoreCount", count, Hardware::coreCount);
}

HRESULT HostObject::get_MemorySize(ULONG* megabytes)
{
    return get(L"IHost::get_MemorySize", megabytes, Hardware::memoryMegabytes);
}

HRESULT HostObject::get_MemoryAvailable(ULONG* megabytes)
{
    return get(L"IHost::get_MemoryAvailable", megabytes, Hardware::freeMemoryMegabytes);
}

HRESULT HostObject::get_OperatingSystem(BSTR* name)
{
    return get(L"IHost::get_OperatingSystem", name, [] { return std::wstring(L"Windows"); });
}

HRESULT HostObject::get_OSVersion(BSTR* version)
{
    return get(L"IHost::get_OSVersion", version, Hardware::systemVersion);
}

HRESULT HostObject::get_UTCTime(LONG64* milliseconds)
{
    return get(L"IHost::get_UTCTime", milliseconds, [&] { return host().clock().milliseconds(); });
}

HRESULT HostObject::GetProcessorSpeed(ULONG processor, ULONG* megahertz)
{
    return get(
        L"IHost::GetProcessorSpeed", megahertz, [&] { return Hardware::processorMegahertz(processor); }, processor);
}

HRESULT HostObject::GetProcessorDescription(ULONG processor, BSTR* description)
{
    return get(
        L"IHost::GetProcessorDescription", description, [&] { return Hardware::processorDescription(processor); },
        processor);
}

HRESULT HostObject::GetProcessorFeature(ULONG feature, BOOL* supported)
{
    return get(
        L"IHost::GetProcessorFeature", supported, [&] { return host().processorHas(feature); }, feature);
}

HRESULT HostObject::GenerateMACAddress(BSTR* address)
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
    return get(L"IGuestOSType::get_RecommendedCPUCount", count, [&] { return type_.recommendedCpus; });
}

HRESULT GuestOsTypeObject::get_RecommendedIOAPIC(BOOL* value)
{
    return get(L"IGuestOSType::get_RecommendedIOAPIC", value, [&] { return type_.ioApic; });
}

HRESULT GuestOsTypeObject::get_RecommendedVirtEx(BOOL* value)
{
    return get(L"IGuestOSType::get_RecommendedVirtEx", value, [&] { return type_.virtualization; });
}

HRESULT GuestOsTypeObject::get_RecommendedGraphicsController(ULONG* value)
{
    return get(L"IGuestOSType::get_RecommendedGraphicsController", value, [&] { return type_.graphicsController; });
}

HRESULT GuestOsTypeObject::get_RecommendedVRAM(ULONG* value)
{
    return get(L"IGuestOSType::get_RecommendedVRAM", value, [&] { return type_.recommendedVideoMegabytes; });
}

HRESULT GuestOsTypeObject::get_AdapterType(ULONG* value)
{
    return get(L"IGuestOSType::get_AdapterType", value, [&] { return type_.adapterType; });
}

HRESULT GuestOsTypeObject::get_RecommendedPAE(BOOL* value)
{
    return get(L"IGuestOSType::get_RecommendedPAE", value, [&] { return type_.pae; });
}

HRESULT GuestOsTypeObject::get_RecommendedDVDStorageController(ULONG* value)
{
    return get(L"IGuestOSType::get_RecommendedDVDStorageController", value, [&] { return type_.dvdController; });
}

HRESULT GuestOsTypeObject::get_RecommendedDVDStorageBus(ULONG* value)
{
    return get(L"IGuestOSType::get_RecommendedDVDStorageBus", value, [&] { return type_.dvdBus; });
}

HRESULT GuestOsTypeObject::get_RecommendedHDStorageController(ULONG* value)
{
    return get(L"IGuestOSType::get_RecommendedHDStorageController", value, [&] { return type_.hardDiskController; });
}

HRESULT GuestOsTypeObject::get_RecommendedHDStorageBus(ULONG* value)
{
    return get(L"IGuestOSType::get_RecommendedHDStorageBus", value, [&] { return type_.hardDiskBus; });
}

HRESULT GuestOsTypeObject::get_RecommendedFirmware(ULONG* value)
{
    return get(L"IGuestOSType::get_RecommendedFirmware", value, [&] { return type_.firmware; });
}

HRESULT GuestOsTypeObject::get_RecommendedUSBHID(BOOL* value)
{
    return get(L"IGuestOSType::get_RecommendedUSBHID", value, [&] { return type_.usbKeyboardAndMouse; });
}

HRESULT GuestOsTypeObject::get_RecommendedHPET(BOOL* value)
{
    return get(L"IGuestOSType::get_RecommendedHPET", value, [&] { return type_.hpet; });
}

HRESULT GuestOsTypeObject::get_RecommendedUSBTablet(BOOL* value)
{
    return get(L"IGuestOSType::get_RecommendedUSBTablet", value, [&] { return type_.usbTablet; });
}

HRESULT GuestOsTypeObject::get_RecommendedRTCUseUTC(BOOL* value)
{
    return get(L"IGuestOSType::get_RecommendedRTCUseUTC", value, [&] { return type_.rtcInUtc; });
}

HRESULT GuestOsTypeObject::get_RecommendedChipset(ULONG* value)
{
    return get(L"IGuestOSType::get_RecommendedChipset", value, [&] { return type_.chipset; });
}

HRESULT GuestOsTypeObject::get_RecommendedAudioController(ULONG* value)
{
    return get(L"IGuestOSType::get_RecommendedAudioController", value, [&] { return type_.audioController; });
}

HRESULT GuestOsTypeObject::get_RecommendedAudioCodec(ULONG* value)
{
    return get(L"IGuestOSType::get_RecommendedAudioCodec", value, [&] { return type_.audioCodec; });
}

HRESULT GuestOsTypeObject::get_RecommendedFloppy(BOOL* value)
{
    return get(L"IGuestOSType::get_RecommendedFloppy", value, [&] { return type_.floppy; });
}

HRESULT GuestOsTypeObject::get_RecommendedUSB(BOOL* value)
{
    return get(L"IGuestOSType::get_RecommendedUSB", value, [&] { return type_.usb; });
}

HRESULT GuestOsTypeObject::get_RecommendedUSB3(BOOL* value)
{
    return get(L"IGuestOSType::get_RecommendedUSB3", value, [&] { return type_.usb3; });
}

HRESULT GuestOsTypeObject::get_RecommendedTFReset(BOOL* value)
{
    return get(L"IGuestOSType::get_RecommendedTFReset", value, [&] { return type_.tripleFaultReset; });
}

HRESULT GuestOsTypeObject::get_RecommendedX2APIC(BOOL* value)
{
    return get(L"IGuestOSType::get_RecommendedX2APIC", value, [&] { return type_.x2Apic; });
}

} // namespace VBoxSim
