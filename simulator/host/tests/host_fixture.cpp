#include "host_fixture.h"

#include <algorithm>
#include <atomic>
#include <vector>

#include "base/files.h"
#include "host/error_mapping.h"
#include "host/vm_life.h"
#include "images/image.h"
#include "scratch.h"

namespace VBoxSim {

namespace {

std::filesystem::path freshFolder()
{
    static int count = 0;
    const std::filesystem::path made = TravikTest::scratchFolder() / ("host" + std::to_string(++count));
    std::filesystem::create_directories(made / "home");
    return made;
}

} // namespace

ResultCode resultOf(const std::function<void()>& work)
{
    const auto failure = attempt(work);
    return failure ? failure->code() : ResultCode(Result::ok);
}

PassiveListener::PassiveListener(Host& host, EventSource& source, std::vector<std::int32_t> types, ClientId client)
    : host_(host), source_(source)
{
    source.add(identity_, client, std::move(types), false);
}

EventPtr PassiveListener::next() const
{
    HostLock lock = host_.lock();
    return source_.next(lock, identity_.get(), 0);
}

EventPtr PassiveListener::next(std::uint32_t type) const
{
    EventPtr event = next();
    while (event && event->type != type)
        event = next();
    return event;
}

Scene::Scene()
    : folder(freshFolder()), host({(folder / "home").wstring(), (folder / "user").wstring(), 4711}, clock, disk)
{
    host.load();
}

void Scene::pass(std::uint32_t milliseconds)
{
    clock.turn(milliseconds);
    host.scheduler().runDue();
}

void Scene::finish(const ProgressPtr& progress)
{
    host.scheduler().runDue();
    EXPECT_TRUE(progress->isCompleted());
    if (progress->failure())
        throw Failure(*progress->failure());
}

MachinePtr Scene::newMachine(const std::wstring& name)
{
    return host.machines().create({{}, name, {}, L"Other", {}});
}

MachinePtr Scene::registered(const std::wstring& name)
{
    const MachinePtr machine = newMachine(name);
    host.machines().add(machine);
    return machine;
}

MediumPtr Scene::newDisk(const std::wstring& name)
{
    std::filesystem::create_directories(folder / "disks");
    const std::wstring file = path(L"disks\\" + name);
    createVdi(file, 1 << 20, {});
    return host.media().open(file, DeviceKind::hardDisk, false);
}

MachinePtr Scene::withDisk(const std::wstring& name)
{
    const MachinePtr machine = registered(name);
    change(machine, [&](const MachineView& view) {
        view.addController(L"SATA", Travik::StorageBus::SATA);
        view.attach({L"SATA", 0, 0}, DeviceKind::hardDisk, newDisk(name + L".vdi"));
    });
    return machine;
}

MachineView Scene::lockedBy(const SessionPtr& session, const MachinePtr& machine)
{
    lockMachine(host, machine, session, Travik::LockType::Write);
    return MachineView(host, machine, machine->lock);
}

void Scene::change(const MachinePtr& machine, const std::function<void(const MachineView&)>& changes)
{
    const SessionPtr owner = session(L"maker");
    const MachineView view = lockedBy(owner, machine);
    changes(view);
    view.saveSettings();
    unlockSession(host, owner);
}

ProgressPtr Scene::launch(const MachinePtr& machine, const SessionPtr& session)
{
    return launchMachine(host, machine, session, {L"headless", {}});
}

ProgressPtr Scene::powerUp(const MachinePtr& machine, const SessionPtr& session)
{
    ProgressPtr progress = launch(machine, session);
    pass(host.scenario().times.spawn);
    pass(host.scenario().times.start);
    return progress;
}

void Scene::powerOff(const MachinePtr& machine)
{
    powerDown(host, machine);
    pass(host.scenario().times.stop);
    pass(host.scenario().times.holdLock);
}

MachinePtr Scene::running(const std::wstring& name, const SessionPtr& session)
{
    const MachinePtr machine = registered(name);
    powerUp(machine, session);
    EXPECT_EQ(machine->state, static_cast<std::uint32_t>(MachineState::Running));
    return machine;
}

std::wstring Scene::seen(Host& host)
{
    std::wstring text = host.machines().defaultFolder() + L"\n";
    for (const auto& [key, value] : host.machines().extraData())
        text += key + L"=" + value + L"\n";
    std::vector<std::wstring> media;
    for (const MachinePtr& machine : host.machines().all()) {
        const MachineSettings& shown = machine->saved;
        text += machine->id + L" " + machine->file + (machine->accessError ? L" inaccessible " : L" ") + shown.name;
        text += L" memory " + std::to_wstring(shown.memoryMegabytes) + L" state file " + shown.stateFile;
        for (const auto& [key, value] : shown.extraData)
            text += L" " + key + L"=" + value;
        for (const StorageControllerSettings& controller : shown.controllers)
            for (const AttachmentSettings& attachment : controller.attachments)
                text += L" attached " + attachment.medium;
        for (const MediumRecord& record : shown.media) {
            text += L" listed " + record.id + L" at " + record.location;
            media.push_back(record.id);
        }
        text += L"\n";
    }
    for (const std::wstring& id : media) // those that a restart makes known, too
        if (const MediumPtr medium = host.media().find(id))
            text += L"medium " + id + L" at " + medium->location + (medium->closed ? L" closed\n" : L"\n");
    return text;
}

std::wstring Scene::seenAfterRestart() const
{
    SystemClock clock;
    Disk disk;
    Host restarted(host.surroundings(), clock, disk);
    restarted.load();
    return seen(restarted);
}

std::wstring Scene::files() const
{
    std::vector<std::wstring> all;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        const std::wstring file = entry.path().wstring();
        if (!file.ends_with(L"-prev"))
            all.push_back(file);
    }
    std::sort(all.begin(), all.end());
    std::wstring text;
    for (const std::wstring& file : all)
        text += file + L"\n";
    return text;
}

} // namespace VBoxSim
