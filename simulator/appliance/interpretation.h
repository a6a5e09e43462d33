#pragma once

#include <filesystem>
#include <functional>

#include "appliance/ovf.h"

namespace VBoxSim {

/// VirtualBox's VirtualSystemDescriptionType.
enum class DescriptionType : std::uint32_t
{
    Ignore = 1,
    OS = 2,
    Name = 3,
    Product = 4,
    Vendor = 5,
    Version = 6,
    ProductUrl = 7,
    VendorUrl = 8,
    Description = 9,
    License = 10,
    Miscellaneous = 11,
    CPU = 12,
    Memory = 13,
    HardDiskControllerIDE = 14,
    HardDiskControllerSATA = 15,
    HardDiskControllerSCSI = 16,
    HardDiskControllerSAS = 17,
    HardDiskImage = 18,
    Floppy = 19,
    CDROM = 20,
    NetworkAdapter = 21,
    USBController = 22,
    SoundCard = 23,
    SettingsFile = 24,
    BaseFolder = 25,
    PrimaryGroup = 26,
    HardDiskControllerVirtioSCSI = 60,
    HardDiskControllerNVMe = 61,
};

/// One line of what an import would make, as VirtualBox's virtual system descriptions list it.
struct DescriptionEntry
{
    DescriptionType type = DescriptionType::Ignore;
    std::wstring reference; ///< disks: the disk's id; controllers: their instance id
    std::wstring original;  ///< value in the descriptor
    std::wstring suggested; ///< value for the machine; the caller may change it before the import
    std::wstring extra;     ///< drives: "controller=<index of entry>;channel=<n>"; adapters: "slot=<n>;type=NAT"
    bool enabled = true;
};

/// What an import would make of one virtual system.
struct SystemDescription
{
    std::size_t system = 0; ///< index in OvfDescriptor::systems
    std::vector<DescriptionEntry> entries;
};

/// Where a drive goes: the `extra` of a HardDiskImage, CDROM or Floppy entry.
struct DrivePlace
{
    std::size_t controller = 0; ///< index of the controller's entry
    std::uint32_t channel = 0;  ///< IDE: 0..3, port = channel / 2, device = channel % 2; else the port
};

/// Nothing when the text is no such place.
std::optional<DrivePlace> parseDrivePlace(const std::wstring& extra);

struct Interpretation
{
    std::vector<SystemDescription> systems;
    std::vector<std::wstring> warnings;
};

/// What the interpretation has to know of the server.
struct ImportSurroundings
{
    /// Whether a registered machine has this name.
    std::function<bool(const std::wstring& name)> isNameTaken;
    /// The settings file that a new machine of this name would get.
    std::function<std::filesystem::path(const std::wstring& name)> settingsFile;
    /// The folder of machines, for the BaseFolder entry.
    std::filesystem::path baseFolder;
    /// Whether the server knows this type of operating system; unknown ones become "Other".
    std::function<bool(const std::wstring& osTypeId)> isOsTypeKnown;
    std::uint32_t minCpuCount = 1;
    std::uint32_t maxCpuCount = 64;
    std::uint64_t minMemoryMegabytes = 4;
    std::uint64_t maxMemoryMegabytes = 2097152;
    std::uint32_t maxNetworkAdapters = 8;
};

/// Values: Memory in megabytes; NetworkAdapter: original the network's name, suggested VirtualBox's number of the
/// adapter type; HardDiskImage: original the file's name, suggested the target path. The two IDE channels of one
/// controller are two entries, as OVF has them; they make one controller.
///
/// The descriptions stand in the order in which VirtualBox lists them. Names are the machine's own (vbox:Machine), else
/// the system's id, else its operating system; made free with "_1", "_2"... against the server and among each other.
Interpretation interpret(const OvfDescriptor& descriptor, const ImportSurroundings& surroundings);

} // namespace VBoxSim
