# SPDX-License-Identifier: Apache-2.0
"""The shared library: where it is, and that one call at a time enters it."""
from __future__ import annotations

import functools
import os
import pathlib
import threading
from typing import Any

import cffi

from ._cdef import CDEF

NAME = 'libzel_v6comp_lib.so.1'
VARIABLE = 'V6COMP_LIBRARY'

ffi: Any = cffi.FFI()
ffi.cdef(CDEF)

# One call at a time may change tables, in the whole process. Taken again by the thread that has it: a log function that
# calls the library gets the library's refusal instead of waiting for itself.
turn = threading.RLock()


def library_path() -> str:
    """What is loaded: the file that V6COMP_LIBRARY names, else the one beside this package, else the one that was
    installed with it (PREFIX/lib, where this is PREFIX/lib/python3/dist-packages/v6comp), else the loader's choice."""
    named = os.environ.get(VARIABLE)
    if named:
        return named
    package = pathlib.Path(__file__).resolve().parent
    for folder in (package, *package.parents[2:3]):
        if (folder / NAME).exists():
            return str(folder / NAME)
    return NAME


@functools.lru_cache(maxsize=None)
def library() -> Any:
    """The library, loaded when it is first needed."""
    path = library_path()
    try:
        loaded = ffi.dlopen(path)
        loaded.zel_v6comp_table_open  # an older library has no tables
    except (OSError, AttributeError) as error:
        raise ImportError(f'{error}: {VARIABLE} may name the file of {NAME}', name='v6comp', path=path) from error
    return loaded
