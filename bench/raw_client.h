#pragma once

#include <windows.h>
#include <oleauto.h>
#include <wrl/client.h>

#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

#include "automation/com_string.h"
#include "automation/safe_array.h"
#include "virtualbox.h"

/// What a front end would write by hand to call VirtualBox through COM without the library: the arm against which the
/// library is measured. It releases what it gets and checks every result, and does nothing else.
namespace RawClient {

using Microsoft::WRL::ComPtr;

inline void require(HRESULT result)
{
    if (SUCCEEDED(result))
        return;
    char text[32];
    std::snprintf(text, sizeof text, "COM call failed: 0x%08lx", static_cast<unsigned long>(result));
    throw std::runtime_error(text);
}

/// VirtualBox and the process's session.
struct Roots
{
    ComPtr<IVirtualBox> virtualBox;
    ComPtr<ISession> session;

    void create()
    {
        require(CoInitialize(nullptr));
        require(CoCreateInstance(CLSID_VirtualBox, nullptr, CLSCTX_LOCAL_SERVER,
                                 IID_PPV_ARGS(virtualBox.ReleaseAndGetAddressOf())));
        require(CoCreateInstance(CLSID_Session, nullptr, CLSCTX_INPROC_SERVER,
                                 IID_PPV_ARGS(session.ReleaseAndGetAddressOf())));
    }

    void release()
    {
        virtualBox.Reset();
        session.Reset();
    }
};

inline std::vector<ComPtr<IMachine>> machinesOf(IVirtualBox& virtualBox)
{
    Travik::ComArray array;
    require(virtualBox.get_Machines(array.put()));
    return Travik::toObjects<IMachine>(array.get());
}

/// Waits until a task is done, and checks how it ended.
inline void finish(IProgress& progress)
{
    BOOL completed = FALSE;
    require(progress.get_Completed(&completed));
    if (!completed)
        require(progress.WaitForCompletion(-1));
    LONG result = 0;
    require(progress.get_ResultCode(&result));
    require(result);
}

} // namespace RawClient
