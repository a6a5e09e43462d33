#include "appliance/interpretation.h"

#include <algorithm>
#include <cwctype>
#include <map>
#include <set>

#include "appliance/os_type.h"
#include "base/safe_name.h"

namespace VBoxSim {

namespace {

constexpr std::uint64_t megabyte = std::uint64_t(1) << 20;
constexpr std::uint64_t usualMemoryMegabytes = 512;

std::wstring lower(std::wstring text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](wchar_t c) { return std::towlower(c); });
    return text;
}

DescriptionType entryType(OvfControllerKind kind)
{
    switch (kind) {
    case OvfControllerKind::Ide:
        return DescriptionType::HardDiskControllerIDE;
    case OvfControllerKind::Sata:
        return DescriptionType::HardDiskControllerSATA;
    case OvfControllerKind::Scsi:
        return DescriptionType::HardDiskControllerSCSI;
    case OvfControllerKind::Sas:
        return DescriptionType::HardDiskControllerSAS;
    case OvfControllerKind::VirtioScsi:
        return DescriptionType::HardDiskControllerVirtioSCSI;
    case OvfControllerKind::Nvme:
        break;
    }
    return DescriptionType::HardDiskControllerNVMe;
}

/// VirtualBox's type of a controller.
std::wstring controllerType(const OvfController& controller)
{
    const std::wstring subType = lower(fromUtf8(controller.subType));
    switch (controller.kind) {
    case OvfControllerKind::Ide:
        return subType == L"piix3" ? L"PIIX3" : subType == L"ich6" ? L"ICH6" : L"PIIX4";
    case OvfControllerKind::Sata:
        return L"AHCI";
    case OvfControllerKind::Scsi:
        return subType == L"buslogic" ? L"BusLogic" : L"LsiLogic";
    case OvfControllerKind::Sas:
        return L"LsiLogicSas";
    case OvfControllerKind::VirtioScsi:
        return L"VirtioSCSI";
    case OvfControllerKind::Nvme:
        break;
    }
    return L"NVMe";
}

/// VirtualBox's number of an adapter type.
std::wstring adapterType(const OvfAdapter& adapter)
{
    static const std::map<std::wstring, std::wstring> types = {
        {L"pcnet32", L"2"}, {L"am79c970a", L"1"}, {L"am79c973", L"2"}, {L"e1000", L"3"},
        {L"82540em", L"3"}, {L"82543gc", L"4"},   {L"82545em", L"5"},  {L"virtio", L"6"},
    };
    const auto type = types.find(lower(fromUtf8(adapter.type)));
    return type == types.end() ? L"3" : type->second;
}

std::wstring attachment(const OvfAdapter& adapter)
{
    static const std::map<std::wstring, std::wstring> types = {
        {L"bridged", L"Bridged"}, {L"internal", L"Internal"},     {L"hostonly", L"HostOnly"},
        {L"generic", L"Generic"}, {L"natnetwork", L"NATNetwork"},
    };
    const auto type = types.find(lower(fromUtf8(adapter.network)));
    return type == types.end() ? L"NAT" : type->second;
}

/// Describes the systems of one appliance: names and files are free among all of them.
class Interpreter
{
public:
    Interpreter(const OvfDescriptor& descriptor, const ImportSurroundings& surroundings)
        : descriptor_(descriptor), surroundings_(surroundings)
    {}

    Interpretation run()
    {
        for (std::size_t i = 0; i < descriptor_.systems.size(); ++i) {
            entries_.clear();
            describe(descriptor_.systems[i]);
            result_.systems.push_back({i, std::move(entries_)});
        }
        return std::move(result_);
    }

private:
    void add(DescriptionType type, const std::wstring& reference, const std::wstring& original,
             const std::wstring& suggested, const std::wstring& extra = {})
    {
        entries_.push_back({type, reference, original, suggested, extra});
    }

    void addText(DescriptionType type, const std::string& text)
    {
        if (!text.empty())
            add(type, L"", fromUtf8(text), fromUtf8(text));
    }

    void warn(const std::wstring& text) { result_.warnings.push_back(text); }

