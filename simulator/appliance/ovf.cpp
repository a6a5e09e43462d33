#include "appliance/ovf.h"

#include <Poco/String.h>

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "base/failure.h"
#include "base/xml.h"

namespace VBoxSim {

namespace {

using Xml::Element;

enum ResourceType : std::uint32_t
{
    Processor = 3,
    Memory = 4,
    IdeController = 5,
    ScsiController = 6,
    IscsiAdapter = 8,
    InfiniBandAdapter = 9,
    EthernetAdapter = 10,
    FloppyDrive = 14,
    CdDrive = 15,
    HardDisk = 17,
    OtherStorage = 20,
    UsbController = 23,
    SoundCard = 35
};

constexpr std::uint64_t megabyte = std::uint64_t(1) << 20;

Failure bad(const std::string& what)
{
    return Failure(Result::fileError, L"The OVF descriptor cannot be used: " + fromUtf8(what));
}

std::string attribute(const Element* element, std::string_view name)
{
    const std::string* text = Xml::findAny(element, name);
    return text ? *text : std::string();
}

std::string childText(const Element& element, std::string_view name)
{
    return Poco::trim(Xml::textOf(Xml::child(&element, name)));
}

/// A number that is not negative.
std::optional<std::uint64_t> unsignedNumber(const std::string& text)
{
    const auto number = Xml::parseNumber(text);
    return number && *number >= 0 ? std::optional<std::uint64_t>(*number) : std::nullopt;
}

std::optional<std::uint32_t> smallNumber(const std::string& text)
{
    const auto number = unsignedNumber(text);
    return number && *number <= UINT32_MAX ? std::optional<std::uint32_t>(*number) : std::nullopt;
}

/// The name of a section: its element's, or in drafts of the standard the type of a general `Section` or `Content`.
std::string sectionName(const Element& element)
{
    constexpr std::string_view prefix = "ovf:";
    constexpr std::string_view ending = "_Type";
    const std::string_view name = element.localName();
    if (name != "Section" && name != "Content")
        return std::string(name);
    const std::string type = attribute(&element, "type");
    if (!type.starts_with(prefix) || !type.ends_with(ending))
        return std::string(name);
    return type.substr(prefix.size(), type.size() - prefix.size() - ending.size());
}

/// The id behind "ovf://disk/", "ovf:/disk/" or "/disk/"; empty when the text is none of it.
std::string diskOf(const std::string& hostResource)
{
    for (const std::string_view start : {"ovf://disk/", "ovf:/disk/", "/disk/"})
        if (hostResource.starts_with(start))
            return hostResource.substr(start.size());
    return {};
}

/// VirtualBox's own settings element as a file of its own.
std::string asSettings(const Element& machine)
{
    Element file;
    file.kind = Xml::Kind::Document;
    Element* root = Xml::append(&file, "VirtualBox");
    Xml::set(root, "xmlns", L"http://www.virtualbox.org/");
    // An element without a version comes from the time of this one.
    Xml::set(root, "version", Xml::get(&machine, "version", L"1.15-windows"));
    root->children.push_back(Xml::withoutPrefixes(machine));
    Element* copy = root->children.back().get();
    copy->parent = root;
    Xml::removeAttribute(copy, "version");
    Xml::drop(copy, "Info"); // the text for people that every section starts with
    return Xml::write(file);
}

class SystemReader
{
public:
    explicit SystemReader(const OvfDescriptor& descriptor) : descriptor_(descriptor) {}

    OvfSystem read(const Element& element)
    {
        system_.id = attribute(&element, "id");
        for (const Element* section : Xml::elements(&element))
            readSection(*section);
        return std::move(system_);
    }

private:
    void readSection(const Element& section)
    {
        const std::string name = sectionName(section);
        if (name == "Section" && attribute(&section, "type").empty())
            throw bad("a section of '" + system_.id + "' has no type");
        if (name == "ProductSection")
            readProduct(section);
        else if (name == "AnnotationSection")
            system_.description = childText(section, "Annotation");
        else if (name == "EulaSection")
            system_.license = childText(section, "License");
        else if (name == "OperatingSystemSection")
            readOperatingSystem(section);
        else if (name == "VirtualHardwareSection")
            readHardware(section);
        else if (section.name == "vbox:Machine")
            system_.machine = asSettings(section);
    }

    void readProduct(const Element& section)
    {
        system_.product = childText(section, "Product");
        system_.productUrl = childText(section, "ProductUrl");
        system_.vendor = childText(section, "Vendor");
        system_.vendorUrl = childText(section, "VendorUrl");
        system_.version = childText(section, "Version");
    }

    void readOperatingSystem(const Element& section)
    {
        const auto number = smallNumber(attribute(&section, "id"));
        if (!number)
            throw bad("the operating system of '" + system_.id + "' has no number");
        system_.cimOsType = *number;
        system_.osDescription = childText(section, "Description");
        for (const Element* child : Xml::elements(&section))
            if (child->name == "vbox:OSType")
                system_.vboxOsType = Poco::trim(Xml::textOf(child));
    }

