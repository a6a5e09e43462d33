#include "settings/machine_settings.h"

#include <random>
#include <set>
#include <utility>

#include "base/files.h"
#include "base/text.h"
#include "base/time.h"
#include "base/xml.h"
#include "settings/enumeration_names.h"
#include "settings/storage_buses.h"

namespace VBoxSim {

namespace {

using Xml::Element;

constexpr const char* emptyMachine = R"(<?xml version="1.0"?>
<VirtualBox xmlns="http://www.virtualbox.org/" version="1.16-windows"><Machine/></VirtualBox>)";

std::wstring demandUuid(const Element* element, const char* attribute)
{
    const auto uuid = parseUuid(Xml::get(element, attribute));
    if (!uuid)
        throw Failure(Result::xmlError, L"<" + fromUtf8(element->nodeName()) + L"> has no valid UUID");
    return *uuid;
}

std::uint32_t demandNumber(const Element* element, const char* attribute, std::uint32_t otherwise,
                           std::uint32_t highest)
{
    const std::int64_t value = Xml::getNumber(element, attribute, otherwise);
    if (value < 0 || value > highest)
        throw Failure(Result::xmlError, L"The attribute '" + fromUtf8(attribute) + L"' of <" +
                                            fromUtf8(element->nodeName()) + L"> is out of range");
    return static_cast<std::uint32_t>(value);
}

// ---- reading

NatRule readRule(const Element* element)
{
    NatRule rule;
    rule.name = Xml::get(element, "name");
    rule.protocol = demandNumber(element, "proto", 1, 1);
    rule.hostIp = Xml::get(element, "hostip");
    rule.hostPort = static_cast<std::uint16_t>(demandNumber(element, "hostport", 0, 65535));
    rule.guestIp = Xml::get(element, "guestip");
    rule.guestPort = static_cast<std::uint16_t>(demandNumber(element, "guestport", 0, 65535));
    return rule;
}

NetworkAdapterSettings readAdapter(Element* element, std::uint32_t slot)
{
    NetworkAdapterSettings adapter;
    adapter.slot = slot;
    adapter.enabled = Xml::getFlag(element, "enabled", false);
    adapter.cableConnected = Xml::getFlag(element, "cable", true);
    adapter.type = valueOf(adapterNames, Xml::get(element, "type", L"Am79C973"));
    adapter.mac = Xml::get(element, "MACAddress");
    for (const NamedValue& attachment : attachmentNames)
        if (Xml::child(element, toUtf8(attachment.name).c_str()))
            adapter.attachment = attachment.value;
    Element* nat = Xml::child(element, "NAT");
    if (!nat) // an adapter attached elsewhere keeps its NAT rules here
        nat = Xml::child(Xml::child(element, "DisabledModes"), "NAT");
    for (const Element* rule : Xml::children(nat, "Forwarding"))
        adapter.rules.push_back(readRule(rule));
    return adapter;
}

AttachmentSettings readAttachment(Element* element)
{
    AttachmentSettings attachment;
    attachment.type = valueOf(deviceNames, Xml::get(element, "type", L"HardDisk"));
    attachment.port = static_cast<std::int32_t>(demandNumber(element, "port", 0, 1024));
    attachment.device = static_cast<std::int32_t>(demandNumber(element, "device", 0, 1024));
    attachment.nonRotational = Xml::getFlag(element, "nonrotational", false);
    attachment.discard = Xml::getFlag(element, "discard", false);
    if (const Element* image = Xml::child(element, "Image"))
        attachment.medium = demandUuid(image, "uuid");
    return attachment;
}

StorageControllerSettings readController(Element* element)
{
    StorageControllerSettings controller;
    controller.name = Xml::get(element, "name");
    controller.type = valueOf(controllerNames, Xml::get(element, "type"));
    controller.bus = busOfControllerType(controller.type);
    const StorageBusLimits& limits = *storageBus(controller.bus);
    controller.portCount = demandNumber(element, "PortCount", limits.defaultPorts, limits.maxPorts);
    controller.useHostIoCache = Xml::getFlag(element, "useHostIOCache", false);
    controller.bootable = Xml::getFlag(element, "Bootable", true);
    for (Element* device : Xml::children(element, "AttachedDevice"))
        controller.attachments.push_back(readAttachment(device));
    return controller;
}

void readMedia(Element* parent, const char* name, std::uint32_t deviceType, const std::wstring& folder,
               const std::wstring& parentId, std::vector<MediumRecord>& media)
{
    for (Element* element : Xml::children(parent, name)) {
        MediumRecord record;
        record.id = demandUuid(element, "uuid");
        record.location = Files::resolve(folder, Xml::get(element, "location"));
        record.format = Xml::get(element, "format", deviceType == DeviceKind::hardDisk ? L"VDI" : L"RAW");
        record.type = Xml::get(element, "type", L"Normal");
        record.deviceType = deviceType;
        record.parent = parentId;
        media.push_back(record);
        readMedia(element, name, deviceType, folder, record.id, media);
    }
}

void readHardware(Element* hardware, MachineSettings& settings)
{
    if (const Element* cpu = Xml::child(hardware, "CPU"))
        settings.cpuCount = demandNumber(cpu, "count", 1, 4096);
    if (const Element* memory = Xml::child(hardware, "Memory"))
        settings.memoryMegabytes = demandNumber(memory, "RAMSize", 128, 0x7FFFFFFF);
    settings.chipset = valueOf(chipsetNames, Xml::get(Xml::child(hardware, "Chipset"), "type", L"PIIX3"));
    settings.paravirt = valueOf(paravirtNames, Xml::get(Xml::child(hardware, "Paravirt"), "provider", L"Default"));
    settings.hardwareId = parseUuid(Xml::get(hardware, "uuid")).value_or(L"");

    fitAdapters(settings);
    std::set<std::uint32_t> slots;
    for (Element* element : Xml::children(Xml::child(hardware, "Network"), "Adapter")) {
        const std::uint32_t slot = demandNumber(element, "slot", 0, 1024);
        if (slot >= settings.adapters.size())
            continue; // left from a chipset with more adapters
        if (!slots.insert(slot).second)
            throw Failure(Result::xmlError, L"Two network adapters have the same slot");
        settings.adapters[slot] = readAdapter(element, slot);
    }
    if (const Element* audio = Xml::child(hardware, "AudioAdapter")) {
        settings.audio.enabled = Xml::getFlag(audio, "enabled", false);
        settings.audio.enabledIn = Xml::getFlag(audio, "enabledIn", true);
        settings.audio.enabledOut = Xml::getFlag(audio, "enabledOut", true);
        settings.audio.controller = valueOf(audioControllerNames, Xml::get(audio, "controller", L"AC97"));
        settings.audio.codec = valueOf(audioCodecNames, Xml::get(audio, "codec", L"STAC9700"));
        settings.audio.driver = valueOf(audioDriverNames, Xml::get(audio, "driver", L"Null"));
    }
    for (const Element* folder : Xml::children(Xml::child(hardware, "SharedFolders"), "SharedFolder"))
        settings.sharedFolders.push_back(
            {Xml::get(folder, "name"), Xml::get(folder, "hostPath"), Xml::getFlag(folder, "writable", false),
             Xml::getFlag(folder, "autoMount", false), Xml::get(folder, "autoMountPoint")});
    for (const Element* property : Xml::children(Xml::child(hardware, "GuestProperties"), "GuestProperty"))
        settings.guestProperties[Xml::get(property, "name")] = {
            Xml::get(property, "value"), Xml::getNumber(property, "timestamp", 0), Xml::get(property, "flags")};
}

/// Snapshots stay in the tree; only what the current state must know of them is read.
void readSnapshots(Element* parent, MachineSettings& settings)
{
    for (Element* snapshot : Xml::children(parent, "Snapshot")) {
        demandUuid(snapshot, "uuid");
        ++settings.snapshotCount;
        for (Element* holder : {snapshot, Xml::child(snapshot, "Hardware")}) {
            for (Element* controller : Xml::children(Xml::child(holder, "StorageControllers"), "StorageController"))
                for (Element* device : Xml::children(controller, "AttachedDevice"))
                    if (const Element* image = Xml::child(device, "Image"))
                        settings.snapshotMedia.push_back(demandUuid(image, "uuid"));
        }
        readSnapshots(Xml::child(snapshot, "Snapshots"), settings);
    }
}

Element* storageParent(Element* machine, Element* hardware)
{
    return Xml::child(hardware, "StorageControllers") ? hardware : machine;
}

// ---- writing

void writeRules(Element* nat, const std::vector<NatRule>& rules)
{
    Xml::match(
        nat, "Forwarding", "name", rules, [](const NatRule& rule) { return rule.name; },
        [](Element* element, const NatRule& rule) {
            Xml::setNumber(element, "proto", rule.protocol);
            Xml::setUnless(element, "hostip", L"", rule.hostIp);
            Xml::setNumberUnless(element, "hostport", 0, rule.hostPort);
            Xml::setUnless(element, "guestip", L"", rule.guestIp);
            Xml::setNumberUnless(element, "guestport", 0, rule.guestPort);
        });
}

void writeAdapter(Element* element, const NetworkAdapterSettings& adapter)
{
    Xml::setFlagUnless(element, "enabled", false, adapter.enabled);
    Xml::setFlagUnless(element, "cable", true, adapter.cableConnected);
    Xml::setUnless(element, "type", L"Am79C973", nameOf(adapterNames, adapter.type));
    Xml::setUnless(element, "MACAddress", L"", adapter.mac);

    const std::wstring attached = adapter.attachment ? nameOf(attachmentNames, adapter.attachment) : L"";
    for (const NamedValue& other : attachmentNames)
        if (attached != other.name)
            Xml::drop(element, toUtf8(other.name).c_str());
    if (!attached.empty())
        Xml::demand(element, toUtf8(attached).c_str());
    Element* disabled = Xml::child(element, "DisabledModes");
    if (attached == L"NAT") {
        if (disabled)
            Xml::drop(disabled, "NAT");
        writeRules(Xml::demand(element, "NAT"), adapter.rules);
    } else if (!adapter.rules.empty()) {
        writeRules(Xml::demand(Xml::demand(element, "DisabledModes"), "NAT"), adapter.rules);
    } else if (Element* nat = Xml::child(disabled, "NAT")) {
        writeRules(nat, {});
    }
}

/// An adapter that was never touched is left out, as VirtualBox leaves out defaults.
bool isDefault(const NetworkAdapterSettings& adapter)
{
    return !adapter.enabled && !adapter.attachment && adapter.rules.empty() && adapter.cableConnected &&
           adapter.type == 2;
}

void writeController(Element* element, const StorageControllerSettings& controller)
{
    Xml::set(element, "type", nameOf(controllerNames, controller.type));
    Xml::setNumber(element, "PortCount", controller.portCount);
    Xml::setFlag(element, "useHostIOCache", controller.useHostIoCache);
    Xml::setFlag(element, "Bootable", controller.bootable);

    const auto slotOf = [](const Element* device) {
        return std::pair(Xml::getNumber(device, "port", 0), Xml::getNumber(device, "device", 0));
    };
    std::vector<Element*> old = Xml::children(element, "AttachedDevice");
    for (const AttachmentSettings& attachment : controller.attachments) {
        Element* device = nullptr;
        for (Element*& candidate : old)
            if (candidate &&
                slotOf(candidate) == std::pair<std::int64_t, std::int64_t>(attachment.port, attachment.device))
                device = std::exchange(candidate, nullptr);
        if (!device)
            device = Xml::append(element, "AttachedDevice");
        Xml::set(device, "type", nameOf(deviceNames, attachment.type));
        Xml::setNumber(device, "port", attachment.port);
        Xml::setNumber(device, "device", attachment.device);
        Xml::setFlagUnless(device, "nonrotational", false, attachment.nonRotational);
        Xml::setFlagUnless(device, "discard", false, attachment.discard);
        if (attachment.medium.empty())
            Xml::drop(device, "Image");
        else
            Xml::set(Xml::demand(device, "Image"), "uuid", braced(attachment.medium));
    }
    for (Element* left : old)
        if (left)
            Xml::remove(left);
}

void writeMedia(Element* parent, const char* name, std::uint32_t deviceType, const std::wstring& parentId,
                const std::wstring& folder, const std::vector<MediumRecord>& media)
{
    std::vector<MediumRecord> here;
    for (const MediumRecord& record : media)
        if (record.deviceType == deviceType && record.parent == parentId)
            here.push_back(record);
    Xml::match(
        parent, name, "uuid", here, [](const MediumRecord& record) { return braced(record.id); },
        [&](Element* element, const MediumRecord& record) {
            Xml::set(element, "location", Files::relativeTo(folder, record.location));
            if (deviceType == DeviceKind::hardDisk) {
                Xml::set(element, "format", record.format);
                if (parentId.empty())
                    Xml::set(element, "type", record.type);
                writeMedia(element, name, deviceType, record.id, folder, media);
            }
        });
}

void writeMediaRegistry(Element* machine, const MachineSettings& settings, const std::wstring& folder)
{
    if (settings.media.empty() && !Xml::child(machine, "MediaRegistry"))
        return;
    Element* registry = Xml::demand(machine, "MediaRegistry");
    const struct
    {
        const char* list;
        const char* item;
        std::uint32_t deviceType;
    } kinds[] = {{"HardDisks", "HardDisk", DeviceKind::hardDisk},
                 {"DVDImages", "Image", DeviceKind::dvd},
                 {"FloppyImages", "Image", DeviceKind::floppy}};
    for (const auto& kind : kinds) {
        bool any = Xml::child(registry, kind.list) != nullptr;
        for (const MediumRecord& record : settings.media)
            any = any || record.deviceType == kind.deviceType;
        if (any)
            writeMedia(Xml::demand(registry, kind.list), kind.item, kind.deviceType, L"", folder, settings.media);
    }
}

void writeHardware(Element* hardware, const MachineSettings& settings)
{
    Xml::setUnless(hardware, "uuid", L"", settings.hardwareId.empty() ? L"" : braced(settings.hardwareId));
    Xml::setNumber(Xml::demand(hardware, "CPU"), "count", settings.cpuCount);
    Xml::setNumber(Xml::demand(hardware, "Memory"), "RAMSize", settings.memoryMegabytes);
    if (settings.chipset != 1 || Xml::child(hardware, "Chipset"))
        Xml::set(Xml::demand(hardware, "Chipset"), "type", VBoxSim::nameOf(chipsetNames, settings.chipset));
    Xml::set(Xml::demand(hardware, "Paravirt"), "provider", VBoxSim::nameOf(paravirtNames, settings.paravirt));

    std::vector<NetworkAdapterSettings> adapters;
    for (const NetworkAdapterSettings& adapter : settings.adapters)
        if (!isDefault(adapter))
            adapters.push_back(adapter);
    Xml::match(
        Xml::demand(hardware, "Network"), "Adapter", "slot", adapters,
        [](const NetworkAdapterSettings& adapter) { return std::to_wstring(adapter.slot); }, writeAdapter);

    Element* audio = Xml::demand(hardware, "AudioAdapter");
    Xml::set(audio, "controller", VBoxSim::nameOf(audioControllerNames, settings.audio.controller));
    Xml::setUnless(audio, "codec", L"STAC9700", VBoxSim::nameOf(audioCodecNames, settings.audio.codec));
    Xml::set(audio, "driver", VBoxSim::nameOf(audioDriverNames, settings.audio.driver));
    Xml::setFlag(audio, "enabled", settings.audio.enabled);
    Xml::setFlagUnless(audio, "enabledIn", true, settings.audio.enabledIn);
    Xml::setFlagUnless(audio, "enabledOut", true, settings.audio.enabledOut);

    Xml::match(
        Xml::demand(hardware, "SharedFolders"), "SharedFolder", "name", settings.sharedFolders,
        [](const SharedFolderSettings& folder) { return folder.name; },
        [](Element* element, const SharedFolderSettings& folder) {
            Xml::set(element, "hostPath", folder.hostPath);
            Xml::setFlag(element, "writable", folder.writable);
            Xml::setFlag(element, "autoMount", folder.autoMount);
            Xml::setUnless(element, "autoMountPoint", L"", folder.autoMountPoint);
        });
    Xml::match(
        Xml::demand(hardware, "GuestProperties"), "GuestProperty", "name", settings.guestProperties,
        [](const auto& entry) { return entry.first; },
        [](Element* element, const auto& entry) {
            Xml::set(element, "value", entry.second.value);
            Xml::setNumber(element, "timestamp", entry.second.timestamp);
            Xml::set(element, "flags", entry.second.flags);
        });
}

void writeMachine(Element* machine, const MachineSettings& settings, const std::wstring& folder)
{
    Xml::set(machine, "uuid", braced(settings.id));
    Xml::set(machine, "name", settings.name);
    Xml::setUnless(machine, "OSType", L"", settings.osType);
    Xml::set(machine, "snapshotFolder", settings.snapshotFolder);
    Xml::set(machine, "lastStateChange", Time::toIso(settings.lastStateChange));
    Xml::setFlagUnless(machine, "aborted", false, settings.aborted);
    Xml::setUnless(machine, "stateFile", L"", settings.stateFile);
    Xml::setUnless(machine, "currentSnapshot", L"",
                   settings.currentSnapshot.empty() ? L"" : braced(settings.currentSnapshot));
    if (settings.description.empty())
        Xml::drop(machine, "Description");
    else if (Xml::textOf(Xml::child(machine, "Description")) != settings.description)
        Xml::setText(Xml::demand(machine, "Description"), settings.description);

    writeMediaRegistry(machine, settings, folder);
    Xml::match(
        Xml::demand(machine, "ExtraData"), "ExtraDataItem", "name", settings.extraData,
        [](const auto& entry) { return entry.first; },
        [](Element* element, const auto& entry) { Xml::set(element, "value", entry.second); });
    Element* hardware = Xml::demand(machine, "Hardware");
    writeHardware(hardware, settings);
    Xml::match(
        Xml::demand(storageParent(machine, hardware), "StorageControllers"), "StorageController", "name",
        settings.controllers, [](const StorageControllerSettings& controller) { return controller.name; },
        writeController);
}

} // namespace

