#!/usr/bin/env python3
"""The Python binding over a fake of the DLL for the machine itself: python_test.py BINDINGS INCLUDE SCRATCH CC"""
import ctypes
import gc
import json
import pathlib
import subprocess
import sys
import unittest

here = pathlib.Path(__file__).resolve().parent
bindings, include, scratch, compiler = sys.argv[1:5]
scratch = pathlib.Path(scratch)
scratch.mkdir(parents=True, exist_ok=True)
sys.path[:0] = [f"{bindings}/python", f"{bindings}/python/examples", str(here.parents[1] / "scripts")]
api_file = f"{bindings}/travik_api.json"
subprocess.run([sys.executable, here / "make_fake_dll.py", api_file, scratch / "fake.c"], check=True)
subprocess.run([compiler, "-std=gnu99", "-Wall", "-Werror", "-fPIC", "-shared", "-DTRAVIK_C_STATIC", f"-I{include}",
                scratch / "fake.c", "-o", scratch / "fake.so"], check=True)

import flat_model  # noqa: E402
import tour  # noqa: E402
import travik  # noqa: E402

fake = travik.load(scratch / "fake.so")
fake.fake_calls.restype = ctypes.c_char_p
api = json.loads(pathlib.Path(api_file).read_text(encoding="utf-8"))


def calls():
    return fake.fake_calls().decode("utf-8").splitlines()


class Binding(unittest.TestCase):
    def setUp(self):
        gc.collect()
        fake.fake_clear()
        self.live = fake.fake_live()
        self.library = travik.Library()

    def tearDown(self):
        self.library.close()
        gc.collect()
        self.assertEqual(fake.fake_live(), self.live, "something was not given back")

    def test_every_method_makes_its_call_and_hands_out_what_comes(self):
        """Every operation with a method, called with a value of each parameter's type."""
        count = 0
        for owner, methods in flat_model.classes(api).items():
            for method in methods:
                target = self.library if owner == "Library" else getattr(travik, owner)()
                arguments, noted = [], ["0"] if method.receiver else []
                for each in method.inputs:
                    if each["type"] == "handle":
                        arguments.append(getattr(travik, flat_model.class_of(api, each["handle"]))())
                        noted.append("0")
                    elif each["type"] == "text":
                        arguments.append("磁 🎮")
                        noted.append("磁 🎮")
                    elif each["type"] == "texts":
                        arguments.append(["A=1", "B"])
                        noted += ["A=1", "B"]
                    else:
                        arguments.append(1)
                        noted.append("1")
                answer = getattr(target, flat_model.snake(method.name))(*arguments, limit=2.5)
                operation = method.function["operation"]
                made = [call for call in calls() if call.split(" ")[0] == operation]
                self.assertEqual(made[-1], " ".join([operation] + noted + ["2500"]))
                answers = answer if len(method.outputs) > 1 else [answer]
                for out, value in zip(method.outputs, answers):
                    if out["type"] == "text":
                        self.assertEqual(value, f"{operation}.{out['name']} 磁")
                    elif out["type"] == "texts":
                        self.assertEqual(value, [f"{operation}.{out['name']} 磁", ""])
                    elif out["type"] == "handle":
                        self.assertTrue(value)
                        self.assertIsInstance(value, getattr(travik, flat_model.class_of(api, out["handle"])))
                    elif out["type"] == "handles":
                        self.assertEqual(len(value), 2)
                    else:
                        self.assertEqual(int(value), 1)
                count += 1
        self.assertGreater(count, 60)

    def test_a_failure_is_an_exception_that_tells_all(self):
        fake.fake_fail(b"findMachine", 107, 0x80BB0001, b"no \xe7\xa3\x81")
        with self.assertRaises(travik.TravikError) as caught:
            self.library.find_machine("Nobody")
        error = caught.exception
        self.assertEqual((error.code, error.result, error.code_name, error.operation, error.text),
                         (107, 0x80BB0001, "SomeFail", "findMachine", "no 磁"))
        self.assertEqual(str(error), "findMachine: SomeFail (107): E_SOME: no 磁")
        self.assertFalse(error.server_gone)
        self.assertFalse(isinstance(error, TimeoutError))

    def test_a_deadline_is_a_timeout(self):
        fake.fake_fail(b"getHost", 1004, 0, b"")
        with self.assertRaises(TimeoutError):
            self.library.host(limit=0.001)

    def test_the_lock_is_given_back_when_the_block_fails(self):
        machine = self.library.find_machine("Player")
        with self.assertRaises(KeyError):
            with machine.lock_for(travik.LockType.Write):
                raise KeyError
        self.assertEqual([call.split(" ")[0] for call in calls()[-4:]],
                         ["lockMachineInTime", "createMutableMachine", "releaseMachine", "unlockMachine"])

    def test_watching_ends_with_the_machine_and_with_the_generator(self):
        console = self.library.console()
        notices = list(console.watch())
        self.assertEqual([notice.kind.name for notice in notices], ["State", "RuntimeError", "Ended"])
        self.assertEqual(notices[0].state, travik.MachineState.Paused)
        self.assertEqual((notices[1].fatal, notices[1].id, notices[1].text), (True, "DiskFull", "磁"))
        watch = console.watch()
        next(watch)
        watch.close()
        self.assertEqual(calls()[-1], "unwatch 99")

    def test_handles_are_given_back_once(self):
        with self.library.find_machine("Player") as machine:
            self.assertTrue(machine)
        machine.release()
        self.assertEqual(sum(call.startswith("releaseMachine") for call in calls()), 1)

    def test_texts_with_a_zero_are_refused(self):
        with self.assertRaises(ValueError):
            self.library.find_machine("a\0b")

    def test_the_example_runs(self):
        self.library.close()
        tour.main()
        self.library = travik.Library(log_path="log", limit=1, lazy=True)
        self.assertIn("open 1 2 log 1000", calls())
        self.assertTrue(any(call.startswith("deleteMachine") for call in calls()))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
