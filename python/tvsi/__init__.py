"""Live statistics of a Talvex database server on the same host.

    import tvsi

    with tvsi.attach(brox="prod") as cache:
        for sample in cache.samples(1.0, tvsi.VOK):
            for vok in sample.records:
                print(vok.name, vok.sessionId, vok.commitCount)

A record has the fields of its kind by the names of tvsi-stats(7), and `tvsi.VOK.fields` their units
and meanings. What fails raises a TvsiError with the library's sentence. The package needs libtvsi,
and NumPy only for Records.array().
"""

from . import errors, records
from ._cache import Cache, Records, Sample, attach
from ._fields import Field, Fields, IntArray, Kind, Kinds
from .errors import *
from .records import *

__version__ = records.RELEASE
__all__ = ["Cache", "Field", "Fields", "IntArray", "Kind", "Kinds", "Records", "Sample", "attach"]
__all__ += errors.__all__
__all__ += records.__all__
