#include "settings/settings_version.h"

#include <algorithm>
#include <set>

namespace VBoxSim {

namespace {

using Xml::child;
using Xml::Element;

bool flag(const Element* element, const char* name, bool otherwise)
{
    return Xml::getFlag(child(element, name), "enabled", otherwise);
}

std::string text(const Element* element, const char* attribute)
{
    const std::string* found = Xml::find(element, attribute);
    return found ? *found : std::string();
}

/// Whether the attribute is there and says something else than the usual.
bool differs(const Element* element, const char* attribute, std::string_view usual)
{
    const std::string* found = Xml::find(element, attribute);
    return found && *found != usual;
}

template <class Test>
bool any(const std::vector<Element*>& elements, Test&& test)
{
    return std::any_of(elements.begin(), elements.end(), test);
}

/// What the rules look at.
struct Parts
{
    Element* machine;
    Element* hardware;
    SettingsVersion version;
    std::vector<Element*> controllers;
    std::vector<Element*> devices;
    std::vector<Element*> adapters;

    Element* part(const char* name) const { return child(hardware, name); }
    Element* part(const char* name, const char* inner) const { return child(part(name), inner); }
    bool hasController(std::string_view type) const
    {
        return any(controllers, [&](const Element* element) { return text(element, "type") == type; });
    }
};

Parts partsOf(Element* machine, SettingsVersion version)
{
    Parts parts{machine, child(machine, "Hardware"), version, {}, {}, {}};
    for (Element* list : storageLists(machine))
        for (Element* controller : Xml::children(list, "StorageController")) {
            parts.controllers.push_back(controller);
            for (Element* device : Xml::children(controller, "AttachedDevice"))
                parts.devices.push_back(device);
        }
    parts.adapters = Xml::children(parts.part("Network"), "Adapter");
    return parts;
}

bool needs18(const Parts& parts)
{
    return !text(parts.part("BIOS", "NVRAM"), "path").empty() || parts.hasController("VirtioSCSI");
}

bool needs17(const Parts& parts)
{
    const Element* cpu = parts.part("CPU");
    const std::string priority = text(parts.machine, "processPriority");
    return (priority == "Flat" || priority == "Low" || priority == "Normal" || priority == "High") ||
           flag(cpu, "NestedHWVirt", false) || flag(cpu, "HardwareVirtExUseNativeApi", false) ||
           any(Xml::children(parts.part("SharedFolders"), "SharedFolder"),
               [](const Element* folder) { return !text(folder, "autoMountPoint").empty(); }) ||
           any(Xml::children(parts.part("UART"), "Port"),
               [](const Element* port) { return differs(port, "uartType", "16550A"); });
}

bool needs16(const Parts& parts)
{
    const Element* cpu = parts.part("CPU");
    const auto flushes = [&](const char* name) {
        const Element* element = child(cpu, name);
        return !Xml::getFlag(element, "scheduling", true) || Xml::getFlag(element, "vmentry", false);
    };
    const Element* barrier = child(cpu, "IBPBOn");
    return !text(parts.part("Paravirt"), "debug").empty() || differs(cpu, "CpuProfile", "host") ||
           differs(parts.part("BIOS", "APIC"), "mode", "APIC") || !flag(cpu, "APIC", true) ||
           flag(cpu, "X2APIC", false) || Xml::getFlag(barrier, "vmexit", false) ||
           Xml::getFlag(barrier, "vmentry", false) || flag(cpu, "SpecCtrl", false) ||
           flag(cpu, "SpecCtrlByHost", false) || flushes("L1DFlushOn") || flushes("MDSClearOn") ||
           parts.hasController("NVMe") ||
           any(Xml::children(child(cpu, "CpuIdTree"), "CpuIdLeaf"),
               [](const Element* leaf) { return Xml::getNumber(leaf, "subleaf", 0) != 0; });
}

bool isHotPluggable(const Element* controller, const Element* device, SettingsVersion version)
{
    return Xml::getFlag(device, "hotpluggable", version < 15 && text(controller, "type") == "AHCI");
}

bool needs15(const Parts& parts)
{
    const bool hotPlug = any(parts.devices, [&](const Element* device) {
        return isHotPluggable(device->parent, device, parts.version) != (text(device->parent, "type") == "AHCI");
    });
    return hotPlug || differs(parts.part("Paravirt"), "provider", "Legacy") ||
           Xml::getNumber(parts.part("CPU"), "CpuIdPortabilityLevel", 0) != 0 || parts.hasController("USB") ||
           any(Xml::children(parts.part("USB", "Controllers"), "Controller"),
               [](const Element* controller) { return text(controller, "type") == "XHCI"; }) ||
           any(Xml::children(parts.part("UART"), "Port"),
               [](const Element* port) { return text(port, "hostMode") == "TCP"; });
}

bool needs14(const Parts& parts)
{
    const Element* capture = child(parts.machine, "VideoCapture");
    return !text(parts.part("Frontend", "Default"), "type").empty() ||
           !text(parts.part("Frontend"), "default").empty() ||
           !equalIgnoringCase(Xml::get(parts.part("Display"), "controller", L"VBoxVGA"), L"VBoxVGA") ||
           child(parts.part("CPU"), "LongMode") || !text(parts.machine, "icon").empty() ||
           Xml::getFlag(capture, "enabled", false) ||
           any(parts.adapters, [](const Element* adapter) { return child(adapter, "NATNetwork") != nullptr; });
}

bool needs13(const Parts& parts)
{
    constexpr std::int64_t megabyte = 1 << 20;
    return flag(parts.machine, "Autostart", false) || Xml::getFlag(parts.machine, "directoryIncludesUUID", false) ||
           flag(child(parts.machine, "Debugging"), "Tracing", false) ||
           any(Xml::children(parts.part("IO", "BandwidthGroups"), "BandwidthGroup"),
               [](const Element* group) { return Xml::getNumber(group, "maxBytesPerSec", 0) % megabyte != 0; });
}

bool needs12(const Parts& parts)
{
    return child(parts.part("HostPci"), "Devices") || flag(parts.part("EmulatedUSB"), "CardReader", false) ||
           any(parts.adapters, [](const Element* adapter) {
               return differs(adapter, "promiscuousModePolicy", "Deny") || child(adapter, "GenericInterface");
           });
}

bool needs11(const Parts& parts)
{
    std::set<std::string> types;
    const bool twice = any(parts.controllers,
                           [&](const Element* controller) { return !types.insert(text(controller, "type")).second; });
    const Element* display = parts.part("RemoteDisplay");
    return twice || text(parts.part("AudioAdapter"), "controller") == "HDA" ||
           Xml::getNumber(parts.part("CPU"), "executionCap", 100) != 100 || !text(display, "VRDEExtPack").empty() ||
           !text(display, "authLibrary").empty() || child(display, "VRDEProperties") ||
           child(parts.part("IO"), "BandwidthGroups") || text(parts.part("Chipset"), "type") == "ICH9";
}

bool needs10(const Parts& parts)
{
    const Element* cache = parts.part("IO", "IoCache");
    const Element* hid = parts.part("HID");
    return any(parts.devices,
               [](const Element* device) { return !Xml::getFlag(device->parent, "useHostIOCache", true); }) ||
           !Xml::getFlag(cache, "enabled", true) || Xml::getNumber(cache, "size", 5) != 5 ||
           Xml::getFlag(parts.part("Memory"), "PageFusion", false) || text(parts.part("RTC"), "localOrUTC") == "UTC" ||
           Xml::getFlag(parts.part("CPU"), "hotplug", false) || differs(hid, "Pointing", "PS2Mouse") ||
           differs(hid, "Keyboard", "PS2Keyboard") || Xml::getFlag(parts.part("HPET"), "enabled", false) ||
           any(parts.adapters, [](const Element* adapter) { return Xml::getNumber(adapter, "bootPriority", 0) != 0; });
}

bool needs9(const Parts& parts)
{
    return differs(parts.part("Firmware"), "type", "BIOS") || child(parts.machine, "Teleporter") ||
           !text(parts.hardware, "uuid").empty() || any(parts.controllers, [](const Element* controller) {
               return Xml::getNumber(controller, "Instance", 0) != 0;
           });
}

void setDefault(Element* element, const char* attribute, const wchar_t* value)
{
    if (!Xml::find(element, attribute))
        Xml::set(element, attribute, value);
}

void writeOutDefaultsBefore16(Element* hardware)
{
    for (Element* adapter : Xml::children(child(hardware, "Network"), "Adapter")) {
        setDefault(adapter, "cable", L"false");
        setDefault(adapter, "type", L"Am79C970A");
    }
    Element* audio = Xml::demand(hardware, "AudioAdapter");
    setDefault(audio, "driver", L"Null");
    setDefault(audio, "enabled", L"true");
    setDefault(Xml::demand(hardware, "Paravirt"), "provider", L"Legacy");
    setDefault(Xml::demand(hardware, "RemoteDisplay"), "enabled", L"true");
}

void writeOutHardware(Element* hardware, SettingsVersion from, SettingsVersion to)
{
    const auto passes = [&](SettingsVersion version) { return from < version && to >= version; };
    if (passes(7))
        setDefault(hardware, "version", L"1");
    if (passes(9))
        setDefault(Xml::demand(Xml::demand(hardware, "CPU"), "PAE"), "enabled", L"false");
    if (passes(16))
        writeOutDefaultsBefore16(hardware);
    if (passes(17)) {
        Element* audio = Xml::demand(hardware, "AudioAdapter");
        setDefault(audio, "enabledIn", L"true");
        setDefault(audio, "enabledOut", L"true");
    }
}

void writeOutStorage(Element* holder, SettingsVersion from, SettingsVersion to)
{
    for (Element* list : storageLists(holder))
        for (Element* controller : Xml::children(list, "StorageController")) {
            const std::string name = text(controller, "name");
            if (from < 9 && to >= 9 && (name == "IDE" || name == "SATA" || name == "SCSI"))
                Xml::set(controller, "name", fromUtf8(name) + L" Controller");
            if (from < 15 && to >= 15)
                for (Element* device : Xml::children(controller, "AttachedDevice"))
                    Xml::setFlag(device, "hotpluggable", isHotPluggable(controller, device, from));
        }
}

void collectHardware(Element* parent, std::vector<Element*>& found)
{
    for (Element* snapshot : Xml::children(parent, "Snapshot")) {
        if (Element* hardware = child(snapshot, "Hardware"))
            found.push_back(hardware);
        collectHardware(child(snapshot, "Snapshots"), found);
    }
}

} // namespace

std::optional<SettingsVersion> parseSettingsVersion(const std::string& text)
{
    const std::size_t dot = text.find_first_not_of("0123456789");
    if (text.size() < 4 || dot == 0 || dot == std::string::npos || text[dot] != '.' || dot > 4)
        return std::nullopt;
    const std::size_t end = std::min(text.find_first_not_of("0123456789", dot + 1), text.size());
    if (end == dot + 1 || end > dot + 5)
        return std::nullopt;
    const int major = std::stoi(text.substr(0, dot));
    const int minor = std::stoi(text.substr(dot + 1, end - dot - 1));
    if (major > 1 || (major == 1 && minor > newestVersion))
        return futureVersion;
    return major == 1 && minor >= oldestReadVersion ? std::optional(minor) : std::nullopt;
}

std::vector<Element*> allHardware(Element* machine)
{
    std::vector<Element*> found;
    if (Element* own = child(machine, "Hardware"))
        found.push_back(own);
    collectHardware(machine, found);
    return found;
}

std::vector<Element*> storageLists(Element* holder)
{
    std::vector<Element*> lists;
    for (Element* parent : {holder, child(holder, "Hardware")})
        if (Element* list = child(parent, "StorageControllers"))
            lists.push_back(list);
    return lists;
}

SettingsVersion neededVersion(Element* machine, SettingsVersion version)
{
    const Parts parts = partsOf(machine, version);
    constexpr std::pair<SettingsVersion, bool (*)(const Parts&)> rules[] = {
        {18, needs18}, {17, needs17}, {16, needs16}, {15, needs15}, {14, needs14},
        {13, needs13}, {12, needs12}, {11, needs11}, {10, needs10}, {9, needs9}};
    for (const auto& [needed, applies] : rules)
        if (version < needed && applies(parts))
            return needed;
    return oldestWrittenVersion;
}

void changeVersion(Element* root, SettingsVersion from, SettingsVersion to)
{
    Element* machine = child(root, "Machine");
    if (from < 13 && to >= 13) // were not looked at
        Xml::drop(machine, "Groups");
    for (Element* hardware : allHardware(machine)) {
        writeOutHardware(hardware, from, to);
        writeOutStorage(hardware->parent, from, to);
    }
    const std::string old = text(root, "version");
    const std::size_t ending = old.find('-');
    Xml::set(root, "version",
             L"1." + std::to_wstring(to) + (ending == std::string::npos ? L"" : fromUtf8(old.substr(ending))));
}

} // namespace VBoxSim