    void describe(const OvfSystem& system)
    {
        const std::wstring osType = suggestedOsType(system);
        add(DescriptionType::OS, L"", std::to_wstring(system.cimOsType), osType);
        name_ = freeName(firstNonEmpty({fromUtf8(system.machineName), fromUtf8(system.id), osType}));
        add(DescriptionType::Name, L"", fromUtf8(system.id), name_);
        const std::filesystem::path settingsFile = surroundings_.settingsFile(name_);
        folder_ = settingsFile.parent_path();
        add(DescriptionType::PrimaryGroup, L"", L"/", L"/");
        add(DescriptionType::SettingsFile, L"", L"", settingsFile.wstring());
        add(DescriptionType::BaseFolder, L"", L"", surroundings_.baseFolder.wstring());
        addText(DescriptionType::Product, system.product);
        addText(DescriptionType::ProductUrl, system.productUrl);
        addText(DescriptionType::Vendor, system.vendor);
        addText(DescriptionType::VendorUrl, system.vendorUrl);
        addText(DescriptionType::Version, system.version);
        addText(DescriptionType::Description, system.description);
        addText(DescriptionType::License, system.license);
        addCpus(system);
        addMemory(system);
        if (system.soundCard)
            add(DescriptionType::SoundCard, L"", fromUtf8(system.soundCardType), L"");
        if (system.usbController)
            add(DescriptionType::USBController, L"", L"", L"");
        addAdapters(system);
        addControllers(system);
        for (const OvfDrive& drive : system.drives)
            addDrive(system, drive);
        for (const std::string& item : system.ignoredItems)
            warn(L"The hardware '" + fromUtf8(item) + L"' of '" + name_ + L"' is left out");
    }

    static std::wstring firstNonEmpty(const std::vector<std::wstring>& candidates)
    {
        for (const std::wstring& candidate : candidates) {
            if (!candidate.empty())
                return candidate;
        }
        return {};
    }

    std::wstring suggestedOsType(const OvfSystem& system) const
    {
        for (const std::string& type : {system.machineOsType, system.vboxOsType, osTypeOfCim(system.cimOsType)}) {
            std::wstring wide = fromUtf8(type);
            if (!wide.empty() && surroundings_.isOsTypeKnown(wide))
                return wide;
        }
        return L"Other";
    }

    std::wstring freeName(const std::wstring& wanted)
    {
        std::wstring name = wanted;
        for (unsigned number = 1; surroundings_.isNameTaken(name) || names_.contains(name); ++number)
            name = wanted + L"_" + std::to_wstring(number);
        names_.insert(name);
        return name;
    }

    void addCpus(const OvfSystem& system)
    {
        const std::uint32_t count =
            std::clamp(std::max(system.cpuCount, 1u), surroundings_.minCpuCount, surroundings_.maxCpuCount);
        if (system.cpuCount > surroundings_.maxCpuCount)
            warn(L"'" + name_ + L"' gets " + std::to_wstring(count) + L" CPUs instead of " +
                 std::to_wstring(system.cpuCount));
        add(DescriptionType::CPU, L"", std::to_wstring(system.cpuCount), std::to_wstring(count));
    }

    void addMemory(const OvfSystem& system)
    {
        const std::uint64_t wanted = system.memoryBytes / megabyte;
        const std::uint64_t memory = std::clamp(system.memoryBytes == 0 ? usualMemoryMegabytes : wanted,
                                                surroundings_.minMemoryMegabytes, surroundings_.maxMemoryMegabytes);
        if (memory != wanted)
            warn(L"'" + name_ + L"' gets " + std::to_wstring(memory) + L" MB of memory instead of " +
                 std::to_wstring(wanted));
        add(DescriptionType::Memory, L"", std::to_wstring(wanted), std::to_wstring(memory));
    }

    void addAdapters(const OvfSystem& system)
    {
        for (std::size_t slot = 0; slot < system.adapters.size(); ++slot) {
            const OvfAdapter& adapter = system.adapters[slot];
            if (slot >= surroundings_.maxNetworkAdapters) {
                warn(L"'" + name_ + L"' has more network adapters than a machine can have");
                break;
            }
            add(DescriptionType::NetworkAdapter, L"", fromUtf8(adapter.network), adapterType(adapter),
                L"slot=" + std::to_wstring(slot) + L";type=" + attachment(adapter));
        }
    }

