#include "selq6/vbox.h"

#include "log/log.h"

namespace Travik {

VBox::VBox() = default;

std::wostream& VBox::_argStream()
{
    argStream.str(std::wstring());
    argStream.clear();
    return argStream;
}

SdkErrorCode VBox::setLogPath(const std::wstring& path)
{
    reopenLogFile(path);
    return {};
}

std::uint32_t VBox::getVBoxError()
{
    const std::lock_guard lock(mutex);
    writeRecord(LogLevel::Info, currentLine(), L"Travik::VBox::getVBoxError", hexadecimal(lastRC));
    return lastRC;
}

std::wstring VBox::getVBoxErrorMessage()
{
    const std::lock_guard lock(mutex);
    writeRecord(LogLevel::Info, currentLine(), L"Travik::VBox::getVBoxErrorMessage", lastErrorText);
    return lastErrorText;
}

SdkErrorCode VBox::releaseMachine(VBoxHandle machine)
{
    return releaseHandle(machineTable, machine);
}

SdkErrorCode VBox::releaseProgress(VBoxHandle progress)
{
    return releaseHandle(progressTable, progress);
}

SdkErrorCode VBox::releaseConsole(VBoxHandle console)
{
    return releaseHandle(consoleTable, console);
}

SdkErrorCode VBox::releaseEventSource(VBoxHandle eventSource)
{
    return releaseHandle(eventSourceTable, eventSource);
}

SdkErrorCode VBox::releaseEventListener(VBoxHandle listener)
{
    return releaseHandle(eventListenerTable, listener);
}

SdkErrorCode VBox::releaseEvent(VBoxHandle event)
{
    return releaseHandle(eventTable, event);
}

SdkErrorCode VBox::releaseStateChangedEvent(VBoxHandle stateChangedEvent)
{
    return releaseHandle(stateChangedEventTable, stateChangedEvent);
}

SdkErrorCode VBox::releaseRuntimeErrorEvent(VBoxHandle runtimeErrorEvent)
{
    return releaseHandle(runtimeErrorEventTable, runtimeErrorEvent);
}

SdkErrorCode VBox::releaseAudioAdapter(VBoxHandle audioAdapter)
{
    return releaseHandle(audioAdapterTable, audioAdapter);
}

SdkErrorCode VBox::releaseNATEngine(VBoxHandle natEngine)
{
    return releaseHandle(natEngineTable, natEngine);
}

SdkErrorCode VBox::releaseNetworkAdapter(VBoxHandle adapter)
{
    return releaseHandle(networkAdapterTable, adapter);
}

SdkErrorCode VBox::releaseHost(VBoxHandle host)
{
    return releaseHandle(hostTable, host);
}

SdkErrorCode VBox::releaseMedium(VBoxHandle medium)
{
    return releaseHandle(mediumTable, medium);
}

} // namespace Travik
