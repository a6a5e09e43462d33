// Folders of the host for the guest, kept in the machine's settings.
#include "lab.h"

namespace Probe {
namespace {

using enum Ground;

HRESULT share(const ComPtr<IMachine>& machine, const wchar_t* name, const std::filesystem::path& folder,
              BOOL writable = TRUE, BOOL automount = FALSE)
{
    return machine->CreateSharedFolder(Text(name), Text(folder.wstring()), writable, automount, Text(L""));
}

std::vector<ComPtr<ISharedFolder>> shares(const ComPtr<IMachine>& machine)
{
    return array(machine, &IMachine::get_SharedFolders).objects<ISharedFolder>();
}

ComPtr<ISharedFolder> onlyShare(const ComPtr<IMachine>& machine)
{
    const auto found = shares(machine);
    if (found.size() != 1)
        throw std::runtime_error("there are " + std::to_string(found.size()) + " shared folders");
    return found[0];
}

Finding reads(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.create();
    must(share(machine, L"exchange", lab.folder(), TRUE, TRUE));
    const auto folder = onlyShare(machine);
    return all({equal(L"exchange", text(folder, &ISharedFolder::get_Name)),
                equal(lab.folder().wstring(), text(folder, &ISharedFolder::get_HostPath)),
                yes(read(folder, &ISharedFolder::get_Writable) != FALSE),
                yes(read(folder, &ISharedFolder::get_AutoMount) != FALSE)});
}

Finding readOnly(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.create();
    must(share(machine, L"exchange", lab.folder(), FALSE));
    return no(read(onlyShare(machine), &ISharedFolder::get_Writable) != FALSE);
}

Finding accessible(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.create();
    must(share(machine, L"exchange", lab.folder()));
    const auto folder = onlyShare(machine);
    return all({yes(read(folder, &ISharedFolder::get_Accessible) != FALSE),
                equal(L"", text(folder, &ISharedFolder::get_LastAccessError))});
}

Finding missingPath(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.create();
    const HRESULT result = share(machine, L"exchange", lab.newFile(L""));
    if (FAILED(result))
        return answers(Result::Ok, result);
    return all({answers(Result::Ok, result), no(read(onlyShare(machine), &ISharedFolder::get_Accessible) != FALSE)});
}

Finding sharedTwice(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.create();
    must(share(machine, L"exchange", lab.folder()));
    return answers(Result::ObjectInUse, share(machine, L"exchange", lab.folder()));
}

Finding relativePath(Lab& lab)
{
    return answers(Result::InvalidArg, share(lab.create(), L"exchange", L"relative\\folder"));
}

Finding shareRemoved(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.create();
    must(share(machine, L"exchange", lab.folder()));
    must(machine->RemoveSharedFolder(Text(L"exchange")));
    return all({equal(0, static_cast<std::int64_t>(shares(machine).size())),
                answers(Result::ObjectNotFound, machine->RemoveSharedFolder(Text(L"exchange")))});
}

Finding sharedUnlocked(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    return all({answers(Result::InvalidVMState, share(machine, L"exchange", lab.folder())),
                answers(Result::InvalidVMState, machine->RemoveSharedFolder(Text(L"exchange")))});
}

Finding shareSaved(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    const Lock lock(machine, LockType::Write);
    must(share(lock.machine, L"exchange", lab.folder()));
    const std::size_t before = shares(machine).size();
    must(lock.machine->SaveSettings());
    return all(
        {equal(0, static_cast<std::int64_t>(before)), equal(1, static_cast<std::int64_t>(shares(machine).size()))});
}

} // namespace

Subject sharedFolderStatements()
{
    return {
        "folders",
        "Shared folders of a machine",
        {
            {"folders.read", "A shared folder reads as it was made: name, path, writable, mounted automatically.",
             Documented, reads},
            {"folders.read-only", "It is writable only when that was said.", Documented, readOnly},
            {"folders.accessible", "Whether its path is there is looked at on each reading.", Documented, accessible},
            {"folders.missing", "A path that is missing is accepted, and not accessible.", Assumed, missingPath},
            {"folders.relative", "A path that is not a full one gives `E_INVALIDARG`.", Documented, relativePath},
            {"folders.twice", "A second one of a name gives `VBOX_E_OBJECT_IN_USE`.", Documented, sharedTwice},
            {"folders.remove", "One that was removed is gone; an unknown name gives `VBOX_E_OBJECT_NOT_FOUND`.",
             Documented, shareRemoved},
            {"folders.unlocked", "Without a lock both give `VBOX_E_INVALID_VM_STATE`.", Documented, sharedUnlocked},
            {"folders.saved", "Others see it after `SaveSettings`.", Documented, shareSaved},
        }};
}

} // namespace Probe
