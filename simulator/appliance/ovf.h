#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "base/storage_error.h"

namespace VBoxSim {

// The content of an OVF descriptor. All text is UTF-8.

struct OvfFile
{
    std::string id;
    std::string href;
    std::uint64_t size = 0; ///< 0 when not given
};

struct OvfDisk
{
    std::string id;
    std::string fileRef;        ///< empty: a blank disk
    std::uint64_t capacity = 0; ///< bytes
    std::string format;         ///< URI
    std::string uuid;           ///< of the image, when VirtualBox wrote the descriptor
};

enum class OvfControllerKind
{
    Ide,
    Sata,
    Scsi,
    Sas,
    VirtioScsi,
    Nvme
};

struct OvfController
{
    std::string instanceId;
    OvfControllerKind kind = OvfControllerKind::Ide;
    std::string subType;       ///< "PIIX4", "AHCI", "lsilogic"...
    std::uint32_t address = 0; ///< IDE: 0 the primary, 1 the secondary channel
};

enum class OvfDriveKind
{
    HardDisk,
    Dvd,
    Floppy
};

struct OvfDrive
{
    OvfDriveKind kind = OvfDriveKind::HardDisk;
    std::string diskId;   ///< a hard disk's OvfDisk; empty for an empty drive
    std::string fileId;   ///< an OvfFile that is the medium itself; else empty
    std::string parentId; ///< instance of the controller; a floppy drive may have none
    std::uint32_t addressOnParent = 0;
};

struct OvfAdapter
{
    std::string type;    ///< "E1000", "PCNet32"...
    std::string network; ///< name of the connection
};

struct OvfSystem
{
    std::string id;
    std::string name;
    std::string description;
    std::string product;
    std::string productUrl;
    std::string vendor;
    std::string vendorUrl;
    std::string version;
    std::string license;
    std::uint32_t cimOsType = 0;   ///< DMTF's number of the operating system
    std::string vboxOsType;        ///< VirtualBox's own, when it wrote the descriptor
    std::uint32_t cpuCount = 0;    ///< 0 when not given
    std::uint64_t memoryBytes = 0; ///< 0 when not given
    std::vector<OvfController> controllers;
    std::vector<OvfDrive> drives;
    std::vector<OvfAdapter> adapters;
    bool usbController = false;
    bool soundCard = false;
    std::string soundCardType;
    std::vector<std::string> ignoredItems; ///< hardware that has no counterpart
    std::string machineName;               ///< name attribute of the vbox:Machine element
    std::string machineOsType;             ///< its OSType attribute
    std::string machineElement; ///< the whole vbox:Machine element as text of a settings file's Machine; else empty
};

struct OvfDescriptor
{
    int majorVersion = 1; ///< 1 or 2
    std::vector<OvfFile> files;
    std::vector<OvfDisk> disks;
    std::vector<OvfSystem> systems; ///< those of collections included, in document order

    const OvfFile* findFile(const std::string& id) const;
    const OvfDisk* findDisk(const std::string& id) const;
};

/// Parses and checks a descriptor: references between its parts hold, numbers are in range. Fault::BadDescriptor for
/// damage, Fault::Unsupported for compressed or chunked files and remote references.
OvfDescriptor parseOvf(const std::string& document);

/// A quantity in the unit that the descriptor names ("MegaBytes", "byte * 2^20", empty for bytes) as bytes.
/// Nothing when the unit is unknown or the result too large.
std::optional<std::uint64_t> scaledBytes(std::uint64_t quantity, const std::string& unit);

} // namespace VBoxSim
