"""QarnUVAtlas on numpy arrays.

Cut a triangle mesh into charts, flatten each chart with low distortion and
pack them into one square texture atlas::

    import qarnuv
    mesh = qarnuv.load("scan.ply")
    atlas = qarnuv.unwrap(mesh.vertices, mesh.faces)
    qarnuv.save("scan_atlas.glb", mesh.vertices, mesh.faces, atlas.uv, atlas.corner_uv)

Library failures and bad input raise ValueError with the library's message.
"""

from ._qarnuv import Atlas, Mesh, __version__, load, save, set_log_file, stats, unwrap

__all__ = ["Atlas", "Mesh", "load", "save", "set_log_file", "stats", "unwrap", "__version__"]
