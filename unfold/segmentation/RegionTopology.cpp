// Face geometry and region topology shared by the segmentation stages: the
// Euler characteristic of a face region, its edge-connected parts, and the
// splitting that leaves every region a topological disc.

#include "unfold/segmentation/RegionTopology.h"

#include <vector>

namespace ORVO {
namespace {

// Splits a region in two by growing from two far-apart faces, front by front.
// Returns the faces given the new label.
void SplitInTwo(const MeshAdjacency& adj, const FaceGeometry& geo, std::vector<int>& labels, int label,
                const std::vector<int>& faces, int newLabel, std::vector<int>& partA, std::vector<int>& partB) {
    Vector3 centre;
    double weight = 0.0;
    for (int f : faces) {
        centre += geo.centroid[f] * geo.weight[f];
        weight += geo.weight[f];
    }
    centre /= weight;
    auto farthestFrom = [&](const Vector3& p) {
        int best = faces[0];
        double bestD = -1.0;
        for (int f : faces) {
            double d = (geo.centroid[f] - p).LengthSquared();
            if (d > bestD) {
                bestD = d;
                best = f;
            }
        }
        return best;
    };
    int a = farthestFrom(centre);
    int b = farthestFrom(geo.centroid[a]);
    if (b == a) b = faces[0] == a ? faces[1] : faces[0];

    // Faces of the region are relabelled -2 (unclaimed) while the fronts grow.
    for (int f : faces) labels[f] = -2;
    std::vector<int> frontA{a}, frontB{b}, next;
    labels[a] = label;
    labels[b] = newLabel;
    auto advance = [&](std::vector<int>& front, int l) {
        next.clear();
        for (int f : front) {
            for (int k = 0; k < 3; ++k) {
                int g = adj.faceNeighbours[3 * static_cast<size_t>(f) + k];
                if (g >= 0 && labels[g] == -2) {
                    labels[g] = l;
                    next.push_back(g);
                }
            }
        }
        front.swap(next);
    };
    while (!frontA.empty() || !frontB.empty()) {
        advance(frontA, label);
        advance(frontB, newLabel);
    }
    partA.clear();
    partB.clear();
    for (int f : faces) {
        if (labels[f] == -2) labels[f] = label;  // unreachable: rejoins the first part
        (labels[f] == label ? partA : partB).push_back(f);
    }
}

}  // namespace

FaceGeometry _ComputeFaceGeometry(const ITriMesh* mesh, const MeshAdjacency& adj) {
    FaceGeometry geo;
    const int faces = adj.faceCount;
    geo.centroid.resize(faces);
    geo.normal.resize(faces);
    geo.weight.resize(faces);
    std::vector<Vector3> coords(adj.vertexCount);
    for (int v = 0; v < adj.vertexCount; ++v) coords[v] = mesh->GetVertexCoord(v);
    for (int f = 0; f < faces; ++f) {
        const int* t = &adj.triangles[3 * static_cast<size_t>(f)];
        const Vector3& p0 = coords[t[0]];
        const Vector3& p1 = coords[t[1]];
        const Vector3& p2 = coords[t[2]];
        Vector3 n = (p1 - p0).CrossProduct(p2 - p0);
        double doubled = n.Length();
        geo.centroid[f] = (p0 + p1 + p2) / 3.0;
        geo.normal[f] = doubled > 0.0 ? n / doubled : Vector3();
        geo.weight[f] = 0.5 * doubled;
        geo.totalArea += 0.5 * doubled;
    }
    double floorWeight = faces > 0 ? 1e-9 * geo.totalArea / faces : 0.0;
    if (floorWeight <= 0.0) floorWeight = 1.0;
    for (double& w : geo.weight) w += floorWeight;
    return geo;
}

// Euler characteristic of the region `label` made of `faces`, counting a
// vertex once per fan of region faces around it (that is how the cut leaves
// it). A connected region is a disc exactly when the result is 1.
int _EulerCharacteristic(const MeshAdjacency& adj, const std::vector<int>& labels, int label,
                        const std::vector<int>& faces, std::vector<int>& localIndex) {
    const int n = static_cast<int>(faces.size());
    for (int i = 0; i < n; ++i) localIndex[faces[i]] = i;
    std::vector<int> parent(3 * static_cast<size_t>(n));
    for (size_t i = 0; i < parent.size(); ++i) parent[i] = static_cast<int>(i);
    auto find = [&](int x) {
        while (parent[x] != x) {
            parent[x] = parent[parent[x]];
            x = parent[x];
        }
        return x;
    };
    auto unite = [&](int a, int b) {
        a = find(a);
        b = find(b);
        if (a != b) parent[a] = b;
    };
    int borderEdges = 0;
    for (int i = 0; i < n; ++i) {
        int f = faces[i];
        const int* t = &adj.triangles[3 * static_cast<size_t>(f)];
        for (int k = 0; k < 3; ++k) {
            for (int j = 0; j < k; ++j) {
                if (t[j] == t[k]) unite(3 * i + j, 3 * i + k);
            }
            int g = adj.faceNeighbours[3 * static_cast<size_t>(f) + k];
            if (g < 0 || labels[g] != label) {
                ++borderEdges;
                continue;
            }
            if (g < f) continue;
            const int* s = &adj.triangles[3 * static_cast<size_t>(g)];
            int a = t[k], b = t[(k + 1) % 3];
            int li = localIndex[g];
            for (int c = 0; c < 3; ++c) {
                if (s[c] == a) unite(3 * i + k, 3 * li + c);
                if (s[c] == b) unite(3 * i + (k + 1) % 3, 3 * li + c);
            }
        }
    }
    int vertices = 0;
    for (int c = 0; c < 3 * n; ++c) {
        if (find(c) == c) ++vertices;
    }
    for (int f : faces) localIndex[f] = -1;
    int edges = (3 * n + borderEdges) / 2;
    return vertices - edges + n;
}

// Edge-connected parts of the faces labelled `label`, as lists.
void _ConnectedParts(const MeshAdjacency& adj, const std::vector<int>& labels, int label,
                    const std::vector<int>& faces, std::vector<char>& seen, std::vector<std::vector<int>>& parts) {
    parts.clear();
    std::vector<int> stack;
    for (int start : faces) {
        if (seen[start]) continue;
        parts.emplace_back();
        std::vector<int>& part = parts.back();
        seen[start] = 1;
        stack.assign(1, start);
        while (!stack.empty()) {
            int g = stack.back();
            stack.pop_back();
            part.push_back(g);
            for (int k = 0; k < 3; ++k) {
                int h = adj.faceNeighbours[3 * static_cast<size_t>(g) + k];
                if (h >= 0 && !seen[h] && labels[h] == label) {
                    seen[h] = 1;
                    stack.push_back(h);
                }
            }
        }
    }
    for (int f : faces) seen[f] = 0;
}

// Splits every region that is not a disc until all are. Returns the new
// region count.
int _MakeRegionsDiscs(const MeshAdjacency& adj, const FaceGeometry& geo, std::vector<int>& labels,
                     int regionCount) {
    std::vector<std::vector<int>> regionFaces(regionCount);
    for (int f = 0; f < adj.faceCount; ++f) regionFaces[labels[f]].push_back(f);
    std::vector<int> localIndex(adj.faceCount, -1);
    std::vector<char> seen(adj.faceCount, 0);
    std::vector<int> work(regionCount);
    for (int r = 0; r < regionCount; ++r) work[r] = regionCount - 1 - r;
    std::vector<std::vector<int>> parts;
    std::vector<int> partA, partB;
    while (!work.empty()) {
        int r = work.back();
        work.pop_back();
        // A region pinched apart by an earlier split becomes one region per part.
        _ConnectedParts(adj, labels, r, regionFaces[r], seen, parts);
        if (parts.size() > 1) {
            regionFaces[r] = parts[0];
            work.push_back(r);
            for (size_t i = 1; i < parts.size(); ++i) {
                for (int f : parts[i]) labels[f] = regionCount;
                regionFaces.push_back(parts[i]);
                work.push_back(regionCount++);
            }
            continue;
        }
        if (regionFaces[r].size() < 2) continue;
        if (_EulerCharacteristic(adj, labels, r, regionFaces[r], localIndex) == 1) continue;
        int newLabel = regionCount++;
        SplitInTwo(adj, geo, labels, r, regionFaces[r], newLabel, partA, partB);
        regionFaces[r] = partA;
        regionFaces.push_back(partB);
        work.push_back(r);
        work.push_back(newLabel);
    }
    return regionCount;
}
void _BorderLines(const MeshAdjacency& adj, const std::vector<int>& labels, std::vector<std::vector<int>>& lines) {
    for (int f = 0; f < adj.faceCount; ++f) {
        const int* t = &adj.triangles[3 * static_cast<size_t>(f)];
        for (int k = 0; k < 3; ++k) {
            int g = adj.faceNeighbours[3 * static_cast<size_t>(f) + k];
            if (g > f && labels[g] != labels[f]) lines.push_back({t[k], t[(k + 1) % 3]});
        }
    }
}

}  // namespace ORVO
