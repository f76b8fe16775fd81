#pragma once
// Editing and measuring operations on any ITriMesh: splitting an edge,
// deleting triangles or vertices, dropping unused vertices, the average edge
// length, the bounding box and a triangle's unit normal. Status codes: 0 on
// success, -2 (with a log line) for a null pointer or an invalid id.
// Adjacency caches built for a mesh must be cleared after editing it.

#include <QarnUVAtlas/Export.h>
#include <QarnUVAtlas/Primitives.h>

#include <vector>

namespace ORVO {

class ITriMesh;

// Adds a vertex at `coord` and splits every triangle that has (v0, v1) as a
// side into two, keeping orientation: the old triangle keeps its id and the
// second half is appended. On a TriMesh the new vertex and corner attributes
// are interpolated along the edge. Writes the new vertex id to newVertex when
// not null. Returns 0, or -2 for a null mesh, ids out of range, v0 == v1 or an
// edge no triangle uses (the mesh is then unchanged).
ORVO_API int InsertVertexOnEdge(ITriMesh* triMesh, int v0, int v1, const Vector3& coord,
                                int* newVertex);

// Removes the listed triangles (duplicates allowed); the remaining triangles
// keep their relative order and are renumbered consecutively. Vertices are
// kept. Returns 0, or -2 for a null mesh or an id out of range (nothing removed).
ORVO_API int DeleteTriMeshTriangles(ITriMesh* triMesh, const std::vector<int>& triangleIds);

// Removes the listed vertices (duplicates allowed) and every triangle that uses
// one of them. The remaining vertices and triangles keep their relative order
// and are renumbered consecutively. Returns 0, or -2 for a null mesh or an id
// out of range (nothing removed).
ORVO_API int DeleteTriMeshVertices(ITriMesh* triMesh, const std::vector<int>& vertexIds);

// Removes every vertex that no triangle uses, renumbering as
// DeleteTriMeshVertices. Writes the number removed to `removed` when not null.
// Returns 0, or -2 for a null mesh or a triangle with a vertex id out of range.
ORVO_API int DeleteIsolatedVertices(ITriMesh* triMesh, int* removed);

// Mean length of the mesh's distinct undirected edges (a side shared by two
// triangles counts once). Returns 0, or -2 for a null argument or a mesh
// without triangles.
ORVO_API int CalculateAverageEdgeLength(const ITriMesh* triMesh, double* length);

// Axis-aligned box of all vertices (isolated ones included). Returns 0, or -2
// for a null argument or a mesh without vertices.
ORVO_API int CalculateTriMeshBoundingBox(const ITriMesh* triMesh, Vector3* bboxMin,
                                         Vector3* bboxMax);

// Normalised (p1 - p0) x (p2 - p0) over the corners of triangle fid in stored
// order; a zero-area triangle gives its (near-)zero cross product unscaled.
// Returns 0, or -2 for a null argument, fid out of range or a corner id out
// of range.
ORVO_API int ComputeTriangleNormal(const ITriMesh* triMesh, int fid, Vector3* normal);

}  // namespace ORVO
