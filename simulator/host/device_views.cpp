#include "host/device_views.h"

#include <utility>

#include "base/files.h"
#include "base/text.h"
#include "host/host.h"
#include "settings/nat_rules.h"
#include "settings/storage_buses.h"

namespace VBoxSim {

namespace {

template <class Settings>
auto& adapterAt(Settings& settings, std::uint32_t slot)
{
    if (slot >= settings.adapters.size())
        throw Failure(Result::accessDenied, L"The network adapter is not there any more");
    return settings.adapters[slot];
}

} // namespace

NetworkAdapterView::NetworkAdapterView(MachineView machine, std::uint32_t slot)
    : machine_(std::move(machine)), slot_(slot)
{
    if (slot >= machine_.settings().adapters.size())
        throw Failure(Result::invalidArgument, L"No network adapter in slot " + std::to_wstring(slot));
}

const NetworkAdapterSettings& NetworkAdapterView::settings() const
{
    return adapterAt(machine_.settings(), slot_);
}

NetworkAdapterSettings& NetworkAdapterView::change(Allowed allowed) const
{
    return adapterAt(machine_.change(allowed), slot_);
}

void NetworkAdapterView::setType(std::uint32_t type) const
{
    if (type < Travik::NetworkAdapterType::Am79C970A || type > Travik::NetworkAdapterType::Virtio_1_0)
        throw Failure(Result::invalidArgument, L"Invalid network adapter type " + std::to_wstring(type));
    change(Allowed::Off).type = type;
}

void NetworkAdapterView::setEnabled(bool enabled) const
{
    change(Allowed::Off).enabled = enabled;
}

void NetworkAdapterView::setMacAddress(const std::wstring& address) const
{
    const bool valid = address.size() == 12 && address.find_first_not_of(L"0123456789ABCDEFabcdef") == address.npos;
    if (!address.empty() && !valid)
        throw Failure(Result::invalidArgument, L"Invalid MAC address format");
    change(Allowed::Off).mac = address.empty() ? newMacAddress() : address;
}

void NetworkAdapterView::setAttachment(std::uint32_t attachment) const
{
    if (attachment > Travik::NetworkAttachmentType::NATNetwork)
        throw Failure(Result::invalidArgument, L"Invalid attachment type " + std::to_wstring(attachment));
    change(Allowed::OffOrRunning).attachment = attachment;
}

void NetworkAdapterView::setCableConnected(bool connected) const
{
    change(Allowed::OffOrRunning).cableConnected = connected;
}

void NetworkAdapterView::addRule(const NatRule& rule) const
{
    auto& rules = change(Allowed::OffOrRunning).rules;
    addRedirect(rules, rule);
    fireRedirect(rules.back(), false);
}

void NetworkAdapterView::removeRule(const std::wstring& name) const
{
    fireRedirect(removeRedirect(change(Allowed::OffOrRunning).rules, name), true);
}

void NetworkAdapterView::fireRedirect(const NatRule& rule, bool removed) const
{
    Event event = machineEvent(EventType::OnNATRedirect, *machine_.machine());
    event.slot = slot_;
    event.flag = removed;
    event.rule = rule;
    machine_.host().fire(std::move(event));
}

void AudioAdapterView::setEnabled(bool enabled) const
{
    machine_.change(Allowed::Off).audio.enabled = enabled;
}

void AudioAdapterView::setEnabledIn(bool enabled) const
{
    machine_.change(Allowed::OffOrRunning).audio.enabledIn = enabled;
}

void AudioAdapterView::setEnabledOut(bool enabled) const
{
    machine_.change(Allowed::OffOrRunning).audio.enabledOut = enabled;
}

void AudioAdapterView::setController(std::uint32_t controller) const
{
    setNumber(&AudioSettings::controller, controller, Travik::AudioControllerType::HDA);
}

void AudioAdapterView::setCodec(std::uint32_t codec) const
{
    setNumber(&AudioSettings::codec, codec, Travik::AudioCodecType::STAC9221);
}

void AudioAdapterView::setDriver(std::uint32_t driver) const
{
    setNumber(&AudioSettings::driver, driver, Travik::AudioDriverType::SolAudio);
}

void AudioAdapterView::setNumber(std::uint32_t AudioSettings::*member, std::uint32_t value, std::uint32_t highest) const
{
    if (value > highest)
        throw Failure(Result::invalidArgument, L"Invalid value " + std::to_wstring(value));
    machine_.change(Allowed::Off).audio.*member = value;
}

StorageControllerView::StorageControllerView(MachineView machine, std::wstring name)
    : machine_(std::move(machine)), name_(std::move(name))
{}

const StorageControllerSettings& StorageControllerView::settings() const
{
    for (const StorageControllerSettings& controller : machine_.settings().controllers)
        if (controller.name == name_)
            return controller;
    throw Failure(Result::accessDenied, L"The storage controller '" + name_ + L"' was removed");
}

StorageControllerSettings& StorageControllerView::change() const
{
    const StorageControllerSettings& same = settings();
    std::vector<StorageControllerSettings>& controllers = machine_.change(Allowed::Off).controllers;
    return controllers[static_cast<std::size_t>(&same - controllers.data())];
}

const StorageBusLimits& StorageControllerView::limits() const
{
    return *storageBus(settings().bus);
}

void StorageControllerView::rename(const std::wstring& name)
{
    StorageControllerSettings& controller = change();
    if (name.empty() || !isStorable(name))
        throw Failure(Result::invalidArgument, L"Invalid controller name");
    for (const StorageControllerSettings& other : machine_.settings().controllers)
        if (&other != &controller && other.name == name)
            throw Failure(Result::objectInUse, L"Storage controller named '" + name + L"' already exists");
    controller.name = name;
    name_ = name;
}

void StorageControllerView::setInstance(std::uint32_t instance) const
{
    change().instance = instance;
}

void StorageControllerView::setPortCount(std::uint32_t count) const
{
    StorageControllerSettings& controller = change();
    const StorageBusLimits& bus = limits();
    if (count < bus.minPorts || count > bus.maxPorts)
        throw Failure(Result::invalidArgument, L"Invalid port count " + std::to_wstring(count));
    for (const AttachmentSettings& attachment : controller.attachments)
        if (static_cast<std::uint32_t>(attachment.port) >= count)
            throw Failure(Result::notSupported, L"A port beyond the new count has a device");
    if (std::exchange(controller.portCount, count) != count)
        machine_.fireControllerChanged(name_);
}

void StorageControllerView::setType(std::uint32_t type) const
{
    StorageControllerSettings& controller = change();
    if (busOfControllerType(type) != controller.bus)
        throw Failure(Result::invalidArgument, L"Invalid controller type " + std::to_wstring(type));
    if (std::exchange(controller.type, type) != type)
        machine_.fireControllerChanged(name_);
}

void StorageControllerView::setUseHostIoCache(bool use) const
{
    change().useHostIoCache = use;
}

ConsoleView::ConsoleView(Host& host, MachinePtr machine, LockPtr lock)
    : host_(&host), machine_(std::move(machine)), lock_(std::move(lock))
{}

void ConsoleView::checkUsable() const
{
    if (!lock_->alive)
        throw Failure(Result::serverUnavailable, L"The machine's process has ended");
}

void ConsoleView::requireSteady() const
{
    if (machine_->state != MachineState::Running && machine_->state != MachineState::Paused)
        throw Failure(Result::invalidVmState,
                      L"The machine changes its state (machine state: " + stateName(machine_->state) + L")");
}

void ConsoleView::createSharedFolder(const SharedFolderSettings& folder) const
{
    requireSteady();
    std::vector<SharedFolderSettings> folders = vm().sharedFolders;
    addSharedFolder(folders, folder, Result::fileError);
    if (!Files::isFolder(folder.hostPath))
        throw Failure(Result::fileError, L"Shared folder path '" + folder.hostPath + L"' is not accessible");
    keep(std::move(folders));
}

void ConsoleView::removeSharedFolder(const std::wstring& name) const
{
    requireSteady();
    std::vector<SharedFolderSettings> folders = vm().sharedFolders;
    eraseSharedFolder(folders, name, Result::fileError);
    keep(std::move(folders));
}

void ConsoleView::replaceSharedFolder(const SharedFolderSettings& folder) const
{
    requireSteady();
    std::vector<SharedFolderSettings> folders = vm().sharedFolders;
    VBoxSim::replaceSharedFolder(folders, folder);
    keep(std::move(folders));
}

/// VirtualBox's Scope of folders that end with the machine's process.
constexpr std::uint32_t sessionScope = 2;

void ConsoleView::keep(std::vector<SharedFolderSettings> folders) const
{
    lock_->vm->sharedFolders = std::move(folders);
    Event event;
    event.type = EventType::OnSharedFolderChanged;
    event.kind = sessionScope;
    lock_->vm->events->fire(std::move(event));
}

} // namespace VBoxSim
