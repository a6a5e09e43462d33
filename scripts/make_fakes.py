#!/usr/bin/env python3
"""Makes the recording fakes of the component tests from a MIDL or widl header.

For each interface a class whose every slot above IUnknown and IDispatch reports the call, with its name and arguments,
to the fake world of the tests, and the factory newFake<Interface>. Usage:
make_fakes.py virtualbox.h fakes.cpp INTERFACE...
"""
import sys

from make_defaults import ERROR_INFO, interfaces


def main():
    source, target, *wanted = sys.argv[1:]
    with open(source, encoding="utf-8") as file:
        found = {name: (base, slots) for name, base, slots in interfaces(file.read())}
    unknown = [name for name in wanted if name not in found]
    if unknown:
        sys.exit(f"make_fakes.py: not in {source}: {', '.join(unknown)}")
    known = {"IUnknown": [], "IDispatch": [], "IErrorInfo": ERROR_INFO}

    def all_slots(name):
        if name in known:
            return known[name]
        base, slots = found[name]
        return all_slots(base) + slots

    lines = ["// Made from the interface descriptions; see scripts/make_fakes.py.", '#include "fake_object.h"', "",
             "namespace TravikTest {", "namespace {", ""]
    for name in wanted:
        lines += [f"struct Fake{name} final : FakeObject<{name}> {{",
                  f"    explicit Fake{name}(std::wstring label) : FakeObject(std::move(label)) {{}}"]
        for method, types in all_slots(name):
            types = [part.strip() for part in types.split(",") if part.strip()]
            parameters = ", ".join(f"{type} a{i}" for i, type in enumerate(types))
            arguments = "".join(f", a{i}" for i in range(len(types)))
            lines += [f"    HRESULT STDMETHODCALLTYPE {method}({parameters}) override",
                      f'    {{ return called(L"{name}::{method}"{arguments}); }}']
        lines += ["};", ""]
    lines += ["} // namespace", ""]
    for name in wanted:
        lines += [f"template <> {name}* newFake<{name}>(std::wstring label)",
                  f"{{ return new Fake{name}(std::move(label)); }}", ""]
    lines += ["} // namespace TravikTest"]
    with open(target, "w", encoding="utf-8", newline="\n") as file:
        file.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
