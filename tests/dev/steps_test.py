#!/usr/bin/env python3
"""What ./dev prints while it works, and what it does when something is missing. Nothing is built here."""
import os
import pathlib
import pty
import re
import shutil
import subprocess
import tempfile
import unittest

from clone import clone, root

SLOW = """step slow "a slow step" "wait" bash -c 'echo "[3/17] Building something"; sleep 2.5'"""


class Steps(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory(prefix="travik steps ")
        self.addCleanup(scratch.cleanup)
        self.repo = clone(pathlib.Path(scratch.name) / "a clone", "dev", "scripts", "cmake")
        self.fakes = pathlib.Path(scratch.name) / "fakes"
        self.fakes.mkdir()

    def fake(self, name, body):
        (self.fakes / name).write_text(f"#!/bin/sh\n{body}\n", encoding="utf-8")
        (self.fakes / name).chmod(0o755)

    def command(self, script):
        return ["bash", "-c", f'source scripts/steps.sh\nPATH="{self.fakes}:$PATH"\n{script}']

    def run_script(self, script):
        return subprocess.run(self.command(script), cwd=self.repo, capture_output=True, text=True, check=False)

    def on_a_terminal(self, script):
        shown, terminal = pty.openpty()
        with subprocess.Popen(self.command(script), cwd=self.repo, stdout=terminal, stderr=terminal) as process:
            os.close(terminal)
            text = b""
            try:
                while piece := os.read(shown, 4096):
                    text += piece
            except OSError:  # the other end is closed
                pass
            os.close(shown)
        self.assertEqual(process.returncode, 0)
        return text.decode()

    def test_a_terminal_shows_how_far_a_step_is(self):
        text = self.on_a_terminal(SLOW)
        self.assertRegex(text, r"\[  [12]s\] a slow step: step 3 of 17")
        self.assertRegex(text, r"\r\x1b\[K\[  [23]s\] a slow step\r\n$")

    def test_a_pipe_stays_quiet(self):
        self.assertRegex(self.run_script(SLOW).stdout, r"^\[  [23]s\] a slow step\n$")

    def test_a_failed_step_tells_its_end_its_remedy_and_its_log(self):
        done = self.run_script("""step broken "a broken step" "do this" bash -c 'echo the reason; exit 3'
                                  echo went on""")
        self.assertEqual(done.returncode, 1)
        self.assertIn("    the reason\n", done.stderr)
        self.assertRegex(done.stderr, r"a broken step failed after \d s: do this \(whole log: build/logs/broken.log\)")
        self.assertNotIn("went on", done.stdout)

    def test_a_ready_machine_needs_no_administrator(self):
        self.fake("id", "echo 1000")
        for forbidden in ("apt-get", "sudo"):
            self.fake(forbidden, "touch asked")
        self.fake("dpkg-query", "echo install ok installed")
        self.assertEqual(self.run_script("install_packages cmake").returncode, 0)
        self.assertFalse((self.repo / "asked").exists())

    def test_the_programs_that_the_products_are_built_with_are_installed_for_them(self):
        setup = (root / "scripts/setup").read_text(encoding="utf-8")
        packages = re.sub("#.*", "", re.search(r"^packages=\((.*?)^\)", setup, re.M | re.S)[1]).split()
        owners = set()
        for folder in ("cmake", "idl", "src", "simulator", "tools"):
            for file in [*(root / folder).rglob("CMakeLists.txt"), *(root / folder).rglob("*.cmake")]:
                text = file.read_text(encoding="utf-8")
                for names in re.findall(r"find_program\(\w+ (?:NAMES )?(.*?) REQUIRED\)", text):
                    path = next(filter(None, map(shutil.which, names.split())), None)
                    if path:  # else one of another system
                        owner = subprocess.run(["dpkg", "-S", path], capture_output=True, text=True, check=True).stdout
                        owners.add(owner.split(":")[0])
        self.assertTrue(owners)
        self.assertLessEqual(owners, set(packages))

    def test_missing_packages_without_administrator_are_named(self):
        self.fake("id", "echo 1000")
        self.fake("dpkg-query", "exit 1")
        done = self.run_script("hash -r; command() { return 1; }; install_packages one two")
        self.assertEqual(done.returncode, 1)
        self.assertIn("packages are missing (one two)", done.stderr)

    def test_lost_starts_are_counted_in_all_builds_of_this_run(self):
        def log(folder, text):
            path = self.repo / "build" / folder / "Testing" / "Temporary" / "LastTest.log"
            path.parent.mkdir(parents=True)
            path.write_text(text, encoding="utf-8")
            return path
        old = log("old", "Wine lost a start\n")
        os.utime(old, (1, 1))
        log("mingw-release", "Wine lost a start\nother\nWine lost a start\n")
        log("mingw-release/stock61", "not that Wine lost a start\nWine lost a start\n")
        log("wine/drive_c", "Wine lost a start\n")
        began = self.repo / "began"
        began.touch()
        os.utime(began, (1000, 1000))
        self.assertEqual(self.run_script("wine_losses began build").stdout, "3\n")

    def run_wine(self, **environment):
        """A test's program, in place of which the fake runs; its prefixes are there already."""
        prefix = self.repo / "build/wine"
        for folder in (prefix, prefix.with_name("wine-3")):
            folder.mkdir(parents=True, exist_ok=True)
            (folder / ".travik-ready").touch()
        return subprocess.Popen(
            [self.repo / "scripts/wine-run", "program"], stdout=subprocess.PIPE, text=True,
            env={"PATH": f"{self.fakes}:{os.environ['PATH']}", "TRAVIK_WINEPREFIX": str(prefix),
                 "TRAVIK_TEST_SCRATCH": "there"} | environment)

    def test_a_test_runs_in_the_wine_prefix_that_it_is_allotted(self):
        self.fake("wine", 'echo "${WINEPREFIX##*/}"')
        for allotted, folder in (("id:3,slots:1", "wine-3"), ("id:0,slots:1", "wine")):
            with self.run_wine(CTEST_RESOURCE_GROUP_0_WINE_PREFIX=allotted) as run:
                self.assertEqual(run.stdout.read(), folder + "\n")

    def test_a_new_wine_prefix_has_had_a_server_before_two_programs_start_at_once(self):
        prefix = self.repo / "build/wine"
        prefix.mkdir(parents=True)
        for name in ("drive_c", "dosdevices", "system.reg", ".update-timestamp"):
            (prefix / name).touch()
        self.fake("wineserver", '[ "$*" = -w ] && touch "$WINEPREFIX/wineserver"')
        self.fake("wine", 'ls "$WINEPREFIX/wineserver"')
        with self.run_wine(TRAVIK_WINEPREFIX_NUMBER="7") as one, self.run_wine(TRAVIK_WINEPREFIX_NUMBER="7") as two:
            self.assertEqual([run.stdout.read() for run in (one, two)], [f"{prefix}-7/wineserver\n"] * 2)

    def test_tests_begin_when_a_program_runs_in_each_wine_prefix(self):
        (self.repo / "prefixes").write_text('{ "id": "0" }, { "id": "3" }', encoding="utf-8")
        script = self.repo / "scripts/wine-run"
        script.write_text('sleep 0.3; echo Windows; touch "up $TRAVIK_WINEPREFIX_NUMBER"; cat; touch "$0 ended"',
                          encoding="utf-8")
        done = self.run_script("mkdir -p build/logs; hold_wine prefixes; ls up*; ls scripts/*ended || echo all there")
        self.assertEqual(done.stdout, "up 0\nup 3\nall there\n")

    def test_wine_that_does_not_start_ends_the_tests_with_what_it_said(self):
        (self.repo / "prefixes").write_text('{ "id": "0" }', encoding="utf-8")
        (self.repo / "scripts/wine-run").write_text("echo the reason; exit 1", encoding="utf-8")
        done = self.run_script("mkdir -p build/logs; hold_wine prefixes; echo went on")
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        self.assertRegex(done.stderr, "the reason\n.*Wine does not start")

    def test_two_tests_in_one_wine_prefix_do_not_use_virtualbox_at_once(self):
        log = self.repo / "order"
        self.fake("wine", f'echo begin >>"{log}"; sleep 0.5; echo end >>"{log}"')
        with self.run_wine(TRAVIK_TEST_USES_VIRTUALBOX="1"), self.run_wine(TRAVIK_TEST_USES_VIRTUALBOX="1"):
            pass
        self.assertEqual(log.read_text(encoding="utf-8").split(), ["begin", "end"] * 2)

    def test_a_test_program_that_fails_in_silence_leaves_its_exit_code(self):
        self.fake("wine", "exit 5")
        with self.run_wine() as run:
            self.assertEqual(run.stdout.read(), "wine-run: the program ended with 5\n")
        self.assertEqual(run.returncode, 5)

    def test_a_machine_with_other_work_is_not_measured(self):
        def awaited(load):
            self.fake("cut", f"echo {load}")  # of /proc/loadavg
            return self.run_script("await_quiet 0")
        self.assertEqual(awaited("0.49").returncode, 0)
        loaded = awaited("0.50")
        self.assertEqual(loaded.returncode, 1)
        self.assertIn("load 0.50, wanted below 0.5", loaded.stdout)

    def test_dev_works_from_any_folder(self):
        for arguments in ([], ["help"]):
            done = subprocess.run([self.repo / "dev", *arguments], cwd="/", capture_output=True, text=True, check=False)
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assertTrue(re.match(r"\./dev run ", done.stdout))

    def test_an_unknown_verb_is_refused(self):
        done = subprocess.run([self.repo / "dev", "nonsense"], capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, 1)
        self.assertIn("there is no verb 'nonsense'", done.stderr)


if __name__ == "__main__":
    unittest.main()
