from os import PathLike
from typing import Optional, TypedDict, Union, overload

import numpy as np
import numpy.typing as npt

__version__: str

_Path = Union[str, PathLike[str]]

class Atlas:
    """The result of unwrap()."""

    @property
    def uv(self) -> npt.NDArray[np.float64]:
        """(T, 2) texture coordinates in the unit square."""
    @property
    def corner_uv(self) -> npt.NDArray[np.int32]:
        """(F, 3) the uv row each face corner uses."""
    @property
    def charts(self) -> int: ...
    @property
    def utilization(self) -> float:
        """Share of the unit square covered by charts."""
    @property
    def stretch_l2(self) -> float:
        """Texture stretch over the surface (1 is none)."""
    @property
    def stretch_linf(self) -> float:
        """Largest per-face texture stretch."""
    @property
    def seconds(self) -> float:
        """Wall time the library took."""

class Mesh:
    """A mesh read by load()."""

    @property
    def vertices(self) -> npt.NDArray[np.float64]:
        """(V, 3) positions."""
    @property
    def faces(self) -> npt.NDArray[np.int32]:
        """(F, 3) vertex ids."""
    @property
    def uv(self) -> Optional[npt.NDArray[np.float64]]:
        """(T, 2) texture coordinates, or None."""
    @property
    def corner_uv(self) -> Optional[npt.NDArray[np.int32]]:
        """(F, 3) uv row per face corner (-1: none), or None."""

class Stats(TypedDict):
    faces: int
    corners_without_uv: int
    charts: int
    overlapping_faces: Optional[int]
    overlap_exact: Optional[bool]
    flipped_faces: int
    zero_area_faces: int
    utilization: float
    stretch_l2: float
    stretch_linf: float
    in_unit_square: bool

def unwrap(
    vertices: npt.ArrayLike,
    faces: npt.ArrayLike,
    charts: int = 0,
    resolution: int = 1024,
    gap: int = 1,
    strict: bool = True,
    threads: int = 0,
) -> Atlas:
    """Build a UV atlas of a triangle mesh.

    vertices: (V, 3) positions; faces: (F, 3) vertex ids of any integer dtype.
    charts: charts wanted, 0 lets the library choose. resolution, gap: texture
    size the packing plans for and texels kept between charts. strict: no
    flipped or overlapping output triangle. threads: 0 uses the library's setting.
    Releases the GIL; Ctrl-C in the main thread raises KeyboardInterrupt.
    Raises ValueError on bad input.
    """

def load(path: _Path) -> Mesh:
    """Read a mesh file (.obj .ply .stl .off .gltf .glb)."""

def save(
    path: _Path,
    vertices: npt.ArrayLike,
    faces: npt.ArrayLike,
    uv: Optional[npt.ArrayLike] = None,
    corner_uv: Optional[npt.ArrayLike] = None,
    *,
    texture: Optional[_Path] = None,
) -> None:
    """Write a mesh; texture (PNG or JPEG) is embedded in .gltf/.glb files."""

@overload
def stats(path: _Path, *, overlaps: bool = True) -> Stats: ...
@overload
def stats(
    vertices: npt.ArrayLike,
    faces: npt.ArrayLike,
    uv: npt.ArrayLike,
    corner_uv: npt.ArrayLike,
    *,
    overlaps: bool = True,
) -> Stats: ...
def set_log_file(path: _Path) -> None:
    """Where the library writes its log (default: QarnUVAtlas.txt in the current folder)."""
