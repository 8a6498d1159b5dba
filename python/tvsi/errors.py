"""The statuses of tvsierr.h as exceptions, each with a sentence."""

from __future__ import annotations

from .records import SENTENCES

__all__ = [
    "AlreadyAttachedError",
    "AttachFailedError",
    "BadArgumentError",
    "BadRegexError",
    "CacheNotFoundError",
    "DamagedRecordingError",
    "LibraryMissingError",
    "NoBroxError",
    "NotAttachedError",
    "NotFoundError",
    "OtherCacheAttachedError",
    "RecordingError",
    "SeveredError",
    "TvsiError",
    "WatcherError",
    "WrongVersionError",
]


class TvsiError(Exception):
    """A call failed: `status` is the library's, `sentence` its own text or that of the status."""

    status: int = 0

    def __init__(self, sentence: str = "", status: int | None = None) -> None:
        self.status = type(self).status if status is None else status
        self.sentence = sentence or SENTENCES.get(self.status, f"the library answers {self.status}")
        super().__init__(self.sentence)


class LibraryMissingError(TvsiError):
    """The shared library could not be loaded (no status of the library's)."""


class RecordingError(TvsiError):
    """A recording could not be read (no status of the library's)."""


class DamagedRecordingError(RecordingError):
    """What was read is damaged, or cut off, or no recording at all; what could be read was given."""


class AlreadyAttachedError(TvsiError):
    """The cache named is the one that is attached."""

    status = 2


class NotFoundError(TvsiError, LookupError):
    """No process of the cache matches; the cache stays attached."""

    status = 3


class BadArgumentError(TvsiError, ValueError):
    """An argument was refused; nothing was looked at."""

    status = 4


class SeveredError(TvsiError):
    """The cache has gone since the attach. Raised once; after it, queries raise NotAttachedError."""

    status = 5


class NoBroxError(TvsiError, LookupError):
    """The cache is on another host than its Brox; it stays attached."""

    status = 6


class NotAttachedError(TvsiError):
    """This cache is not, or no longer, attached."""

    status = 7


class OtherCacheAttachedError(TvsiError):
    """Another cache is attached, and a process can attach one at a time."""

    status = 8


class AttachFailedError(TvsiError):
    """The segment could not be mapped, or it failed a check."""

    status = 9


class WatcherError(TvsiError):
    """The thread that watches the cache could not be started."""

    status = 10


class WrongVersionError(TvsiError):
    """The cache belongs to a server of another version."""

    status = 11


class CacheNotFoundError(TvsiError, LookupError):
    """No cache on this host serves the Brox named."""

    status = 12


class BadRegexError(TvsiError, ValueError):
    """The regular expression does not compile."""

    status = 13


_BY_STATUS = {error.status: error for error in TvsiError.__subclasses__() if error.status}


def error_of(status: int, sentence: str = "") -> TvsiError:
    """The exception for a status of the library."""
    return _BY_STATUS.get(status, TvsiError)(sentence, status)
