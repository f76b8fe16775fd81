#pragma once
// Moving and scaling a coordinate list, shared by the mesh and point-cloud
// UnifyCoords forms.

#include <QarnUVAtlas/Primitives.h>

#include <vector>

namespace ORVO {

// Every point becomes (p - center) * scale; nothing changes unless scale > REAL_TOL.
void _ScaleCoords(std::vector<Vector3>& coords, double scale, const Vector3& center);

// Fits the points into a cube of edge `size` centred at the origin, writing the
// scale and centre used where the pointers are not null. An empty list, or one
// whose largest extent is REAL_TOL or less, is left alone and nothing is written.
void _FitCoordsIntoCube(std::vector<Vector3>& coords, double size, double* scaleOut, Vector3* centerOut);

}  // namespace ORVO
