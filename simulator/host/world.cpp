#include "host/world.h"

#include "base/files.h"
#include "base/text.h"
#include "base/time.h"
#include "com/call_frame.h"
#include "host/scheduler.h"
#include "host/vm_life.h"
#include "settings/guest_os_types.h"
#include "settings/machine_names.h"

#include <algorithm>

namespace VBoxSim {

namespace {

std::wstring environmentVariable(const wchar_t* name)
{
    std::wstring value(GetEnvironmentVariableW(name, nullptr, 0), L'\0');
    value.resize(GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size())));
    return value;
}

std::uint32_t restingState(const MachineSettings& settings)
{
    if (settings.aborted)
        return MachineState::Aborted;
    return settings.stateFile.empty() ? MachineState::PoweredOff : MachineState::Saved;
}

void adopt(MachineData& machine, MachineSettings settings)
{
    machine.state = restingState(settings);
    machine.lastStateChange = settings.lastStateChange;
    machine.working = settings;
    machine.saved = std::move(settings);
    machine.modified = false;
}

EventData machineEvent(std::uint32_t type, const MachineData& machine)
{
    EventData event;
    event.type = type;
    event.machineId = machine.id;
    return event;
}

} // namespace

World& World::instance()
{
    static World* const world = new World; // threads may still be in calls when the process leaves
    return *world;
}

std::wstring World::settingsFile() const
{
    return Files::join(home_, L"VirtualBox.xml");
}

void World::load(const std::wstring& home)
{
    home_ = home;
    startError_.reset();
    settings_ = {};
    try {
        settings_ = loadGlobalSettings(settingsFile());
    } catch (const Failure& failure) {
        startError_ = failure;
    }
    for (const GlobalSettings::Machine& entry : settings_.machines) {
        auto machine = std::make_shared<MachineData>();
        machine->id = entry.id;
        machine->file = entry.file;
        machine->registered = true;
        machines_.push_back(machine);
        refreshAccess(*machine);
    }
}

void World::reset()
{
    Scheduler::instance().dropTasks();
    for (const MachinePtr& machine : everyMachine()) {
        if (machine->lock)
            endLock(*machine);
        machine->dead = true;
    }
    for (const MediumPtr& medium : media_)
        medium->closed = true;
    events_->close();
    events_ = std::make_shared<EventSourceData>();
    machines_.clear();
    unregistered_.clear();
    sessions_.clear();
    media_.clear();
    scenario_ = {};
    faults().clear();
    trace().turn(false);
    trace().clear();
    load(home_);
    worldChanged().notify_all();
}

// ---- machines

MachinePtr World::findMachine(const std::wstring& nameOrId) const
{
    const auto id = parseUuid(nameOrId);
    for (const MachinePtr& machine : machines_)
        if (id ? machine->id == *id : !machine->accessError && machine->saved.name == nameOrId)
            return machine;
    throw Failure(Result::objectNotFound, L"Could not find a registered machine named '" + nameOrId + L"'");
}

bool World::isNameTaken(const std::wstring& name) const
{
    return std::any_of(machines_.begin(), machines_.end(), [&](const MachinePtr& machine) {
        return !machine->accessError && equalIgnoringCase(machine->saved.name, name);
    });
}

std::vector<MachinePtr> World::everyMachine() const
{
    std::vector<MachinePtr> all = machines_;
    for (const std::weak_ptr<MachineData>& weak : unregistered_)
        if (const MachinePtr machine = weak.lock())
            all.push_back(machine);
    return all;
}

void World::refreshAccess(MachineData& machine)
{
    try {
        MachineSettings settings = loadMachineSettings(machine.file);
        if (settings.id != machine.id)
            throw Failure(Result::fail, L"The settings file '" + machine.file + L"' belongs to another machine");
        learnMedia(settings);
        adopt(machine, std::move(settings));
        machine.accessError.reset();
    } catch (const Failure& failure) {
        machine.accessError = failure;
    }
}

MachinePtr World::openMachine(const std::wstring& file)
{
    if (!Files::isAbsolute(file))
        throw Failure(Result::fileError, L"The path '" + file + L"' of a settings file is not absolute");
    const std::wstring path = Files::resolve(home_, file);
    return adoptMachine(loadMachineSettings(path), path);
}

MachinePtr World::adoptMachine(const MachineSettings& settings, const std::wstring& file)
{
    const auto machine = std::make_shared<MachineData>();
    machine->file = file;
    machine->id = settings.id;
    learnMedia(settings);
    adopt(*machine, settings);
    unregistered_.push_back(machine);
    return machine;
}

