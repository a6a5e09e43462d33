#include "appliance/ovf.h"

#include <Poco/String.h>

#include <algorithm>
#include <array>
#include <limits>
#include <map>
#include <set>

#include "base/xml_tree.h"

namespace VBoxSim {

namespace {

constexpr char virtualBoxNamespace[] = "http://www.virtualbox.org/";

// CIM's resource types.
constexpr std::uint32_t typeCpu = 3;
constexpr std::uint32_t typeMemory = 4;
constexpr std::uint32_t typeIde = 5;
constexpr std::uint32_t typeScsi = 6;
constexpr std::uint32_t typeEthernet = 10;
constexpr std::uint32_t typeFloppyDrive = 14;
constexpr std::uint32_t typeCdDrive = 15;
constexpr std::uint32_t typeDvdDrive = 16;
constexpr std::uint32_t typeDisk = 17;
constexpr std::uint32_t typeOtherStorage = 20;
constexpr std::uint32_t typeUsb = 23;
constexpr std::uint32_t typeSound = 35;

StorageError bad(const std::string& what)
{
    return {Fault::BadDescriptor, L"The OVF descriptor is damaged: " + fromUtf8(what)};
}

StorageError unsupported(const std::string& what)
{
    return {Fault::Unsupported, L"The OVF descriptor has something unsupported: " + fromUtf8(what)};
}

std::optional<std::uint64_t> parseNumber(const std::string& text)
{
    constexpr std::size_t mostDigits = 18;
    if (text.empty() || text.size() > mostDigits || text.find_first_not_of("0123456789") != std::string::npos)
        return std::nullopt;
    return std::stoull(text);
}

std::uint64_t numberOf(const std::string& text, const char* what)
{
    const auto number = parseNumber(Poco::trim(text));
    if (!number)
        throw bad(std::string(what) + " is '" + text + "', no number");
    return *number;
}

std::uint32_t smallNumberOf(const std::string& text, const char* what)
{
    const std::uint64_t number = numberOf(text, what);
    if (number > std::numeric_limits<std::uint32_t>::max())
        throw bad(std::string(what) + " is too large");
    return static_cast<std::uint32_t>(number);
}

/// The number in a child element; `otherwise` when the element is missing or empty.
std::uint32_t childNumber(const XmlElement& element, const std::string& name, std::uint32_t otherwise)
{
    const std::string text = element.childText(name);
    return text.empty() ? otherwise : smallNumberOf(text, name.c_str());
}

std::uint64_t quantityInBytes(const std::string& quantity, const std::string& unit, const char* what)
{
    const auto bytes = scaledBytes(numberOf(quantity, what), unit);
    if (!bytes)
        throw bad(std::string(what) + " has the unit '" + unit + "' or is too large");
    return *bytes;
}

/// The id behind "ovf:/disk/" or "/disk/"; empty when the text is none of it.
std::string hostResource(const std::string& text, const std::string& kind)
{
    for (const char* scheme : {"ovf:/", "/"}) {
        const std::string start = scheme + kind + "/";
        if (text.rfind(start, 0) == 0)
            return text.substr(start.size());
    }
    return {};
}

class SystemParser
{
public:
    SystemParser(const OvfDescriptor& descriptor, const std::string& configuration)
        : descriptor_(descriptor), configuration_(configuration)
    {}

    OvfSystem parse(XmlElement& element)
    {
        system_.id = element.attribute("id");
        system_.name = element.childText("Name");
        for (const auto& child : element.children)
            readSection(*child);
        checkDrives();
        return std::move(system_);
    }

private:
    void readSection(XmlElement& section)
    {
        if (section.name == "ProductSection")
            readProduct(section);
        else if (section.name == "AnnotationSection")
            system_.description = section.childText("Annotation");
        else if (section.name == "EulaSection")
            system_.license = section.childText("License");
        else if (section.name == "OperatingSystemSection")
            readOperatingSystem(section);
        else if (section.name == "VirtualHardwareSection")
            readHardware(section);
        else if (section.name == "Machine" && section.uri.rfind(virtualBoxNamespace, 0) == 0)
            readMachine(section);
    }

    void readProduct(const XmlElement& section)
    {
        system_.product = section.childText("Product");
        system_.productUrl = section.childText("ProductUrl");
        system_.vendor = section.childText("Vendor");
        system_.vendorUrl = section.childText("VendorUrl");
        system_.version = section.childText("Version");
    }

