"""The made files of the Rust binding: travik-sys/src/lib.rs, and travik/src/made.rs with a type for each class."""
import re
import textwrap

from flat_model import class_of, classes, names_of_objects, snake, structs

NUMBERS = {"u32": "u32", "i32": "i32", "i64": "i64"}
KEYWORDS = {"type"}
C_TYPES = {"uint32_t": "u32", "int32_t": "i32", "uint64_t": "u64", "char": "c_char", "void": "c_void"}
HEAD = """\
//! The functions of travik.h as they are; see the crate `travik` for more comfort.
// Made by scripts/make_flat_bindings.py.
#![allow(non_camel_case_types, non_snake_case, non_upper_case_globals)]

use std::os::raw::{c_char, c_void};

macro_rules! handle {
    ($name:ident) => {
        #[repr(C)]
        #[derive(Clone, Copy, Debug, Default, PartialEq, Eq)]
        pub struct $name {
            pub value: u64,
        }
    };
}

pub type travik_callback = Option<unsafe extern "C" fn(context: *mut c_void, notice: *const travik_notice)>;
"""


def name_of(each):
    name = snake(each["name"])
    return f"{name}_" if name in KEYWORDS else name


def constant(name):
    return re.sub(r"(?<=[a-z0-9])(?=[A-Z])", "_", name).upper()


def raw_parameters(function):
    made = []
    for each in function["parameters"]:
        name, base, out = name_of(each), each["type"], each["direction"] == "out"
        star = "*mut " if out else ""
        if base == "text":
            made.append(f"{name}: {star}*{'mut' if out else 'const'} c_char")
        elif base == "texts":
            made += [f"{name}: *mut travik_texts"] if out else [f"{name}: *const *const c_char", f"{name}_count: u32"]
        elif base == "numbers":
            made += [f"{name}: *const u32", f"{name}_count: u32"]
        elif base == "handles":
            made.append(f"{name}: *mut travik_{each['handle']}s")
        else:
            made.append(f"{name}: {star}{'travik_' + each['handle'] if base == 'handle' else NUMBERS[base]}")
    return ", ".join(made + ["deadline_ms: u32", "error: *mut *mut travik_error"])


def rust_type(kind):
    """Of a type in C."""
    base = kind.removeprefix("const ").rstrip("*")
    made = C_TYPES.get(base, base)
    for star in range(kind.count("*")):
        made = ("*const " if kind.startswith("const ") and star == 0 else "*mut ") + made
    return made


def frame_function(each):
    parameters = ", ".join(f"{snake(one['name'])}: {rust_type(one['type'])}" for one in each["parameters"])
    result = "" if each["result"] == "void" else f" -> {rust_type(each['result'])}"
    return f"    pub fn {each['name']}({parameters}){result};"


def function(types, each):
    if each["kind"] == "converter":
        parameters = "value: u32"
    elif each["kind"] == "release":
        parameters = f"handle: {types[each['handle']]}"
    else:
        parameters = raw_parameters(each)
    return f"    pub fn {each['name']}({parameters}) -> u32;"


def sys(api):
    types = {each["name"]: each["type"] for each in api["handles"]}
    numbers = api["constants"] | {f"TRAVIK_{name}": code for name, code in (api["codes"] | api["ownCodes"]).items()}
    lines = [HEAD] + [f"handle!({name});" for name in sorted(names_of_objects(api))]
    for each in structs(api):
        fields = "\n".join(f"    pub {snake(field['name'])}: {rust_type(field['type'])}," for field in each["fields"])
        lines.append(f"\n#[repr(C)]\npub struct {each['name']} {{\n{fields}\n}}")
    lines += [""] + [f"pub const {name}: u32 = {number};" for name, number in numbers.items()]
    lines.append('\n#[link(name = "TravikSDK-c")]\nextern "C" {')
    lines += [frame_function(each) for each in api["frame"]] + [function(types, each) for each in api["functions"]]
    return "\n".join(lines) + "\n}\n"


def note(text, indent):
    return "".join(f"{indent}/// {line}\n" for line in textwrap.wrap(text, 110, break_on_hyphens=False))


