#!/usr/bin/env python3
"""Makes the rows of the table of guest OS types from simulator/settings/guest_os_types.tsv.

Usage: make_guest_os_types.py guest_os_types.tsv OUTPUT

The columns have the order of the members of GuestOsType; names of enumerations become VirtualBox's numbers.
"""
import csv
import sys

NUMBERS = {
    "graphicsController": ["Null", "VBoxVGA", "VMSVGA", "VBoxSVGA"],
    "networkAdapter": ["Null", "Am79C970A", "Am79C973", "I82540EM", "I82543GC", "I82545EM", "Virtio"],
    "dvdController": ["Null", "LsiLogic", "BusLogic", "IntelAhci", "PIIX3", "PIIX4", "ICH6", "I82078", "LsiLogicSas"],
    "dvdBus": ["Null", "IDE", "SATA", "SCSI", "Floppy", "SAS", "USB", "PCIe", "VirtioSCSI"],
    "chipset": ["Null", "PIIX3", "ICH9"],
    "audioController": ["AC97", "SB16", "HDA"],
    "audioCodec": ["Null", "SB16", "STAC9700", "AD1980", "STAC9221"],
    "firmware": ["Null", "BIOS", "EFI", "EFI32", "EFI64", "EFIDUAL"],
}
NUMBERS["hdController"] = NUMBERS["dvdController"]
NUMBERS["hdBus"] = NUMBERS["dvdBus"]
TEXTS = ["id", "description", "familyId", "familyDescription"]
AMOUNTS = ["recommendedRAM_MB", "recommendedVRAM_MB", "recommendedHDD_bytes", "recommendedCPUCount"]


def value(column, text):
    if column in TEXTS:
        return f'L"{text}"'
    if column in NUMBERS:
        return str(NUMBERS[column].index(text))
    if column in AMOUNTS:
        return str(int(text))
    return {"0": "false", "1": "true"}[text]


def main():
    source, target = sys.argv[1:3]
    with open(source, encoding="utf-8", newline="") as file:
        rows = list(csv.DictReader(file, delimiter="\t"))
    with open(target, "w", encoding="utf-8", newline="\n") as file:
        for row in rows:
            file.write("{" + ", ".join(value(column, text) for column, text in row.items()) + "},\n")


if __name__ == "__main__":
    main()
