// The atlas preview: the unit square as a PNG with every face filled in the
// colour of its stretch, chart outlines in dark grey and the square's border.
#include "Qarnuv.h"

#include <QarnUVAtlas/Primitives.h>

#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STB_IMAGE_WRITE_STATIC
#include <stb/stb_image_write.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <tuple>

namespace qarnuv {
namespace {

struct Image {
    int size;
    std::vector<unsigned char> rgb;

    explicit Image(int s) : size(s), rgb(static_cast<size_t>(s) * s * 3, 255) {}

    void Put(int x, int y, const unsigned char* colour) {
        if (x < 0 || y < 0 || x >= size || y >= size) return;
        std::memcpy(&rgb[(static_cast<size_t>(y) * size + x) * 3], colour, 3);
    }
};

// Unit square to pixels, with a small margin so that the border shows.
struct Frame {
    double margin, scale;
    double X(double u) const { return margin + u * scale; }
    double Y(double v) const { return margin + (1.0 - v) * scale; }
};

void FillTriangle(Image& image, const double* xs, const double* ys, const unsigned char* colour) {
    const int x0 = std::max(0, static_cast<int>(std::floor(std::min({xs[0], xs[1], xs[2]}))));
    const int x1 = std::min(image.size - 1, static_cast<int>(std::ceil(std::max({xs[0], xs[1], xs[2]}))));
    const int y0 = std::max(0, static_cast<int>(std::floor(std::min({ys[0], ys[1], ys[2]}))));
    const int y1 = std::min(image.size - 1, static_cast<int>(std::ceil(std::max({ys[0], ys[1], ys[2]}))));
    const double area = (xs[1] - xs[0]) * (ys[2] - ys[0]) - (xs[2] - xs[0]) * (ys[1] - ys[0]);
    if (area == 0.0) return;
    const double sign = area > 0.0 ? 1.0 : -1.0;
    for (int y = y0; y <= y1; ++y) {
        const double py = y + 0.5;
        for (int x = x0; x <= x1; ++x) {
            const double px = x + 0.5;
            bool inside = true;
            for (int k = 0; k < 3 && inside; ++k) {
                const int n = (k + 1) % 3;
                const double e = (xs[n] - xs[k]) * (py - ys[k]) - (ys[n] - ys[k]) * (px - xs[k]);
                inside = e * sign >= 0.0;
            }
            if (inside) image.Put(x, y, colour);
        }
    }
    // Faces thinner than a pixel still leave a mark at their corners.
    for (int k = 0; k < 3; ++k) image.Put(static_cast<int>(xs[k]), static_cast<int>(ys[k]), colour);
}

void DrawLine(Image& image, double xa, double ya, double xb, double yb, const unsigned char* colour) {
    const double steps = std::max({std::fabs(xb - xa), std::fabs(yb - ya), 1.0});
    for (int i = 0; i <= static_cast<int>(std::ceil(steps)); ++i) {
        const double t = i / std::ceil(steps);
        image.Put(static_cast<int>(xa + (xb - xa) * t), static_cast<int>(ya + (yb - ya) * t), colour);
    }
}

using Point = std::pair<double, double>;

}  // namespace

double StretchColourPosition(double stretch) {
    if (!(stretch > 0.0) || !std::isfinite(stretch)) return -1.0;
    // Full red at a factor of 1.5 either way: typical charts stay in the blue-green range.
    return 1.0 - 0.8 * std::min(1.0, std::fabs(std::log2(stretch)) / std::log2(1.5));
}

bool WritePreview(const std::string& path, const std::vector<double>& texCoords, const std::vector<int>& faceTexIds,
                  const std::vector<double>& faceStretch, int size, std::string& error) {
    Image image(size);
    const double margin = std::max(2.0, size * 0.01);
    const Frame frame{margin, size - 2.0 * margin};
    const size_t faceCount = faceTexIds.size() / 3;
    auto corner = [&](size_t f, int k) {
        const int pair = faceTexIds[3 * f + k];
        return pair >= 0 ? Point(texCoords[2 * static_cast<size_t>(pair)], texCoords[2 * static_cast<size_t>(pair) + 1])
                         : Point(0.0, 0.0);
    };
    for (size_t f = 0; f < faceCount; ++f) {
        double xs[3], ys[3];
        for (int k = 0; k < 3; ++k) {
            const Point p = corner(f, k);
            xs[k] = frame.X(p.first);
            ys[k] = frame.Y(p.second);
        }
        const ORVO::Vector3 c = ORVO::ColorCoding(StretchColourPosition(f < faceStretch.size() ? faceStretch[f] : 0.0));
        const unsigned char colour[3] = {static_cast<unsigned char>(std::lround(255.0 * c.x)),
                                         static_cast<unsigned char>(std::lround(255.0 * c.y)),
                                         static_cast<unsigned char>(std::lround(255.0 * c.z))};
        FillTriangle(image, xs, ys, colour);
    }
    // Chart outlines: UV edges that only one face uses (compared by value, so
    // that duplicated coordinate entries in a file do not draw every edge).
    std::map<std::pair<Point, Point>, int> edgeUse;
    for (size_t f = 0; f < faceCount; ++f) {
        for (int k = 0; k < 3; ++k) {
            Point a = corner(f, k), b = corner(f, (k + 1) % 3);
            if (b < a) std::swap(a, b);
            ++edgeUse[{a, b}];
        }
    }
    const unsigned char outline[3] = {40, 40, 40};
    for (const auto& [edge, uses] : edgeUse) {
        if (uses != 1) continue;
        DrawLine(image, frame.X(edge.first.first), frame.Y(edge.first.second), frame.X(edge.second.first),
                 frame.Y(edge.second.second), outline);
    }
    const unsigned char border[3] = {128, 128, 128};
    const double lo = frame.X(0.0), hi = frame.X(1.0);
    DrawLine(image, lo, lo, hi, lo, border);
    DrawLine(image, hi, lo, hi, hi, border);
    DrawLine(image, hi, hi, lo, hi, border);
    DrawLine(image, lo, hi, lo, lo, border);
    if (!stbi_write_png(path.c_str(), size, size, 3, image.rgb.data(), size * 3)) {
        error = path + ": cannot write the preview image";
        return false;
    }
    return true;
}

}  // namespace qarnuv
