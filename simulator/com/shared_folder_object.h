#pragma once

#include "com/object.h"

#include "settings/machine_settings.h"

namespace VBoxSim {

/// A shared folder as it was when it was asked for.
class SharedFolder : public Object<SharedFolder, ISharedFolder>
{
public:
    explicit SharedFolder(SharedFolderSettings settings) : settings_(std::move(settings)) {}

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

/// The settings of a new folder; throws Failure(invalidArgument) for a name or path that cannot be.
SharedFolderSettings checkedSharedFolder(const std::wstring& name, const std::wstring& hostPath, bool writable,
                                         bool autoMount, const std::wstring& mountPoint);

} // namespace VBoxSim