    void readHardware(const Element& section)
    {
        system_.systemType = childText(*sectionOr(section, "System"), "VirtualSystemType");
        // Configurations and bounds are not looked at: every item counts. Controllers first, as drives need them.
        for (const Element* item : Xml::elements(&section))
            if (isItem(*item) && isController(typeOf(*item)))
                readController(*item);
        for (const Element* item : Xml::elements(&section))
            if (isItem(*item))
                readItem(*item);
    }

    /// The child, or the element itself when it has none of that name.
    static const Element* sectionOr(const Element& section, std::string_view name)
    {
        const Element* found = Xml::child(&section, name);
        return found ? found : &section;
    }

    static bool isItem(const Element& element)
    {
        const std::string_view name = element.localName();
        return name == "Item" || name == "StorageItem" || name == "EthernetPortItem";
    }

    static bool isController(std::uint32_t type)
    {
        return type == IdeController || type == ScsiController || type == OtherStorage;
    }

    static std::uint32_t typeOf(const Element& item)
    {
        const auto type = smallNumber(childText(item, "ResourceType"));
        if (!type || *type == 0)
            throw bad("an item has no resource type");
        return *type;
    }

    void readItem(const Element& item)
    {
        if (item.localName() == "StorageItem")
            checkStorageItem(item);
        switch (typeOf(item)) {
        case Processor:
            readProcessor(item);
            break;
        case Memory:
            readMemory(item);
            break;
        case IdeController:
        case ScsiController:
        case OtherStorage:
            break; // read already
        case EthernetAdapter:
            system_.adapters.push_back({childText(item, "ResourceSubType"), childText(item, "Connection")});
            break;
        case FloppyDrive:
            system_.floppyDrive = true;
            break;
        case CdDrive:
        case HardDisk:
            readDrive(item);
            break;
        case UsbController:
            system_.usbController = true;
            break;
        case SoundCard:
            system_.soundCard = true;
            system_.soundCardType = childText(item, "ResourceSubType");
            break;
        default:
            readUnknown(item);
        }
    }

    void readUnknown(const Element& item) const
    {
        const std::uint32_t type = typeOf(item);
        if (attribute(&item, "required") != "false")
            throw bad("'" + system_.id + "' needs hardware of the unknown type " + std::to_string(type));
        if ((type == IscsiAdapter || type == InfiniBandAdapter) && instanceOf(item) == 0)
            throw bad("a controller of '" + system_.id + "' has no instance id");
    }

    static void checkStorageItem(const Element& item)
    {
        const bool hasQuantity = !childText(item, "VirtualQuantity").empty();
        const std::string blockSize = childText(item, "VirtualResourceBlockSize");
        const std::string units = childText(item, "VirtualQuantityUnits");
        if (!childText(item, "Reservation").empty() && childText(item, "HostResourceBlockSize").empty())
            throw bad("a storage item has a reservation without a block size");
        if (hasQuantity && (blockSize.empty() || units.empty()))
            throw bad("a storage item has a quantity without a block size or a unit");
        if (hasQuantity && units == "count" && unsignedNumber(blockSize).value_or(0) <= 1)
            throw bad("a storage item counts blocks that have no size");
    }

    void readProcessor(const Element& item)
    {
        const std::uint64_t count = unsignedNumber(childText(item, "VirtualQuantity")).value_or(0);
        if (count >= UINT16_MAX)
            throw bad("'" + system_.id + "' has too many CPUs");
        system_.cpuCount = static_cast<std::uint32_t>(count);
    }

    void readMemory(const Element& item)
    {
        const std::string unit = childText(item, "AllocationUnits");
        if (unit != "MegaBytes" && unit != "MB" && unit != "byte * 2^20")
            throw bad("the memory of '" + system_.id + "' is counted in '" + unit + "'");
        const std::uint64_t megabytes = unsignedNumber(childText(item, "VirtualQuantity")).value_or(0);
        system_.memoryBytes = std::min(megabytes, UINT64_MAX / megabyte) * megabyte;
    }

    static std::uint32_t instanceOf(const Element& item)
    {
        const std::string id = childText(item, "InstanceID");
        return smallNumber(id.empty() ? childText(item, "InstanceId") : id).value_or(0);
    }

    static OvfControllerKind kindOf(std::uint32_t type, const std::string& subType)
    {
        const std::string name = Poco::toLower(subType);
        if (type == IdeController)
            return OvfControllerKind::Ide;
        if (type == ScsiController)
            return name == "lsilogicsas" ? OvfControllerKind::Sas : OvfControllerKind::Scsi;
        if (name == "ahci" || name == "vmware.sata.ahci")
            return OvfControllerKind::Sata;
        if (name == "virtioscsi")
            return OvfControllerKind::VirtioScsi;
        throw bad("there is no storage controller of type '" + subType + "'");
    }

