#include "settings/machine_settings.h"

#include <algorithm>
#include <random>

#include "base/failure.h"
#include "base/files.h"
#include "base/time.h"
#include "settings/machine_reader.h"
#include "settings/machine_writer.h"

namespace VBoxSim {

namespace {

using Xml::Element;

/// What VirtualBox 6.1 makes a new machine from, as far as its settings are not modelled.
constexpr const char* newMachine = R"(<?xml version="1.0"?>
<VirtualBox xmlns="http://www.virtualbox.org/" version="1.12-windows">
  <Machine>
    <Hardware>
      <CPU>
        <PAE enabled="true"/>
        <LongMode enabled="true"/>
        <HardwareVirtExLargePages enabled="true"/>
      </CPU>
      <RemoteDisplay enabled="false"/>
    </Hardware>
  </Machine>
</VirtualBox>)";

/// The root of a settings file, and its version. Throws Failure(fail) for a file that is none.
std::pair<Element*, SettingsVersion> openRoot(const Xml::DocumentPtr& document)
{
    Element* root = Xml::root(document);
    if (!root || root->localName() != "VirtualBox")
        throw Failure(Result::fail, L"This is not a VirtualBox settings file");
    const std::string* text = Xml::find(root, "version");
    const auto version = text ? parseSettingsVersion(*text) : std::nullopt;
    if (!version)
        refuseElement(root, L"has no version that can be read");
    return {root, *version};
}

Element* machineOf(Element* root)
{
    Element* machine = Xml::child(root, "Machine");
    if (!machine)
        refuseElement(root, L"describes no machine");
    return machine;
}

std::string versionText(const std::string& text)
{
    const Xml::DocumentPtr document = Xml::parse(text);
    const std::string* version = Xml::find(Xml::root(document), "version");
    return version ? *version : std::string();
}

} // namespace

MachineSettings loadMachineSettings(const std::wstring& file)
{
    try {
        return parseMachineSettings(Files::read(file), file);
    } catch (const Failure& failure) {
        if (failure.code() != Result::fileError)
            throw;
        throw Failure(Result::fail, failure.text()); // as VirtualBox answers for a file that cannot be read
    }
}

MachineSettings parseMachineSettings(std::string text, const std::wstring& file)
{
    MachineSettings settings;
    settings.source = std::move(text);
    try {
        const Xml::DocumentPtr document = Xml::parse(settings.source);
        const auto [root, version] = openRoot(document);
        readMachine(machineOf(root), version, Files::folderOf(file), settings);
    } catch (const Failure& failure) {
        const ResultCode code = failure.code() == Result::xmlError ? Result::fail : failure.code();
        throw Failure(code, L"'" + file + L"' cannot be used: " + failure.text());
    }
    return settings;
}

std::string renderMachineSettings(const MachineSettings& settings, const std::wstring& file)
{
    const Xml::DocumentPtr document = Xml::parse(settings.source.empty() ? newMachine : settings.source);
    const auto [root, version] = openRoot(document);
    Element* machine = machineOf(root);
    writeMachine(machine, version, settings, Files::folderOf(file));
    const SettingsVersion known = std::min(version, newestVersion);
    // What the old version has, but does not look at, does not count.
    const bool newGroups = version < firstWithGroups && settings.groups != MachineSettings().groups;
    const bool newMedia = version < firstWithMedia && !settings.media.empty();
    const SettingsVersion wanted = std::max({known, neededVersion(machine, version), newMedia ? firstWithMedia : known,
                                             newGroups ? firstWithGroups : known, oldestWrittenVersion});
    if (wanted != version)
        changeVersion(root, version, wanted);
    if (newGroups)
        writeGroups(machine, settings.groups);
    return Xml::write(*document);
}

std::optional<std::wstring> outdatedCopy(const std::string& oldText, const std::string& newText,
                                         const std::wstring& file)
{
    if (oldText.empty()) // a new machine
        return std::nullopt;
    const std::string before = versionText(oldText);
    const auto old = parseSettingsVersion(before);
    const auto fresh = parseSettingsVersion(versionText(newText));
    if (!old || !fresh || *old >= *fresh)
        return std::nullopt;
    return Files::join(Files::folderOf(file), Files::stemOf(file) + L"-" + fromUtf8(before) + L".vbox");
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
    settings.adapters[0].attachment = Travik::NetworkAttachmentType::NAT;
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
    return chipset == Travik::ChipsetType::ICH9 ? 36 : 8;
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
