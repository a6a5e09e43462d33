#pragma once

#include "appliance/interpretation.h"
#include "appliance/manifest.h"
#include "appliance/tar.h"
#include "images/image.h"

namespace VBoxSim {

/// Disks that claim more are refused by an import.
constexpr std::uint64_t maxImportedDiskSize = std::uint64_t(2) << 40;

/// A disk that an import is to write.
struct DiskImport
{
    std::string diskId;                     ///< OvfDisk::id
    std::filesystem::path target;           ///< absolute; the suffix is made to fit the format
    ImageFormat format = ImageFormat::Vmdk; ///< Vdi: convert; Vmdk: copy a one-file VMDK as it is, convert others
    std::wstring uuid;                      ///< of the new image; empty: a random one
};

/// A disk that an import has written.
struct ImportedDisk
{
    std::string diskId;
    std::filesystem::path file;
    ImageInfo info;
};

/// An appliance: an .ova archive, or an .ovf descriptor with its files beside it. All failures are Failure, with the
/// results that VirtualBox gives.
class Appliance
{
public:
    /// fileError unless the file has the suffix .ova or .ovf. Touches no file.
    static void checkSuffix(const std::filesystem::path& file);

    /// Reads archive directory, descriptor and manifest. The files that they name are looked for when they are needed.
    explicit Appliance(const std::filesystem::path& file);

    const std::filesystem::path& path() const { return path_; }
    const OvfDescriptor& descriptor() const { return descriptor_; }
    bool hasManifest() const { return !manifest_.empty(); }

    /// Compares descriptor and disks with their digests in the manifest; does nothing without one.
    void verifyDigests(const ProgressCallback& progress) const;

    /// Opens the image of a disk that is not packed.
    std::unique_ptr<ImageReader> openDisk(const std::string& diskId) const;

    /// Writes the disks one after another, making missing folders, and adds everything made to `created`, which the
    /// caller commits when the rest of the import has gone well too. Progress is in bytes over all disks. A failure or
    /// a cancel removes what this call made before it throws; a target that exists is fileError.
    std::vector<ImportedDisk> importDisks(const std::vector<DiskImport>& disks, CreatedFiles& created,
                                          const ProgressCallback& progress) const;

private:
    class DiskWriter;

    void findParts();
    void findPartsOfArchive();
    void readManifest();
    std::shared_ptr<ByteSource> openFile(const std::string& href) const;
    const OvfDisk& demandDisk(const std::string& diskId) const;

    std::filesystem::path path_;
    std::unique_ptr<TarArchive> archive_; ///< null: the files stand beside the descriptor
    std::string descriptorName_;
    std::string manifestName_; ///< empty: there is none
    OvfDescriptor descriptor_;
    std::vector<ManifestEntry> manifest_;
};

} // namespace VBoxSim
