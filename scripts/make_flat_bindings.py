#!/usr/bin/env python3
"""Makes what the bindings need of travik_api.json: make_flat_bindings.py travik_api.json BINDINGS OUTPUT

OUTPUT becomes a copy of the folder BINDINGS together with the made files, ready for use and for the package.
"""
import json
import pathlib
import shutil
import sys

import flat_csharp
import flat_node
import flat_python
import flat_rust


def main():
    api = json.loads(pathlib.Path(sys.argv[1]).read_text(encoding="utf-8"))
    source, output = map(pathlib.Path, sys.argv[2:4])
    shutil.copytree(source, output, dirs_exist_ok=True, ignore=shutil.ignore_patterns("__pycache__", "CMakeLists.txt"))
    made = {
        "travik_api.json": json.dumps(api, indent=1, ensure_ascii=False) + "\n",
        "rust/travik-sys/src/lib.rs": flat_rust.sys(api),
        "rust/travik/src/made.rs": flat_rust.made(api),
        "python/travik/_raw.py": flat_python.raw(api),
        "python/travik/_made.py": flat_python.made(api),
        "csharp/Made.cs": flat_csharp.made(api),
        "node/raw.js": flat_node.raw(api),
        "node/made.js": flat_node.script(api),
        "node/made.d.ts": flat_node.types(api),
    }
    for name in ("rust/travik/Cargo.toml", "rust/travik-sys/Cargo.toml", "python/pyproject.toml", "node/package.json",
                 "csharp/Travik.csproj"):
        made[name] = (output / name).read_text(encoding="utf-8").replace("@VERSION@", api["version"])
    for name, text in made.items():
        path = output / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8", newline="\n")


if __name__ == "__main__":
    main()
