"""What was recorded of a cache, and sample streams from elsewhere: the samples of open()."""

from __future__ import annotations

import os
import shutil
import struct
import subprocess
import tempfile
from collections.abc import Iterator
from dataclasses import dataclass
from datetime import datetime
from pathlib import Path
from typing import IO, Any, Generic, NamedTuple, NoReturn, Self, TypeVar, overload

from . import records as _records
from ._cache import Records, Sample, _Memory
from ._fields import NAME_SIZE, RECORD_SIZE, Kind, Kinds
from .errors import BadArgumentError, DamagedRecordingError, RecordingError
from .records import ALL, INTERFACE_VERSION, Record

R = TypeVar("R", bound=Record)

# The sample stream's messages: see tvsi-reader(1). Everything in them is checked, though a stream
# made by the tools of this host is sound: others come over a network.
_MESSAGE = struct.Struct("<4sIqq")  # type, bytes that follow, real and monotonic nanoseconds
_HEADER = struct.Struct("<IIqii")  # version, record size, monitor's start and pid, slots
_SAMPLE = struct.Struct("<QqiiII")  # sequence, late, slots, used, records, zero
_RECORD = struct.Struct("<IIiiqIBBBB")  # size, kind, pid, session, start, user, state, sizes, zero
_IDENTITY = struct.Struct("<ii")
_KIND = struct.Struct("<I")
_VERSION = 1
_MOST_RECORDS = 65536
_MOST_BYTES = _SAMPLE.size + _MOST_RECORDS * (_RECORD.size + 10 + NAME_SIZE + RECORD_SIZE)
_NOBODY = 0xFFFFFFFF
_STATES = ("unknown", "alive", "stopped", "zombie", "ended")
_KINDS = {kind.mask: kind for kind in _records.KINDS}
_DAMAGED = 10  # exit status of tvsistat


class Process(NamedTuple):
    """What the kernel said of the process of a record."""

    state: str
    """"alive", "stopped", "zombie", "ended" or "unknown"."""
    started: float | None
    """Seconds since the Unix epoch, to 10 ms; None: unknown."""
    user: int | None
    """User id; None: unknown."""


@dataclass(frozen=True)
class CacheInfo:
    """The cache that a stream is about, and who keeps it."""

    location: str
    brox: str
    host: str
    monitor: int
    """Process id of its monitor; 0: unknown."""
    monitor_started: float | None
    slots: int
    interface_version: str
    reader_version: str


@dataclass(frozen=True)
class Event:
    """Something that happened to the cache between two samples."""

    kind: str
    """"attached", "lost", "notice" (the library has printed something) or "mark" (somebody wanted
    to remember the moment)."""
    real_time: float
    """Seconds since the Unix epoch."""
    text: str


@dataclass(frozen=True)
class RecordedSample(Sample[R], Generic[R]):
    """What a cache held at one moment. `number` is the reader's, which leaves out what it missed,
    and `time` on the clock of the host and start on which it was taken."""

    slots: int
    """Of the process table, used or not."""
    used: int | None
    """Slots in use; None: unknown."""
    late: float
    """Seconds after the moment at which it was due."""
    processes: list[Process]
    """Of each record."""


class _Damage(Exception):
    """Bytes that are no message."""


def _seconds(nanoseconds: int) -> float:
    return nanoseconds / 1e9


def _known(nanoseconds: int) -> float | None:
    return nanoseconds / 1e9 if nanoseconds else None


class _Body:
    """The bytes of a message, from front to back."""

    def __init__(self, content: bytes) -> None:
        self.content = content
        self.at = 0

    def take(self, form: struct.Struct) -> tuple[Any, ...]:
        self.at += form.size
        if self.at > len(self.content):
            raise _Damage
        return form.unpack_from(self.content, self.at - form.size)

    def text(self) -> str:
        (size,) = self.take(struct.Struct("<H"))
        self.at += size
        if self.at > len(self.content):
            raise _Damage
        return self.content[self.at - size : self.at].decode(errors="backslashreplace")

    def finish(self) -> None:
        if self.at != len(self.content):
            raise _Damage


