// Shared folders and guest properties of a machine.
#include <algorithm>

#include "base/files.h"
#include "base/text.h"
#include "host/host.h"
#include "host/machine_view.h"
#include "settings/guest_property_flags.h"

namespace VBoxSim {

namespace {

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

void checkSharedFolder(const SharedFolderSettings& folder)
{
    if (folder.name.empty() || !isStorable(folder.name))
        throw Failure(Result::invalidArgument, L"A shared folder needs a valid name");
    if (!Files::isAbsolute(folder.hostPath) || !isStorable(folder.hostPath))
        throw Failure(Result::invalidArgument, L"Shared folder path '" + folder.hostPath + L"' is not absolute");
    if (!isStorable(folder.autoMountPoint))
        throw Failure(Result::invalidArgument, L"The mount point is not valid text");
}

} // namespace

void addSharedFolder(std::vector<SharedFolderSettings>& folders, const SharedFolderSettings& folder, ResultCode taken)
{
    checkSharedFolder(folder);
    for (const SharedFolderSettings& other : folders)
        if (other.name == folder.name)
            throw Failure(taken, L"Shared folder named '" + folder.name + L"' already exists");
    folders.push_back(folder);
}

void replaceSharedFolder(std::vector<SharedFolderSettings>& folders, const SharedFolderSettings& folder)
{
    checkSharedFolder(folder);
    for (SharedFolderSettings& other : folders)
        if (other.name == folder.name) {
            other = folder;
            return;
        }
    throw Failure(Result::accessDenied, L"The shared folder '" + folder.name + L"' was removed");
}

void eraseSharedFolder(std::vector<SharedFolderSettings>& folders, const std::wstring& name, ResultCode missing)
{
    if (!std::erase_if(folders, [&](const SharedFolderSettings& folder) { return folder.name == name; }))
        throw Failure(missing, L"Could not find a shared folder named '" + name + L"'");
}

void MachineView::createSharedFolder(const SharedFolderSettings& folder) const
{
    addSharedFolder(change(Allowed::OffOrRunning).sharedFolders, folder, Result::objectInUse);
}

void MachineView::removeSharedFolder(const std::wstring& name) const
{
    eraseSharedFolder(change(Allowed::OffOrRunning).sharedFolders, name, Result::objectNotFound);
}

void MachineView::replaceSharedFolder(const SharedFolderSettings& folder) const
{
    VBoxSim::replaceSharedFolder(change(Allowed::OffOrRunning).sharedFolders, folder);
}

const std::map<std::wstring, GuestPropertySettings>& MachineView::guestProperties() const
{
    // Whoever reads those of a running machine asks its process; else the settings that they see.
    return machine_->vm() ? machine_->saved.guestProperties : settings().guestProperties;
}

GuestPropertySettings MachineView::guestProperty(const std::wstring& name) const
{
    const auto found = guestProperties().find(name);
    return found == guestProperties().end() ? GuestPropertySettings{} : found->second;
}

void MachineView::setGuestProperty(const std::wstring& name, const std::wstring& value,
                                   const std::wstring* flagsText) const
{
    const std::uint32_t state = machine_->state;
    const bool running = machine_->vm() && (state == MachineState::Running || state == MachineState::Paused);
    auto& properties = running ? machine_->saved.guestProperties : change(Allowed::Off).guestProperties;
    const auto found = properties.find(name);
    const std::wstring before = found == properties.end() ? std::wstring() : found->second.flags;
    const auto flags = parseGuestPropertyFlags(flagsText ? *flagsText : before);
    if (name.empty() || !isStorable(name) || !isStorable(value) || !flags)
        throw Failure(Result::invalidArgument, L"Invalid name, value or flags of a guest property");
    if (parseGuestPropertyFlags(before).value_or(GuestPropertyFlags{}).readOnlyHost)
        throw Failure(Result::accessDenied, L"The guest property '" + name + L"' cannot be changed by the host");
    if (!running && flags->transient && !value.empty())
        throw Failure(Result::invalidObjectState, L"A transient property cannot be set while the machine is off");
    if (value.empty())
        properties.erase(name);
    else
        properties[name] = {value, host_->clock().nanoseconds(), flags->text()};
    if (running) // what a session of the running machine saves later must have it too
        machine_->working.guestProperties = properties;
    Event event = machineEvent(EventType::OnGuestPropertyChanged, *machine_);
    event.key = name;
    event.value = value;
    event.flags = value.empty() ? std::wstring() : flags->text();
    host_->fire(std::move(event));
}

std::vector<std::pair<std::wstring, GuestPropertySettings>>
matchingProperties(const std::map<std::wstring, GuestPropertySettings>& properties, const std::wstring& patterns)
{
    std::vector<std::wstring> wanted;
    forEachEntry(patterns, L"|,", [&](std::wstring_view pattern) { wanted.emplace_back(pattern); });
    std::vector<std::pair<std::wstring, GuestPropertySettings>> found;
    for (const auto& [name, property] : properties) {
        const auto fits = [&, &name = name](const std::wstring& pattern) { return matches(pattern, name); };
        if (wanted.empty() || std::any_of(wanted.begin(), wanted.end(), fits))
            found.emplace_back(name, property);
    }
    return found;
}

} // namespace VBoxSim
