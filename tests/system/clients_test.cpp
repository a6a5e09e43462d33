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

} // namespace
} // namespace TravikTest
