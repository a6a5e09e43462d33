#include "com/shared_folder_object.h"

#include "base/files.h"
#include "base/text.h"

namespace VBoxSim {

SharedFolderSettings checkedSharedFolder(const std::wstring& name, const std::wstring& hostPath, bool writable,
                                         bool autoMount, const std::wstring& mountPoint)
{
    if (name.empty() || !isStorable(name))
        throw Failure(Result::invalidArgument, L"A shared folder needs a valid name");
    if (!Files::isAbsolute(hostPath) || !isStorable(hostPath))
        throw Failure(Result::invalidArgument, L"Shared folder path '" + hostPath + L"' is not absolute");
    if (!isStorable(mountPoint))
        throw Failure(Result::invalidArgument, L"The mount point is not valid text");
    return {name, hostPath, writable, autoMount, mountPoint};
}

HRESULT SharedFolder::get_Name(BSTR* name)
{
    return get(L"ISharedFolder::get_Name", name, [&] { return settings_.name; });
}

HRESULT SharedFolder::get_HostPath(BSTR* path)
{
    return get(L"ISharedFolder::get_HostPath", path, [&] { return settings_.hostPath; });
}

HRESULT SharedFolder::get_Accessible(BOOL* accessible)
{
    return get(L"ISharedFolder::get_Accessible", accessible, [&] { return Files::isFolder(settings_.hostPath); });
}

HRESULT SharedFolder::get_Writable(BOOL* writable)
{
    return get(L"ISharedFolder::get_Writable", writable, [&] { return settings_.writable; });
}

HRESULT SharedFolder::get_AutoMount(BOOL* autoMount)
{
    return get(L"ISharedFolder::get_AutoMount", autoMount, [&] { return settings_.autoMount; });
}

HRESULT SharedFolder::get_AutoMountPoint(BSTR* mountPoint)
{
    return get(L"ISharedFolder::get_AutoMountPoint", mountPoint, [&] { return settings_.autoMountPoint; });
}

HRESULT SharedFolder::get_LastAccessError(BSTR* error)
{
    return get(L"ISharedFolder::get_LastAccessError", error, [&] {
        return Files::isFolder(settings_.hostPath)
                   ? std::wstring()
                   : L"Shared folder path '" + settings_.hostPath + L"' is not a folder";
    });
}

} // namespace VBoxSim