MachinePtr World::createMachine(const std::wstring& settingsFile, const std::wstring& name,
                                const std::vector<std::wstring>& groups, const std::wstring& osType,
                                const std::wstring& flags)
{
    if (name.empty() || !isStorable(name))
        throw Failure(Result::invalidArgument, L"A machine needs a name");
    if (!osType.empty() && !findGuestOsType(osType))
        throw Failure(Result::objectNotFound, L"'" + osType + L"' is not a known guest OS type");
    const CreateFlags parsed = parseCreateFlags(flags);
    const std::wstring path = settingsFile.empty()
                                  ? composeMachineFile(name, groups.empty() ? L"" : groups.front(), flags, L"")
                                  : Files::resolve(defaultMachineFolder(), settingsFile);
    if (Files::exists(path)) {
        if (!parsed.forceOverwrite)
            throw Failure(Result::fileError, L"Machine settings file '" + path + L"' already exists");
        if (!Files::remove(path))
            throw Failure(Result::fileError, L"Could not replace '" + path + L"'");
    }
    MachineSettings settings = newMachineSettings(name, osType);
    if (!parsed.uuid.empty())
        settings.id = parsed.uuid;
    if (!groups.empty())
        settings.groups = groups;
    const MachinePtr machine = adoptMachine(settings, path);
    machine->modified = true;
    return machine;
}

void World::registerMachine(const MachinePtr& machine)
{
    if (machine->registered)
        throw Failure(Result::invalidObjectState,
                      L"The machine '" + machine->working.name + L"' is already registered");
    for (const MachinePtr& other : machines_)
        if (other->id == machine->id)
            throw Failure(Result::invalidArgument,
                          L"Registered machine with UUID " + braced(machine->id) + L" already exists");
    saveMachine(*machine);
    machine->registered = true;
    machines_.push_back(machine);
    settings_.machines.push_back({machine->id, machine->file});
    saveRegistry();
    EventData event = machineEvent(EventType::OnMachineRegistered, *machine);
    event.flag = true;
    fire(std::move(event));
}

void World::unregisterMachine(const MachinePtr& machine)
{
    std::erase(machines_, machine);
    std::erase_if(settings_.machines, [&](const GlobalSettings::Machine& entry) { return entry.id == machine->id; });
    machine->registered = false;
    if (machine->accessError)
        machine->dead = true;
    else
        unregistered_.push_back(machine);
    saveRegistry();
    fire(machineEvent(EventType::OnMachineRegistered, *machine));
}

void World::saveRegistry()
{
    saveGlobalSettings(settings_, settingsFile());
}

void World::announceMove(const MachineData& machine, const std::wstring& newFile)
{
    if (!machine.registered)
        return;
    for (GlobalSettings::Machine& entry : settings_.machines)
        if (entry.id == machine.id)
            entry.movesTo = newFile;
    saveRegistry();
}

void World::moveToNewName(MachineData& machine)
{
    const std::wstring name = machine.working.name;
    checkMachineName(name);
    const std::wstring folder = Files::folderOf(machine.file);
    const bool folderHasName = equalIgnoringCase(Files::nameOf(folder), Files::stemOf(machine.file));
    const std::wstring newFolder = folderHasName ? Files::join(Files::folderOf(folder), safeMachineName(name)) : folder;
    const std::wstring newFile = Files::join(newFolder, safeMachineName(name) + L".vbox");
    if (newFile == machine.file)
        return;
    const bool sameFolder = Files::samePath(folder, newFolder);
    const bool sameFile = Files::samePath(newFile, machine.file); // only the case of the name changes
    if (!sameFile && (sameFolder ? Files::exists(newFile) : Files::exists(newFolder)))
        throw Failure(Result::fileError, L"Could not rename the machine: '" + newFile + L"' exists already");
    announceMove(machine, newFile);
    if (folder != newFolder && !Files::move(folder, newFolder)) {
        announceMove(machine, L"");
        throw Failure(Result::fileError, L"Could not rename the folder '" + folder + L"'");
    }
    const std::wstring movedFile = Files::join(newFolder, Files::nameOf(machine.file));
    if (!Files::move(movedFile, newFile)) {
        if (folder != newFolder)
            Files::move(newFolder, folder);
        announceMove(machine, L"");
        throw Failure(Result::fileError, L"Could not rename the settings file '" + machine.file + L"'");
    }
    Files::move(movedFile + L"-prev", newFile + L"-prev");

    const auto follow = [&](std::wstring& location) {
        const std::wstring inside = Files::relativeTo(folder, location);
        if (inside != location)
            location = Files::join(newFolder, inside);
    };
    for (MediumRecord& record : machine.working.media) {
        follow(record.location);
        if (const MediumPtr medium = findMedium(record.id))
            follow(medium->location);
    }
    for (GlobalSettings::Machine& entry : settings_.machines)
        if (entry.id == machine.id)
            entry = {machine.id, newFile};
    machine.file = newFile;
}

