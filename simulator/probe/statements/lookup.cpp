// Finding registered machines, and opening settings files.
#include "files.h"
#include "lab.h"

namespace Probe {
namespace {

using enum Ground;

HRESULT lookUp(Lab& lab, const std::wstring& text, ComPtr<IMachine>& machine)
{
    return lab.box->FindMachine(Text(text), &machine);
}

Finding finds(Lab& lab, const ComPtr<IMachine>& wanted, const std::wstring& by)
{
    ComPtr<IMachine> found;
    const HRESULT result = lookUp(lab, by, found);
    if (FAILED(result))
        return answers(Result::Ok, result);
    return equal(text(wanted, &IMachine::get_Id), text(found, &IMachine::get_Id));
}

Finding findsNothing(Lab& lab, const std::wstring& by)
{
    ComPtr<IMachine> found;
    const Finding result = answers(Result::ObjectNotFound, lookUp(lab, by, found));
    return all({result, says(!found, "no machine", found ? "a machine" : "no machine")});
}

std::wstring upper(std::wstring text)
{
    CharUpperW(text.data());
    return text;
}

Finding byName(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    return finds(lab, machine, text(machine, &IMachine::get_Name));
}

Finding byUuid(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    const std::wstring id = text(machine, &IMachine::get_Id);
    return all({finds(lab, machine, id), finds(lab, machine, L"{" + id + L"}"), finds(lab, machine, upper(id))});
}

Finding byPath(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    const std::wstring file = settingsFileOf(machine).wstring();
    return all({finds(lab, machine, file), finds(lab, machine, upper(file))});
}

Finding caseOfName(Lab& lab)
{
    return findsNothing(lab, upper(text(lab.machine(), &IMachine::get_Name)));
}

Finding nameLikeUuid(Lab& lab)
{
    const std::wstring name = L"6d1f1b9a-0c8e-4a53-9a3c-1b2c3d4e5f61";
    const ComPtr<IMachine> machine = lab.create(name);
    must(lab.box->RegisterMachine(machine.Get()));
    return findsNothing(lab, name);
}

Finding notYetRegistered(Lab& lab)
{
    return findsNothing(lab, text(lab.unregistered(), &IMachine::get_Name));
}

Finding listed(Lab& lab)
{
    const std::wstring id = text(lab.machine(), &IMachine::get_Id);
    for (const ComPtr<IMachine>& machine : array(lab.box, &IVirtualBox::get_Machines).objects<IMachine>())
        if (text(machine, &IMachine::get_Id) == id)
            return yes(true);
    return yes(false);
}

Finding idText(Lab& lab)
{
    const std::wstring id = text(lab.create(), &IMachine::get_Id);
    const bool plain = id.size() == 36 && id.find_first_not_of(L"0123456789abcdef-") == std::wstring::npos;
    return says(plain, "36 characters, lower case, no braces", utf8(id));
}

Finding states(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    Array found;
    must(lab.box->GetMachineStates(Array::of<IMachine>({machine}), found.put()));
    const std::vector<LONG> numbers = found.numbers();
    return says(numbers == std::vector<LONG>{MachineState::PoweredOff}, "PoweredOff",
                numbers.size() == 1 ? std::to_string(numbers[0]) : "an array of another size");
}

// ---- guest types

HRESULT guestType(Lab& lab, const wchar_t* id, ComPtr<IGuestOSType>& type)
{
    return lab.box->GetGuestOSType(Text(id), &type);
}

Finding guestTypeInAnyCase(Lab& lab)
{
    ComPtr<IGuestOSType> type;
    must(guestType(lab, L"windows10_64", type));
    return all({equal(L"Windows10_64", text(type, &IGuestOSType::get_Id)),
                yes(read(type, &IGuestOSType::get_Is64Bit) != FALSE)});
}

Finding unknownGuestType(Lab& lab)
{
    ComPtr<IGuestOSType> type;
    return all({answers(Result::ObjectNotFound, guestType(lab, L"NoSuchSystem", type)),
                answers(Result::ObjectNotFound, guestType(lab, L"", type))});
}

// ---- settings files

/// A settings file as 6.1 writes it, with some more at two places.
std::string settingsText(const std::string& version, const std::string& more = "", const std::string& audio = "Null")
{
    return "<?xml version=\"1.0\"?>\n<VirtualBox xmlns=\"http://www.virtualbox.org/\" version=\"" + version +
           "\">\n  <Machine uuid=\"{6d1f1b9a-0c8e-4a53-9a3c-1b2c3d4e5f62}\" name=\"Opened\" OSType=\"Other\" "
           "snapshotFolder=\"Snapshots\" lastStateChange=\"2024-02-03T04:05:06Z\">\n" +
           more +
           "    <Hardware>\n      <CPU count=\"2\"><PAE enabled=\"false\"/></CPU>\n      <Memory RAMSize=\"77\"/>\n"
           "      <AudioAdapter driver=\"" +
           audio + "\"/>\n    </Hardware>\n  </Machine>\n</VirtualBox>\n";
}

HRESULT openText(Lab& lab, const std::string& content, ComPtr<IMachine>& machine)
{
    const std::filesystem::path file = lab.newFile(L".vbox");
    writeText(file, content);
    return lab.box->OpenMachine(Text(file.wstring()), &machine);
}

Finding opens(Lab& lab)
{
    ComPtr<IMachine> machine;
    must(openText(lab, settingsText("1.15-windows"), machine));
    ComPtr<IMachine> found;
    return all({equal(L"Opened", text(machine, &IMachine::get_Name)),
                equal(77, read(machine, &IMachine::get_MemorySize)),
                answers(Result::ObjectNotFound, lookUp(lab, L"Opened", found)),
                no(read(machine, &IMachine::get_SettingsModified) != FALSE)});
}

Finding opensFuture(Lab& lab)
{
    ComPtr<IMachine> machine;
    must(openText(lab, settingsText("1.19-windows", "    <Novelty value=\"1\"/>\n"), machine));
    return equal(77, read(machine, &IMachine::get_MemorySize));
}

Finding refusesText(Lab& lab, const std::string& content)
{
    ComPtr<IMachine> machine;
    return answersOneOf({Result::Fail, Result::XMLError}, openText(lab, content, machine));
}

Finding refusesKnownUuid(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    const std::filesystem::path copy = lab.newFile(L".vbox");
    writeText(copy, readText(settingsFileOf(machine)));
    ComPtr<IMachine> opened;
    return answers(Result::Fail, lab.box->OpenMachine(Text(copy.wstring()), &opened));
}

Finding missingFile(Lab& lab)
{
    ComPtr<IMachine> machine;
    const HRESULT result = lab.box->OpenMachine(Text(lab.newFile(L".vbox").wstring()), &machine);
    return all({answersOneOf({Result::FileError, Result::Fail}, result), yes(!machine)});
}

Finding relativeFile(Lab& lab)
{
    ComPtr<IMachine> machine;
    return answers(Result::FileError, lab.box->OpenMachine(Text(L"relative\\Player.vbox"), &machine));
}

} // namespace

Subject lookupStatements()
{
    return {
        "lookup",
        "Finding and opening",
        {
            {"lookup.name", "A registered machine is found by its exact name.", Documented, byName},
            {"lookup.uuid", "It is found by its UUID, in either case and with or without braces.", Documented, byUuid},
            {"lookup.path", "It is found by the full path of its settings file, whatever the case.", Documented,
             byPath},
            {"lookup.case", "Names are compared with their case.", Documented, caseOfName},
            {"lookup.name-like-uuid", "A text that is a UUID is looked up as a UUID only, never as a name.", Documented,
             nameLikeUuid},
            {"lookup.unknown", "An unknown name gives `VBOX_E_OBJECT_NOT_FOUND` and no machine.", Documented,
             [](Lab& lab) { return findsNothing(lab, lab.newName()); }},
            {"lookup.empty", "So does an empty one.", Documented, [](Lab& lab) { return findsNothing(lab, L""); }},
            {"lookup.unregistered", "A machine that is not registered is not found.", Documented, notYetRegistered},
            {"lookup.list", "The list of machines has every registered one.", Documented, listed},
            {"lookup.id", "Identifiers are told in lower case without braces.", Documented, idText},
            {"lookup.states", "The states of several machines can be asked at once.", Documented, states},
            {"lookup.inaccessible",
             "Of a machine whose file cannot be read only identifier, path, accessibility and `Unregister` work, and "
             "it is found by its UUID only.",
             Documented, nullptr, "a file becomes unreadable for VirtualBox only when its server starts"},
            {"lookup.inaccessible-others", "Its other calls give `E_ACCESSDENIED`.", Assumed, nullptr, "as before"},
            {"lookup.guest-type", "Guest types are found whatever the case of their identifier.", Documented,
             guestTypeInAnyCase},
            {"lookup.unknown-guest-type", "An unknown or empty guest type gives `VBOX_E_OBJECT_NOT_FOUND`.", Documented,
             unknownGuestType},
            {"lookup.open", "Opening a settings file gives a machine that is not registered and not modified.",
             Documented, opens},
            {"lookup.open-future", "A file of a later version is opened; what it has more is ignored.", Documented,
             opensFuture},
            {"lookup.open-damaged", "A file that is no XML is refused, with `E_FAIL` or `VBOX_E_XML_ERROR`.",
             Documented, [](Lab& lab) { return refusesText(lab, settingsText("1.15-windows").substr(0, 300)); }},
            {"lookup.open-old", "A file of a version before 1.3 is refused in the same way.", Documented,
             [](Lab& lab) { return refusesText(lab, settingsText("1.2-windows")); }},
            {"lookup.open-unknown-word",
             "So is one with a word that VirtualBox does not know, as an audio driver `WAS`.", Documented,
             [](Lab& lab) { return refusesText(lab, settingsText("1.15-windows", "", "WAS")); }},
            {"lookup.open-known-uuid", "A file with the UUID of a registered machine gives `E_FAIL`.", Documented,
             refusesKnownUuid},
            {"lookup.open-missing",
             "A missing file is refused: with `VBOX_E_FILE_ERROR` by the documents, with `E_FAIL` by the sources.",
             Documented, missingFile},
            {"lookup.open-relative", "A path that is not a full one gives `VBOX_E_FILE_ERROR`.", Documented,
             relativeFile},
        }};
}

} // namespace Probe
