#pragma once

#include <functional>
#include <string>
#include <vector>

#include "images/byte_source.h"

namespace VBoxSim {

struct ManifestEntry
{
    std::string algorithm; ///< "SHA256"...; words that are no digest are kept and never computed
    std::string file;
    std::string digest; ///< hexadecimal digits
};

/// Parses lines like `SHA1 (disk.vmdk)= 0123...`. Throws Failure(iprtError) for another line.
std::vector<ManifestEntry> parseManifest(const std::string& text);

/// Whether the entry's digest can be computed here.
bool isComputed(const ManifestEntry& entry);

/// Compares a file with its digest: Failure(fileError) when they differ. `onBytes` is told the size of each piece and
/// answers false to cancel.
void checkDigest(const ManifestEntry& entry, const ByteSource& source,
                 const std::function<bool(std::uint64_t bytes)>& onBytes);

} // namespace VBoxSim
