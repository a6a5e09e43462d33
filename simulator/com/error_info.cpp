#include "com/error_info.h"

#include "base/text.h"

namespace VBoxSim {

void* ErrorInfo::interfaceOf(REFIID id)
{
    return id == errorContentsId ? const_cast<ErrorContents*>(&contents_) : Object::interfaceOf(id);
}

HRESULT ErrorInfo::GetGUID(GUID* id)
{
    return callAlways(L"IErrorInfo::GetGUID", [&] {
        require(id);
        *id = interfaceId_;
    });
}

HRESULT ErrorInfo::GetSource(BSTR* source)
{
    return get(L"IErrorInfo::GetSource", source, [&] { return component_; });
}

HRESULT ErrorInfo::GetDescription(BSTR* description)
{
    return get(L"IErrorInfo::GetDescription", description, [&] { return failure_.text(); });
}

HRESULT ErrorInfo::GetHelpFile(BSTR* file)
{
    return get(L"IErrorInfo::GetHelpFile", file, [] { return std::wstring(); });
}

HRESULT ErrorInfo::GetHelpContext(DWORD* context)
{
    return get(L"IErrorInfo::GetHelpContext", context, [] { return 0; });
}

HRESULT ErrorInfo::get_ResultCode(LONG* code)
{
    return get(L"IVirtualBoxErrorInfo::get_ResultCode", code, [&] { return failure_.code(); });
}

HRESULT ErrorInfo::get_ResultDetail(LONG* detail)
{
    return get(L"IVirtualBoxErrorInfo::get_ResultDetail", detail, [] { return 0; });
}

HRESULT ErrorInfo::get_InterfaceID(BSTR* id)
{
    return get(L"IVirtualBoxErrorInfo::get_InterfaceID", id, [&] {
        wchar_t text[40];
        StringFromGUID2(interfaceId_, text, 40);
        return toLower(std::wstring(text + 1, 36)); // without the braces
    });
}

HRESULT ErrorInfo::get_Component(BSTR* component)
{
    return get(L"IVirtualBoxErrorInfo::get_Component", component, [&] { return component_; });
}

HRESULT ErrorInfo::get_Text(BSTR* text)
{
    return get(L"IVirtualBoxErrorInfo::get_Text", text, [&] { return failure_.text(); });
}

HRESULT ErrorInfo::get_Next(IVirtualBoxErrorInfo** next)
{
    return get(L"IVirtualBoxErrorInfo::get_Next", next, [] { return nullptr; });
}

std::wstring componentOf(const std::wstring& call)
{
    const std::size_t end = call.find(L"::");
    return call.substr(1, end == std::wstring::npos ? end : end - 1) + L"Wrap";
}

void reportError(Server& server, const Failure& failure, const wchar_t* call, REFIID interfaceId)
{
    const ComPtr<ErrorInfo> info = make<ErrorInfo>(server, failure, componentOf(call), interfaceId);
    SetErrorInfo(0, info.Get());
}

} // namespace VBoxSim
