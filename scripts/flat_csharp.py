"""The made file of the C# binding: Made.cs, with the declarations and a class for each kind of object."""
import textwrap

from flat_model import class_of, classes, constants, names_of_objects, structs

NUMBERS = {"u32": "uint", "i32": "int", "i64": "long"}
KEYWORDS = {"event"}
PLAIN = {"uint32_t": "uint", "const char*": "IntPtr", "void": "void", "travik_callback": "IntPtr", "void*": "IntPtr"}


def name_of(each):
    return f"@{each['name']}" if each["name"] in KEYWORDS else each["name"]


def pascal(name):
    return name[:1].upper() + name[1:]


def raw_name(kind):
    return "Raw" + pascal(kind.removeprefix("travik_"))


def parameter(api, each, function):
    """Of a type in C, for a function of the frame."""
    kind = each["type"]
    if kind in names_of_objects(api) | PLAIN.keys():
        return f"{PLAIN.get(kind, 'ulong')} {each['name']}"
    base = kind.removeprefix("const ").rstrip("*")
    direction = "ref" if kind.startswith("const ") or function["name"].startswith("travik_free") else "out"
    made = "IntPtr" if kind.endswith("**") else "ulong" if base in names_of_objects(api) else raw_name(base)
    return f"{direction} {made} {each['name']}"


def frame(api):
    """The structs, and the functions beside the operations."""
    parts = []
    for each in structs(api):
        fields = "\n".join(f"        public {PLAIN.get(field['type'], 'IntPtr')} {pascal(field['name'])};"
                           for field in each["fields"])
        parts.append("    [StructLayout(LayoutKind.Sequential)]\n"
                     f"    internal struct {raw_name(each['name'])}\n    {{\n{fields}\n    }}\n")
    rows = [f"        internal const uint {name} = {value};" for name, value in constants(api).items()]
    for each in api["frame"]:
        parameters = ", ".join(parameter(api, one, each) for one in each["parameters"])
        rows.append(f"        [DllImport(Dll)] internal static extern {PLAIN[each['result']]} {each['name']}"
                    f"({parameters});")
    return parts, rows


def declaration(function):
    if function["kind"] == "converter":
        parameters = "uint value"
    elif function["kind"] == "release":
        parameters = "ulong handle"
    else:
        made = []
        for each in function["parameters"]:
            name, base, out = name_of(each), each["type"], each["direction"] == "out"
            if base in ("texts", "numbers") and not out:
                made += [f"{'IntPtr' if base == 'texts' else 'uint'}[] {name}", f"uint {name}Count"]
                continue
            kind = {"text": "IntPtr" if out else "byte[]", "texts": "RawTexts", "handle": "ulong",
                    "handles": f"Raw{pascal(each.get('handle', ''))}s"}.get(base) or NUMBERS[base]
            made.append(f"{'out ' if out else ''}{kind} {name}")
        parameters = ", ".join(made + ["uint deadlineMs", "out IntPtr error"])
    return f"        [DllImport(Dll)] internal static extern uint {function['name']}({parameters});"


def type_of(api, each):
    base = each["type"]
    if base in ("handle", "handles"):
        return class_of(api, each["handle"]) + ("[]" if base == "handles" else "")
    meaning = each.get("meaning")
    return meaning or {"text": "string", "texts": "string[]"}.get(base, NUMBERS.get(base))


def method(api, each):
    indent = " " * 12
    parameters = [f"{type_of(api, one)} {name_of(one)}" for one in each.inputs]
    outputs = [f"{type_of(api, out)} {name_of(out)}" for out in each.outputs]
    result = type_of(api, each.outputs[0]) if len(outputs) == 1 else f"({', '.join(outputs)})" if outputs else "void"
    words = each.comment.replace("&", "&amp;").replace("<", "&lt;")
    text = "".join(f"        /// {line}\n" for line in
                   textwrap.wrap(f"<summary>{words}</summary>", 106, break_on_hyphens=False))
    name = pascal(each.name)
    name += "OfMachine" if name == each.owner else ""
    text += f"        public {result} {name}({', '.join(parameters + ['TimeSpan? limit = null'])})\n        {{\n"
    before, held, arguments, takers = "", "", ["Raw"] if each.receiver else [], []
    for one in each.function["parameters"]:
        label, base = name_of(one), one["type"]
        if one is each.receiver:
            continue
        if one["direction"] == "out":
            kind = {"text": "IntPtr", "texts": "RawTexts", "handle": "ulong",
                    "handles": f"Raw{pascal(one.get('handle', ''))}s"}.get(base)
            local = f"{one['name']}Out"
            before += f"{indent}{kind or NUMBERS[base]} {local} = default({kind or NUMBERS[base]});\n"
            arguments.append(f"out {local}")
            owner = class_of(api, one["handle"]) if base in ("handle", "handles") else ""
            takers.append({"text": f"Core.TakeText({local})", "texts": f"Core.TakeTexts({local})",
                           "handle": f"new {owner}({local})",
                           "handles": f"Array.ConvertAll(Core.TakeHandles({local}), one => new {owner}(one))"}.get(base)
                          or (f"{local} != 0" if one.get("meaning") == "bool" else
                              f"({one['meaning']}){local}" if one.get("meaning") else local))
        elif base == "texts":
            held = f"{indent}using (var {one['name']}In = new NativeTexts({label}))\n    "
            arguments += [f"{one['name']}In.Items", f"(uint){label}.Length"]
        elif one.get("meaning") == "bool":
            arguments.append(f"{label} ? 1u : 0u")
        else:
            arguments.append({"text": f"Core.Utf8({label})", "handle": f"{label}.Raw"}.get(
                base, f"(uint){label}" if one.get("meaning") else label))
    call = ", ".join(arguments + ["Core.Milliseconds(limit)", "out error"])
    text += f"{before}{held}{indent}Core.Check((out IntPtr error) => Native.{each.function['name']}({call}));\n"
    if takers:
        text += f"{indent}return {takers[0] if len(takers) == 1 else '(' + ', '.join(takers) + ')'};\n"
    return text + "        }\n"


def made(api):
    parts = ["// Made by scripts/make_flat_bindings.py: the declarations, and a class for each kind of object.\n"
             "using System;\nusing System.Runtime.InteropServices;\n\nnamespace Travik\n{"]
    for name, values in (api["enumerations"] | {"Code": api["codes"] | api["ownCodes"]}).items():
        if name != "VBoxResultCode":
            rows = ",\n".join(f"        {value} = {number}" for value, number in values.items())
            parts.append(f"    public enum {name} : uint\n    {{\n{rows}\n    }}\n")
    declared, rows = frame(api)
    rows += [declaration(each) for each in api["functions"]]
    body = "\n".join(rows)
    parts += declared + ['    internal static class Native\n    {\n'
                         f'        private const string Dll = "TravikSDK-c";\n\n{body}\n    }}\n']
    for name, methods in classes(api).items():
        body = "\n".join(method(api, each) for each in methods)
        if name == "Library":
            parts.append(f"    public sealed partial class Library\n    {{\n{body}    }}\n")
            continue
        handle = next(each for each in api["handles"] if each["class"] == name)
        parts.append(f"    public sealed partial class {name} : Handle\n    {{\n"
                     f"        internal {name}(ulong raw) : base(raw, Native.{handle['release']}) {{ }}\n\n"
                     f"{body}    }}\n")
    return "\n".join(parts) + "}\n"
