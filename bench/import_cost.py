#!/usr/bin/env python3
"""What importing an appliance costs, against qemu-img on the same disk.

import_cost.py FOLDER BIN [--runs N] [--data MEGABYTES] [--size MEGABYTES]

FOLDER takes the temporary files (a few gigabytes), which are removed; BIN is the folder of the built programs. One
disk, mostly empty, is made as a stream-optimised VMDK in an archive. Then in turns: 'travikctl import' of the archive
through the stand-in's server, and 'qemu-img convert' of the disk to VDI. Prints JSON: seconds of each run, their
medians and the ratio, and the server's peak memory. 'travikctl list' is measured too: what starting the front end
costs.
"""

import argparse
import io
import json
import os
import pathlib
import random
import shutil
import statistics
import subprocess
import sys
import tarfile
import time

MEGABYTE = 1 << 20
REPOSITORY = pathlib.Path(__file__).resolve().parent.parent
SERVER = "vboxsim-svc.exe"

DESCRIPTOR = """<?xml version="1.0" encoding="UTF-8"?>
<Envelope xmlns="http://schemas.dmtf.org/ovf/envelope/1" xmlns:ovf="http://schemas.dmtf.org/ovf/envelope/1"
    xmlns:rasd="http://schemas.dmtf.org/wbem/wscim/1/cim-schema/2/CIM_ResourceAllocationSettingData">
  <References><File ovf:id="f" ovf:href="disk.vmdk"/></References>
  <DiskSection><Info/><Disk ovf:diskId="d" ovf:fileRef="f" ovf:capacity="{size}"/></DiskSection>
  <VirtualSystem ovf:id="{name}"><Info/><VirtualHardwareSection><Info/>
    <Item><rasd:InstanceID>1</rasd:InstanceID>
      <rasd:ResourceSubType>AHCI</rasd:ResourceSubType><rasd:ResourceType>20</rasd:ResourceType></Item>
    <Item><rasd:AddressOnParent>0</rasd:AddressOnParent><rasd:HostResource>/disk/d</rasd:HostResource>
      <rasd:InstanceID>2</rasd:InstanceID><rasd:Parent>1</rasd:Parent><rasd:ResourceType>17</rasd:ResourceType></Item>
  </VirtualHardwareSection></VirtualSystem>
</Envelope>
"""


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


