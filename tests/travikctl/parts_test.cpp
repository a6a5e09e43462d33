// nat, share, prop, audio, host, folder.

#include "ctl_test.h"

using namespace TravikTest;

using TravikctlParts = TravikctlTest;

TEST_F(TravikctlParts, natRulesComeAndGo)
{
    const Outcome added = travikctl({L"nat", L"add", player(), L"ssh", L"--host-port", L"2222", L"--guest-port", L"22",
                                     L"--host-address", L"127.0.0.1"});
    ASSERT_TRUE(succeeded(added));
    EXPECT_EQ(added.out, "Forwards host port 2222 to guest port 22.\n");
    EXPECT_EQ(travikctlJson({L"nat", L"add", player(), L"udp", L"--host-port", L"53", L"--guest-port", L"22",
                             L"--protocol", L"UDP", L"--guest-address", L"10.0.2.15"})
                  .facts(),
              (json{{"machine", "Player"}, {"rule", "udp"}}));
    ASSERT_TRUE(
        succeeded(travikctl({L"nat", L"add", player(), L"~last", L"--host-port", L"65535", L"--guest-port", L"22"})));

    const Outcome listed = travikctlJson({L"nat", L"list", player()});
    ASSERT_TRUE(succeeded(listed));
    EXPECT_EQ(listed.json()["rules"], (json{{{"name", "ssh"},
                                             {"protocol", "tcp"},
                                             {"hostAddress", "127.0.0.1"},
                                             {"hostPort", 2222},
                                             {"guestAddress", ""},
                                             {"guestPort", 22}},
                                            {{"name", "udp"},
                                             {"protocol", "udp"},
                                             {"hostAddress", ""},
                                             {"hostPort", 53},
                                             {"guestAddress", "10.0.2.15"},
                                             {"guestPort", 22}}}));
    EXPECT_THAT(listed.json()["notes"][0].get<std::string>(), HasSubstr("never hands over the last rule"));

    EXPECT_EQ(travikctl({L"nat", L"remove", player(), L"ssh"}).out, "Removed ssh.\n");
    EXPECT_EQ(travikctlJson({L"nat", L"remove", player(), L"~last"}).facts(),
              (json{{"machine", "Player"}, {"rule", "~last"}}));
    EXPECT_THAT(settingsOf(player()), HasSubstr("name=\"udp\""));
    EXPECT_THAT(settingsOf(player()), Not(HasSubstr("name=\"ssh\"")));
}

TEST_F(TravikctlParts, natListSaysThatTheLastRuleIsMissing)
{
    ASSERT_TRUE(
        succeeded(travikctl({L"nat", L"add", player(), L"only", L"--host-port", L"2222", L"--guest-port", L"22"})));
    const Outcome run = travikctl({L"nat", L"list", player()});
    EXPECT_TRUE(succeeded(run));
    EXPECT_THAT(run.out,
                StartsWith("name  protocol  hostAddress  hostPort  guestAddress  guestPort\nnote: The interface "
                           "never hands over the last rule"));
    EXPECT_THAT(run.out, HasSubstr("nat add MACHINE ~last"));
    const json notes = travikctlJson({L"nat", L"list", player()}).json()["notes"];
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_THAT(notes[0].get<std::string>(), StartsWith("The interface never hands over the last rule"));
}

TEST_F(TravikctlParts, natRefusesWhatClashes)
{
    ASSERT_TRUE(
        succeeded(travikctl({L"nat", L"add", player(), L"ssh", L"--host-port", L"2222", L"--guest-port", L"22"})));
    expectRefused({L"nat", L"add", player(), L"ssh", L"--host-port", L"2223", L"--guest-port", L"22"}, 1, "addRedirect",
                  "AddRedirectFail", "E_INVALIDARG");
    expectRefused({L"nat", L"remove", player(), L"none"}, 3, "removeRedirect", "RemoveRedirectFail", "E_INVALIDARG");
    expectRefused({L"nat", L"list", player(), L"--adapter", L"99"}, 1, "getNetworkAdapter", "GetNetworkAdapterFail",
                  "E_INVALIDARG");
}

