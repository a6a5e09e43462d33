// Clients that come and go.

#include <wrl/client.h>

#include "automation/com_string.h"
#include "harness/system_test.h"

namespace TravikTest {
namespace {

constexpr int visits = 600;
constexpr int visitsPerLine = 50;

/// Asks for VirtualBox again and again and gives it back at once, as short-lived front ends do.
const Role visitor(L"visitor", [](const RoleIo& io) {
    if (FAILED(CoInitialize(nullptr)))
        return 1;
    for (int i = 0; i < visits; ++i) {
        Microsoft::WRL::ComPtr<IVirtualBox> virtualBox;
        if (FAILED(CoCreateInstance(CLSID_VirtualBox, nullptr, CLSCTX_LOCAL_SERVER, IID_PPV_ARGS(&virtualBox))))
            return 2;
        Travik::ComString version;
        if (FAILED(virtualBox->get_Version(version.put())))
            return 3;
        if ((i + 1) % visitsPerLine == 0)
            io.say(L"visited");
    }
    CoUninitialize();
    return 0;
});

/// Asks for a machine.
const Role asker(L"asker", [](const RoleIo&) {
    Microsoft::WRL::ComPtr<IVirtualBox> virtualBox;
    Microsoft::WRL::ComPtr<IMachine> machine;
    if (FAILED(CoInitialize(nullptr)) ||
        FAILED(CoCreateInstance(CLSID_VirtualBox, nullptr, CLSCTX_LOCAL_SERVER, IID_PPV_ARGS(&virtualBox))))
        return 1;
    return SUCCEEDED(virtualBox->FindMachine(Travik::ComString(L"Player").get(), &machine)) ? 0 : 2;
});

class Clients : public SystemTest
{};

// A client that is alone takes the last reference of every interface with it, each time. Under Wine that once in some
// thousand times met a call that was just ending, and the client never came back.
TEST_F(Clients, ComeAndGoAloneWithoutAStall)
{
    FrontEndProcess client(L"visitor");
    for (int lines = visits / visitsPerLine; lines > 0; --lines)
        ASSERT_EQ(client.readLine(), L"visited");
    EXPECT_EQ(client.wait(), DWORD(0)) << client.restOfOutput();
}

TEST_F(Clients, KeepNothingThatTheyAreGivenAfterTheirDeath)
{
    const auto finds = [&](const wchar_t* what) {
        const std::wstring calls = control().traceText();
        const std::size_t call = calls.find(L"IVirtualBox::FindMachine");
        return call != std::wstring::npos && calls.find(what, call) != std::wstring::npos;
    };
    control().delay(L"IVirtualBox::FindMachine", 1'000);
    control().trace(true);
    FrontEndProcess client(L"asker");
    ASSERT_TRUE(soon([&] { return finds(L"pending"); }));
    client.kill();
    ASSERT_TRUE(soon([&] { return finds(L"= 0x00000000"); })) << utf8(control().traceText());
    Sleep(500); // the answer is on its way
    std::wstring listing;
    EXPECT_TRUE(soon([&] { return control().references(listing) == 0; })) << utf8(listing);
}

} // namespace
} // namespace TravikTest
