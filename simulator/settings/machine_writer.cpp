#include "settings/machine_writer.h"

#include <algorithm>
#include <map>
#include <set>
#include <unordered_map>
#include <utility>

#include "base/files.h"
#include "base/time.h"
#include "settings/enumeration_names.h"
#include "settings/machine_reader.h"
#include "settings/nat_settings.h"

namespace VBoxSim {

namespace {

using Xml::Element;

constexpr SettingsVersion storageBelowHardware = 17;

// ---- places: VirtualBox's own order

constexpr const char* machineOrder[] = {
    "Description",        "Teleporter", "MediaRegistry", "ExtraData",    "Snapshot", "Hardware",
    "StorageControllers", "Debugging",  "Autostart",     "VideoCapture", "Groups"};
constexpr const char* hardwareOrder[] = {"CPU",
                                         "Memory",
                                         "Firmware",
                                         "HID",
                                         "HPET",
                                         "Chipset",
                                         "Paravirt",
                                         "Boot",
                                         "Display",
                                         "RemoteDisplay",
                                         "BIOS",
                                         "USB",
                                         "Network",
                                         "UART",
                                         "LPT",
                                         "AudioAdapter",
                                         "RTC",
                                         "SharedFolders",
                                         "Clipboard",
                                         "DragAndDrop",
                                         "IO",
                                         "HostPci",
                                         "EmulatedUSB",
                                         "Frontend",
                                         "Guest",
                                         "GuestProperties",
                                         "StorageControllers"};

template <std::size_t Size>
std::size_t rank(const char* const (&order)[Size], std::string_view name)
{
    return static_cast<std::size_t>(std::find(std::begin(order), std::end(order), name) - std::begin(order));
}

/// The child of that name; made in front of those that VirtualBox writes behind it when it is missing.
template <std::size_t Size>
Element* demandInOrder(Element* parent, const char* name, const char* const (&order)[Size])
{
    if (Element* found = Xml::child(parent, name))
        return found;
    auto made = std::make_unique<Element>();
    made->name = name;
    made->parent = parent;
    const auto behind = std::find_if(parent->children.begin(), parent->children.end(), [&](const auto& part) {
        const std::size_t other = part->kind == Xml::Kind::Element ? rank(order, part->localName()) : Size;
        return other < Size && other > rank(order, name);
    });
    return parent->children.insert(behind, std::move(made))->get();
}

Element* machinePart(Element* machine, const char* name)
{
    return demandInOrder(machine, name, machineOrder);
}

Element* hardwarePart(Element* hardware, const char* name)
{
    return demandInOrder(hardware, name, hardwareOrder);
}

// ---- single values

/// Writes a word unless the attribute, or its absence, means the value already.
template <std::size_t Size>
void setWordUnless(Element* element, const char* attribute, const NamedValue (&table)[Size], std::uint32_t absent,
                   std::uint32_t value)
{
    Xml::setUnless(element, attribute, nameOf(table, absent), nameOf(table, value));
}

void setUuid(Element* element, const char* attribute, const std::wstring& uuid)
{
    if (parseUuid(Xml::get(element, attribute)).value_or(L"") == uuid)
        return;
    if (uuid.empty())
        Xml::removeAttribute(element, attribute);
    else
        Xml::set(element, attribute, braced(uuid));
}

std::wstring nameIn(const Element* element)
{
    return Xml::get(element, "name");
}

// ---- network

void writeRules(Element* nat, const std::vector<NatRule>& rules)
{
    Xml::match(
        nat, "Forwarding", rules, nameIn, [](const NatRule& rule) { return rule.name; },
        [](Element* element, const NatRule& rule) {
            Xml::set(element, "name", rule.name);
            Xml::setNumber(element, "proto", rule.protocol);
        },
        [](Element* element, const NatRule& rule) {
            Xml::setNumberUnless(element, "proto", 1, rule.protocol);
            Xml::setUnless(element, "hostip", L"", rule.hostIp);
            Xml::setNumberUnless(element, "hostport", 0, rule.hostPort);
            Xml::setUnless(element, "guestip", L"", rule.guestIp);
            // An absent guest port would be read as the host's.
            if (Xml::getNumber(element, "guestport", rule.hostPort) != rule.guestPort)
                Xml::setNumber(element, "guestport", rule.guestPort);
        });
}

const wchar_t* modeName(std::uint32_t attachment)
{
    for (const NamedValue& known : attachmentNames)
        if (known.value == attachment)
            return known.name;
    return nullptr;
}

/// Takes a mode out of use; what it holds is kept among those that are not in use.
void disableMode(Element* adapter, Element* mode)
{
    Element* disabled = Xml::demand(adapter, "DisabledModes");
    auto& from = adapter->children;
    const auto place = std::find_if(from.begin(), from.end(), [&](const auto& part) { return part.get() == mode; });
    Xml::drop(disabled, std::string(mode->localName()).c_str());
    (*place)->parent = disabled;
    disabled->children.push_back(std::move(*place));
    from.erase(place);
}

void enableMode(Element* adapter, const wchar_t* name)
{
    const std::string wanted = toUtf8(name);
    Element* disabled = Xml::child(adapter, "DisabledModes");
    Element* kept = Xml::child(disabled, wanted);
    if (!kept) {
        Xml::append(adapter, wanted.c_str());
        return;
    }
    auto& from = disabled->children;
    const auto place = std::find_if(from.begin(), from.end(), [&](const auto& part) { return part.get() == kept; });
    kept->parent = adapter;
    adapter->children.push_back(std::move(*place));
    from.erase(place);
    if (from.empty())
        Xml::remove(disabled);
}

void writeMode(Element* element, const NetworkAdapterSettings& adapter)
{
    Element* mode = attachedMode(element);
    if (attachmentOf(mode) != adapter.attachment) {
        if (mode)
            disableMode(element, mode);
        if (const wchar_t* name = modeName(adapter.attachment))
            enableMode(element, name);
    }
    Element* nat = natElement(element);
    if (!nat && (!adapter.rules.empty() || adapter.nat != NatSettings{}))
        nat = Xml::append(Xml::demand(element, "DisabledModes"), "NAT");
    if (nat) {
        writeNat(nat, adapter.nat);
        writeRules(nat, adapter.rules);
    }
}

void writeAdapter(Element* element, const NetworkAdapterSettings& adapter, SettingsVersion version)
{
    Xml::setFlagUnless(element, "enabled", false, adapter.enabled);
    Xml::setUnless(element, "MACAddress", L"", adapter.mac);
    Xml::setFlagUnless(element, "cable", defaultCable(version), adapter.cableConnected);
    setWordUnless(element, "type", adapterNames, defaultAdapterType(version), adapter.type);
    writeMode(element, adapter);
}

/// An adapter that was never touched is left out, as VirtualBox leaves out defaults.
bool isUntouched(const NetworkAdapterSettings& adapter)
{
    const NetworkAdapterSettings fresh;
    return !adapter.enabled && !adapter.attachment && adapter.rules.empty() && adapter.nat == fresh.nat &&
           adapter.cableConnected == fresh.cableConnected && adapter.type == fresh.type;
}

void writeNetwork(Element* hardware, SettingsVersion version, const std::vector<NetworkAdapterSettings>& adapters)
{
    std::unordered_map<std::int64_t, Element*> old; // of two with one slot VirtualBox takes the later
    for (Element* element : Xml::children(Xml::child(hardware, "Network"), "Adapter"))
        old[Xml::getNumber(element, "slot", -1)] = element;
    for (const NetworkAdapterSettings& adapter : adapters) {
        const auto found = old.find(adapter.slot);
        if (found == old.end() && isUntouched(adapter))
            continue;
        Element* element = found != old.end() ? found->second : nullptr;
        if (!element) {
            element = Xml::append(hardwarePart(hardware, "Network"), "Adapter");
            Xml::setNumber(element, "slot", adapter.slot);
        }
        writeAdapter(element, adapter, version);
    }
}

// ---- the other hardware

void writeBootOrder(Element* hardware, const BootOrder& order)
{
    if (readBootOrder(Xml::child(hardware, "Boot")) == order)
        return;
    Xml::drop(hardware, "Boot");
    if (order == usualBootOrder)
        return;
    Element* boot = hardwarePart(hardware, "Boot");
    for (std::size_t place = 0; place < order.size(); ++place) {
        Element* entry = Xml::append(boot, "Order");
        Xml::setNumber(entry, "position", static_cast<std::int64_t>(place + 1));
        const bool hasName = order[place] < std::size(bootDeviceNames);
        Xml::set(entry, "device", nameOf(bootDeviceNames, hasName ? order[place] : 0));
    }
}

void writeAudio(Element* hardware, SettingsVersion version, const AudioSettings& audio)
{
    const AudioSettings usual = defaultAudio(version);
    const bool made = !Xml::child(hardware, "AudioAdapter");
    if (made && audio == usual)
        return;
    Element* element = hardwarePart(hardware, "AudioAdapter");
    setWordUnless(element, "controller", audioControllerNames, usual.controller, audio.controller);
    setWordUnless(element, "codec", audioCodecNames, defaultCodec(audio.controller), audio.codec);
    if (made || audioDriver(Xml::get(element, "driver", L"Null")) != audio.driver)
        Xml::set(element, "driver", nameOf(audioDriverNames, audio.driver));
    const bool switched = Xml::getFlag(element, "enabled", usual.enabled) != audio.enabled;
    if (version < 16 && (made || switched)) // these never leave it out
        Xml::setFlag(element, "enabled", audio.enabled);
    Xml::setFlagUnless(element, "enabled", usual.enabled, audio.enabled);
    Xml::setFlagUnless(element, "enabledIn", usual.enabledIn, audio.enabledIn);
    Xml::setFlagUnless(element, "enabledOut", usual.enabledOut, audio.enabledOut);
}

void writeSharedFolders(Element* hardware, const std::vector<SharedFolderSettings>& folders)
{
    if (folders.empty() && !Xml::child(hardware, "SharedFolders"))
        return;
    Xml::match(
        hardwarePart(hardware, "SharedFolders"), "SharedFolder", folders, nameIn,
        [](const SharedFolderSettings& folder) { return folder.name; },
        [](Element* element, const SharedFolderSettings& folder) {
            Xml::set(element, "name", folder.name);
            Xml::set(element, "hostPath", folder.hostPath);
            Xml::setFlag(element, "writable", folder.writable);
            Xml::setFlag(element, "autoMount", folder.autoMount);
        },
        [](Element* element, const SharedFolderSettings& folder) {
            Xml::setUnless(element, "hostPath", L"", folder.hostPath);
            Xml::setFlagUnless(element, "writable", false, folder.writable);
            Xml::setFlagUnless(element, "autoMount", false, folder.autoMount);
            Xml::setUnless(element, "autoMountPoint", L"", folder.autoMountPoint);
        });
}

void writeGuestProperties(Element* hardware, const std::map<std::wstring, GuestPropertySettings>& properties)
{
    if (properties.empty() && !Xml::child(hardware, "GuestProperties"))
        return;
    Xml::match(
        hardwarePart(hardware, "GuestProperties"), "GuestProperty", properties, nameIn,
        [](const auto& entry) { return entry.first; },
        [](Element* element, const auto& entry) {
            Xml::set(element, "name", entry.first);
            Xml::set(element, "value", entry.second.value);
            Xml::setNumber(element, "timestamp", entry.second.timestamp);
            Xml::set(element, "flags", entry.second.flags);
        },
        [](Element* element, const auto& entry) {
            const GuestPropertySettings& property = entry.second;
            Xml::setUnless(element, "value", L"", property.value);
            Xml::setNumberUnless(element, "timestamp", 0, property.timestamp);
            Xml::setUnless(element, "flags", L"", property.flags);
        });
}

void writeHardware(Element* hardware, SettingsVersion version, const MachineSettings& settings)
{
    setUuid(hardware, "uuid", settings.hardwareId);
    if (settings.cpuCount != 1 || Xml::child(hardware, "CPU"))
        Xml::setNumberUnless(hardwarePart(hardware, "CPU"), "count", 1, settings.cpuCount);
    Element* memory = hardwarePart(hardware, "Memory");
    Xml::setNumberUnless(memory, "RAMSize", -1, settings.memoryMegabytes);
    if (settings.chipset != Travik::ChipsetType::PIIX3 || Xml::child(hardware, "Chipset"))
        setWordUnless(hardwarePart(hardware, "Chipset"), "type", chipsetNames, Travik::ChipsetType::PIIX3,
                      settings.chipset);
    const std::uint32_t usualParavirt = defaultParavirt(version);
    if (settings.paravirt != usualParavirt || Xml::child(hardware, "Paravirt"))
        setWordUnless(hardwarePart(hardware, "Paravirt"), "provider", paravirtNames, usualParavirt, settings.paravirt);
    writeBootOrder(hardware, settings.bootOrder);
    writeNetwork(hardware, version, settings.adapters);
    writeAudio(hardware, version, settings.audio);
    writeSharedFolders(hardware, settings.sharedFolders);
    writeGuestProperties(hardware, settings.guestProperties);
}

// ---- storage

void writeImage(Element* device, const std::wstring& medium)
{
    if (medium.empty()) {
        Xml::drop(device, "Image");
        return;
    }
    Xml::drop(device, "HostDrive");
    setUuid(Xml::demand(device, "Image"), "uuid", medium);
}

void writeDevices(Element* element, const StorageControllerSettings& controller, SettingsVersion version)
{
    using Place = std::pair<std::int64_t, std::int64_t>;
    std::map<Place, Element*> old;
    for (Element* device : Xml::children(element, "AttachedDevice"))
        if (deviceType(device, version)) // what was passed over stays
            old[{Xml::getNumber(device, "port", 0), Xml::getNumber(device, "device", 0)}] = device;
    for (const AttachmentSettings& attachment : controller.attachments) {
        const auto found = old.find({attachment.port, attachment.device});
        Element* device = found != old.end() ? found->second : Xml::append(element, "AttachedDevice");
        if (found != old.end())
            old.erase(found);
        Xml::setUnless(device, "type", L"", nameOf(deviceNames, attachment.type));
        if (version >= 15 && !Xml::find(device, "hotpluggable") && !Xml::find(device, "port"))
            Xml::setFlag(device, "hotpluggable", false);
        Xml::setNumberUnless(device, "port", -1, attachment.port);
        Xml::setNumberUnless(device, "device", -1, attachment.device);
        Xml::setFlagUnless(device, "nonrotational", false, attachment.nonRotational);
        Xml::setFlagUnless(device, "discard", false, attachment.discard);
        writeImage(device, attachment.medium);
    }
    for (const auto& left : old)
        Xml::remove(left.second);
}

void writeController(Element* element, const StorageControllerSettings& controller, SettingsVersion version)
{
    const bool made = !Xml::find(element, "type");
    Xml::setUnless(element, "type", L"", nameOf(controllerNames, controller.type));
    if (made) {
        Xml::setNumber(element, "PortCount", controller.portCount);
        Xml::setFlag(element, "useHostIOCache", controller.useHostIoCache);
        Xml::setFlag(element, "Bootable", controller.bootable);
    }
    Xml::setNumberUnless(element, "PortCount", 2, controller.portCount);
    Xml::setNumberUnless(element, "Instance", 0, controller.instance);
    Xml::setFlagUnless(element, "useHostIOCache", true, controller.useHostIoCache);
    Xml::setFlagUnless(element, "Bootable", true, controller.bootable);
    writeDevices(element, controller, version);
}

void writeStorage(Element* machine, SettingsVersion version, const std::vector<StorageControllerSettings>& controllers)
{
    std::map<std::wstring, Element*> old;
    for (Element* list : storageLists(machine))
        for (Element* element : Xml::children(list, "StorageController"))
            old[controllerName(element, version)] = element;
    for (const StorageControllerSettings& controller : controllers) {
        const auto found = old.find(controller.name);
        Element* element = nullptr;
        if (found != old.end()) {
            element = found->second;
            old.erase(found);
        } else {
            const auto lists = storageLists(machine);
            Element* list = !lists.empty() ? lists.front()
                            : version >= storageBelowHardware
                                ? hardwarePart(Xml::child(machine, "Hardware"), "StorageControllers")
                                : machinePart(machine, "StorageControllers");
            element = Xml::append(list, "StorageController");
            Xml::set(element, "name", controller.name);
        }
        writeController(element, controller, version);
    }
    for (const auto& left : old)
        Xml::remove(left.second);
}

/// The media of a registry by kind and parent, so that a registry of any length is walked once.
using MediaByParent = std::map<std::pair<std::uint32_t, std::wstring>, std::vector<const MediumRecord*>>;

void writeMedia(Element* parent, const char* name, std::uint32_t deviceType, const std::wstring& parentId,
                const std::wstring& folder, const MediaByParent& media)
{
    const auto found = media.find({deviceType, parentId});
    Xml::match(
        parent, name, found == media.end() ? std::vector<const MediumRecord*>() : found->second,
        [](const Element* element) { return parseUuid(Xml::get(element, "uuid")).value_or(L""); },
        [](const MediumRecord* record) { return record->id; },
        [](Element* element, const MediumRecord* record) { Xml::set(element, "uuid", braced(record->id)); },
        [&](Element* element, const MediumRecord* record) {
            const bool disk = deviceType == DeviceKind::hardDisk;
            const bool made = !Xml::find(element, "location");
            if (made || !Files::samePath(Files::resolve(folder, Xml::get(element, "location")), record->location))
                Xml::set(element, "location", Files::relativeTo(folder, record->location));
            Xml::setUnless(element, "format", disk ? L"" : L"RAW", record->format);
            const std::wstring type = Xml::get(element, "type", disk && !made ? L"Normal" : L"");
            if (disk && parentId.empty() && !equalIgnoringCase(type, record->type))
                Xml::set(element, "type", record->type);
            if (disk)
                writeMedia(element, name, deviceType, record->id, folder, media);
        });
}

void writeMediaRegistry(Element* machine, const MachineSettings& settings, const std::wstring& folder)
{
    if (settings.media.empty() && !Xml::child(machine, "MediaRegistry"))
        return;
    MediaByParent media;
    std::set<std::uint32_t> kinds;
    for (const MediumRecord& record : settings.media) {
        media[{record.deviceType, record.parent}].push_back(&record);
        kinds.insert(record.deviceType);
    }
    Element* registry = machinePart(machine, "MediaRegistry");
    const std::tuple<const char*, const char*, std::uint32_t> lists[] = {
        {"HardDisks", "HardDisk", DeviceKind::hardDisk},
        {"DVDImages", "Image", DeviceKind::dvd},
        {"FloppyImages", "Image", DeviceKind::floppy}};
    for (const auto& [list, item, deviceType] : lists)
        if (kinds.contains(deviceType) || Xml::child(registry, list))
            writeMedia(Xml::demand(registry, list), item, deviceType, L"", folder, media);
}

// ---- the machine

void writeDescription(Element* machine, const std::wstring& text)
{
    Element* element = Xml::child(machine, "Description");
    const std::wstring old = element ? fromUtf8(Xml::textOf(element)) : Xml::get(machine, "Description");
    if (old == text)
        return;
    Xml::removeAttribute(machine, "Description");
    if (text.empty())
        Xml::drop(machine, "Description");
    else
        Xml::setText(machinePart(machine, "Description"), text);
}

void writeExtraData(Element* machine, const std::map<std::wstring, std::wstring>& items)
{
    if (items.empty() && !Xml::child(machine, "ExtraData"))
        return;
    Xml::match(
        machinePart(machine, "ExtraData"), "ExtraDataItem", "name", items,
        [](const auto& entry) { return entry.first; },
        [](Element* element, const auto& entry) { Xml::set(element, "value", entry.second); });
}

void writeState(Element* machine, const MachineSettings& settings)
{
    if (Xml::get(machine, "lastStateChange").size() < 20 ||
        Time::parseIso(Xml::get(machine, "lastStateChange")) != settings.lastStateChange)
        Xml::set(machine, "lastStateChange", Time::toIso(settings.lastStateChange));
    if (isAborted(machine) != settings.aborted) {
        if (settings.aborted)
            Xml::setFlag(machine, "aborted", true);
        else
            Xml::removeAttribute(machine, "aborted");
    }
    Xml::setUnless(machine, "stateFile", L"", settings.stateFile);
    setUuid(machine, "currentSnapshot", settings.currentSnapshot);
}

} // namespace

void writeGroups(Element* machine, const std::vector<std::wstring>& groups)
{
    const bool usual = groups.empty() || groups == std::vector<std::wstring>{L"/"};
    if (usual && !Xml::child(machine, "Groups"))
        return;
    Xml::match(
        machinePart(machine, "Groups"), "Group", "name", groups, [](const std::wstring& group) { return group; },
        [](Element*, const std::wstring&) {});
}

void writeMachine(Element* machine, SettingsVersion version, const MachineSettings& settings,
                  const std::wstring& folder)
{
    setUuid(machine, "uuid", settings.id);
    Xml::set(machine, "name", settings.name);
    if (!equalIgnoringCase(Xml::get(machine, "OSType"), settings.osType))
        Xml::setUnless(machine, "OSType", L"", settings.osType);
    if (!Xml::find(machine, "snapshotFolder") && settings.source.empty())
        Xml::set(machine, "snapshotFolder", settings.snapshotFolder);
    Xml::setUnless(machine, "snapshotFolder", L"Snapshots", settings.snapshotFolder);
    writeState(machine, settings);
    writeDescription(machine, settings.description);
    if (version >= firstWithMedia || !settings.media.empty())
        writeMediaRegistry(machine, settings, folder);
    writeExtraData(machine, settings.extraData);
    writeHardware(machinePart(machine, "Hardware"), version, settings);
    writeStorage(machine, version, settings.controllers);
    if (version >= firstWithGroups)
        writeGroups(machine, settings.groups);
}

} // namespace VBoxSim
