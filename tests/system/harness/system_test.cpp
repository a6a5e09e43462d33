#include "system_test.h"

#include <cwctype>
#include <filesystem>

#include "scratch.h"

namespace TravikTest {
namespace {

constexpr milliseconds usualLinger(5'000);

std::wstring hexadecimal(std::uint32_t value)
{
    wchar_t text[16];
    std::swprintf(text, 16, L"%x", value);
    return text;
}

/// Both ends of a text that may be very long.
std::wstring shortened(const std::wstring& text)
{
    constexpr std::size_t half = 200;
    return text.size() <= 2 * half ? text : text.substr(0, half) + L" ... " + text.substr(text.size() - half);
}

testing::AssertionResult failureIs(SdkErrorCode got, SdkErrorCode code, std::uint32_t result,
                                   const std::wstring& ending)
{
    const std::uint32_t gotResult = library().getVBoxError();
    const std::wstring text = library().getVBoxErrorMessage();
    const bool textEnds = text.size() >= ending.size() && text.ends_with(ending);
    if (got == code && gotResult == result && textEnds)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "result " << got << " (expected " << code << "), HRESULT 0x"
                                       << utf8(hexadecimal(gotResult)) << " (expected 0x" << utf8(hexadecimal(result))
                                       << "), text \"" << utf8(shortened(text)) << "\" (expected to end in \""
                                       << utf8(ending) << "\")";
}

} // namespace

std::wstring resultText(std::uint32_t result)
{
    switch (result) {
    case Result::ObjectNotFound:
        return L"ObjectNotFound";
    case Result::InvalidVMState:
        return L"InvalidVMState";
    case Result::VMError:
        return L"VMError";
    case Result::FileError:
        return L"FileError";
    case Result::IPRTError:
        return L"IPRTError";
    case Result::InvalidObjectState:
        return L"InvalidObjectState";
    case Result::NotSupported:
        return L"NotSupported";
    case Result::XMLError:
        return L"XMLError";
    case Result::ObjectInUse:
        return L"ObjectInUse";
    case Result::Unexpected:
        return L"OleUnexpectedError";
    case Result::NoInterface:
        return L"OleNotInterfaceError";
    case Result::Fail:
        return L"OleFailError";
    case Result::AccessDenied:
        return L"OleAccessDeniedError";
    case Result::InvalidArg:
        return L"OleInvalidArgError";
    case Result::RpcServerUnavailable:
        return L"RPCServerUnavailable";
    case Result::RpcCallFailed:
        return L"RPCCallFailed";
    default:
        return L"Unknow";
    }
}

testing::AssertionResult done(SdkErrorCode code)
{
    if (code == 0)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "result " << code << ": " << utf8(library().getVBoxErrorMessage());
}

testing::AssertionResult refused(SdkErrorCode got, SdkErrorCode code, std::uint32_t result)
{
    return failureIs(got, code, result,
                     L" with rc=0x" + hexadecimal(result) + L" rcDesc=" + resultText(result) + L" errorDesc=" +
                         errorCodeName(code));
}

testing::AssertionResult refusedAny(SdkErrorCode got, SdkErrorCode code, std::initializer_list<std::uint32_t> results)
{
    const std::uint32_t result = library().getVBoxError();
    for (std::uint32_t expected : results) {
        if (result == expected)
            return refused(got, code, result);
    }
    return refused(got, code, *results.begin());
}

testing::AssertionResult failedUnasked(SdkErrorCode got, SdkErrorCode code)
{
    return failureIs(got, code, 0, std::wstring(L" errorDesc=") + errorCodeName(code));
}

std::wstring withoutLine(const std::wstring& failureText)
{
    const std::size_t begin = failureText.rfind(L"):");
    if (begin == std::wstring::npos)
        return failureText;
    std::size_t end = begin + 2;
    while (end < failureText.size() && std::iswdigit(failureText[end]))
        ++end;
    return failureText.substr(0, begin + 2) + failureText.substr(end);
}

void SystemTest::SetUp()
{
    registerStandIn();
    ASSERT_TRUE(stopServer()) << "a server of another world runs and does not end";
    world_ = std::make_unique<World>(scratchFolder() / L"world");
    furnish();
    setWorld(world().home());
    setLinger(usualLinger);
    if (serverWaits())
        startNextServer();
}

void SystemTest::TearDown()
{
    sdk.releaseRC();
    if (serverProcess() != 0)
        expectNothingHeld();
    control_.reset();
    EXPECT_TRUE(stopServer()) << "the server does not end";
    server_.reset();
    std::filesystem::remove_all(world_->folder());
}

void SystemTest::expectNothingHeld()
{
    std::wstring listing;
    // What a killed front end held is taken back a moment after its end.
    EXPECT_TRUE(soon([&] { return control().references(listing) == 0; }, milliseconds(5'000)))
        << "held by clients: " << utf8(listing);
}

Control& SystemTest::control()
{
    if (!control_)
        control_ = std::make_unique<Control>();
    return *control_;
}

void SystemTest::restartServer()
{
    sdk.releaseRC();
    control_.reset();
    if (!stopServer())
        throw std::runtime_error("the server does not end");
    startNextServer();
}

void SystemTest::crashServer()
{
    killServer();
    control_.reset();
}

void SystemTest::awaitServerDeath()
{
    if (!soon([] { return serverProcess() == 0; }))
        throw std::runtime_error("the server lives on");
    control_.reset();
}

VBoxHandle SystemTest::find(const std::wstring& nameOrId)
{
    VBoxHandle machine = 0;
    check(sdk, sdk.findMachine(nameOrId, &machine));
    return machine;
}

std::wstring SystemTest::nameOf(VBoxHandle machine)
{
    return ask<std::wstring>(sdk, &VBoxInstanceImpl::getVmName, machine);
}

std::uint32_t SystemTest::stateOf(VBoxHandle machine)
{
    return ask<std::uint32_t>(sdk, &VBoxInstanceImpl::machineGetState, machine);
}

VBoxHandle SystemTest::lockForWriting(VBoxHandle machine)
{
    retryWhileLocked(sdk, Deadline(milliseconds(10'000)), [&] { return sdk.lockMachine(machine, LockType::Write); });
    VBoxHandle mutableMachine = 0;
    check(sdk, sdk.createMutableMachine(machine, &mutableMachine));
    return mutableMachine;
}

} // namespace TravikTest
