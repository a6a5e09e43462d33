#!/usr/bin/env python3
"""Makes overrides of every operation that go through the flat interface: make_through_c.py OUTPUT

For a class with error(), which takes the failure of the call; see through_c.h for the rest.
"""
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))
from flat_description import describe, operations  # noqa: E402


def passed(each):
    """(what is passed, what stands before the call, what follows a success)"""
    name, base, out = each["name"], each["type"], each["direction"] == "out"
    if not out:
        return {"text": f"utf8({name}).c_str()", "texts": f"Texts({name}).data(), Texts({name}).size()",
                "numbers": f"{name}.data(), static_cast<std::uint32_t>({name}.size())",
                "handle": f"tagged<Kind::{each.get('handle')}>({name})"}.get(base, name), "", ""
    kinds = {"text": "OwnedText", "texts": "OwnedTexts", "handles": "OwnedHandles",
             "handle": f"OwnedHandle<travik_{each.get('handle')}>", "u32": "OwnedNumber<std::uint32_t>",
             "i32": "OwnedNumber<std::int32_t>", "i64": "OwnedNumber<std::int64_t>"}
    return f"{name}Out.put()", f"{kinds[base]} {name}Out({name}); ", f"{name}Out.take(); "


def body(function, parameters):
    if function["kind"] == "converter":
        return f"return {function['name']}(value);"
    if function["kind"] == "release":
        return f"return SdkErrorCode({function['name']}(tagged<Kind::{function['handle']}>({parameters[0][1]})));"
    pieces = [passed(each) for each in function["parameters"]]
    if function["operation"] in ("getVBoxError", "getVBoxErrorMessage"):
        return f"return TestBox::{function['operation']}();"
    arguments = ", ".join([piece[0] for piece in pieces] + ["deadlineMs", "error()"])
    before, after = ("".join(piece[n] for piece in pieces) for n in (1, 2))
    return (f"{before}const std::uint32_t code = {function['name']}({arguments}); "
            f"if (code == 0) {{ {after}}} return SdkErrorCode(code);")


def main():
    functions = {each["operation"]: each for each in describe()["functions"]}
    with open(sys.argv[1], "w", encoding="utf-8", newline="\n") as out:
        for slot, name, parameters, _ in operations.declarations():
            result = ("std::uint32_t" if 83 <= slot <= 104 or name == "getVBoxError" else
                      "std::wstring" if name == "getVBoxErrorMessage" else "SdkErrorCode")
            declared = ", ".join(f"{kind} {label}" for kind, label in parameters)
            out.write(f"{result} {name}({declared}) override {{ {body(functions[name], parameters)} }}\n")


if __name__ == "__main__":
    main()
