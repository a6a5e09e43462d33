#!/usr/bin/env python3
"""Two clones in folders with spaces, ./dev run in both at the same time, from another folder, with a cache that may
only be read, and, where that can be arranged, as a user who is not root: what everybody's first command has to survive.
"""
import json
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

from clone import clone, root

NOBODY = 65534


def usual_cache():
    chosen = os.environ.get("TRAVIK_CACHE")
    return pathlib.Path(chosen) if chosen else \
        pathlib.Path(os.environ.get("XDG_CACHE_HOME") or pathlib.Path.home() / ".cache") / "travik-sdk"


def build_quickly(repo):
    """Not optimised: what is tried here is the command, not the sources."""
    path = repo / "CMakePresets.json"
    presets = json.loads(path.read_text(encoding="utf-8"))
    (release,) = [preset for preset in presets["configurePresets"] if preset["name"] == "mingw-release"]
    release["cacheVariables"]["CMAKE_CXX_FLAGS_RELEASE"] = "-O0 -DNDEBUG"
    path.write_text(json.dumps(presets), encoding="utf-8")


class Elsewhere(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory(prefix="travik elsewhere ")
        self.addCleanup(scratch.cleanup)
        self.scratch = pathlib.Path(scratch.name)
        self.scratch.chmod(0o755)
        self.cache = self.scratch / "a cache"
        subprocess.run([root / "scripts" / "setup"], check=True)
        shutil.copytree(usual_cache(), self.cache, symlinks=True, ignore=shutil.ignore_patterns("building", ".lock"))
        subprocess.run(["chmod", "-R", "a-w,a+rX", self.cache], check=True)

    def tearDown(self):
        subprocess.run(["chmod", "-R", "u+w", self.scratch], check=True)

    @staticmethod
    def as_nobody(*command):
        if os.getuid() != 0:
            return command
        return ["setpriv", f"--reuid={NOBODY}", f"--regid={NOBODY}", "--clear-groups", *command]

    def start(self, name):
        home = self.scratch / f"home of {name}"
        home.mkdir()
        repo = clone(self.scratch / f"the {name} clone")
        build_quickly(repo)
        if os.getuid() == 0:
            subprocess.run(["chown", "-R", f"{NOBODY}:{NOBODY}", repo, home], check=True)
        kept = {key: value for key, value in os.environ.items()
                if not key.startswith(("TRAVIK_", "WINE", "XDG_", "CMAKE_", "CCACHE_"))}
        with open(self.scratch / f"{name}.log", "w", encoding="utf-8") as log:
            return subprocess.Popen(self.as_nobody("nice", str(repo / "dev"), "run"), cwd="/", stdin=subprocess.DEVNULL,
                                    stdout=log, stderr=subprocess.STDOUT,
                                    env={**kept, "HOME": str(home), "TRAVIK_CACHE": str(self.cache)})

    def test_the_first_command_works_twice_at_once_with_spaces_and_without_root(self):
        running = {name: self.start(name) for name in ("first", "second")}
        codes = {name: process.wait() for name, process in running.items()}
        for name, code in codes.items():
            text = (self.scratch / f"{name}.log").read_text(encoding="utf-8")
            with self.subTest(clone=name):
                self.assertEqual(code, 0, text)
                self.assertIn("The tour is complete: everything it states holds.", text)
                self.assertNotIn("packages", text)  # all was installed
                # Only what the tour needs.
                build = self.scratch / f"the {name} clone" / "build" / "mingw-release"
                self.assertFalse((build / "tests").exists())
                self.assertEqual(list((build / "bin").glob("samples/*")), [])
            # Wine's server still writes to its prefix for a while.
            prefix = self.scratch / f"the {name} clone" / "build" / "wine"
            subprocess.run(self.as_nobody("wineserver", "-w"), env=os.environ | {"WINEPREFIX": str(prefix)}, check=True)


if __name__ == "__main__":
    unittest.main()
