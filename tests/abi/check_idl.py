#!/usr/bin/env python3
"""Checks idl/virtualbox.idl against the frozen facts of VirtualBox 6.1 in vbox_api_6_1.tsv.

Usage: check_idl.py virtualbox.idl virtualbox.h vbox_api_6_1.tsv selq6|stock61

Compared are, for every interface: its base, its identifier as it is compiled (from the header made by the IDL
compiler), all slots in order with their absolute number, and the parameters of every slot.
"""
import csv
import re
import sys

# First slot of an interface's own above the system's interfaces (IUnknown has three).
SYSTEM_SLOTS = {"IDispatch": 7, "IErrorInfo": 8}

# The identifiers that tell the two builds apart. Those of interfaces in VirtualBox 6.1 are in the table.
SELQ6_INTERFACES = {
    "IVirtualBox": "3BD8351B-0463-4730-92BF-F5E5F413680B",
    "ISession": "FCF56D6C-F560-4F3B-8B51-42CB699F0BB4",
    "IStateChangedEvent": "1A3980AC-A260-42CF-AEC3-34FFC6A385D3",
    "IRuntimeErrorEvent": "A95CEDF1-3012-4619-BE23-58C955BD5891",
}
CLASSES = {
    "selq6": {
        "VirtualBox": "1F683030-EAD9-43D2-857B-E07CE78CCBAF",
        "Session": "FAB3B688-E7F7-4EA2-8BC6-147159FA0CC3",
        "VirtualBoxClient": "DD3FC71D-26C0-4FE1-BF6F-67F633265BBA",
    },
    "stock61": {
        "VirtualBox": "B1A7A4F2-47B9-4A1E-82B2-07CCD5323C3F",
        "Session": "3C02F46D-C9D2-4F11-A384-53F0CF917214",
        "VirtualBoxClient": "DD3FC71D-26C0-4FE1-BF6F-67F633265BBA",
    },
}

SLOT = re.compile(r"RESERVED_(ATTRIBUTE|METHOD)\((\w+)\)|"
                  r"(?:\[(propget|propput)\]\s*)?HRESULT\s+(\w+)\s*\(((?:[^()]|\([^()]*\))*)\)\s*;")
PREFIXES = {"ATTRIBUTE": "get_", "propget": "get_", "propput": "put_"}

failures = []


def expect(condition, text):
    if not condition:
        failures.append(text)


def parameters(text):
    """[(attributes, type, name)] of "[in] SAFEARRAY(BSTR) aGroups, [out, retval] IMachine **aMachine"."""
    found = []
    # The facts say SAFEARRAY(IMachine*) where the interface description says ARRAY(IMachinePointer).
    text = re.sub(r"SAFEARRAY\((\w+)\)", r"ARRAY(\1)", re.sub(r"SAFEARRAY\((\w+)\*\)", r"ARRAY(\1Pointer)", text))
    for attributes, kind, stars, name in re.findall(r"\[([^\]]*)\]\s*(ARRAY\(\w+\)|\w+)\s*([*\s]*)(\w+)", text):
        found.append((attributes.replace(" ", ""), kind + stars.replace(" ", ""), name))
    expect(len(found) == (text.count(",") - text.count(",retval") - text.count(", retval") + 1 if text.strip() else 0),
           f"cannot read all of the parameters ({text})")
    return found


def read_slot(reserved, reserved_name, property_kind, name, arguments):
    """(name, parameters) of one line of an interface."""
    if reserved == "ATTRIBUTE":
        arguments = "[out, retval] ULONG *aReserved"
    return PREFIXES.get(reserved or property_kind, "") + (reserved_name or name), parameters(arguments)


def read_idl(path):
    """{interface: (base, [(slot, parameters)])} in the order of the file."""
    with open(path, encoding="utf-8") as file:
        text = re.sub(r"/\*.*?\*/|//[^\n]*", "", file.read(), flags=re.S)
    found = {}
    for name, base, body in re.findall(r"\binterface\s+(\w+)\s*:\s*(\w+)\s*\{(.*?)\}", text, re.S):
        slots = [read_slot(*line) for line in SLOT.findall(body)]
        rest = SLOT.sub("", body).strip()
        expect(not rest, f"{name}: cannot read {rest!r}")
        found[name] = (base, slots)
    return found


def read_identifiers(path):
    with open(path, encoding="utf-8") as file:
        text = file.read()
    interfaces = re.findall(r'MIDL_INTERFACE\("([0-9a-fA-F-]+)"\)\s*(\w+)\s*:', text)
    classes = re.findall(r'class\s+DECLSPEC_UUID\("([0-9a-fA-F-]+)"\)\s*(\w+)\s*;', text)
    return ({name: identifier.upper() for identifier, name in interfaces},
            {name: identifier.upper() for identifier, name in classes})


def read_facts(path):
    """{interface: (base, identifier, [(absolute slot, name, parameters)])}"""
    found = {}
    with open(path, encoding="utf-8", newline="") as file:
        for row in csv.DictReader(file, delimiter="\t"):
            entry = found.setdefault(row["interface"], (row["base"], row["iid"].strip("{}").upper(), []))
            entry[2].append((int(row["abs_slot"]), row["vtable_name"], parameters(row["signature"].strip()[1:-1])))
    return found


def main():
    idl_path, header_path, facts_path, identity = sys.argv[1:5]
    idl = read_idl(idl_path)
    interface_ids, class_ids = read_identifiers(header_path)
    facts = read_facts(facts_path)

    def first_slot(interface):
        base = idl[interface][0]
        return SYSTEM_SLOTS[base] if base in SYSTEM_SLOTS else first_slot(base) + len(idl[base][1])

    expect(len(facts) == 46 and sum(len(slots) for _, _, slots in facts.values()) == 1034,
           "the table of facts does not hold 46 interfaces with 1034 slots")
    expect(set(idl) == set(facts), f"interfaces of one side only: {sorted(set(idl) ^ set(facts))}")
    for name in sorted(set(idl) & set(facts)):
        base, slots = idl[name]
        true_base, true_id, true_slots = facts[name]
        if identity == "selq6":
            true_id = SELQ6_INTERFACES.get(name, true_id)
        expect(base == true_base, f"{name}: base {base}, must be {true_base}")
        expect(interface_ids.get(name) == true_id, f"{name}: identifier {interface_ids.get(name)}, must be {true_id}")
        expect(len(slots) == len(true_slots), f"{name}: {len(slots)} slots, must be {len(true_slots)}")
        for index, ((slot, given), (number, true_slot, expected)) in enumerate(zip(slots, true_slots)):
            expect(slot == true_slot, f"{name}: {slot} where {true_slot} must stand")
            found = first_slot(name) + index
            expect(found == number, f"{name}::{slot}: slot {found}, must be {number}")
            expect(given == expected, f"{name}::{slot}: {given}, must be {expected}")
    expect(class_ids == CLASSES[identity], f"classes {class_ids}, must be {CLASSES[identity]}")

    for failure in failures:
        print(failure)
    all_slots = sum(len(slots) for _, slots in idl.values())
    print(f"{len(idl)} interfaces, {all_slots} slots; {len(failures)} differences")
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
