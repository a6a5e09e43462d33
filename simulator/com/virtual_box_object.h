#pragma once

#include "com/object.h"

namespace VBoxSim {

/// The root object.
class VirtualBoxObject : public Object<VirtualBoxObject, IVirtualBox>
{
public:
    explicit VirtualBoxObject(Server& server) : Object(server) {}

    HRESULT STDMETHODCALLTYPE get_Version(BSTR* version) override;
    HRESULT STDMETHODCALLTYPE get_VersionNormalized(BSTR* version) override;
    HRESULT STDMETHODCALLTYPE get_Revision(ULONG* revision) override;
    HRESULT STDMETHODCALLTYPE get_PackageType(BSTR* type) override;
    HRESULT STDMETHODCALLTYPE get_APIVersion(BSTR* version) override;
    HRESULT STDMETHODCALLTYPE get_APIRevision(LONG64* revision) override;
    HRESULT STDMETHODCALLTYPE get_GuestOSTypes(SAFEARRAY** types) override;
    HRESULT STDMETHODCALLTYPE get_HomeFolder(BSTR* folder) override;
    HRESULT STDMETHODCALLTYPE get_SettingsFilePath(BSTR* path) override;
    HRESULT STDMETHODCALLTYPE get_Host(IHost** host) override;
    HRESULT STDMETHODCALLTYPE get_SystemProperties(ISystemProperties** properties) override;
    HRESULT STDMETHODCALLTYPE get_Machines(SAFEARRAY** machines) override;
    HRESULT STDMETHODCALLTYPE get_HardDisks(SAFEARRAY** disks) override;
    HRESULT STDMETHODCALLTYPE get_EventSource(IEventSource** source) override;
    HRESULT STDMETHODCALLTYPE ComposeMachineFilename(BSTR name, BSTR group, BSTR flags, BSTR baseFolder,
                                                     BSTR* file) override;
    HRESULT STDMETHODCALLTYPE CreateMachine(BSTR settingsFile, BSTR name, SAFEARRAY* groups, BSTR osType, BSTR flags,
                                            IMachine** machine) override;
    HRESULT STDMETHODCALLTYPE OpenMachine(BSTR settingsFile, IMachine** machine) override;
    HRESULT STDMETHODCALLTYPE RegisterMachine(IMachine* machine) override;
    HRESULT STDMETHODCALLTYPE FindMachine(BSTR nameOrId, IMachine** machine) override;
    HRESULT STDMETHODCALLTYPE GetMachineStates(SAFEARRAY* machines, SAFEARRAY** states) override;

    HRESULT STDMETHODCALLTYPE CreateAppliance(IAppliance** appliance) override;
    HRESULT STDMETHODCALLTYPE CreateMedium(BSTR format, BSTR location, ULONG accessMode, ULONG deviceType,
                                           IMedium** medium) override;
    HRESULT STDMETHODCALLTYPE OpenMedium(BSTR location, ULONG deviceType, ULONG accessMode, BOOL forceNewUuid,
                                         IMedium** medium) override;
    HRESULT STDMETHODCALLTYPE GetGuestOSType(BSTR id, IGuestOSType** type) override;
    HRESULT STDMETHODCALLTYPE GetExtraDataKeys(SAFEARRAY** keys) override;
    HRESULT STDMETHODCALLTYPE GetExtraData(BSTR key, BSTR* value) override;
    HRESULT STDMETHODCALLTYPE SetExtraData(BSTR key, BSTR value) override;

    const wchar_t* typeName() const override { return L"IVirtualBox"; }

private:
    void checkUsable() const override;
};

} // namespace VBoxSim
