"""Finding and loading the shared library, and the types of its functions."""

from __future__ import annotations

import ctypes
import os
from ctypes import POINTER, c_char_p, c_int, c_size_t, c_uint, c_void_p
from functools import cache
from pathlib import Path

from .errors import LibraryMissingError
from .records import INTERFACE_VERSION

FILE_NAME = f"libtvsi-{INTERFACE_VERSION}-64.so"

_TEXT = [c_char_p, c_size_t]
_COUNT = POINTER(c_int)
_ARGUMENTS = {
    "TvsiAttachSharedCache": [c_char_p, *_TEXT],
    "TvsiAttachSharedCacheForBrox": [c_char_p, *_TEXT],
    "TvsiDetachSharedCache": [],
    "TvsiStatsForProcessId": [c_int, c_void_p],
    "TvsiStatsForVokSessionId": [c_int, c_void_p],
    "TvsiStatsForPgsvrSessionId": [c_int, c_void_p],
    "TvsiStatsForVokSessionWithName": [c_char_p, c_void_p],
    "TvsiStatsForBrox": [c_void_p],
    "TvsiStatsForShrPcMon": [c_void_p],
    "TvsiFetchMaxProcessesInCache": [_COUNT],
    "TvsiCacheIsAlive": [],
    "TvsiAllStatsForMask": [c_uint, c_void_p, _COUNT],
    "TvsiAllVokStatsForVokKindRange": [c_int, c_int, c_void_p, _COUNT],
    "TvsiAllVokStatsForRegexName": [c_char_p, c_int, c_void_p, _COUNT, *_TEXT],
}


def _candidates() -> list[str]:
    """What to load: the file that TVSI_LIBRARY names and no other; else what the dynamic linker
    finds; else, in a source tree, what was built last."""
    if named := os.environ.get("TVSI_LIBRARY"):
        return [named]
    root = Path(__file__).resolve().parent.parent.parent
    is_source_tree = (root / "src" / "tvsi.map").exists()
    built = root.glob(f"build/*/lib/{FILE_NAME}") if is_source_tree else iter(())
    return [FILE_NAME, *map(str, sorted(built, key=os.path.getmtime, reverse=True))]


@cache
def library() -> ctypes.CDLL:
    """The library, loaded when it is first asked for: loading changes the process (see tvsi.h)."""
    problems = []
    for candidate in _candidates():
        try:
            loaded = ctypes.CDLL(candidate)
        except OSError as problem:
            problems.append(str(problem))
            continue
        for name, arguments in _ARGUMENTS.items():
            function = getattr(loaded, name)
            function.argtypes = arguments
            function.restype = c_int
        loaded.TvsiInit.restype = None
        loaded.TvsiInit()
        return loaded
    raise LibraryMissingError(
        f"{problems[0]}: install libtvsi, or name its file in the environment variable TVSI_LIBRARY"
    )
