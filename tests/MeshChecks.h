#pragma once
// Small assertions shared by the mesh data-model tests: component-wise vector
// comparison and a triangle's corner ids as a vector for EXPECT_EQ.

#include <QarnUVAtlas/Primitives.h>
#include <QarnUVAtlas/TriMesh.h>

#include <gtest/gtest.h>

#include <vector>

namespace meshcheck {

inline void ExpectVec(const ORVO::Vector3& actual, const ORVO::Vector3& expected, double tol = 0.0) {
    EXPECT_NEAR(actual.x, expected.x, tol);
    EXPECT_NEAR(actual.y, expected.y, tol);
    EXPECT_NEAR(actual.z, expected.z, tol);
}

inline std::vector<int> Ids(const ORVO::ITriMesh& mesh, int fid) {
    int ids[3];
    mesh.GetTriangleVertexIds(fid, ids);
    return {ids[0], ids[1], ids[2]};
}

}  // namespace meshcheck
