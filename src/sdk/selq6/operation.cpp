#include "selq6/operation.h"

#include "log/log.h"
#include "selq6/vbox.h"

namespace Travik {
Operation::Operation(VBox& vbox, OperationName name, Locked) : vbox_(vbox), name_(name), lock_(vbox.mutex) {}

void Operation::enter(const std::wstring& arguments)
{
    record(arguments, name_.where);
    vbox_._argStream() << arguments;
    if (name_.lastResult == LastResult::clear)
        vbox_._clearLastRC();
}

bool Operation::ready(Where where)
{
    return check(vbox_._isComReady(), InitVboxComFail, where);
}

bool Operation::check(bool succeeded, SdkErrorCode failure, Where where)
{
    if (!succeeded)
        code_ = vbox_._recordSdkFailure(failure, lineOf(where), name_.name);
    return succeeded;
}

bool Operation::fail(SdkErrorCode failure, Where where)
{
    code_ = vbox_._recordComFailure(result_, failure, lineOf(where), name_.name);
    return false;
}

void Operation::ignore(HRESULT result, SdkErrorCode failure, Where where)
{
    vbox_._recordComIgnored(result, failure, lineOf(where), name_.name);
}

void Operation::returnText(const wchar_t* label, const ComString& text, std::wstring* output, Where where)
{
    if (text.isNull() || !output)
        return;
    *output = text.str();
    record(label + *output, where);
}

void Operation::record(const std::wstring& text, Where where)
{
    writeRecord(LogLevel::Info, lineOf(where), name_.name, text);
}

} // namespace Travik
