"""The made files of the Python binding: travik/_raw.py with structs and prototypes, travik/_made.py with a class for
each kind of object."""
import textwrap

from flat_model import OPTIONAL, class_of, classes, constants, names_of_objects, snake, structs

NUMBERS = {"u32": "c_uint32", "i32": "c_int32", "i64": "c_int64"}
# By types in C. What a char** gives has to be given back by its address.
FIELDS = {"const char*": "c_char_p", "char**": "POINTER(c_char_p)", "uint32_t": "c_uint32"}
PARAMETERS = FIELDS | {"char**": "POINTER(c_void_p)", "void*": "c_void_p", "travik_callback": "c_void_p",
                       "void": "None"}
HEAD = """\
\"\"\"Made by scripts/make_flat_bindings.py: structs, constants and prototypes, as travik.h has them.\"\"\"
from ctypes import POINTER, Structure, c_char_p, c_int32, c_int64, c_uint32, c_uint64, c_void_p


class Raw(Structure):
    \"\"\"A handle.\"\"\"
    _fields_ = [("value", c_uint64)]
"""


def ctype(api, kind, known):
    """Of a type in C."""
    if kind in known:
        return known[kind]
    base = kind.removeprefix("const ").rstrip("*")
    made = "Raw" if base in names_of_objects(api) else base
    for _ in range(kind.count("*")):
        made = f"POINTER({made})"
    return made


def parameters(function):
    if function["kind"] == "converter":
        return ["c_uint32"]
    if function["kind"] == "release":
        return ["Raw"]
    made = []
    for each in function["parameters"]:
        base, out = each["type"], each["direction"] == "out"
        if base in ("texts", "numbers") and not out:
            made += ["POINTER(c_char_p)" if base == "texts" else "POINTER(c_uint32)", "c_uint32"]
            continue
        kind = {"text": "c_void_p" if out else "c_char_p", "texts": "travik_texts", "handle": "Raw",
                "handles": f"travik_{each.get('handle')}s"}.get(base) or NUMBERS[base]
        made.append(f"POINTER({kind})" if out else kind)
    return made + ["c_uint32", "POINTER(POINTER(travik_error))"]


def raw(api):
    parts = [HEAD]
    for each in structs(api):
        fields = [f'("{snake(field["name"])}", {ctype(api, field["type"], FIELDS)})' for field in each["fields"]]
        rows = ",\n                ".join(fields)
        parts.append(f"\n\nclass {each['name']}(Structure):\n    _fields_ = [{rows}]\n")
    numbers = "\n".join(f"{name} = {value}" for name, value in constants(api).items())
    parts.append(f"\n\n{numbers}\n\n# name: result, parameters\nPROTOTYPES = {{\n")
    for each in api["frame"]:
        told = ", ".join(ctype(api, one["type"], PARAMETERS) for one in each["parameters"])
        parts.append(f'    "{each["name"]}": ({ctype(api, each["result"], PARAMETERS)}, [{told}]),\n')
    parts += [f'    "{each["name"]}": (c_uint32, [{", ".join(parameters(each))}]),\n' for each in api["functions"]]
    return "".join(parts) + "}\n"


def input_type(api, each):
    if each["type"] == "handle":
        return f'"{class_of(api, each["handle"])}"'
    return each.get("meaning") or {"text": "str", "texts": "Sequence[str]"}.get(each["type"], "int")


def result_type(api, each):
    if each["type"] == "handle":
        return f'"{class_of(api, each["handle"])}"'
    if each["type"] == "handles":
        return f'"list[{class_of(api, each["handle"])}]"'
    return each.get("meaning") or {"text": "str", "texts": "list[str]"}.get(each["type"], "int")


def number_output(each):
    return f"NumberPlace({NUMBERS[each['type']]}, {each.get('meaning', 'int')})"


def method(api, each):
    indent = " " * 8
    parameters = [f"{snake(one['name'])}: {input_type(api, one)}" + (" = ()" if one["name"] in OPTIONAL else "")
                  for one in each.inputs]
    results = [result_type(api, out) for out in each.outputs]
    result = results[0] if len(results) == 1 else f"tuple[{', '.join(results)}]" if results else "None"
    head = ", ".join(["self"] + parameters + ["*", "limit: Limit = None"])
    words = "\n".join(textwrap.wrap(each.comment, 100, subsequent_indent=indent, break_on_hyphens=False))
    words = words.replace("\\", "\\\\")
    text = f"    def {snake(each.name)}({head}) -> {result}:\n{indent}\"\"\"{words}\"\"\"\n"
    if words.endswith('"'):
        raise SystemExit(f"{each.name}: its words end in a quotation mark")
    takers, arguments = [], ["self._raw"] if each.receiver else []
    for one in each.function["parameters"]:
        name, base = snake(one["name"]), one["type"]
        if one is each.receiver:
            continue
        if one["direction"] == "out":
            made = {"text": "TextPlace()", "texts": "TextsPlace()"}.get(base)
            if base in ("handle", "handles"):
                made = f"{'Handle' if base == 'handle' else 'Machines'}Place({class_of(api, one['handle'])})"
            text += f"{indent}{name}_out = {made or number_output(one)}\n"
            arguments.append(f"{name}_out.put()")
            takers.append(f"{name}_out.take()")
        elif base == "texts":
            arguments += [f"texts({name})", f"len({name})"]
        else:
            arguments.append({"text": f"utf8({name})", "handle": f"{name}._raw"}.get(base, f"int({name})"))
    call = ", ".join([f'"{each.function["name"]}"', "limit"] + arguments)
    text += f"{indent}_call({call})\n"
    if takers:
        text += f"{indent}return {', '.join(takers)}\n"
    return text


def made(api):
    parts = ['"""Made by scripts/make_flat_bindings.py: a class for each kind of object."""\n'
             "from __future__ import annotations\n\nimport enum\nfrom ctypes import c_int32, c_int64, c_uint32\n"
             "from typing import Sequence\n\n"
             "from ._core import (Handle, HandlePlace, Limit, MachinesPlace, NumberPlace, TextPlace, TextsPlace,\n"
             "                    _call, texts, utf8)\n"]
    for name, values in api["enumerations"].items():
        if name in ("Result", "VBoxResultCode"):
            continue
        rows = "\n".join(f"    {value if value != 'None' else 'None_'} = {number}" for value, number in values.items())
        parts.append(f"\nclass {name}(enum.IntEnum):\n{rows}\n")
    rows = "\n".join(f"    {name} = 0x{value:08X}" for name, value in api["enumerations"]["Result"].items())
    parts.append(f'\nclass Result(enum.IntEnum):\n    """HRESULTs, as an error\'s result tells them."""\n{rows}\n')
    rows = "\n".join(f"    {name} = {number}" for name, number in (api["codes"] | api["ownCodes"]).items())
    parts.append(f'\nclass Code(enum.IntEnum):\n    """What an error\'s code tells."""\n{rows}\n')
    for name, methods in classes(api).items():
        if name == "Library":
            head = "\nclass LibraryOperations:\n"
        else:
            handle = next(each for each in api["handles"] if each["class"] == name)
            head = f'\nclass {name}(Handle):\n    _release = "{handle["release"]}"\n\n'
        parts.append(head + "\n".join(method(api, each) for each in methods))
    return "\n".join(parts)
