#!/usr/bin/env python3
"""Images made by another program, for the tests of the stand-in's image formats.

qemu_images.py make FOLDER               makes images of known content in every format that is read
qemu_images.py compare FOLDER CONVERTED  compares what the tests made of them with that content
"""

import pathlib
import random
import shutil
import subprocess
import sys

MEGABYTE = 1 << 20

# Stem of the image, its content, qemu-img's format and options.
IMAGES = [
    ("small-dynamic.vdi", "small", "vdi", ""),
    ("small-fixed.vdi", "small", "vdi", "static=on"),
    ("small-sparse.vmdk", "small", "vmdk", "subformat=monolithicSparse"),
    ("small-flat.vmdk", "small", "vmdk", "subformat=monolithicFlat"),
    ("small-splitsparse.vmdk", "small", "vmdk", "subformat=twoGbMaxExtentSparse"),
    ("small-splitflat.vmdk", "small", "vmdk", "subformat=twoGbMaxExtentFlat"),
    ("small-stream.vmdk", "small", "vmdk", "subformat=streamOptimized"),
    ("small-zeroed.vmdk", "small", "vmdk", "subformat=monolithicSparse,zeroed_grain=on"),
    ("small-vpcdynamic.vhd", "small", "vpc", "subformat=dynamic,force_size=on"),
    ("small-vpcfixed.vhd", "small", "vpc", "subformat=fixed,force_size=on"),
    ("large-dynamic.vdi", "large", "vdi", ""),
    ("large-sparse.vmdk", "large", "vmdk", "subformat=monolithicSparse"),
    ("large-splitsparse.vmdk", "large", "vmdk", "subformat=twoGbMaxExtentSparse"),
    ("large-stream.vmdk", "large", "vmdk", "subformat=streamOptimized"),
]


def qemu_img(*arguments):
    subprocess.run(["qemu-img", *map(str, arguments)], check=True, stdout=subprocess.DEVNULL)


def chunk(source, size):
    kind = source.randrange(4)
    if kind == 0:
        return source.randbytes(size)
    if kind == 1:
        return (b"structured content %d " % source.randrange(10) * size)[:size]
    return bytes(size)


def make_content(folder):
    source = random.Random(5)
    with open(folder / "small.img", "wb") as file:
        size = 20 * MEGABYTE + 300 * 512  # neither whole blocks nor whole grains
        while file.tell() < size:
            file.write(chunk(source, min(source.randrange(1, 40) * 8192, size - file.tell())))
    with open(folder / "large.img", "wb") as file:
        # Beyond all that fits into 32 bits, with data here and there.
        file.truncate(5 << 30)
        for place in (0, 3 * MEGABYTE + 512, (2 << 30) - 4096, (4 << 30) - 4096, (5 << 30) - 512):
            file.seek(place)
            file.write(source.randbytes(min(8192, (5 << 30) - place)))


def make(folder):
    shutil.rmtree(folder, ignore_errors=True)
    content = folder / "content"
    content.mkdir(parents=True)
    make_content(content)
    for name, source, image_format, options in IMAGES:
        choice = ["-o", options] if options else []
        qemu_img("convert", "-f", "raw", "-O", image_format, *choice, content / (source + ".img"), folder / name)


def compare(folder, converted):
    images = sorted(path for path in converted.glob("*/*") if path.stem.split("-")[0] in ("small", "large"))
    whole = [path for path in images if "-f00" not in path.stem and "-s00" not in path.stem
             and not path.stem.endswith("-flat-flat")]
    expected = 2 * len(IMAGES)
    if len(whole) != expected:
        sys.exit(f"{len(whole)} images instead of {expected}: {[str(path) for path in whole]}")
    for path in whole:
        content = folder / "content" / (path.stem.split("-")[0] + ".img")
        image_format = {".vhd": "vpc"}.get(path.suffix, path.suffix[1:])
        qemu_img("compare", "-f", "raw", "-F", image_format, content, path)
        if image_format == "vdi":
            qemu_img("check", "-f", "vdi", path)


if __name__ == "__main__":
    if sys.argv[1] == "make":
        make(pathlib.Path(sys.argv[2]))
    else:
        compare(pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3]))
