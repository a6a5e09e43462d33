// Shared folders, port forwarding, guest properties, the audio adapter and the host.

#include "harness/running_machine.h"

namespace TravikTest {
namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;
namespace fs = std::filesystem;

class Devices : public RunningMachineTest
{
protected:
    std::string playerFile() { return readFile(world().machineFile(Machines::player)); }

    void saveAndUnlock(VBoxHandle own)
    {
        check(sdk, sdk.saveSettings(own));
        check(sdk, sdk.unlockMachine());
    }

    VBoxHandle natOf(VBoxHandle machine)
    {
        const auto adapter = ask<VBoxHandle>(sdk, &VBoxInstanceImpl::getNetworkAdapter, machine, 0u);
        return ask<VBoxHandle>(sdk, &VBoxInstanceImpl::getNATEngine, adapter);
    }

    std::size_t ruleCount(VBoxHandle nat)
    {
        std::list<std::wstring> rules;
        check(sdk, sdk.getRedirects(nat, &rules));
        return rules.size();
    }

    std::wstring hostFolder() { return world().folder().wstring(); }
};

// ---- shared folders

TEST_F(Devices, PermanentSharesLastWhenTheyAreSaved)
{
    VBoxHandle own = lockForWriting(find(Machines::player));
    EXPECT_TRUE(done(sdk.machineCreateSharedFolder(own, L"kept \u5171\u4eab", hostFolder(), 1, 0)));
    saveAndUnlock(own);
    own = lockForWriting(find(Machines::player));
    EXPECT_TRUE(done(sdk.machineCreateSharedFolder(own, L"lost", hostFolder(), 0, 1)));
    EXPECT_TRUE(done(sdk.unlockMachine()));
    EXPECT_THAT(playerFile(), HasSubstr("name=\"kept \xe5\x85\xb1\xe4\xba\xab\""));
    EXPECT_THAT(playerFile(), Not(HasSubstr("name=\"lost\"")));

    restartServer();
    own = lockForWriting(find(Machines::player));
    EXPECT_TRUE(refused(sdk.machineCreateSharedFolder(own, L"kept \u5171\u4eab", hostFolder(), 1, 0),
                        MachineCreateSharedFolderFail, Result::ObjectInUse));
    EXPECT_TRUE(
        refused(sdk.machineRemoveSharedFolder(own, L"lost"), MachineRemoveSharedFolderFail, Result::ObjectNotFound));
    EXPECT_TRUE(done(sdk.machineRemoveSharedFolder(own, L"kept \u5171\u4eab")));
    saveAndUnlock(own);
    EXPECT_THAT(playerFile(), Not(HasSubstr("<SharedFolder ")));
}

TEST_F(Devices, PermanentSharesAreRefused)
{
    const VBoxHandle machine = find(Machines::player);
    EXPECT_TRUE(refused(sdk.machineCreateSharedFolder(machine, L"share", hostFolder(), 1, 1),
                        MachineCreateSharedFolderFail, Result::InvalidVMState));
    EXPECT_TRUE(refused(sdk.machineRemoveSharedFolder(machine, L"share"), MachineRemoveSharedFolderFail,
                        Result::InvalidVMState));
    const VBoxHandle own = lockForWriting(machine);
    EXPECT_TRUE(refused(sdk.machineCreateSharedFolder(own, L"share", L"not\\a\\full\\path", 1, 1),
                        MachineCreateSharedFolderFail, Result::InvalidArg));
    EXPECT_TRUE(done(sdk.unlockMachine()));
}

TEST_F(Devices, TransientSharesEndWithTheMachine)
{
    launch(Machines::player);
    VBoxHandle console = consoleOf();
    EXPECT_TRUE(done(sdk.consoleCreateSharedFolder(console, L"share", hostFolder(), 1, 1)));
    EXPECT_TRUE(refused(sdk.consoleCreateSharedFolder(console, L"share", hostFolder(), 1, 1),
                        ConsoleCreateSharedFolderFail, Result::FileError));
    EXPECT_TRUE(
        refused(sdk.consoleRemoveSharedFolder(console, L"other"), ConsoleRemoveSharedFolderFail, Result::FileError));
    EXPECT_TRUE(done(sdk.consoleRemoveSharedFolder(console, L"share")));
    EXPECT_TRUE(done(sdk.consoleCreateSharedFolder(console, L"share", hostFolder(), 1, 1)));
    EXPECT_THAT(playerFile(), Not(HasSubstr("<SharedFolder ")));
    powerDown(console);
    launch(Machines::player);
    console = consoleOf();
    EXPECT_TRUE(
        refused(sdk.consoleRemoveSharedFolder(console, L"share"), ConsoleRemoveSharedFolderFail, Result::FileError))
        << "it went with the last run";
}

// ---- network

TEST_F(Devices, ForwardingRulesLastWhenTheyAreSaved)
{
    VBoxHandle own = lockForWriting(find(Machines::player));
    VBoxHandle nat = natOf(own);
    EXPECT_EQ(ruleCount(nat), 0u);
    EXPECT_TRUE(done(sdk.addRedirect(nat, L"adb", NATProtocol::TCP, L"127.0.0.1", 5555, L"", 5556)));
    EXPECT_EQ(ruleCount(nat), 0u) << "the list never holds the last rule";
    EXPECT_TRUE(done(sdk.addRedirect(nat, L"dns", NATProtocol::UDP, L"", 70'000, L"10.0.2.15", 53)));
    std::list<std::wstring> rules = {L"as it was"};
    EXPECT_TRUE(done(sdk.getRedirects(nat, &rules)));
    ASSERT_EQ(rules.size(), 1u);
    EXPECT_THAT(rules.front(), AnyOf(L"adb,1,127.0.0.1,5555,,5556", L"dns,0,,4464,10.0.2.15,53"));
    saveAndUnlock(own);
    EXPECT_THAT(playerFile(), HasSubstr("name=\"adb\""));
    EXPECT_THAT(playerFile(), HasSubstr("hostport=\"4464\"")) << "only the low 16 bits of a port count";

    own = lockForWriting(find(Machines::player));
    EXPECT_TRUE(done(sdk.addRedirect(natOf(own), L"lost", NATProtocol::TCP, L"", 1234, L"", 1234)));
    EXPECT_TRUE(done(sdk.unlockMachine()));
    restartServer();
    own = lockForWriting(find(Machines::player));
    nat = natOf(own);
    EXPECT_EQ(ruleCount(nat), 1u) << "two are there, of which one is shown";
    EXPECT_TRUE(done(sdk.removeRedirect(nat, L"adb")));
    EXPECT_TRUE(done(sdk.removeRedirect(nat, L"dns")));
    EXPECT_TRUE(refused(sdk.removeRedirect(nat, L"lost"), RemoveRedirectFail, Result::InvalidArg));
    EXPECT_TRUE(done(sdk.unlockMachine()));
}

TEST_F(Devices, ForwardingRulesAreRefused)
{
    const VBoxHandle machine = find(Machines::player);
    EXPECT_TRUE(refused(sdk.addRedirect(natOf(machine), L"adb", NATProtocol::TCP, L"", 5555, L"", 5555),
                        AddRedirectFail, Result::InvalidVMState))
        << "no lock";
    const VBoxHandle own = lockForWriting(machine);
    const VBoxHandle nat = natOf(own);
    EXPECT_TRUE(done(sdk.addRedirect(nat, L"adb", NATProtocol::TCP, L"", 5555, L"", 5555)));
    EXPECT_TRUE(done(sdk.addRedirect(nat, L"ssh", NATProtocol::TCP, L"", 2222, L"", 22)));
    EXPECT_TRUE(refused(sdk.addRedirect(nat, L"adb", NATProtocol::TCP, L"", 6666, L"", 5555), AddRedirectFail,
                        Result::InvalidArg))
        << "the name is taken";
    EXPECT_TRUE(refused(sdk.addRedirect(nat, L"other", NATProtocol::TCP, L"", 5555, L"", 7777), AddRedirectFail,
                        Result::InvalidArg))
        << "the port is taken; assumed of VirtualBox";
    EXPECT_EQ(ruleCount(nat), 1u) << "the two are still there";
    EXPECT_TRUE(refused(sdk.removeRedirect(nat, L"nobody"), RemoveRedirectFail, Result::InvalidArg));
    control().fail(L"INATEngine::get_Redirects", Result::Fail);
    std::list<std::wstring> rules = {L"as it was"};
    EXPECT_TRUE(refused(sdk.getRedirects(nat, &rules), GetRedirectsFail, Result::Fail));
    EXPECT_EQ(rules.size(), 1u);
    EXPECT_TRUE(done(sdk.unlockMachine()));
}

TEST_F(Devices, ForwardingRulesOfARunningMachineCanChange)
{
    launch(Machines::player);
    const auto own = ask<VBoxHandle>(sdk, &VBoxInstanceImpl::createMutableMachine, 0u);
    const VBoxHandle nat = natOf(own);
    EXPECT_TRUE(done(sdk.addRedirect(nat, L"adb", NATProtocol::TCP, L"", 5555, L"", 5555)));
    EXPECT_TRUE(done(sdk.removeRedirect(nat, L"adb")));
}

TEST_F(Devices, AdaptersGoBySlot)
{
    const VBoxHandle machine = find(Machines::player);
    VBoxHandle adapter = 0;
    const VBoxHandle own = lockForWriting(machine);
    for (std::uint32_t slot = 0; slot < 8; ++slot) {
        EXPECT_TRUE(done(sdk.getNetworkAdapter(own, slot, &adapter))) << slot;
        const auto nat = ask<VBoxHandle>(sdk, &VBoxInstanceImpl::getNATEngine, adapter);
        const std::wstring name = L"of slot " + std::to_wstring(slot);
        EXPECT_TRUE(done(sdk.addRedirect(nat, name, NATProtocol::TCP, L"", 5555, L"", 5555)));
    }
    saveAndUnlock(own);
    const std::string text = playerFile();
    for (int slot = 0; slot < 8; ++slot) {
        const std::size_t element = text.find("<Adapter slot=\"" + std::to_string(slot));
        ASSERT_NE(element, std::string::npos);
        EXPECT_THAT(text.substr(element, text.find("</Adapter>", element) - element),
                    HasSubstr("name=\"of slot " + std::to_string(slot)));
    }
    VBoxHandle other = 77;
    EXPECT_TRUE(refused(sdk.getNetworkAdapter(machine, 8, &other), GetNetworkAdapterFail, Result::InvalidArg));
    EXPECT_TRUE(
        refused(sdk.getNetworkAdapter(machine, 0xFFFFFFFFu, &other), GetNetworkAdapterFail, Result::InvalidArg));
    control().fail(L"INetworkAdapter::get_NATEngine", Result::Fail);
    EXPECT_TRUE(refused(sdk.getNATEngine(adapter, &other), GetNATEngineFail, Result::Fail));
    EXPECT_TRUE(done(sdk.releaseNetworkAdapter(adapter)));
    EXPECT_TRUE(failedUnasked(sdk.getNATEngine(adapter, &other), COM_Get_NetAdaptFail));
    EXPECT_EQ(other, 77u);
}

// ---- guest properties

TEST_F(Devices, GuestPropertiesKeepValueTimeAndFlags)
{
    const VBoxHandle machine = find(Machines::player);
    VBoxHandle own = lockForWriting(machine);
    EXPECT_TRUE(done(sdk.setGuestProperty(own, L"/Travik/\u952e", L"\u503c \U0001F511", L"RDONLYGUEST")));
    EXPECT_TRUE(done(sdk.setGuestProperty(own, L"/Travik/plain", L"1", L"")));
    saveAndUnlock(own);

    restartServer();
    std::wstring value;
    std::wstring flags;
    std::int64_t timestamp = 0;
    EXPECT_TRUE(done(sdk.getGuestProperty(find(Machines::player), L"/Travik/\u952e", &value, &timestamp, &flags)));
    EXPECT_EQ(value, L"\u503c \U0001F511");
    EXPECT_THAT(flags, HasSubstr(L"RDONLYGUEST"));
    // Nanoseconds since 1970: later than 2020 and not in the far future.
    EXPECT_GT(timestamp, 1'577'836'800'000'000'000);
    EXPECT_LT(timestamp, 4'000'000'000'000'000'000);
    EXPECT_TRUE(done(sdk.getGuestProperty(find(Machines::player), L"/Travik/plain", &value, &timestamp, nullptr)));
    EXPECT_EQ(value, L"1");

    own = lockForWriting(find(Machines::player));
    EXPECT_TRUE(done(sdk.deleteGuestProperty(own, L"/Travik/plain")));
    EXPECT_TRUE(done(sdk.deleteGuestProperty(own, L"/Travik/plain"))) << "assumed: an absent one is no failure";
    saveAndUnlock(own);
    value = L"as it was";
    EXPECT_TRUE(done(sdk.getGuestProperty(find(Machines::player), L"/Travik/plain", &value, &timestamp, &flags)));
    EXPECT_THAT(value, AnyOf(L"", L"as it was"));
    EXPECT_EQ(timestamp, 0);
}

TEST_F(Devices, GuestPropertiesAreRefused)
{
    const VBoxHandle machine = find(Machines::player);
    EXPECT_TRUE(refused(sdk.setGuestProperty(machine, L"/a", L"1", L""), SetGuestPropertyFail, Result::InvalidVMState))
        << "no lock";
    EXPECT_TRUE(refused(sdk.deleteGuestProperty(machine, L"/a"), DeleteGuestPropertyFail, Result::InvalidVMState));
    const VBoxHandle own = lockForWriting(machine);
    EXPECT_TRUE(
        refused(sdk.setGuestProperty(own, L"/a", L"1", L"NOSUCHFLAG"), SetGuestPropertyFail, Result::InvalidArg));
    EXPECT_TRUE(
        refused(sdk.setGuestProperty(own, L"/a", L"1", L"TRANSIENT"), SetGuestPropertyFail, Result::InvalidObjectState))
        << "the machine does not run";
    EXPECT_TRUE(done(sdk.setGuestProperty(own, L"/fixed", L"1", L"RDONLYHOST")));
    EXPECT_TRUE(refused(sdk.setGuestProperty(own, L"/fixed", L"2", L""), SetGuestPropertyFail, Result::AccessDenied));
    EXPECT_TRUE(done(sdk.unlockMachine()));

    std::wstring value = L"as it was";
    std::int64_t timestamp = 77;
    EXPECT_TRUE(refused(sdk.getGuestProperty(find(Machines::damagedId), L"/a", &value, &timestamp, nullptr),
                        GetGuestPropertyFail, Result::AccessDenied));
    EXPECT_TRUE(refused(sdk.getGuestProperty(machine, L"/a", &value, nullptr, nullptr), GetGuestPropertyFail,
                        Result::RpcNullReference))
        << "the time stamp's output is required";
    EXPECT_EQ(value, L"as it was");
}

TEST_F(Devices, TransientPropertiesEndWithTheMachine)
{
    launch(Machines::player);
    const auto own = ask<VBoxHandle>(sdk, &VBoxInstanceImpl::createMutableMachine, 0u);
    EXPECT_TRUE(done(sdk.setGuestProperty(own, L"/gone", L"1", L"TRANSIENT")));
    std::wstring value;
    std::int64_t timestamp = 0;
    EXPECT_TRUE(done(sdk.getGuestProperty(own, L"/gone", &value, &timestamp, nullptr)));
    EXPECT_EQ(value, L"1");
    powerDown(consoleOf());
    value = L"";
    EXPECT_TRUE(done(sdk.getGuestProperty(find(Machines::player), L"/gone", &value, &timestamp, nullptr)));
    EXPECT_EQ(value, L"");
}

// ---- audio and host

TEST_F(Devices, AudioIsSwitchedAndKept)
{
    VBoxHandle own = lockForWriting(find(Machines::player));
    VBoxHandle audio = 0;
    EXPECT_TRUE(done(sdk.getAudioAdapter(own, &audio)));
    EXPECT_TRUE(done(sdk.setAudioAdapterEnabled(audio, 1)));
    saveAndUnlock(own);
    const std::string text = playerFile();
    const std::size_t adapter = text.find("<AudioAdapter");
    ASSERT_NE(adapter, std::string::npos);
    EXPECT_THAT(text.substr(adapter, text.find('>', adapter) - adapter), HasSubstr("enabled=\"true\""));
}

TEST_F(Devices, AudioIsRefused)
{
    VBoxHandle audio = 0;
    EXPECT_TRUE(done(sdk.getAudioAdapter(find(Machines::player), &audio)));
    EXPECT_TRUE(refused(sdk.setAudioAdapterEnabled(audio, 1), SetAudioAdapterEnabledFail, Result::InvalidVMState));
    VBoxHandle other = 77;
    EXPECT_TRUE(
        refused(sdk.getAudioAdapter(find(Machines::damagedId), &other), GetAudioAdapterFail, Result::AccessDenied));
    EXPECT_EQ(other, 77u);
    launch(Machines::player);
    const auto own = ask<VBoxHandle>(sdk, &VBoxInstanceImpl::createMutableMachine, 0u);
    check(sdk, sdk.getAudioAdapter(own, &audio));
    EXPECT_TRUE(refused(sdk.setAudioAdapterEnabled(audio, 1), SetAudioAdapterEnabledFail, Result::InvalidVMState));
    EXPECT_TRUE(done(sdk.releaseAudioAdapter(audio)));
    EXPECT_TRUE(failedUnasked(sdk.setAudioAdapterEnabled(audio, 1), COM_Get_AudioAdaptFail));
}

TEST_F(Devices, TheHostTellsItsProcessor)
{
    VBoxHandle host = 0;
    VBoxHandle again = 0;
    ASSERT_TRUE(done(sdk.getHost(&host)));
    ASSERT_TRUE(done(sdk.getHost(&again)));
    EXPECT_NE(host, again);
    std::uint32_t supported = 77;
    for (std::uint32_t feature = ProcessorFeature::HWVirtEx; feature <= ProcessorFeature::NestedHWVirt; ++feature) {
        EXPECT_TRUE(done(sdk.hostGetProcessorFeature(host, feature, &supported)));
        EXPECT_LE(supported, 1u);
    }
    EXPECT_TRUE(done(sdk.hostGetProcessorFeature(host, ProcessorFeature::LongMode, &supported)));
    EXPECT_EQ(supported, 1u) << "these tests are 64-bit programs";
    control().scenario(LR"({"processorFeatures": {"0": true, "1": false}})");
    EXPECT_TRUE(done(sdk.hostGetProcessorFeature(host, ProcessorFeature::HWVirtEx, &supported)));
    EXPECT_EQ(supported, 1u);
    EXPECT_TRUE(done(sdk.hostGetProcessorFeature(host, ProcessorFeature::PAE, &supported)));
    EXPECT_EQ(supported, 0u);
}

TEST_F(Devices, TheHostIsRefused)
{
    VBoxHandle host = 77;
    std::uint32_t supported = 77;
    control().fail(L"IVirtualBox::get_Host", Result::Fail);
    EXPECT_TRUE(refused(sdk.getHost(&host), GetHostFail, Result::Fail));
    EXPECT_EQ(host, 77u);
    ASSERT_TRUE(done(sdk.getHost(&host)));
    EXPECT_TRUE(
        refused(sdk.hostGetProcessorFeature(host, 6, &supported), HostGetProcessorFeatureFail, Result::InvalidArg))
        << "assumed of VirtualBox";
    EXPECT_TRUE(done(sdk.releaseHost(host)));
    EXPECT_TRUE(failedUnasked(sdk.hostGetProcessorFeature(host, 0, &supported), COM_Get_HostFail));
    EXPECT_EQ(supported, 77u);
}

} // namespace
} // namespace TravikTest
