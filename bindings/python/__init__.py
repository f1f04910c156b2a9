"""Live video production: sources, mixers, titles and sinks, and their frames as NumPy arrays."""

from . import _quolsdk
from ._quolsdk import *
from ._quolsdk import __version__

__all__ = [name for name in dir(_quolsdk) if not name.startswith("_")]