    void readController(const Element& item)
    {
        OvfController controller;
        controller.instanceId = instanceOf(item);
        if (controller.instanceId == 0)
            throw bad("a controller of '" + system_.id + "' has no instance id");
        controller.subType = childText(item, "ResourceSubType");
        controller.kind = kindOf(typeOf(item), controller.subType);
        controller.secondaryChannel =
            controller.kind == OvfControllerKind::Ide && std::exchange(primaryChannelSeen_, true);
        system_.controllers[controller.instanceId] = controller;
    }

    void readDrive(const Element& item)
    {
        OvfDrive drive;
        drive.optical = typeOf(item) == CdDrive;
        drive.controller = smallNumber(childText(item, "Parent")).value_or(0);
        drive.address = smallNumber(childText(item, "AddressOnParent")).value_or(0);
        const std::string resource = childText(item, "HostResource");
        drive.diskId = diskOf(resource);
        if (!system_.controllers.contains(drive.controller))
            throw bad("a drive of '" + system_.id + "' has no controller");
        if (descriptor_.findDisk(drive.diskId))
            system_.drives[drive.diskId] = drive;
        else if (drive.optical)
            system_.emptyCdDrive = true;
        else
            throw bad("a drive of '" + system_.id + "' refers to the unknown disk '" + resource + "'");
    }

    const OvfDescriptor& descriptor_;
    OvfSystem system_;
    bool primaryChannelSeen_ = false;
};

class EnvelopeReader
{
public:
    OvfDescriptor read(const Element& envelope)
    {
        for (const Element* file : Xml::children(Xml::child(&envelope, "References"), "File"))
            files_.try_emplace(attribute(file, "id"), file);
        for (const Element* section : Xml::elements(&envelope))
            if (sectionName(*section) == "DiskSection")
                for (const Element* disk : Xml::children(section, "Disk"))
                    readDisk(*disk);
        readSystems(envelope);
        return std::move(descriptor_);
    }

private:
    void readDisk(const Element& element)
    {
        OvfDisk disk;
        disk.id = attribute(&element, "diskId");
        disk.format = attribute(&element, "format");
        const auto capacity = unsignedNumber(attribute(&element, "capacity"));
        if (disk.id.empty() || !Xml::findAny(&element, "format") || !capacity)
            throw bad("the disk '" + disk.id + "' lacks its id, its format or a number as its capacity");
        disk.capacity = *capacity;
        disk.populatedSize = Xml::parseNumber(attribute(&element, "populatedSize")).value_or(-1);
        if (const std::string* uuid = Xml::find(&element, "vbox:uuid"))
            disk.uuid = *uuid;
        if (const std::string* reference = Xml::findAny(&element, "fileRef"))
            readFile(disk, *reference);
        descriptor_.disks[disk.id] = disk;
    }

    void readFile(OvfDisk& disk, const std::string& reference)
    {
        const auto found = files_.find(reference);
        if (found == files_.end())
            throw bad("the disk '" + disk.id + "' refers to the unknown file '" + reference + "'");
        const Element* file = found->second;
        disk.href = attribute(file, "href");
        if (disk.href.empty())
            throw bad("the file '" + reference + "' has no name");
        disk.size = Xml::parseNumber(attribute(file, "size")).value_or(-1);
        disk.compression = attribute(file, "compression");
    }

    void readSystems(const Element& parent)
    {
        for (const Element* element : Xml::elements(&parent)) {
            const std::string name = sectionName(*element);
            if (name == "VirtualSystem")
                descriptor_.systems.push_back(SystemReader(descriptor_).read(*element));
            else if (name == "VirtualSystemCollection")
                readSystems(*element);
        }
    }

    OvfDescriptor descriptor_;
    std::map<std::string, const Element*> files_;
};

/// Whether the element's name is bound to a namespace. Which one tells the version of OVF: that of 1 or 2, and every
/// other one counts as 0.9. The three differ in what is read from them only, so that one reader serves.
bool hasNamespace(const Element& element)
{
    const std::size_t colon = element.name.find(':');
    const std::string declaration = colon == std::string::npos ? "xmlns" : "xmlns:" + element.name.substr(0, colon);
    const std::string* uri = Xml::find(&element, declaration);
    return uri && !uri->empty();
}

Xml::DocumentPtr parseDocument(const std::string& document)
{
    try {
        return Xml::parse(document);
    } catch (const Failure& failure) {
        throw Failure(Result::fileError, failure.text());
    }
}

} // namespace

const OvfDisk* OvfDescriptor::findDisk(const std::string& id) const
{
    const auto found = disks.find(id);
    return found == disks.end() ? nullptr : &found->second;
}

OvfDescriptor parseOvf(const std::string& document)
{
    const Xml::DocumentPtr tree = parseDocument(document);
    const Element* envelope = Xml::root(tree);
    if (!envelope || envelope->localName() != "Envelope" || !hasNamespace(*envelope))
        throw bad("its root is no envelope in a namespace of OVF");
    return EnvelopeReader().read(*envelope);
}

} // namespace VBoxSim
