// Files that VirtualBox refuses, in the parts that are modelled and in those that are not.
#include <gtest/gtest.h>

#include "base/failure.h"
#include "base/text.h"
#include "settings/machine_settings.h"

using namespace VBoxSim;

namespace {

ResultCode resultOf(const std::string& hardware, const std::string& besides = "")
{
    const std::string text = "<VirtualBox xmlns=\"http://www.virtualbox.org/\" version=\"1.16-windows\">"
                             "<Machine uuid=\"{11111111-1111-4111-8111-111111111101}\" name=\"m\">" +
                             besides + "<Hardware><Memory RAMSize=\"64\"/>" + hardware +
                             "</Hardware></Machine></VirtualBox>";
    try {
        parseMachineSettings(text, L"C:\\x\\m.vbox");
    } catch (const Failure& failure) {
        EXPECT_NE(failure.text().find(L"'C:\\x\\m.vbox'"), std::wstring::npos) << toUtf8(failure.text());
        return failure.code();
    }
    return Result::ok;
}

std::string storage(const std::string& controllers)
{
    return "<StorageControllers>" + controllers + "</StorageControllers>";
}

std::string controller(const std::string& name, const std::string& type, const std::string& inside = "")
{
    return "<StorageController name='" + name + "' type='" + type + "' PortCount='2'>" + inside +
           "</StorageController>";
}

std::string disk(const std::string& lastDigit, int port, const std::string& more = "")
{
    return "<AttachedDevice type='HardDisk' port='" + std::to_string(port) + "' device='0' " + more +
           "><Image uuid='{22222222-2222-4222-8222-22222222220" + lastDigit + "}'/></AttachedDevice>";
}

const std::string registry =
    "<MediaRegistry><HardDisks><HardDisk uuid='{22222222-2222-4222-8222-222222222201}' location='a.vdi' format='VDI'>"
    "<HardDisk uuid='{22222222-2222-4222-8222-222222222202}' location='b.vdi' format='VDI'/></HardDisk>"
    "<HardDisk uuid='{22222222-2222-4222-8222-222222222203}' location='c.vdi' format='VDI' type='immutable'/>"
    "</HardDisks></MediaRegistry>";

} // namespace

TEST(Refusals, WordsThatAreNotKnown)
{
    const std::pair<const char*, bool> cases[] = {
        {"<Firmware type='EFI64'/>", true},
        {"<Firmware type='2'/>", true},
        {"<Firmware type='efi'/>", false},
        {"<Display controller='vmsvga'/>", true},
        {"<Display controller='QemuRamFB'/>", false},
        {"<RemoteDisplay authType='guest'/>", true},
        {"<RemoteDisplay authType='All'/>", false},
        {"<BIOS><APIC mode='x2apic'/><BootMenu mode='messageandmenu'/></BIOS>", true},
        {"<BIOS><APIC mode='on'/></BIOS>", false},
        {"<BIOS><BootMenu mode='never'/></BIOS>", false},
        {"<USB><Controllers><Controller name='x' type='XHCI'/></Controllers></USB>", true},
        {"<USB><Controllers><Controller name='x' type='UHCI'/></Controllers></USB>", false},
        {"<Network><Adapter slot='0' promiscuousModePolicy='AllowAll'/></Network>", true},
        {"<Network><Adapter slot='0' promiscuousModePolicy='allowall'/></Network>", false},
        {"<DragAndDrop mode='GuestToHost'/>", true},
        {"<DragAndDrop mode='guesttohost'/>", false},
        {"<Firmware/><Display/><BIOS/><DragAndDrop/>", true},
    };
    for (const auto& [text, good] : cases)
        EXPECT_EQ(resultOf(text), good ? Result::ok : Result::fail) << text;
}

