#pragma once

#include "com/object.h"
#include "settings/guest_os_types.h"

namespace VBoxSim {

class SystemPropertiesObject : public Object<SystemPropertiesObject, ISystemProperties>
{
public:
    explicit SystemPropertiesObject(Server& server) : Object(server) {}

    HRESULT STDMETHODCALLTYPE get_MinGuestRAM(ULONG* megabytes) override;
    HRESULT STDMETHODCALLTYPE get_MaxGuestRAM(ULONG* megabytes) override;
    HRESULT STDMETHODCALLTYPE get_MinGuestCPUCount(ULONG* count) override;
    HRESULT STDMETHODCALLTYPE get_MaxGuestCPUCount(ULONG* count) override;
    HRESULT STDMETHODCALLTYPE get_DefaultMachineFolder(BSTR* folder) override;
    HRESULT STDMETHODCALLTYPE put_DefaultMachineFolder(BSTR folder) override;
    HRESULT STDMETHODCALLTYPE get_DefaultHardDiskFormat(BSTR* format) override;
    HRESULT STDMETHODCALLTYPE GetMaxNetworkAdapters(ULONG chipset, ULONG* count) override;
    HRESULT STDMETHODCALLTYPE GetMaxNetworkAdaptersOfType(ULONG chipset, ULONG attachment, ULONG* count) override;
    HRESULT STDMETHODCALLTYPE GetMaxDevicesPerPortForStorageBus(ULONG bus, ULONG* count) override;
    HRESULT STDMETHODCALLTYPE GetMaxInstancesOfStorageBus(ULONG chipset, ULONG bus, ULONG* count) override;
    HRESULT STDMETHODCALLTYPE GetMinPortCountForStorageBus(ULONG bus, ULONG* count) override;
    HRESULT STDMETHODCALLTYPE GetMaxPortCountForStorageBus(ULONG bus, ULONG* count) override;
    HRESULT STDMETHODCALLTYPE GetDeviceTypesForStorageBus(ULONG bus, SAFEARRAY** types) override;

    const wchar_t* typeName() const override { return L"ISystemProperties"; }
};

/// The machine that the server runs on.
class HostObject : public Object<HostObject, IHost>
{
public:
    explicit HostObject(Server& server) : Object(server) {}

    HRESULT STDMETHODCALLTYPE get_ProcessorCount(ULONG* count) override;
    HRESULT STDMETHODCALLTYPE get_ProcessorOnlineCount(ULONG* count) override;
    HRESULT STDMETHODCALLTYPE get_ProcessorCoreCount(ULONG* count) override;
    HRESULT STDMETHODCALLTYPE get_ProcessorOnlineCoreCount(ULONG* count) override;
    HRESULT STDMETHODCALLTYPE get_MemorySize(ULONG* megabytes) override;
    HRESULT STDMETHODCALLTYPE get_MemoryAvailable(ULONG* megabytes) override;
    HRESULT STDMETHODCALLTYPE get_OperatingSystem(BSTR* name) override;
    HRESULT STDMETHODCALLTYPE get_OSVersion(BSTR* version) override;
    HRESULT STDMETHODCALLTYPE get_UTCTime(LONG64* milliseconds) override;
    HRESULT STDMETHODCALLTYPE GetProcessorSpeed(ULONG processor, ULONG* megahertz) override;
    HRESULT STDMETHODCALLTYPE GetProcessorDescription(ULONG processor, BSTR* description) override;
    HRESULT STDMETHODCALLTYPE GetProcessorFeature(ULONG feature, BOOL* supported) override;
    HRESULT STDMETHODCALLTYPE GenerateMACAddress(BSTR* address) override;

    const wchar_t* typeName() const override { return L"IHost"; }
};

class GuestOsTypeObject : public Object<GuestOsTypeObject, IGuestOSType>
{
public:
    GuestOsTypeObject(Server& server, const GuestOsType& type) : Object(server), type_(type) {}

    HRESULT STDMETHODCALLTYPE get_FamilyId(BSTR* id) override;
    HRESULT STDMETHODCALLTYPE get_FamilyDescription(BSTR* description) override;
    HRESULT STDMETHODCALLTYPE get_Id(BSTR* id) override;
    HRESULT STDMETHODCALLTYPE get_Description(BSTR* description) override;
    HRESULT STDMETHODCALLTYPE get_Is64Bit(BOOL* is64Bit) override;
    HRESULT STDMETHODCALLTYPE get_RecommendedRAM(ULONG* megabytes) override;
    HRESULT STDMETHODCALLTYPE get_RecommendedHDD(LONG64* bytes) override;
    HRESULT STDMETHODCALLTYPE get_RecommendedCPUCount(ULONG* count) override;
    HRESULT STDMETHODCALLTYPE get_RecommendedIOAPIC(BOOL* value) override;
    HRESULT STDMETHODCALLTYPE get_RecommendedVirtEx(BOOL* value) override;
    HRESULT STDMETHODCALLTYPE get_RecommendedGraphicsController(ULONG* value) override;
    HRESULT STDMETHODCALLTYPE get_RecommendedVRAM(ULONG* value) override;
    HRESULT STDMETHODCALLTYPE get_AdapterType(ULONG* value) override;
    HRESULT STDMETHODCALLTYPE get_RecommendedPAE(BOOL* value) override;
    HRESULT STDMETHODCALLTYPE get_RecommendedDVDStorageController(ULONG* value) override;
    HRESULT STDMETHODCALLTYPE get_RecommendedDVDStorageBus(ULONG* value) override;
    HRESULT STDMETHODCALLTYPE get_RecommendedHDStorageController(ULONG* value) override;
    HRESULT STDMETHODCALLTYPE get_RecommendedHDStorageBus(ULONG* value) override;
    HRESULT STDMETHODCALLTYPE get_RecommendedFirmware(ULONG* value) override;
    HRESULT STDMETHODCALLTYPE get_RecommendedUSBHID(BOOL* value) override;
    HRESULT STDMETHODCALLTYPE get_RecommendedHPET(BOOL* value) override;
    HRESULT STDMETHODCALLTYPE get_RecommendedUSBTablet(BOOL* value) override;
    HRESULT STDMETHODCALLTYPE get_RecommendedRTCUseUTC(BOOL* value) override;
    HRESULT STDMETHODCALLTYPE get_RecommendedChipset(ULONG* value) override;
    HRESULT STDMETHODCALLTYPE get_RecommendedAudioController(ULONG* value) override;
    HRESULT STDMETHODCALLTYPE get_RecommendedAudioCodec(ULONG* value) override;
    HRESULT STDMETHODCALLTYPE get_RecommendedFloppy(BOOL* value) override;
    HRESULT STDMETHODCALLTYPE get_RecommendedUSB(BOOL* value) override;
    HRESULT STDMETHODCALLTYPE get_RecommendedUSB3(BOOL* value) override;
    HRESULT STDMETHODCALLTYPE get_RecommendedTFReset(BOOL* value) override;
    HRESULT STDMETHODCALLTYPE get_RecommendedX2APIC(BOOL* value) override;

    const wchar_t* typeName() const override { return L"IGuestOSType"; }

private:
    const GuestOsType& type_;
};

} // namespace VBoxSim