class Recording:
    """The samples of one cache in the order of time; see open(). Closed by `with`, by close(), or when
    all has been read. For one thread at a time.

    `for sample in recording` gives each sample with all of its records, `samples(tvsi.VOK)` those of
    some kinds; there is one pass. Damage costs the samples it has hit; when it was met, a
    DamagedRecordingError comes behind the last sample that could be read.
    """

    def __init__(self, stream: IO[bytes], tool: _Tool | None = None) -> None:
        self._stream = stream
        self._tool = tool
        self._memories: list[_Memory] = []
        self._has_ended = False
        self._is_over = False
        self._is_damaged = False
        self.events: list[Event] = []
        """What has happened up to the last sample that was read."""
        try:
            found = self._message()
            if found is None or found[0] != b"TVSH":
                self._fail("it is no sample stream" if found else "there is no sample stream")
        except BaseException:
            self.close()
            raise
        self.cache: CacheInfo = self._header(found[2], found[1])
        """What the samples that are read now are about; another monitor may come to keep it."""

    def __enter__(self) -> Self:
        return self

    def __exit__(self, *problem: object) -> None:
        self.close()

    def __del__(self) -> None:
        if self.__dict__.get("_tool") is not None:
            self.close()

    def close(self) -> None:
        """Reads nothing more. Samples that were read stay; a stream that was handed over stays open."""
        self._is_over = True
        if self._tool is not None:
            self._tool.end()

    def __iter__(self) -> Iterator[RecordedSample[Record]]:
        return self.samples()

    @overload
    def samples(self, kind: Kind[R]) -> Iterator[RecordedSample[R]]: ...
    @overload
    def samples(self, kind: Kinds = ALL) -> Iterator[RecordedSample[Record]]: ...
    def samples(self, kind: Kinds = ALL) -> Iterator[RecordedSample[Any]]:
        """The samples that were not read yet, with their records of these kinds."""
        while not self._is_over:
            message = self._message()
            if message is None:
                self._finish()
                return
            letters, times, body = message
            self._has_ended = letters in (b"TVSL", b"TVSE")
            try:
                if letters == b"TVSS":
                    yield self._sample(body, times, kind)
                elif letters == b"TVSH":
                    self.cache = self._header(body, times)
                elif letters == b"TVSL":
                    body.take(struct.Struct("<i"))
                    self._tell("lost", times, body.text())
                elif letters in (b"TVSN", b"TVSM"):
                    self._tell("notice" if letters == b"TVSN" else "mark", times, body.text())
                elif letters != b"TVSE":
                    raise _Damage
            except (_Damage, struct.error):
                self._fail("the stream is damaged")

    def _tell(self, kind: str, times: tuple[int, int], text: str) -> None:
        self.events.append(Event(kind, _seconds(times[0]), text))

    def _message(self) -> tuple[bytes, tuple[int, int], _Body] | None:
        head = self._stream.read(_MESSAGE.size)
        if not head:
            return None
        if len(head) < _MESSAGE.size:
            self._fail("the stream breaks off inside a message")
        letters, length, real, monotonic = _MESSAGE.unpack(head)
        if length > _MOST_BYTES:
            self._fail("the stream is damaged")
        content = self._stream.read(length)
        if len(content) < length:
            self._fail("the stream breaks off inside a message")
        return letters, (real, monotonic), _Body(content)

    def _header(self, body: _Body, times: tuple[int, int]) -> CacheInfo:
        try:
            version, size, started, monitor, slots = body.take(_HEADER)
            if version != _VERSION or size != RECORD_SIZE:
                self._fail(f"the stream is of version {version}, with records of {size} bytes")
            interface, reader, location, brox, host = (body.text() for _ in range(5))
            body.finish()
        except _Damage:
            self._fail("the stream is damaged")
        if interface != INTERFACE_VERSION:
            self._fail(f"the stream comes from a server of version {interface}")
        self._tell("attached", times, f"monitor {monitor}")
        return CacheInfo(location, brox, host, monitor, _known(started), slots, interface, reader)

    def _sample(self, body: _Body, times: tuple[int, int], kinds: Kinds) -> RecordedSample[Any]:
        sequence, late, slots, used, count, _ = body.take(_SAMPLE)
        if count > _MOST_RECORDS:
            raise _Damage
        memory = self._free_memory(count)
        processes: list[Process] = []
        for _ in range(count):
            process = self._record(body, memory, len(processes), kinds.mask)
            if process is not None:
                processes.append(process)
        body.finish()
        record = kinds.record if isinstance(kinds, Kind) else None
        return RecordedSample(
            sequence,
            _seconds(times[1]),
            _seconds(times[0]),
            Records(memory, len(processes), record),
            slots,
            used if used >= 0 else None,
            _seconds(late),
            processes,
        )

    def _record(self, body: _Body, memory: _Memory, index: int, mask: int) -> Process | None:
        """Lays a record out as the library gives it."""
        at = body.at
        size, bit, pid, session, started, user, state, name_size, blocks, _ = body.take(_RECORD)
        kind = _KINDS.get(bit)
        places = kind.places if kind else ()
        sizes_end = body.at + 2 * len(places)
        begin = sizes_end + name_size
        padding = -(2 * len(places) + name_size) % 4
        # The sizes of the blocks are the catalogue's; the version says so.
        if (
            at + size > len(body.content)
            or blocks != len(places)
            or name_size > NAME_SIZE
            or state >= len(_STATES)
            or begin + padding + sum(length for _, length in places) != at + size
        ):
            raise _Damage
        body.at = at + size
        if not bit & mask and mask != ALL.mask:
            return None
        to, content = memory.bytes, body.content
        base = index * RECORD_SIZE
        _IDENTITY.pack_into(to, base, pid, session)
        to[base + 1760 : base + 1760 + name_size] = content[sizes_end:begin]
        _KIND.pack_into(to, base + 1792, bit)
        begin += padding
        for offset, length in places:
            to[base + offset : base + offset + length] = content[begin : begin + length]
            begin += length
        return Process(_STATES[state], _known(started), None if user == _NOBODY else user)

    def _free_memory(self, count: int) -> _Memory:
        """Memory for as many records that nobody looks at any more, all zeros."""
        self._memories = [memory for memory in self._memories if memory.capacity >= count]
        for memory in self._memories:
            if memory.is_free():
                memory.bytes[:] = bytes(len(memory.bytes))
                return memory
        memory = _Memory(max(count, 1))
        self._memories = [*self._memories[-1:], memory]
        return memory

    def _finish(self) -> None:
        """All has been read: was it all there was?"""
        self._is_over = True
        if self._tool is not None:
            self._tool.finish()
        elif not self._has_ended:
            raise DamagedRecordingError("the stream was cut off: its end is missing")

    def _fail(self, sentence: str) -> NoReturn:
        self._is_over = True
        if self._tool is not None:
            self._tool.finish()
        raise DamagedRecordingError(sentence)


