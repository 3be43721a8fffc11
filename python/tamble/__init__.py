"""Tamble in Python: images as NumPy arrays, the plug-in's commands, projects
and their conversion, synthetic runs with known truth.

    import tamble
    with tamble.Session() as session:
        image = session.add_image("a", numpy.zeros((64, 64), numpy.float32))
        session.run("median-filter", diameter=5)
        image.field            # a float32 view of the image's values

See docs/python.md.
"""

import os as _os
import sys as _sys

# The extension's arrays are NumPy's. It was built for one interpreter
# (Debian's /usr/bin/python3, which python3-numpy serves): say so rather than
# fail inside the extension's start.
try:
    import numpy as _numpy  # noqa: F401
except ImportError as _missing:
    raise ImportError(
        f"tamble needs NumPy, which {_sys.executable} does not have; the package is built "
        "for Debian's python3 with python3-numpy: run it with /usr/bin/python3 "
        "(docs/python.md)") from _missing

from . import _tamble
from ._tamble import (
    MARKER_DTYPE,
    AlgoError,
    Command,
    DimError,
    Error,
    FileError,
    HostError,
    Image,
    IndexError,
    Session,
    StateError,
    synth,
)

# An installed package carries the plug-in beside its module; in the build
# tree the module knows where the plug-in was built ($TAMBLE_PLUGIN over both).
_beside = _os.path.join(_os.path.dirname(__file__), "libtamble.so")
if _os.path.exists(_beside) and not _os.environ.get("TAMBLE_PLUGIN"):
    _tamble._use_plugin_beside(_beside)

# tamble.IndexError is left out of `import *`, which would hide the builtin
# IndexError of the importing module.
__all__ = [
    "MARKER_DTYPE",
    "AlgoError",
    "Command",
    "DimError",
    "Error",
    "FileError",
    "HostError",
    "Image",
    "Session",
    "StateError",
    "synth",
]