def input_type(api, each):
    base = each["type"]
    if base == "handle":
        return "&" + class_of(api, each["handle"])
    return each.get("meaning") or {"text": "&str", "texts": "&[&str]"}.get(base, NUMBERS.get(base))


def result_type(api, each):
    base = each["type"]
    if base == "handle":
        return class_of(api, each["handle"])
    if base == "handles":
        return f"Vec<{class_of(api, each['handle'])}>"
    return each.get("meaning") or {"text": "String", "texts": "Vec<String>"}.get(base, NUMBERS.get(base))


def method(api, each):
    outputs = [result_type(api, out) for out in each.outputs]
    result = outputs[0] if len(outputs) == 1 else f"({', '.join(outputs)})"
    parameters = "".join(f", {name_of(one)}: {input_type(api, one)}" for one in each.inputs)
    text = note(each.comment, "    ") + f"    pub fn {snake(each.name)}(&self{parameters}) -> Result<{result}> {{\n"
    arguments = ["self.raw"] if each.receiver else []
    after = []
    for one in each.function["parameters"]:
        name, base = name_of(one), one["type"]
        if one is each.receiver:
            continue
        if one["direction"] == "out":
            made = {"text": "Text", "texts": "Texts", "handles": "Machines"}.get(base)
            kind = made or (f"sys::travik_{one['handle']}" if base == "handle" else NUMBERS[base])
            text += f"        let mut {name} = {kind}::default();\n"
            arguments.append(f"&mut {name}.0" if made else f"&mut {name}")
            if made:
                after.append(f"{name}.take()")
            elif base == "handle":
                after.append(f"{class_of(api, one['handle'])} {{ raw: {name} }}")
            elif one.get("meaning") == "bool":
                after.append(f"{name} != 0")
            else:
                after.append(f"{one['meaning']}({name})" if one.get("meaning") else name)
        elif base == "text":
            text += f"        let {name} = text({name})?;\n"
            arguments.append(f"{name}.as_ptr()")
        elif base == "texts":
            text += f"        let {name} = texts({name})?;\n"
            text += f"        let {name}: Vec<_> = {name}.iter().map(|t| t.as_ptr()).collect();\n"
            arguments += [f"{name}.as_ptr()", f"{name}.len() as u32"]
        elif base == "handle":
            arguments.append(f"{name}.raw")
        elif one.get("meaning") == "bool":
            arguments.append(f"{name} as u32")
        else:
            arguments.append(f"{name}.0" if one.get("meaning") else name)
    call = ", ".join(arguments + ["limit", "error"])
    text += f"        check(|limit, error| unsafe {{ sys::{each.function['name']}({call}) }})?;\n"
    value = after[0] if len(after) == 1 else f"({', '.join(after)})"
    return text + f"        Ok({value})\n    }}\n"


def made(api):
    parts = ["// Made by scripts/make_flat_bindings.py.\n\nuse crate::{check, handle, sys, text, texts, Machines, "
             "Result, Text, Texts};\n"]
    for name, values in api["enumerations"].items():
        if name in ("Result", "VBoxResultCode"):
            continue
        rows = "\n".join(f"    pub const {constant(value)}: {name} = {name}({number});" for value, number in
                         values.items())
        parts.append(f"#[derive(Clone, Copy, Debug, PartialEq, Eq, Hash)]\npub struct {name}(pub u32);\n\n"
                     f"impl {name} {{\n{rows}\n}}\n")
    results = "\n".join(f"    pub const {constant(name)}: u32 = 0x{value:08X};" for name, value in
                        api["enumerations"]["Result"].items())
    parts.append(f"/// HRESULTs, as an error's result tells them.\npub mod results {{\n{results}\n}}\n")
    for name, methods in classes(api).items():
        if name == "Library":
            body = "impl crate::Library {\n"
        else:
            handle = next(each for each in api["handles"] if each["class"] == name)
            body = f"handle!({name}, sys::{handle['type']}, sys::{handle['release']});\n\nimpl {name} {{\n"
        parts.append(body + "\n".join(method(api, each) for each in methods) + "}\n")
    return "\n".join(parts)