void World::saveMachine(MachineData& machine)
{
    if (machine.working.name.empty())
        throw Failure(Result::fileError, L"The machine name must not be empty");
    const std::wstring oldFile = machine.file;
    if (machine.working.name != machine.saved.name && Files::exists(machine.file)) {
        if (machine.isOnline())
            throw Failure(Result::fileError, L"A running machine cannot be renamed");
        moveToNewName(machine);
    }
    const std::string text = renderMachineSettings(machine.working, machine.file);
    Files::writeAtomically(machine.file, text, machine.file + L"-prev");
    machine.working.source = text;
    machine.saved = machine.working;
    machine.modified = false;
    if (!machine.registered)
        return;
    if (machine.file != oldFile)
        saveRegistry();
    fire(machineEvent(EventType::OnMachineDataChanged, machine));
}

void World::rewriteSaved(MachineData& machine)
{
    const std::string text = renderMachineSettings(machine.saved, machine.file);
    Files::writeAtomically(machine.file, text, machine.file + L"-prev");
    machine.saved.source = text;
}

std::wstring World::composeMachineFile(const std::wstring& name, const std::wstring& group, const std::wstring& flags,
                                       const std::wstring& baseFolder) const
{
    if (name.empty())
        throw Failure(Result::invalidArgument, L"Machine name must not be empty");
    const CreateFlags parsed = parseCreateFlags(flags);
    std::wstring folder = baseFolder.empty() ? defaultMachineFolder() : baseFolder;
    forEachEntry(group, L"/", [&](std::wstring_view part) { folder = Files::join(folder, safeMachineName(part)); });
    const std::wstring file = safeMachineName(name);
    const bool withUuid = parsed.folderWithUuid && !parsed.uuid.empty();
    folder = Files::join(folder, withUuid ? file + L" (" + parsed.uuid + L")" : file);
    return Files::join(folder, file + L".vbox");
}

std::wstring World::defaultMachineFolder() const
{
    if (!settings_.defaultMachineFolder.empty())
        return settings_.defaultMachineFolder;
    return Files::join(environmentVariable(L"USERPROFILE"), L"VirtualBox VMs");
}

void World::setDefaultMachineFolder(const std::wstring& folder)
{
    std::wstring wanted;
    if (!folder.empty() && folder != L"Machines") {
        if (!Files::isAbsolute(folder) || !isStorable(folder))
            throw Failure(Result::invalidArgument, L"'" + folder + L"' is not a full path");
        wanted = Files::resolve(home_, folder);
        Files::createFolder(wanted);
    }
    const std::wstring before = std::exchange(settings_.defaultMachineFolder, wanted);
    try {
        saveRegistry();
    } catch (const Failure&) {
        settings_.defaultMachineFolder = before;
        throw;
    }
}

void World::setState(MachineData& machine, std::uint32_t state)
{
    if (machine.state == state)
        return;
    machine.state = state;
    machine.lastStateChange = Time::nowMilliseconds();
    EventData event = machineEvent(EventType::OnMachineStateChanged, machine);
    event.state = state;
    fire(std::move(event));
    if (VmProcess* vm = machine.vm()) {
        EventData changed;
        changed.type = EventType::OnStateChanged;
        changed.state = state;
        vm->events->fire(std::move(changed));
    }
}

void World::setSessionState(MachineData& machine, std::uint32_t state)
{
    machine.sessionState = state;
    EventData event = machineEvent(EventType::OnSessionStateChanged, machine);
    event.state = state;
    fire(std::move(event));
}

// ---- sessions

SessionPtr World::session(const std::wstring& id, DWORD process)
{
    SessionPtr& session = sessions_[id];
    if (!session) {
        session = std::make_shared<SessionData>();
        session->id = id;
        session->process = process;
    }
    return session;
}

SessionPtr World::knownSession(const std::wstring& id) const
{
    const auto found = sessions_.find(id);
    return found == sessions_.end() ? nullptr : found->second;
}

std::vector<SessionPtr> World::sessionsOf(DWORD process) const
{
    std::vector<SessionPtr> found;
    for (const auto& [id, session] : sessions_)
        if (session->process == process)
            found.push_back(session);
    return found;
}

} // namespace VBoxSim
