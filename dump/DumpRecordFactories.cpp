// Factories of the generic records: a new default record, owned by the caller.
#include <QarnUVAtlas/DumpRecords.h>

namespace ORVO {

#define ORVO_DUMP_DEFINE_FACTORY(Name, Factory, Api, Function, InputCount, Live) \
    DumpBase* Factory() { return new Name(); }
ORVO_DUMP_RECORD_LIST(ORVO_DUMP_DEFINE_FACTORY)
#undef ORVO_DUMP_DEFINE_FACTORY

}  // namespace ORVO
