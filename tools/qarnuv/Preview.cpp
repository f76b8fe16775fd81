// The atlas preview: the unit square as a PNG with every face filled in the
// colour of its stretch, chart outlines one texel wide in dark grey, the
// square's border, and below it a legend of the stretch colours.
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
#include <string>
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

// Unit square to pixels: a small margin so that the border shows, centred
// across, with room for the legend below.
struct Frame {
    double left, top, scale;
    double X(double u) const { return left + u * scale; }
    double Y(double v) const { return top + (1.0 - v) * scale; }
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

// A line `width` pixels wide (a square of that side stamped along it).
void DrawLine(Image& image, double xa, double ya, double xb, double yb, const unsigned char* colour, int width = 1) {
    const double steps = std::max({std::fabs(xb - xa), std::fabs(yb - ya), 1.0});
    const int low = -(width - 1) / 2;
    for (int i = 0; i <= static_cast<int>(std::ceil(steps)); ++i) {
        const double t = i / std::ceil(steps);
        const int x = static_cast<int>(xa + (xb - xa) * t), y = static_cast<int>(ya + (yb - ya) * t);
        for (int dy = low; dy < low + width; ++dy)
            for (int dx = low; dx < low + width; ++dx) image.Put(x + dx, y + dy, colour);
    }
}

void FillBox(Image& image, int x0, int y0, int x1, int y1, const unsigned char* colour) {
    for (int y = y0; y < y1; ++y)
        for (int x = x0; x < x1; ++x) image.Put(x, y, colour);
}

// Glyphs of 3 x 5 pixels, row by row, for the legend's labels.
const char* Glyph(char c) {
    switch (c) {
    case '0': return "###" "#.#" "#.#" "#.#" "###";
    case '1': return ".#." "##." ".#." ".#." "###";
    case '2': return "###" "..#" "###" "#.." "###";
    case '3': return "###" "..#" ".##" "..#" "###";
    case '4': return "#.#" "#.#" "###" "..#" "..#";
    case '5': return "###" "#.." "###" "..#" "###";
    case '.': return "..." "..." "..." "..." ".#.";
    case '+': return "..." ".#." "###" ".#." "...";
    case 's': return "..." ".##" "##." "..#" "##.";
    case 't': return ".#." "###" ".#." ".#." ".##";
    case 'r': return "..." "#.#" "##." "#.." "#..";
    case 'e': return "..." "###" "#.#" "##." ".##";
    case 'c': return "..." ".##" "#.." "#.." ".##";
    case 'h': return "#.." "#.." "###" "#.#" "#.#";
    default: return "..." "..." "..." "..." "...";
    }
}

// Text in 3 x 5 glyphs scaled by `scale`, its top left corner at (x, y).
// Returns the width drawn.
int DrawText(Image& image, int x, int y, int scale, const std::string& text, const unsigned char* colour) {
    const int advance = 4 * scale;
    for (size_t i = 0; i < text.size(); ++i) {
        const char* glyph = Glyph(text[i]);
        for (int row = 0; row < 5; ++row)
            for (int col = 0; col < 3; ++col)
                if (glyph[3 * row + col] == '#')
                    FillBox(image, x + static_cast<int>(i) * advance + col * scale, y + row * scale,
                            x + static_cast<int>(i) * advance + (col + 1) * scale, y + (row + 1) * scale, colour);
    }
    return static_cast<int>(text.size()) * advance - scale;
}

void ColourOf(double position, unsigned char* colour) {
    const ORVO::Vector3 c = ORVO::ColorCoding(position);
    colour[0] = static_cast<unsigned char>(std::lround(255.0 * c.x));
    colour[1] = static_cast<unsigned char>(std::lround(255.0 * c.y));
    colour[2] = static_cast<unsigned char>(std::lround(255.0 * c.z));
}

// The stretch scale in the strip [top, top + height): "stretch", then the
// colours from 1 to 1.5 with a tick and a label every 0.1.
void DrawLegend(Image& image, int top, int height, const unsigned char* ink) {
    const int scale = std::max(1, height / 14);
    const int glyph = 5 * scale;
    const int bar = std::max(2, height - glyph - 3 * scale);
    int x = std::max(2, image.size / 40);
    x += DrawText(image, x, top + (bar - glyph) / 2, scale, "stretch", ink) + 3 * scale;
    const int right = image.size - std::max(2, image.size / 40) - 6 * scale;
    const int width = right - x;
    if (width < 10) return;
    unsigned char colour[3];
    for (int i = 0; i < width; ++i) {
        ColourOf(StretchColourPosition(1.0 + 0.5 * i / (width - 1)), colour);
        FillBox(image, x + i, top, x + i + 1, top + bar, colour);
    }
    for (int k = 0; k <= 5; ++k) {
        const int at = x + (width - 1) * k / 5;
        FillBox(image, at, top + bar, at + scale, top + bar + scale, ink);
        const std::string label = k == 5 ? "1.5+" : "1." + std::to_string(k);
        const int textWidth = 4 * scale * static_cast<int>(label.size()) - scale;
        const int left = k == 0 ? at : (k == 5 ? at - 2 * scale * 3 : at - textWidth / 2);
        DrawText(image, left, top + bar + 2 * scale, scale, label, ink);
    }
}

using Point = std::pair<double, double>;

bool WritePng(const std::string& path, const Image& image, std::string& error) {
    if (!stbi_write_png(path.c_str(), image.size, image.size, 3, image.rgb.data(), image.size * 3)) {
        error = path + ": cannot write the preview image";
        return false;
    }
    return true;
}

}  // namespace

double StretchColourPosition(double stretch) {
    if (!(stretch > 0.0) || !std::isfinite(stretch)) return -1.0;
    // Full red at a factor of 1.5 either way: typical charts stay in the blue-green range.
    return 1.0 - 0.8 * std::min(1.0, std::fabs(std::log2(stretch)) / std::log2(1.5));
}

bool WritePreview(const std::string& path, const std::vector<double>& texCoords, const std::vector<int>& faceTexIds,
                  const std::vector<double>& faceStretch, int size, int texels, std::string& error, bool asTexture) {
    Image image(size);
    const double margin = asTexture ? 0.0 : std::max(2.0, size * 0.01);
    // The legend takes a strip at the bottom when there is room for it.
    const int legend = !asTexture && size >= 96 ? std::max(12, static_cast<int>(std::lround(size * 0.07))) : 0;
    const double side = size - 2.0 * margin - legend;
    const Frame frame{0.5 * (size - side), margin, side};
    // Outlines are as wide as a texel of the texture the atlas was made for.
    const int outlineWidth = std::max(1, static_cast<int>(std::lround(side / std::max(1, texels))));
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
        unsigned char colour[3];
        ColourOf(StretchColourPosition(f < faceStretch.size() ? faceStretch[f] : 0.0), colour);
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
                 frame.Y(edge.second.second), outline, outlineWidth);
    }
    const unsigned char border[3] = {128, 128, 128};
    if (asTexture) return WritePng(path, image, error);
    const double left = frame.X(0.0), right = frame.X(1.0), top = frame.Y(1.0), bottom = frame.Y(0.0);
    DrawLine(image, left, top, right, top, border);
    DrawLine(image, right, top, right, bottom, border);
    DrawLine(image, right, bottom, left, bottom, border);
    DrawLine(image, left, bottom, left, top, border);
    if (legend > 0) DrawLegend(image, static_cast<int>(bottom + margin), legend - 1, outline);
    return WritePng(path, image, error);
}

}  // namespace qarnuv
