#include "com/virtual_box_object.h"

#include "base/text.h"
#include "com/appliance_objects.h"
#include "com/event_objects.h"
#include "com/machine_object.h"
#include "com/medium_object.h"
#include "com/system_objects.h"
#include "host/medium_creation.h"
#include "host/version.h"

namespace VBoxSim {

void VirtualBoxObject::checkUsable() const
{
    if (const auto& error = host().machines().startError())
        throw Failure(*error);
}

HRESULT VirtualBoxObject::get_Version(BSTR* version)
{
    return get(L"IVirtualBox::get_Version", version, [&] { return host().scenario().version; });
}

HRESULT VirtualBoxObject::get_VersionNormalized(BSTR* version)
{
    return get(L"IVirtualBox::get_VersionNormalized", version,
               [&] { return normalizedVersion(host().scenario().version); });
}

HRESULT VirtualBoxObject::get_Revision(ULONG* revision)
{
    return get(L"IVirtualBox::get_Revision", revision, [&] { return sourceRevision(host().scenario().version); });
}

HRESULT VirtualBoxObject::get_PackageType(BSTR* type)
{
    return get(L"IVirtualBox::get_PackageType", type, [] { return std::wstring(L"vboxsim"); });
}

HRESULT VirtualBoxObject::get_APIVersion(BSTR* version)
{
    return get(L"IVirtualBox::get_APIVersion", version, [&] { return apiVersion(host().scenario().version); });
}

HRESULT VirtualBoxObject::get_APIRevision(LONG64* revision)
{
    return get(L"IVirtualBox::get_APIRevision", revision, [&] { return apiRevision(host().scenario().version); });
}

HRESULT VirtualBoxObject::get_GuestOSTypes(SAFEARRAY** types)
{
    return get(L"IVirtualBox::get_GuestOSTypes", types, [&] {
        Interfaces<IGuestOSType> found;
        for (const GuestOsType& type : guestOsTypes())
            found.push_back(make<GuestOsTypeObject>(server(), type));
        return found;
    });
}

HRESULT VirtualBoxObject::get_HomeFolder(BSTR* folder)
{
    return get(L"IVirtualBox::get_HomeFolder", folder, [&] { return host().surroundings().home; });
}

HRESULT VirtualBoxObject::get_SettingsFilePath(BSTR* path)
{
    return get(L"IVirtualBox::get_SettingsFilePath", path, [&] { return host().machines().settingsFile(); });
}

HRESULT VirtualBoxObject::get_Host(IHost** host)
{
    return get(L"IVirtualBox::get_Host", host, [&] { return make<HostObject>(server()); });
}

HRESULT VirtualBoxObject::get_SystemProperties(ISystemProperties** properties)
{
    return get(L"IVirtualBox::get_SystemProperties", properties,
               [&] { return make<SystemPropertiesObject>(server()); });
}

HRESULT VirtualBoxObject::get_Machines(SAFEARRAY** machines)
{
    return get(L"IVirtualBox::get_Machines", machines, [&] {
        Interfaces<IMachine> found;
        for (const MachinePtr& machine : host().machines().all())
            found.push_back(make<MachineObject>(server(), MachineView(host(), machine)));
        return found;
    });
}

HRESULT VirtualBoxObject::get_HardDisks(SAFEARRAY** disks)
{
    return get(L"IVirtualBox::get_HardDisks", disks, [&] {
        Interfaces<IMedium> found;
        for (const MediumPtr& medium : host().media().all())
            if (medium->deviceType == DeviceKind::hardDisk && medium->parent.empty())
                found.push_back(make<MediumObject>(server(), medium));
        return found;
    });
}

HRESULT VirtualBoxObject::get_EventSource(IEventSource** source)
{
    return get(L"IVirtualBox::get_EventSource", source,
               [&] { return make<EventSourceObject>(server(), host().events()); });
}

HRESULT VirtualBoxObject::ComposeMachineFilename(BSTR name, BSTR group, BSTR flags, BSTR baseFolder, BSTR* file)
{
    return get(
        L"IVirtualBox::ComposeMachineFilename", file,
        [&] { return host().machines().composeFile(textOf(name), textOf(group), textOf(flags), textOf(baseFolder)); },
        name, group, flags, baseFolder);
}

HRESULT VirtualBoxObject::CreateMachine(BSTR settingsFile, BSTR name, SAFEARRAY* groups, BSTR osType, BSTR flags,
                                        IMachine** machine)
{
    return get(
        L"IVirtualBox::CreateMachine", machine,
        [&] {
            const MachinePtr made = host().machines().create(
                {textOf(settingsFile), textOf(name), textsOf(groups), textOf(osType), textOf(flags)});
            return make<MachineObject>(server(), MachineView(host(), made));
        },
        settingsFile, name, groups, osType, flags);
}

HRESULT VirtualBoxObject::OpenMachine(BSTR settingsFile, IMachine** machine)
{
    return get(
        L"IVirtualBox::OpenMachine", machine,
        [&] {
            return make<MachineObject>(server(), MachineView(host(), host().machines().open(textOf(settingsFile))));
        },
        settingsFile);
}

HRESULT VirtualBoxObject::RegisterMachine(IMachine* machine)
{
    return call(
        L"IVirtualBox::RegisterMachine",
        [&] {
            const Failure missing =
                machine ? Failure(Result::invalidObjectState, L"The machine was not created by this server")
                        : Failure(Result::invalidArgument, L"No machine is given");
            host().machines().add(viewOf(machine, missing).machine());
        },
        machine);
}

HRESULT VirtualBoxObject::FindMachine(BSTR nameOrId, IMachine** machine)
{
    return get(
        L"IVirtualBox::FindMachine", machine,
        [&] { return make<MachineObject>(server(), MachineView(host(), host().machines().find(textOf(nameOrId)))); },
        nameOrId);
}

HRESULT VirtualBoxObject::GetMachineStates(SAFEARRAY* machines, SAFEARRAY** states)
{
    return get(
        L"IVirtualBox::GetMachineStates", states,
        [&] {
            std::vector<LONG> found;
            for (IUnknown* object : objectsOf(machines)) {
                const ComPtr<MachineObject> own = implementationOf<MachineObject>(object);
                found.push_back(
                    static_cast<LONG>(own ? own->view().machine()->state : std::uint32_t(MachineState::Null)));
            }
            return found;
        },
        machines);
}

HRESULT VirtualBoxObject::CreateAppliance(IAppliance** appliance)
{
    return get(L"IVirtualBox::CreateAppliance", appliance, [&] { return make<ApplianceObject>(server()); });
}

HRESULT VirtualBoxObject::CreateMedium(BSTR format, BSTR location, ULONG accessMode, ULONG deviceType, IMedium** medium)
{
    return get(
        L"IVirtualBox::CreateMedium", medium,
        [&] {
            return make<MediumObject>(server(), createMedium(host(), textOf(format), textOf(location), deviceType));
        },
        format, location, accessMode, deviceType);
}

HRESULT VirtualBoxObject::OpenMedium(BSTR location, ULONG deviceType, ULONG accessMode, BOOL forceNewUuid,
                                     IMedium** medium)
{
    return get(
        L"IVirtualBox::OpenMedium", medium,
        [&] {
            if (deviceType < DeviceKind::floppy || deviceType > DeviceKind::hardDisk ||
                accessMode < Travik::AccessMode::ReadOnly || accessMode > Travik::AccessMode::ReadWrite)
                throw Failure(Result::invalidArgument, L"Invalid device type or access mode");
            return make<MediumObject>(server(),
                                      host().media().open(textOf(location), deviceType, forceNewUuid != FALSE));
        },
        location, deviceType, accessMode, forceNewUuid);
}

HRESULT VirtualBoxObject::GetGuestOSType(BSTR id, IGuestOSType** type)
{
    return get(
        L"IVirtualBox::GetGuestOSType", type,
        [&] {
            const GuestOsType* found = findGuestOsType(textOf(id));
            if (!found)
                throw Failure(Result::objectNotFound, L"'" + textOf(id) + L"' is not a valid Guest OS type");
            return make<GuestOsTypeObject>(server(), *found);
        },
        id);
}

HRESULT VirtualBoxObject::GetExtraDataKeys(SAFEARRAY** keys)
{
    return get(L"IVirtualBox::GetExtraDataKeys", keys, [&] { return keysOf(host().machines().extraData()); });
}

HRESULT VirtualBoxObject::GetExtraData(BSTR key, BSTR* value)
{
    return get(
        L"IVirtualBox::GetExtraData", value, [&] { return valueOf(host().machines().extraData(), textOf(key)); }, key);
}

HRESULT VirtualBoxObject::SetExtraData(BSTR key, BSTR value)
{
    return call(
        L"IVirtualBox::SetExtraData",
        [&](HostLock& lock) {
            host().machines().requireConsent(lock, nullptr, textOf(key), textOf(value));
            host().machines().setExtraData(textOf(key), textOf(value));
        },
        key, value);
}

} // namespace VBoxSim
