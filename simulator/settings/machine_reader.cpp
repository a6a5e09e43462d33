#include "settings/machine_reader.h"

#include <algorithm>
#include <map>
#include <set>

#include "base/failure.h"
#include "base/files.h"
#include "base/time.h"
#include "settings/enumeration_names.h"
#include "settings/guest_os_types.h"
#include "settings/machine_checks.h"
#include "settings/nat_settings.h"

namespace VBoxSim {

namespace {

using Xml::Element;

constexpr int deepestMedium = 300;
constexpr int deepestSnapshot = 250;
constexpr std::wstring_view noUuid = L"00000000-0000-0000-0000-000000000000";

std::wstring attributeName(const char* attribute)
{
    return L"'" + fromUtf8(attribute) + L"'";
}

std::wstring demandText(const Element* element, const char* attribute)
{
    const std::string* text = Xml::find(element, attribute);
    if (!text)
        refuseElement(element, L"lacks its attribute " + attributeName(attribute));
    return fromUtf8(*text);
}

std::int32_t demandNumber(const Element* element, const char* attribute)
{
    const std::string* text = Xml::find(element, attribute);
    const auto number = text ? Xml::parseNumber(*text) : std::nullopt;
    if (!number || *number < INT32_MIN || *number > INT32_MAX)
        refuseElement(element, L"lacks a number as its attribute " + attributeName(attribute));
    return static_cast<std::int32_t>(*number);
}

/// An unsigned number of 32 bits; one that is none counts as absent.
std::uint32_t number(const Element* element, const char* attribute, std::uint32_t otherwise)
{
    const std::int64_t value = Xml::getNumber(element, attribute, otherwise);
    return value < 0 || value > UINT32_MAX ? otherwise : static_cast<std::uint32_t>(value);
}

std::uint16_t port(const Element* element, const char* attribute, std::int64_t otherwise)
{
    return static_cast<std::uint16_t>(Xml::getNumber(element, attribute, otherwise));
}

/// The value that a word stands for; an unknown word is an error.
template <std::size_t Size>
std::uint32_t word(const Element* element, const char* attribute, const NamedValue (&table)[Size],
                   std::uint32_t otherwise)
{
    const std::string* text = Xml::find(element, attribute);
    if (!text)
        return otherwise;
    const std::wstring name = fromUtf8(*text);
    for (const NamedValue& entry : table)
        if (name == entry.name)
            return entry.value;
    refuseElement(element, L"has the unknown word '" + name + L"' as its attribute " + attributeName(attribute));
}

// ---- network

void readRules(const Element* nat, std::vector<NatRule>& rules)
{
    std::set<std::wstring> names;
    for (const Element* element : Xml::children(nat, "Forwarding")) {
        NatRule rule;
        rule.name = Xml::get(element, "name");
        rule.protocol = number(element, "proto", 1) & 1;
        rule.hostIp = Xml::get(element, "hostip");
        rule.hostPort = port(element, "hostport", 0);
        rule.guestIp = Xml::get(element, "guestip");
        rule.guestPort = port(element, "guestport", rule.hostPort); // so VirtualBox reads an absent one
        if (names.insert(rule.name).second)
            rules.push_back(rule);
    }
}

NetworkAdapterSettings readAdapter(Element* element, std::uint32_t slot, SettingsVersion version)
{
    if (Xml::elements(element).size() > 2)
        refuseElement(element, L"has more than its mode and those that are not in use");
    NetworkAdapterSettings adapter;
    adapter.slot = slot;
    adapter.enabled = Xml::getFlag(element, "enabled", false);
    adapter.cableConnected = Xml::getFlag(element, "cable", defaultCable(version));
    adapter.type = word(element, "type", adapterNames, defaultAdapterType(version));
    adapter.mac = Xml::get(element, "MACAddress");
    adapter.attachment = attachmentOf(attachedMode(element));
    adapter.nat = readNat(natElement(element));
    readRules(natElement(element), adapter.rules);
    return adapter;
}

void readNetwork(const Element* hardware, SettingsVersion version, MachineSettings& settings)
{
    for (Element* element : Xml::children(Xml::child(hardware, "Network"), "Adapter")) {
        const std::int32_t slot = demandNumber(element, "slot");
        if (slot < 0 || static_cast<std::size_t>(slot) >= settings.adapters.size())
            return; // VirtualBox, too, leaves the rest of the list
        const auto index = static_cast<std::uint32_t>(slot);
        settings.adapters[index] = readAdapter(element, index, version);
    }
}

// ---- the other hardware

void readAudio(const Element* element, SettingsVersion version, AudioSettings& audio)
{
    audio = defaultAudio(version);
    if (!element)
        return;
    audio.controller = word(element, "controller", audioControllerNames, audio.controller);
    audio.codec = word(element, "codec", audioCodecNames, defaultCodec(audio.controller));
    audio.enabled = Xml::getFlag(element, "enabled", audio.enabled);
    audio.enabledIn = Xml::getFlag(element, "enabledIn", audio.enabledIn);
    audio.enabledOut = Xml::getFlag(element, "enabledOut", audio.enabledOut);
    try {
        audio.driver = audioDriver(Xml::get(element, "driver", L"Null"));
    } catch (const Failure& failure) {
        refuseElement(element, failure.text());
    }
}

void readSharedFolders(const Element* list, std::vector<SharedFolderSettings>& folders)
{
    std::set<std::wstring> names;
    for (const Element* folder : Xml::children(list, "SharedFolder")) {
        folders.push_back({Xml::get(folder, "name"), Xml::get(folder, "hostPath"),
                           Xml::getFlag(folder, "writable", false), Xml::getFlag(folder, "autoMount", false),
                           Xml::get(folder, "autoMountPoint")});
        if (!names.insert(folders.back().name).second)
            throw Failure(Result::objectInUse, L"Two shared folders have the name '" + folders.back().name + L"'");
    }
}

std::uint32_t readMemory(const Element* hardware)
{
    const Element* memory = Xml::child(hardware, "Memory");
    if (!memory || !Xml::parseNumber(toUtf8(Xml::get(memory, "RAMSize"))))
        refuseElement(memory ? memory : hardware, L"does not tell the size of the memory");
    return number(memory, "RAMSize", 0);
}

void readHardware(const Element* hardware, SettingsVersion version, MachineSettings& settings)
{
    checkHardware(hardware);
    settings.hardwareId = parseUuid(Xml::get(hardware, "uuid")).value_or(L"");
    settings.cpuCount = number(Xml::child(hardware, "CPU"), "count", 1);
    settings.memoryMegabytes = readMemory(hardware);
    settings.chipset = word(Xml::child(hardware, "Chipset"), "type", chipsetNames, Travik::ChipsetType::PIIX3);
    settings.paravirt = word(Xml::child(hardware, "Paravirt"), "provider", paravirtNames, defaultParavirt(version));
    settings.bootOrder = readBootOrder(Xml::child(hardware, "Boot"));
    fitAdapters(settings);
    readNetwork(hardware, version, settings);
    readAudio(Xml::child(hardware, "AudioAdapter"), version, settings.audio);
    readSharedFolders(Xml::child(hardware, "SharedFolders"), settings.sharedFolders);
    for (const Element* property : Xml::children(Xml::child(hardware, "GuestProperties"), "GuestProperty"))
        settings.guestProperties[Xml::get(property, "name")] = {
            Xml::get(property, "value"), Xml::getNumber(property, "timestamp", 0), Xml::get(property, "flags")};
}

// ---- storage

void readDevice(const Element* element, SettingsVersion version, StorageControllerSettings& controller)
{
    const auto type = deviceType(element, version);
    if (!type)
        return;
    AttachmentSettings attachment;
    attachment.type = *type;
    attachment.port = demandNumber(element, "port");
    attachment.device = demandNumber(element, "device");
    attachment.nonRotational = Xml::getFlag(element, "nonrotational", false);
    attachment.discard = Xml::getFlag(element, "discard", false);
    const Element* image = Xml::child(element, "Image");
    if (image)
        attachment.medium = uuidOf(image);
    else if (*type == DeviceKind::hardDisk)
        refuseElement(element, L"is a hard disk without an image");
    for (const AttachmentSettings& other : controller.attachments)
        if (other.port == attachment.port && other.device == attachment.device)
            refuseElement(element, L"has the place of another device");
    controller.attachments.push_back(attachment);
}

StorageControllerSettings readController(const Element* element, SettingsVersion version)
{
    StorageControllerSettings controller;
    controller.name = controllerName(element, version);
    demandText(element, "type");
    controller.type = word(element, "type", controllerNames, 0);
    controller.bus = busOfControllerType(controller.type);
    controller.portCount = number(element, "PortCount", 2);
    controller.instance = number(element, "Instance", 0);
    controller.useHostIoCache = Xml::getFlag(element, "useHostIOCache", true);
    controller.bootable = Xml::getFlag(element, "Bootable", true);
    const StorageBusLimits& limits = *storageBus(controller.bus);
    if (controller.portCount < limits.minPorts || controller.portCount > limits.maxPorts)
        throw Failure(Result::invalidArgument, L"The storage controller '" + controller.name + L"' cannot have " +
                                                   std::to_wstring(controller.portCount) + L" ports");
    for (const Element* device : Xml::children(element, "AttachedDevice"))
        readDevice(device, version, controller);
    return controller;
}

void readStorage(Element* holder, SettingsVersion version, std::vector<StorageControllerSettings>& controllers)
{
    std::set<std::wstring> names;
    for (Element* list : storageLists(holder))
        for (const Element* element : Xml::children(list, "StorageController")) {
            controllers.push_back(readController(element, version));
            if (!names.insert(controllers.back().name).second)
                throw Failure(Result::objectInUse,
                              L"Two storage controllers have the name '" + controllers.back().name + L"'");
        }
}

/// VirtualBox adds the controllers one by one, as if they were new.
void checkCounts(const MachineSettings& settings)
{
    std::map<std::uint32_t, std::uint32_t> counts;
    for (const StorageControllerSettings& controller : settings.controllers)
        if (++counts[controller.bus] > mostControllers(*storageBus(controller.bus), settings.chipset))
            throw Failure(Result::invalidArgument,
                          L"The storage controller '" + controller.name + L"' is one too many of its bus");
}

struct MediumList
{
    const char* list;
    const char* item;
    std::uint32_t deviceType;
};
constexpr MediumList mediumLists[] = {{"HardDisks", "HardDisk", DeviceKind::hardDisk},
                                      {"DVDImages", "Image", DeviceKind::dvd},
                                      {"FloppyImages", "Image", DeviceKind::floppy}};

std::wstring mediumType(const Element* element, std::uint32_t deviceType)
{
    const std::wstring usual = deviceType == DeviceKind::hardDisk ? L"Normal"
                               : deviceType == DeviceKind::dvd    ? L"Readonly"
                                                                  : L"Writethrough";
    const std::wstring text = Xml::get(element, "type", usual);
    for (const wchar_t* known : {L"Normal", L"Immutable", L"Writethrough", L"Shareable", L"Readonly", L"MultiAttach"})
        if (equalIgnoringCase(text, known))
            return known;
    refuseElement(element, L"has an unknown type");
}

void readMedia(const Element* parent, const MediumList& kind, const std::wstring& folder, const std::wstring& parentId,
               int depth, std::vector<MediumRecord>& media)
{
    if (depth > deepestMedium)
        refuseElement(parent, L"has too many differences upon each other");
    for (const Element* element : Xml::children(parent, kind.item)) {
        MediumRecord record;
        record.id = uuidOf(element);
        record.location = Files::resolve(folder, demandText(element, "location"));
        const bool disk = kind.deviceType == DeviceKind::hardDisk;
        record.format = disk ? demandText(element, "format") : Xml::get(element, "format", L"RAW");
        record.type = mediumType(element, kind.deviceType);
        record.deviceType = kind.deviceType;
        record.parent = parentId;
        for (const Element* property : Xml::children(element, "Property")) {
            demandText(property, "name");
            demandText(property, "value");
        }
        media.push_back(record);
        if (disk)
            readMedia(element, kind, folder, record.id, depth + 1, media);
    }
}

/// A disk that VirtualBox cannot attach as it is.
void checkDisks(const MachineSettings& settings)
{
    std::set<std::wstring> unfit; // taken, or not to be written
    for (const MediumRecord& record : settings.media) {
        unfit.insert(record.parent);
        if (record.type == L"Immutable" || record.type == L"MultiAttach")
            unfit.insert(record.id);
    }
    for (const StorageControllerSettings& controller : settings.controllers)
        for (const AttachmentSettings& attachment : controller.attachments)
            if (attachment.type == DeviceKind::hardDisk && !unfit.insert(attachment.medium).second)
                throw Failure(Result::fail, L"The hard disk " + braced(attachment.medium) +
                                                L" cannot be attached: it is attached already, has differences, or "
                                                L"must not be written");
}

void checkBandwidthGroups(Element* machine, const Element* hardware)
{
    std::set<std::wstring> groups{L""};
    const Element* list = Xml::child(Xml::child(hardware, "IO"), "BandwidthGroups");
    for (const Element* group : Xml::children(list, "BandwidthGroup"))
        groups.insert(Xml::get(group, "name"));
    for (const Element* storage : storageLists(machine))
        for (const Element* controller : Xml::children(storage, "StorageController"))
            for (const Element* device : Xml::children(controller, "AttachedDevice"))
                if (!groups.contains(Xml::get(device, "bandwidthGroup")))
                    refuseElement(device, L"is in an unknown bandwidth group");
}

// ---- snapshots

/// Snapshots stay in the tree; only what the current state must know of them is read.
void readSnapshot(Element* snapshot, SettingsVersion version, int depth, std::set<std::wstring>& ids,
                  MachineSettings& settings)
{
    if (depth > deepestSnapshot)
        refuseElement(snapshot, L"has too many snapshots upon each other");
    ids.insert(uuidOf(snapshot));
    demandText(snapshot, "name");
    if (!Time::parseIso(demandText(snapshot, "timeStamp")))
        refuseElement(snapshot, L"has no time");
    const Element* hardware = Xml::child(snapshot, "Hardware");
    if (!hardware)
        refuseElement(snapshot, L"has no <Hardware>");
    readMemory(hardware);
    checkHardware(hardware);
    ++settings.snapshotCount;
    std::vector<StorageControllerSettings> controllers;
    readStorage(snapshot, version, controllers);
    for (const StorageControllerSettings& controller : controllers)
        for (const AttachmentSettings& attachment : controller.attachments)
            if (!attachment.medium.empty())
                settings.snapshotMedia.push_back(attachment.medium);
    for (Element* inner : Xml::children(Xml::child(snapshot, "Snapshots"), "Snapshot"))
        readSnapshot(inner, version, depth + 1, ids, settings);
}

void readSnapshots(Element* machine, SettingsVersion version, MachineSettings& settings)
{
    Element* snapshot = Xml::child(machine, "Snapshot");
    const std::wstring current = Xml::get(machine, "currentSnapshot");
    if (!snapshot)
        return;
    std::set<std::wstring> ids;
    readSnapshot(snapshot, version, 1, ids, settings);
    settings.currentSnapshot = parseUuid(current).value_or(L"");
    if (!ids.contains(settings.currentSnapshot))
        refuseElement(machine, L"does not name one of its snapshots as the current one");
}

// ---- the machine

std::int64_t stateChange(const Element* machine)
{
    constexpr std::size_t longEnough = 19; // "2024-02-29T23:59:59"; what is not longer is not looked at
    const std::wstring text = Xml::get(machine, "lastStateChange");
    if (text.size() <= longEnough)
        return Time::nowMilliseconds();
    const auto time = Time::parseIso(text);
    if (!time)
        refuseElement(machine, L"has a wrong time as its attribute 'lastStateChange'");
    return *time;
}

std::wstring osTypeAsKnown(const std::wstring& text)
{
    const GuestOsType* type = findGuestOsType(text);
    return type ? std::wstring(type->id) : text;
}

void readGroups(const Element* list, std::vector<std::wstring>& groups)
{
    std::vector<std::wstring> found;
    for (const Element* group : Xml::children(list, "Group"))
        found.push_back(demandText(group, "name"));
    if (!found.empty())
        groups = found;
}

} // namespace

void refuseElement(const Element* element, const std::wstring& what)
{
    throw Failure(Result::fail,
                  L"<" + fromUtf8(element->name) + L"> in line " + std::to_wstring(element->line) + L" " + what);
}

bool defaultCable(SettingsVersion version)
{
    return version >= 16;
}

std::uint32_t defaultAdapterType(SettingsVersion version)
{
    return version >= 16 ? Travik::NetworkAdapterType::Am79C973 : Travik::NetworkAdapterType::Am79C970A;
}

std::uint32_t defaultParavirt(SettingsVersion version)
{
    return version >= 16 ? Travik::ParavirtProvider::Default : Travik::ParavirtProvider::Legacy;
}

BootOrder readBootOrder(const Element* boot)
{
    if (!boot)
        return usualBootOrder;
    BootOrder order{};
    for (const Element* entry : Xml::children(boot, "Order"))
        order.at(static_cast<std::size_t>(demandNumber(entry, "position") - 1)) =
            word(entry, "device", bootDeviceNames, 0);
    return order;
}

AudioSettings defaultAudio(SettingsVersion version)
{
    AudioSettings audio;
    audio.enabled = version < 16;
    audio.enabledIn = audio.enabledOut = version < 17;
    return audio;
}

std::uint32_t defaultCodec(std::uint32_t controller)
{
    switch (controller) {
    case Travik::AudioControllerType::SB16:
        return Travik::AudioCodecType::SB16;
    case Travik::AudioControllerType::HDA:
        return Travik::AudioCodecType::STAC9221;
    default:
        return Travik::AudioCodecType::STAC9700;
    }
}

std::uint32_t audioDriver(std::wstring_view name)
{
    constexpr std::uint32_t directSound = Travik::AudioDriverType::DirectSound;
    if (equalIgnoringCase(name, L"Null"))
        return Travik::AudioDriverType::Null;
    if (equalIgnoringCase(name, L"Default"))
        return directSound;
    for (const NamedValue& known : audioDriverNames)
        if (equalIgnoringCase(name, known.name))
            return directSound; // the only one that there is on Windows
    throw Failure(Result::fail, L"has the unknown driver '" + std::wstring(name) + L"'");
}

Element* attachedMode(Element* adapter)
{
    for (Element* mode : Xml::elements(adapter))
        if (attachmentOf(mode) != 0)
            return mode;
    return nullptr;
}

std::uint32_t attachmentOf(const Element* mode)
{
    if (mode)
        for (const NamedValue& known : attachmentNames)
            if (mode->localName() == toUtf8(known.name))
                return known.value;
    return 0;
}

Element* natElement(Element* adapter)
{
    Element* nat = Xml::child(adapter, "NAT");
    return nat ? nat : Xml::child(Xml::child(adapter, "DisabledModes"), "NAT");
}

std::wstring controllerName(const Element* controller, SettingsVersion version)
{
    const std::wstring name = demandText(controller, "name");
    const bool old = version < 9 && (name == L"IDE" || name == L"SATA" || name == L"SCSI");
    return old ? name + L" Controller" : name;
}

std::optional<std::uint32_t> deviceType(const Element* device, SettingsVersion version)
{
    const std::wstring name = Xml::get(device, "type");
    for (const NamedValue& known : deviceNames)
        if (name == known.name && (known.value == DeviceKind::hardDisk || version >= 9))
            return known.value;
    return std::nullopt;
}

std::wstring uuidOf(const Element* element)
{
    const auto uuid = parseUuid(Xml::get(element, "uuid"));
    if (!uuid || *uuid == noUuid)
        refuseElement(element, L"has no valid UUID");
    return *uuid;
}

bool isAborted(const Element* machine)
{
    return Xml::getFlag(machine, "aborted", true) == Xml::getFlag(machine, "aborted", false);
}

void readMachine(Element* machine, SettingsVersion version, const std::wstring& folder, MachineSettings& settings)
{
    settings.id = uuidOf(machine);
    settings.name = demandText(machine, "name");
    if (settings.name.empty())
        refuseElement(machine, L"has no name");
    settings.osType = osTypeAsKnown(Xml::get(machine, "OSType"));
    settings.snapshotFolder = Xml::get(machine, "snapshotFolder", L"Snapshots");
    settings.lastStateChange = stateChange(machine);
    settings.aborted = isAborted(machine);
    settings.stateFile = settings.aborted ? L"" : Xml::get(machine, "stateFile");
    const Element* description = Xml::child(machine, "Description");
    settings.description = description ? fromUtf8(Xml::textOf(description)) : Xml::get(machine, "Description");
    if (version >= firstWithGroups)
        readGroups(Xml::child(machine, "Groups"), settings.groups);
    for (const Element* item : Xml::children(Xml::child(machine, "ExtraData"), "ExtraDataItem"))
        settings.extraData[demandText(item, "name")] = demandText(item, "value");

    std::vector<MediumRecord> media;
    for (const MediumList& kind : mediumLists)
        readMedia(Xml::child(Xml::child(machine, "MediaRegistry"), kind.list), kind, folder, L"", 1, media);
    if (version >= firstWithMedia)
        settings.media = std::move(media);

    const Element* hardware = Xml::child(machine, "Hardware");
    if (!hardware)
        refuseElement(machine, L"has no <Hardware>");
    readHardware(hardware, version, settings);
    readStorage(machine, version, settings.controllers);
    checkCounts(settings);
    checkDisks(settings);
    checkBandwidthGroups(machine, hardware);
    readSnapshots(machine, version, settings);
}

} // namespace VBoxSim
