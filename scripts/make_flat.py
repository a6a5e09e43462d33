#!/usr/bin/env python3
"""Makes the flat C interface from the description of flat_description.py.

    make_flat.py            writes include/travik/travik.h and include/travik/travik.hpp; then ./dev format
    make_flat.py --check    fails when they are not what would be written
    make_flat.py OUTPUT     writes flat_operations.cpp, TravikSDK-c.def and travik_api.json there, for the build
"""
import json
import pathlib
import re
import sys
import textwrap

import flat_cpp
from flat_description import OWN_CODES, describe, root

WIDTH = 120
# result, name, parameters
FUNCTION = re.compile(r"^TRAVIK_C_API ([^;(]*?)\b(travik_\w+)\((.*?)\);", re.M | re.S)
# These succeed in C++ even when what they start does not.
STARTS = {"initComComponent": "missing", "resetComComponent": "anew"}
NUMBERS = {"u32": "uint32_t", "i32": "int32_t", "i64": "int64_t"}


def note(text):
    """A comment in the width of the sources."""
    lines = textwrap.wrap(text, WIDTH - 6, break_long_words=False, break_on_hyphens=False)
    return "/* " + "\n   ".join(lines) + " */\n" if lines else ""


def declaration(start, parameters, end):
    """start(parameters)end, folded under the bracket."""
    line = f"{start}("
    indent = " " * len(line)
    lines = [line]
    for number, each in enumerate(parameters):
        piece = each + ("," if number + 1 < len(parameters) else ")" + end)
        if len(lines[-1]) + len(piece) > WIDTH:
            lines[-1] = lines[-1].rstrip()
            lines.append(indent)
        lines[-1] += piece + " "
    return "\n".join(line.rstrip() for line in lines)


def c_parameters(function):
    made = []
    for each in function["parameters"]:
        name, base, out = each["name"], each["type"], each["direction"] == "out"
        if base == "text":
            made.append(f"char** {name}" if out else f"const char* {name}")
        elif base == "texts":
            made += [f"travik_texts* {name}"] if out else [f"const char* const* {name}", f"uint32_t {name}Count"]
        elif base == "numbers":
            made += [f"const uint32_t* {name}", f"uint32_t {name}Count"]
        elif base == "handles":
            made.append(f"travik_{each['handle']}s* {name}")
        else:
            kind = f"travik_{each['handle']}" if base == "handle" else NUMBERS[base]
            made.append(f"{kind}* {name}" if out else f"{kind} {name}")
    return made + ["uint32_t deadlineMs", "travik_error** error"]


def operations(api):
    return [each for each in api["functions"] if each["kind"] in ("call", "wait")]


def enumeration(prefix, values, name=""):
    rows = ",\n".join(f"    {prefix}{value} = {number}" for value, number in values.items())
    return f"enum{' ' + name if name else ''}\n{{\n{rows}\n}};"


