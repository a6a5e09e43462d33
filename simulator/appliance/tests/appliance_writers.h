#pragma once

#include <string>

#include "image_writers.h"

/// Writers of archives and descriptors for the tests, apart from the product's code.
namespace ApplianceWriters {

using ImageWriters::Bytes;

/// Makes a tar archive member by member.
class Tar
{
public:
    struct Options
    {
        char type = '0';
        std::string prefix;
        bool gnuMagic = false;
        bool binarySize = false; ///< the size as a base-256 number
        bool noMagic = false;    ///< as archives were before ustar
    };

    Tar& add(const std::string& name, const Bytes& data, const Options& options);
    Tar& add(const std::string& name, const Bytes& data) { return add(name, data, Options()); }
    Tar& add(const std::string& name, const std::string& data) { return add(name, Bytes(data.begin(), data.end())); }
    /// A member with a header that claims a size without data behind it.
    Tar& addHeader(const std::string& name, std::uint64_t claimedSize, const Options& options);
    /// The archive with its end mark.
    Bytes finish() const;
    /// Without it.
    const Bytes& bytes() const { return bytes_; }

private:
    Bytes bytes_;
};

/// Sets the checksum of a header at some place anew.
void fixChecksum(Bytes& archive, std::size_t header);

struct OvfParts
{
    std::string uri = "http://schemas.dmtf.org/ovf/envelope/1";
    std::string references = "<File ovf:id='file1' ovf:href='disk1.vmdk'/>";
    std::string disks = "<Disk ovf:diskId='vmdisk1' ovf:capacity='1048576' ovf:fileRef='file1' "
                        "ovf:format='http://www.vmware.com/interfaces/specifications/vmdk.html#streamOptimized'/>";
    std::string id = "vm";
    std::string sections;
    std::string items; ///< empty: those of sampleItems()
    std::string after; ///< behind the system
};
std::string makeOvf(const OvfParts& parts);

/// One item of a hardware section: the fields are `<rasd:name>value</rasd:name>`.
std::string item(const std::vector<std::pair<std::string, std::string>>& fields);
/// Two CPUs, 1 GB, a SATA controller with the disk vmdisk1.
std::string sampleItems();

} // namespace ApplianceWriters
