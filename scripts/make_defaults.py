#!/usr/bin/env python3
"""Makes a header with a body for every slot of every interface of a MIDL or widl header.

Defaults<IMachine> derives from IMachine and answers E_NOTIMPL in each slot above IUnknown, so that the stand-in and the
fakes of the tests override only what they mean. Usage: make_defaults.py virtualbox.h virtualbox_defaults.h
"""
import re
import sys

DISPATCH = [
    ("GetTypeInfoCount", "UINT *"),
    ("GetTypeInfo", "UINT, LCID, ITypeInfo **"),
    ("GetIDsOfNames", "REFIID, LPOLESTR *, UINT, LCID, DISPID *"),
    ("Invoke", "DISPID, REFIID, LCID, WORD, DISPPARAMS *, VARIANT *, EXCEPINFO *, UINT *"),
]
ERROR_INFO = [
    ("GetGUID", "GUID *"),
    ("GetSource", "BSTR *"),
    ("GetDescription", "BSTR *"),
    ("GetHelpFile", "BSTR *"),
    ("GetHelpContext", "DWORD *"),
]


def interfaces(text):
    """Yields (name, base, [(slot name, parameter types)])."""
    pattern = re.compile(r"MIDL_INTERFACE\([^)]*\)\s*(\w+)\s*:\s*public\s+(\w+)\s*\{(.*?)^\s*\};", re.S | re.M)
    slot = re.compile(r"virtual\s+(?:/\*.*?\*/\s*)*HRESULT\s+STDMETHODCALLTYPE\s+(\w+)\s*\((.*?)\)\s*=\s*0;", re.S)
    for name, base, body in pattern.findall(text):
        slots = []
        for method, parameters in slot.findall(body):
            parameters = re.sub(r"/\*.*?\*/", "", parameters)
            types = [re.sub(r"\w+\s*$", "", p).strip() for p in parameters.split(",") if p.strip() not in ("", "void")]
            slots.append((method, ", ".join(types)))
        yield name, base, slots


def main():
    source, target = sys.argv[1:3]
    with open(source, encoding="utf-8") as file:
        found = {name: (base, slots) for name, base, slots in interfaces(file.read())}
    if not found:
        sys.exit(f"make_defaults.py: no interface in {source}")
    known = {"IUnknown": [], "IDispatch": DISPATCH, "IErrorInfo": ERROR_INFO}

    def all_slots(name):
        if name in known:
            return known[name]
        base, slots = found[name]
        return all_slots(base) + slots

    lines = ["// Made from the interface descriptions; see scripts/make_defaults.py.", "#pragma once", "",
             f'#include "{source.replace(chr(92), "/").rsplit("/", 1)[-1]}"', "",
             "template <class Interface>", "struct Defaults;", ""]
    for name in found:
        lines += ["template <>", f"struct Defaults<{name}> : {name} {{"]
        lines += [f"    HRESULT STDMETHODCALLTYPE {method}({types}) override {{ return E_NOTIMPL; }}"
                  for method, types in all_slots(name)]
        lines += ["};", ""]
    with open(target, "w", encoding="utf-8", newline="\n") as file:
        file.write("\n".join(lines))


if __name__ == "__main__":
    main()
