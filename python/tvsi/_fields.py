"""What a record is made of: fields, their places in it, and the kinds of process that have them."""

from __future__ import annotations

import ctypes
from collections.abc import Iterator, Mapping
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any, ClassVar, Generic, Protocol, Self, TypeVar

RECORD_SIZE = 1800
NAME_SIZE = 32
_TYPES: dict[str, tuple[Any, str, str]] = {  # of ctypes, struct and NumPy
    "i32": (ctypes.c_int32, "i", "<i4"),
    "u32": (ctypes.c_uint32, "I", "<u4"),
    "i64": (ctypes.c_int64, "q", "<i8"),
    "u64": (ctypes.c_uint64, "Q", "<u8"),
}


class IntArray(Protocol):
    """A field of several elements, as a view: a change of the record's bytes shows in it."""

    def __len__(self) -> int: ...
    def __iter__(self) -> Iterator[int]: ...
    def __getitem__(self, index: int) -> int: ...


@dataclass(frozen=True)
class Field:
    """What the catalogue says of a field; tvsi-stats(7) explains the words."""

    offset: int
    """Bytes from the start of the record."""
    number_type: str
    """"i32", "u32", "i64" or "u64"."""
    meaning: str
    """"counter", "gauge", "position", "flag", "state", "identifier" or "time"."""
    unit: str
    """"none", "unknown", "number", "nanoseconds" ... "seconds", "bytes" ..., "percent"."""
    aggregation: str
    """How the values of several processes become one: "sum", "max" or "none"."""
    group: str
    title: str
    """At most eight letters, for a narrow column."""
    sentence: str
    count: int = 1
    """Elements: 1, or the length of an array."""
    name: str = ""

    def __set_name__(self, owner: type, name: str) -> None:
        object.__setattr__(self, "name", name)

    @property
    def symbol(self) -> str:
        """What stands behind a number: "ms", "KiB"; "?" where nobody recorded the unit."""
        return _units()[self.unit][0]

    @property
    def base_unit(self) -> str:
        """"seconds", "bytes", "ratio" or "number"; "" for none, "?" for unknown."""
        return _units()[self.unit][1]

    @property
    def factor(self) -> float:
        """What one of the unit is in the base unit: 0.001 for milliseconds."""
        return _units()[self.unit][2]

    @property
    def size(self) -> int:
        """Bytes of one element."""
        return ctypes.sizeof(_TYPES[self.number_type][0])

    @property
    def struct_format(self) -> str:
        """The letter of one element, for the module struct."""
        return _TYPES[self.number_type][1]

    @property
    def array_format(self) -> str | tuple[str, tuple[int]]:
        """The type for NumPy."""
        letter = _TYPES[self.number_type][2]
        return letter if self.count == 1 else (letter, (self.count,))


Fields = Mapping[str, Field]


def _units() -> Mapping[str, tuple[str, str, float]]:
    from .records import UNITS

    return UNITS


# A field of this type, with the arguments of Field behind the type. The class declares it as the
# number that its records have there, so it is Any.
def i32(offset: int, *described: Any) -> Any:
    return Field(offset, "i32", *described)


def u32(offset: int, *described: Any) -> Any:
    return Field(offset, "u32", *described)


def i64(offset: int, *described: Any) -> Any:
    return Field(offset, "i64", *described)


def u64(offset: int, *described: Any) -> Any:
    return Field(offset, "u64", *described)


if TYPE_CHECKING:

    class _Structure:
        """ctypes.Structure as records use it: the type checker takes any attribute for one of its."""

        _fields_: ClassVar[Any]

        @classmethod
        def from_buffer(cls, source: bytearray, offset: int = 0) -> Self: ...

else:
    _Structure = ctypes.Structure


class RecordFields(_Structure):
    """What identifies a record's process. A record is a view of bytes, which it keeps alive; they
    are as they stood when they were copied, and the server may have been writing them."""

    fields: ClassVar[Fields]
    """The numbers of the record, by name, in the order of their places."""
    olvName: bytes
    """The process's name, up to its first NUL."""

    processId: int = i32(0, "identifier", "none", "none", "sessions", "pid", "process id")
    sessionId: int = i32(4, "identifier", "none", "none", "sessions", "session", "session id")
    statType: int = u32(1792, "state", "none", "none", "sessions", "kind", "bit of the kind")

    @property
    def name(self) -> str:
        """The process's name; bytes that are no UTF-8 stand as \\xNN."""
        return self.olvName.decode(errors="backslashreplace")

    def values(self) -> dict[str, int | list[int]]:
        """All numbers, by name; a copy."""
        return {
            name: getattr(self, name) if field.count == 1 else list(getattr(self, name))
            for name, field in self.fields.items()
        }

    def __repr__(self) -> str:
        return f"<{type(self).__name__} {self.name!r} pid {self.processId}>"


R = TypeVar("R", bound=RecordFields)
R_co = TypeVar("R_co", bound=RecordFields, covariant=True)


def layout(record: type[R]) -> type[R]:
    """Gives the class the structure that its fields, and those of its bases, declare."""
    declared = {
        name: field
        for base in reversed(record.__mro__)
        for name, field in vars(base).items()
        if isinstance(field, Field)
    }
    record.fields = dict(sorted(declared.items(), key=lambda item: item[1].offset))
    parts: list[tuple[int, str, Any]] = [(1760, "olvName", ctypes.c_char * NAME_SIZE)]
    for field in declared.values():
        element = _TYPES[field.number_type][0]
        parts.append((field.offset, field.name, element * field.count if field.count > 1 else element))
    structure: list[tuple[str, Any]] = []
    end = 0
    for offset, name, kind in [*sorted(parts, key=lambda part: part[0]), (RECORD_SIZE, "", None)]:
        if offset > end:
            structure.append((f"_gap{end}", ctypes.c_char * (offset - end)))
        if kind is not None:
            structure.append((name, kind))
            end = offset + ctypes.sizeof(kind)
    record._fields_ = structure
    return record


@dataclass(frozen=True)
class Kinds:
    """A set of kinds: `tvsi.VOK | tvsi.BROX`."""

    mask: int

    def __or__(self, other: Kinds) -> Kinds:
        return Kinds(self.mask | other.mask)

    def __contains__(self, other: Kinds) -> bool:
        return other.mask & ~self.mask == 0


class Kind(Kinds, Generic[R_co]):
    """A kind of process, and the class of its records."""

    def __init__(
        self,
        name: str,
        short_name: str,
        title: str,
        bit: int,
        record: type[R_co],
        places: tuple[tuple[int, int], ...],
    ) -> None:
        super().__init__(bit)
        self.__dict__.update(
            name=name, short_name=short_name, title=title, record=record, places=places
        )

    name: str
    """As in shrpcstats.h: "SHRPC_VOK"."""
    short_name: str
    """As users type it: "vok"."""
    title: str
    record: type[R_co]
    places: tuple[tuple[int, int], ...]
    """Where the blocks of its records lie: offset and bytes."""

    @property
    def fields(self) -> Fields:
        """What the catalogue says of the fields of its records."""
        return self.record.fields

    def __repr__(self) -> str:
        return f"<Kind {self.name}>"
