// Putting the stand-in where a VirtualBox is registered, and taking it away again. In the registry of a Wine prefix
// only: nobody's own registration is at stake.

#include <gmock/gmock.h>

#include "child_process.h"
#include "harness/control.h"
#include "harness/standin.h"
#include "scratch.h"

namespace TravikTest {
namespace {

const std::wstring foreignServer = L"C:\\Elsewhere\\VBoxSVC.exe";

class Registration : public testing::Test
{
protected:
    void SetUp() override
    {
        if (GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") == nullptr)
            GTEST_SKIP() << "on Windows the registry is the user's own";
        wchar_t text[64];
        StringFromGUID2(CLSID_VirtualBox, text, 64);
        key_ = std::wstring(L"CLSID\\") + text;
        unregisterStandIn();
    }

    void TearDown() override
    {
        if (key_.empty())
            return;
        vboxsim({L"unregister"});
        RegDeleteTreeW(HKEY_CLASSES_ROOT, key_.c_str());
    }

    /// Registers a VirtualBox that the stand-in knows nothing of.
    void installForeign()
    {
        const auto size = static_cast<DWORD>((foreignServer.size() + 1) * sizeof(wchar_t));
        ASSERT_EQ(RegSetKeyValueW(HKEY_CLASSES_ROOT, (key_ + L"\\LocalServer32").c_str(), nullptr, REG_SZ,
                                  foreignServer.c_str(), size),
                  ERROR_SUCCESS);
        ASSERT_EQ(RegSetKeyValueW(HKEY_CLASSES_ROOT, key_.c_str(), L"Vendor", REG_SZ, L"them", 5 * sizeof(wchar_t)),
                  ERROR_SUCCESS);
    }

    std::wstring read(const std::wstring& subkey, const wchar_t* name) const
    {
        wchar_t value[1024] = L"";
        DWORD size = sizeof(value);
        RegGetValueW(HKEY_CLASSES_ROOT, (key_ + subkey).c_str(), name, RRF_RT_REG_SZ, nullptr, value, &size);
        return value;
    }
    std::wstring server() const { return read(L"\\LocalServer32", nullptr); }
    std::wstring ownServer() const { return (productFolder() / L"vboxsim-svc.exe").wstring(); }

    DWORD vboxsim(const std::vector<std::wstring>& arguments)
    {
        ChildProcess program(productFolder() / L"vboxsim.exe", arguments);
        const auto exitCode = program.wait();
        output_ = program.restOfOutput();
        return exitCode.value_or(STILL_ACTIVE);
    }

    std::string output_;

private:
    std::wstring key_;
};

TEST_F(Registration, ComesAndGoesWhereNothingWas)
{
    EXPECT_EQ(vboxsim({L"register"}), 0u) << output_;
    EXPECT_THAT(server(), testing::HasSubstr(ownServer()));
    EXPECT_EQ(vboxsim({L"unregister"}), 0u) << output_;
    EXPECT_EQ(server(), L"");
}

TEST_F(Registration, ReplacesNoOtherVirtualBoxUnlessItIsForced)
{
    installForeign();
    EXPECT_NE(vboxsim({L"register"}), 0u);
    EXPECT_EQ(server(), foreignServer);
    EXPECT_EQ(vboxsim({L"register", L"--force"}), 0u) << output_;
    EXPECT_THAT(server(), testing::HasSubstr(ownServer()));
}

TEST_F(Registration, GivesBackWhatItReplaced)
{
    installForeign();
    ASSERT_EQ(vboxsim({L"register", L"--force"}), 0u) << output_;
    ASSERT_EQ(vboxsim({L"register"}), 0u) << "once more, over itself: " << output_;
    EXPECT_EQ(vboxsim({L"unregister"}), 0u) << output_;
    EXPECT_EQ(server(), foreignServer);
    EXPECT_EQ(read(L"", L"Vendor"), L"them");
    EXPECT_EQ(vboxsim({L"unregister"}), 0u) << output_;
    EXPECT_EQ(server(), foreignServer) << "not ours to take away";
}

} // namespace
} // namespace TravikTest