TEST(Refusals, PartsThatLackSomething)
{
    const std::pair<const char*, bool> cases[] = {
        {"<Boot><Order position='1' device='DVD'/><Order position='4' device='None'/></Boot>", true},
        {"<Boot><Order position='5' device='DVD'/></Boot>", false},
        {"<Boot><Order device='DVD'/></Boot>", false},
        {"<Boot><Order position='1'/></Boot>", false},
        {"<Boot><Order position='1' device='USB'/></Boot>", false},
        {"<Boot><Order position='1' device='DVD'/><Order position='1' device='None'/></Boot>", false},
        {"<UART><Port slot='0' enabled='false' IOBase='0x3f8' IRQ='4' hostMode='Disconnected'/></UART>", true},
        {"<UART><Port slot='0' enabled='false' IOBase='0x3f8' IRQ='4'/></UART>", false},
        {"<UART><Port slot='0' enabled='false' IRQ='4' hostMode='Disconnected'/></UART>", false},
        {"<LPT><Port slot='0' enabled='false' IOBase='0x378' IRQ='7'/></LPT>", true},
        {"<LPT><Port slot='0' enabled='false' IOBase='0x378' IRQ='7'/><Port slot='0' enabled='true' IOBase='0x278' "
         "IRQ='5'/></LPT>",
         false},
        {"<LPT><Port slot='0' enabled='maybe' IOBase='0x378' IRQ='7'/></LPT>", false},
        {"<IO><BandwidthGroups><BandwidthGroup name='g' type='Network'/></BandwidthGroups></IO>", true},
        {"<IO><BandwidthGroups><BandwidthGroup type='Disk'/></BandwidthGroups></IO>", false},
        {"<IO><BandwidthGroups><BandwidthGroup name='g'/></BandwidthGroups></IO>", false},
    };
    for (const auto& [text, good] : cases)
        EXPECT_EQ(resultOf(text), good ? Result::ok : Result::fail) << text;
}

TEST(Refusals, PartsOfSnapshots)
{
    const auto snapshot = [](const std::string& hardware) {
        return "<Snapshot uuid='{33333333-3333-4333-8333-333333333301}' name='s' timeStamp='2020-01-01T00:00:00Z'>"
               "<Hardware><Memory RAMSize='1'/>" +
               hardware + "</Hardware></Snapshot>";
    };
    EXPECT_EQ(resultOf("", snapshot("<Firmware type='none'/>")), Result::fail);
}

TEST(Refusals, MoreControllersThanAChipsetTakes)
{
    const std::string two = storage(controller("a", "AHCI") + controller("b", "AHCI"));
    EXPECT_EQ(resultOf("", two), Result::invalidArgument);
    EXPECT_EQ(resultOf("<Chipset type='ICH9'/>", two), Result::ok);
    const std::string ide = storage(controller("a", "PIIX4") + controller("b", "ICH6"));
    EXPECT_EQ(resultOf("<Chipset type='ICH9'/>", ide), Result::invalidArgument);
    EXPECT_EQ(resultOf("", storage(controller("a", "AHCI") + controller("b", "PIIX3"))), Result::ok);
}

TEST(Refusals, DisksThatCannotBeAttached)
{
    const auto attached = [](const std::string& disks) { return registry + storage(controller("a", "AHCI", disks)); };
    EXPECT_EQ(resultOf("", attached(disk("2", 0))), Result::ok);
    EXPECT_EQ(resultOf("", attached(disk("2", 0) + disk("2", 1))), Result::fail) << "twice";
    EXPECT_EQ(resultOf("", attached(disk("1", 0))), Result::fail) << "with a difference";
    EXPECT_EQ(resultOf("", attached(disk("3", 0))), Result::fail) << "immutable";
}

TEST(Refusals, BandwidthGroupsThatAreNotThere)
{
    const std::string devices = storage(controller("a", "AHCI", disk("1", 0, "bandwidthGroup='g'")));
    EXPECT_EQ(resultOf("", devices), Result::fail);
    EXPECT_EQ(resultOf("<IO><BandwidthGroups><BandwidthGroup name='g' type='Disk'/></BandwidthGroups></IO>", devices),
              Result::ok);
}
