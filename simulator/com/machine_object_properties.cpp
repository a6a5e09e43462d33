// Shared folders, extra data and guest properties of a machine.
#include "com/machine_object.h"
#include "com/shared_folder_object.h"

#include "base/text.h"
#include "base/time.h"
#include "settings/guest_property_flags.h"

#include <algorithm>
#include <iterator>

namespace VBoxSim {

namespace {

EventData machineEvent(std::uint32_t type, const MachineData& machine)
{
    EventData event;
    event.type = type;
    event.machineId = machine.id;
    return event;
}

/// '*' stands for any text, '?' for any character.
bool matches(std::wstring_view pattern, std::wstring_view name)
{
    std::size_t p = 0, n = 0, star = pattern.npos, mark = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern[p] == L'*') {
            star = p++;
            mark = n;
        } else if (p < pattern.size() && (pattern[p] == L'?' || pattern[p] == name[n])) {
            ++p;
            ++n;
        } else if (star != pattern.npos) {
            p = star + 1;
            n = ++mark;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == L'*')
        ++p;
    return p == pattern.size();
}

/// Whoever reads guest properties of a running machine asks its process; else the settings that they see.
const std::map<std::wstring, GuestPropertySettings>& guestProperties(const MachineData& machine,
                                                                     const MachineSettings& shown)
{
    return machine.vm() ? machine.saved.guestProperties : shown.guestProperties;
}

} // namespace

HRESULT Machine::get_SharedFolders(SAFEARRAY** folders)
{
    return get(L"IMachine::get_SharedFolders", folders, [&] {
        Interfaces<ISharedFolder> found;
        for (const SharedFolderSettings& folder : settings().sharedFolders)
            found.push_back(make<SharedFolder>(folder));
        return found;
    });
}

HRESULT Machine::CreateSharedFolder(BSTR name, BSTR hostPath, BOOL writable, BOOL autoMount, BSTR mountPoint)
{
    return call(
        L"IMachine::CreateSharedFolder",
        [&] {
            MachineSettings& changed = change(Allowed::OffOrRunning);
            const SharedFolderSettings folder =
                checkedSharedFolder(textOf(name), textOf(hostPath), writable, autoMount, textOf(mountPoint));
            for (const SharedFolderSettings& other : changed.sharedFolders)
                if (other.name == folder.name)
                    throw Failure(Result::objectInUse, L"Shared folder named '" + folder.name + L"' already exists");
            changed.sharedFolders.push_back(folder);
        },
        name, hostPath, writable, autoMount, mountPoint);
}

HRESULT Machine::RemoveSharedFolder(BSTR name)
{
    return call(
        L"IMachine::RemoveSharedFolder",
        [&] {
            const std::wstring text = textOf(name);
            MachineSettings& changed = change(Allowed::OffOrRunning);
            const auto same = [&](const SharedFolderSettings& folder) { return folder.name == text; };
            if (!std::erase_if(changed.sharedFolders, same))
                throw Failure(Result::objectNotFound, L"Could not find a shared folder named '" + text + L"'");
        },
        name);
}

HRESULT Machine::GetExtraDataKeys(SAFEARRAY** keys)
{
    return get(L"IMachine::GetExtraDataKeys", keys, [&] {
        std::vector<std::wstring> found;
        for (const auto& [key, value] : settings().extraData)
            found.push_back(key);
        return found;
    });
}

HRESULT Machine::GetExtraData(BSTR key, BSTR* value)
{
    return get(
        L"IMachine::GetExtraData", value,
        [&] {
            const auto found = settings().extraData.find(textOf(key));
            return found == settings().extraData.end() ? std::wstring() : found->second;
        },
        key);
}

HRESULT Machine::SetExtraData(BSTR key, BSTR value)
{
    return call(
        L"IMachine::SetExtraData",
        [&] {
            const std::wstring name = textOf(key), text = textOf(value);
            const bool control = std::any_of(name.begin(), name.end(), [](wchar_t c) { return c < 0x20; });
            if (name.empty() || control || !isStorable(name) || !isStorable(text))
                throw Failure(Result::invalidArgument, L"The extra data key or value has invalid characters");
            const auto set = [&](MachineSettings& settings) {
                if (text.empty())
                    settings.extraData.erase(name);
                else
                    settings.extraData[name] = text;
            };
            set(data_->working);
            if (data_->registered) { // needs no lock, and is on disk at once
                const auto before = data_->saved.extraData;
                set(data_->saved);
                try {
                    World::instance().rewriteSaved(*data_);
                } catch (const Failure&) {
                    data_->saved.extraData = before;
                    throw;
                }
            }
            World::instance().fire(machineEvent(EventType::OnExtraDataChanged, *data_));
        },
        key, value);
}

