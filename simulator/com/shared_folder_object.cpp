#include "com/shared_folder_object.h"

#include "base/files.h"

namespace VBoxSim {

Interfaces<ISharedFolder> sharedFolderObjects(Server& server, const SharedFolderOwner& owner,
                                              const std::vector<SharedFolderSettings>& folders)
{
    Interfaces<ISharedFolder> objects;
    for (const SharedFolderSettings& folder : folders)
        objects.push_back(make<SharedFolderObject>(server, owner, folder));
    return objects;
}

template <class Value>
void SharedFolderObject::change(Value SharedFolderSettings::*member, Value value)
{
    SharedFolderSettings changed = settings_;
    changed.*member = std::move(value);
    const auto replace = [&](const auto& owner) {
        owner.checkUsable();
        owner.replaceSharedFolder(changed);
    };
    std::visit(replace, owner_);
    settings_ = std::move(changed);
}

HRESULT SharedFolderObject::get_Name(BSTR* name)
{
    return get(L"ISharedFolder::get_Name", name, [&] { return settings_.name; });
}

HRESULT SharedFolderObject::get_HostPath(BSTR* path)
{
    return get(L"ISharedFolder::get_HostPath", path, [&] { return settings_.hostPath; });
}

HRESULT SharedFolderObject::get_Accessible(BOOL* accessible)
{
    return get(L"ISharedFolder::get_Accessible", accessible, [&] { return Files::isFolder(settings_.hostPath); });
}

HRESULT SharedFolderObject::get_Writable(BOOL* writable)
{
    return get(L"ISharedFolder::get_Writable", writable, [&] { return settings_.writable; });
}

HRESULT SharedFolderObject::put_Writable(BOOL writable)
{
    return call(
        L"ISharedFolder::put_Writable", [&] { change(&SharedFolderSettings::writable, writable != FALSE); }, writable);
}

HRESULT SharedFolderObject::get_AutoMount(BOOL* autoMount)
{
    return get(L"ISharedFolder::get_AutoMount", autoMount, [&] { return settings_.autoMount; });
}

HRESULT SharedFolderObject::put_AutoMount(BOOL autoMount)
{
    return call(
        L"ISharedFolder::put_AutoMount", [&] { change(&SharedFolderSettings::autoMount, autoMount != FALSE); },
        autoMount);
}

HRESULT SharedFolderObject::get_AutoMountPoint(BSTR* mountPoint)
{
    return get(L"ISharedFolder::get_AutoMountPoint", mountPoint, [&] { return settings_.autoMountPoint; });
}

HRESULT SharedFolderObject::put_AutoMountPoint(BSTR mountPoint)
{
    return call(
        L"ISharedFolder::put_AutoMountPoint",
        [&] { change(&SharedFolderSettings::autoMountPoint, textOf(mountPoint)); }, mountPoint);
}

HRESULT SharedFolderObject::get_LastAccessError(BSTR* error)
{
    return get(L"ISharedFolder::get_LastAccessError", error, [&] {
        return Files::isFolder(settings_.hostPath)
                   ? std::wstring()
                   : L"Shared folder path '" + settings_.hostPath + L"' is not a folder";
    });
}

} // namespace VBoxSim
