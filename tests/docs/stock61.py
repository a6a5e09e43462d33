#!/usr/bin/env python3
"""stock61.py SELQ6 BINARY CTEST WINE_RUN: builds and packs the other identity as the README tells, in the folder
BINARY; compares its DLL with that of the build SELQ6, runs the system, ABI and probe tests and those of the flat
interface with it, and asks both builds' doctor."""
import json
import os
import pathlib
import subprocess
import sys

from documents import all_blocks, root

selq6, binary, ctest, wine_run = map(pathlib.Path, sys.argv[1:])


def run(*command):
    print("$", *command, flush=True)
    if subprocess.run(command, cwd=root).returncode:
        sys.exit(f"failed: {' '.join(map(str, command))}")


def check_doctor(build, exit_code, expected):
    """What this build's doctor says of the identity that is registered."""
    home = "Z:" + str(binary / "scratch/doctor").replace("/", "\\")
    done = subprocess.run([wine_run, build / "bin/travikctl.exe", "--json", "doctor"], capture_output=True, text=True,
                          env=os.environ | {"VBOXSIM_HOME": home})
    found = {row["check"]: row["finding"] for row in json.loads(done.stdout)["checks"]}
    if (done.returncode, found["identity"]) != (exit_code, expected):
        sys.exit(f"doctor of {build} ends with {done.returncode} and says: {found}")


(block,) = [block for block in all_blocks("sh") if "stock61" in block.text]
for line in block.text.splitlines():
    run("nice", *line.replace("build/stock61", str(binary)).split())
(package,) = (binary / "package").glob("TravikSDK-*-stock61-mingw64.zip")

run("cmake", "-DTRAVIK_BUILD_TESTS=ON", binary)
run("nice", "cmake", "--build", binary, "--target", "abi_tests", "system_tests", "probe_tests", "c_system")
run(sys.executable, pathlib.Path(__file__).with_name("same_but_identity.py"),
    *(folder / "bin/TravikSDK-selq6.dll" for folder in (selq6, binary)))
# The longest entries show nothing that depends on identifiers.
run(ctest, "--test-dir", binary, "--output-on-failure", "--no-tests=error", "--parallel", str(2 * os.cpu_count()),
    "--resource-spec-file", binary / "wine_prefixes.json", "-R",
    "^(system_|abi_|probe_|c_system$|c_dll$)", "-E", "_long$|_fault_matrix$")

stock = "stock61, the VirtualBox 6.1 that anyone can download"
run(wine_run, binary / "bin/vboxsim.exe", "register")
check_doctor(binary, 0, f"this build drives {stock}")
own = "selq6, the VirtualBox that comes with the emulator"
check_doctor(selq6, 7, f"this build drives {own}; but {stock}, is registered")
run(wine_run, binary / "bin/vboxsim.exe", "unregister")
