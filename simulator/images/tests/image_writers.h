#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

/// Writers of image files for the tests. They share no code with the product: each field is put at its place here.
namespace ImageWriters {

using Bytes = std::vector<std::uint8_t>;

void put16(Bytes& bytes, std::size_t place, std::uint64_t value);
void put32(Bytes& bytes, std::size_t place, std::uint64_t value);
void put64(Bytes& bytes, std::size_t place, std::uint64_t value);
void putText(Bytes& bytes, std::size_t place, const std::string& text);
std::uint32_t get32(const Bytes& bytes, std::size_t place);
std::uint64_t get64(const Bytes& bytes, std::size_t place);

/// Content of a disk: chunks of zeros, of random bytes and of repeating text, in an order that the seed gives.
Bytes makeContent(std::size_t size, unsigned seed);

void writeFile(const std::filesystem::path& file, const Bytes& bytes);
Bytes readFile(const std::filesystem::path& file);

/// 16 bytes that appear in a file for the UUID 00112233-4455-6677-8899-aabbccddeeff in the order of a Windows GUID.
extern const Bytes sampleGuid;
extern const char sampleUuidText[];

struct VdiOptions
{
    std::uint32_t type = 1;
    bool oldHeader = false;      ///< without the last geometry
    bool markZeroBlocks = false; ///< map entry "zero" instead of "unallocated"
    Bytes parentGuid = Bytes(16);
    std::vector<std::size_t> blocks; ///< those to store; empty: all that are not zero
};
/// A VDI with its block map right behind the header and its blocks in reverse order.
Bytes makeVdi(const Bytes& content, const VdiOptions& options = {});

struct VmdkOptions
{
    bool compressed = false; ///< streamOptimized, its directory told by a footer
    bool zeroGrains = false; ///< grains of zeros are marked instead of left out
    std::string uuidText;    ///< empty: the descriptor names none
    std::string parentCid = "ffffffff";
    std::size_t grainSectors = 128;
    std::vector<std::size_t> grains; ///< those to store; empty: all that are not zero
};
/// A VMDK in one file.
Bytes makeVmdk(const Bytes& content, const VmdkOptions& options = {});

/// The text of a descriptor file.
std::string vmdkDescriptor(const std::string& createType, const std::string& extentLines, const std::string& parentCid,
                           const std::string& uuidText);

struct VhdOptions
{
    std::uint32_t blockSize = 2u << 20;
    bool diff = false;
    Bytes parentGuid = Bytes(16);
    bool wrongChecksums = false; ///< VirtualBox does not look at them
};
/// A dynamic VHD, with the sectors that are not zero marked in the bitmaps.
Bytes makeVhd(const Bytes& content, const VhdOptions& options = {});
/// A disk with a footer behind it.
Bytes makeFixedVhd(const Bytes& content);

Bytes deflated(const Bytes& bytes);
/// One gzip stream.
Bytes gzipped(const Bytes& bytes);

} // namespace ImageWriters
