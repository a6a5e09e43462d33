#pragma once

#include <variant>

#include "com/object.h"
#include "host/device_views.h"
#include "settings/machine_settings.h"

namespace VBoxSim {

/// Whose shared folders they are.
using SharedFolderOwner = std::variant<MachineView, ConsoleView>;

/// A shared folder as it was when it was asked for, or as it was made through this object.
class SharedFolderObject : public Object<SharedFolderObject, ISharedFolder>
{
public:
    SharedFolderObject(Server& server, SharedFolderOwner owner, SharedFolderSettings settings)
        : Object(server), owner_(std::move(owner)), settings_(std::move(settings))
    {}

    HRESULT STDMETHODCALLTYPE get_Name(BSTR* name) override;
    HRESULT STDMETHODCALLTYPE get_HostPath(BSTR* path) override;
    HRESULT STDMETHODCALLTYPE get_Accessible(BOOL* accessible) override;
    HRESULT STDMETHODCALLTYPE get_Writable(BOOL* writable) override;
    HRESULT STDMETHODCALLTYPE put_Writable(BOOL writable) override;
    HRESULT STDMETHODCALLTYPE get_AutoMount(BOOL* autoMount) override;
    HRESULT STDMETHODCALLTYPE put_AutoMount(BOOL autoMount) override;
    HRESULT STDMETHODCALLTYPE get_AutoMountPoint(BSTR* mountPoint) override;
    HRESULT STDMETHODCALLTYPE put_AutoMountPoint(BSTR mountPoint) override;
    HRESULT STDMETHODCALLTYPE get_LastAccessError(BSTR* error) override;

    const wchar_t* typeName() const override { return L"ISharedFolder"; }

private:
    template <class Value>
    void change(Value SharedFolderSettings::*member, Value value);

    const SharedFolderOwner owner_;
    SharedFolderSettings settings_;
};

Interfaces<ISharedFolder> sharedFolderObjects(Server& server, const SharedFolderOwner& owner,
                                              const std::vector<SharedFolderSettings>& folders);

} // namespace VBoxSim
