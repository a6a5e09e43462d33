// Under Wine an error object stays in the process that made it. Here what it says travels with the answer of the call,
// and an object that says the same is left with COM in the client. On Windows COM does that by itself.
#include <windows.h>
#include <oleauto.h>
#include <wrl/client.h>

#include <cstring>
#include <string>
#include <vector>

#include "control/com_object.h"
#include "control/error_contents.h"
#include "virtualbox_defaults.h"

namespace VBoxSim {
namespace {

using Microsoft::WRL::ComPtr;

/// How it travels: this, then both texts.
struct Packet
{
    GUID interfaceId;
    LONG result;
    ULONG componentLength;
    ULONG textLength;
};

HRESULT hand(BSTR* out, const std::wstring& text)
{
    if (!out)
        return E_POINTER;
    *out = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    return *out ? S_OK : E_OUTOFMEMORY;
}

template <class Value>
HRESULT hand(Value* out, Value value)
{
    if (!out)
        return E_POINTER;
    *out = value;
    return S_OK;
}

/// VirtualBox's error object, in the client.
class CarriedError : public ComObject<Defaults<IVirtualBoxErrorInfo>>
{
public:
    CarriedError(const Packet& packet, std::wstring component, std::wstring text)
        : packet_(packet), component_(std::move(component)), text_(std::move(text))
    {}

    HRESULT STDMETHODCALLTYPE GetGUID(GUID* id) override { return hand(id, packet_.interfaceId); }
    HRESULT STDMETHODCALLTYPE GetSource(BSTR* source) override { return hand(source, component_); }
    HRESULT STDMETHODCALLTYPE GetDescription(BSTR* description) override { return hand(description, text_); }
    HRESULT STDMETHODCALLTYPE get_ResultCode(LONG* code) override { return hand(code, packet_.result); }
    HRESULT STDMETHODCALLTYPE get_ResultDetail(LONG* detail) override { return hand(detail, LONG(0)); }
    HRESULT STDMETHODCALLTYPE get_InterfaceID(BSTR* id) override
    {
        wchar_t text[40];
        StringFromGUID2(packet_.interfaceId, text, 40);
        CharLowerW(text);
        return hand(id, std::wstring(text + 1, 36)); // without the braces
    }
    HRESULT STDMETHODCALLTYPE get_Component(BSTR* component) override { return hand(component, component_); }
    HRESULT STDMETHODCALLTYPE get_Text(BSTR* text) override { return hand(text, text_); }
    HRESULT STDMETHODCALLTYPE get_Next(IVirtualBoxErrorInfo** next) override
    {
        return hand(next, static_cast<IVirtualBoxErrorInfo*>(nullptr));
    }

private:
    void* interfaceOf(REFIID id) override
    {
        const bool known = id == IID_IUnknown || isIdOf<IVirtualBoxErrorInfo, IErrorInfo>(id);
        return known ? static_cast<IVirtualBoxErrorInfo*>(this) : nullptr;
    }

    const Packet packet_;
    const std::wstring component_, text_;
};

/// The error that a call left with COM on this thread, if it is one of the server's; taken from there.
ComPtr<IErrorInfo> takeError(const ErrorContents** contents)
{
    ComPtr<IErrorInfo> error;
    void* found = nullptr;
    if (GetErrorInfo(0, &error) != S_OK)
        return nullptr;
    if (FAILED(error->QueryInterface(errorContentsId, &found))) {
        SetErrorInfo(0, error.Get()); // somebody else's
        return nullptr;
    }
    error->Release(); // it is held already
    *contents = static_cast<const ErrorContents*>(found);
    return error;
}

/// Between the two steps in which COM asks for it. A plain pointer: a destructor would pin the library.
thread_local std::vector<char>* packed = nullptr;

/// Adds the error to the answer of a call, and takes it from there.
class ErrorCarrier : public IChannelHook
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override
    {
        *out = id == IID_IUnknown || id == IID_IChannelHook ? this : nullptr;
        return *out ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

    void STDMETHODCALLTYPE ServerGetSize(REFGUID, REFIID, HRESULT, ULONG* size) override
    {
        *size = 0;
        const ErrorContents* contents = nullptr;
        const ComPtr<IErrorInfo> error = takeError(&contents);
        if (!error)
            return;
        const Packet packet{contents->interfaceId, contents->result, static_cast<ULONG>(wcslen(contents->component)),
                            static_cast<ULONG>(wcslen(contents->text))};
        delete packed;
        packed = new std::vector<char>(sizeof packet + (packet.componentLength + packet.textLength) * sizeof(wchar_t));
        char* place = packed->data();
        std::memcpy(place, &packet, sizeof packet);
        std::memcpy(place += sizeof packet, contents->component, packet.componentLength * sizeof(wchar_t));
        std::memcpy(place + packet.componentLength * sizeof(wchar_t), contents->text,
                    packet.textLength * sizeof(wchar_t));
        *size = static_cast<ULONG>(packed->size());
    }

    void STDMETHODCALLTYPE ServerFillBuffer(REFGUID, REFIID, ULONG* size, void* buffer, HRESULT) override
    {
        if (packed)
            std::memcpy(buffer, packed->data(), packed->size());
        *size = packed ? static_cast<ULONG>(packed->size()) : 0;
        delete packed;
        packed = nullptr;
    }

    void STDMETHODCALLTYPE ClientNotify(REFGUID, REFIID, ULONG size, void* buffer, DWORD, HRESULT) override
    {
        Packet packet{};
        if (!buffer || size < sizeof packet)
            return;
        std::memcpy(&packet, buffer, sizeof packet);
        const ULONG room = (size - sizeof packet) / sizeof(wchar_t);
        if (packet.componentLength > room || packet.textLength > room - packet.componentLength)
            return;
        const auto* texts = reinterpret_cast<const wchar_t*>(static_cast<const char*>(buffer) + sizeof packet);
        const ComPtr<IErrorInfo> error(
            new CarriedError(packet, std::wstring(texts, packet.componentLength),
                             std::wstring(texts + packet.componentLength, packet.textLength)));
        SetErrorInfo(0, error.Get());
    }

    void STDMETHODCALLTYPE ClientGetSize(REFGUID, REFIID, ULONG* size) override { *size = 0; }
    void STDMETHODCALLTYPE ClientFillBuffer(REFGUID, REFIID, ULONG* size, void*) override { *size = 0; }
    void STDMETHODCALLTYPE ServerNotify(REFGUID, REFIID, ULONG, void*, DWORD) override {}
};

/// COM keeps the hook for good, so the library stays loaded.
bool install()
{
    if (!GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version"))
        return false;
    static ErrorCarrier carrier;
    HMODULE self = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                       reinterpret_cast<const wchar_t*>(&install), &self);
    return SUCCEEDED(CoRegisterChannelHook(errorContentsId, &carrier));
}

[[maybe_unused]] const bool installed = install();

} // namespace
} // namespace VBoxSim
