#include "log/log.h"
#include "selq6/vbox.h"

namespace Travik {
namespace {

template <class Interface>
void releaseRoot(Interface*& root)
{
    if (root)
        root->Release();
    root = nullptr;
}

} // namespace

bool VBox::_isComReady()
{
    if (virtualBox && session)
        return true;
    // A failed creation reports itself as a positive code and counts as ready; its failure stays readable.
    if (_initVBox() >= 0)
        return true;
    _releaseRC();
    return false;
}

std::int32_t VBox::_initVBox()
{
    const wchar_t* const name = L"Travik::VBox::_initVBox";
    HRESULT result = CoInitialize(nullptr);
    if (FAILED(result))
        return _recordComFailure(result, VBoxCoInitializeFail, currentLine(), name);

    releaseRoot(virtualBox); // kept from a start whose session failed
    result = CoCreateInstance(CLSID_VirtualBox, nullptr, CLSCTX_LOCAL_SERVER, IID_PPV_ARGS(&virtualBox));
    if (FAILED(result) || !virtualBox)
        return _recordComFailure(result, VBoxCoCreateInstanceVBoxFail, currentLine(), name);

    result = CoCreateInstance(CLSID_Session, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&session));
    if (FAILED(result) || !session)
        return _recordComFailure(result, VBoxCoCreateInstanceSessionFail, currentLine(), name);
    return 0;
}

void VBox::_releaseRC()
{
    writeRecord(LogLevel::Info, currentLine(), L"Travik::VBox::_releaseRC", L"");
    machineTable.releaseAll();
    progressTable.releaseAll();
    consoleTable.releaseAll();
    eventSourceTable.releaseAll();
    eventListenerTable.releaseAll();
    eventTable.releaseAll();
    stateChangedEventTable.releaseAll();
    runtimeErrorEventTable.releaseAll();
    audioAdapterTable.releaseAll();
    natEngineTable.releaseAll();
    networkAdapterTable.releaseAll();
    hostTable.releaseAll();
    mediumTable.releaseAll();
    releaseRoot(virtualBox);
    releaseRoot(session);
}

SdkErrorCode VBox::initComComponent()
{
    Operation op(*this, L"Travik::VBox::initComComponent");
    op.ready();
    return op.code();
}

SdkErrorCode VBox::resetComComponent()
{
    Operation op(*this, {L"Travik::VBox::resetComComponent", LastResult::keep});
    _releaseRC();
    op.ready();
    return op.code();
}

SdkErrorCode VBox::releaseRC()
{
    Operation op(*this, {L"Travik::VBox::releaseRC", LastResult::keep});
    _releaseRC();
    return op.code();
}

} // namespace Travik
