#include "selq6/vbox.h"

// Converters between the library's numbering of small enumerations and VirtualBox's. Front ends are built against these
// tables, the asymmetric ones included; a value outside a table gives 0.

namespace Travik {
namespace {

constexpr std::uint32_t stateChanged = VBoxEventType::OnStateChanged;
constexpr std::uint32_t runtimeError = VBoxEventType::OnRuntimeError;

constexpr std::uint32_t upTo(std::uint32_t last, std::uint32_t value)
{
    return value <= last ? value : 0;
}

constexpr std::uint32_t oneForOne(std::uint32_t value)
{
    return value == 1 ? 1 : 0;
}

constexpr std::uint32_t oneForAny(std::uint32_t value)
{
    return value != 0 ? 1 : 0;
}

// VirtualBox's own results are consecutive, and so are their values.
constexpr std::uint32_t vboxResultBase = std::uint32_t{Result::ObjectNotFound} - VBoxResult_ObjectNotFound;
constexpr std::uint32_t lastVBoxResult = VBoxResult_Timeout;
static_assert(vboxResultBase + lastVBoxResult == Result::Timeout);

// The results of COM and RPC, from value 17 on.
constexpr std::uint32_t comResults[] = {
    Result::Unexpected,
    Result::NotImpl,
    Result::OutOfMemory,
    Result::InvalidArg,
    Result::NoInterface,
    Result::Pointer,
    Result::Abort,
    Result::Fail,
    Result::AccessDenied,
    Result::RpcCallFailed,
    Result::RpcServerUnavailable,
    Result::RpcCallFailedDne,
    Result::RpcDisconnected,
    Result::RpcUnknownInterface,
};
constexpr std::uint32_t firstComResult = VBoxResult_OleUnexpected;
static_assert(firstComResult + std::size(comResults) == VBoxResult_Unknown);

} // namespace

std::uint32_t VBox::toSdkMachineState(std::uint32_t value)
{
    // The library does not know VirtualBox's state 16.
    return value >= 17 && value <= 23 ? value - 1 : upTo(15, value);
}

std::uint32_t VBox::toVBoxMachineState(std::uint32_t value)
{
    return value >= 16 && value <= 22 ? value + 1 : upTo(15, value);
}

std::uint32_t VBox::toVBoxFlagA(std::uint32_t value)
{
    return oneForOne(value);
}

std::uint32_t VBox::toSdkFlagA(std::uint32_t value)
{
    return oneForAny(value);
}

std::uint32_t VBox::toVBoxKindA(std::uint32_t value)
{
    return upTo(5, value);
}

std::uint32_t VBox::toSdkKindA(std::uint32_t value)
{
    return upTo(5, value);
}

std::uint32_t VBox::toVBoxFlagB(std::uint32_t value)
{
    return oneForOne(value);
}

std::uint32_t VBox::toSdkFlagB(std::uint32_t value)
{
    return oneForAny(value);
}

std::uint32_t VBox::toVBoxParavirtProvider(std::uint32_t value)
{
    return upTo(6, value);
}

std::uint32_t VBox::toSdkParavirtProvider(std::uint32_t value)
{
    return upTo(6, value);
}

std::uint32_t VBox::toVBoxEventType(std::uint32_t value)
{
    switch (value) {
    case 1:
        return stateChanged;
    case 2:
        return runtimeError;
    default:
        return 0;
    }
}

std::uint32_t VBox::toSdkEventType(std::uint32_t value)
{
    switch (value) {
    case stateChanged:
        return 1;
    case runtimeError:
        return 2;
    default:
        return 0;
    }
}

std::uint32_t VBox::toVBoxKindB(std::uint32_t value)
{
    return upTo(5, value);
}

std::uint32_t VBox::toSdkKindB(std::uint32_t value)
{
    return upTo(5, value);
}

std::uint32_t VBox::toVBoxFlagC(std::uint32_t value)
{
    return oneForOne(value);
}

std::uint32_t VBox::toSdkFlagC(std::uint32_t value)
{
    return oneForAny(value);
}

std::uint32_t VBox::toVBoxSwitch(std::uint32_t value)
{
    return oneForOne(value);
}

std::uint32_t VBox::toSdkSwitch(std::uint32_t value)
{
    return oneForOne(value);
}

std::uint32_t VBox::toHResult(std::uint32_t value)
{
    if (value >= 1 && value <= lastVBoxResult)
        return vboxResultBase + value;
    if (value >= firstComResult && value < VBoxResult_Unknown)
        return comResults[value - firstComResult];
    return 0;
}

std::uint32_t VBox::toVBoxResultCode(std::uint32_t value)
{
    if (value == 0)
        return VBoxResult_Null;
    if (value > vboxResultBase && value <= vboxResultBase + lastVBoxResult)
        return value - vboxResultBase;
    for (std::uint32_t i = 0; i < std::size(comResults); ++i)
        if (comResults[i] == value)
            return firstComResult + i;
    return VBoxResult_Unknown;
}

std::uint32_t VBox::toVBoxKindC(std::uint32_t value)
{
    return upTo(3, value);
}

std::uint32_t VBox::toSdkKindC(std::uint32_t value)
{
    return upTo(3, value);
}

} // namespace Travik
