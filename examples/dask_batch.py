#!/usr/bin/env python3
"""Unwrap every mesh of a folder with Dask: one task per file, and each task
reads its mesh, builds the atlas with qarnuv.unwrap and writes it.

    python3 examples/dask_batch.py IN_DIR OUT_DIR [--workers N]
    python3 examples/dask_batch.py IN_DIR OUT_DIR --scheduler tcp://HOST:8786

Without --scheduler a local cluster of worker processes is started on this
machine and closed at the end. With it, the tasks go to a running Dask
cluster (`dask scheduler` on one machine, `dask worker tcp://HOST:8786` on
each of the others), so a farm of machines shares a whole scan archive. Every
worker reads and writes the files itself: IN_DIR and OUT_DIR must be seen
under the same paths on all of them (a shared file system), and qarnuv must
be importable there. Atlases keep their input's name and kind (STL and OFF
give OBJ, which keeps texture coordinates); the exit status is 1 when a file
failed.
"""

import argparse
import os
import sys
import time
from pathlib import Path

MESH_KINDS = {".obj", ".ply", ".stl", ".off", ".gltf", ".glb"}
KEEPS_UV = {".obj", ".ply", ".gltf", ".glb"}


def unwrap_file(source, target, resolution=1024, gap=1, threads=0):
    """One task: read, unwrap, write. Runs on a worker; returns a summary."""
    import qarnuv  # imported where the task runs

    started = time.perf_counter()
    try:
        mesh = qarnuv.load(source)
        atlas = qarnuv.unwrap(mesh.vertices, mesh.faces, resolution=resolution, gap=gap, threads=threads)
        qarnuv.save(target, mesh.vertices, mesh.faces, atlas.uv, atlas.corner_uv)
    except ValueError as error:
        return {"file": Path(source).name, "error": str(error)}
    return {"file": Path(source).name, "output": str(target), "faces": len(mesh.faces), "charts": atlas.charts,
            "utilization": atlas.utilization, "stretch_l2": atlas.stretch_l2, "stretch_linf": atlas.stretch_linf,
            "seconds": atlas.seconds, "task_seconds": time.perf_counter() - started}


def plan(in_dir, out_dir, kind):
    """(source, target) pairs, sorted by name; refuses two sources writing one target."""
    sources = sorted(p for p in Path(in_dir).iterdir() if p.is_file() and p.suffix.lower() in MESH_KINDS)
    pairs, seen = [], {}
    for source in sources:
        suffix = "." + kind if kind else (source.suffix.lower() if source.suffix.lower() in KEEPS_UV else ".obj")
        target = Path(out_dir) / (source.stem + suffix)
        if target in seen:
            raise SystemExit(f"dask_batch: {seen[target]} and {source.name} would both be written to {target}")
        seen[target] = source.name
        pairs.append((str(source), str(target)))
    return pairs


def print_table(results, wall):
    width = max([4] + [len(r["file"]) for r in results])
    print(f"\n{'file':<{width}} {'faces':>10} {'charts':>7} {'util':>6} {'L2':>7} {'Linf':>7} {'seconds':>8}  result")
    for r in sorted(results, key=lambda r: r["file"]):
        if "error" in r:
            print(f"{r['file']:<{width}} {'-':>10} {'-':>7} {'-':>6} {'-':>7} {'-':>7} {'-':>8}  failed")
        else:
            print(f"{r['file']:<{width}} {r['faces']:>10} {r['charts']:>7} {r['utilization']:>6.3f} "
                  f"{r['stretch_l2']:>7.3f} {r['stretch_linf']:>7.3f} {r['seconds']:>8.2f}  ok")
    failed = sum("error" in r for r in results)
    print(f"{len(results)} files: {len(results) - failed} unwrapped, {failed} failed; {wall:.2f} s in all")


def main(argv=None):
    parser = argparse.ArgumentParser(description="Unwrap every mesh of a folder on a Dask cluster.")
    parser.add_argument("in_dir", help="folder with the meshes (.obj .ply .stl .off .gltf .glb)")
    parser.add_argument("out_dir", help="folder for the atlases (made when missing)")
    parser.add_argument("--scheduler", help="address of a running Dask scheduler (default: a local cluster)")
    parser.add_argument("--workers", type=int, default=2, help="worker processes of the local cluster (default 2)")
    parser.add_argument("--format", choices=["obj", "ply", "gltf", "glb"], help="output kind for every file")
    parser.add_argument("--resolution", type=int, default=1024, help="texture size in texels (default 1024)")
    parser.add_argument("--gap", type=int, default=1, help="texels kept free between charts (default 1)")
    parser.add_argument("--threads", type=int, default=None,
                        help="library threads per file (default: the cores shared among the local workers, "
                             "the library's setting on a remote cluster)")
    args = parser.parse_args(argv)

    in_dir, out_dir = Path(args.in_dir).resolve(), Path(args.out_dir).resolve()
    if not in_dir.is_dir():
        raise SystemExit(f"dask_batch: {in_dir}: not a folder")
    out_dir.mkdir(parents=True, exist_ok=True)
    pairs = plan(in_dir, out_dir, args.format)
    if not pairs:
        raise SystemExit(f"dask_batch: {in_dir}: no mesh files")

    from dask.distributed import Client, LocalCluster, as_completed

    started = time.perf_counter()
    cluster = None
    if args.scheduler:
        client = Client(args.scheduler)
        threads = args.threads if args.threads is not None else 0
    else:
        # One thread per worker process: each unwrap uses its own library threads.
        cluster = LocalCluster(n_workers=args.workers, threads_per_worker=1, processes=True, dashboard_address=None)
        client = Client(cluster)
        threads = args.threads if args.threads is not None else max(1, (os.cpu_count() or 1) // args.workers)
    try:
        futures = client.map(unwrap_file, [s for s, _ in pairs], [t for _, t in pairs], resolution=args.resolution,
                             gap=args.gap, threads=threads, pure=False)
        results = []
        for done, future in enumerate(as_completed(futures), 1):
            r = future.result()
            results.append(r)
            if "error" in r:
                print(f"[{done}/{len(pairs)}] {r['file']}: failed: {r['error']}", flush=True)
            else:
                print(f"[{done}/{len(pairs)}] {r['file']} -> {r['output']}: {r['faces']} faces, {r['charts']} charts, "
                      f"utilization {r['utilization']:.3f}, stretch L2 {r['stretch_l2']:.3f} "
                      f"Linf {r['stretch_linf']:.3f}, {r['seconds']:.2f} s", flush=True)
    finally:
        client.close()
        if cluster is not None:
            cluster.close()
    print_table(results, time.perf_counter() - started)
    return 1 if any("error" in r for r in results) else 0


if __name__ == "__main__":
    sys.exit(main())
