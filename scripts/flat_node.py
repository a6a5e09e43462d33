"""The made files of the Node binding: made.js, with the prototypes and a class for each kind of object, and types."""
import textwrap

from flat_model import OPTIONAL, class_of, classes

NUMBERS = {"u32": "uint32_t", "i32": "int32_t", "i64": "int64_t"}


def prototype(function):
    if function["kind"] == "converter":
        return ["uint32_t"]
    if function["kind"] == "release":
        return ["uint64_t"]
    made = []
    for each in function["parameters"]:
        base, out = each["type"], each["direction"] == "out"
        if base in ("texts", "numbers") and not out:
            made += ["const char **" if base == "texts" else "uint32_t *", "uint32_t"]
        elif out:
            made.append({"text": "_Out_ void **", "texts": "_Out_ TravikList *", "handles": "_Out_ TravikList *",
                         "handle": "_Out_ uint64_t *"}.get(base) or f"_Out_ {NUMBERS[base]} *")
        else:
            made.append({"text": "const char *", "handle": "uint64_t"}.get(base) or NUMBERS[base])
    return made + ["uint32_t", "_Out_ void **"]


def place(api, each):
    base = each["type"]
    if base == "handle":
        return f"core.handleOut({class_of(api, each['handle'])})"
    if base == "handles":
        return f"core.machinesOut({class_of(api, each['handle'])})"
    if each.get("meaning") == "bool":
        return "core.boolOut()"
    return {"text": "core.textOut()", "texts": "core.textsOut()", "i64": "core.bigOut()"}.get(base, "core.numberOut()")


def passed(each):
    name = each["name"]
    if each["type"] == "handle":
        return [f"core.raw({name})"]
    if each["type"] == "texts":
        return [name, f"{name}.length"]
    return [f"{name} ? 1 : 0"] if each.get("meaning") == "bool" else [name]


def method(api, each):
    inputs = [one["name"] + (" = []" if one["name"] in OPTIONAL else "") for one in each.inputs]
    arguments = ["core.raw(this)"] if each.receiver else []
    for one in each.function["parameters"]:
        if one["direction"] == "out":
            arguments.append(place(api, one))
        elif one is not each.receiver:
            arguments += passed(one)
    return (f"  {each.name}({', '.join(inputs + ['options'])}) {{\n"
            f"    return core.call('{each.function['name']}', options, [{', '.join(arguments)}]);\n  }}\n")


def input_type(api, each):
    base = each["type"]
    if base == "handle":
        return class_of(api, each["handle"])
    if each.get("meaning"):
        return "boolean" if each["meaning"] == "bool" else each["meaning"]
    return {"text": "string", "texts": "string[]"}.get(base, "number")


def result_type(api, each):
    base = each["type"]
    if base == "handle":
        return class_of(api, each["handle"])
    if base == "handles":
        return class_of(api, each["handle"]) + "[]"
    if each.get("meaning"):
        return "boolean" if each["meaning"] == "bool" else each["meaning"]
    return {"text": "string", "texts": "string[]", "i64": "bigint"}.get(base, "number")


def declared(api, each):
    inputs = [f"{one['name']}{'?' if one['name'] in OPTIONAL else ''}: {input_type(api, one)}" for one in each.inputs]
    outputs = [result_type(api, out) for out in each.outputs]
    result = outputs[0] if len(outputs) == 1 else f"[{', '.join(outputs)}]" if outputs else "void"
    words = "\n".join(f"   * {line}" for line in textwrap.wrap(each.comment, 112, break_on_hyphens=False))
    parameters = ", ".join(inputs + ["options?: CallOptions"])
    return f"  /**\n{words}\n   */\n  {each.name}({parameters}): Promise<{result}>;\n"


def enumerations(api):
    return {name: values for name, values in api["enumerations"].items() if name != "VBoxResultCode"}


def script(api):
    parts = ["// Made by scripts/make_flat_bindings.py: the prototypes, and a class for each kind of object.\n"
             "'use strict';\n\nconst core = require('./core');\n"]
    rows = "\n".join(f"  {each['name']}: {prototype(each)!r}," for each in api["functions"])
    parts.append(f"core.declare({{\n{rows}\n}});\n")
    for name, values in (enumerations(api) | {"Code": api["codes"] | api["ownCodes"]}).items():
        rows = "\n".join(f"  {value}: {number}," for value, number in values.items())
        parts.append(f"const {name} = Object.freeze({{\n{rows}\n}});\n")
    made = classes(api)
    for name, methods in made.items():
        body = "\n".join(method(api, each) for each in methods)
        if name == "Library":
            parts.append(f"class LibraryOperations {{\n{body}}}\n")
        else:
            handle = next(each for each in api["handles"] if each["class"] == name)
            release = f"static release = '{handle['release']}';"
            parts.append(f"class {name} extends core.Handle {{\n  {release}\n\n{body}}}\n")
    names = [name if name != "Library" else "LibraryOperations" for name in made]
    parts.append(f"module.exports = {{ {', '.join(list(enumerations(api)) + ['Code'] + names)} }};\n")
    return "\n".join(parts)


def types(api):
    parts = ["// Made by scripts/make_flat_bindings.py.\nimport { CallOptions, Handle } from './core';\n"]
    for name, values in (enumerations(api) | {"Code": api["codes"] | api["ownCodes"]}).items():
        rows = "\n".join(f"  readonly {value}: {number};" for value, number in values.items())
        parts.append(f"export const {name}: {{\n{rows}\n}};\nexport type {name} = number;\n")
    for name, methods in classes(api).items():
        head = "class LibraryOperations" if name == "Library" else f"class {name} extends Handle"
        parts.append(f"export {head} {{\n" + "\n".join(declared(api, each) for each in methods) + "}\n")
    return "\n".join(parts)
