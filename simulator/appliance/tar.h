#pragma once

#include <string>
#include <unordered_map>

#include "images/byte_source.h"

namespace VBoxSim {

/// A regular file in an archive.
struct TarMember
{
    std::string name; ///< as stored, without a leading "./"
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
};

/// The table of contents of an uncompressed tar archive: ustar with its prefix field, GNU long names, large sizes in
/// base 256, pax names and sizes. Links, folders and devices are passed over.
class TarArchive
{
public:
    /// Reads all headers. Failure(iprtError) when the archive is damaged or cut off.
    explicit TarArchive(std::shared_ptr<const ByteSource> source);

    const std::vector<TarMember>& members() const { return members_; }
    /// The first member of the name, in any case; null when there is none.
    const TarMember* find(const std::string& name) const;
    std::shared_ptr<ByteSource> open(const TarMember& member) const;

private:
    std::shared_ptr<const ByteSource> source_;
    std::vector<TarMember> members_;
    std::unordered_map<std::wstring, std::size_t> byName_;
};

} // namespace VBoxSim