def header(api):
    major, minor, patch = api["version"].split(".")
    version = (f'#define TRAVIK_VERSION "{api["version"]}"\n#define TRAVIK_VERSION_MAJOR {major}\n'
               f"#define TRAVIK_VERSION_MINOR {minor}\n#define TRAVIK_VERSION_PATCH {patch}")
    rows = [(f"    TRAVIK_{name} = {number},", text) for name, number, text in OWN_CODES]
    width = max(len(row) for row, _ in rows)
    own = "enum\n{\n" + "\n".join(f"{row:{width}} /* {text} */" for row, text in rows) + "\n};"
    handles = "\n".join(f"typedef struct {each['type']}\n{{\n    uint64_t value;\n}} {each['type']};"
                        for each in api["handles"])
    numbers = api["enumerations"]["Result"].items()
    results = "/* HRESULTs, as an error's result tells them. */\n" + "\n".join(
        f"#define TRAVIK_Result_{name} UINT32_C(0x{value:08X})" for name, value in numbers)
    enumerations = "\n\n".join(
        results if name == "Result" else
        ("/* What travik_toHResult takes and travik_toVBoxResultCode gives. */\n" if name == "VBoxResultCode" else "")
        + enumeration(f"TRAVIK_{name}_", values, f"travik_{name}") for name, values in api["enumerations"].items())
    made = "\n\n".join(
        note(each["comment"]) + declaration(f"TRAVIK_C_API uint32_t {each['name']}", c_parameters(each), ";")
        for each in operations(api))
    converters = "\n".join(note(each["comment"]) + f"TRAVIK_C_API uint32_t {each['name']}(uint32_t value);"
                           for each in api["functions"] if each["kind"] == "converter")
    types = {each["name"]: each["type"] for each in api["handles"]}
    releases = "\n".join(f"TRAVIK_C_API uint32_t {each['name']}({types[each['handle']]} {each['handle']});"
                         for each in api["functions"] if each["kind"] == "release")
    text = (root / "src/c/travik.h.in").read_text(encoding="utf-8")
    for mark, value in (("VERSION", version), ("OWN_CODES", own), ("CODES", enumeration("TRAVIK_", api["codes"])),
                        ("HANDLES", handles), ("ENUMERATIONS", enumerations), ("OPERATIONS", made),
                        ("CONVERTERS", converters), ("RELEASES", releases)):
        text = text.replace(f"@{mark}@", value)
    return text


def adapter(each):
    """How call.h takes a parameter."""
    name, base, out = each["name"], each["type"], each["direction"] == "out"
    if base in ("handle", "handles"):
        kind = "anyKind" if each.get("anyHandle") else f"Kind::{each['handle']}"
        kinds = {("handle", False): "InHandle", ("handle", True): "OutHandle", ("handles", True): "OutHandles"}
        return f"{kinds[base, out]}<{kind}>({name})"
    if base == "text":
        return f"OutText({name})" if out else f"InText({name})"
    if base == "texts":
        return f"OutTexts({name})" if out else f"InTexts({name}, {name}Count)"
    if base == "numbers":
        return f"InNumbers({name}, {name}Count)"
    if each.get("flag"):
        return f"InFlag({name})"
    return f"OutNumber({name})" if out else f"InNumber({name})"


def implementation(api):
    parts = ["// Made by scripts/make_flat.py.\n\n#include \"call.h\"\n\nusing namespace Travik;\n"
             "using namespace Travik::Flat;\n\nextern \"C\" {\n"]
    for each in operations(api):
        if each["kind"] == "wait":
            continue
        signature = declaration(f"uint32_t {each['name']}", c_parameters(each), "")
        arguments = "".join(f", {adapter(parameter)}" for parameter in each["parameters"])
        outputs = ", ".join(parameter["name"] for parameter in each["parameters"] if parameter["direction"] == "out")
        cleared = f"    clear({outputs});\n" if outputs else ""
        parts.append(f"{signature}\n{{\n{cleared}    return guarded(\"{each['operation']}\", error, [&] {{\n"
                     f"        return call<Calls::{each['operation']}>(deadlineMs, error{arguments});\n    }});\n}}\n")
    for each in api["functions"]:
        if each["kind"] == "converter":
            parts.append(f"uint32_t {each['name']}(uint32_t value)\n{{\n    return convert<&VBoxInstanceImpl::"
                         f"{each['operation']}>(value);\n}}\n")
        if each["kind"] == "release":
            kind = each["handle"]
            parts.append(f"uint32_t {each['name']}(travik_{kind} handle)\n{{\n    return release<Kind::{kind}>"
                         f"(handle.value);\n}}\n")
    return "\n".join(parts) + "\n}\n"


