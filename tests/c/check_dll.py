#!/usr/bin/env python3
"""check_dll.py DLL DEF OBJDUMP: the DLL exports what its .def file names and needs no DLL but the system's."""
import re
import subprocess
import sys

dll, definition, objdump = sys.argv[1:4]
told = subprocess.run([objdump, "-p", dll], check=True, capture_output=True, text=True).stdout
table = told[told.index("[Ordinal/Name Pointer] Table"):]
exported = set(re.findall(r"^\s*\[\s*\d+\](?: \+base\[\s*\d+\]\s+[0-9a-f]+)? (\w+)$", table, re.M))
wanted = set(open(definition, encoding="utf-8").read().split("EXPORTS")[1].split())
if exported != wanted:
    sys.exit(f"exports and .def differ: {sorted(exported ^ wanted)}")
imported = {name.lower() for name in re.findall(r"DLL Name: (\S+)", told)}
system = {"kernel32.dll", "msvcrt.dll", "ole32.dll", "user32.dll", "version.dll"}
if not imported <= system:
    sys.exit(f"imports more than the system's DLLs: {sorted(imported - system)}")
print(f"{len(exported)} exports")
