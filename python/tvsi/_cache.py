"""The attachment to a cache, its queries and samples."""

from __future__ import annotations

import ctypes
import itertools
import operator
import os
import struct
import sys
import threading
import time
import weakref
from collections.abc import Callable, Iterator, Sequence
from dataclasses import dataclass
from functools import lru_cache
from typing import TYPE_CHECKING, Any, Generic, Self, TypeVar, cast, overload

from . import records as _records
from ._fields import RECORD_SIZE, Field, Fields, Kind, Kinds
from ._library import library
from .errors import BadArgumentError, NotAttachedError, OtherCacheAttachedError, error_of
from .records import ALL, BroxRecord, MonitorRecord, Record, UnknownRecord, VokRecord

if TYPE_CHECKING:
    from numpy.typing import NDArray

R = TypeVar("R", bound=Record)
S = TypeVar("S", bound=Record)

_CLASSES: dict[int, type[Record]] = {kind.mask: kind.record for kind in _records.KINDS}

# The library attaches one cache in a process and must not be attached or detached while a query
# runs, which it doesn't guard against. So calls into it take turns here, as its queries do anyway.
# Recursive, since a Cache may be collected, and so detached, at any moment.
_turn = threading.RLock()
_attachments = itertools.count(1)
_attached = 0  # the number of the attachment; 0: none. Changed under _turn
_was_attached_before_fork = False


def _forget() -> None:
    """In the child of a fork: the attachment is the parent's, and another thread may have had the
    turn."""
    global _turn, _attached, _was_attached_before_fork
    _turn = threading.RLock()
    _was_attached_before_fork = _was_attached_before_fork or _attached != 0
    _attached = 0


os.register_at_fork(after_in_child=_forget)


class _Memory:
    """Space for the records of queries."""

    def __init__(self, capacity: int) -> None:
        self.capacity = capacity
        self.bytes = bytearray(capacity * RECORD_SIZE)
        self.pointer = (ctypes.c_char * len(self.bytes)).from_buffer(self.bytes)
        self._references = sys.getrefcount(self.bytes)

    def is_free(self) -> bool:
        """Whether nobody looks at it any more: each view of a bytearray counts as a reference."""
        return sys.getrefcount(self.bytes) == self._references


@lru_cache(maxsize=64)
def _rows_format(places: tuple[tuple[int, str, int], ...]) -> struct.Struct:
    """Reads the elements at these offsets, which grow, from a record."""
    text, end = "<", 0
    for offset, letter, size in places:
        text += f"{offset - end}x{letter}"
        end = offset + size
    return struct.Struct(f"{text}{RECORD_SIZE - end}x")


@lru_cache(maxsize=None)
def _array_type(record: Any) -> Any:
    import numpy

    fields = record.fields.values()
    return numpy.dtype(
        {
            "names": [*(field.name for field in fields), "olvName"],
            "formats": [*(field.array_format for field in fields), "S32"],
            "offsets": [*(field.offset for field in fields), 1760],
            "itemsize": RECORD_SIZE,
        }
    )