def kinds(api):
    """flat_kinds.h: kinds of handles, and each operation with its name."""
    handles = ",\n".join(f"    {each['name']} = {each['kind']}" for each in api["handles"])
    types = "\n".join(
        f"template <>\nstruct HandleOf<Kind::{each['name']}>\n{{\n    using Type = {each['type']};\n"
        f"    static constexpr auto release = &VBoxInstanceImpl::{each['release'].removeprefix('travik_')};\n}};"
        for each in api["handles"])
    calls = "\n".join(
        f"struct {each['operation']}\n{{\n    static constexpr const char* name = \"{each['operation']}\";\n"
        f"    static constexpr auto operation = &VBoxInstanceImpl::{each['operation']};\n"
        f"    static constexpr Start start = Start::{STARTS.get(each['operation'], 'none')};\n}};"
        for each in operations(api))
    own = " \\\n".join(f"    CODE({name})" for name, _, _ in OWN_CODES)
    return (f"// Made by scripts/make_flat.py.\n#pragma once\n\n#define OWN_CODES(CODE) \\\n{own}\n\n"
            "#include \"travik/travik.h\"\n"
            "#include \"travik/vbox_instance.h\"\n\nnamespace Travik::Flat {\n\n"
            f"enum class Kind : std::uint32_t\n{{\n{handles}\n}};\n\n"
            f"template <Kind kind>\nstruct HandleOf;\n{types}\n\n"
            "enum class Start\n{\n    none,\n    missing,\n    anew\n};\n\n"
            f"namespace Calls {{\n{calls}\n}} // namespace Calls\n\n}} // namespace Travik::Flat\n")


def definition(api, text):
    names = [name for _, name, _ in FUNCTION.findall(text)]
    if len(names) != len(set(names)) or not {each["name"] for each in api["functions"]} <= set(names):
        raise SystemExit("the header does not declare every function once")
    rows = "".join(f"    {name}\n" for name in names)
    return f"; Made by scripts/make_flat.py.\nLIBRARY TravikSDK-c\nEXPORTS\n{rows}"


def declarator(text):
    """{name, type} of "const char* name"."""
    kind, name = re.fullmatch(r"(.*?)(\w+)", " ".join(text.split())).groups()
    return {"name": name, "type": kind.strip()}


def frame(api, text):
    """What the header has beside the operations: structs, constants and functions, with their types in C."""
    text = re.sub(r"/\*.*?\*/", "", text, flags=re.S)
    known = {each["name"] for each in api["functions"]} | {each["type"] for each in api["handles"]}
    structs = [{"name": name, "fields": [declarator(field) for field in body.split(";")[:-1]]}
               for name, body in re.findall(r"^typedef struct (travik_\w+)\n\{(.*?)^\} \1;", text, re.M | re.S)
               if name not in known]
    constants = {name: int(value) for name, value in re.findall(r"(TRAVIK_(?:OPEN|NOTICE)_\w+) = (\d+)", text)}
    functions = [{"name": name, "result": result.strip(),
                  "parameters": [declarator(each) for each in parameters.split(",") if each != "void"]}
                 for result, name, parameters in FUNCTION.findall(text) if name not in known]
    return {"structs": structs, "constants": constants | {"TRAVIK_NO_DEADLINE": 0xFFFFFFFF}, "frame": functions}


def shape(text):
    """A text without what ./dev format decides."""
    return re.sub(r"\s+", "", text)


def main():
    api = describe()
    text = header(api)
    template = (root / "src/c/travik.hpp.in").read_text(encoding="utf-8")
    public = {root / "include/travik/travik.h": text,
              root / "include/travik/travik.hpp": flat_cpp.header(api, template)}
    if sys.argv[1:] == ["--check"]:
        for path, wanted in public.items():
            if not path.exists() or shape(path.read_text(encoding="utf-8")) != shape(wanted):
                sys.exit(f"{path.relative_to(root)} is out of date: run scripts/make_flat.py")
    elif len(sys.argv) == 2:
        output = pathlib.Path(sys.argv[1])
        output.mkdir(parents=True, exist_ok=True)
        made = {"flat_operations.cpp": implementation(api), "flat_kinds.h": kinds(api),
                "TravikSDK-c.def": definition(api, text),
                "travik_api.json": json.dumps(api | frame(api, text), indent=1, ensure_ascii=False) + "\n"}
        for name, content in made.items():
            (output / name).write_text(content, encoding="utf-8", newline="\n")
    elif sys.argv[1:]:
        sys.exit(__doc__)
    else:
        for path, wanted in public.items():
            path.write_text(wanted, encoding="utf-8", newline="\n")


if __name__ == "__main__":
    main()
