#include "unfold/AtlasStatistics.h"

namespace ORVO {

AtlasStatistics& _AtlasStatistics() {
    static AtlasStatistics statistics;
    return statistics;
}

}  // namespace ORVO