TEST_F(TravikctlParts, natRefusesAnAddressThatIsNoneBeforeTheCall)
{
    for (const wchar_t* address :
         {L"localhost", L"1.2.3", L"1.2.3.4.5", L"1.2.3.256", L"1.2.3.", L"::1", L"1.2.3.4x"}) {
        for (const wchar_t* option : {L"--host-address", L"--guest-address"}) {
            const Outcome run = travikctl(
                {L"nat", L"add", player(), L"x", L"--host-port", L"1", L"--guest-port", L"1", option, address});
            EXPECT_TRUE(failed(run, 2, {"is not an IPv4 address"})) << address;
        }
    }
    EXPECT_THAT(settingsOf(player()), Not(HasSubstr("Forwarding")));
}

TEST_F(TravikctlParts, natWorksOnARunningMachine)
{
    ASSERT_TRUE(succeeded(travikctl({L"start", player()})));
    EXPECT_TRUE(
        succeeded(travikctl({L"nat", L"add", player(), L"late", L"--host-port", L"2222", L"--guest-port", L"22"})));
    EXPECT_TRUE(succeeded(travikctl({L"nat", L"remove", player(), L"late"})));
}

TEST_F(TravikctlParts, shares)
{
    const std::wstring path = folder().wstring();
    const Outcome added = travikctl({L"share", L"add", player(), L"docs", path, L"--writable", L"--automount"});
    ASSERT_TRUE(succeeded(added));
    EXPECT_EQ(added.out, "Shared " + utf8(path) + " as docs.\n");
    EXPECT_THAT(settingsOf(player()), HasSubstr("name=\"docs\""));
    expectRefused({L"share", L"add", player(), L"docs", path}, 1, "machineCreateSharedFolder",
                  "MachineCreateSharedFolderFail", "VBOX_E_OBJECT_IN_USE");
    EXPECT_EQ(travikctlJson({L"share", L"remove", player(), L"docs"}).facts(),
              (json{{"machine", "Player"}, {"share", {{"name", "docs"}, {"transient", false}}}}));
    EXPECT_THAT(settingsOf(player()), Not(HasSubstr("name=\"docs\"")));
    expectRefused({L"share", L"remove", player(), L"docs"}, 3, "machineRemoveSharedFolder",
                  "MachineRemoveSharedFolderFail", "VBOX_E_OBJECT_NOT_FOUND");
}

TEST_F(TravikctlParts, transientSharesLiveInTheRunningMachine)
{
    const std::wstring path = folder().wstring();
    EXPECT_TRUE(failed(travikctl({L"share", L"add", L"--transient", player(), L"t", path}), 1, {"does not run"}));
    ASSERT_TRUE(succeeded(travikctl({L"start", player()})));
    Control control;
    control.trace(true);
    ASSERT_TRUE(succeeded(travikctl({L"share", L"add", L"--transient", L"--writable", player(), L"w", path})));
    EXPECT_THAT(utf8(control.traceText()), HasSubstr(utf8(path) + "\", 1, 0, null)"))
        << "writable, not mounted by itself";
    control.trace(false);
    const Outcome added = travikctlJson({L"share", L"add", L"--transient", player(), L"t", path});
    ASSERT_TRUE(succeeded(added));
    EXPECT_EQ(added.json()["share"], (json{{"name", "t"}, {"path", utf8(path)}, {"transient", true}}));
    expectRefused({L"share", L"add", L"--transient", player(), L"t", path}, 1, "consoleCreateSharedFolder",
                  "ConsoleCreateSharedFolderFail", "VBOX_E_FILE_ERROR");
    EXPECT_EQ(travikctl({L"share", L"remove", L"--transient", player(), L"t"}).out, "Removed t.\n");
    expectRefused({L"share", L"remove", L"--transient", player(), L"t"}, 3, "consoleRemoveSharedFolder",
                  "ConsoleRemoveSharedFolderFail", "VBOX_E_FILE_ERROR");
    EXPECT_THAT(settingsOf(player()), Not(HasSubstr("SharedFolder name")));
}

