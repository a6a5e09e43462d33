#pragma once

#include <string>
#include <vector>

#include "images/image.h"

namespace VBoxSim {

struct ManifestEntry
{
    std::string algorithm; ///< "SHA1", "SHA256" or "SHA512"
    std::string file;
    std::string digest; ///< lower-case hexadecimal digits
};

/// Parses lines like `SHA1 (disk.vmdk)= 0123...`. Fault::BadDescriptor for damage, Fault::Unsupported for an unknown
/// digest.
std::vector<ManifestEntry> parseManifest(const std::string& text);

/// Compares a file with its digest; `onBytes` is told the size of each piece and answers false to cancel.
void checkDigest(const ManifestEntry& entry, const ByteSource& source,
                 const std::function<bool(std::uint64_t bytes)>& onBytes);

} // namespace VBoxSim
