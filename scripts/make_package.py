#!/usr/bin/env python3
"""make_package.py REPOSITORY BUILD OUTPUT POCO-NOTICES: the zip of what was built; see scripts/package."""
import hashlib
import os
import pathlib
import re
import shutil
import subprocess
import sys
import time
import zipfile

# What stands inside the programs: name, SPDX identifier, the programs, and the package whose licence it is (POCO's and
# its parts' come from POCO's sources).
EVERY = "all"
NOTICES = [
    ("POCO (Foundation, XML)", "BSL-1.0", "TravikSDK-selq6, vboxsim, vboxsim-svc", None),
    ("double-conversion, in POCO", "BSD-3-Clause", "vboxsim, vboxsim-svc", None),
    ("expat, in POCO", "MIT", "vboxsim-svc", None),
    ("zlib", "Zlib", "vboxsim-svc", "libz-mingw-w64-dev"),
    ("CLI11", "BSD-3-Clause", "travikctl, vboxprobe, vboxsim", "libcli11-dev"),
    ("JSON for Modern C++", "MIT", "travikctl, vboxprobe, vboxsim-svc", "nlohmann-json3-dev"),
    ("MinGW-w64 runtime", "ZPL-2.1 AND LicenseRef-public-domain", EVERY, "mingw-w64-x86-64-dev"),
    ("winpthreads", "MIT AND BSD-3-Clause", EVERY, "mingw-w64-x86-64-dev"),
    ("GCC runtime (libgcc, libstdc++)", "GPL-3.0-or-later WITH GCC-exception-3.1", EVERY, "gcc-mingw-w64-base"),
]


def fail(text):
    sys.exit(f"package: {text}")


def cached(build, *names):
    """Values of CMakeCache.txt."""
    text = (build / "CMakeCache.txt").read_text(encoding="utf-8")
    found = dict(re.findall(r"^(\w+):\w+=(.*)$", text, re.M))
    return [found[name] for name in names]


def git(repository, *arguments):
    command = ["git", "-C", repository, *arguments]
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout.strip()


def origin(repository):
    """(what the package is made of, its time); the time of all files inside."""
    if "SOURCE_DATE_EPOCH" in os.environ:
        return "sources without history", int(os.environ["SOURCE_DATE_EPOCH"])
    try:
        commit, when = git(repository, "log", "-1", "--format=%H %ct").split()
        changed = git(repository, "status", "--porcelain")
    except (OSError, subprocess.CalledProcessError, ValueError):
        fail("no commit here to take the time from: set SOURCE_DATE_EPOCH")
    return f"commit {commit}" + (", with changes that are not committed" if changed else ""), int(when)


