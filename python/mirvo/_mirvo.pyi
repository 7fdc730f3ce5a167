"""Type stubs of the compiled extension mirvo._mirvo; `mirvo` re-exports all of it."""

from os import PathLike
from typing import Optional, Sequence, Tuple, Union

import numpy as np
import numpy.typing as npt

# Paths with a NUL byte raise ValueError; objects made by Cls.__new__(Cls)
# without __init__ raise TypeError on any use; float attributes and arguments
# stored as float32 raise ValueError unless finite as float32.
_Path = Union[str, "PathLike[str]"]
_Levels = Union[int, Sequence[int]]

class Tuning:
    """The engine's tuning record; Tuning() is a copy of the built-in default."""

    version: Tuple[int, int, int, int]
    min_level_thd: float
    max_level_thd: float
    sat_ratio_thd: float
    smooth_thd: float
    limit_thd: float
    filter_input_stats: int
    prj_delta_thd: float
    tint_update_gain: float
    enable_temporal_filter: int
    BUL: npt.NDArray[np.float32]
    """Learned tint u, float32 (13, 17), a view into the record."""
    BVL: npt.NDArray[np.float32]
    """Learned tint v, float32 (13, 17), a view into the record."""
    BgUHXY: npt.NDArray[np.float32]
    """Learned u gradients, float32 (1480,): 24 x 31 horizontal edges, then 23 x 32 vertical ones."""
    BgVHXY: npt.NDArray[np.float32]
    """Learned v gradients, float32 (1480,)."""
    def __init__(self) -> None: ...
    def copy(self) -> Tuning: ...
    def __copy__(self) -> Tuning: ...
    def __deepcopy__(self, memo: dict) -> Tuning: ...

def default_tuning() -> Tuning:
    """A copy of the built-in default tuning record."""

def load_tuning(path: _Path) -> Tuning:
    """Reads a tuning header file; OSError if unreadable, ValueError if it would not load."""

def save_tuning(path: _Path, tuning: Tuning) -> None:
    """Writes a tuning header file that load_tuning reads back exactly."""

class Stats:
    """Per-cell Bayer statistics, channels R, Gr, Gb, B; the engine takes a 24 x 32 grid."""

    def __init__(
        self,
        sums: npt.ArrayLike,
        counts: npt.ArrayLike,
        sat_counts: Optional[npt.ArrayLike] = None,
        bit_depth: int = 14,
        black_level: _Levels = (0, 0, 0, 0),
        black_level_gain: Sequence[float] = (1.0, 1.0, 1.0, 1.0),
    ) -> None: ...
    @property
    def sums(self) -> npt.NDArray[np.uint32]:
        """uint32 (rows, cols, 4), a writable view into the statistics."""
    @property
    def counts(self) -> npt.NDArray[np.uint16]:
        """uint16 (rows, cols, 4), a writable view into the statistics."""
    @property
    def sat_counts(self) -> npt.NDArray[np.uint16]:
        """uint16 (rows, cols, 4), a writable view into the statistics."""
    @property
    def grid(self) -> Tuple[int, int]:
        """(rows, cols)."""
    @property
    def bit_depth(self) -> int: ...
    @property
    def black_level(self) -> Tuple[int, int, int, int]: ...
    @property
    def black_level_gain(self) -> Tuple[float, float, float, float]: ...

def load_stats(path: _Path) -> Stats:
    """Reads a statistics text dump (24 x 32 cells, sums and counts)."""

def save_stats(path: _Path, stats: Stats) -> None:
    """Writes a statistics text dump (sums and counts of a 24 x 32 grid)."""

def read_raw(
    path: _Path, width: int, height: int, bits: int, pattern: str, mipi: bool = False
) -> npt.NDArray[np.uint16]:
    """Reads a headerless raw frame (unpacked 16-bit or RAW10 MIPI) into uint16 (height, width)."""

def stats_from_raw(
    frame: npt.ArrayLike,
    pattern: str,
    bits: int,
    black_level: _Levels = 0,
    grid: Tuple[int, int] = (32, 24),
) -> Stats:
    """Statistics of a uint16 (height, width) frame; black levels in 14-bit units, grid as (cols, rows)."""

def render(
    frame: npt.ArrayLike,
    pattern: str,
    bits: int,
    black_level: _Levels = 0,
    table: Optional[npt.ArrayLike] = None,
    white_balance: Optional[Tuple[float, float, float]] = None,
    width: Optional[int] = None,
    look_table: Optional[npt.ArrayLike] = None,
) -> npt.NDArray[np.uint8]:
    """sRGB uint8 (height/2, width/2, 3) of a Bayer frame with the table's gains; look from look_table (default table)."""

def residual_shading(
    frame: npt.ArrayLike,
    pattern: str,
    bits: int,
    black_level: _Levels = 0,
    table: Optional[npt.ArrayLike] = None,
) -> Tuple[npt.NDArray[np.float32], npt.NDArray[np.float32]]:
    """(u, v): float32 (24, 32) log R/G and log B/G left after the table, about the grey cells' means; NaN elsewhere."""

