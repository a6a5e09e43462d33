#!/usr/bin/env python3
"""Appliances whose disks another program made, for the tests of the import through the library.

appliances.py make FOLDER              makes an appliance in both forms for every disk format that is read
appliances.py compare FOLDER IMPORTED  compares the bytes of the imported disks with those of the sources
"""

import hashlib
import pathlib
import random
import shutil
import subprocess
import sys
import tarfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "simulator/appliance/tests"))
sys.dont_write_bytecode = True
from qemu_ovas import write_archive  # noqa: E402

MEGABYTE = 1 << 20

# The disks of every appliance: one of random content, one of structured content. Their sizes are no multiples of blocks
# and grains.
DISKS = [("random", 9 * MEGABYTE + 300 * 512), ("structured", 40 * MEGABYTE + 7 * 512)]

# Name, suffix of the disks, qemu-img's format and options, version of the descriptor, form of the archive, digest.
FORMATS = [
    ("stream", ".vmdk", "vmdk", "subformat=streamOptimized", 1, tarfile.USTAR_FORMAT, "SHA1"),
    ("sparse", ".vmdk", "vmdk", "subformat=monolithicSparse", 2, tarfile.GNU_FORMAT, "SHA256"),
    ("flat", ".vmdk", "vmdk", "subformat=monolithicFlat", 1, tarfile.PAX_FORMAT, "SHA512"),
]

DESCRIPTOR = """<?xml version="1.0" encoding="UTF-8"?>
<Envelope xmlns="http://schemas.dmtf.org/ovf/envelope/{version}"
    xmlns:ovf="http://schemas.dmtf.org/ovf/envelope/{version}"
    xmlns:rasd="http://schemas.dmtf.org/wbem/wscim/1/cim-schema/2/CIM_ResourceAllocationSettingData">
  <References>{files}</References>
  <DiskSection><Info>Disks</Info>{disks}</DiskSection>
  <VirtualSystem ovf:id="{name}">
    <Info>A virtual machine</Info>
    <VirtualHardwareSection>
      <Info>Hardware</Info>
      <Item><rasd:InstanceID>1</rasd:InstanceID><rasd:ResourceType>3</rasd:ResourceType>
        <rasd:VirtualQuantity>2</rasd:VirtualQuantity></Item>
      <Item><rasd:AllocationUnits>byte * 2^20</rasd:AllocationUnits><rasd:InstanceID>2</rasd:InstanceID>
        <rasd:ResourceType>4</rasd:ResourceType><rasd:VirtualQuantity>256</rasd:VirtualQuantity></Item>
      <Item><rasd:InstanceID>3</rasd:InstanceID><rasd:ResourceSubType>AHCI</rasd:ResourceSubType>
        <rasd:ResourceType>20</rasd:ResourceType></Item>
      {drives}
    </VirtualHardwareSection>
  </VirtualSystem>
</Envelope>
"""


def content(kind, size):
    source = random.Random(kind)
    if kind == "random":
        return source.randbytes(size)
    data = bytearray()
    while len(data) < size:
        piece = min(source.randrange(1, 80) * 8192, size - len(data))
        shape = source.randrange(4)
        if shape == 0:
            data += source.randbytes(piece)
        elif shape == 1:
            data += (b"structured content %d " % source.randrange(1000) * (piece // 20 + 1))[:piece]
        else:
            data += bytes(piece)
    return bytes(data)


def make_appliance(folder, name, suffix, image_format, options, version, tar_format, digest):
    work = folder / "loose"
    work.mkdir(exist_ok=True)
    files, disks, drives = [], "", ""
    for place, (kind, size) in enumerate(DISKS):
        disk = f"{name}-{kind}{suffix}"
        choice = ["-o", options] if options else []
        subprocess.run(["qemu-img", "convert", "-f", "raw", "-O", image_format, *choice, folder / (kind + ".content"),
                        work / disk], check=True)
        disks += f'<Disk ovf:diskId="{kind}" ovf:fileRef="{disk}" ovf:capacity="{size}" ovf:format=""/>'
        drives += (f"<Item><rasd:AddressOnParent>{place}</rasd:AddressOnParent><rasd:HostResource>/disk/{kind}"
                   f"</rasd:HostResource><rasd:InstanceID>{10 + place}</rasd:InstanceID><rasd:Parent>3</rasd:Parent>"
                   f"<rasd:ResourceType>17</rasd:ResourceType></Item>")
        # A flat image has its data in a second file, which its descriptor names.
        files += sorted((path.name for path in work.glob(f"{name}-{kind}*")), key=lambda file: file != disk)
    references = "".join(f'<File ovf:id="{file}" ovf:href="{file}"/>' for file in files)
    for stem, place in ((name + "-archive", folder), (name + "-files", work)):
        descriptor = DESCRIPTOR.format(version=version, files=references, disks=disks, name=stem, drives=drives)
        members = [(stem + ".ovf", descriptor.encode())]
        members += [(file, (work / file).read_bytes()) for file in files]
        if digest:
            lines = "".join(f"{digest} ({file})= {hashlib.new(digest, data).hexdigest()}\n" for file, data in members)
            members.insert(1, (stem + ".mf", lines.encode()))
        if place == work:
            for file, data in members:
                (work / file).write_bytes(data)
            continue
        write_archive(folder / (stem + ".ova"), members, tar_format)


def make(folder):
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    for kind, size in DISKS:
        (folder / (kind + ".content")).write_bytes(content(kind, size))
    for appliance in FORMATS:
        make_appliance(folder, *appliance)


def compare(folder, imported):
    disks = sorted(imported.glob("*.vdi"))
    expected = 2 * 2 * len(FORMATS) * len(DISKS)  # archives and loose files; the machines and their clones
    if len(disks) != expected:
        sys.exit(f"{len(disks)} disks instead of {expected}: {[disk.name for disk in disks]}")
    sources = {kind: (folder / (kind + ".content")).read_bytes() for kind, _ in DISKS}
    for disk in disks:
        kinds = [kind for kind in sources if kind in disk.stem]
        # The clones of disks are named by their number.
        if not kinds:
            kinds = list(sources)
        subprocess.run(["qemu-img", "check", "-q", "-f", "vdi", disk], check=True)
        back = disk.with_suffix(".back")
        subprocess.run(["qemu-img", "convert", "-f", "vdi", "-O", "raw", disk, back], check=True)
        data = back.read_bytes()
        back.unlink()
        if not any(data == sources[kind] for kind in kinds):
            sys.exit(f"{disk.name} differs from its source")
        print("same bytes:", disk.name)


if __name__ == "__main__":
    if sys.argv[1] == "make":
        make(pathlib.Path(sys.argv[2]))
    else:
        compare(pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3]))
