#include "appliance/interpretation.h"

#include <Poco/String.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <set>

#include "appliance/cim_os_types.h"
#include "base/failure.h"
#include "base/files.h"
#include "base/safe_name.h"
#include "base/text.h"

namespace VBoxSim {

namespace {

constexpr std::uint64_t bytesPerMegabyte = std::uint64_t(1) << 20;
constexpr std::uint32_t memoryOfUnknownTypes = 1024;

constexpr std::uint32_t am79c970a = Travik::NetworkAdapterType::Am79C970A;
constexpr std::uint32_t am79c973 = Travik::NetworkAdapterType::Am79C973;
constexpr std::uint32_t i82540em = Travik::NetworkAdapterType::I82540EM;
constexpr std::uint32_t i82545em = Travik::NetworkAdapterType::I82545EM;

bool isPcNet(std::uint32_t adapterType)
{
    return adapterType == am79c970a || adapterType == am79c973;
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
        break;
    }
    return DescriptionType::HardDiskControllerVirtioSCSI;
}

/// How many controllers of a kind a machine gets; SCSI and SAS share one.
std::size_t mostControllers(OvfControllerKind kind)
{
    return kind == OvfControllerKind::Ide ? 4 : 1;
}

OvfControllerKind sharedKind(OvfControllerKind kind)
{
    return kind == OvfControllerKind::Sas ? OvfControllerKind::Scsi : kind;
}

/// VirtualBox's type of a controller.
std::wstring controllerType(const OvfController& controller)
{
    const std::string subType = Poco::toLower(controller.subType);
    switch (controller.kind) {
    case OvfControllerKind::Ide:
        return subType == "piix3" ? L"PIIX3" : subType == "ich6" ? L"ICH6" : L"PIIX4";
    case OvfControllerKind::Sata:
        return L"AHCI";
    case OvfControllerKind::Scsi:
        return subType == "buslogic" ? L"BusLogic" : L"LsiLogic";
    case OvfControllerKind::Sas:
        return L"LsiLogicSas";
    case OvfControllerKind::VirtioScsi:
        break;
    }
    return L"VirtioSCSI";
}

/// How an adapter is attached: what VirtualBox does not know is bridged.
std::wstring attachment(const std::string& network)
{
    for (const wchar_t* known : {L"Null", L"NAT", L"Bridged", L"Internal", L"HostOnly", L"Generic"})
        if (equalIgnoringCase(fromUtf8(network), known))
            return known;
    return L"Bridged";
}

/// The href without the suffix that only says how the file is packed.
std::string unpackedName(const OvfDisk& disk)
{
    return disk.href.substr(0, disk.href.rfind('.'));
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
        machine_ = system.machine ? std::optional(surroundings_.readMachine(*system.machine)) : std::nullopt;
        addIdentity(system);
        addText(DescriptionType::Product, system.product);
        addText(DescriptionType::Vendor, system.vendor);
        addText(DescriptionType::Version, system.version);
        addText(DescriptionType::ProductUrl, system.productUrl);
        addText(DescriptionType::VendorUrl, system.vendorUrl);
        addText(DescriptionType::Description, system.description);
        addText(DescriptionType::License, system.license);
        addCpus(system);
        addMemory(system);
        const std::optional<std::uint32_t> ac97(0);
        if (const auto soundCard = machine_ ? machine_->soundCard : system.soundCard ? ac97 : std::nullopt)
            add(DescriptionType::SoundCard, L"", fromUtf8(system.soundCardType), std::to_wstring(*soundCard));
        if (system.usbController)
            add(DescriptionType::USBController, L"", L"", L"");
        addAdapters(system);
        if (system.floppyDrive)
            add(DescriptionType::Floppy, L"", L"", L"");
        if (system.emptyCdDrive)
            add(DescriptionType::CDROM, L"", L"", L"");
        addControllers(system);
        for (const auto& drive : system.drives)
            addDisk(drive.second);
    }

    void addIdentity(const OvfSystem& system)
    {
        std::wstring osType = machine_ ? machine_->osType : fromUtf8(system.vboxOsType);
        if (osType.empty())
            osType = osTypeOfCim(system.cimOsType, fromUtf8(system.osDescription));
        osType_ = surroundings_.findOsType(osType);
        add(DescriptionType::OS, L"", std::to_wstring(system.cimOsType), osType);

        std::wstring wanted = machine_ ? machine_->name : fromUtf8(system.id);
        if (wanted.empty())
            wanted = system.id.empty() ? osType : fromUtf8(system.id);
        name_ = freeName(wanted);
        add(DescriptionType::Name, L"", fromUtf8(system.id), name_);

        const std::filesystem::path settingsFile = surroundings_.settingsFile(name_);
        folder_ = settingsFile.parent_path();
        add(DescriptionType::PrimaryGroup, L"", L"/", L"/");
        add(DescriptionType::SettingsFile, L"", L"", settingsFile.wstring());
        add(DescriptionType::BaseFolder, L"", L"", surroundings_.baseFolder.wstring());
    }

