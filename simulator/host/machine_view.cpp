#include "host/machine_view.h"

#include <utility>

#include "base/files.h"
#include "base/text.h"
#include "host/host.h"
#include "settings/guest_os_types.h"
#include "settings/limits.h"

namespace VBoxSim {

namespace {

void checkRange(std::uint32_t value, std::uint32_t lowest, std::uint32_t highest)
{
    if (value < lowest || value > highest)
        throw Failure(Result::invalidArgument, L"Invalid value: " + std::to_wstring(value) + L" (must be in range [" +
                                                   std::to_wstring(lowest) + L", " + std::to_wstring(highest) + L"])");
}

[[noreturn]] void notMutable(const Machine& machine)
{
    throw Failure(Result::invalidVmState, L"The machine is not mutable (state is " + stateName(machine.state) + L")");
}

} // namespace

MachineView::MachineView(Host& host, MachinePtr machine, LockPtr lock)
    : host_(&host), machine_(std::move(machine)), lock_(std::move(lock))
{}

void MachineView::checkNotDead() const
{
    if (machine_->dead)
        throw Failure(Result::accessDenied, L"The object is not ready");
}

void MachineView::checkNotGone() const
{
    checkNotDead();
    if (lock_ && !lock_->alive)
        throw Failure(Result::accessDenied, L"The object is not ready");
}

void MachineView::checkUsable() const
{
    checkNotGone();
    if (machine_->busy)
        throw Failure(Result::accessDenied, L"The machine is being made");
    if (machine_->accessError)
        throw Failure(Result::accessDenied, L"The object functionality is limited");
}

void MachineView::requireMutable() const
{
    if (!isMutable())
        notMutable(*machine_);
}

const MachineSettings& MachineView::settings() const
{
    return isMutable() ? machine_->working : machine_->saved;
}

MachineSettings& MachineView::change(Allowed allowed) const
{
    requireMutable();
    const std::uint32_t state = machine_->state;
    const bool off =
        state == MachineState::PoweredOff || state == MachineState::Aborted || state == MachineState::Teleported;
    const bool running = state == MachineState::Running || state == MachineState::Paused;
    if (!off && !(allowed == Allowed::OffOrSaved && state == MachineState::Saved) &&
        !(allowed == Allowed::OffOrRunning && running))
        notMutable(*machine_);
    machine_->modified = true;
    return machine_->working;
}

bool MachineView::isAccessible() const
{
    checkNotDead();
    if (machine_->accessError)
        host_->machines().refreshAccess(*machine_);
    return !machine_->accessError;
}

void MachineView::setName(const std::wstring& name) const
{
    if (!isStorable(name))
        throw Failure(Result::invalidArgument, L"The name is not valid text");
    change(Allowed::OffOrSaved).name = name;
}

void MachineView::setDescription(const std::wstring& description) const
{
    if (!isStorable(description))
        throw Failure(Result::invalidArgument, L"The description is not valid text");
    change(Allowed::OffOrSaved).description = description;
}

void MachineView::setOsType(const std::wstring& type) const
{
    if (!findGuestOsType(type))
        throw Failure(Result::objectNotFound, L"'" + type + L"' is not a valid Guest OS type");
    change(Allowed::Off).osType = type;
}

void MachineView::setCpuCount(std::uint32_t count) const
{
    checkRange(count, Limits::minCpus, Limits::maxCpus);
    change(Allowed::Off).cpuCount = count;
}

void MachineView::setMemory(std::uint32_t megabytes) const
{
    checkRange(megabytes, Limits::minMegabytes, Limits::maxMegabytes);
    change(Allowed::Off).memoryMegabytes = megabytes;
}

void MachineView::setChipset(std::uint32_t chipset) const
{
    if (chipset != Travik::ChipsetType::PIIX3 && chipset != Travik::ChipsetType::ICH9)
        throw Failure(Result::invalidArgument, L"Invalid chipset");
    MachineSettings& changed = change(Allowed::Off);
    changed.chipset = chipset;
    fitAdapters(changed);
}

void MachineView::setParavirtProvider(std::uint32_t provider) const
{
    checkRange(provider, Travik::ParavirtProvider::Null, Travik::ParavirtProvider::KVM);
    change(Allowed::Off).paravirt = provider;
}

void MachineView::setBootDevice(std::uint32_t position, std::uint32_t device) const
{
    constexpr std::uint32_t usb = 5;
    checkRange(position, 1, static_cast<std::uint32_t>(usualBootOrder.size()));
    if (device == usb)
        throw Failure(Result::notImplemented, L"Machines do not boot from USB devices");
    change(Allowed::Off).bootOrder[position - 1] = device;
}

std::uint32_t MachineView::bootDevice(std::uint32_t position) const
{
    checkRange(position, 1, static_cast<std::uint32_t>(usualBootOrder.size()));
    return settings().bootOrder[position - 1];
}

std::uint32_t MachineView::effectiveParavirtProvider() const
{
    const std::uint32_t wanted = settings().paravirt;
    if (wanted != Travik::ParavirtProvider::Default)
        return wanted;
    const GuestOsType* type = findGuestOsType(settings().osType);
    if (type && type->familyId == L"Windows")
        return Travik::ParavirtProvider::HyperV;
    return type && type->familyId == L"Linux" ? Travik::ParavirtProvider::KVM : Travik::ParavirtProvider::Null;
}

std::wstring MachineView::hardwareId() const
{
    return settings().hardwareId.empty() ? machine_->id : settings().hardwareId;
}

std::wstring MachineView::snapshotFolder() const
{
    return Files::resolve(Files::folderOf(machine_->file), settings().snapshotFolder);
}

std::wstring MachineView::logFolder() const
{
    return Files::join(Files::folderOf(machine_->file), L"Logs");
}

std::wstring MachineView::sessionName() const
{
    if (const VmProcess* vm = machine_->vm())
        return vm->frontEnd;
    return machine_->lock && machine_->lock->owner ? machine_->lock->owner->name : std::wstring();
}

ClientId MachineView::sessionProcess() const
{
    if (!machine_->lock)
        return 0;
    return machine_->lock->owner ? machine_->lock->owner->process : host_->surroundings().process;
}

void MachineView::saveSettings() const
{
    requireMutable();
    host_->machines().save(*machine_);
}

void MachineView::discardSettings() const
{
    requireMutable();
    machine_->discardChanges();
}

} // namespace VBoxSim
