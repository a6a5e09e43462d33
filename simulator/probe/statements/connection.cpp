// Reaching VirtualBox, and what it says of itself.
#include <regex>

#include "lab.h"

namespace Probe {
namespace {

using enum Ground;

Finding matches(const std::wstring& seen, const wchar_t* pattern, const char* expected)
{
    return says(std::regex_match(seen, std::wregex(pattern)), expected, utf8(seen));
}

Finding version(Lab& lab)
{
    return matches(text(lab.box, &IVirtualBox::get_Version), LR"(6\.1\.\d+.*)", "6.1.<number>");
}

Finding normalizedVersion(Lab& lab)
{
    const std::wstring full = text(lab.box, &IVirtualBox::get_Version);
    return equal(full.substr(0, full.find(L'_')), text(lab.box, &IVirtualBox::get_VersionNormalized));
}

Finding apiRevision(Lab& lab)
{
    const std::wstring plain = text(lab.box, &IVirtualBox::get_VersionNormalized);
    const LONG64 build = std::stoll(plain.substr(plain.rfind(L'.') + 1));
    return equal((LONG64(6) << 56) | (LONG64(1) << 48) | (build << 40) | 1,
                 read(lab.box, &IVirtualBox::get_APIRevision));
}

Finding homeFolder(Lab& lab)
{
    const std::filesystem::path home = text(lab.box, &IVirtualBox::get_HomeFolder);
    const std::filesystem::path settings = text(lab.box, &IVirtualBox::get_SettingsFilePath);
    return says(home.is_absolute() && settings == home / L"VirtualBox.xml", "<home>\\VirtualBox.xml, with a full path",
                home.is_absolute() ? "<home>\\" + utf8(settings.filename().wstring()) : "a relative path");
}

Finding rootObjects(Lab& lab)
{
    return all({yes(object(lab.box, &IVirtualBox::get_Host) != nullptr),
                yes(object(lab.box, &IVirtualBox::get_SystemProperties) != nullptr),
                yes(object(lab.box, &IVirtualBox::get_EventSource) != nullptr)});
}

Finding oneServer(Lab& lab)
{
    ComPtr<IVirtualBox> second;
    must(CoCreateInstance(identity().virtualBoxClass, nullptr, CLSCTX_LOCAL_SERVER, identity().virtualBox,
                          reinterpret_cast<void**>(second.GetAddressOf())));
    const std::wstring name = lab.newName();
    const ComPtr<IMachine> made = lab.machine();
    ComPtr<IMachine> found;
    return answers(Result::Ok, second->FindMachine(Text(text(made, &IMachine::get_Name)), &found));
}

Finding ownSessions(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    const ComPtr<ISession> first = lab.session(), second = lab.session();
    must(machine->LockMachine(first.Get(), LockType::Write));
    const std::uint32_t other = read(second, &ISession::get_State);
    must(first->UnlockMachine());
    return sessionState(SessionState::Unlocked, other);
}

Finding noAggregation(Lab& lab)
{
    ComPtr<IUnknown> outer = query<IUnknown>(lab.session()), made;
    return answers(static_cast<std::uint32_t>(CLASS_E_NOAGGREGATION),
                   CoCreateInstance(identity().sessionClass, outer.Get(), CLSCTX_INPROC_SERVER, IID_IUnknown,
                                    reinterpret_cast<void**>(made.GetAddressOf())));
}

Finding lateBinding(Lab& lab)
{
    return all({yes(query<IDispatch>(lab.box) != nullptr), yes(query<IDispatch>(lab.session()) != nullptr),
                yes(query<IDispatch>(lab.create()) != nullptr)});
}

} // namespace

Subject connectionStatements()
{
    return {"connection",
            "Connection and versions",
            {
                {"connection.version", "`Version` is 6.1 and a build number, with a suffix in builds of others.",
                 Documented, version},
                {"connection.version-normalized", "`VersionNormalized` is that without the suffix.", Documented,
                 normalizedVersion},
                {"connection.api-revision",
                 "`APIRevision` packs major, minor and build number into its upper bytes, and ends in 1.", Documented,
                 apiRevision},
                {"connection.home", "The settings are in `VirtualBox.xml` of the home folder, a full path.", Documented,
                 homeFolder},
                {"connection.objects", "Host, system properties and event source are always there.", Documented,
                 rootObjects},
                {"connection.one-server", "A second activation reaches the same server, with the same machines.",
                 Documented, oneServer},
                {"connection.sessions", "Each session object is a session of its own.", Documented, ownSessions},
                {"connection.no-aggregation", "The session class refuses aggregation, with `CLASS_E_NOAGGREGATION`.",
                 Documented, noAggregation},
                {"connection.dispatch", "Every object has `IDispatch`.", Documented, lateBinding},
                {"connection.start-up-failure",
                 "A server that cannot start up is activated all the same; its first calls fail.", Documented, nullptr,
                 "it would need damaged global settings"},
                {"connection.lingering", "The server leaves some seconds after its last client.", Documented, nullptr,
                 "other programs may be clients too"},
            }};
}

} // namespace Probe
