#include "unfold/MeshAdjacency.h"

namespace ORVO {

void MeshAdjacency::Build(const ITriMesh* mesh) {
    const int faces = mesh->GetTriangleCount();
    std::vector<int> ids(3 * static_cast<size_t>(faces));
    for (int f = 0; f < faces; ++f) mesh->GetTriangleVertexIds(f, &ids[3 * static_cast<size_t>(f)]);
    Build(std::move(ids), mesh->GetVertexCount());
}

void MeshAdjacency::Build(std::vector<int> triangleIds, int vertexCountIn) {
    vertexCount = vertexCountIn;
    triangles = std::move(triangleIds);
    faceCount = static_cast<int>(triangles.size() / 3);

    // Counting sort of the corners by vertex gives the vertex-to-face lists.
    vertexFaceStart.assign(static_cast<size_t>(vertexCount) + 1, 0);
    for (int id : triangles) ++vertexFaceStart[static_cast<size_t>(id) + 1];
    for (int v = 0; v < vertexCount; ++v) vertexFaceStart[v + 1] += vertexFaceStart[v];
    vertexFaces.resize(triangles.size());
    std::vector<int> fill(vertexFaceStart.begin(), vertexFaceStart.end() - 1);
    for (int f = 0; f < faceCount; ++f) {
        for (int k = 0; k < 3; ++k) {
            int v = triangles[3 * static_cast<size_t>(f) + k];
            // A degenerate face that names a vertex twice is listed once.
            if (k > 0 && triangles[3 * static_cast<size_t>(f)] == v) continue;
            if (k > 1 && triangles[3 * static_cast<size_t>(f) + 1] == v) continue;
            vertexFaces[fill[v]++] = f;
        }
    }
    // Shrink lists that skipped repeated corners.
    {
        size_t out = 0;
        int start = 0;
        for (int v = 0; v < vertexCount; ++v) {
            int end = fill[v];
            int newStart = static_cast<int>(out);
            for (int i = start; i < end; ++i) vertexFaces[out++] = vertexFaces[i];
            start = vertexFaceStart[v + 1];
            vertexFaceStart[v] = newStart;
        }
        vertexFaceStart[vertexCount] = static_cast<int>(out);
        vertexFaces.resize(out);
    }

    // The face across edge (a, b) is found among the faces of a: valences are
    // small, so this is linear in practice and needs no edge hash. When exactly
    // one other face g holds the edge, f is the only face g finds across it
    // too: the pair is set from f's side, and g's side skips the search.
    faceNeighbours.assign(triangles.size(), -1);
    std::vector<char> done(triangles.size(), 0);
    for (int f = 0; f < faceCount; ++f) {
        const int* t = &triangles[3 * static_cast<size_t>(f)];
        for (int k = 0; k < 3; ++k) {
            if (done[3 * static_cast<size_t>(f) + k]) continue;
            int a = t[k], b = t[(k + 1) % 3];
            if (a == b) continue;
            int found = -1, count = 0;
            for (int i = vertexFaceStart[a]; i < vertexFaceStart[a + 1]; ++i) {
                int g = vertexFaces[i];
                if (g == f) continue;
                const int* s = &triangles[3 * static_cast<size_t>(g)];
                if (s[0] == b || s[1] == b || s[2] == b) {
                    found = g;
                    ++count;
                }
            }
            if (count != 1) continue;
            faceNeighbours[3 * static_cast<size_t>(f) + k] = found;
            // g's edges between a and b (one, unless g is degenerate) see f alone.
            const int* s = &triangles[3 * static_cast<size_t>(found)];
            for (int j = 0; j < 3; ++j) {
                const int c = s[j], d = s[(j + 1) % 3];
                if ((c == a && d == b) || (c == b && d == a)) {
                    faceNeighbours[3 * static_cast<size_t>(found) + j] = f;
                    done[3 * static_cast<size_t>(found) + j] = 1;
                }
            }
        }
    }
}

std::vector<char> MeshAdjacency::BoundaryVertices() const {
    std::vector<char> boundary(vertexCount, 0);
    for (int h = 0; h < 3 * faceCount; ++h) {
        if (faceNeighbours[h] >= 0) continue;
        boundary[triangles[h]] = 1;
        boundary[triangles[3 * (h / 3) + (h % 3 + 1) % 3]] = 1;
    }
    return boundary;
}

}  // namespace ORVO