class Records(Sequence[R]):
    """The records of a query, in slot order: a view of memory that is theirs for as long as they,
    one of their records or an array of them is in use.

    Those of one kind have the fields of their kind; where kinds are mixed, `fields`, `column`,
    `rows` and `array` know what all kinds have, and each record is of the class of its own kind.
    """

    __slots__ = ("_memory", "_bytes", "_length", "_class", "fields")

    def __init__(self, memory: _Memory, length: int, record: type[Record] | None) -> None:
        self._memory = memory
        self._bytes = memory.bytes
        self._length = length
        self._class = record
        self.fields: Fields = (record or UnknownRecord).fields

    def __len__(self) -> int:
        return self._length

    @overload
    def __getitem__(self, index: int) -> R: ...
    @overload
    def __getitem__(self, index: slice) -> list[R]: ...
    def __getitem__(self, index: int | slice) -> R | list[R]:
        if isinstance(index, slice):
            return [self._view(i) for i in range(self._length)[index]]
        return self._view(range(self._length)[index])

    def __iter__(self) -> Iterator[R]:
        if self._class is None:
            return map(self._view, range(self._length))
        views = (cast(Any, self._class) * self._memory.capacity).from_buffer(self._bytes)
        return cast("Iterator[R]", itertools.islice(views, self._length))

    def __repr__(self) -> str:
        return f"<{self._length} Records of {(self._class or Record).__name__}>"

    def _view(self, index: int) -> R:
        offset = index * RECORD_SIZE
        record = self._class
        if record is None:
            kind = int.from_bytes(self._bytes[offset + 1792 : offset + 1796], sys.byteorder)
            record = _CLASSES.get(kind, UnknownRecord)
        return cast("R", record.from_buffer(self._bytes, offset))

    def of(self, kind: Kind[S]) -> list[S]:
        """Those of one kind."""
        kinds = self.column("statType")
        return [
            kind.record.from_buffer(self._bytes, i * RECORD_SIZE)
            for i, bit in enumerate(kinds)
            if bit == kind.mask
        ]

    def _field(self, name: str) -> Field:
        try:
            return self.fields[name]
        except KeyError:
            kind = (self._class or Record).__name__
            hint = "" if self._class else "; ask for one kind to read its own"
            raise BadArgumentError(f"{kind} has no field {name!r}{hint}") from None

    def column(self, name: str, element: int = 0) -> list[int]:
        """A field, or an element of an array, of every record; a copy."""
        field = self._field(name)
        first = (field.offset // field.size) + range(field.count)[element]
        numbers = memoryview(self._bytes)[: self._length * RECORD_SIZE].cast(field.struct_format)
        return numbers[first :: RECORD_SIZE // field.size].tolist()

    def rows(self, *names: str) -> list[tuple[int, ...]]:
        """These fields of every record; copies. Of an array, its first element."""
        fields = [self._field(name) for name in names]
        places = {(field.offset, field.struct_format, field.size) for field in fields}
        order = sorted(places)
        data = memoryview(self._bytes)[: self._length * RECORD_SIZE]
        found = list(_rows_format(tuple(order)).iter_unpack(data))
        wanted = [order.index((f.offset, f.struct_format, f.size)) for f in fields]
        is_in_order = wanted == list(range(len(order)))
        return found if is_in_order else list(map(operator.itemgetter(*wanted), found))

    def names(self) -> list[str]:
        """The name of every record's process."""
        return [record.name for record in self]

    def array(self) -> NDArray[Any]:
        """The records as a structured NumPy array without copying, read-only: `array()["commitCount"]`
        is a column. Needs NumPy."""
        import numpy

        data = memoryview(self._bytes)[: self._length * RECORD_SIZE].toreadonly()
        return numpy.frombuffer(data, dtype=_array_type(cast(Any, self._class or UnknownRecord)))


@dataclass(frozen=True)
class Sample(Generic[R]):
    """What a cache held at one moment."""

    number: int
    """Of the moment in the schedule, from 0; one that is left out was missed."""
    time: float
    """Seconds on the clock of time.monotonic(), after the query."""
    real_time: float
    """Seconds since the Unix epoch."""
    records: Records[R]


def _int(value: int, bits: int = 32) -> int:
    """An int, within what the library takes: it would see another one else."""
    number = operator.index(value)
    if not -(1 << (bits - 1)) <= number < 1 << (bits - 1):
        raise BadArgumentError(f"{number} has more than {bits} bits")
    return number


def _name(value: str | bytes) -> bytes:
    encoded = value if isinstance(value, bytes) else os.fsencode(value)
    if b"\0" in encoded:
        raise BadArgumentError(f"{value!r} has a NUL in it")
    return encoded


def _detach(attachment: int) -> None:
    global _attached
    with _turn:
        if attachment == _attached:
            _attached = 0
            library().TvsiDetachSharedCache()


class Cache:
    """The attachment of this process to a cache; see attach(). Closed by `with`, by close(), or when
    nobody has it any more.

    Any thread may call anything at any time: calls take turns. A query that finds the cache dead
    raises SeveredError once; from then on, and after close(), queries raise NotAttachedError. In the
    child of a fork they do, too.
    """

    def __init__(self, attachment: int) -> None:
        self._attachment = attachment
        self._memories: list[_Memory] = []
        self._close = weakref.finalize(self, _detach, attachment)
        self._close.atexit = False  # the end of the process lets go of the segment at once

    def __enter__(self) -> Self:
        return self

    def __exit__(self, *problem: object) -> None:
        self.close()

    def close(self) -> None:
        """Detaches the cache; waits up to about a second. What queries have given stays."""
        self._close()

    @property
    def is_alive(self) -> bool:
        """Whether it is attached and its server alive."""
        with _turn:
            return self._attachment == _attached and library().TvsiCacheIsAlive() == 1

    @property
    def slots(self) -> int:
        """The number of slots of the process table, used or not."""
        return self._count("TvsiFetchMaxProcessesInCache")

    def process(self, process_id: int) -> Record:
        """The process with this process id (1 or more), whatever its kind; the lowest slot.

        This and the other queries for one process raise NotFoundError when there is none."""
        return self._one("TvsiStatsForProcessId", _int(process_id))

    def vok(self, session_id: int) -> VokRecord:
        """The Vok main thread of the session (1 or more)."""
        return cast(VokRecord, self._one("TvsiStatsForVokSessionId", _int(session_id)))

    def page_server(self, session_id: int) -> _records.AnyPgsvrRecord:
        """The page server of the session (1 or more), its main thread or a further one."""
        found = self._one("TvsiStatsForPgsvrSessionId", _int(session_id))
        return cast(_records.AnyPgsvrRecord, found)

    def vok_named(self, name: str | bytes) -> Record:
        """The Vok main thread or Vok thread whose name equals this one; the lowest slot."""
        return self._one("TvsiStatsForVokSessionWithName", _name(name))

    def brox(self) -> BroxRecord:
        """The Brox; NoBroxError when it is on another host."""
        return cast(BroxRecord, self._one("TvsiStatsForBrox"))

    def monitor(self) -> MonitorRecord:
        """The cache monitor."""
        return cast(MonitorRecord, self._one("TvsiStatsForShrPcMon"))

    @overload
    def query(self, kind: Kind[R]) -> Records[R]: ...
    @overload
    def query(self, kind: Kinds = ALL) -> Records[Record]: ...
    def query(self, kind: Kinds = ALL) -> Records[Any]:
        """Every process of these kinds: `query(tvsi.VOK)`, `query(tvsi.VOK | tvsi.BROX)`, `query()`."""
        record = kind.record if isinstance(kind, Kind) else None
        return self._many(record, "TvsiAllStatsForMask", kind.mask)

    def voks_of_kind(self, least: int, most: int) -> Records[VokRecord]:
        """Every Vok main thread with least <= vokKind <= most."""
        name = "TvsiAllVokStatsForVokKindRange"
        return self._many(VokRecord, name, _int(least), _int(most))

    def count_voks_of_kind(self, least: int, most: int) -> int:
        return self._count("TvsiAllVokStatsForVokKindRange", _int(least), _int(most), None)

    def voks_matching(
        self, expression: str | bytes, *, ignore_case: bool = False
    ) -> Records[VokRecord]:
        """Every Vok main thread whose name the POSIX extended regular expression matches anywhere;
        BadRegexError when it does not compile."""
        name = "TvsiAllVokStatsForRegexName"
        return self._many(VokRecord, name, _name(expression), int(ignore_case), has_text=True)

    def count_voks_matching(self, expression: str | bytes, *, ignore_case: bool = False) -> int:
        name = "TvsiAllVokStatsForRegexName"
        return self._count(name, _name(expression), int(ignore_case), None, has_text=True)

    @overload
    def samples(self, interval: float, kind: Kind[R]) -> Iterator[Sample[R]]: ...
    @overload
    def samples(self, interval: float, kind: Kinds = ALL) -> Iterator[Sample[Record]]: ...
    def samples(self, interval: float, kind: Kinds = ALL) -> Iterator[Sample[Any]]:
        """A sample at once and then every `interval` seconds (0: without a pause), for ever; when
        the cache dies, SeveredError. The moments don't drift; one that has passed before the loop
        comes back is left out."""
        if not 0 <= interval <= threading.TIMEOUT_MAX:
            raise BadArgumentError(f"{interval} seconds are no interval")
        return self._samples(interval, kind)

    def _samples(self, interval: float, kind: Kinds) -> Iterator[Sample[Any]]:
        start = time.monotonic()
        number = 0
        while True:
            records = self.query(kind)
            yield Sample(number, time.monotonic(), time.time(), records)
            del records  # its memory is free for the next sample if the loop has dropped this one
            number += 1
            if interval > 0:
                passed = time.monotonic() - start
                number = max(number, -int(-passed // interval))
                time.sleep(max(0.0, start + number * interval - time.monotonic()))

    def _call(self, name: str, *arguments: Any, has_text: bool = False) -> None:
        """A query; raises when it fails. Under _turn."""
        if self._attachment != _attached:
            raise NotAttachedError(
                "this process was forked from one that had attached the cache"
                if _was_attached_before_fork
                else ""
            )
        text = ctypes.create_string_buffer(256) if has_text else None
        more = (text, 256) if text else ()
        status = getattr(library(), name)(*arguments, *more)
        if status:
            raise error_of(status, _text(text) if text else "")

    def _count(self, name: str, *arguments: Any, has_text: bool = False) -> int:
        count = ctypes.c_int()
        with _turn:
            self._call(name, *arguments, ctypes.byref(count), has_text=has_text)
        return count.value

    def _one(self, name: str, *arguments: Any) -> Record:
        memory = _Memory(1)
        with _turn:
            self._call(name, *arguments, memory.pointer)
        return Records[Record](memory, 1, None)[0]

    def _many(
        self, record: type[R] | None, name: str, *arguments: Any, has_text: bool = False
    ) -> Records[Any]:
        count = ctypes.c_int()
        with _turn:
            memory = self._free_memory(0)
            while True:
                count.value = memory.capacity
                place = (memory.pointer, ctypes.byref(count))
                self._call(name, *arguments, *place, has_text=has_text)
                if count.value < memory.capacity:
                    break
                # It may have left out matches if the process table has grown.
                most = self.slots
                if most <= count.value:
                    break
                memory = self._free_memory(most)
            return Records(memory, count.value, record)

    def _free_memory(self, needed: int) -> _Memory:
        """Memory that nobody uses, for as many records, or for the process table. Under _turn."""
        self._memories = [m for m in self._memories if m.capacity > needed]
        for memory in self._memories:
            if memory.is_free():
                return memory
        # One more than there are slots, so that a full table does not look like full memory.
        memory = _Memory(max([needed or self.slots, 1, *(m.capacity - 1 for m in self._memories)]) + 1)
        self._memories = [*self._memories[-1:], memory]
        return memory


def _text(buffer: ctypes.Array[ctypes.c_char]) -> str:
    return buffer.value.decode(errors="backslashreplace")


def attach(brox: str | bytes | None = None, *, cache: str | bytes | None = None) -> Cache:
    """Attaches the cache on this host that serves the Brox of this name, or the one with this
    location, as "prod~1f2e": `with tvsi.attach(brox="prod") as cache: ...`.

    The first attach loads the library, which changes the process: it unblocks all signals of the
    thread, raises the soft limits of CPU time, data and file size, takes the environment's locale
    over and sets TX_LOGIN_NAME. Needs read and write permission on the server's segment, of which
    nothing is written. Waits as TvsiAttachSharedCacheForBrox() in tvsi.h.

    Raises CacheNotFoundError, AttachFailedError, WrongVersionError, AlreadyAttachedError,
    OtherCacheAttachedError, WatcherError, LibraryMissingError.
    """
    global _attached
    if (brox is None) == (cache is None):
        raise TypeError("attach() takes the name of a Brox or the location of a cache")
    function = "TvsiAttachSharedCacheForBrox" if cache is None else "TvsiAttachSharedCache"
    name = _name(cast("str | bytes", brox if cache is None else cache))
    text = ctypes.create_string_buffer(1024)
    with _turn:
        if _was_attached_before_fork:
            raise OtherCacheAttachedError(
                "this process was forked while a cache was attached: attach in a process that is"
                " started anew (multiprocessing's method 'spawn')"
            )
        call: Callable[..., int] = getattr(library(), function)
        status = call(name, text, len(text))
        if status:
            raise error_of(status, _text(text))
        _attached = next(_attachments)
        return Cache(_attached)