def third_party(poco):
    widths = [max(len(row[column]) for row in NOTICES) for column in range(3)]
    table = "".join("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip() + "\n" for row in NOTICES)
    parts = ["The programs of this package contain the following, under these terms; the texts come after the "
             f"table.\n\n{table}"]
    groups = {}
    for title, _, _, package in NOTICES:
        groups.setdefault(package, []).append(title)
    for package, titles in groups.items():
        source = pathlib.Path("/usr/share/doc", package, "copyright") if package else poco
        if not source.is_file():
            fail(f"{source} is missing: install {package}")
        rule = "=" * 100
        text = source.read_text(encoding="utf-8", errors="replace")
        parts.append(f"{rule}\n{'; '.join(titles)}\n{rule}\n\n{text}")
    return "\n".join(parts)


STILL = os.environ | {"SOURCE_DATE_EPOCH": "0"}  # or objcopy and strip would put the time into the program


def copy_symbols(programs, symbols, objcopy):
    """The debug symbols, in files of their own."""
    symbols.mkdir(parents=True)
    for program in files(programs):
        target = symbols / f"{program.name}.debug"
        subprocess.run([objcopy, "--only-keep-debug", program, target], check=True, env=STILL)


def strip_all(programs, strip):
    """Also programs without symbols: strip rounds up the size of large resources, which the linker does not."""
    for program in files(programs):
        subprocess.run([strip, program], check=True, env=STILL)


def check_paths(stage, paths):
    """No file may tell where it was built."""
    forms = paths | {path.replace("/", "\\") for path in paths}
    needles = [form.encode(code) for form in forms for code in ("utf-8", "utf-16-le")]
    for file in files(stage):
        content = file.read_bytes()
        for needle in needles:
            if needle in content:
                fail(f"{file.relative_to(stage)} holds the path {needle.decode(errors='replace')}")


def files(folder):
    """All files of a folder, in the order of their names inside it."""
    found = (file for file in folder.rglob("*") if file.is_file())
    return sorted(found, key=lambda file: file.relative_to(folder).as_posix())


def digest(file):
    return hashlib.sha256(file.read_bytes()).hexdigest()


def write_zip(stage, target, when):
    moment = time.gmtime(max(when, 315532800))[:6]  # a zip knows no time before 1980
    part = target.with_suffix(".part")
    with zipfile.ZipFile(part, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as archive:
        for file in files(stage):
            entry = zipfile.ZipInfo(file.relative_to(stage).as_posix(), moment)
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.create_system = 3
            mode = 0o755 if file.suffix in (".exe", ".dll") else 0o644
            entry.external_attr = (0o100000 | mode) << 16
            archive.writestr(entry, file.read_bytes())
    part.replace(target)


def pack(root, told, paths, when):
    """Makes the zip of a folder, beside the folder of the stage."""
    (root / "PACKAGE.txt").write_text(told, encoding="utf-8", newline="\n")
    check_paths(root, paths)
    sums = "".join(f"{digest(file)}  {file.relative_to(root).as_posix()}\n" for file in files(root))
    (root / "SHA256SUMS").write_text(sums, encoding="utf-8", newline="\n")
    target = root.parents[1] / f"{root.name}.zip"
    write_zip(root.parent, target, when)
    target.with_suffix(".zip.sha256").write_text(f"{digest(target)}  {target.name}\n", encoding="utf-8", newline="\n")
    print(f"{target}\nSHA-256 {digest(target)}")


def main():
    repository, build, output, poco = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
    version, identity, kind, symbols, objcopy, strip = cached(
        build, "CMAKE_PROJECT_VERSION", "TRAVIK_VBOX_IDENTITY", "CMAKE_BUILD_TYPE", "TRAVIK_SYMBOLS", "CMAKE_OBJCOPY",
        "CMAKE_STRIP")
    if kind != "Release":
        fail(f"{build} is a {kind} build")
    name = f"TravikSDK-{version}-{identity}-mingw64"
    made_of, when = origin(repository)

    output.mkdir(parents=True, exist_ok=True)
    stage = output / f"stage-{identity}"
    shutil.rmtree(stage, ignore_errors=True)
    subprocess.run(["cmake", "--install", build, "--prefix", stage / name], check=True, stdout=subprocess.DEVNULL)
    root = stage / name
    (root / "THIRD-PARTY.txt").write_text(third_party(poco), encoding="utf-8", newline="\n")
    told = f"TravikSDK {version}, identity {identity}, MinGW-w64 GCC, x86-64\n{made_of}\n"
    paths = {str(repository), str(build), f"{pathlib.Path.home()}/", str(poco.parent.parent)}
    if symbols == "ON":
        beside = stage.with_name(f"{stage.name}-symbols") / f"{name}-symbols"
        shutil.rmtree(beside.parent, ignore_errors=True)
        copy_symbols(root / "bin", beside, objcopy)
        pack(beside, told + "Debug symbols of its programs: see docs/troubleshooting.md of the package.\n", paths, when)
        shutil.rmtree(beside.parent)
    strip_all(root / "bin", strip)
    pack(root, told, paths, when)
    shutil.rmtree(stage)


if __name__ == "__main__":
    main()