    /// The first free one of a name, "name 1", "name 2"... What was given out before is not tried again.
    std::wstring freeName(const std::wstring& wanted)
    {
        std::wstring name = wanted;
        for (unsigned& number = lastNumbers_[wanted]; surroundings_.isNameTaken(name) || names_.contains(name);)
            name = wanted + L" " + std::to_wstring(++number);
        names_.insert(name);
        return name;
    }

    void addCpus(const OvfSystem& system)
    {
        const std::uint32_t wanted = machine_ ? machine_->cpuCount : system.cpuCount;
        const std::uint32_t count = std::clamp(wanted, 1u, surroundings_.maxCpuCount);
        if (wanted > surroundings_.maxCpuCount)
            warn(L"'" + name_ + L"' gets " + std::to_wstring(count) + L" CPUs instead of " + std::to_wstring(wanted));
        add(DescriptionType::CPU, L"", std::to_wstring(wanted), std::to_wstring(count));
    }

    void addMemory(const OvfSystem& system)
    {
        const std::uint64_t described = machine_ ? machine_->memoryMegabytes : system.memoryBytes / bytesPerMegabyte;
        const std::uint64_t wanted = described != 0 ? described
                                     : osType_      ? osType_->recommendedMegabytes
                                                    : memoryOfUnknownTypes;
        const std::uint64_t memory =
            std::clamp(wanted, surroundings_.minMemoryMegabytes, surroundings_.maxMemoryMegabytes);
        if (memory != wanted)
            warn(L"'" + name_ + L"' gets " + std::to_wstring(memory) + L" MB of memory instead of " +
                 std::to_wstring(wanted));
        const std::uint64_t bytes = std::min(described, UINT64_MAX / bytesPerMegabyte) * bytesPerMegabyte;
        add(DescriptionType::Memory, L"", std::to_wstring(bytes), std::to_wstring(memory));
    }

    void addAdapters(const OvfSystem& system)
    {
        if (machine_) {
            for (const ImportMachine::Adapter& adapter : machine_->adapters)
                addAdapter(adapter.mode, adapter.type,
                           L"slot=" + std::to_wstring(adapter.slot) + L";type=" + adapter.mode);
            return;
        }
        const std::size_t count = std::min<std::size_t>(system.adapters.size(), surroundings_.maxNetworkAdapters);
        if (count < system.adapters.size())
            warn(L"'" + name_ + L"' has more network adapters than a machine can have");
        for (std::size_t i = 0; i < count; ++i) {
            const OvfAdapter& adapter = system.adapters[i];
            addAdapter(fromUtf8(adapter.network), adapterType(system, adapter), L"type=" + attachment(adapter.network));
        }
    }

    void addAdapter(const std::wstring& network, std::uint32_t type, const std::wstring& extra)
    {
        add(DescriptionType::NetworkAdapter, L"", network, std::to_wstring(type), extra);
    }

    std::uint32_t adapterType(const OvfSystem& system, const OvfAdapter& adapter) const
    {
        const std::string type = Poco::toLower(adapter.type);
        const std::uint32_t usual = osType_ ? osType_->adapterType : i82540em;
        if (type == "pcnet32")
            return isPcNet(usual) ? usual : am79c970a;
        if (type == "e10000")
            return i82545em;
        if (type != "e1000")
            return usual;
        if (Poco::toLower(system.systemType).find("virtualbox") == std::string::npos)
            return i82545em;
        return usual >= i82540em && usual <= i82545em ? usual : i82540em;
    }

    void addControllers(const OvfSystem& system)
    {
        controllerEntries_.clear();
        std::map<OvfControllerKind, std::size_t> counts;
        for (const auto& [id, controller] : system.controllers) {
            if (++counts[sharedKind(controller.kind)] > mostControllers(controller.kind)) {
                warn(L"The storage controller " + std::to_wstring(id) + L" of '" + name_ + L"' is left out");
                continue;
            }
            controllerEntries_[id] = entries_.size();
            add(entryType(controller.kind), std::to_wstring(id), fromUtf8(controller.subType),
                controllerType(controller));
        }
    }

