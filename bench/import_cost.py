#!/usr/bin/env python3
"""What importing an appliance costs, against qemu-img on the same disk.

import_cost.py FOLDER BIN [--runs N] [--data MEGABYTES] [--size MEGABYTES]

FOLDER takes the temporary files (a few gigabytes), which are removed; BIN is the folder of the built programs. One
disk, mostly empty, is made as every kind of VMDK, those of one file also packed with gzip, each in an archive. Then in
turns: 'travikctl import' of the archive through the stand-in's server, and 'qemu-img convert' of the disk to VDI, after
'gzip -d' where it is packed. 'travikctl list' in the same turn tells what starting the front end costs, which the ratio
leaves out. Prints JSON: seconds of each run, the ratio of the medians, the server's peak memory. At last, appliances of
more and more systems and disks: what each of them costs.
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

# Name of the archive, qemu-img's kind of VMDK, whether it is packed.
KINDS = [("stream", "streamOptimized", False), ("stream-gzip", "streamOptimized", True),
         ("sparse", "monolithicSparse", False), ("sparse-gzip", "monolithicSparse", True),
         ("flat", "monolithicFlat", False), ("split-sparse", "twoGbMaxExtentSparse", False),
         ("split-flat", "twoGbMaxExtentFlat", False)]

DESCRIPTOR = """<?xml version="1.0" encoding="UTF-8"?>
<Envelope xmlns="http://schemas.dmtf.org/ovf/envelope/1" xmlns:ovf="http://schemas.dmtf.org/ovf/envelope/1"
    xmlns:rasd="http://schemas.dmtf.org/wbem/wscim/1/cim-schema/2/CIM_ResourceAllocationSettingData">
  <References><File ovf:id="f" ovf:href="{href}"{compression}/></References>
  <DiskSection><Info/><Disk ovf:diskId="d" ovf:fileRef="f" ovf:capacity="{size}"
      ovf:format="http://www.vmware.com/interfaces/specifications/vmdk.html#streamOptimized"/></DiskSection>
  <VirtualSystem ovf:id="{name}"><Info/><VirtualHardwareSection><Info/>
    <Item><rasd:InstanceID>1</rasd:InstanceID>
      <rasd:ResourceSubType>AHCI</rasd:ResourceSubType><rasd:ResourceType>20</rasd:ResourceType></Item>
    <Item><rasd:AddressOnParent>0</rasd:AddressOnParent><rasd:HostResource>/disk/d</rasd:HostResource>
      <rasd:InstanceID>2</rasd:InstanceID><rasd:Parent>1</rasd:Parent><rasd:ResourceType>17</rasd:ResourceType></Item>
  </VirtualHardwareSection></VirtualSystem>
</Envelope>
"""

GROWING = """<?xml version="1.0" encoding="UTF-8"?>
<Envelope xmlns="http://schemas.dmtf.org/ovf/envelope/1" xmlns:ovf="http://schemas.dmtf.org/ovf/envelope/1"
    xmlns:rasd="http://schemas.dmtf.org/wbem/wscim/1/cim-schema/2/CIM_ResourceAllocationSettingData">
  <References/><DiskSection><Info/>{disks}</DiskSection>{systems}
</Envelope>
"""
GROWING_DISK = '<Disk ovf:diskId="d{0}" ovf:capacity="1048576" ovf:format="vmdk"/>'
GROWING_SYSTEM = """<VirtualSystem ovf:id="grown{0}"><Info/><VirtualHardwareSection><Info/>
    <Item><rasd:InstanceID>1</rasd:InstanceID>
      <rasd:ResourceSubType>AHCI</rasd:ResourceSubType><rasd:ResourceType>20</rasd:ResourceType></Item>{1}
  </VirtualHardwareSection></VirtualSystem>"""
GROWING_ITEM = """<Item>
      <rasd:AddressOnParent>0</rasd:AddressOnParent><rasd:HostResource>/disk/d{0}</rasd:HostResource>
      <rasd:InstanceID>2</rasd:InstanceID><rasd:Parent>1</rasd:Parent>
      <rasd:ResourceType>17</rasd:ResourceType></Item>"""


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


def make_archive(path, name, size, folder, packed):
    """The descriptor, and the files of the folder: those of one VMDK."""
    files = sorted(folder.iterdir())
    [href] = [file.name for file in files if file.name in ("disk.vmdk", "disk.vmdk.gz")]
    compression = ' ovf:compression="gzip"' if packed else ""
    descriptor = DESCRIPTOR.format(name=name, size=size, href=href, compression=compression).encode()
    with tarfile.open(path, "w", format=tarfile.GNU_FORMAT) as archive:
        member = tarfile.TarInfo(name + ".ovf")
        member.size = len(descriptor)
        archive.addfile(member, io.BytesIO(descriptor))
        for file in files:
            archive.add(file, file.name)


def fill_holes(file):
    """Both read the same bytes: an archive has no holes, and qemu-img would pass over those of a file."""
    whole = file.with_suffix(".whole")
    subprocess.run(["cp", "--sparse=never", file, whole], check=True)
    whole.rename(file)


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

    def run(self, program, *arguments, refused=False):
        command = [REPOSITORY / "scripts/wine-run", self.programs / program, *arguments]
        done = subprocess.run(command, env=self.environment, check=False, capture_output=True, timeout=600)
        if (done.returncode != 0) != refused:
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


def convert(disk, converted, packed):
    """What qemu-img's user does with the same file."""
    if packed:
        unpacked = converted.with_suffix(".vmdk")
        with open(unpacked, "wb") as out:
            subprocess.run(["gzip", "-dc", disk], stdout=out, check=True)
        disk = unpacked
    subprocess.run(["qemu-img", "convert", "-f", "vmdk", "-O", "vdi", disk, converted], check=True)
    if packed:
        disk.unlink()


