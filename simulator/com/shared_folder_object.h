#pragma once

#include "com/object.h"
#include "settings/machine_settings.h"

namespace VBoxSim {

/// A shared folder as it was when it was asked for.
class SharedFolderObject : public Object<SharedFolderObject, ISharedFolder>
{
public:
    SharedFolderObject(Server& server, SharedFolderSettings settings) : Object(server), settings_(std::move(settings))
    {}

    HRESULT STDMETHODCALLTYPE get_Name(BSTR* name) override;
    HRESULT STDMETHODCALLTYPE get_HostPath(BSTR* path) override;
    HRESULT STDMETHODCALLTYPE get_Accessible(BOOL* accessible) override;
    HRESULT STDMETHODCALLTYPE get_Writable(BOOL* writable) override;
    HRESULT STDMETHODCALLTYPE get_AutoMount(BOOL* autoMount) override;
    HRESULT STDMETHODCALLTYPE get_AutoMountPoint(BSTR* mountPoint) override;
    HRESULT STDMETHODCALLTYPE get_LastAccessError(BSTR* error) override;

    const wchar_t* typeName() const override { return L"ISharedFolder"; }

private:
    const SharedFolderSettings settings_;
};

Interfaces<ISharedFolder> sharedFolderObjects(Server& server, const std::vector<SharedFolderSettings>& folders);

} // namespace VBoxSim
