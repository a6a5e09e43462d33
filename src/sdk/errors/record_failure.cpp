#include "errors/error_names.h"
#include "log/log.h"
#include "log/log_text.h"
#include "selq6/vbox.h"

namespace Travik {

std::wstring VBox::_resultName(HRESULT rc)
{
    return vboxResultName(toVBoxResultCode(static_cast<std::uint32_t>(rc)));
}

SdkErrorCode VBox::_recordComFailure(HRESULT rc, SdkErrorCode code, std::int32_t line, const std::wstring& name)
{
    if (rc == 0)
        return code;
    lastRC = static_cast<std::uint32_t>(rc);
    const std::wstring result = L" rc=0x" + hexadecimal(lastRC) + L" rcDesc=" + _resultName(rc);
    const std::wstring codeName = sdkErrorName(code);
    writeRecord(LogLevel::Error, line, name, codeName + result);
    lastErrorText = L"vbox sdk failure in " + name + L"(" + argStream.str() + L"):" + std::to_wstring(line) + L" with" +
                    result + L" errorDesc=" + codeName;
    return code;
}

SdkErrorCode VBox::_recordSdkFailure(SdkErrorCode code, std::int32_t line, const std::wstring& name)
{
    const std::wstring description = L" errorDesc=" + sdkErrorName(code);
    writeRecord(LogLevel::Error, line, name, description);
    lastErrorText =
        L"vbox sdk failure in " + name + L"(" + argStream.str() + L"):" + std::to_wstring(line) + description;
    return code;
}

HRESULT VBox::_recordComIgnored(HRESULT rc, SdkErrorCode code, std::int32_t line, const std::wstring& name)
{
    if (rc == 0)
        return 0;
    writeRecord(LogLevel::Info, line, name,
                L"[ignore]" + sdkErrorName(code) + L" rc=0x" + hexadecimal(static_cast<std::uint32_t>(rc)) +
                    L" rcDesc=" + _resultName(rc));
    return rc;
}

} // namespace Travik
