"""Meshes the Python tests generate with numpy, as (vertices, faces)."""

import numpy as np


def torus(ring=48, tube=20, major=1.0, minor=0.35, bumps=0.0):
    """A closed genus-one surface, optionally bumpy, as (vertices, faces)."""
    u, v = np.meshgrid(np.arange(ring) * 2 * np.pi / ring, np.arange(tube) * 2 * np.pi / tube, indexing="ij")
    r = minor * (1.0 + bumps * np.sin(5 * u) * np.cos(3 * v))
    vertices = np.stack([(major + r * np.cos(v)) * np.cos(u), (major + r * np.cos(v)) * np.sin(u), r * np.sin(v)], -1)
    i, j = np.meshgrid(np.arange(ring), np.arange(tube), indexing="ij")
    a = i * tube + j
    b = ((i + 1) % ring) * tube + j
    c = ((i + 1) % ring) * tube + (j + 1) % tube
    d = i * tube + (j + 1) % tube
    faces = np.concatenate([np.stack([a, b, c], -1).reshape(-1, 3), np.stack([a, c, d], -1).reshape(-1, 3)])
    return vertices.reshape(-1, 3), faces.astype(np.int32)


def bumpy_grid(n=40, height=0.2):
    """An open disc-like patch: a grid over [0, 1]^2 with a wavy height."""
    x, y = np.meshgrid(np.linspace(0, 1, n + 1), np.linspace(0, 1, n + 1), indexing="ij")
    z = height * np.sin(6 * x) * np.cos(5 * y)
    vertices = np.stack([x, y, z], -1).reshape(-1, 3)
    i, j = np.meshgrid(np.arange(n), np.arange(n), indexing="ij")
    a = i * (n + 1) + j
    faces = np.concatenate([np.stack([a, a + n + 1, a + n + 2], -1).reshape(-1, 3),
                            np.stack([a, a + n + 2, a + 1], -1).reshape(-1, 3)])
    return vertices, faces.astype(np.int64)


def sphere(rings=24, segments=32):
    """A closed genus-zero surface with poles, as (vertices, faces)."""
    theta = np.linspace(0, np.pi, rings + 1)[1:-1]
    phi = np.arange(segments) * 2 * np.pi / segments
    t, p = np.meshgrid(theta, phi, indexing="ij")
    body = np.stack([np.sin(t) * np.cos(p), np.sin(t) * np.sin(p), np.cos(t)], -1).reshape(-1, 3)
    vertices = np.concatenate([[[0, 0, 1]], body, [[0, 0, -1]]])
    faces = []
    ring = lambda r, s: 1 + r * segments + s % segments
    for s in range(segments):
        faces.append([0, ring(0, s), ring(0, s + 1)])
        faces.append([len(vertices) - 1, ring(rings - 2, s + 1), ring(rings - 2, s)])
        for r in range(rings - 2):
            faces.append([ring(r, s), ring(r + 1, s), ring(r + 1, s + 1)])
            faces.append([ring(r, s), ring(r + 1, s + 1), ring(r, s + 1)])
    return vertices, np.array(faces, dtype=np.int32)
