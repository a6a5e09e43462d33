"""The stand-in VirtualBox with its fixture world, registered in a Wine prefix of its own for the time of a test."""
import os
import shlex
import shutil
import subprocess

from documents import root

# The machines of simulator/fixtures/world that can be read.
MACHINES = ["Android 9", "Game 🎮", "Plain", "With snapshot", "模拟器 1"]


class StandIn:
    def __init__(self, scratch, binaries, wine_run, fixtures=None):
        self.home = scratch / "world"
        self.binaries = binaries
        self.wine_run = wine_run
        self.fixtures = fixtures or root / "simulator/fixtures"
        self.folder = scratch / "run"
        # As the programs see it: the machine's root is drive Z:.
        self.environment = os.environ | {"VBOXSIM_HOME": "Z:" + str(self.home).replace("/", "\\")}

    def __enter__(self):
        shutil.rmtree(self.home, ignore_errors=True)
        shutil.copytree(self.fixtures / "world", self.home)
        self.folder.mkdir(parents=True, exist_ok=True)
        self.call(self.binaries / "vboxsim.exe", "register", "--force", check=True)
        return self

    def __exit__(self, *_):
        self.call(self.binaries / "vboxsim.exe", "unregister", check=True)
        self.wine_server("-k")  # a machine may still run; nobody else uses this prefix

    def wait_until_left(self):
        """The server leaves some seconds after its last client, unless someone still holds an object."""
        self.wine_server("-w", timeout=120)

    def wine_server(self, option, **limit):
        # Without a prefix of its own this would end programs of others.
        prefix = os.environ["TRAVIK_WINEPREFIX"]
        subprocess.run(["wineserver", option], env=os.environ | {"WINEPREFIX": prefix}, **limit)

    def call(self, program, *arguments, check=False):
        """Runs a Windows program; the result has its output as text."""
        return self.execute([self.wine_run, program, *arguments], self.folder, check)

    def execute(self, command, folder, check=True):
        """Runs a command of the machine itself, for which Wine's programs have the prefix of the test."""
        # By files: the server that a program starts inherits its outputs, and would hold pipes open as long as it runs.
        names = [self.folder / "stdout", self.folder / "stderr"]
        with open(names[0], "wb") as output, open(names[1], "wb") as errors:
            done = subprocess.run(command, cwd=folder, env=self.environment, stdin=subprocess.DEVNULL, stdout=output,
                                  stderr=errors, timeout=300)
        done.stdout, done.stderr = (name.read_text(encoding="utf-8", errors="replace") for name in names)
        if check and done.returncode:
            raise SystemExit(f"{' '.join(map(str, command))}: {done.returncode}\n{done.stdout}{done.stderr}")
        return done

    def run(self, line):
        """Runs a command line of a document: whether it succeeded, and what it printed."""
        program, *arguments = shlex.split(line)
        done = self.call(self.binaries / f"{program}.exe", *arguments)
        print(f"$ {line}\n{done.stdout}{done.stderr}", end="")
        return done.returncode == 0, done.stdout.replace("\r\n", "\n")
