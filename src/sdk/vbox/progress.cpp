#include "log/log.h"
#include "selq6/vbox.h"

// Progress objects: those of the caller, and the wait of the library's own long operations.

namespace Travik {
namespace {

/// What is left to do when the wait itself failed: end the operation, if VirtualBox lets it.
template <class Tolerate, class Log>
void cancelUnfinished(IProgress& progress, const std::wstring& tag, Tolerate tolerate, Log log)
{
    BOOL completed = FALSE;
    tolerate(progress.get_Completed(&completed), GetProgressCompletedFail);
    log(L"get " + tag + L" Progress completed: " + std::to_wstring(completed));
    if (completed)
        return;
    BOOL cancelable = FALSE;
    tolerate(progress.get_Cancelable(&cancelable), ProgressGetCancelableFail);
    log(L"get " + tag + L" Progress canCancelable: " + std::to_wstring(cancelable));
    if (!cancelable)
        return;
    tolerate(progress.Cancel(), ProgressCancelFail);
    BOOL canceled = FALSE;
    tolerate(progress.get_Canceled(&canceled), ProgressGetCancelFail);
    log(L"get " + tag + L" Progress canceled: " + std::to_wstring(canceled));
}

} // namespace

SdkErrorCode VBox::progressWaitForCompletion(VBoxHandle progress, std::int32_t timeoutMs)
{
    Operation op(*this, L"Travik::VBox::progressWaitForCompletion", progress, timeoutMs);
    ComPtr<IProgress> object;
    if (op.find(progressTable, progress, object))
        op.call(ProgressWaitForCompletionFail, [&] { return object->WaitForCompletion(timeoutMs); });
    return op.code();
}

SdkErrorCode VBox::getProgressCompleted(VBoxHandle progress, std::uint32_t* completed)
{
    Operation op(*this, L"Travik::VBox::getProgressCompleted", progress);
    ComPtr<IProgress> object;
    BOOL value = FALSE;
    if (op.find(progressTable, progress, object) &&
        op.call(GetProgressCompletedFail, [&] { return object->get_Completed(&value); }))
        op.returnNumber(L"return completed = ", value, completed);
    return op.code();
}

SdkErrorCode VBox::getProgressResultCode(VBoxHandle progress, std::int32_t* resultCode)
{
    Operation op(*this, L"Travik::VBox::getProgressResultCode", progress);
    ComPtr<IProgress> object;
    LONG value = 0;
    if (op.find(progressTable, progress, object) &&
        op.call(GetProgressResultCodeFail, [&] { return object->get_ResultCode(&value); }) && resultCode) {
        *resultCode = value;
        op.record(L"return code = " + hexadecimal(static_cast<std::uint32_t>(value)));
    }
    return op.code();
}

SdkErrorCode VBox::getProgressErrorInfo(VBoxHandle progress, std::wstring* errorText)
{
    Operation op(*this, L"Travik::VBox::getProgressErrorInfo", progress);
    ComPtr<IProgress> object;
    ComPtr<IVirtualBoxErrorInfo> info;
    ComString text;
    if (op.find(progressTable, progress, object) &&
        op.call(GetProgressErrorInfoFail, [&] { return object->get_ErrorInfo(&info); }) && info && errorText &&
        op.call(GetProgressErrorInfoFail, [&] { return info->get_Text(text.put()); }))
        op.returnText(L"return errorText = ", text, errorText);
    return op.code();
}

HRESULT VBox::_waitForProgressCompletion(ComPtr<IProgress> progress, const std::wstring& tag)
{
    const std::wstring name = L"Travik::VBox::_waitForProgressCompletion";
    const auto log = [&name](const std::wstring& text, std::source_location where = std::source_location::current()) {
        writeRecord(LogLevel::Info, lineOf(where), name, text);
    };
    const auto tolerate = [&](HRESULT result, SdkErrorCode code,
                              std::source_location where = std::source_location::current()) {
        _recordComIgnored(result, code, lineOf(where), name);
    };

    HRESULT status = S_OK;
    BOOL completed = FALSE;
    tolerate(progress->get_Completed(&completed), GetProgressCompletedFail);
    log(L"get " + tag + L" Progress completed before waitCompletion: " + std::to_wstring(completed));
    if (!completed) {
        log(tag + L" Progress waitting for completion");
        status = progress->WaitForCompletion(-1);
        if (status < 0)
            cancelUnfinished(*progress.Get(), tag, tolerate, log);
    }

    LONG resultCode = 0;
    tolerate(progress->get_ResultCode(&resultCode), GetProgressResultCodeFail);
    log(L"get " + tag + L" Progress return:" + std::to_wstring(resultCode));
    if (resultCode == 0)
        return status;

    ComPtr<IVirtualBoxErrorInfo> info;
    tolerate(progress->get_ErrorInfo(&info), ProgressGetErrorInfoFail);
    if (info) {
        ComString description;
        tolerate(info->GetDescription(description.put()), ProgressGetDescriptionFail);
        if (!description.isNull())
            log(L"get " + tag + L" Progress fail desc: " + description.str());
    }
    return resultCode;
}

} // namespace Travik
