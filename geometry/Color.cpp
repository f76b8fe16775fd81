#include <QarnUVAtlas/Primitives.h>

#include <cmath>
#include <cstdint>

namespace ORVO {

Vector3 ColorCoding(double t) {
    if (t < 0.0) return Vector3(0.0, 0.0, 0.0);
    if (t < 0.2) return Vector3(5.0 * t, 0.0, 0.0);
    if (t < 0.4) return Vector3(1.0, 5.0 * (t - 0.2), 0.0);
    if (t < 0.6) return Vector3(1.0 - 5.0 * (t - 0.4), 1.0, 0.0);
    if (t < 0.8) return Vector3(0.0, 1.0, 5.0 * (t - 0.6));
    if (t < 1.0) return Vector3(0.0, 1.0 - 5.0 * (t - 0.8), 1.0);
    if (t <= 1.2) return Vector3(5.0 * (t - 1.0), 0.0, 1.0);
    return Vector3(1.0, 0.0, 1.0);
}

Vector3 ConvertRGB2HSV(const Vector3& rgb) {
    // Ties keep the earlier channel, so grey-ish ties resolve towards red.
    int maxIndex = 0;
    double maxValue = rgb.x;
    double minValue = rgb.x;
    for (int i = 1; i < 3; ++i) {
        if (rgb[i] > maxValue) {
            maxValue = rgb[i];
            maxIndex = i;
        }
        if (rgb[i] < minValue) minValue = rgb[i];
    }
    double v = maxValue;
    double s = (maxValue >= REAL_TOL) ? 1.0 - minValue / maxValue : 0.0;
    double delta = maxValue - minValue;
    double h = 0.0;
    if (delta >= REAL_TOL) {
        if (maxIndex == 0) {
            h = 60.0 * (rgb.y - rgb.z) / delta;
            if (rgb.y < rgb.z) h += 360.0;
        } else if (maxIndex == 1) {
            h = 60.0 * (rgb.z - rgb.x) / delta + 120.0;
        } else {
            h = 60.0 * (rgb.x - rgb.y) / delta + 240.0;
        }
    }
    return Vector3(h, s, v);
}

Vector3 ConvertHSV2RGB(const Vector3& hsv) {
    double h = hsv.x, s = hsv.y, v = hsv.z;
    // Hues that do not fit an int (or NaN) have no sector.
    if (!(std::fabs(h / 60.0) < 2.0e9)) return Vector3(0.0, 0.0, 0.0);
    int whole = static_cast<int>(h / 60.0);
    double f = h / 60.0 - whole;
    int sector = whole % 6;  // keeps the sign of a negative hue: no sector matches
    double p = v * (1.0 - s);
    double q = v * (1.0 - f * s);
    double t = v * (1.0 - (1.0 - f) * s);
    switch (sector) {
        case 0: return Vector3(v, t, p);
        case 1: return Vector3(q, v, p);
        case 2: return Vector3(p, v, t);
        case 3: return Vector3(p, q, v);
        case 4: return Vector3(t, p, v);
        case 5: return Vector3(v, p, q);
        default: return Vector3(0.0, 0.0, 0.0);
    }
}

int Color4ToInt(const Color4& c) {
    uint32_t packed = static_cast<uint32_t>(c.r) | (static_cast<uint32_t>(c.g) << 8) |
                      (static_cast<uint32_t>(c.b) << 16) | (static_cast<uint32_t>(c.a) << 24);
    return static_cast<int>(static_cast<int32_t>(packed));
}

Color4 IntToColor4(int value) {
    uint32_t packed = static_cast<uint32_t>(value);
    return Color4(static_cast<unsigned char>(packed & 0xFFu), static_cast<unsigned char>((packed >> 8) & 0xFFu),
                  static_cast<unsigned char>((packed >> 16) & 0xFFu),
                  static_cast<unsigned char>((packed >> 24) & 0xFFu));
}

Vector3 Color4ToVector3(const Color4& c) {
    return Vector3(c.r / 255.0, c.g / 255.0, c.b / 255.0);
}

Color4 Vector3ToColor4(const Vector3& v) {
    unsigned char bytes[3];
    for (int i = 0; i < 3; ++i) {
        double x = v[i];
        if (!(x > 0.0)) x = 0.0;  // also maps NaN to 0
        if (x > 1.0) x = 1.0;
        bytes[i] = static_cast<unsigned char>(static_cast<int>(x * 255.0));
    }
    return Color4(bytes[0], bytes[1], bytes[2], 255);
}

}  // namespace ORVO
