// Shared folders, extra data and guest properties of a machine.
#include "com/machine_object.h"
#include "com/shared_folder_object.h"

namespace VBoxSim {

HRESULT MachineObject::get_SharedFolders(SAFEARRAY** folders)
{
    return get(L"IMachine::get_SharedFolders", folders,
               [&] { return sharedFolderObjects(server(), view_, view_.settings().sharedFolders); });
}

HRESULT MachineObject::CreateSharedFolder(BSTR name, BSTR hostPath, BOOL writable, BOOL autoMount, BSTR mountPoint)
{
    return call(
        L"IMachine::CreateSharedFolder",
        [&] {
            view_.createSharedFolder(
                {textOf(name), textOf(hostPath), writable != FALSE, autoMount != FALSE, textOf(mountPoint)});
        },
        name, hostPath, writable, autoMount, mountPoint);
}

HRESULT MachineObject::RemoveSharedFolder(BSTR name)
{
    return call(
        L"IMachine::RemoveSharedFolder", [&] { view_.removeSharedFolder(textOf(name)); }, name);
}

HRESULT MachineObject::GetExtraDataKeys(SAFEARRAY** keys)
{
    return get(L"IMachine::GetExtraDataKeys", keys, [&] { return keysOf(view_.settings().extraData); });
}

HRESULT MachineObject::GetExtraData(BSTR key, BSTR* value)
{
    return get(
        L"IMachine::GetExtraData", value, [&] { return valueOf(view_.settings().extraData, textOf(key)); }, key);
}

HRESULT MachineObject::SetExtraData(BSTR key, BSTR value)
{
    return call(
        L"IMachine::SetExtraData",
        [&](HostLock& lock) {
            host().machines().requireConsent(lock, view_.machine().get(), textOf(key), textOf(value));
            checkUsable(); // it may have become another while the listeners were asked
            host().machines().setExtraData(*view_.machine(), textOf(key), textOf(value));
        },
        key, value);
}

HRESULT MachineObject::GetGuestProperty(BSTR name, BSTR* value, LONG64* timestamp, BSTR* flags)
{
    if (value)
        *value = nullptr;
    if (flags)
        *flags = nullptr;
    return call(
        L"IMachine::GetGuestProperty",
        [&] {
            require(value);
            require(timestamp);
            require(flags);
            const GuestPropertySettings property = view_.guestProperty(textOf(name));
            *timestamp = property.timestamp;
            store(value, property.value);
            store(flags, property.flags);
        },
        name);
}

HRESULT MachineObject::GetGuestPropertyValue(BSTR name, BSTR* value)
{
    return get(
        L"IMachine::GetGuestPropertyValue", value, [&] { return view_.guestProperty(textOf(name)).value; }, name);
}

HRESULT MachineObject::GetGuestPropertyTimestamp(BSTR name, LONG64* timestamp)
{
    return get(
        L"IMachine::GetGuestPropertyTimestamp", timestamp, [&] { return view_.guestProperty(textOf(name)).timestamp; },
        name);
}

HRESULT MachineObject::SetGuestProperty(BSTR name, BSTR value, BSTR flags)
{
    return call(
        L"IMachine::SetGuestProperty",
        [&] {
            const std::wstring text = textOf(flags);
            view_.setGuestProperty(textOf(name), textOf(value), &text);
        },
        name, value, flags);
}

HRESULT MachineObject::SetGuestPropertyValue(BSTR name, BSTR value)
{
    return call(
        L"IMachine::SetGuestPropertyValue", [&] { view_.setGuestProperty(textOf(name), textOf(value), nullptr); }, name,
        value);
}

HRESULT MachineObject::DeleteGuestProperty(BSTR name)
{
    return call(
        L"IMachine::DeleteGuestProperty", [&] { view_.setGuestProperty(textOf(name), L"", nullptr); }, name);
}

HRESULT MachineObject::EnumerateGuestProperties(BSTR patterns, SAFEARRAY** names, SAFEARRAY** values,
                                                SAFEARRAY** timestamps, SAFEARRAY** flags)
{
    for (SAFEARRAY** out : {names, values, timestamps, flags})
        if (out)
            *out = nullptr;
    return call(
        L"IMachine::EnumerateGuestProperties",
        [&] {
            for (SAFEARRAY** out : {names, values, timestamps, flags})
                require(out);
            std::vector<std::wstring> allNames, allValues, allFlags;
            std::vector<LONG64> allTimes;
            for (const auto& [name, property] : matchingProperties(view_.guestProperties(), textOf(patterns))) {
                allNames.push_back(name);
                allValues.push_back(property.value);
                allTimes.push_back(property.timestamp);
                allFlags.push_back(property.flags);
            }
            store(names, allNames);
            store(values, allValues);
            store(timestamps, allTimes);
            store(flags, allFlags);
        },
        patterns);
}

} // namespace VBoxSim