def load_table(path: _Path) -> npt.NDArray[np.float32]:
    """Reads an LSC table header file into float32 (4, 13, 17), planes R, Gr, Gb, B."""

def save_table(path: _Path, table: npt.ArrayLike) -> None:
    """Writes float32 (4, 13, 17) as an LSC table header file (5 decimals); OSError if a write fails."""

def read_dng(path: _Path) -> dict:
    """Reads a Bayer DNG: 'frame' (uint16 active area), 'pattern', 'bit_depth', 'shift', 'black_level',
    'stats_black_level' (B, Gr, Gb, R, 14-bit units), 'white_level', 'active_area', 'as_shot_neutral',
    'gain_map' (float32 (4, 13, 17) or None), 'gain_maps' (the native maps), 'gain_map_list'."""

def write_dng_gain_map(src: _Path, dst: _Path, table: npt.ArrayLike) -> None:
    """Writes a copy of src whose OpcodeList2 GainMaps are the table's planes, everything else kept."""

def import_table(path: _Path, ct: Optional[int] = None) -> npt.NDArray[np.float32]:
    """Imports a JSON lens shading calibration as mirvo table --import writes it (5 decimals)."""

class Core:
    """The per-frame engine: Core(tuning), set_sensor_crop, then process() per frame."""

    debug: bool
    """Diagnostics switch: while on, frames record their grids for diagnostics()."""
    def __init__(self, tuning: Optional[Tuning] = None, guard: bool = False) -> None:
        """ValueError if the tuning holds a non-finite value; guard=True: the output guard of run --guard."""
    def set_sensor_crop(
        self, in_w: float, in_h: float, offs_x: float, offs_y: float, out_w: float, out_h: float
    ) -> None: ...
    def process(self, stats: Stats, base_table: npt.ArrayLike) -> npt.NDArray[np.float32]:
        """One frame: returns the output table float32 (4, 13, 17); RuntimeError if the library refuses it."""
    def diagnostics(self) -> dict[str, Union[float, npt.NDArray[np.generic]]]:
        """The diagnostic store: dump key to grid array or scalar."""
    @property
    def projections(self) -> Optional[Tuple[float, float]]:
        """(prj_u, prj_v) of the last frame, None before a frame."""
    @property
    def temporal_update_gain(self) -> Optional[float]:
        """Temporal filter gain of the last frame, None before a frame."""
    @property
    def guarded_frames(self) -> Optional[int]:
        """Tables the guard replaced so far; None without the guard."""

_Frames = Union[npt.ArrayLike, Sequence[npt.ArrayLike]]

class CalibrationSummary:
    """What calibrate() found: the figures mirvo calibrate prints."""

    @property
    def falloff_ev(self) -> Tuple[float, float, float, float]:
        """Corner fall-off per channel (R, Gr, Gb, B) in EV: log2 of the centre over the corners' mean."""
    @property
    def rg_peak_to_peak(self) -> float:
        """Colour shading: peak to peak of log R/G over the nodes."""
    @property
    def bg_peak_to_peak(self) -> float:
        """Colour shading: peak to peak of log B/G over the nodes."""
    @property
    def clipped_share(self) -> float:
        """Share of the samples at the white level."""
    @property
    def residual_rms(self) -> float:
        """RMS of the blocks kept off the smooth surface (log units), the largest channel's."""
    @property
    def residual_p90(self) -> float:
        """90th percentile of |block - smooth surface| (log units)."""
    @property
    def outlier_share(self) -> float:
        """Share of the blocks the surface leaves out, the largest channel's."""
    @property
    def captures(self) -> int:
        """Captures averaged."""

def calibrate(
    frames: _Frames,
    pattern: str,
    bits: int,
    black_level: _Levels = 0,
    luminance_strength: float = 1.0,
) -> Tuple[npt.NDArray[np.float32], CalibrationSummary]:
    """Base table float32 (4, 13, 17) from uint16 (height, width) flat-field captures (one, a stack or a
    sequence, averaged), as mirvo calibrate makes it; ValueError with the program's reason for a bad shot."""

class ProfileLearningReport:
    """How well a learned profile describes the tables it was learned from."""

    @property
    def explained_u(self) -> float:
        """Share of the energy of the u (log R/G) differences the profile explains."""
    @property
    def explained_v(self) -> float:
        """Share of the energy of the v (log B/G) differences the profile explains."""
    @property
    def projection_u(self) -> list[float]:
        """Per table, its u difference projected onto BUL (reference 0, largest +-1)."""
    @property
    def projection_v(self) -> list[float]:
        """Per table, its v difference projected onto BVL."""

def learn_profile(
    tables: Union[npt.ArrayLike, Sequence[npt.ArrayLike]],
    reference: int = 0,
    tuning: Optional[Tuning] = None,
) -> Tuple[Tuning, ProfileLearningReport]:
    """Tuning with the tint profile learned from float32 (4, 13, 17) base tables of several illuminants
    (two or more), as mirvo learn makes it; ValueError with the program's reason for tables that cannot teach one."""
