"""Dynamic lens shading correction with NumPy arrays.

The compiled extension `mirvo._mirvo` holds the library's bindings; this
package re-exports them, so `mirvo.Core`, `mirvo.load_table` and the rest are
used as before, and pure-Python helpers (`mirvo.corpus`) live beside them.
"""

from ._mirvo import *  # noqa: F401,F403
from ._version import __version__ as __version__