    void addControllers(const OvfSystem& system)
    {
        controllerEntries_.clear();
        for (const OvfController& controller : system.controllers) {
            controllerEntries_[controller.instanceId] = {entries_.size(), &controller};
            add(entryType(controller.kind), fromUtf8(controller.instanceId), fromUtf8(controller.subType),
                controllerType(controller));
        }
    }

    std::wstring placeOf(const OvfDrive& drive) const
    {
        const auto found = controllerEntries_.find(drive.parentId);
        if (found == controllerEntries_.end())
            return {};
        const auto& [entry, controller] = found->second;
        const bool secondary = controller->kind == OvfControllerKind::Ide && controller->address == 1;
        const std::uint64_t channel = std::uint64_t(drive.addressOnParent) + (secondary ? 2 : 0);
        return L"controller=" + std::to_wstring(entry) + L";channel=" + std::to_wstring(channel);
    }

    void addDrive(const OvfSystem&, const OvfDrive& drive)
    {
        if (drive.kind == OvfDriveKind::HardDisk) {
            addDisk(drive);
            return;
        }
        if (!drive.fileId.empty())
            warn(L"The image in a removable drive of '" + name_ + L"' is left out");
        const bool floppy = drive.kind == OvfDriveKind::Floppy;
        add(floppy ? DescriptionType::Floppy : DescriptionType::CDROM, L"", L"", L"", placeOf(drive));
    }

    void addDisk(const OvfDrive& drive)
    {
        const OvfDisk* disk = descriptor_.findDisk(drive.diskId);
        const OvfFile* file = descriptor_.findFile(disk->fileRef);
        const std::string source = file ? file->href : disk->id + ".vmdk";
        std::filesystem::path name = safeFileName(source, L"disk.vmdk");
        name.replace_extension(L".vmdk");
        add(DescriptionType::HardDiskImage, fromUtf8(disk->id), file ? fromUtf8(file->href) : L"",
            freeTarget(name).wstring(), placeOf(drive));
    }

    std::filesystem::path freeTarget(const std::filesystem::path& name)
    {
        std::filesystem::path target = folder_ / name;
        for (unsigned number = 1; !targets_.insert(lower(target.wstring())).second; ++number)
            target = folder_ / (name.stem().wstring() + L"_" + std::to_wstring(number) + name.extension().wstring());
        return target;
    }

    const OvfDescriptor& descriptor_;
    const ImportSurroundings& surroundings_;
    Interpretation result_;
    std::set<std::wstring> names_;
    std::set<std::wstring> targets_;

    // Of the system at hand.
    std::vector<DescriptionEntry> entries_;
    std::wstring name_;
    std::filesystem::path folder_;
    std::map<std::string, std::pair<std::size_t, const OvfController*>> controllerEntries_;
};

} // namespace

std::optional<DrivePlace> parseDrivePlace(const std::wstring& extra)
{
    const std::wstring controllerKey = L"controller=";
    const std::wstring channelKey = L";channel=";
    const std::size_t middle = extra.find(channelKey);
    if (extra.rfind(controllerKey, 0) != 0 || middle == std::wstring::npos)
        return std::nullopt;
    const std::wstring controller = extra.substr(controllerKey.size(), middle - controllerKey.size());
    const std::wstring channel = extra.substr(middle + channelKey.size());
    const auto isNumber = [](const std::wstring& text) {
        return !text.empty() && text.size() <= 9 && text.find_first_not_of(L"0123456789") == std::wstring::npos;
    };
    if (!isNumber(controller) || !isNumber(channel))
        return std::nullopt;
    return DrivePlace{std::stoul(controller), static_cast<std::uint32_t>(std::stoul(channel))};
}

Interpretation interpret(const OvfDescriptor& descriptor, const ImportSurroundings& surroundings)
{
    return Interpreter(descriptor, surroundings).run();
}

} // namespace VBoxSim