MachineSettings loadMachineSettings(const std::wstring& file)
{
    return parseMachineSettings(Files::read(file), file);
}

MachineSettings parseMachineSettings(std::string text, const std::wstring& file)
{
    MachineSettings settings;
    settings.source = std::move(text);
    Xml::DocumentPtr document = Xml::parseUntrusted(settings.source);
    Element* root = document->documentElement();
    if (!root || root->nodeName() != "VirtualBox")
        throw Failure(Result::xmlError, L"'" + file + L"' is not a VirtualBox settings file");
    Element* machine = Xml::child(root, "Machine");
    if (!machine)
        throw Failure(Result::xmlError, L"'" + file + L"' describes no machine");
    const std::wstring folder = Files::folderOf(file);

    settings.id = demandUuid(machine, "uuid");
    settings.name = Xml::get(machine, "name");
    if (settings.name.empty())
        throw Failure(Result::xmlError, L"The machine of '" + file + L"' has no name");
    settings.osType = Xml::get(machine, "OSType");
    settings.snapshotFolder = Xml::get(machine, "snapshotFolder", L"Snapshots");
    settings.lastStateChange = Time::fromIso(Xml::get(machine, "lastStateChange"));
    settings.aborted = Xml::getFlag(machine, "aborted", false);
    settings.stateFile = Xml::get(machine, "stateFile");
    settings.currentSnapshot = parseUuid(Xml::get(machine, "currentSnapshot")).value_or(L"");
    settings.description = Xml::textOf(Xml::child(machine, "Description"));
    for (const Element* item : Xml::children(Xml::child(machine, "ExtraData"), "ExtraDataItem"))
        settings.extraData[Xml::get(item, "name")] = Xml::get(item, "value");

    Element* registry = Xml::child(machine, "MediaRegistry");
    readMedia(Xml::child(registry, "HardDisks"), "HardDisk", DeviceKind::hardDisk, folder, L"", settings.media);
    readMedia(Xml::child(registry, "DVDImages"), "Image", DeviceKind::dvd, folder, L"", settings.media);
    readMedia(Xml::child(registry, "FloppyImages"), "Image", DeviceKind::floppy, folder, L"", settings.media);

    Element* hardware = Xml::child(machine, "Hardware");
    readHardware(hardware, settings);
    Element* controllers = Xml::child(storageParent(machine, hardware), "StorageControllers");
    for (Element* controller : Xml::children(controllers, "StorageController"))
        settings.controllers.push_back(readController(controller));
    readSnapshots(machine, settings);
    return settings;
}

