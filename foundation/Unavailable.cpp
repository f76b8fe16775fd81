#include <QarnUVAtlas/FillMeshHole.h>
#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/SplitMesh.h>
#include <QarnUVAtlas/Unavailable.h>

namespace ORVO {

namespace {

// The one body behind every entry point this build leaves out. The entry
// points leave their parameters unnamed: nothing may be read or written, and
// nothing is logged.
int NotAvailable() { return STATUS_NOT_AVAILABLE; }

}  // namespace

#define ORVO_UNAVAILABLE(Name, Parameters) \
    int Name Parameters { return NotAvailable(); }
#include "foundation/UnavailableList.h"
#undef ORVO_UNAVAILABLE

}  // namespace ORVO
