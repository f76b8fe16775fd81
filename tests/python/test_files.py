"""qarnuv.load, save and stats through the library's file layer, glTF included."""

import json
import struct
import subprocess
import zlib
from pathlib import Path

import numpy as np
import pytest

import qarnuv
from testmeshes import sphere, torus


@pytest.fixture(scope="module")
def atlas_mesh():
    vertices, faces = torus(ring=36, tube=14, bumps=0.2)
    return vertices, faces, qarnuv.unwrap(vertices, faces)


def tiny_png(width=4, height=4):
    """A valid RGB PNG, written by hand."""
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data) & 0xFFFFFFFF)
    rows = b"".join(b"\0" + bytes([255, 0, 0]) * width for _ in range(height))
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)) +
            chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))


# Positions travel as floats in glTF; texture coordinates as floats in PLY and glTF.
PRECISION = {".obj": (0.0, 0.0), ".ply": (0.0, 1e-7), ".glb": (1e-6, 1e-7), ".gltf": (1e-6, 1e-7)}


@pytest.mark.parametrize("extension", sorted(PRECISION))
def test_round_trip_keeps_corners(atlas_mesh, tmp_path, extension):
    vertices, faces, atlas = atlas_mesh
    path = tmp_path / ("atlas" + extension)
    qarnuv.save(path, vertices, faces, atlas.uv, atlas.corner_uv)
    mesh = qarnuv.load(str(path))
    position_tolerance, uv_tolerance = PRECISION[extension]
    np.testing.assert_array_equal(mesh.faces, faces)
    np.testing.assert_allclose(mesh.vertices, vertices, rtol=0, atol=position_tolerance)
    assert mesh.vertices.dtype == np.float64 and mesh.faces.dtype == np.int32
    np.testing.assert_allclose(mesh.uv[mesh.corner_uv], atlas.uv[atlas.corner_uv], rtol=0, atol=uv_tolerance)


def test_plain_meshes_and_per_vertex_coordinates(tmp_path):
    vertices, faces = sphere()
    qarnuv.save(tmp_path / "plain.stl", vertices, faces)
    plain = qarnuv.load(tmp_path / "plain.stl")
    assert plain.uv is None and plain.corner_uv is None
    assert len(plain.faces) == len(faces)
    # uv alone: one row per vertex, as OFF keeps it.
    uv = (vertices[:, :2] + 1.0) / 2.0
    qarnuv.save(tmp_path / "per_vertex.off", vertices, faces, uv)
    back = qarnuv.load(tmp_path / "per_vertex.off")
    np.testing.assert_allclose(back.uv[back.corner_uv], uv[faces], atol=1e-12)


def test_texture_is_embedded_in_glb(atlas_mesh, tmp_path):
    vertices, faces, atlas = atlas_mesh
    png = tiny_png()
    (tmp_path / "atlas.png").write_bytes(png)
    qarnuv.save(tmp_path / "textured.glb", vertices, faces, atlas.uv, atlas.corner_uv, texture=tmp_path / "atlas.png")
    data = (tmp_path / "textured.glb").read_bytes()
    assert data[:4] == b"glTF" and png in data
    length = struct.unpack("<I", data[12:16])[0]
    document = json.loads(data[20:20 + length])
    assert document["images"][0]["mimeType"] == "image/png"
    assert document["materials"][0]["pbrMetallicRoughness"]["baseColorTexture"]["index"] == 0
    assert document["meshes"][0]["primitives"][0]["material"] == 0
    assert len(qarnuv.load(tmp_path / "textured.glb").faces) == len(faces)


def test_bad_files_and_arrays_raise_value_error(atlas_mesh, tmp_path):
    vertices, faces, atlas = atlas_mesh
    with pytest.raises(ValueError, match="missing.obj: cannot open"):
        qarnuv.load(tmp_path / "missing.obj")
    (tmp_path / "broken.glb").write_bytes(b"glTF\x02\x00\x00\x00")
    with pytest.raises(ValueError, match="broken.glb: not a valid GLB file"):
        qarnuv.load(tmp_path / "broken.glb")
    with pytest.raises(ValueError, match="unsupported extension"):
        qarnuv.save(tmp_path / "atlas.xyz", vertices, faces)
    with pytest.raises(ValueError, match="corner_uv row 0 refers to uv row"):
        qarnuv.save(tmp_path / "a.obj", vertices, faces, atlas.uv, atlas.corner_uv + len(atlas.uv))
    with pytest.raises(ValueError, match="corner_uv needs uv"):
        qarnuv.save(tmp_path / "a.obj", vertices, faces, None, atlas.corner_uv)
    with pytest.raises(ValueError, match="one row per vertex"):
        qarnuv.save(tmp_path / "a.obj", vertices, faces, atlas.uv)
    with pytest.raises(ValueError, match="corner_uv has 3 rows"):
        qarnuv.save(tmp_path / "a.obj", vertices, faces, atlas.uv, atlas.corner_uv[:3])
    with pytest.raises(ValueError, match="uv row 2 is not finite"):
        bad = atlas.uv.copy()
        bad[2, 1] = np.nan
        qarnuv.save(tmp_path / "a.obj", vertices, faces, bad, atlas.corner_uv)
    with pytest.raises(ValueError, match="can be embedded in .gltf and .glb files only"):
        qarnuv.save(tmp_path / "a.obj", vertices, faces, atlas.uv, atlas.corner_uv, texture=tmp_path / "none.png")
    qarnuv.save(tmp_path / "plain.ply", vertices, faces)
    with pytest.raises(ValueError, match="no texture coordinates"):
        qarnuv.stats(tmp_path / "plain.ply")
    assert not (tmp_path / "atlas.xyz").exists()


def test_stats_match_the_program(atlas_mesh, tool, tmp_path):
    vertices, faces, atlas = atlas_mesh
    path = tmp_path / "atlas.obj"
    qarnuv.save(path, vertices, faces, atlas.uv, atlas.corner_uv)
    done = subprocess.run([tool, "stats", str(path), "--json"], capture_output=True, text=True, timeout=300)
    assert done.returncode == 0, done.stderr
    expected = json.loads(done.stdout)
    expected.pop("atlas")
    figures = qarnuv.stats(Path(path))
    assert set(figures) == set(expected)
    for key, value in expected.items():
        assert figures[key] == pytest.approx(value, rel=1e-5), key
    from_arrays = qarnuv.stats(vertices, faces, atlas.uv, atlas.corner_uv)
    assert from_arrays == pytest.approx(figures)
    assert from_arrays["charts"] == atlas.charts and from_arrays["overlapping_faces"] == 0
    quick = qarnuv.stats(vertices, faces, atlas.uv, atlas.corner_uv, overlaps=False)
    assert quick["overlapping_faces"] is None and quick["overlap_exact"] is None
