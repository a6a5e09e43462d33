"""A copy of the sources, as a clone would have them, in a folder of its own."""
import pathlib
import shutil
import subprocess

root = pathlib.Path(__file__).resolve().parents[2]


def clone(folder, *patterns):
    command = ["git", "-c", f"safe.directory={root}", "ls-files", "-z", "--cached", "--others", "--exclude-standard"]
    listed = subprocess.run([*command, "--", *patterns], cwd=root, check=True, capture_output=True, text=True)
    for name in filter(None, listed.stdout.split("\0")):
        if (root / name).is_file():  # not one that was just removed
            (folder / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(root / name, folder / name)
    return folder
