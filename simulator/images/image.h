#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace VBoxSim {

class ByteSource;

enum class ImageFormat
{
    Vdi,
    Vmdk,
    Vhd,
    Raw
};

/// Kind of an image as VirtualBox's MediumVariant flags, combined by or.
namespace ImageVariant {
constexpr std::uint32_t Standard = 0;
constexpr std::uint32_t VmdkSplit2G = 0x1;
constexpr std::uint32_t VmdkStreamOptimized = 0x4;
constexpr std::uint32_t VmdkEsx = 0x8;
constexpr std::uint32_t Fixed = 0x10000;
constexpr std::uint32_t Diff = 0x20000;
} // namespace ImageVariant

/// Bytes; the unit of all formats.
constexpr std::uint64_t sectorSize = 512;
/// Images that claim to be larger are refused.
constexpr std::uint64_t maxImageSize = std::uint64_t(16) << 40;

/// What the header of an image tells.
struct ImageInfo
{
    ImageFormat format = ImageFormat::Raw;
    std::uint32_t variant = ImageVariant::Standard;
    std::uint64_t logicalSize = 0;  ///< bytes that a guest sees
    std::uint64_t physicalSize = 0; ///< bytes of the image's files
    std::wstring uuid;              ///< empty when the image carries none (raw, VMDK of other products)
    std::wstring modificationUuid;  ///< empty when the image carries none
    std::wstring parentUuid;        ///< empty for a base image
    bool optical = false;           ///< raw with an ISO 9660 volume or the suffix .iso, .cdr: a DVD, no hard disk
};

/// Name of a format as IMedium::Format has it: "VDI", "VMDK", "VHD", "RAW".
const wchar_t* formatName(ImageFormat format);

/// The format that files with such a suffix (with its dot, in lower case) have; nothing for one that is not known.
std::optional<ImageFormat> formatOfSuffix(const std::wstring& suffix);
/// Whether it is that of a raw image of an optical disk.
bool isOpticalSuffix(const std::wstring& suffix);

/// Told the bytes done and the bytes in all; an answer of false cancels (Result::fail).
using ProgressCallback = std::function<bool(std::uint64_t done, std::uint64_t total)>;

/// A stretch of a virtual disk that is either all zero (not stored) or stored.
struct ImageRun
{
    std::uint64_t length = 0;
    bool zero = false;
};

/// Reads the bytes of a virtual disk, whatever the format. One thread at a time.
class ImageReader
{
public:
    virtual ~ImageReader() = default;

    const ImageInfo& info() const { return info_; }
    /// The run that starts at `offset`, which is below the logical size. Never empty. A stored run may hold zeros.
    virtual ImageRun runAt(std::uint64_t offset) = 0;
    /// Fills `buffer`. The stretch lies inside the disk, else Result::invalidArgument.
    void read(std::uint64_t offset, void* buffer, std::size_t length);

protected:
    virtual void readChecked(std::uint64_t offset, std::uint8_t* buffer, std::size_t length) = 0;

    ImageInfo info_;
};

/// Finds the file of a VMDK extent by the name that the descriptor gives it.
using ExtentOpener = std::function<std::shared_ptr<ByteSource>(const std::string& name)>;

/// Reads and checks the header of an image. Cheap: maps are not walked.
ImageInfo probeImage(const std::filesystem::path& file);

/// Opens an image for reading and checks its maps. A differencing image reads through `parent`, without which its
/// unallocated parts are an error.
std::unique_ptr<ImageReader> openImage(const std::filesystem::path& file,
                                       std::shared_ptr<ImageReader> parent = nullptr);

/// The same for bytes that are no file of their own. `name` is for messages and for the suffixes that raw images have.
std::unique_ptr<ImageReader> openImage(std::shared_ptr<ByteSource> source, const std::wstring& name,
                                       const ExtentOpener& openExtent, std::shared_ptr<ImageReader> parent = nullptr);

/// Identity of a VDI that is being made.
struct VdiIdentity
{
    std::wstring uuid;                   ///< of the image; empty: a new random one
    std::wstring parentUuid;             ///< not empty: a differencing image
    std::wstring parentModificationUuid; ///< that of the parent at this moment
};

// What follows writes. Every file is written under a temporary name in its folder and gets its own name when it is
// complete: after a failure or a cancel nothing is left. A target that exists is Result::fileError. Folders are not
// made.

/// Makes a VDI without content: a dynamic one without any block, or a fixed one with all of them.
void createVdi(const std::filesystem::path& target, std::uint64_t logicalSize, const VdiIdentity& identity,
               bool fixed = false);

/// Copies the whole content of `source` into a new dynamic VDI under a new UUID (empty: a random one). Blocks of zeros
/// are not stored.
void convertToVdi(ImageReader& source, const std::filesystem::path& target, const std::wstring& uuid,
                  const ProgressCallback& progress);

/// Copies an image in its own format and variant under a new UUID (empty: a random one; a raw image has none). The
/// extents of a VMDK that has its own files for them are copied beside the target under names made from its name.
void cloneImage(const std::filesystem::path& source, const std::filesystem::path& target, const std::wstring& uuid,
                const ProgressCallback& progress);

/// The same for bytes that are no file of their own, of an image that has all its data in them.
void cloneImage(const ByteSource& source, const std::wstring& name, const std::filesystem::path& target,
                const std::wstring& uuid, const ProgressCallback& progress);

/// Whether an image has all its data in the bytes that it starts in: all but a VMDK with extents of their own.
bool isOneFile(const ByteSource& source);

/// Gives the image in a VDI, VMDK or VHD file a new UUID in place; with `parentUuid` also that of the parent.
void setImageUuid(const std::filesystem::path& file, const std::wstring& uuid,
                  const std::wstring* parentUuid = nullptr);

} // namespace VBoxSim
