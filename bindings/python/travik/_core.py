"""The ground of the binding: the DLL, its structs, errors, places for what comes out."""
from __future__ import annotations

import ctypes
import os
import pathlib
from ctypes import POINTER, Structure, byref, c_char_p, c_uint32, c_uint64, c_void_p
from typing import Callable, Optional, Sequence, Union

Limit = Optional[float]  # seconds; None: what the library was opened with

NO_DEADLINE = 0xFFFFFFFF


class Raw(Structure):
    """A handle as travik.h has it."""
    _fields_ = [("value", c_uint64)]


class List(Structure):
    _fields_ = [("items", c_void_p), ("count", c_uint32)]


class ErrorData(Structure):
    _fields_ = [("code", c_uint32), ("result", c_uint32), ("code_name", c_char_p), ("result_name", c_char_p),
                ("operation", c_char_p), ("text", c_char_p)]


class NoticeData(Structure):
    _fields_ = [("kind", c_uint32), ("state", c_uint32), ("fatal", c_uint32), ("code", c_uint32),
                ("result", c_uint32), ("reserved", c_uint32), ("id", c_char_p), ("text", c_char_p)]


class OptionsData(Structure):
    _fields_ = [("size", c_uint32), ("flags", c_uint32), ("log_path", c_char_p), ("deadline_ms", c_uint32),
                ("reserved", c_uint32)]


_ERROR = POINTER(POINTER(ErrorData))
_PROTOTYPES: dict[str, list] = {
    "travik_open": [POINTER(OptionsData), _ERROR],
    "travik_close": [c_uint32, _ERROR],
    "travik_isServerGone": [c_uint32],
    "travik_finishProgress": [Raw, c_uint32, _ERROR],
    "travik_lockMachineInTime": [Raw, c_uint32, c_uint32, c_uint32, _ERROR],
    "travik_watch": [Raw, c_void_p, c_void_p, POINTER(Raw), c_uint32, _ERROR],
    "travik_unwatch": [Raw],
    "travik_nextNotice": [Raw, c_uint32, POINTER(POINTER(NoticeData)), _ERROR],
}
_FREES: dict[str, list] = {
    "travik_freeError": [_ERROR],
    "travik_freeText": [POINTER(c_void_p)],
    "travik_freeTexts": [POINTER(List)],
    "travik_freeMachines": [POINTER(List)],
    "travik_freeNotice": [POINTER(POINTER(NoticeData))],
}
_dll: Optional[ctypes.CDLL] = None


def declare(prototypes: dict[str, list]) -> None:
    _PROTOTYPES.update(prototypes)


def load(path: Union[str, os.PathLike, None] = None) -> ctypes.CDLL:
    """The DLL: of a path, of TRAVIK_DLL, or of the folder bin of the package that this file is part of."""
    global _dll
    if _dll is None:
        usual = pathlib.Path(__file__).resolve().parents[3] / "bin" / "TravikSDK-c.dll"
        dll = ctypes.CDLL(os.fspath(path or os.environ.get("TRAVIK_DLL") or usual))
        for prototypes, result in ((_PROTOTYPES, c_uint32), (_FREES, None)):
            for name, arguments in prototypes.items():
                function = getattr(dll, name)
                function.argtypes, function.restype = arguments, result
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
    told = error.contents if error else ErrorData(code=code)
    made = (TravikTimeout if code == 1004 else TravikError)(
        code, told.result, text_of(told.code_name), text_of(told.result_name), text_of(told.operation),
        text_of(told.text))
    load().travik_freeError(byref(error))
    raise made


def _call(name: str, limit: Limit, *arguments) -> None:
    """Calls a function that ends with a limit and a place for its error."""
    error = POINTER(ErrorData)()
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

    def place(self):
        return byref(self._value)

    def take(self):
        try:
            return self._meaning(self._value.value)
        except ValueError:  # a value that this version of the enumeration does not know
            return self._value.value


class TextPlace:
    def __init__(self) -> None:
        self._value = c_void_p()

    def place(self):
        return byref(self._value)

    def take(self) -> str:
        try:
            return ctypes.string_at(self._value).decode("utf-8") if self._value else ""
        finally:
            load().travik_freeText(byref(self._value))


class TextsPlace:
    def __init__(self) -> None:
        self._value = List()

    def place(self):
        return byref(self._value)

    def take(self) -> list[str]:
        try:
            items = ctypes.cast(self._value.items, POINTER(c_char_p))
            return [items[n].decode("utf-8") for n in range(self._value.count)]
        finally:
            load().travik_freeTexts(byref(self._value))


class HandlePlace:
    def __init__(self, kind: type):
        self._value, self._kind = Raw(), kind

    def place(self):
        return byref(self._value)

    def take(self):
        return self._kind(self._value)


class MachinesPlace:
    def __init__(self, kind: type):
        self._value, self._kind = List(), kind

    def place(self):
        return byref(self._value)

    def take(self) -> list:
        try:
            items = ctypes.cast(self._value.items, POINTER(Raw))
            return [self._kind(Raw(items[n].value)) for n in range(self._value.count)]
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
