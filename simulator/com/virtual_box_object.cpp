#include "com/virtual_box_object.h"

#include "base/text.h"
#include "com/appliance_objects.h"
#include "com/machine_object.h"
#include "com/medium_object.h"
#include "com/system_objects.h"
#include "host/world.h"

namespace VBoxSim {

void VirtualBox::checkUsable() const
{
    if (World::instance().startError())
        throw *World::instance().startError();
}

HRESULT VirtualBox::get_Version(BSTR* version)
{
    return get(L"IVirtualBox::get_Version", version, [] { return World::instance().scenario().version; });
}

HRESULT VirtualBox::get_VersionNormalized(BSTR* version)
{
    return get(L"IVirtualBox::get_VersionNormalized", version, [] { return World::instance().scenario().version; });
}

HRESULT VirtualBox::get_Revision(ULONG* revision)
{
    return get(L"IVirtualBox::get_Revision", revision, [] { return 0; });
}

HRESULT VirtualBox::get_PackageType(BSTR* type)
{
    return get(L"IVirtualBox::get_PackageType", type, [] { return std::wstring(L"vboxsim"); });
}

HRESULT VirtualBox::get_APIVersion(BSTR* version)
{
    return get(L"IVirtualBox::get_APIVersion", version, [] {
        const std::wstring full = World::instance().scenario().version; // "6.1.50" -> "6_1"
        const std::size_t first = full.find(L'.');
        const std::size_t second = first == full.npos ? full.npos : full.find(L'.', first + 1);
        std::wstring api = full.substr(0, second);
        if (first != full.npos)
            api[first] = L'_';
        return api;
    });
}

HRESULT VirtualBox::get_HomeFolder(BSTR* folder)
{
    return get(L"IVirtualBox::get_HomeFolder", folder, [] { return World::instance().home(); });
}

HRESULT VirtualBox::get_SettingsFilePath(BSTR* path)
{
    return get(L"IVirtualBox::get_SettingsFilePath", path, [] { return World::instance().settingsFile(); });
}

HRESULT VirtualBox::get_Host(IHost** host)
{
    return get(L"IVirtualBox::get_Host", host, [] { return make<Host>(); });
}

HRESULT VirtualBox::get_SystemProperties(ISystemProperties** properties)
{
    return get(L"IVirtualBox::get_SystemProperties", properties, [] { return make<SystemProperties>(); });
}

HRESULT VirtualBox::get_Machines(SAFEARRAY** machines)
{
    return get(L"IVirtualBox::get_Machines", machines, [] {
        Interfaces<IMachine> found;
        for (const MachinePtr& machine : World::instance().machines())
            found.push_back(make<Machine>(machine));
        return found;
    });
}

HRESULT VirtualBox::get_HardDisks(SAFEARRAY** disks)
{
    return get(L"IVirtualBox::get_HardDisks", disks, [] {
        Interfaces<IMedium> found;
        for (const MediumPtr& medium : World::instance().media())
            if (medium->deviceType == DeviceKind::hardDisk && medium->parent.empty())
                found.push_back(make<Medium>(medium));
        return found;
    });
}

HRESULT VirtualBox::get_EventSource(IEventSource** source)
{
    return get(L"IVirtualBox::get_EventSource", source, [] { return make<EventSource>(World::instance().events()); });
}

HRESULT VirtualBox::ComposeMachineFilename(BSTR name, BSTR group, BSTR flags, BSTR baseFolder, BSTR* file)
{
    return get(
        L"IVirtualBox::ComposeMachineFilename", file,
        [&] {
            return World::instance().composeMachineFile(textOf(name), textOf(group), textOf(flags), textOf(baseFolder));
        },
        name, group, flags, baseFolder);
}

HRESULT VirtualBox::CreateMachine(BSTR settingsFile, BSTR name, SAFEARRAY* groups, BSTR osType, BSTR flags,
                                  IMachine** machine)
{
    return get(
        L"IVirtualBox::CreateMachine", machine,
        [&] {
            return make<Machine>(World::instance().createMachine(textOf(settingsFile), textOf(name), textsOf(groups),
                                                                 textOf(osType), textOf(flags)));
        },
        settingsFile, name, groups, osType, flags);
}

HRESULT VirtualBox::OpenMachine(BSTR settingsFile, IMachine** machine)
{
    return get(
        L"IVirtualBox::OpenMachine", machine,
        [&] { return make<Machine>(World::instance().openMachine(textOf(settingsFile))); }, settingsFile);
}

HRESULT VirtualBox::RegisterMachine(IMachine* machine)
{
    return call(
        L"IVirtualBox::RegisterMachine",
        [&] {
            const ComPtr<Machine> own = implementationOf<Machine>(machine);
            if (!own)
                throw machine ? Failure(Result::invalidObjectState, L"The machine was not created by this server")
                              : Failure(Result::invalidArgument, L"No machine is given");
            own->checkUsable();
            World::instance().registerMachine(own->data());
        },
        machine);
}

HRESULT VirtualBox::FindMachine(BSTR nameOrId, IMachine** machine)
{
    return get(
        L"IVirtualBox::FindMachine", machine,
        [&] { return make<Machine>(World::instance().findMachine(textOf(nameOrId))); }, nameOrId);
}

HRESULT VirtualBox::GetMachineStates(SAFEARRAY* machines, SAFEARRAY** states)
{
    return get(
        L"IVirtualBox::GetMachineStates", states,
        [&] {
            std::vector<LONG> found;
            for (IUnknown* object : objectsOf(machines)) {
                const ComPtr<Machine> own = implementationOf<Machine>(object);
                found.push_back(static_cast<LONG>(own ? own->data()->state : std::uint32_t(MachineState::Null)));
            }
            return found;
        },
        machines);
}

HRESULT VirtualBox::CreateAppliance(IAppliance** appliance)
{
    return get(L"IVirtualBox::CreateAppliance", appliance, [] { return make<ApplianceObject>(); });
}

HRESULT VirtualBox::OpenMedium(BSTR location, ULONG deviceType, ULONG accessMode, BOOL forceNewUuid, IMedium** medium)
{
    return get(
        L"IVirtualBox::OpenMedium", medium,
        [&] {
            if (deviceType < 1 || deviceType > 3 || accessMode < 1 || accessMode > 2)
                throw Failure(Result::invalidArgument, L"Invalid device type or access mode");
            return make<Medium>(World::instance().openMedium(textOf(location), deviceType, forceNewUuid != FALSE));
        },
        location, deviceType, accessMode, forceNewUuid);
}

HRESULT VirtualBox::GetGuestOSType(BSTR id, IGuestOSType** type)
{
    return get(
        L"IVirtualBox::GetGuestOSType", type,
        [&] {
            const GuestOsType* found = findGuestOsType(textOf(id));
            if (!found)
                throw Failure(Result::objectNotFound, L"'" + textOf(id) + L"' is not a valid Guest OS type");
            return make<GuestOsTypeObject>(*found);
        },
        id);
}

HRESULT VirtualBox::GetExtraDataKeys(SAFEARRAY** keys)
{
    return get(L"IVirtualBox::GetExtraDataKeys", keys, [] {
        std::vector<std::wstring> found;
        for (const auto& [key, value] : World::instance().extraData())
            found.push_back(key);
        return found;
    });
}

HRESULT VirtualBox::GetExtraData(BSTR key, BSTR* value)
{
    return get(
        L"IVirtualBox::GetExtraData", value,
        [&] {
            const auto& data = World::instance().extraData();
            const auto found = data.find(textOf(key));
            return found == data.end() ? std::wstring() : found->second;
        },
        key);
}

HRESULT VirtualBox::SetExtraData(BSTR key, BSTR value)
{
    return call(
        L"IVirtualBox::SetExtraData",
        [&] {
            const std::wstring name = textOf(key), text = textOf(value);
            if (name.empty() || !isStorable(name) || !isStorable(text))
                throw Failure(Result::invalidArgument, L"The extra data key or value has invalid characters");
            auto& data = World::instance().extraData();
            if (text.empty())
                data.erase(name);
            else
                data[name] = text;
            World::instance().saveRegistry();
            EventData event;
            event.type = EventType::OnExtraDataChanged;
            World::instance().fire(std::move(event));
        },
        key, value);
}

} // namespace VBoxSim
