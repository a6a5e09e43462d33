#!/usr/bin/env python3
"""Makes a fake of TravikSDK-c.dll in C, for the machine itself: make_fake_dll.py travik_api.json OUTPUT

It answers every call: a text by "operation.parameter", a list by two of them, a handle by its kind and 7, a number by
1; or it fails as fake_fail has arranged. fake_calls tells what was called, fake_live what was not given back.
"""
import json
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))
from make_flat import c_parameters, declaration  # noqa: E402

HEAD = (pathlib.Path(__file__).resolve().parent / "fake_frame.c").read_text(encoding="utf-8")


def body(api, function):
    operation = function["operation"]
    lines = [f'    uint32_t code = begin("{operation}", error);']
    for each in function["parameters"]:
        name, base, out = each["name"], each["type"], each["direction"] == "out"
        if not out:
            lines.append({"text": f"    noteText({name});", "handle": f"    noteNumber({name}.value);",
                          "texts": f"    for (uint32_t i = 0; i < {name}Count; ++i) noteText({name}[i]);",
                          "numbers": f"    for (uint32_t i = 0; i < {name}Count; ++i) noteNumber({name}[i]);"}.get(
                              base, f"    noteNumber((unsigned long long){name});"))
            continue
        text = f'"{operation}.{name} \\xE7\\xA3\\x81"'
        kind = next((handle["kind"] for handle in api["handles"] if handle["name"] == each.get("handle")), 0)
        lines.append("    if (code == 0) { " + {
            "text": f"*{name} = newText({text});",
            "texts": (f"{name}->items = calloc(2, sizeof(char*)); ++live; {name}->count = 2; "
                      f"{name}->items[0] = newText({text}); {name}->items[1] = newText(\"\");"),
            "handles": (f"{name}->items = calloc(2, 8); ++live; {name}->count = 2; live += 2; "
                        f"{name}->items[0].value = {name}->items[1].value = (1ull << 32) | 7;"),
            "handle": f"{name}->value = ({kind}ull << 32) | 7; ++live;"}.get(base, f"*{name} = 1;") + " }")
    return "\n".join(lines + ["    noteNumber(deadlineMs);", "    return code;"])


def main():
    api = json.loads(pathlib.Path(sys.argv[1]).read_text(encoding="utf-8"))
    parts = [HEAD]
    for each in api["functions"]:
        if each["kind"] == "converter":
            parts.append(f"uint32_t {each['name']}(uint32_t value) {{ return value; }}")
        elif each["kind"] == "release":
            parts.append(f"uint32_t {each['name']}(travik_{each['handle']} handle) {{ "
                         f"begin(\"{each['operation']}\", NULL); "
                         "noteNumber(handle.value); --live; return 0; }")
        else:
            parts.append(declaration(f"uint32_t {each['name']}", c_parameters(each), "") +
                         f"\n{{\n{body(api, each)}\n}}")
    pathlib.Path(sys.argv[2]).write_text("\n".join(parts) + "\n", encoding="utf-8")


if __name__ == "__main__":
    main()
