"""examples/dask_batch.py on three generated meshes: a local cluster of two
workers started by the example, and a running cluster given by address."""

import os
import subprocess
import sys
from pathlib import Path

import pytest

import qarnuv
from testmeshes import bumpy_grid, sphere, torus

EXAMPLE = Path(os.environ.get("QARNUV_SOURCE_DIR", Path(__file__).parents[2])) / "examples" / "dask_batch.py"


@pytest.fixture
def scans(tmp_path):
    folder = tmp_path / "scans"
    folder.mkdir()
    for name, (vertices, faces) in [("torus.ply", torus(bumps=0.2)), ("sphere.stl", sphere()),
                                    ("patch.glb", bumpy_grid(30))]:
        qarnuv.save(folder / name, vertices, faces)
    (folder / "readme.txt").write_text("not a mesh\n")
    return folder


def run_example(*args):
    done = subprocess.run([sys.executable, str(EXAMPLE), *map(str, args)], capture_output=True, text=True, timeout=300)
    assert done.returncode == 0, done.stdout + done.stderr
    return done.stdout


def check_atlases(scans, out):
    written = sorted(p.name for p in out.iterdir())
    assert written == ["patch.glb", "sphere.obj", "torus.ply"]
    for name in written:
        source = qarnuv.load(scans / ({"sphere.obj": "sphere.stl"}.get(name, name)))
        atlas = qarnuv.load(out / name)
        assert len(atlas.faces) == len(source.faces)
        assert atlas.uv is not None and (atlas.corner_uv >= 0).all()
        figures = qarnuv.stats(out / name)
        assert figures["overlapping_faces"] == 0 and figures["flipped_faces"] == 0, name
        assert figures["in_unit_square"]


def test_local_cluster_of_two_workers(scans, tmp_path):
    out = run_example(scans, tmp_path / "out", "--workers", 2, "--resolution", 512)
    check_atlases(scans, tmp_path / "out")
    lines = out.splitlines()
    assert sum(line.startswith("[") and "/3] " in line for line in lines) == 3, out
    assert lines[-1].startswith("3 files: 3 unwrapped, 0 failed"), out


# Debian's distributed and tornado disagree about event loops; harmless here.
@pytest.mark.filterwarnings("ignore:make_current is deprecated:DeprecationWarning")
def test_cluster_given_by_address(scans, tmp_path):
    distributed = pytest.importorskip("distributed")
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None) as cluster:
        assert len(cluster.workers) == 2
        run_example(scans, tmp_path / "out", "--scheduler", cluster.scheduler_address, "--format", "glb")
    written = sorted(p.name for p in (tmp_path / "out").iterdir())
    assert written == ["patch.glb", "sphere.glb", "torus.glb"]
    for name in written:
        assert qarnuv.stats(tmp_path / "out" / name)["flipped_faces"] == 0