class _Tool:
    """tvsistat, which reads recordings, as a child that writes a stream."""

    def __init__(self, arguments: list[str]) -> None:
        self._says = tempfile.TemporaryFile()
        command = [_tool_file(), *arguments]
        try:
            self._child = subprocess.Popen(
                command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=self._says
            )
        except OSError as problem:
            self._says.close()
            raise RecordingError(
                f"{command[0]} cannot be run: {problem.strerror}: install tvsi-tools, or name the"
                " program in the environment variable TVSI_TVSISTAT"
            ) from None
        assert self._child.stdout is not None
        self.stream: IO[bytes] = self._child.stdout

    def end(self) -> None:
        self.stream.close()  # it ends at its next write
        if self._child.poll() is None:
            self._child.terminate()
        self._child.wait()
        self._says.close()

    def finish(self) -> None:
        """Waits for its end; raises what it had to say if that was no good one."""
        self.stream.close()
        status = self._child.wait()
        self._says.seek(0)
        lines = self._says.read().decode(errors="backslashreplace").splitlines()
        self._says.close()
        if status != 0:
            says = "\n".join(line.removeprefix("tvsistat: ") for line in lines)
            error = DamagedRecordingError if status == _DAMAGED else RecordingError
            raise error(says or f"tvsistat ended with status {status}")


def _tool_file() -> str:
    """The file that TVSI_TVSISTAT names; else the one in the path; else, in a source tree, what was
    built last."""
    if named := os.environ.get("TVSI_TVSISTAT"):
        return named
    root = Path(__file__).resolve().parent.parent.parent
    is_source_tree = (root / "src" / "tvsi.map").exists()
    built = root.glob("build/*/bin/tvsistat") if is_source_tree else iter(())
    newest = sorted(map(str, built), key=os.path.getmtime, reverse=True)
    return shutil.which("tvsistat") or (newest[0] if newest else "tvsistat")


def open(
    source: str | os.PathLike[str] | IO[bytes],
    *,
    brox: str | None = None,
    cache: str | None = None,
    start: str | datetime | None = None,
    end: str | datetime | None = None,
) -> Recording:
    """Opens what was recorded: `with tvsi.open("prod.tvr") as recording: ...`.

    `source` is a recording or a directory of them, as `tvsistat --write` and the service
    tvsi-recorder@ make them; a file with a sample stream; or a binary file object that one comes
    from, as the pipe of `ssh host tvsi-reader --brox prod`. Files are read by the program tvsistat, which
    must be installed; `brox` or `cache` names the one wanted where a recording has several, and
    `start` and `end` are moments as tvsistat takes them ("10:00", "2h30m" ago) or as datetime.

    Raises RecordingError with tvsistat's sentence, DamagedRecordingError when it is no recording.
    """
    if not isinstance(source, (str, os.PathLike)):
        if (brox, cache, start, end) != (None,) * 4:
            raise TypeError("a stream is read whole: brox, cache, start and end are for files")
        return Recording(source)
    name = os.fspath(source)
    if "\0" in name:
        raise BadArgumentError(f"{name!r} has a NUL in it")
    arguments = ["--export=stream", f"--read={name if name != '-' else './-'}"]
    for option, moment in (("start", start), ("end", end)):
        if moment is not None:
            text = moment if isinstance(moment, str) else moment.astimezone().isoformat()
            arguments.append(f"--{option}={text}")
    arguments += [f"--brox={brox}"] * (brox is not None) + [f"--cache={cache}"] * (cache is not None)
    tool = _Tool(arguments)
    return Recording(tool.stream, tool)
