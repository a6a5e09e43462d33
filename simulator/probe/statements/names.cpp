// Where a machine of a name goes on disk.
#include <algorithm>

#include "lab.h"

namespace Probe {
namespace {

using enum Ground;

HRESULT compose(Lab& lab, const wchar_t* name, const wchar_t* group, const wchar_t* flags, Text& file)
{
    return lab.box->ComposeMachineFilename(Text(name), Text(group), Text(flags), Text(L"C:\\base"), file.put());
}

Finding composed(Lab& lab, const wchar_t* name, const wchar_t* group, const wchar_t* flags, const wchar_t* expected)
{
    Text file;
    must(compose(lab, name, group, flags, file));
    return equal(expected, file.str());
}

Finding refused(Lab& lab, const wchar_t* name, const wchar_t* group, const wchar_t* flags)
{
    Text file;
    return answers(Result::InvalidArg, compose(lab, name, group, flags, file));
}

Finding plain(Lab& lab)
{
    return composed(lab, L"Player", L"", L"", L"C:\\base\\Player\\Player.vbox");
}

Finding groupInName(Lab& lab)
{
    return composed(lab, L"Player", L"/games/old", L"", L"C:\\base\\games\\old\\Player\\Player.vbox");
}

Finding rootGroup(Lab& lab)
{
    return composed(lab, L"Player", L"/", L"", L"C:\\base\\Player\\Player.vbox");
}

Finding badGroup(Lab& lab)
{
    return refused(lab, L"Player", L"games", L"");
}

Finding defaultBase(Lab& lab)
{
    const auto properties = object(lab.box, &IVirtualBox::get_SystemProperties);
    const std::filesystem::path base = text(properties, &ISystemProperties::get_DefaultMachineFolder);
    Text file;
    must(lab.box->ComposeMachineFilename(Text(L"Player"), nullptr, nullptr, nullptr, file.put()));
    return says(base / L"Player" / L"Player.vbox" == file.str(), "below the default machine folder",
                base / L"Player" / L"Player.vbox" == file.str() ? "below it" : "elsewhere");
}

Finding touchesNothing(Lab& lab)
{
    const std::filesystem::path file = lab.fileFor(L"Never made");
    return no(std::filesystem::exists(file.parent_path()));
}

Finding unsafe(Lab& lab)
{
    return composed(lab, L"a:b*c?d<e>f|g\"h/i\\j", L"", L"",
                    L"C:\\base\\a_b_c_d_e_f_g_h_i_j\\a_b_c_d_e_f_g_h_i_j.vbox");
}

Finding plainPunctuation(Lab& lab)
{
    return composed(lab, L"a+b, c=d & e (1)", L"", L"", L"C:\\base\\a_b_ c_d _ e (1)\\a_b_ c_d _ e (1).vbox");
}

Finding ends(Lab& lab)
{
    return all({composed(lab, L".hidden", L"", L"", L"C:\\base\\_hidden\\_hidden.vbox"),
                composed(lab, L"dot.", L"", L"", L"C:\\base\\dot_\\dot_.vbox"),
                composed(lab, L" blank ", L"", L"", L"C:\\base\\_blank_\\_blank_.vbox")});
}

Finding letters(Lab& lab)
{
    return composed(lab, L"模拟器 é", L"", L"", L"C:\\base\\模拟器 é\\模拟器 é.vbox");
}

Finding beyondThePlane(Lab& lab)
{
    Text file;
    must(compose(lab, L"Game \U0001F3AE", L"", L"", file));
    const std::wstring made = file.str();
    const bool plain = std::none_of(made.begin(), made.end(), [](wchar_t c) { return c >= 0xD800 && c <= 0xDFFF; });
    return says(plain && made.starts_with(L"C:\\base\\Game _"), "'C:\\base\\Game _...'", utf8(made));
}

Finding folderWithUuid(Lab& lab)
{
    return composed(lab, L"Player", L"", L"UUID=6d1f1b9a-0c8e-4a53-9a3c-1b2c3d4e5f60,directoryIncludesUUID=1",
                    L"C:\\base\\Player (6d1f1b9a-0c8e-4a53-9a3c-1b2c3d4e5f60)\\Player.vbox");
}

} // namespace

Subject nameStatements()
{
    return {"names",
            "Names and files",
            {
                {"names.file", "A machine's file is `<base>\\<name>\\<name>.vbox`.", Documented, plain},
                {"names.group", "Groups are folders between the base and the machine.", Documented, groupInName},
                {"names.root-group", "The group `/` is no folder.", Documented, rootGroup},
                {"names.bad-group", "A group that does not begin with `/` gives `E_INVALIDARG`.", Documented, badGroup},
                {"names.default-base", "Without a base it is the default machine folder.", Documented, defaultBase},
                {"names.no-touch", "Composing a name touches nothing on disk.", Documented, touchesNothing},
                {"names.unsafe", "Each character that files cannot have becomes `_`.", Documented, unsafe},
                {"names.punctuation", "Of the characters of ASCII only letters, digits, blanks and `( ) - . _` stay.",
                 Documented, plainPunctuation},
                {"names.ends", "A dot at an end, and a blank at an end, become `_`.", Documented, ends},
                {"names.letters", "Letters of other scripts stay.", Documented, letters},
                {"names.emoji", "Characters beyond Unicode's first plane become `_`.", Documented, beyondThePlane},
                {"names.uuid-folder", "`directoryIncludesUUID=1` makes the folder `<name> (<uuid>)`.", Documented,
                 folderWithUuid},
                {"names.bad-uuid", "A malformed `UUID=` gives `E_INVALIDARG`.", Documented,
                 [](Lab& lab) { return refused(lab, L"Player", L"", L"UUID=nonsense"); }},
                {"names.empty", "An empty name gives `E_INVALIDARG`.", Documented,
                 [](Lab& lab) { return refused(lab, L"", L"", L""); }},
            }};
}

} // namespace Probe
