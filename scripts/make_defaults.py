#!/usr/bin/env python3
"""Makes a header with a body for every slot of every interface of a MIDL or widl header.

Defaults<IMachine> derives from IMachine and answers E_NOTIMPL in each slot above IUnknown, so that the stand-in and the
fakes of the tests override only what they mean. Outputs are cleared, as COM wants it of a call that fails.
Usage: make_defaults.py virtualbox.h virtualbox_defaults.h
"""
import re
import sys

DISPATCH = [
    ("GetTypeInfoCount", "UINT *"),
    ("GetTypeInfo", "UINT, LCID, ITypeInfo **"),
    ("GetIDsOfNames", "REFIID, LPOLESTR *, UINT, LCID, DISPID *"),
    ("Invoke", "DISPID, REFIID, LCID, WORD, DISPPARAMS *, VARIANT *, EXCEPINFO *, UINT *"),
]
# Pointers that IDispatch takes as arguments.
INPUTS = {"LPOLESTR", "DISPPARAMS"}
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


def is_result(kind, interface_names):
    """Whether a parameter of this type is an output: a pointer, but not to an object."""
    stars = kind.replace(" ", "")
    base = stars.rstrip("*")
    return stars.endswith("**") or (stars.endswith("*") and base not in interface_names | INPUTS)


def body(method, types, interface_names):
    kinds = [kind.strip() for kind in types.split(",") if kind.strip()]
    outputs = [f"a{i}" if is_result(kind, interface_names) else "" for i, kind in enumerate(kinds)]
    parameters = ", ".join(f"{kind} {output}".strip() for kind, output in zip(kinds, outputs))
    results = ", ".join(output for output in outputs if output)
    return (f"    HRESULT STDMETHODCALLTYPE {method}({parameters}) override "
            f"{{ return notImplemented({results}); }}")


def main():
    source, target = sys.argv[1:3]
    with open(source, encoding="utf-8") as file:
        found = {name: (base, slots) for name, base, slots in interfaces(file.read())}
    if not found:
        sys.exit(f"make_defaults.py: no interface in {source}")
    interface_names = {*found, "IUnknown", "IDispatch", "IErrorInfo"}
    known = {"IUnknown": [], "IDispatch": DISPATCH, "IErrorInfo": ERROR_INFO}

    def all_slots(name):
        if name in known:
            return known[name]
        base, slots = found[name]
        return all_slots(base) + slots

    lines = ["// Made from the interface descriptions; see scripts/make_defaults.py.", "#pragma once", "",
             f'#include "{source.replace(chr(92), "/").rsplit("/", 1)[-1]}"', "",
             "#ifndef TRAVIK_NOT_IMPLEMENTED", "#define TRAVIK_NOT_IMPLEMENTED",
             "template <class... Result>", "HRESULT notImplemented(Result*... output)", "{",
             "    ((output ? void(*output = Result{}) : void()), ...);", "    return E_NOTIMPL;", "}",
             "#endif", "", "template <class Interface>", "struct Defaults;", ""]
    for name in found:
        lines += ["template <>", f"struct Defaults<{name}> : {name} {{"]
        lines += [body(method, types, interface_names) for method, types in all_slots(name)]
        lines += ["};", ""]
    with open(target, "w", encoding="utf-8", newline="\n") as file:
        file.write("\n".join(lines))


if __name__ == "__main__":
    main()