TEST_F(TravikctlParts, properties)
{
    const Outcome set = travikctl({L"prop", L"set", player(), L"/a/b", L"Wert 🎮", L"--flags", L"RDONLYGUEST"});
    ASSERT_TRUE(succeeded(set));
    EXPECT_EQ(set.out, "Set /a/b.\n");
    const json property = travikctlJson({L"prop", L"get", player(), L"/a/b"}).json()["property"];
    EXPECT_EQ(property["value"], "Wert 🎮");
    EXPECT_EQ(property["flags"], "RDONLYGUEST");
    EXPECT_GT(property["timestamp"].get<std::int64_t>(), 1'600'000'000'000'000'000);
    EXPECT_THAT(travikctl({L"prop", L"get", player(), L"/a/b"}).out, HasSubstr("value:     Wert 🎮\n"));
    EXPECT_EQ(travikctlJson({L"prop", L"set", player(), L"/c", L"d"}).facts(),
              (json{{"machine", "Player"}, {"name", "/c"}}));
    EXPECT_EQ(travikctl({L"prop", L"delete", player(), L"/c"}).out, "Deleted /c.\n");
    EXPECT_EQ(travikctlJson({L"prop", L"delete", player(), L"/a/b"}).facts(),
              (json{{"machine", "Player"}, {"name", "/a/b"}}));
    EXPECT_TRUE(failed(travikctl({L"prop", L"get", player(), L"/a/b"}), 3, {"the machine has no property /a/b"}));
    EXPECT_TRUE(failedAsJson(travikctlJson({L"prop", L"get", player(), L"/a/b"}), 3, "", "", ""));
    expectRefused({L"prop", L"set", player(), L"/a", L"x", L"--flags", L"NONSENSE"}, 1, "setGuestProperty",
                  "SetGuestPropertyFail", "E_INVALIDARG");
    expectRefused({L"prop", L"delete", L"none", L"/a"}, 3, "findMachine", "FindMachineFail", "VBOX_E_OBJECT_NOT_FOUND");
}

TEST_F(TravikctlParts, audio)
{
    const Outcome on = travikctl({L"audio", L"on", player()});
    ASSERT_TRUE(succeeded(on));
    EXPECT_EQ(on.out, "Audio of Player is on.\n");
    const std::string settings = settingsOf(player());
    const std::size_t adapter = settings.find("<AudioAdapter");
    EXPECT_THAT(settings.substr(adapter, settings.find('>', adapter) - adapter), HasSubstr("enabled=\"true\""));
    EXPECT_EQ(travikctlJson({L"audio", L"off", player()}).facts(), (json{{"machine", "Player"}, {"audio", false}}));
    EXPECT_EQ(travikctlJson({L"audio", L"on", player()}).facts(), (json{{"machine", "Player"}, {"audio", true}}));
    EXPECT_EQ(travikctl({L"audio", L"off", player()}).out, "Audio of Player is off.\n");
    EXPECT_THAT(settingsOf(player()), Not(HasSubstr("driver=\"DirectSound\" enabled=\"true\"")));
    expectRefused({L"audio", L"off", L"none"}, 3, "findMachine", "FindMachineFail", "VBOX_E_OBJECT_NOT_FOUND");
    expectRefused({L"audio", L"on", L"none"}, 3, "findMachine", "FindMachineFail", "VBOX_E_OBJECT_NOT_FOUND");
}

TEST_F(TravikctlParts, hostFeatures)
{
    const Outcome run = travikctlJson({L"host"});
    ASSERT_TRUE(succeeded(run));
    const json features = run.json()["host"];
    EXPECT_EQ(features.size(), 6u);
    EXPECT_EQ(features["longMode"], true);
    EXPECT_THAT(travikctl({L"host"}).out, HasSubstr("64 bit:                  yes\n"));
    vboxsim({L"fail", L"IHost::GetProcessorFeature", L"0x80004005", L"--times", L"2"});
    expectRefused({L"host"}, 1, "hostGetProcessorFeature", "HostGetProcessorFeatureFail", "E_FAIL");
}

TEST_F(TravikctlParts, machineFolder)
{
    EXPECT_EQ(travikctl({L"folder", L"get"}).out, utf8(world().machineFolder().wstring()) + "\n");
    const std::wstring other = folder().wstring();
    const Outcome set = travikctl({L"folder", L"set", other});
    ASSERT_TRUE(succeeded(set));
    EXPECT_EQ(set.out, "New machines go to " + utf8(other) + ".\n");
    EXPECT_EQ(travikctlJson({L"folder", L"get"}).facts(), (json{{"folder", utf8(other)}}));
    EXPECT_EQ(travikctlJson({L"folder", L"set", other}).facts(), (json{{"folder", utf8(other)}}));
    vboxsim({L"fail", L"ISystemProperties::get_DefaultMachineFolder", L"0x80004005", L"--times", L"2"});
    expectRefused({L"folder", L"get"}, 1, "getDefaultMachineFolder", "GetDefaultMachineFolderFail", "E_FAIL");
    expectRefused({L"folder", L"set", (folder() / L"none").wstring()}, 3, "setDefaultMachineFolder",
                  "CheckFileExistsFail", "");
}