    void readOperatingSystem(const XmlElement& section)
    {
        const std::string id = section.attribute("id");
        system_.cimOsType = id.empty() ? 0 : smallNumberOf(id, "the operating system");
        system_.vboxOsType = section.childText("OSType");
    }

    void readMachine(XmlElement& machine)
    {
        system_.machineName = machine.attribute("name");
        system_.machineOsType = machine.attribute("OSType");
        // The text for people that every OVF section starts with is not part of a settings file.
        std::erase_if(machine.children, [](const auto& child) { return child->name == "Info"; });
        system_.machineElement = toXml(machine, virtualBoxNamespace);
    }

    /// Items of other configurations, and those that only give the bounds of a quantity, do not count.
    bool counts(const XmlElement& item) const
    {
        if (item.name != "Item" && item.name != "StorageItem" && item.name != "EthernetPortItem")
            return false;
        const std::string configurations = " " + item.attribute("configuration") + " ";
        return item.attribute("bound").empty() &&
               (Poco::trim(configurations).empty() ||
                configurations.find(" " + configuration_ + " ") != std::string::npos);
    }

    void readHardware(const XmlElement& section)
    {
        if (hardwareSeen_)
            return; // the first one that is understood is the one to take
        hardwareSeen_ = true;
        for (const auto& item : section.children) {
            if (counts(*item))
                readItem(*item);
        }
    }

    void readItem(const XmlElement& item)
    {
        const std::uint32_t type = smallNumberOf(item.childText("ResourceType"), "a resource type");
        switch (type) {
        case typeCpu:
            addCpus(childNumber(item, "VirtualQuantity", 1));
            break;
        case typeMemory:
            addMemory(quantityInBytes(item.childText("VirtualQuantity"), item.childText("AllocationUnits"),
                                      "the memory size"));
            break;
        case typeIde:
        case typeScsi:
        case typeOtherStorage:
            readController(item, type);
            break;
        case typeEthernet:
            system_.adapters.push_back({item.childText("ResourceSubType"), item.childText("Connection")});
            break;
        case typeFloppyDrive:
            readDrive(item, OvfDriveKind::Floppy);
            break;
        case typeCdDrive:
        case typeDvdDrive:
            readDrive(item, OvfDriveKind::Dvd);
            break;
        case typeDisk:
            readDrive(item, OvfDriveKind::HardDisk);
            break;
        case typeUsb:
            system_.usbController = true;
            break;
        case typeSound:
            system_.soundCard = true;
            system_.soundCardType = item.childText("ResourceSubType");
            break;
        default:
            system_.ignoredItems.push_back(item.childText("ElementName"));
        }
    }

    void addCpus(std::uint32_t count)
    {
        if (count > std::numeric_limits<std::uint32_t>::max() - system_.cpuCount)
            throw bad("there are too many CPUs");
        system_.cpuCount += count;
    }

    void addMemory(std::uint64_t bytes)
    {
        if (bytes > std::numeric_limits<std::uint64_t>::max() - system_.memoryBytes)
            throw bad("there is too much memory");
        system_.memoryBytes += bytes;
    }

    static std::string instanceOf(const XmlElement& item)
    {
        const std::string id = item.childText("InstanceID");
        return id.empty() ? item.childText("InstanceId") : id;
    }

    static OvfControllerKind kindOf(std::uint32_t type, const std::string& subType)
    {
        static const std::map<std::string, OvfControllerKind> kinds = {
            {"ahci", OvfControllerKind::Sata},
            {"vmware.sata.ahci", OvfControllerKind::Sata},
            {"lsilogic", OvfControllerKind::Scsi},
            {"buslogic", OvfControllerKind::Scsi},
            {"lsilogicsas", OvfControllerKind::Sas},
            {"virtualscsi", OvfControllerKind::Scsi},
            {"nvme", OvfControllerKind::Nvme},
            {"vmware.nvme.controller", OvfControllerKind::Nvme},
            {"virtioscsi", OvfControllerKind::VirtioScsi},
        };
        if (type == typeIde)
            return OvfControllerKind::Ide;
        const auto kind = kinds.find(Poco::toLower(subType));
        if (kind != kinds.end())
            return kind->second;
        if (type == typeScsi)
            return OvfControllerKind::Scsi;
        throw unsupported("a storage controller of type '" + subType + "'");
    }

