#!/usr/bin/env python3
"""same_but_identity.py SELQ6 STOCK61: the two builds of the DLL differ in the identifiers of vbox_identity.h, and in
the version resource that names the identity, and in nothing else."""
import re
import struct
import sys
import uuid

from documents import root


def sections(path):
    """{name: bytes} of a program file."""
    with open(path, "rb") as file:
        image = file.read()
    header = struct.unpack_from("<I", image, 0x3C)[0]
    count, = struct.unpack_from("<H", image, header + 6)
    table = header + 24 + struct.unpack_from("<H", image, header + 20)[0]
    found = {}
    for entry in range(table, table + 40 * count, 40):
        size, start = struct.unpack_from("<II", image, entry + 16)
        found[image[entry:entry + 8].rstrip(b"\0").decode()] = image[start:start + size]
    return found


text = (root / "idl/vbox_identity.h").read_text(encoding="utf-8")
identifiers = {build: {name: uuid.UUID(guid).bytes_le for name, guid in
                       re.findall(rf"^#define TRAVIK_{build}_(\w+) (\S{{36}})$", text, re.M)}
               for build in ("SELQ6", "STOCK61")}
if len(identifiers["SELQ6"]) != 7 or identifiers["SELQ6"].keys() != identifiers["STOCK61"].keys():
    sys.exit("vbox_identity.h does not hold seven identifiers for each build")

ours, theirs = map(sections, sys.argv[1:])
if ours.keys() != theirs.keys() or ".rsrc" not in ours:
    sys.exit(f"the builds have other sections: {list(ours)}, {list(theirs)}")
for section in ours.keys() - {".rsrc"}:
    expected = ours[section]
    for name, identifier in identifiers["SELQ6"].items():
        expected = expected.replace(identifier, identifiers["STOCK61"][name])
    if expected != theirs[section]:
        sys.exit(f"section {section} differs in more than the identifiers")
if ours[".rdata"] == theirs[".rdata"]:
    sys.exit("the builds carry the same identifiers")
print("the builds differ in their identifiers only")
