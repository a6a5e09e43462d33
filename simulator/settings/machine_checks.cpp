#include "settings/machine_checks.h"

#include <algorithm>
#include <set>

#include "settings/machine_reader.h"

namespace VBoxSim {

namespace {

using Xml::Element;

enum class Case
{
    Counts,
    Ignored
};

/// An attribute that has one of these words when it is there.
struct WordRule
{
    std::vector<const char*> path; ///< from <Hardware> to the element; every element of these names
    const char* attribute;
    Case letters;
    std::vector<const wchar_t*> words;
};

const std::vector<WordRule>& wordRules()
{
    static const std::vector<WordRule> rules = {
        {{"Firmware"}, "type", Case::Counts, {L"BIOS", L"EFI", L"EFI32", L"EFI64", L"EFIDUAL", L"1", L"2"}},
        {{"Boot", "Order"}, "device", Case::Counts, {L"None", L"Floppy", L"DVD", L"HardDisk", L"Network"}},
        {{"Display"}, "controller", Case::Ignored, {L"VBoxVGA", L"VMSVGA", L"VBoxSVGA", L"None"}},
        {{"RemoteDisplay"}, "authType", Case::Ignored, {L"Null", L"Guest", L"External"}},
        {{"BIOS", "APIC"}, "mode", Case::Ignored, {L"Disabled", L"APIC", L"X2APIC"}},
        {{"BIOS", "BootMenu"}, "mode", Case::Ignored, {L"Disabled", L"MenuOnly", L"MessageAndMenu"}},
        {{"USB", "Controllers", "Controller"}, "type", Case::Counts, {L"OHCI", L"EHCI", L"XHCI"}},
        {{"Network", "Adapter"}, "promiscuousModePolicy", Case::Counts, {L"Deny", L"AllowNetwork", L"AllowAll"}},
        {{"DragAndDrop"}, "mode", Case::Counts, {L"Disabled", L"HostToGuest", L"GuestToHost", L"Bidirectional"}},
        {{"IO", "BandwidthGroups", "BandwidthGroup"}, "type", Case::Counts, {L"Disk", L"Network"}}};
    return rules;
}

std::vector<Element*> elementsAt(const Element* hardware, const std::vector<const char*>& path)
{
    std::vector<Element*> found = Xml::children(hardware, path[0]);
    for (std::size_t i = 1; i < path.size(); ++i) {
        std::vector<Element*> inner;
        for (const Element* element : found)
            for (Element* child : Xml::children(element, path[i]))
                inner.push_back(child);
        found = std::move(inner);
    }
    return found;
}

void checkWord(const Element* element, const WordRule& rule)
{
    const std::wstring text = Xml::get(element, rule.attribute);
    const bool known = std::any_of(rule.words.begin(), rule.words.end(), [&](const wchar_t* word) {
        return rule.letters == Case::Ignored ? equalIgnoringCase(text, word) : text == word;
    });
    if (Xml::find(element, rule.attribute) && !known)
        refuseElement(element,
                      L"has the unknown word '" + text + L"' as its attribute '" + fromUtf8(rule.attribute) + L"'");
}

bool hasFlag(const Element* element, const char* attribute)
{
    return Xml::getFlag(element, attribute, true) == Xml::getFlag(element, attribute, false);
}

bool hasNumber(const Element* element, const char* attribute)
{
    const std::string* text = Xml::find(element, attribute);
    return text && Xml::parseNumber(*text);
}

void checkBootOrder(const Element* hardware)
{
    std::set<std::int64_t> positions;
    for (const Element* order : elementsAt(hardware, {"Boot", "Order"})) {
        const std::int64_t position = Xml::getNumber(order, "position", 0);
        if (position < 1 || position > 4 || !positions.insert(position).second || !Xml::find(order, "device"))
            refuseElement(order, L"has a wrong position, or one that is taken, or no device");
    }
}

void checkPorts(const Element* hardware, const char* kind)
{
    std::set<std::int64_t> slots;
    for (const Element* port : elementsAt(hardware, {kind, "Port"})) {
        const bool complete =
            hasNumber(port, "slot") && hasFlag(port, "enabled") && hasNumber(port, "IOBase") && hasNumber(port, "IRQ");
        if (!complete || !slots.insert(Xml::getNumber(port, "slot", 0)).second)
            refuseElement(port, L"lacks its slot, state, address or interrupt, or has a slot that is taken");
    }
}

} // namespace

void checkHardware(const Element* hardware)
{
    for (const WordRule& rule : wordRules())
        for (const Element* element : elementsAt(hardware, rule.path))
            checkWord(element, rule);
    checkBootOrder(hardware);
    checkPorts(hardware, "UART");
    checkPorts(hardware, "LPT");
    for (const Element* port : elementsAt(hardware, {"UART", "Port"}))
        if (!Xml::find(port, "hostMode"))
            refuseElement(port, L"lacks its mode");
    for (const Element* group : elementsAt(hardware, {"IO", "BandwidthGroups", "BandwidthGroup"}))
        if (!Xml::find(group, "name") || !Xml::find(group, "type"))
            refuseElement(group, L"lacks its name or type");
}

} // namespace VBoxSim
