#!/usr/bin/env python3
"""Makes a header with the names of all calls of VirtualBox, as Interface::Method, from the interface description.

What VirtualBox keeps for itself is left out. Usage: make_call_names.py virtualbox.idl known_calls.h
"""
import re
import sys

from make_defaults import ERROR_INFO

PREFIXES = {"propget": "get_", "propput": "put_", "": ""}


def calls(path):
    """{interface: [call]} in the order of the file."""
    with open(path, encoding="utf-8") as file:
        text = re.sub(r"/\*.*?\*/", "", file.read(), flags=re.S)
    found = {}
    for name, body in re.findall(r"\binterface\s+(\w+)\s*:\s*\w+\s*\{(.*?)\}", text, re.S):
        slots = re.findall(r"(?:\[(propget|propput)\]\s*)?HRESULT\s+(\w+)\s*\(", body)
        found[name] = [PREFIXES[kind] + slot for kind, slot in slots]
    return found


def main():
    source, target = sys.argv[1:3]
    names = [f"{interface}::{call}" for interface, slots in calls(source).items() for call in slots]
    names += [f"IErrorInfo::{method}" for method, _ in ERROR_INFO]
    lines = ["// Made from the interface description; see scripts/make_call_names.py.", "#pragma once", "",
             "inline constexpr const wchar_t* virtualBoxCalls[] = {"]
    lines += [f'    L"{call}",' for call in names]
    lines += ["};", ""]
    with open(target, "w", encoding="utf-8", newline="\n") as file:
        file.write("\n".join(lines))


if __name__ == "__main__":
    main()
