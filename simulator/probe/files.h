#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace Probe {

// The files that the probe hands to VirtualBox: written here, byte by byte, because nothing else should be needed.

/// An empty dynamic disk; its UUID as VirtualBox tells it.
std::string writeVdi(const std::filesystem::path& file, std::uint64_t bytes = 4 << 20);
/// An empty disk in the stream-optimised form that appliances have.
void writeVmdk(const std::filesystem::path& file);
/// The smallest image that passes for an optical disc.
void writeIso(const std::filesystem::path& file);
void writeText(const std::filesystem::path& file, const std::string& text);
/// Empty when there is no such file.
std::string readText(const std::filesystem::path& file);

/// The images below a folder, by their suffixes.
std::vector<std::filesystem::path> imagesIn(const std::filesystem::path& folder);
unsigned long deviceTypeOf(const std::filesystem::path& image);

/// What an appliance describes.
struct ApplianceText
{
    std::string name = "probe";
    std::string memoryUnits = "MegaBytes";
    std::string disk;            ///< file name of its disk; empty: none
    std::uint64_t diskBytes = 0; ///< of that file
};
std::string ovfText(const ApplianceText& appliance);

/// A file of an archive.
struct Member
{
    std::string name;
    std::string content;
};
void writeTar(const std::filesystem::path& file, const std::vector<Member>& members);

} // namespace Probe