    void readController(const XmlElement& item, std::uint32_t type)
    {
        OvfController controller;
        controller.instanceId = instanceOf(item);
        controller.subType = item.childText("ResourceSubType");
        controller.kind = kindOf(type, controller.subType);
        controller.address = childNumber(item, "Address", 0);
        if (controller.instanceId.empty() || findController(controller.instanceId))
            throw bad("a controller has no instance id, or one that another has");
        system_.controllers.push_back(controller);
    }

    const OvfController* findController(const std::string& id) const
    {
        const auto found = std::find_if(system_.controllers.begin(), system_.controllers.end(),
                                        [&](const OvfController& controller) { return controller.instanceId == id; });
        return found == system_.controllers.end() ? nullptr : &*found;
    }

    void readDrive(const XmlElement& item, OvfDriveKind kind)
    {
        OvfDrive drive;
        drive.kind = kind;
        drive.parentId = item.childText("Parent");
        hasAddress_.push_back(!item.childText("AddressOnParent").empty());
        drive.addressOnParent = childNumber(item, "AddressOnParent", 0);
        const std::string resource = item.childText("HostResource");
        drive.diskId = hostResource(resource, "disk");
        drive.fileId = hostResource(resource, "file");
        if (kind == OvfDriveKind::HardDisk && !descriptor_.findDisk(drive.diskId))
            throw bad("a drive refers to the unknown disk '" + resource + "'");
        if (!drive.fileId.empty() && !descriptor_.findFile(drive.fileId))
            throw bad("a drive refers to the unknown file '" + resource + "'");
        system_.drives.push_back(drive);
    }

    /// Every drive has a controller and a place of its own there. Drives without a place take the free ones.
    void checkDrives()
    {
        std::set<std::pair<std::string, std::uint32_t>> taken;
        for (std::size_t i = 0; i < system_.drives.size(); ++i) {
            const OvfDrive& drive = system_.drives[i];
            const bool needsController = drive.kind == OvfDriveKind::HardDisk;
            if (drive.parentId.empty() ? needsController
                                       : drive.kind != OvfDriveKind::Floppy && !findController(drive.parentId))
                throw bad("a drive refers to the unknown controller '" + drive.parentId + "'");
            if (!drive.parentId.empty() && hasAddress_[i] &&
                !taken.emplace(drive.parentId, drive.addressOnParent).second)
                throw bad("two drives have the same place");
        }
        for (std::size_t i = 0; i < system_.drives.size(); ++i) {
            OvfDrive& drive = system_.drives[i];
            if (drive.parentId.empty() || hasAddress_[i])
                continue;
            while (!taken.emplace(drive.parentId, drive.addressOnParent).second)
                ++drive.addressOnParent;
        }
    }