HRESULT Machine::GetGuestProperty(BSTR name, BSTR* value, LONG64* timestamp, BSTR* flags)
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
            const auto& properties = guestProperties(*data_, settings());
            const auto found = properties.find(textOf(name));
            const GuestPropertySettings property = found == properties.end() ? GuestPropertySettings{} : found->second;
            *timestamp = property.timestamp;
            store(value, property.value);
            store(flags, property.flags);
        },
        name);
}

HRESULT Machine::GetGuestPropertyValue(BSTR name, BSTR* value)
{
    return get(
        L"IMachine::GetGuestPropertyValue", value,
        [&] {
            const auto& properties = guestProperties(*data_, settings());
            const auto found = properties.find(textOf(name));
            return found == properties.end() ? std::wstring() : found->second.value;
        },
        name);
}

HRESULT Machine::GetGuestPropertyTimestamp(BSTR name, LONG64* timestamp)
{
    return get(
        L"IMachine::GetGuestPropertyTimestamp", timestamp,
        [&] {
            const auto& properties = guestProperties(*data_, settings());
            const auto found = properties.find(textOf(name));
            return found == properties.end() ? 0 : found->second.timestamp;
        },
        name);
}

void Machine::setGuestProperty(const std::wstring& name, const std::wstring& value, const std::wstring* flagsText)
{
    const bool running = data_->vm() && (data_->state == MachineState::Running || data_->state == MachineState::Paused);
    MachineSettings& target = running ? data_->saved : change(Allowed::Off);
    const auto found = target.guestProperties.find(name);
    const bool exists = found != target.guestProperties.end();
    const auto parsed = parseGuestPropertyFlags(flagsText ? *flagsText : exists ? found->second.flags : L"");
    if (name.empty() || !isStorable(name) || !isStorable(value) || !parsed)
        throw Failure(Result::invalidArgument, L"Invalid name, value or flags of a guest property");
    if (exists && parseGuestPropertyFlags(found->second.flags).value_or(GuestPropertyFlags{}).readOnlyHost)
        throw Failure(Result::accessDenied, L"The guest property '" + name + L"' cannot be changed by the host");
    if (!running && parsed->transient && !value.empty())
        throw Failure(Result::invalidObjectState, L"A transient property cannot be set while the machine is off");
    if (value.empty())
        target.guestProperties.erase(name);
    else
        target.guestProperties[name] = {value, Time::nowNanoseconds(), parsed->text()};
    if (running) // what a session of the running machine saves later must have it too
        data_->working.guestProperties = target.guestProperties;
    World::instance().fire(machineEvent(EventType::OnGuestPropertyChanged, *data_));
}

HRESULT Machine::SetGuestProperty(BSTR name, BSTR value, BSTR flags)
{
    return call(
        L"IMachine::SetGuestProperty",
        [&] {
            const std::wstring text = textOf(flags);
            setGuestProperty(textOf(name), textOf(value), &text);
        },
        name, value, flags);
}

HRESULT Machine::SetGuestPropertyValue(BSTR name, BSTR value)
{
    return call(
        L"IMachine::SetGuestPropertyValue", [&] { setGuestProperty(textOf(name), textOf(value), nullptr); }, name,
        value);
}

HRESULT Machine::DeleteGuestProperty(BSTR name)
{
    return call(
        L"IMachine::DeleteGuestProperty", [&] { setGuestProperty(textOf(name), L"", nullptr); }, name);
}

HRESULT Machine::EnumerateGuestProperties(BSTR patterns, SAFEARRAY** names, SAFEARRAY** values, SAFEARRAY** timestamps,
                                          SAFEARRAY** flags)
{
    for (SAFEARRAY** out : {names, values, timestamps, flags})
        if (out)
            *out = nullptr;
    return call(
        L"IMachine::EnumerateGuestProperties",
        [&] {
            for (SAFEARRAY** out : {names, values, timestamps, flags})
                require(out);
            std::vector<std::wstring> wanted;
            forEachEntry(textOf(patterns), L"|,", [&](std::wstring_view pattern) { wanted.emplace_back(pattern); });
            std::vector<std::wstring> allNames, allValues, allFlags;
            std::vector<LONG64> allTimes;
            for (const auto& [name, property] : guestProperties(*data_, settings())) {
                const auto fits = [&, &name = name](const std::wstring& pattern) { return matches(pattern, name); };
                if (!wanted.empty() && std::none_of(wanted.begin(), wanted.end(), fits))
                    continue;
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
