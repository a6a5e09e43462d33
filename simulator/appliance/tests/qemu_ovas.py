#!/usr/bin/env python3
"""Appliances made by other programs, for the tests of the stand-in's import.

qemu_ovas.py make FOLDER              makes archives with disks in every format that is read
qemu_ovas.py compare FOLDER IMPORTED  compares the imported disks with the content of the sources
"""

import hashlib
import io
import pathlib
import random
import shutil
import subprocess
import sys
import tarfile

MEGABYTE = 1 << 20
SIZE = 12 * MEGABYTE + 700 * 512

# Name of the archive, file of the disk, qemu-img's format and options, form of the archive, digest, descriptor last.
ARCHIVES = [
    ("stream", "disk.vmdk", "vmdk", "subformat=streamOptimized", tarfile.USTAR_FORMAT, "SHA1", False),
    ("sparse", "disk.vmdk", "vmdk", "subformat=monolithicSparse", tarfile.GNU_FORMAT, "SHA256", False),
    ("flat", "disk.vmdk", "vmdk", "subformat=monolithicFlat", tarfile.PAX_FORMAT, "SHA512", True),
    ("named", "\u786c\u76d8 1.vmdk", "vmdk", "subformat=streamOptimized", tarfile.PAX_FORMAT, None, False),
    ("long", "n" * 150 + ".vmdk", "vmdk", "subformat=streamOptimized", tarfile.GNU_FORMAT, "SHA1", True),
]

DESCRIPTOR = """<?xml version="1.0" encoding="UTF-8"?>
<ovf:Envelope xmlns:ovf="http://schemas.dmtf.org/ovf/envelope/1"
    xmlns:rasd="http://schemas.dmtf.org/wbem/wscim/1/cim-schema/2/CIM_ResourceAllocationSettingData">
  <ovf:References>{files}</ovf:References>
  <ovf:DiskSection><ovf:Disk ovf:diskId="d" ovf:fileRef="f0" ovf:capacity="{size}" ovf:format=""/></ovf:DiskSection>
  <ovf:VirtualSystem ovf:id="{name}">
    <ovf:VirtualHardwareSection>
      <ovf:Item><rasd:InstanceID>1</rasd:InstanceID><rasd:ResourceType>5</rasd:ResourceType></ovf:Item>
      <ovf:Item><rasd:HostResource>ovf:/disk/d</rasd:HostResource><rasd:Parent>1</rasd:Parent>
        <rasd:ResourceType>17</rasd:ResourceType></ovf:Item>
    </ovf:VirtualHardwareSection>
  </ovf:VirtualSystem>
</ovf:Envelope>
"""


def make_content(path):
    source = random.Random(9)
    with open(path, "wb") as file:
        while file.tell() < SIZE:
            size = min(source.randrange(1, 60) * 4096, SIZE - file.tell())
            file.write(source.choice([source.randbytes(size), bytes(size), (b"text " * size)[:size]]))


def write_archive(path, members, tar_format):
    with tarfile.open(path, "w", format=tar_format) as archive:
        for file, data in members:
            member = tarfile.TarInfo(file)
            member.size = len(data)
            archive.addfile(member, io.BytesIO(data))


def make_archive(folder, name, disk, image_format, options, tar_format, digest, descriptor_last):
    work = folder / name
    work.mkdir()
    choice = ["-o", options] if options else []
    subprocess.run(["qemu-img", "convert", "-f", "raw", "-O", image_format, *choice, folder / "content.img",
                    work / disk], check=True)
    # The disk first, then the file with its data when it has one.
    files = sorted((path.name for path in work.iterdir()), key=lambda file: file != disk)
    references = "".join(f'<ovf:File ovf:id="f{i}" ovf:href="{file}"/>' for i, file in enumerate(files))
    descriptor = DESCRIPTOR.format(files=references, size=SIZE, name=name).encode()
    members = [(file, (work / file).read_bytes()) for file in files]
    members.insert(len(members) if descriptor_last else 0, (name + ".ovf", descriptor))
    if digest:
        manifest = "".join(f"{digest}({file})= {hashlib.new(digest, data).hexdigest()}\n" for file, data in members)
        members.insert(1, (name + ".mf", manifest.encode()))
    write_archive(folder / (name + ".ova"), members, tar_format)


def make(folder):
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    make_content(folder / "content.img")
    for archive in ARCHIVES:
        make_archive(folder, *archive)


def compare(folder, imported):
    disks = sorted(imported.glob("*/*.vdi"))
    if len(disks) != len(ARCHIVES):
        sys.exit(f"{len(disks)} disks instead of {len(ARCHIVES)}")
    for disk in disks:
        subprocess.run(["qemu-img", "compare", "-f", "raw", "-F", "vdi", folder / "content.img", disk], check=True)
        subprocess.run(["qemu-img", "check", "-f", "vdi", disk], check=True)


if __name__ == "__main__":
    if sys.argv[1] == "make":
        make(pathlib.Path(sys.argv[2]))
    else:
        compare(pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3]))
