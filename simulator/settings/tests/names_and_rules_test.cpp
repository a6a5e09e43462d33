#include <gtest/gtest.h>

#include "base/failure.h"
#include "base/text.h"
#include "settings/guest_property_flags.h"
#include "settings/machine_names.h"
#include "settings/nat_rules.h"
#include "settings/storage_buses.h"

using namespace VBoxSim;

namespace {

template <class Action>
ResultCode codeOf(Action&& action)
{
    try {
        action();
    } catch (const Failure& failure) {
        return failure.code();
    }
    return Result::ok;
}

} // namespace

TEST(Names, UnsafeCharactersBecomeUnderscores)
{
    EXPECT_EQ(safeMachineName(L"a/b\\c:d*e?f\"g<h>i|j"), L"a_b_c_d_e_f_g_h_i_j");
    EXPECT_EQ(safeMachineName(L"tail  "), L"tail__");
    EXPECT_EQ(safeMachineName(L"tail. ."), L"tail___");
    EXPECT_EQ(safeMachineName(L"  head"), L"__head");
    EXPECT_EQ(safeMachineName(L".head"), L"_head");
    EXPECT_EQ(safeMachineName(L"-head (1)-x"), L"_head (1)-x");
    EXPECT_EQ(safeMachineName(L"a&b+c[d]!"), L"a_b_c_d__");
    EXPECT_EQ(safeMachineName(fromUtf8("x \xF0\x9F\x8E\xAE y")), L"x _ y");
    EXPECT_EQ(safeMachineName(L"\u00A0\uD7AF\uD7B0\uFF01"), L"\u00A0\uD7AF__");
    EXPECT_EQ(safeMachineName(L"\u6A21\u62DF"), L"\u6A21\u62DF");
}

TEST(Names, DevicesBecomePlainNames)
{
    EXPECT_EQ(safeMachineName(L"CON"), L"_CON");
    EXPECT_EQ(safeMachineName(L"NUL.x"), L"_NUL.x");
    EXPECT_EQ(safeMachineName(L"Com1"), L"_Com1");
    EXPECT_EQ(safeMachineName(L"Console"), L"Console");
}

TEST(Names, RefusesWhatASettingsFileCannotTakeOver)
{
    EXPECT_EQ(codeOf([] { checkMachineName(L""); }), Result::fileError);
    EXPECT_EQ(codeOf([] { checkMachineName(L"a/b"); }), Result::fileError);
    EXPECT_EQ(codeOf([] { checkMachineName(L"a\nb"); }), Result::fileError);
    EXPECT_EQ(codeOf([] { checkMachineName(std::wstring(240, L'x')); }), Result::ok);
    EXPECT_EQ(codeOf([] { checkMachineName(std::wstring(241, L'x')); }), Result::fileError);
    EXPECT_EQ(codeOf([] { checkMachineName(L"模拟器 🎮"); }), Result::ok);
}

TEST(Names, CreateFlags)
{
    const CreateFlags flags =
        parseCreateFlags(L"forceOverwrite=1, UUID={AAAAAAAA-1111-2222-3333-444444444444},directoryIncludesUUID=1");
    EXPECT_TRUE(flags.forceOverwrite);
    EXPECT_TRUE(flags.folderWithUuid);
    EXPECT_EQ(flags.uuid, L"aaaaaaaa-1111-2222-3333-444444444444");
    EXPECT_EQ(codeOf([] { parseCreateFlags(L"nonsense=1"); }), Result::invalidArgument);
    EXPECT_EQ(codeOf([] { parseCreateFlags(L"UUID=12"); }), Result::invalidArgument);
    EXPECT_EQ(codeOf([] { parseCreateFlags(L""); }), Result::ok);
}

TEST(NatRules, NamesAndHostPortsMustBeFree)
{
    std::vector<NatRule> rules;
    addRedirect(rules, {L"ssh", 1, L"127.0.0.1", 2222, L"", 22});
    EXPECT_EQ(codeOf([&] { addRedirect(rules, {L"ssh", 0, L"", 1, L"", 1}); }), Result::invalidArgument);
    EXPECT_EQ(codeOf([&] { addRedirect(rules, {L"other", 1, L"127.0.0.1", 2222, L"", 1}); }), Result::invalidArgument);
    EXPECT_EQ(codeOf([&] { addRedirect(rules, {L"udp", 0, L"127.0.0.1", 2222, L"", 1}); }), Result::ok);
    EXPECT_EQ(codeOf([&] { addRedirect(rules, {L"elsewhere", 1, L"127.0.0.2", 2222, L"", 22}); }), Result::ok);
    removeRedirect(rules, L"elsewhere");
    EXPECT_EQ(codeOf([&] { addRedirect(rules, {L"x", 2, L"", 5, L"", 5}); }), Result::invalidArgument);
    EXPECT_EQ(codeOf([&] { removeRedirect(rules, L"nobody"); }), Result::invalidArgument);
    removeRedirect(rules, L"udp");
    EXPECT_EQ(rules.size(), 1u);
}

TEST(NatRules, AreTextsSortedByName)
{
    std::vector<NatRule> rules;
    addRedirect(rules, {L"ssh", 1, L"127.0.0.1", 2222, L"", 22});
    addRedirect(rules, {L"", 1, L"", 8080, L"10.0.2.15", 80});
    addRedirect(rules, {L"adb", 0, L"", 5555, L"", 5555});
    const std::vector<std::wstring> expected{L"adb,0,,5555,,5555", L"ssh,1,127.0.0.1,2222,,22",
                                             L"tcp_8080_80,1,,8080,10.0.2.15,80"};
    EXPECT_EQ(redirectTexts(rules), expected);
}

TEST(StorageBuses, PortsAndDevices)
{
    const struct
    {
        std::uint32_t bus, maxPorts, devices, defaultType;
    } expected[] = {{1, 2, 2, 5}, {2, 30, 1, 3}, {3, 16, 1, 1}, {4, 1, 2, 7}, {5, 255, 1, 8}};
    for (const auto& bus : expected) {
        ASSERT_TRUE(storageBus(bus.bus));
        EXPECT_EQ(storageBus(bus.bus)->maxPorts, bus.maxPorts);
        EXPECT_EQ(storageBus(bus.bus)->devicesPerPort, bus.devices);
        EXPECT_EQ(storageBus(bus.bus)->defaultType, bus.defaultType);
    }
    EXPECT_FALSE(storageBus(0));
    EXPECT_FALSE(storageBus(9));
    EXPECT_EQ(busOfControllerType(6), 1u);
    EXPECT_EQ(busOfControllerType(99), 0u);
}

TEST(GuestPropertyFlags, ParseAndWrite)
{
    EXPECT_EQ(parseGuestPropertyFlags(L"TRANSIENT, RDONLYGUEST")->text(), L"TRANSIENT, RDONLYGUEST");
    EXPECT_EQ(parseGuestPropertyFlags(L"RDONLYHOST,RDONLYGUEST")->text(), L"READONLY");
    EXPECT_EQ(parseGuestPropertyFlags(L"TRANSRESET")->text(), L"TRANSRESET");
    EXPECT_TRUE(parseGuestPropertyFlags(L"TRANSRESET")->transient);
    EXPECT_EQ(parseGuestPropertyFlags(L"")->text(), L"");
    EXPECT_FALSE(parseGuestPropertyFlags(L"SOMETIMES"));
}