def make_content(path, size, data):
    """Half of the data does not compress, half of it does, as on a disk with a system on it."""
    source = random.Random(1)
    piece = 2 * MEGABYTE
    places = sorted(source.sample(range(size // piece), data // piece))
    words = [source.randbytes(8).hex().encode() for _ in range(4000)]
    with open(path, "wb") as file:
        file.truncate(size)
        for number, place in enumerate(places):
            file.seek(place * piece)
            if number % 2:
                file.write(source.randbytes(piece))
            else:
                file.write(b" ".join(source.choices(words, k=piece // 17))[:piece])


def make_archive(path, name, size, disk):
    descriptor = DESCRIPTOR.format(name=name, size=size).encode()
    with tarfile.open(path, "w", format=tarfile.USTAR_FORMAT) as archive:
        member = tarfile.TarInfo(name + ".ovf")
        member.size = len(descriptor)
        archive.addfile(member, io.BytesIO(descriptor))
        archive.add(disk, "disk.vmdk")


class StandIn:
    """The stand-in with a world in a folder of its own; its server runs until the end."""

    def __init__(self, programs, folder):
        self.programs = programs
        home = folder / "home"
        home.mkdir()
        self.machines = folder / "machines"
        self.machines.mkdir()
        (home / "VirtualBox.xml").write_text(
            '<?xml version="1.0"?>\n<VirtualBox xmlns="http://www.virtualbox.org/" version="1.12-windows"><Global>'
            '<ExtraData/><MachineRegistry/><SystemProperties defaultMachineFolder="'
            f'{windows_path(self.machines)}"/></Global></VirtualBox>\n')
        self.environment = dict(os.environ, VBOXSIM_HOME=windows_path(home))
        self.run("vboxsim.exe", "register")
        self.server = subprocess.Popen([REPOSITORY / "scripts/wine-run", programs / "vboxsim.exe", "serve"],
                                       env=self.environment, stdout=subprocess.PIPE, text=True)
        for line in self.server.stdout:
            if line.strip() == "ready":
                return
        sys.exit("the server does not start")

    def run(self, program, *arguments):
        command = [REPOSITORY / "scripts/wine-run", self.programs / program, *arguments]
        done = subprocess.run(command, env=self.environment, check=False, capture_output=True, timeout=600)
        if done.returncode != 0:
            sys.exit(f"{program} {' '.join(arguments)}: {done.returncode} {(done.stdout + done.stderr).decode()}")

    def processes(self):
        """The server's process, told from those of other worlds by its environment."""
        wanted = ("VBOXSIM_HOME=" + self.environment["VBOXSIM_HOME"]).encode()
        found = []
        for process in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                if (SERVER.encode() in (process / "cmdline").read_bytes()
                        and wanted in (process / "environ").read_bytes().split(b"\0")):
                    found.append(process)
            except OSError:
                pass  # it has ended meanwhile, or is somebody else's
        return found

    def peak_kilobytes(self):
        """The highest amount of memory since the server's start; nothing when it does not run."""
        peaks = []
        for process in self.processes():
            for line in (process / "status").read_text().splitlines():
                if line.startswith("VmHWM:"):
                    peaks.append(int(line.split()[1]))
        return max(peaks, default=None)

    def stop(self):
        self.run("vboxsim.exe", "stop")
        self.server.wait(timeout=30)


def timed(action):
    start = time.monotonic()
    action()
    return round(time.monotonic() - start, 3)


def measure(folder, programs, runs, size, data):
    content, disk, archive = folder / "content.img", folder / "disk.vmdk", folder / "disk.ova"
    make_content(content, size, data)
    subprocess.run(["qemu-img", "convert", "-f", "raw", "-O", "vmdk", "-o", "subformat=streamOptimized", content, disk],
                   check=True)
    make_archive(archive, "cost", size, disk)
    converted = folder / "converted.vdi"
    results = {"import": [], "qemu-img": [], "front end alone": []}
    same = True
    stand_in = StandIn(programs, folder)
    try:
        before = stand_in.peak_kilobytes()
        for _ in range(runs):
            results["import"].append(timed(lambda: stand_in.run("travikctl.exe", "import", windows_path(archive))))
            [imported] = stand_in.machines.glob("*/*.vdi")
            same = same and subprocess.run(["qemu-img", "compare", "-q", "-f", "raw", "-F", "vdi", content, imported],
                                           check=False).returncode == 0
            results["qemu-img"].append(timed(lambda: subprocess.run(
                ["qemu-img", "convert", "-f", "vmdk", "-O", "vdi", disk, converted], check=True)))
            converted.unlink()
            results["front end alone"].append(timed(lambda: stand_in.run("travikctl.exe", "list")))
            stand_in.run("travikctl.exe", "delete", "cost", "--yes")
        peak = stand_in.peak_kilobytes()
    finally:
        stand_in.stop()
    medians = {name: statistics.median(times) for name, times in results.items()}
    return {
        "benchmark": "import of a stream-optimised VMDK to VDI",
        "disk megabytes": size // MEGABYTE,
        "data megabytes": data // MEGABYTE,
        "archive megabytes": archive.stat().st_size // MEGABYTE,
        "seconds": results,
        "median seconds": medians,
        "import / qemu-img": round(medians["import"] / medians["qemu-img"], 2),
        "server peak kilobytes": {"before": before, "after": peak},
        "same content": same,
    }


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("bin", type=pathlib.Path)
    parser.add_argument("--runs", type=int, default=3)
    parser.add_argument("--size", type=int, default=2048)
    parser.add_argument("--data", type=int, default=300)
    arguments = parser.parse_args()
    if shutil.which("qemu-img") is None:
        sys.exit("import_cost.py needs qemu-img")
    folder = (arguments.folder / "import_cost").resolve()
    folder.mkdir(parents=True)  # never somebody else's: it is removed afterwards
    try:
        result = measure(folder, arguments.bin.resolve(), arguments.runs, arguments.size * MEGABYTE,
                         arguments.data * MEGABYTE)
    finally:
        shutil.rmtree(folder)
    print(json.dumps(result, indent=2))
    return 0 if result["same content"] else 1


if __name__ == "__main__":
    sys.exit(main())
