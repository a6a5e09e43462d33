#!/usr/bin/env python3
"""Makes the appliance of the tour: make_appliance.py OUTPUT. One machine, "harbour": 2 processors, 256 MB, a NAT
adapter, a SATA controller with a disk of 64 MB, compressed as appliances are."""
import io
import struct
import sys
import tarfile
import zlib

SECTOR = 512
GRAIN = 128 * SECTOR
DISK_SECTORS = 64 * 1024 * 1024 // SECTOR
TABLE_ENTRIES = 512
DIRECTORY_AT_END = 2**64 - 1

VMDK_DESCRIPTOR = f"""# Disk DescriptorFile
version=1
CID=7a3c51e0
parentCID=ffffffff
createType="streamOptimized"

# Extent description
RW {DISK_SECTORS} SPARSE "disk.vmdk"

# The Disk Data Base
#DDB

ddb.virtualHWVersion = "4"
ddb.adapterType = "ide"
ddb.geometry.cylinders = "130"
ddb.geometry.heads = "16"
ddb.geometry.sectors = "63"
"""

OVF = """<?xml version="1.0"?>
<Envelope ovf:version="1.0" xml:lang="en-US" xmlns="http://schemas.dmtf.org/ovf/envelope/1"
    xmlns:ovf="http://schemas.dmtf.org/ovf/envelope/1"
    xmlns:rasd="http://schemas.dmtf.org/wbem/wscim/1/cim-schema/2/CIM_ResourceAllocationSettingData"
    xmlns:vssd="http://schemas.dmtf.org/wbem/wscim/1/cim-schema/2/CIM_VirtualSystemSettingData">
  <References>
    <File ovf:href="disk.vmdk" ovf:id="file1" ovf:size="{size}"/>
  </References>
  <DiskSection>
    <Info>The machine's disk</Info>
    <Disk ovf:capacity="{capacity}" ovf:diskId="vmdisk1" ovf:fileRef="file1"
        ovf:format="http://www.vmware.com/interfaces/specifications/vmdk.html#streamOptimized"/>
  </DiskSection>
  <NetworkSection>
    <Info>The networks of the machine</Info>
    <Network ovf:name="NAT">
      <Description>Port forwarding</Description>
    </Network>
  </NetworkSection>
  <VirtualSystem ovf:id="harbour">
    <Info>A small machine</Info>
    <OperatingSystemSection ovf:id="101">
      <Info>The guest's system</Info>
    </OperatingSystemSection>
    <VirtualHardwareSection>
      <Info>The machine's hardware</Info>
      <System>
        <vssd:ElementName>Virtual Hardware Family</vssd:ElementName>
        <vssd:InstanceID>0</vssd:InstanceID>
        <vssd:VirtualSystemIdentifier>harbour</vssd:VirtualSystemIdentifier>
        <vssd:VirtualSystemType>virtualbox-2.2</vssd:VirtualSystemType>
      </System>
{items}    </VirtualHardwareSection>
  </VirtualSystem>
</Envelope>
"""

# The fields of an item stand in the order of the alphabet.
ITEMS = [
    {"ElementName": "2 virtual CPUs", "InstanceID": 1, "ResourceType": 3, "VirtualQuantity": 2},
    {"AllocationUnits": "MegaBytes", "ElementName": "256 MB of memory", "InstanceID": 2, "ResourceType": 4,
     "VirtualQuantity": 256},
    {"Address": 0, "ElementName": "SATA", "InstanceID": 3, "ResourceSubType": "AHCI", "ResourceType": 20},
    {"AddressOnParent": 0, "ElementName": "disk1", "HostResource": "ovf:/disk/vmdisk1", "InstanceID": 4, "Parent": 3,
     "ResourceType": 17},
    {"AutomaticAllocation": "true", "Connection": "NAT", "ElementName": "adapter", "InstanceID": 5,
     "ResourceSubType": "E1000", "ResourceType": 10},
]


def padded(data, unit=SECTOR):
    return data + bytes(-len(data) % unit)


def header(directory_sector):
    descriptor_sectors = 20
    fields = struct.pack("<4sIIQQQQIQQQB4sH", b"KDMV", 3, 0x30001, DISK_SECTORS, GRAIN // SECTOR, 1,
                         descriptor_sectors, TABLE_ENTRIES, 0, directory_sector, GRAIN // SECTOR, 0, b"\n \r\n", 1)
    return padded(fields)


def marker(sectors, kind):
    return padded(struct.pack("<QII", sectors, 0, kind))


def disk():
    """A disk whose first grain holds a text again and again; the rest is empty."""
    text = b"The tour's disk. "
    grain = zlib.compress((text * (GRAIN // len(text) + 1))[:GRAIN])
    data = padded(header(DIRECTORY_AT_END) + VMDK_DESCRIPTOR.encode(), GRAIN)
    grain_sector = len(data) // SECTOR
    data = padded(data + struct.pack("<QI", 0, len(grain)) + grain)
    data += marker(TABLE_ENTRIES * 4 // SECTOR, 1)
    table_sector = len(data) // SECTOR
    data += struct.pack("<I", grain_sector) + bytes((TABLE_ENTRIES - 1) * 4)
    data += marker(1, 2)
    directory_sector = len(data) // SECTOR
    data = padded(data + struct.pack("<I", table_sector))  # the other table has no grains and is left out
    return data + marker(1, 3) + header(directory_sector) + bytes(SECTOR)


def descriptor(size):
    items = ""
    for item in ITEMS:
        fields = "".join(f"        <rasd:{name}>{value}</rasd:{name}>\n" for name, value in item.items())
        items += f"      <Item>\n{fields}      </Item>\n"
    return OVF.format(size=size, capacity=DISK_SECTORS * SECTOR, items=items).encode()


def main():
    image = disk()
    with tarfile.open(sys.argv[1], "w", format=tarfile.USTAR_FORMAT) as archive:
        for name, data in (("appliance.ovf", descriptor(len(image))), ("disk.vmdk", image)):
            member = tarfile.TarInfo(name)
            member.size = len(data)
            archive.addfile(member, io.BytesIO(data))


if __name__ == "__main__":
    main()
