"""Drive an installed VirtualBox through TravikSDK-c.dll.

    with travik.Library() as library:
        machine = library.find_machine("Player")
        with machine.lock_for(travik.LockType.Write) as mutable:
            mutable.set_memory(4096)
            mutable.save_settings()
        machine.launch("headless").finish()
        for notice in library.console().watch():
            print(notice)

Failures are TravikError. Times are seconds; every call takes a limit, after which it raises TravikTimeout. Any thread
may call; a call holds no lock of the interpreter.
"""
from __future__ import annotations

import contextlib
import ctypes
import dataclasses
import enum
from ctypes import POINTER, byref
from typing import Iterator, Optional

from . import _core, _made, _raw
from ._core import Limit, TravikError, TravikTimeout, load
from ._made import (AudioAdapter, Code, Host, LockType, MachineState, Medium, MediumState, NATProtocol, NatEngine,
                    NetworkAdapter, ParavirtProvider, ProcessorFeature, Result, VBoxEventType)

__all__ = ["AudioAdapter", "Code", "Console", "Host", "Library", "LockType", "Machine", "MachineState", "Medium",
           "MediumState", "NATProtocol", "NatEngine", "NetworkAdapter", "Notice", "NoticeKind", "ParavirtProvider",
           "ProcessorFeature", "Progress", "Result", "TravikError", "TravikTimeout", "VBoxEventType", "load"]


class NoticeKind(enum.IntEnum):
    State = 1
    RuntimeError = 2
    Resync = 3  # notices were lost: ask for the state anew
    Ended = 4  # the last one: the console is gone


@dataclasses.dataclass(frozen=True)
class Notice:
    """What a watched machine tells."""
    kind: NoticeKind
    state: MachineState
    fatal: bool
    code: int
    result: int
    id: str
    text: str


class Library(_made.LibraryOperations):
    """The library, open from the start of this object to close. One at a time in a process."""

    def __init__(self, *, log_path: Optional[str] = None, limit: Limit = None, lazy: bool = False):
        path = None if log_path is None else _core.utf8(log_path)
        options = _raw.travik_options(ctypes.sizeof(_raw.travik_options), _raw.OPEN_LAZY if lazy else 0, path,
                                      _core.milliseconds(limit), 0)
        error = POINTER(_raw.travik_error)()
        _core.check(load().travik_open(byref(options), byref(error)), error)

    def close(self, *, limit: Limit = float("inf")) -> None:
        """Waits for a call that runs; those that wait for their turn fail."""
        _core._call("travik_close", limit)

    def __enter__(self) -> Library:
        return self

    def __exit__(self, *_) -> None:
        self.close()


class Progress(_made.Progress):
    def finish(self, *, limit: Limit = None) -> None:
        """Waits until the task is complete, and fails as it did."""
        _core._call("travik_finishProgress", limit, self._raw)


class Console(_made.Console):
    def watch(self, *, poll: float = 1.0, limit: Limit = None) -> Iterator[Notice]:
        """The notices of the machine, until it ends. Closing the generator ends the watch."""
        raw = _raw.Raw()
        _core._call("travik_watch", limit, self._raw, None, None, byref(raw))
        return self._notices(raw, int(poll * 1000))

    @staticmethod
    def _notices(raw: _raw.Raw, poll: int) -> Iterator[Notice]:
        try:
            while True:
                notice = _next(raw, poll)
                if notice is not None:
                    yield notice
                    if notice.kind == NoticeKind.Ended:
                        return
        finally:
            load().travik_unwatch(raw)


def _next(raw: _raw.Raw, poll: int) -> Optional[Notice]:
    notice, error = POINTER(_raw.travik_notice)(), POINTER(_raw.travik_error)()
    _core.check(load().travik_nextNotice(raw, poll, byref(notice), byref(error)), error)
    if not notice:
        return None
    told = notice.contents
    try:
        return Notice(NoticeKind(told.kind), MachineState(told.state), bool(told.fatal), told.code, told.result,
                      _core.text_of(told.id), _core.text_of(told.text))
    finally:
        load().travik_freeNotice(byref(notice))


class Machine(_made.Machine):
    @contextlib.contextmanager
    def lock_for(self, lock_type: LockType, *, wait: float = 10.0, limit: Limit = None) -> Iterator[Machine]:
        """Locks the machine, waiting while another lock is just being given back, and hands out the one to change."""
        _core._call("travik_lockMachineInTime", limit, self._raw, int(lock_type), int(wait * 1000))
        try:
            with self.session_machine() as mutable:
                yield mutable
        finally:
            with contextlib.suppress(TravikError):  # the machine's end has closed the session already
                _core._call("travik_unlockMachine", limit)


# What the made methods hand out has the methods above, too.
_made.Progress, _made.Console, _made.Machine = Progress, Console, Machine  # type: ignore[misc]