std::string renderMachineSettings(const MachineSettings& settings, const std::wstring& file)
{
    Xml::DocumentPtr document = Xml::parse(settings.source.empty() ? emptyMachine : settings.source);
    writeMachine(Xml::child(document->documentElement(), "Machine"), settings, Files::folderOf(file));
    return Xml::write(document);
}

MachineSettings newMachineSettings(const std::wstring& name, const std::wstring& osType)
{
    MachineSettings settings;
    settings.id = newUuid();
    settings.name = name;
    settings.osType = osType;
    settings.lastStateChange = Time::nowMilliseconds();
    fitAdapters(settings);
    settings.adapters[0].enabled = true;
    settings.adapters[0].attachment = 1;
    return settings;
}

std::wstring newMacAddress()
{
    static std::mt19937 random{std::random_device{}()};
    std::wstring address = L"080027";
    for (int i = 0; i < 6; ++i)
        address += L"0123456789ABCDEF"[random() % 16];
    return address;
}

std::uint32_t adapterCount(std::uint32_t chipset)
{
    constexpr std::uint32_t ich9 = 2;
    return chipset == ich9 ? 36 : 8;
}

void fitAdapters(MachineSettings& settings)
{
    const std::uint32_t before = static_cast<std::uint32_t>(settings.adapters.size());
    settings.adapters.resize(adapterCount(settings.chipset));
    for (std::uint32_t slot = before; slot < settings.adapters.size(); ++slot) {
        settings.adapters[slot].slot = slot;
        settings.adapters[slot].mac = newMacAddress();
    }
}

} // namespace VBoxSim
