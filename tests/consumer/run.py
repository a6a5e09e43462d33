#!/usr/bin/env python3
"""run.py BUILD SCRATCH COMPILER WINE_RUN: packs the build, and another one of the same sources, which must give the
same package; unpacks it, builds front ends with nothing but it (project/ and the samples) and runs them against the
packed stand-in; then follows the README word by word."""
import hashlib
import pathlib
import re
import shutil
import struct
import subprocess
import sys
import zipfile

here = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(here.parent / "docs"))
from documents import all_blocks, first_block, is_of_package, prose, root  # noqa: E402
from stand_in import MACHINES, StandIn  # noqa: E402

build, scratch, compiler, wine_run = map(pathlib.Path, sys.argv[1:])


def fail(text):
    sys.exit(f"consumer: {text}")


def run(*command, **options):
    done = subprocess.run(command, capture_output=True, text=True, **options)
    if done.returncode:
        fail(f"{' '.join(map(str, command))}: {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


def build_again():
    """As ./dev package builds: with debug symbols, which go into a zip of their own."""
    again = scratch / "again"
    run("cmake", "--preset", "mingw-release", "-S", root, "-B", again, "-DTRAVIK_SYMBOLS=ON",
        "-DTRAVIK_BUILD_TESTS=OFF", "-DTRAVIK_BUILD_SAMPLES=OFF")
    run("nice", "cmake", "--build", again)
    return again


def pack(binary, name, count):
    """The zips, the package itself first."""
    output = scratch / name
    run(root / "scripts/package", binary, output)
    found = sorted(output.glob("*.zip"), key=lambda file: len(file.name))
    if len(found) != count:
        fail(f"{output} holds {found}")
    return found


def check_equal(first, second):
    if first.read_bytes() == second.read_bytes():
        return
    with zipfile.ZipFile(first) as one, zipfile.ZipFile(second) as other:
        names = set(one.namelist()) | set(other.namelist())
        fail("two builds of the same sources differ in " + ", ".join(
            name for name in sorted(names) if name not in one.namelist() or name not in other.namelist()
            or one.read(name) != other.read(name)))


def unpack(package):
    target = scratch / "unpacked"
    with zipfile.ZipFile(package) as archive:
        names = archive.namelist()
        if names != sorted(names):
            fail("the entries are not sorted")
        archive.extractall(target)
    (folder,) = target.iterdir()
    return folder


def check_sums(folder):
    """Every file is listed, with its digest."""
    lines = (folder / "SHA256SUMS").read_text(encoding="utf-8").splitlines()
    listed = {name: digest for digest, name in (line.split("  ", 1) for line in lines)}
    found = {file.relative_to(folder).as_posix(): hashlib.sha256(file.read_bytes()).hexdigest()
             for file in folder.rglob("*") if file.is_file() and file.name != "SHA256SUMS"}
    if listed != found:
        fail(f"SHA256SUMS is wrong about {sorted(set(listed.items()) ^ set(found.items()))}")


def check_contents(folder):
    wanted = ["README.md", "CHANGELOG.md", "LICENSE.txt", "THIRD-PARTY.txt", "PACKAGE.txt", "docs/operations.md",
              "bin/TravikSDK-selq6.dll", "bin/travikctl.exe", "bin/vboxprobe.exe", "bin/vboxsim.exe",
              "bin/vboxsim-svc.exe", "bin/vboxsim-session.dll", "bin/vboxsim-ps.dll", "lib/TravikSDK-selq6.dll.a",
              "include/travik/vbox_instance.h", "include/travik/scoped_handle.h", "include/travik/version.h",
              "bin/TravikSDK-c.dll", "lib/TravikSDK-c.dll.a", "lib/TravikSDK-c.lib", "include/travik/travik.h",
              "include/travik/travik.hpp", "bindings/travik_api.json", "bindings/cpp/examples/tour.cpp",
              "bindings/node/raw.js", "bindings/python/travik/_raw.py", "bindings/rust/travik-sys/src/lib.rs",
              "bindings/csharp/Made.cs",
              "share/travikctl/travikctl.schema.json"]
    unwanted = ["CONTRIBUTING.md", "docs/architecture.md"]
    missing = [name for name in wanted if not (folder / name).is_file()]
    if not list((folder / "samples").glob("**/*.cpp")):
        missing.append("samples")
    missing += [f"no {name}, which is for contributors" for name in unwanted if (folder / name).exists()]
    missing += [f"no {name.relative_to(folder)}, which Python left there" for name in folder.rglob("__pycache__")]
    if "./dev" in (folder / "README.md").read_text(encoding="utf-8"):
        missing.append("a README of its own")
    if missing:
        fail(f"the package lacks {', '.join(missing)}")
    notices = (folder / "THIRD-PARTY.txt").read_text(encoding="utf-8")
    for text in ("Boost Software License", "Thai Open Source Software Center", "Jean-loup Gailly", "Henry Schreiner",
                 "Niels Lohmann", "mingw-w64", "GCC Runtime Library Exception"):
        if text.lower() not in notices.lower():
            fail(f"THIRD-PARTY.txt does not name {text}")


def check_third_parties(folder, symbols):
    """The table names each program that has something of a party in it, and no other."""
    marks = {"POCO": "N4Poco", "double-conversion": "double_conversion", "expat": " XML_ParserCreate",
             "zlib": " inflate", "CLI11": "N3CLI", "JSON for Modern C++": "nlohmann"}
    names = {file.name.split(".")[0]: run("x86_64-w64-mingw32-nm", file) for file in symbols.glob("*.debug")}
    rows = (folder / "THIRD-PARTY.txt").read_text(encoding="utf-8").split("=" * 20)[0].splitlines()
    for party, mark in marks.items():
        found = {program for program, listing in names.items() if mark in listing}
        (row,) = [row for row in rows if row.startswith(party)]
        told = set(row.split("  ")[-1].strip().split(", "))
        if told != found:
            fail(f"THIRD-PARTY.txt says that {party} is in {sorted(told)}, but it is in {sorted(found)}")


def check_symbols(package, programs):
    """The second zip tells the source of each address, and holds nothing else."""
    folder = scratch / "symbols"
    with zipfile.ZipFile(package) as archive:
        archive.extractall(folder)
    (folder,) = folder.iterdir()
    wanted = {f"{file.name}.debug" for file in (programs / "bin").iterdir()} | {"PACKAGE.txt", "SHA256SUMS"}
    if {file.name for file in folder.iterdir()} != wanted:
        fail(f"{package.name} holds {sorted(file.name for file in folder.iterdir())}")
    for file, name, source in (("TravikSDK-selq6.dll", "GetVBoxInstance", "src/sdk/selq6/exports.cpp"),
                               ("TravikSDK-c.dll", "travik_version", "src/c/connection.cpp")):
        symbols = folder / f"{file}.debug"
        (address,) = [line.split()[0] for line in run("x86_64-w64-mingw32-nm", symbols).splitlines()
                      if line.endswith(f" T {name}")]
        told = run("x86_64-w64-mingw32-addr2line", "-e", symbols, f"0x{address}")
        if source not in told:
            fail(f"the symbols of {file} have {name} at {told}")
    return folder


def check_links(folder):
    """No document leads out of the package."""
    for file in folder.rglob("*.md"):
        for target in re.findall(r"\]\(([^)\s#]+)", prose(file)):
            if not target.startswith("https:") and not (file.parent / target).exists():
                fail(f"{file.relative_to(folder)}: {target} is not in the package")


def check_version(folder, told):
    """The resources of every program and DLL and the CMake package carry the version of the project; the programs know
    long paths and UTF-8."""
    version = re.search(r"^project\(TravikSDK VERSION (\S+)", (root / "CMakeLists.txt").read_text(), re.M)[1]
    if told != version:
        fail(f"version: project {version}, CMake package {told}")
    for file in sorted((folder / "bin").iterdir()):
        image = file.read_bytes()
        at = image.find(struct.pack("<I", 0xFEEF04BD))  # VS_FIXEDFILEINFO
        if at < 0:
            fail(f"{file.name} has no version resource")
        high, low = struct.unpack_from("<II", image, at + 8)
        if f"{high >> 16}.{high & 0xFFFF}.{low >> 16}" != version:
            fail(f"{file.name} is not of version {version}")
        if file.name.encode("utf-16-le") not in image:
            fail(f"{file.name} does not know its own name")
        for wish in (b"longPathAware", b"activeCodePage") if file.suffix == ".exe" else ():
            if wish not in image:
                fail(f"the manifest of {file.name} has no {wish.decode()}")


def make(source, name, prefix):
    """Builds a project with the options that the README names, and tells what its configuration said."""
    told = run("cmake", "-S", source, "-B", scratch / name, "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={prefix}",
               "-DCMAKE_SYSTEM_NAME=Windows", f"-DCMAKE_CXX_COMPILER={compiler}", "-DCMAKE_BUILD_TYPE=Release")
    run("cmake", "--build", scratch / name)
    return told


def follow_readme(prefix):
    """Does what the README tells who has unpacked the package, in its words."""
    project = prefix / "lister"
    project.mkdir()
    (project / "CMakeLists.txt").write_text(first_block("package/README.md", "cmake").text, encoding="utf-8")
    (project / "main.cpp").write_text(first_block("package/README.md", "cpp").text, encoding="utf-8")
    scripts = {language: "".join(block.text for block in all_blocks(language) if is_of_package(block))
               for language in ("sh", "bat")}
    with StandIn(scratch, prefix / "bin", wine_run, prefix / "share/vboxsim/fixtures") as stand_in:
        stand_in.environment["WINEPREFIX"] = stand_in.environment["TRAVIK_WINEPREFIX"]
        printed = stand_in.execute(["bash", "-ec", scripts["sh"]], prefix).stdout.splitlines()
        if not {"Player", *MACHINES} <= set(printed):
            fail(f"the README's front end does not print all machines: {printed}")
    with StandIn(scratch, prefix / "bin", wine_run, prefix / "share/vboxsim/fixtures") as stand_in:
        for line in scripts["bat"].splitlines():
            stand_in.execute([wine_run, "cmd", "/c", line], prefix)


def check_wrong_consumer(prefix):
    """A compiler that the package does not serve is told so while configuring."""
    command = ["cmake", "-S", here / "project", "-B", scratch / "native", "-G", "Ninja",
               f"-DCMAKE_PREFIX_PATH={prefix}"]
    done = subprocess.run(command, capture_output=True, text=True)
    if done.returncode == 0 or "it serves 64-bit Windows programs built by GNU" not in " ".join(done.stderr.split()):
        fail(f"a native build is not refused with the reason:\n{done.stdout}{done.stderr}")


def check_components(prefix):
    """What find_package answers to components, for the compiler of the package and for clang."""
    project = scratch / "components"
    project.mkdir()
    (project / "CMakeLists.txt").write_text("""cmake_minimum_required(VERSION 3.21)
project(components LANGUAGES CXX)
find_package(TravikSDK 1.0 REQUIRED COMPONENTS ${wanted})
""", encoding="utf-8")
    clang = ["-DCMAKE_CXX_COMPILER=clang++-14", "-DCMAKE_CXX_COMPILER_TARGET=x86_64-w64-windows-gnu"]
    for wanted, options, reason in (
            ("c;cpp;vboxsim", clang, None), ("helper", clang, "take travik.hpp or travik.h"),
            ("sdk;c", [f"-DCMAKE_CXX_COMPILER={compiler}"], None),
            ("qt", [f"-DCMAKE_CXX_COMPILER={compiler}"], "it has no component qt")):
        shutil.rmtree(project / "build", ignore_errors=True)
        command = ["cmake", "-S", project, "-B", project / "build", "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={prefix}",
                   "-DCMAKE_SYSTEM_NAME=Windows", "-DCMAKE_TRY_COMPILE_TARGET_TYPE=STATIC_LIBRARY",
                   f"-Dwanted={wanted}", *options]
        done = subprocess.run(command, capture_output=True, text=True)
        told = " ".join(done.stderr.split())
        if (done.returncode == 0) != (reason is None) or (reason or "") not in told:
            fail(f"components {wanted}: {done.returncode}, {done.stdout}{done.stderr}")


def expect_lines(stand_in, program, wanted):
    found = sorted(filter(None, stand_in.call(program, check=True).stdout.splitlines()))
    if found != sorted(wanted):
        fail(f"{program.name} printed {found}, not {sorted(wanted)}")


def main():
    shutil.rmtree(scratch, ignore_errors=True)
    scratch.mkdir(parents=True)
    again = build_again()
    # In one go: documents may be at work meanwhile.
    (first,), (second, symbols) = pack(build, "first", 1), pack(again, "second", 2)
    check_equal(first, second)

    prefix = unpack(first)
    check_sums(prefix)
    check_contents(prefix)
    check_links(prefix)
    check_third_parties(prefix, check_symbols(symbols, prefix))
    told = make(here / "project", "build", prefix)
    check_version(prefix, re.search(r"-- TravikSDK (\S+) selq6$", told, re.M)[1])
    make(prefix / "samples", "samples-build", prefix)
    check_wrong_consumer(prefix)
    check_components(prefix)

    binaries = prefix / "bin"
    for program in ("travikctl", "vboxsim"):
        if f"-- TravikSDK::{program} is {binaries / program}.exe" not in told:
            fail(f"the CMake package does not know {program}")
    with StandIn(scratch, binaries, wine_run, prefix / "share/vboxsim/fixtures") as stand_in:
        expect_lines(stand_in, scratch / "build/consumer_sdk.exe", MACHINES)
        expect_lines(stand_in, scratch / "build/consumer_helper.exe",
                     ["saved", "FindMachineFail (107), VBOX_E_OBJECT_NOT_FOUND (0x80bb0001)"])
        settings = stand_in.home / "machines/Plain/Plain.vbox"
        if 'RAMSize="1536"' not in settings.read_text(encoding="utf-8"):
            fail("the front end's change is not in the settings file")
        stand_in.call(scratch / "samples-build/list_machines.exe", check=True)
        stand_in.wait_until_left()
    follow_readme(prefix)
    print(f"{first.name}: reproducible; front ends build and run from it")


main()