def measure_kind(stand_in, folder, kind, runs, size):
    name, subformat, packed = kind
    content, source, archive = folder / "content.img", folder / "source", folder / "disk.ova"
    converted = folder / "converted.vdi"
    source.mkdir()
    disk = source / "disk.vmdk"
    subprocess.run(["qemu-img", "convert", "-f", "raw", "-O", "vmdk", "-o", f"subformat={subformat}", content, disk],
                   check=True)
    for file in list(source.iterdir()):
        fill_holes(file)
    if packed:
        subprocess.run(["gzip", "-1", disk], check=True)
        disk = source / "disk.vmdk.gz"
    make_archive(archive, "cost", size, source, packed)
    ours, theirs, starts, same = [], [], [], True
    for _ in range(runs):
        starts.append(timed(lambda: stand_in.run("travikctl.exe", "list")))
        ours.append(timed(lambda: stand_in.run("travikctl.exe", "import", windows_path(archive))))
        [imported] = stand_in.machines.glob("*/*.vdi")
        same = same and subprocess.run(["qemu-img", "compare", "-q", "-f", "raw", "-F", "vdi", content, imported],
                                       check=False).returncode == 0
        theirs.append(timed(lambda: convert(disk, converted, packed)))
        converted.unlink()
        stand_in.run("travikctl.exe", "delete", "cost", "--yes")
    shutil.rmtree(source)
    archive.unlink()
    whole, start, other = statistics.median(ours), statistics.median(starts), statistics.median(theirs)
    return name, {"import": ours, "qemu-img": theirs, "front end": starts, "same content": same,
                  "ratio": round((whole - start) / other, 2), "ratio with the front end": round(whole / other, 2)}


def measure_growth(stand_in, folder, counts):
    """Seconds for each system, with a disk of its own, in appliances of more and more of them."""
    results = {}
    for count in counts:
        file = folder / "grown.ovf"
        systems = "".join(GROWING_SYSTEM.format(i, GROWING_ITEM.format(i)) for i in range(count))
        file.write_text(GROWING.format(disks="".join(GROWING_DISK.format(i) for i in range(count)), systems=systems))
        seconds = timed(lambda: stand_in.run("travikctl.exe", "import", windows_path(file)))
        results[count] = round(seconds / count, 4)
        for i in range(count):
            stand_in.run("travikctl.exe", "delete", f"grown{i}", "--yes")
    return results


def measure_refusal(stand_in, folder, counts):
    """Seconds for each disk until a machine with too many disks is refused."""
    results = {}
    for count in counts:
        file = folder / "refused.ovf"
        items = "".join(GROWING_ITEM.format(i).replace("OnParent>0", f"OnParent>{i}") for i in range(count))
        file.write_text(GROWING.format(disks="".join(GROWING_DISK.format(i) for i in range(count)),
                                       systems=GROWING_SYSTEM.format(0, items)))
        seconds = timed(lambda: stand_in.run("travikctl.exe", "import", windows_path(file), refused=True))
        results[count] = round(seconds / count, 5)
    return results


def measure(folder, programs, runs, size, data):
    make_content(folder / "content.img", size, data)
    kinds = {}
    stand_in = StandIn(programs, folder)
    try:
        before = stand_in.peak_kilobytes()
        for kind in KINDS:
            name, kinds[name] = measure_kind(stand_in, folder, kind, runs, size)
        peak = stand_in.peak_kilobytes()
        systems = measure_growth(stand_in, folder, (5, 20, 80) if runs > 1 else (2, 4))
        disks = measure_refusal(stand_in, folder, (100, 1000, 10000) if runs > 1 else (100, 400))
    finally:
        stand_in.stop()
    return {
        "benchmark": "import of a disk to VDI",
        "disk megabytes": size // MEGABYTE,
        "data megabytes": data // MEGABYTE,
        "kinds": kinds,
        **{f"{name} / qemu-img": kind["ratio"] for name, kind in kinds.items()},
        **{f"seconds a system, of {count}": seconds for count, seconds in systems.items()},
        **{f"seconds a disk, of {count} that are too many": seconds for count, seconds in disks.items()},
        "server peak kilobytes": {"before": before, "after": peak},
        "same content": all(kind["same content"] for kind in kinds.values()),
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
