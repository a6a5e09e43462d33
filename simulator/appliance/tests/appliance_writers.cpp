#include "appliance_writers.h"

#include <algorithm>
#include <numeric>

namespace ApplianceWriters {

namespace {

void putOctal(Bytes& header, std::size_t place, std::size_t digits, std::uint64_t value)
{
    for (std::size_t i = digits; i-- > 0; value >>= 3)
        header.at(place + i) = static_cast<std::uint8_t>('0' + (value & 7));
}

} // namespace

void fixChecksum(Bytes& archive, std::size_t header)
{
    const auto start = archive.begin() + static_cast<std::ptrdiff_t>(header);
    std::fill_n(start + 148, 8, std::uint8_t(' '));
    const unsigned sum = std::accumulate(start, start + 512, 0u);
    putOctal(archive, header + 148, 6, sum);
    archive.at(header + 154) = 0;
}

Tar& Tar::addHeader(const std::string& name, std::uint64_t claimedSize, const Options& options)
{
    Bytes header(512);
    ImageWriters::putText(header, 0, name.substr(0, 100));
    putOctal(header, 100, 7, 0644);
    putOctal(header, 108, 7, 0);
    putOctal(header, 116, 7, 0);
    if (options.binarySize) {
        header[124] = 0x80;
        for (std::size_t i = 0; i < 8; ++i)
            header[135 - i] = static_cast<std::uint8_t>(claimedSize >> (8 * i));
    } else {
        putOctal(header, 124, 11, claimedSize);
    }
    putOctal(header, 136, 11, 0);
    header[156] = static_cast<std::uint8_t>(options.type);
    if (!options.noMagic)
        ImageWriters::putText(header, 257,
                              options.gnuMagic ? "ustar  "
                                               : std::string("ustar\0"
                                                             "00",
                                                             8));
    ImageWriters::putText(header, 345, options.prefix);
    fixChecksum(header, 0);
    bytes_.insert(bytes_.end(), header.begin(), header.end());
    return *this;
}

Tar& Tar::add(const std::string& name, const Bytes& data, const Options& options)
{
    addHeader(name, data.size(), options);
    bytes_.insert(bytes_.end(), data.begin(), data.end());
    bytes_.resize((bytes_.size() + 511) / 512 * 512);
    return *this;
}

Bytes Tar::finish() const
{
    Bytes archive = bytes_;
    archive.resize(archive.size() + 1024);
    return archive;
}

std::string item(const std::vector<std::pair<std::string, std::string>>& fields)
{
    std::string text = "<Item>";
    for (const auto& [name, value] : fields)
        text.append("<rasd:").append(name).append(">").append(value).append("</rasd:").append(name).append(">");
    return text + "</Item>\n";
}

std::string sampleItems()
{
    return item({{"InstanceID", "1"}, {"ResourceType", "3"}, {"VirtualQuantity", "2"}}) +
           item({{"AllocationUnits", "MegaBytes"},
                 {"InstanceID", "2"},
                 {"ResourceType", "4"},
                 {"VirtualQuantity", "1024"}}) +
           item({{"InstanceID", "3"}, {"ResourceSubType", "AHCI"}, {"ResourceType", "20"}}) +
           item({{"AddressOnParent", "0"},
                 {"HostResource", "/disk/vmdisk1"},
                 {"InstanceID", "4"},
                 {"Parent", "3"},
                 {"ResourceType", "17"}});
}

std::string makeOvf(const OvfParts& parts)
{
    return "<?xml version='1.0'?>\n<Envelope ovf:version='1.0' xmlns='" + parts.uri + "' xmlns:ovf='" + parts.uri +
           "' xmlns:rasd='http://schemas.dmtf.org/wbem/wscim/1/cim-schema/2/CIM_ResourceAllocationSettingData' "
           "xmlns:vbox='http://www.virtualbox.org/ovf/machine'>\n<References>" +
           parts.references + "</References>\n<DiskSection><Info>Disks</Info>" + parts.disks +
           "</DiskSection>\n<VirtualSystem ovf:id='" + parts.id + "'><Info>A virtual machine</Info>" + parts.sections +
           "<VirtualHardwareSection><Info>Hardware</Info>" + (parts.items.empty() ? sampleItems() : parts.items) +
           "</VirtualHardwareSection></VirtualSystem>" + parts.after + "</Envelope>\n";
}

} // namespace ApplianceWriters
