#include <QarnUVAtlas/Foundation.h>

namespace ORVO {

const double REAL_TOL = 1e-15;
const double REAL_LARGE = 1.7e+308;
const int16_t SHORT_LARGE = 32767;
const uint16_t USHORT_LARGE = 65535;
const int32_t INT_LARGE = 2147483647;
const uint32_t UINT_LARGE = 4294967295u;
const double ORVO_PI = 3.141592653589793;
const double ONE_RADIAN = 0.0174532925199433;
const LogLevel gSystemLogLevel = LOG_LEVEL_FAILURE;

}  // namespace ORVO
