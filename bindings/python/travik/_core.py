"""The ground of the binding: the DLL, its structs, errors, outputs."""
from __future__ import annotations

import ctypes
import os
import pathlib
from ctypes import POINTER, byref, c_char_p, c_void_p
from typing import Callable, Optional, Sequence, Union

from ._raw import NO_DEADLINE, PROTOTYPES, Deadline, Raw, travik_error, travik_machines, travik_texts

Limit = Optional[float]  # seconds; None: what the library was opened with

_dll: Optional[ctypes.CDLL] = None


def load(path: Union[str, os.PathLike, None] = None) -> ctypes.CDLL:
    """The DLL: of a path, of TRAVIK_DLL, or of the folder bin of the package that this file is part of."""
    global _dll
    if _dll is None:
        usual = pathlib.Path(__file__).resolve().parents[3] / "bin" / "TravikSDK-c.dll"
        dll = ctypes.CDLL(os.fspath(path or os.environ.get("TRAVIK_DLL") or usual))
        for name, (result, parameters) in PROTOTYPES.items():
            function = getattr(dll, name)
            function.restype, function.argtypes = result, parameters
        _dll = dll
    return _dll


class TravikError(Exception):
    """A call that failed."""

    def __init__(self, code: int, result: int = 0, code_name: str = "", result_name: str = "", operation: str = "",
                 text: str = ""):
        parts = [f"{operation}: {code_name} ({code})", result_name, text]
        super().__init__(": ".join(part for part in parts if part))
        self.code, self.result = code, result
        self.code_name, self.result_name = code_name, result_name
        self.operation, self.text = operation, text

    @property
    def server_gone(self) -> bool:
        """VirtualBox's server is gone: call Library.reconnect and find the machines again."""
        return bool(load().travik_isServerGone(self.result))


class TravikTimeout(TravikError, TimeoutError):
    """The limit of a call passed."""


def milliseconds(limit: Limit) -> int:
    if limit is None:
        return 0
    return NO_DEADLINE if limit == float("inf") else min(max(1, int(limit * 1000)), NO_DEADLINE - 1)


def text_of(value: Optional[bytes]) -> str:
    return (value or b"").decode("utf-8")


def check(code: int, error) -> None:
    if code == 0:
        return
    told = error.contents if error else travik_error(code=code)
    made = (TravikTimeout if code == Deadline else TravikError)(
        code, told.result, text_of(told.code_name), text_of(told.result_name), text_of(told.operation),
        text_of(told.text))
    load().travik_freeError(byref(error))
    raise made


def _call(name: str, limit: Limit, *arguments) -> None:
    """Calls a function that ends with a limit and an output for its error."""
    error = POINTER(travik_error)()
    check(getattr(load(), name)(*arguments, milliseconds(limit), byref(error)), error)


def utf8(text: str) -> bytes:
    made = text.encode("utf-8")
    if b"\0" in made:
        raise ValueError("a text holds a zero")
    return made


def texts(values: Sequence[str]):
    return (c_char_p * len(values))(*map(utf8, values))


class NumberPlace:
    def __init__(self, kind, meaning: Callable = int):
        self._value, self._meaning = kind(), meaning

    def put(self):
        return byref(self._value)

    def take(self):
        try:
            return self._meaning(self._value.value)
        except ValueError:  # a value that this version of the enumeration does not know
            return self._value.value


class TextPlace:
    def __init__(self) -> None:
        self._value = c_void_p()

    def put(self):
        return byref(self._value)

    def take(self) -> str:
        try:
            return ctypes.string_at(self._value).decode("utf-8") if self._value else ""
        finally:
            load().travik_freeText(byref(self._value))


class TextsPlace:
    def __init__(self) -> None:
        self._value = travik_texts()

    def put(self):
        return byref(self._value)

    def take(self) -> list[str]:
        try:
            return [self._value.items[n].decode("utf-8") for n in range(self._value.count)]
        finally:
            load().travik_freeTexts(byref(self._value))


class HandlePlace:
    def __init__(self, kind: type):
        self._value, self._kind = Raw(), kind

    def put(self):
        return byref(self._value)

    def take(self):
        return self._kind(self._value)


class MachinesPlace:
    def __init__(self, kind: type):
        self._value, self._kind = travik_machines(), kind

    def put(self):
        return byref(self._value)

    def take(self) -> list:
        try:
            return [self._kind(Raw(self._value.items[n].value)) for n in range(self._value.count)]
        finally:
            load().travik_freeMachines(byref(self._value))


class Handle:
    """Owns a handle; a context manager that gives it back, which the end of the object does, too."""

    _release = ""

    def __init__(self, raw: Optional[Raw] = None):
        self._raw = raw if raw is not None else Raw()

    def __bool__(self) -> bool:
        """Whether it names something: an empty drive has no medium."""
        return self._raw.value != 0

    def release(self) -> None:
        raw, self._raw = self._raw, Raw()
        if raw.value and _dll is not None:
            getattr(_dll, self._release)(raw)

    def __enter__(self):
        return self

    def __exit__(self, *_) -> None:
        self.release()

    def __del__(self) -> None:
        try:
            self.release()
        except Exception:  # the interpreter is ending
            pass