    void addDisk(const OvfDrive& drive)
    {
        const OvfDisk* disk = descriptor_.findDisk(drive.diskId);
        const auto controller = controllerEntries_.find(drive.controller);
        if (controller == controllerEntries_.end())
            throw Failure(Result::fail, L"The controller of the disk '" + fromUtf8(disk->id) +
                                            L"' is not among those of the machine");
        if (!disk->href.empty())
            importFormat(*disk); // what is no such format is refused now
        const std::string source = disk->href.empty() ? disk->id + (drive.optical ? ".iso" : ".vmdk")
                                   : isGzipped(*disk) ? unpackedName(*disk)
                                                      : disk->href;
        add(DescriptionType::HardDiskImage, fromUtf8(disk->id), fromUtf8(disk->href),
            freeTarget(safeFileName(source, L"disk.vmdk")),
            L"controller=" + std::to_wstring(controller->second) + L";channel=" + std::to_wstring(drive.address));
    }

    std::wstring freeTarget(const std::wstring& name)
    {
        const std::wstring stem = Files::stemOf(name);
        const std::wstring suffix = name.substr(stem.size());
        std::wstring free = name;
        unsigned& number = lastTargets_[toLower((folder_ / name).wstring())];
        while (!targets_.insert(toLower((folder_ / free).wstring())).second ||
               surroundings_.isFileTaken(folder_ / free))
            free = stem + L"_" + std::to_wstring(++number) + suffix;
        return free;
    }

    const OvfDescriptor& descriptor_;
    const ImportSurroundings& surroundings_;
    Interpretation result_;
    std::set<std::wstring> names_;
    std::map<std::wstring, unsigned> lastNumbers_;
    std::set<std::wstring> targets_;
    std::map<std::wstring, unsigned> lastTargets_;

    // Of the system at hand.
    std::optional<ImportMachine> machine_;
    std::vector<DescriptionEntry> entries_;
    std::wstring name_;
    std::filesystem::path folder_;
    std::optional<ImportOsType> osType_;
    std::map<std::uint32_t, std::size_t> controllerEntries_;
};

/// Suffixes of formats that VirtualBox knows and does not import.
bool isForeignSuffix(const std::wstring& suffix)
{
    constexpr const wchar_t* suffixes[] = {L".hdd", L".qed", L".qcow", L".qcow2", L".vhdx", L".dmg", L".cue", L".viso"};
    return std::find(std::begin(suffixes), std::end(suffixes), suffix) != std::end(suffixes);
}

/// What the format's URI says; nothing for one that is not known.
std::optional<ImageFormat> formatOfUri(const std::string& uri)
{
    constexpr std::pair<const char*, ImageFormat> uris[] = {
        {"http://www.vmware.com/interfaces/specifications/vmdk.html#streamOptimized", ImageFormat::Vmdk},
        {"http://www.vmware.com/interfaces/specifications/vmdk.html#compressed", ImageFormat::Vmdk},
        {"http://www.vmware.com/specifications/vmdk.html#compressed", ImageFormat::Vmdk},
        {"http://www.vmware.com/specifications/vmdk.html#sparse", ImageFormat::Vmdk},
        {"http://www.ecma-international.org/publications/standards/Ecma-119.htm", ImageFormat::Raw},
        {"http://go.microsoft.com/fwlink/?LinkId=137171", ImageFormat::Vhd}};
    for (const auto& [known, format] : uris)
        if (Poco::icompare(uri, known) == 0)
            return format;
    return std::nullopt;
}

} // namespace

bool isGzipped(const OvfDisk& disk)
{
    return Poco::icompare(disk.compression, "gzip") == 0;
}

ImageFormat importFormat(const OvfDisk& disk)
{
    // Here, and only here, VirtualBox minds the case of the word.
    const std::string name = disk.compression == "gzip" ? unpackedName(disk) : disk.href;
    const std::wstring suffix = Files::suffixOf(fromUtf8(name));
    std::optional<ImageFormat> format = formatOfUri(disk.format);
    if (!format)
        format = formatOfSuffix(suffix);
    if (!format && !isForeignSuffix(suffix))
        throw Failure(Result::fail, L"The format of the disk '" + fromUtf8(disk.href) + L"' is not known");
    if (format != ImageFormat::Vmdk && format != ImageFormat::Raw)
        throw Failure(Result::fileError, L"Disks of the format of '" + fromUtf8(disk.href) + L"' cannot be imported");
    return *format;
}

ImageFormat targetFormat(const std::wstring& name)
{
    const std::wstring suffix = Files::suffixOf(name);
    const std::optional<ImageFormat> format = formatOfSuffix(suffix);
    if (suffix.empty())
        throw Failure(Result::fileError, L"The suffix of '" + name + L"' tells no format");
    if (!format && !isForeignSuffix(suffix))
        throw Failure(Result::fail, L"The format of '" + name + L"' is not known");
    if (!format || format == ImageFormat::Vhd)
        throw Failure(Result::notSupported, L"No disk is made in the format of '" + name + L"'");
    return *format;
}

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