    const OvfDescriptor& descriptor_;
    const std::string& configuration_;
    OvfSystem system_;
    std::vector<bool> hasAddress_; ///< of each drive
    bool hardwareSeen_ = false;
};

void readReferences(const XmlElement& section, OvfDescriptor& descriptor)
{
    for (const auto& element : section.children) {
        if (element->name != "File")
            continue;
        OvfFile file;
        file.id = element->attribute("id");
        file.href = element->attribute("href");
        const std::string size = element->attribute("size");
        file.size = size.empty() ? 0 : numberOf(size, "the size of a file");
        const std::string compression = element->attribute("compression");
        if (file.id.empty() || file.href.empty() || descriptor.findFile(file.id))
            throw bad("a file has no name, or an id that another has");
        if (!compression.empty() && compression != "identity")
            throw unsupported("the compression '" + compression + "' of a file");
        if (!element->attribute("chunkSize").empty())
            throw unsupported("a file in several pieces");
        if (file.href.find("://") != std::string::npos)
            throw unsupported("the file '" + file.href + "' elsewhere");
        descriptor.files.push_back(file);
    }
}

void readDisks(const XmlElement& section, OvfDescriptor& descriptor)
{
    for (const auto& element : section.children) {
        if (element->name != "Disk")
            continue;
        OvfDisk disk;
        disk.id = element->attribute("diskId");
        disk.fileRef = element->attribute("fileRef");
        disk.format = element->attribute("format");
        disk.uuid = element->attribute("uuid");
        const std::string capacity = element->attribute("capacity");
        if (capacity.rfind("${", 0) == 0)
            throw unsupported("a disk whose capacity is to be asked for");
        if (!capacity.empty())
            disk.capacity =
                quantityInBytes(capacity, element->attribute("capacityAllocationUnits"), "the capacity of a disk");
        if (disk.id.empty() || descriptor.findDisk(disk.id))
            throw bad("a disk has no id, or one that another has");
        if (!disk.fileRef.empty() && !descriptor.findFile(disk.fileRef))
            throw bad("a disk refers to the unknown file '" + disk.fileRef + "'");
        if (disk.fileRef.empty() && disk.capacity == 0)
            throw bad("a blank disk has no capacity");
        if (!element->attribute("parentRef").empty())
            throw unsupported("a differencing disk");
        descriptor.disks.push_back(disk);
    }
}

std::string defaultConfiguration(const XmlElement& envelope)
{
    const XmlElement* section = envelope.child("DeploymentOptionSection");
    if (!section)
        return {};
    std::string first;
    for (const auto& element : section->children) {
        if (element->name != "Configuration")
            continue;
        const std::string isDefault = element->attribute("default");
        if (isDefault == "true" || isDefault == "1")
            return element->attribute("id");
        if (first.empty())
            first = element->attribute("id");
    }
    return first;
}

void readSystems(XmlElement& parent, const std::string& configuration, OvfDescriptor& descriptor)
{
    for (const auto& element : parent.children) {
        if (element->name == "VirtualSystem")
            descriptor.systems.push_back(SystemParser(descriptor, configuration).parse(*element));
        else if (element->name == "VirtualSystemCollection")
            readSystems(*element, configuration, descriptor);
    }
}

template <typename Items>
auto findById(const Items& items, const std::string& id)
{
    const auto found = std::find_if(items.begin(), items.end(), [&](const auto& item) { return item.id == id; });
    return found == items.end() ? nullptr : &*found;
}

} // namespace

const OvfFile* OvfDescriptor::findFile(const std::string& id) const
{
    return findById(files, id);
}

const OvfDisk* OvfDescriptor::findDisk(const std::string& id) const
{
    return findById(disks, id);
}

OvfDescriptor parseOvf(const std::string& document)
{
    const std::unique_ptr<XmlElement> envelope = parseXml(document);
    const std::string ovfNamespace = "http://schemas.dmtf.org/ovf/envelope/";
    if (!envelope || envelope->name != "Envelope" || envelope->uri.rfind(ovfNamespace, 0) != 0)
        throw bad("it has no envelope of OVF 1 or 2");
    const std::string version = envelope->uri.substr(ovfNamespace.size());
    if (version != "1" && version != "2")
        throw unsupported("version " + version);

    OvfDescriptor descriptor;
    descriptor.majorVersion = version == "2" ? 2 : 1;
    if (const XmlElement* references = envelope->child("References"))
        readReferences(*references, descriptor);
    if (const XmlElement* disks = envelope->child("DiskSection"))
        readDisks(*disks, descriptor);
    readSystems(*envelope, defaultConfiguration(*envelope), descriptor);
    if (descriptor.systems.empty())
        throw bad("it has no virtual system");
    return descriptor;
}

std::optional<std::uint64_t> scaledBytes(std::uint64_t quantity, const std::string& unit)
{
    static const std::map<std::string, std::uint64_t> names = {
        {"", 1},
        {"byte", 1},
        {"bytes", 1},
        {"kb", 1ull << 10},
        {"kilobytes", 1ull << 10},
        {"mb", 1ull << 20},
        {"megabytes", 1ull << 20},
        {"gb", 1ull << 30},
        {"gigabytes", 1ull << 30},
        {"tb", 1ull << 40},
        {"terabytes", 1ull << 40},
    };
    std::string compact = Poco::toLower(unit);
    std::erase_if(compact, [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; });

    std::uint64_t factor = 1;
    const std::size_t star = compact.find('*');
    const std::size_t power = compact.find('^');
    if (star != std::string::npos) {
        if ((compact.substr(0, star) != "byte" && compact.substr(0, star) != "bytes") || power == std::string::npos ||
            power < star)
            return std::nullopt;
        const auto base = parseNumber(compact.substr(star + 1, power - star - 1));
        const auto exponent = parseNumber(compact.substr(power + 1));
        if (!base || !exponent || (*base != 2 && *base != 10) || *exponent > (*base == 2 ? 60 : 18))
            return std::nullopt;
        for (std::uint64_t i = 0; i < *exponent; ++i)
            factor *= *base;
    } else if (const auto name = names.find(compact); name != names.end()) {
        factor = name->second;
    } else {
        return std::nullopt;
    }
    if (quantity > std::numeric_limits<std::uint64_t>::max() / factor)
        return std::nullopt;
    return quantity * factor;
}

} // namespace VBoxSim
