#include "settings/global_settings.h"

#include "base/failure.h"
#include "base/files.h"
#include "base/xml.h"

namespace VBoxSim {

namespace {

constexpr const char* nothingRegistered = R"(<?xml version="1.0"?>
<VirtualBox xmlns="http://www.virtualbox.org/" version="1.12-windows"><Global/></VirtualBox>)";

constexpr const char* movesToAttribute = "vboxsimMovesTo";

/// Finds a settings file whose rename was interrupted: still in its place, in the renamed folder, or there with its new
/// name.
std::wstring whereverItIs(const std::wstring& from, const std::wstring& to)
{
    for (const std::wstring& place : {from, to, Files::join(Files::folderOf(to), Files::nameOf(from))})
        if (Files::exists(place))
            return place;
    return from;
}

Xml::Element* globalElement(const Xml::DocumentPtr& document)
{
    Xml::Element* root = Xml::root(document);
    Xml::Element* global = root && root->localName() == "VirtualBox" ? Xml::child(root, "Global") : nullptr;
    if (!global)
        throw Failure(Result::xmlError, L"VirtualBox.xml has no <Global>");
    return global;
}

} // namespace

GlobalSettings loadGlobalSettings(const std::wstring& file)
{
    return Files::exists(file) ? parseGlobalSettings(Files::read(file), file) : GlobalSettings();
}

GlobalSettings parseGlobalSettings(std::string text, const std::wstring& file)
{
    GlobalSettings settings;
    settings.source = std::move(text);
    Xml::DocumentPtr document = Xml::parse(settings.source);
    Xml::Element* global = globalElement(document);
    const std::wstring home = Files::folderOf(file);

    for (const Xml::Element* entry : Xml::children(Xml::child(global, "MachineRegistry"), "MachineEntry")) {
        const auto id = parseUuid(Xml::get(entry, "uuid"));
        if (!id)
            throw Failure(Result::xmlError, L"A <MachineEntry> has no valid UUID");
        GlobalSettings::Machine machine{*id, Files::resolve(home, Xml::get(entry, "src"))};
        const std::wstring movesTo = Xml::get(entry, movesToAttribute);
        if (!movesTo.empty())
            machine.file = whereverItIs(machine.file, Files::resolve(home, movesTo));
        settings.machines.push_back(machine);
    }
    for (const Xml::Element* item : Xml::children(Xml::child(global, "ExtraData"), "ExtraDataItem"))
        settings.extraData[Xml::get(item, "name")] = Xml::get(item, "value");
    const std::wstring folder = Xml::get(Xml::child(global, "SystemProperties"), "defaultMachineFolder");
    if (!folder.empty())
        settings.defaultMachineFolder = Files::resolve(home, folder);
    return settings;
}

std::string renderGlobalSettings(const GlobalSettings& settings, const std::wstring& file)
{
    Xml::DocumentPtr document = Xml::parse(settings.source.empty() ? nothingRegistered : settings.source);
    Xml::Element* global = globalElement(document);
    const std::wstring home = Files::folderOf(file);
    Xml::match(
        Xml::demand(global, "ExtraData"), "ExtraDataItem", "name", settings.extraData,
        [](const auto& entry) { return entry.first; },
        [](Xml::Element* element, const auto& entry) { Xml::set(element, "value", entry.second); });
    Xml::match(
        Xml::demand(global, "MachineRegistry"), "MachineEntry", "uuid", settings.machines,
        [](const GlobalSettings::Machine& machine) { return braced(machine.id); },
        [&](Xml::Element* element, const GlobalSettings::Machine& machine) {
            Xml::set(element, "src", Files::relativeTo(home, machine.file));
            Xml::setUnless(element, movesToAttribute, L"",
                           machine.movesTo.empty() ? L"" : Files::relativeTo(home, machine.movesTo));
        });
    Xml::setUnless(Xml::demand(global, "SystemProperties"), "defaultMachineFolder", L"",
                   settings.defaultMachineFolder.empty() ? L""
                                                         : Files::relativeTo(home, settings.defaultMachineFolder));
    return Xml::write(*document);
}

} // namespace VBoxSim
