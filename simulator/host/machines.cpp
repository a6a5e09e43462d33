#include "host/machines.h"

#include <algorithm>
#include <set>
#include <utility>

#include "base/files.h"
#include "base/text.h"
#include "host/error_mapping.h"
#include "host/host.h"
#include "host/renaming.h"
#include "settings/guest_os_types.h"
#include "settings/machine_names.h"

namespace VBoxSim {

namespace {

std::uint32_t restingState(const MachineSettings& settings)
{
    if (settings.aborted)
        return MachineState::Aborted;
    return settings.stateFile.empty() ? MachineState::PoweredOff : MachineState::Saved;
}

void takeOver(Machine& machine, MachineSettings settings)
{
    machine.state = restingState(settings);
    machine.lastStateChange = settings.lastStateChange;
    machine.saved = std::move(settings);
    machine.discardChanges();
}

/// An empty value takes the key away.
void set(std::map<std::wstring, std::wstring>& extraData, const std::wstring& key, const std::wstring& value)
{
    if (value.empty())
        extraData.erase(key);
    else
        extraData[key] = value;
}

/// Whose extra data VirtualBox's own is.
constexpr const wchar_t* nobody = L"00000000-0000-0000-0000-000000000000";

Event extraDataEvent(std::uint32_t type, const std::wstring& owner, const std::wstring& key, const std::wstring& value)
{
    Event event;
    event.type = type;
    event.machineId = owner;
    event.key = key;
    event.value = value;
    return event;
}

std::wstring previousOf(const std::wstring& file)
{
    return file + L"-prev";
}

/// Whether a text is this path as Windows compares paths: in any case, with either slash.
bool isPath(std::wstring text, const std::wstring& path)
{
    std::replace(text.begin(), text.end(), L'/', L'\\');
    return equalIgnoringCase(text, path);
}

/// By its name, or by the full path of its settings file.
bool answersTo(const Machine& machine, const std::wstring& nameOrFile)
{
    return !machine.accessError && (machine.saved.name == nameOrFile || isPath(nameOrFile, machine.file));
}

/// A group is "/", or names with a slash in front of each.
void checkGroup(const std::wstring& group)
{
    const bool good = group.empty() || group == L"/" ||
                      (group.front() == L'/' && group.back() != L'/' && group.find(L"//") == group.npos);
    if (!good)
        throw Failure(Result::invalidArgument, L"'" + group + L"' is no group of machines");
}

} // namespace

void checkExtraData(const std::wstring& key, const std::wstring& value)
{
    if (key.empty() || !isStorable(key) || !isStorable(value))
        throw Failure(Result::invalidArgument, L"The extra data key or value has invalid characters");
}

void Machines::load()
{
    startError_.reset();
    settings_ = {};
    machines_.clear();
    unregistered_.clear();
    try {
        settings_ = loadGlobalSettings(settingsFile());
    } catch (const Failure& failure) {
        startError_ = failure;
    }
    for (const GlobalSettings::Machine& entry : settings_.machines) {
        auto machine = std::make_shared<Machine>();
        machine->id = entry.id;
        machine->file = entry.file;
        machine->registered = true;
        machines_.push_back(machine);
        refreshAccess(*machine);
    }
}

std::vector<MachinePtr> Machines::everyOne() const
{
    std::vector<MachinePtr> all = machines_;
    for (const std::weak_ptr<Machine>& weak : unregistered_)
        if (const MachinePtr machine = weak.lock())
            all.push_back(machine);
    return all;
}

std::vector<MachinePtr>::const_iterator Machines::lookUp(const std::wstring& nameOrId) const
{
    const auto id = parseUuid(nameOrId);
    return std::find_if(machines_.begin(), machines_.end(), [&](const MachinePtr& machine) {
        return id ? machine->id == *id : answersTo(*machine, nameOrId);
    });
}

MachinePtr Machines::find(const std::wstring& nameOrId) const
{
    const auto found = lookUp(nameOrId);
    if (found != machines_.end())
        return *found;
    throw Failure(Result::objectNotFound, L"Could not find a registered machine named '" + nameOrId + L"'");
}

bool Machines::isNameTaken(const std::wstring& name) const
{
    return lookUp(name) != machines_.end();
}

void Machines::refreshAccess(Machine& machine)
{
    try {
        MachineSettings settings = loadMachineSettings(machine.file);
        if (settings.id != machine.id)
            throw Failure(Result::fail, L"The settings file '" + machine.file + L"' belongs to another machine");
        host_.media().learn(settings);
        takeOver(machine, std::move(settings));
        machine.accessError.reset();
    } catch (const Failure& failure) {
        machine.accessError = failure;
    }
}

MachinePtr Machines::open(const std::wstring& file)
{
    if (!Files::isAbsolute(file))
        throw Failure(Result::fileError, L"The path '" + file + L"' of a settings file is not absolute");
    const std::wstring path = Files::resolve(host_.surroundings().home, file);
    const MachineSettings settings = loadMachineSettings(path);
    for (const MachinePtr& machine : machines_)
        if (machine->id == settings.id)
            throw Failure(Result::fail, L"The machine " + braced(settings.id) + L" of the file '" + path +
                                            L"' is registered already");
    checkDisksAreKnown(settings);
    return adopt(settings, path);
}

void Machines::checkDisksAreKnown(const MachineSettings& settings) const
{
    std::set<std::wstring> own;
    for (const MediumRecord& record : settings.media)
        own.insert(record.id);
    for (const StorageControllerSettings& controller : settings.controllers)
        for (const AttachmentSettings& attachment : controller.attachments)
            if (attachment.type == DeviceKind::hardDisk && !own.contains(attachment.medium) &&
                !host_.media().find(attachment.medium))
                throw Failure(Result::objectNotFound,
                              L"Could not find a hard disk with UUID " + braced(attachment.medium));
}

MachinePtr Machines::adopt(const MachineSettings& settings, const std::wstring& file)
{
    const auto machine = std::make_shared<Machine>();
    machine->file = file;
    machine->id = settings.id;
    host_.media().learn(settings);
    takeOver(*machine, settings);
    std::erase_if(unregistered_, [](const std::weak_ptr<Machine>& weak) { return weak.expired(); });
    unregistered_.push_back(machine);
    return machine;
}

std::wstring Machines::freeFileFor(const NewMachine& wanted) const
{
    const std::wstring group = wanted.groups.empty() ? L"" : wanted.groups.front();
    const std::wstring path = wanted.settingsFile.empty() ? composeFile(wanted.name, group, wanted.flags, L"")
                                                          : Files::resolve(defaultFolder(), wanted.settingsFile);
    if (!Files::exists(path))
        return path;
    if (!parseCreateFlags(wanted.flags).forceOverwrite)
        throw Failure(Result::fileError, L"Machine settings file '" + path + L"' already exists");
    if (!host_.disk().remove(path))
        throw Failure(Result::fileError, L"Could not replace '" + path + L"'");
    return path;
}

MachinePtr Machines::create(const NewMachine& wanted)
{
    if (wanted.name.empty() || !isStorable(wanted.name))
        throw Failure(Result::invalidArgument, L"A machine needs a name");
    if (!wanted.osType.empty() && !findGuestOsType(wanted.osType))
        throw Failure(Result::objectNotFound, L"'" + wanted.osType + L"' is not a known guest OS type");
    const CreateFlags flags = parseCreateFlags(wanted.flags);
    const std::wstring file = freeFileFor(wanted);
    MachineSettings settings = newMachineSettings(wanted.name, wanted.osType);
    if (!flags.uuid.empty())
        settings.id = flags.uuid;
    if (!wanted.groups.empty())
        settings.groups = wanted.groups;
    const MachinePtr machine = adopt(settings, file);
    machine->modified = true;
    return machine;
}

void Machines::add(const MachinePtr& machine)
{
    if (machine->registered)
        throw Failure(Result::invalidObjectState,
                      L"The machine '" + machine->working.name + L"' is already registered");
    for (const MachinePtr& other : machines_)
        if (other->id == machine->id)
            throw Failure(Result::invalidArgument,
                          L"Registered machine with UUID " + braced(machine->id) + L" already exists");
    save(*machine);
    machines_.reserve(machines_.size() + 1);
    changeRegistry([&](GlobalSettings& registry) { registry.machines.push_back({machine->id, machine->file}); });
    machine->registered = true;
    machines_.push_back(machine);
    std::erase_if(unregistered_, [&](const std::weak_ptr<Machine>& weak) { return weak.lock() == machine; });
    Event event = machineEvent(EventType::OnMachineRegistered, *machine);
    event.flag = true;
    host_.fire(std::move(event));
}

void Machines::remove(const MachinePtr& machine)
{
    changeRegistry([&](GlobalSettings& registry) {
        std::erase_if(registry.machines, [&](const GlobalSettings::Machine& entry) { return entry.id == machine->id; });
    });
    std::erase(machines_, machine);
    machine->registered = false;
    if (machine->accessError)
        machine->dead = true;
    else
        unregistered_.push_back(machine);
    host_.fire(machineEvent(EventType::OnMachineRegistered, *machine));
}

void Machines::save(Machine& machine)
{
    if (machine.working.name.empty())
        throw Failure(Result::fileError, L"The machine name must not be empty");
    std::optional<Renaming> renaming;
    if (machine.working.name != machine.saved.name && Files::exists(machine.file)) {
        if (machine.isOnline())
            throw Failure(Result::fileError, L"A running machine cannot be renamed");
        renaming.emplace(host_.disk(), machine.file, machine.working.name);
    }
    if (renaming && renaming->isNeeded())
        saveRenamed(machine, *renaming);
    else
        saveInPlace(machine, machine.working, machine.file);
    if (machine.registered)
        host_.fire(machineEvent(EventType::OnMachineDataChanged, machine));
}

void Machines::render(MachineSettings& settings, const std::wstring& file)
{
    std::string text = renderMachineSettings(settings, file);
    if (const auto copy = outdatedCopy(settings.source, text, file); copy && !Files::exists(*copy))
        attempt([&] { host_.disk().writeAtomically(*copy, settings.source); }); // a service, not a condition
    settings.source = std::move(text);
}

void Machines::saveInPlace(Machine& machine, MachineSettings settings, const std::wstring& file)
{
    render(settings, file);
    host_.disk().writeAtomically(file, settings.source, previousOf(file));
    MachineSettings copy = settings; // nothing after this throws
    machine.saved = std::move(settings);
    machine.working = std::move(copy);
    machine.modified = false;
}

void Machines::saveRenamed(Machine& machine, Renaming& renaming)
{
    // The registry names the new place before the file goes there: a server that ends in between finds it again.
    announceMove(machine, renaming.newFile());
    MachineSettings settings = machine.working;
    for (MediumRecord& record : settings.media)
        record.location = renaming.follow(record.location);
    try {
        renaming.move();
        saveInPlace(machine, std::move(settings), renaming.newFile());
    } catch (const std::exception&) {
        renaming.undo();
        attempt([&] { announceMove(machine, L""); }); // a note that stays harms nobody: the file is found either way
        throw;
    }
    for (const MediumRecord& record : machine.saved.media)
        if (const MediumPtr medium = host_.media().find(record.id))
            medium->location = renaming.follow(medium->location);
    machine.file = renaming.newFile();
    if (machine.registered)
        finishMove(machine);
}

void Machines::announceMove(const Machine& machine, const std::wstring& newFile)
{
    if (!machine.registered)
        return;
    changeRegistry([&](GlobalSettings& registry) {
        for (GlobalSettings::Machine& entry : registry.machines)
            if (entry.id == machine.id)
                entry.movesTo = newFile;
    });
}

void Machines::finishMove(const Machine& machine)
{
    for (GlobalSettings::Machine& entry : settings_.machines)
        if (entry.id == machine.id)
            entry = {machine.id, machine.file};
    // The machine is saved already. When this fails, the announcement on disk leads to its file, until the registry is
    // written the next time.
    attempt([&] { saveRegistry(settings_); });
}

void Machines::writeSaved(Machine& machine, MachineSettings settings)
{
    render(settings, machine.file);
    host_.disk().writeAtomically(machine.file, settings.source, previousOf(machine.file));
    machine.saved = std::move(settings);
}

void Machines::requireConsent(HostLock& lock, const Machine* machine, const std::wstring& key,
                              const std::wstring& value)
{
    checkExtraData(key, value);
    const EventPtr question = host_.events()->fire(
        extraDataEvent(EventType::OnExtraDataCanChange, machine ? machine->id : nobody, key, value));
    if (!question)
        return;
    const auto wait = static_cast<std::int32_t>(host_.scenario().times.consent);
    question->source->waitProcessed(lock, *question, wait);
    if (!question->vetoes.empty())
        throw Failure(Result::accessDenied, L"A listener is against the change of the extra data '" + key + L"': " +
                                                question->vetoes.front());
}

void Machines::setExtraData(Machine& machine, const std::wstring& key, const std::wstring& value)
{
    checkExtraData(key, value);
    if (std::any_of(key.begin(), key.end(), [](wchar_t c) { return c < 0x20; }))
        throw Failure(Result::invalidArgument, L"The extra data key has invalid characters");
    if (machine.registered) { // needs no lock, and is on disk at once
        MachineSettings changed = machine.saved;
        set(changed.extraData, key, value);
        writeSaved(machine, std::move(changed));
    }
    set(machine.working.extraData, key, value);
    host_.fire(extraDataEvent(EventType::OnExtraDataChanged, machine.id, key, value));
}

void Machines::setState(Machine& machine, std::uint32_t state)
{
    if (machine.state == state)
        return;
    machine.state = state;
    machine.lastStateChange = host_.clock().milliseconds();
    Event event = machineEvent(EventType::OnMachineStateChanged, machine);
    event.state = state;
    host_.fire(std::move(event));
    if (VmProcess* vm = machine.vm()) {
        Event changed;
        changed.type = EventType::OnStateChanged;
        changed.state = state;
        vm->events->fire(std::move(changed));
    }
}

void Machines::setSessionState(Machine& machine, std::uint32_t state)
{
    machine.sessionState = state;
    Event event = machineEvent(EventType::OnSessionStateChanged, machine);
    event.state = state;
    host_.fire(std::move(event));
}

// ---- VirtualBox.xml

std::wstring Machines::settingsFile() const
{
    return Files::join(host_.surroundings().home, L"VirtualBox.xml");
}

void Machines::saveRegistry(GlobalSettings settings)
{
    settings.source = renderGlobalSettings(settings, settingsFile());
    host_.disk().writeAtomically(settingsFile(), settings.source, previousOf(settingsFile()));
    settings_ = std::move(settings);
}

void Machines::changeRegistry(const std::function<void(GlobalSettings&)>& change)
{
    GlobalSettings changed = settings_;
    change(changed);
    saveRegistry(std::move(changed));
}

std::wstring Machines::composeFile(const std::wstring& name, const std::wstring& group, const std::wstring& flags,
                                   const std::wstring& baseFolder) const
{
    if (name.empty())
        throw Failure(Result::invalidArgument, L"Machine name must not be empty");
    const CreateFlags parsed = parseCreateFlags(flags);
    checkGroup(group);
    std::wstring folder = baseFolder.empty() ? defaultFolder() : baseFolder;
    forEachEntry(group, L"/", [&](std::wstring_view part) { folder = Files::join(folder, safeMachineName(part)); });
    const std::wstring file = safeMachineName(name);
    const bool withUuid = parsed.folderWithUuid && !parsed.uuid.empty();
    folder = Files::join(folder, withUuid ? file + L" (" + parsed.uuid + L")" : file);
    return Files::join(folder, file + L".vbox");
}

std::wstring Machines::defaultFolder() const
{
    if (!settings_.defaultMachineFolder.empty())
        return settings_.defaultMachineFolder;
    return Files::join(host_.surroundings().userFolder, L"VirtualBox VMs");
}

void Machines::setDefaultFolder(const std::wstring& folder)
{
    std::wstring wanted;
    if (!folder.empty() && folder != L"Machines") {
        if (!Files::isAbsolute(folder) || !isStorable(folder))
            throw Failure(Result::invalidArgument, L"'" + folder + L"' is not a full path");
        wanted = Files::resolve(host_.surroundings().home, folder);
        host_.disk().createFolder(wanted);
    }
    changeRegistry([&](GlobalSettings& registry) { registry.defaultMachineFolder = wanted; });
}

void Machines::setExtraData(const std::wstring& key, const std::wstring& value)
{
    checkExtraData(key, value);
    changeRegistry([&](GlobalSettings& registry) { set(registry.extraData, key, value); });
    host_.fire(extraDataEvent(EventType::OnExtraDataChanged, nobody, key, value));
}

} // namespace VBoxSim
