#pragma once

#include "com/object.h"
#include "control/error_contents.h"

namespace VBoxSim {

/// VirtualBox's error object.
class ErrorInfo : public Object<ErrorInfo, IVirtualBoxErrorInfo, IErrorInfo>
{
public:
    ErrorInfo(Server& server, Failure failure, std::wstring component, const GUID& interfaceId)
        // NOLINTNEXTLINE(bugprone-throw-keyword-missing): the member is made here
        : Object(server), failure_(std::move(failure)), component_(std::move(component)), interfaceId_(interfaceId)
    {}

    HRESULT STDMETHODCALLTYPE GetGUID(GUID* id) override;
    HRESULT STDMETHODCALLTYPE GetSource(BSTR* source) override;
    HRESULT STDMETHODCALLTYPE GetDescription(BSTR* description) override;
    HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR* file) override;
    HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD* context) override;

    HRESULT STDMETHODCALLTYPE get_ResultCode(LONG* code) override;
    HRESULT STDMETHODCALLTYPE get_ResultDetail(LONG* detail) override;
    HRESULT STDMETHODCALLTYPE get_InterfaceID(BSTR* id) override;
    HRESULT STDMETHODCALLTYPE get_Component(BSTR* component) override;
    HRESULT STDMETHODCALLTYPE get_Text(BSTR* text) override;
    HRESULT STDMETHODCALLTYPE get_Next(IVirtualBoxErrorInfo** next) override;

    const wchar_t* typeName() const override { return L"IVirtualBoxErrorInfo"; }

private:
    void* interfaceOf(REFIID id) override;

    Failure failure_;
    std::wstring component_;
    GUID interfaceId_;
    const ErrorContents contents_{interfaceId_, failure_.code(), component_.c_str(), failure_.text().c_str()};
};

/// The component name that VirtualBox's error objects give for a call.
std::wstring componentOf(const std::wstring& call);

/// Leaves the error object of a failed call with COM, which carries it to the client.
void reportError(Server& server, const Failure& failure, const wchar_t* call, REFIID interfaceId);

} // namespace VBoxSim
