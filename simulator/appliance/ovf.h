#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace VBoxSim {

// The content of an OVF descriptor, as VirtualBox reads it: elements and attributes go by their local names, whatever
// is not known is passed over, and of two things with one identifier the later one counts. All text is UTF-8.

/// A disk, with the file that it refers to.
struct OvfDisk
{
    std::string id;
    std::uint64_t capacity = 0;      ///< bytes, whatever unit the descriptor names
    std::int64_t populatedSize = -1; ///< -1 when not given
    std::string format;              ///< URI
    std::string uuid;                ///< of the image, when VirtualBox wrote the descriptor
    std::string href;                ///< empty: a disk without an image
    std::int64_t size = -1;          ///< of the file; -1 when not given
    std::string compression;         ///< as written
};

enum class OvfControllerKind
{
    Ide,
    Sata,
    Scsi,
    Sas,
    VirtioScsi
};

struct OvfController
{
    std::uint32_t instanceId = 0;
    OvfControllerKind kind = OvfControllerKind::Ide;
    std::string subType;           ///< "PIIX4", "AHCI", "lsilogic"...
    bool secondaryChannel = false; ///< the second IDE controller
};

/// A hard disk, or a DVD drive with an image.
struct OvfDrive
{
    std::string diskId;
    std::uint32_t controller = 0; ///< OvfController::instanceId
    std::uint32_t address = 0;
    bool optical = false;
};

struct OvfAdapter
{
    std::string type;    ///< "E1000", "PCNet32"...
    std::string network; ///< name of the connection
};

struct OvfSystem
{
    std::string id;
    std::string description;
    std::string product;
    std::string productUrl;
    std::string vendor;
    std::string vendorUrl;
    std::string version;
    std::string license;
    std::uint32_t cimOsType = 0;                        ///< DMTF's number of the operating system
    std::string osDescription;                          ///< its name in the descriptor's own words
    std::string vboxOsType;                             ///< VirtualBox's own, when it wrote the descriptor
    std::string systemType;                             ///< "virtualbox-2.2", "vmx-07"...
    std::uint32_t cpuCount = 0;                         ///< 0 when not given
    std::uint64_t memoryBytes = 0;                      ///< 0 when not given
    std::map<std::uint32_t, OvfController> controllers; ///< by their instance ids
    std::map<std::string, OvfDrive> drives;             ///< by their disks
    std::vector<OvfAdapter> adapters;
    bool floppyDrive = false;
    bool emptyCdDrive = false; ///< all of them are one
    bool usbController = false;
    bool soundCard = false;
    std::string soundCardType;
    std::optional<std::string> machine; ///< VirtualBox's own Machine element, as a settings file
};

struct OvfDescriptor
{
    std::map<std::string, OvfDisk> disks; ///< by their ids
    std::vector<OvfSystem> systems;       ///< those of collections included, in document order; none is no error

    const OvfDisk* findDisk(const std::string& id) const;
};

/// Reads a descriptor of OVF 0.9, 1 or 2. Throws Failure(fileError) for damage.
OvfDescriptor parseOvf(const std::string& document);

} // namespace VBoxSim
