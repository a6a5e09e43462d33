#pragma once

#include <windows.h>
#include <wrl/client.h>

#include <oleauto.h>

#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

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

/// A text that goes in or comes out.
class Text
{
public:
    Text() = default;
    explicit Text(const std::wstring& text) : text_(SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {}
    ~Text() { SysFreeString(text_); }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;

    operator BSTR() const { return text_; }
    BSTR* put() { return &text_; }
    std::wstring str() const { return std::wstring(text_, text_ + SysStringLen(text_)); }

private:
    BSTR text_ = nullptr;
};

class Array
{
public:
    Array() = default;
    explicit Array(SAFEARRAY* array) : array_(array) {}
    ~Array() { SafeArrayDestroy(array_); }
    Array(const Array&) = delete;
    Array& operator=(const Array&) = delete;

    operator SAFEARRAY*() const { return array_; }
    SAFEARRAY** put() { return &array_; }

    /// Copies of the elements.
    template <class Copy, class Element>
    std::vector<Copy> copies() const
    {
        Element* elements = nullptr;
        require(SafeArrayAccessData(array_, reinterpret_cast<void**>(&elements)));
        std::vector<Copy> result(elements, elements + array_->rgsabound[0].cElements);
        SafeArrayUnaccessData(array_);
        return result;
    }

private:
    SAFEARRAY* array_ = nullptr;
};

inline SAFEARRAY* numbers(std::initializer_list<LONG> values)
{
    SAFEARRAY* const array = SafeArrayCreateVector(VT_I4, 0, static_cast<ULONG>(values.size()));
    LONG index = 0;
    for (LONG value : values) {
        require(SafeArrayPutElement(array, &index, &value));
        ++index;
    }
    return array;
}

inline SAFEARRAY* texts(std::initializer_list<std::wstring> values)
{
    SAFEARRAY* const array = SafeArrayCreateVector(VT_BSTR, 0, static_cast<ULONG>(values.size()));
    LONG index = 0;
    for (const std::wstring& value : values) {
        require(SafeArrayPutElement(array, &index, Text(value)));
        ++index;
    }
    return array;
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
    Array array;
    require(virtualBox.get_Machines(array.put()));
    return array.copies<ComPtr<IMachine>, IMachine*>();
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
