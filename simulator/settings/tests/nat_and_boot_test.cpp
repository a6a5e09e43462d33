// What a NAT engine does beside forwarding ports, and the boot order, in settings files.
#include <gtest/gtest.h>

#include "base/failure.h"
#include "settings/machine_settings.h"

using namespace VBoxSim;

namespace {

const std::wstring machinePath = L"C:\\x\\x.vbox";

std::string machine(const std::string& hardware)
{
    return "<VirtualBox version=\"1.16-windows\"><Machine uuid=\"{11111111-1111-4111-8111-111111111101}\" "
           "name=\"m\"><Hardware><Memory RAMSize=\"64\"/>" +
           hardware + "</Hardware></Machine></VirtualBox>";
}

MachineSettings settingsOf(const std::string& hardware)
{
    return parseMachineSettings(machine(hardware), machinePath);
}

std::string nat(const std::string& inside)
{
    return "<Network><Adapter slot=\"0\" enabled=\"true\">" + inside + "</Adapter></Network>";
}

bool isRefused(const std::string& hardware)
{
    try {
        settingsOf(hardware);
    } catch (const Failure& failure) {
        return failure.code() == Result::fail;
    }
    return false;
}

} // namespace

TEST(NatSettings, AreReadFromEveryPlace)
{
    const NatSettings found =
        settingsOf(nat("<NAT network=\"10.1/16\" hostip=\"192.168.0.1\" mtu=\"1400\" sockrcv=\"64\" socksnd=\"65\" "
                       "tcprcv=\"66\" tcpsnd=\"67\"><DNS pass-domain=\"false\" use-proxy=\"true\" "
                       "use-host-resolver=\"true\"/><Alias logging=\"true\" use-same-ports=\"true\"/>"
                       "<TFTP prefix=\"p\" boot-file=\"b\" next-server=\"n\"/></NAT>"))
            .adapters.at(0)
            .nat;
    NatSettings wanted;
    wanted.network = L"10.1/16";
    wanted.hostIp = L"192.168.0.1";
    wanted.mtu = 1400;
    wanted.socketReceive = 64;
    wanted.socketSend = 65;
    wanted.tcpWindowReceive = 66;
    wanted.tcpWindowSend = 67;
    wanted.dnsPassDomain = false;
    wanted.dnsProxy = wanted.dnsUseHostResolver = true;
    wanted.aliasMode = 1 | 4;
    wanted.tftpPrefix = L"p";
    wanted.tftpBootFile = L"b";
    wanted.tftpNextServer = L"n";
    EXPECT_EQ(found, wanted);
}

TEST(NatSettings, ComeBackAsTheyWereWritten)
{
    MachineSettings settings = settingsOf(nat("<NAT/>"));
    NatSettings& nat = settings.adapters.at(0).nat;
    EXPECT_EQ(nat, NatSettings{});
    nat.network = L"10.2/16";
    nat.socketSend = 128;
    nat.dnsPassDomain = false;
    nat.aliasMode = 2;
    nat.tftpBootFile = L"boot";
    const NatSettings changed = nat;
    settings.source = renderMachineSettings(settings, machinePath);
    settings = parseMachineSettings(settings.source, machinePath);
    EXPECT_EQ(settings.adapters.at(0).nat, changed);

    settings.adapters.at(0).nat = {};
    const std::string text = renderMachineSettings(settings, machinePath);
    EXPECT_EQ(text.find("10.2/16"), text.npos) << "only what deviates is written";
    EXPECT_EQ(text.find("proxy-only"), text.npos);
}

TEST(NatSettings, AreKeptForAnAdapterThatIsAttachedElsewhere)
{
    MachineSettings settings = settingsOf(nat("<InternalNetwork name=\"lab\"/>"));
    settings.adapters.at(0).nat.mtu = 1280;
    settings = parseMachineSettings(renderMachineSettings(settings, machinePath), machinePath);
    EXPECT_EQ(settings.adapters.at(0).attachment, 3u);
    EXPECT_EQ(settings.adapters.at(0).nat.mtu, 1280u);
}

TEST(BootOrder, IsTheUsualOneUnlessTheFileSaysOtherwise)
{
    EXPECT_EQ(settingsOf("").bootOrder, (BootOrder{1, 2, 3, 0}));
    EXPECT_EQ(
        settingsOf("<Boot><Order position=\"2\" device=\"Network\"/><Order position=\"4\" device=\"DVD\"/></Boot>")
            .bootOrder,
        (BootOrder{0, 4, 0, 2}));
    EXPECT_TRUE(isRefused("<Boot><Order position=\"5\" device=\"DVD\"/></Boot>"));
    EXPECT_TRUE(
        isRefused("<Boot><Order position=\"1\" device=\"DVD\"/><Order position=\"1\" device=\"None\"/></Boot>"));
    EXPECT_TRUE(isRefused("<Boot><Order position=\"1\" device=\"Tape\"/></Boot>"));
}

TEST(BootOrder, ComesBackAsItWasWritten)
{
    MachineSettings settings = settingsOf("");
    settings.bootOrder = {3, 0, 4, 2};
    settings.source = renderMachineSettings(settings, machinePath);
    settings = parseMachineSettings(settings.source, machinePath);
    EXPECT_EQ(settings.bootOrder, (BootOrder{3, 0, 4, 2}));
    settings.bootOrder = usualBootOrder;
    const std::string text = renderMachineSettings(settings, machinePath);
    EXPECT_EQ(text.find("<Boot"), text.npos) << "the usual order is left out";
}
