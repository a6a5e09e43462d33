#pragma once

#include <filesystem>
#include <functional>
#include <optional>

#include "appliance/ovf.h"
#include "images/image.h"
#include "travik/vbox_types.h"

namespace VBoxSim {

/// VirtualBox's VirtualSystemDescriptionType, as far as it is used here.
enum class DescriptionType : std::uint32_t
{
    Ignore = Travik::VirtualSystemDescriptionType::Ignore,
    OS = Travik::VirtualSystemDescriptionType::OS,
    Name = Travik::VirtualSystemDescriptionType::Name,
    Product = Travik::VirtualSystemDescriptionType::Product,
    Vendor = Travik::VirtualSystemDescriptionType::Vendor,
    Version = Travik::VirtualSystemDescriptionType::Version,
    ProductUrl = Travik::VirtualSystemDescriptionType::ProductUrl,
    VendorUrl = Travik::VirtualSystemDescriptionType::VendorUrl,
    Description = Travik::VirtualSystemDescriptionType::Description,
    License = Travik::VirtualSystemDescriptionType::License,
    Miscellaneous = Travik::VirtualSystemDescriptionType::Miscellaneous,
    CPU = Travik::VirtualSystemDescriptionType::CPU,
    Memory = Travik::VirtualSystemDescriptionType::Memory,
    HardDiskControllerIDE = Travik::VirtualSystemDescriptionType::HardDiskControllerIDE,
    HardDiskControllerSATA = Travik::VirtualSystemDescriptionType::HardDiskControllerSATA,
    HardDiskControllerSCSI = Travik::VirtualSystemDescriptionType::HardDiskControllerSCSI,
    HardDiskControllerSAS = Travik::VirtualSystemDescriptionType::HardDiskControllerSAS,
    HardDiskImage = Travik::VirtualSystemDescriptionType::HardDiskImage,
    Floppy = Travik::VirtualSystemDescriptionType::Floppy,
    CDROM = Travik::VirtualSystemDescriptionType::CDROM,
    NetworkAdapter = Travik::VirtualSystemDescriptionType::NetworkAdapter,
    USBController = Travik::VirtualSystemDescriptionType::USBController,
    SoundCard = Travik::VirtualSystemDescriptionType::SoundCard,
    SettingsFile = Travik::VirtualSystemDescriptionType::SettingsFile,
    BaseFolder = Travik::VirtualSystemDescriptionType::BaseFolder,
    PrimaryGroup = Travik::VirtualSystemDescriptionType::PrimaryGroup,
    HardDiskControllerVirtioSCSI = Travik::VirtualSystemDescriptionType::HardDiskControllerVirtioSCSI,
    HardDiskControllerNVMe = Travik::VirtualSystemDescriptionType::HardDiskControllerNVMe,
};

/// One line of what an import would make, as VirtualBox's virtual system descriptions list it.
struct DescriptionEntry
{
    DescriptionType type = DescriptionType::Ignore;
    std::wstring reference; ///< disks: the disk's id; controllers: their instance id
    std::wstring original;  ///< value in the descriptor
    std::wstring suggested; ///< value for the machine; the caller may change it before the import
    std::wstring extra; ///< drives: "controller=<index of entry>;channel=<n>"; adapters: "type=NAT", of a vbox:Machine
                        ///< "slot=<n>;type=NAT"
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
    std::uint32_t channel = 0;  ///< the address on it: for IDE master and slave, else the port
};

/// Nothing when the text is no such place.
std::optional<DrivePlace> parseDrivePlace(const std::wstring& extra);

struct Interpretation
{
    std::vector<SystemDescription> systems;
    std::vector<std::wstring> warnings;
};

/// What the interpretation has to know of a type of operating system.
struct ImportOsType
{
    std::uint32_t recommendedMegabytes = 0;
    std::uint32_t adapterType = 0; ///< NetworkAdapterType
};

/// What VirtualBox's own Machine element says of a machine, as far as it goes before the other descriptions.
struct ImportMachine
{
    struct Adapter
    {
        std::uint32_t slot = 0;
        std::uint32_t type = 0; ///< NetworkAdapterType
        std::wstring mode;      ///< "NAT", "Bridged"...
    };
    std::wstring name;
    std::wstring osType;
    std::uint32_t cpuCount = 1;
    std::uint64_t memoryMegabytes = 0;
    std::optional<std::uint32_t> soundCard; ///< AudioControllerType; nothing when it is off
    std::vector<Adapter> adapters;          ///< those that are on
};

/// What the interpretation has to know of the server.
struct ImportSurroundings
{
    /// Whether a registered machine has this name.
    std::function<bool(const std::wstring& name)> isNameTaken;
    /// The settings file that a new machine of this name would get.
    std::function<std::filesystem::path(const std::wstring& name)> settingsFile;
    /// Whether there is a file or a medium at this place.
    std::function<bool(const std::filesystem::path& file)> isFileTaken;
    /// The folder of machines, for the BaseFolder entry.
    std::filesystem::path baseFolder;
    /// Nothing for a type that the server does not know.
    std::function<std::optional<ImportOsType>(const std::wstring& osTypeId)> findOsType;
    /// Reads a Machine element that was made a settings file. Throws Failure(fail) for a damaged one.
    std::function<ImportMachine(const std::string& settings)> readMachine;
    std::uint32_t maxCpuCount = 64;
    std::uint64_t minMemoryMegabytes = 4;
    std::uint64_t maxMemoryMegabytes = 2097152;
    std::uint32_t maxNetworkAdapters = 8;
};

/// The image format that a disk's URI, or else the suffix of its file, tells. Throws Failure: E_FAIL for one that is
/// not known, fileError for one that VirtualBox does not import.
ImageFormat importFormat(const OvfDisk& disk);

/// The image format of a new disk whose file has that name. Throws Failure: fileError for a name without a suffix,
/// E_FAIL for a suffix that is not known, notSupported for a format in which no disk is made.
ImageFormat targetFormat(const std::wstring& name);

/// Whether the file of a disk is one gzip stream. Its name then counts without its last suffix.
bool isGzipped(const OvfDisk& disk);

/// Values: Memory: original in bytes, suggested in megabytes; NetworkAdapter: original the network's name, suggested
/// VirtualBox's number of the adapter type; HardDiskImage: original the file's name, suggested the target's name in
/// the machine's folder. The two IDE channels of one controller are two entries, as OVF has them; they make one
/// controller.
///
/// The descriptions stand in the order in which VirtualBox lists them. Names are the machine's own (vbox:Machine), else
/// the system's id, else its operating system; made free with " 1", " 2"... against the server and among each other.
/// Throws Failure for what cannot be imported: a disk of another format, or on a controller that is not listed.
Interpretation interpret(const OvfDescriptor& descriptor, const ImportSurroundings& surroundings);

} // namespace VBoxSim
