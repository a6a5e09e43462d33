"""The made files of the Node binding: raw.js with structs and prototypes, made.js with a class for each kind of object,
and its types."""
import textwrap

from flat_model import OPTIONAL, class_of, classes, constants, names_of_objects, structs

NUMBERS = {"u32": "uint32_t", "i32": "int32_t", "i64": "int64_t"}
PLAIN = {"uint32_t": "uint32_t", "const char*": "const char *", "void": "void"}


def parameter(api, name, kind):
    """Of a type in C, for a function of the frame."""
    if kind in names_of_objects(api):
        return "uint64_t"
    if kind in PLAIN:
        return PLAIN[kind]
    if kind.startswith("const "):
        return f"{kind[6:-1]} *"
    direction = "_Inout_" if name.startswith("travik_free") else "_Out_"
    if kind.endswith("**"):
        return f"{direction} void **"
    base = kind.rstrip("*")
    if base in ("void", "travik_callback"):
        return "void *"
    return f"{direction} {'uint64_t' if base in names_of_objects(api) else base} *"


def parameters(function):
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
            made.append({"text": "_Out_ void **", "texts": "_Out_ travik_texts *", "handle": "_Out_ uint64_t *",
                         "handles": f"_Out_ travik_{each.get('handle')}s *"}.get(base) or f"_Out_ {NUMBERS[base]} *")
        else:
            made.append({"text": "const char *", "handle": "uint64_t"}.get(base) or NUMBERS[base])
    return made + ["uint32_t", "_Out_ void **"]


def raw(api):
    parts = ["// Made by scripts/make_flat_bindings.py: structs, constants and prototypes, as travik.h has them.\n"
             "'use strict';\n\nconst koffi = require('koffi');\n"]
    for each in structs(api):
        rows = "\n".join(f"  {field['name']}: '{PLAIN.get(field['type'], 'void *')}'," for field in each["fields"])
        parts.append(f"koffi.struct('{each['name']}', {{\n{rows}\n}});\n")
    rows = "\n".join(f"  {name}: {value}," for name, value in constants(api).items())
    parts.append(f"const constants = Object.freeze({{\n{rows}\n}});\n")
    rows = [f"  {each['name']}: ['{PLAIN[each['result']]}', "
            f"{[parameter(api, each['name'], one['type']) for one in each['parameters']]!r}]," for each in api["frame"]]
    rows += [f"  {each['name']}: ['uint32_t', {parameters(each)!r}]," for each in api["functions"]]
    text = "\n".join(rows)
    parts.append(f"// name: result, parameters\nconst prototypes = {{\n{text}\n}};\n")
    return "\n".join(parts + ["module.exports = { constants, prototypes };\n"])


def output(api, each):
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
            arguments.append(output(api, one))
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
    parts = ["// Made by scripts/make_flat_bindings.py: a class for each kind of object.\n"
             "'use strict';\n\nconst core = require('./core');\n"]
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
