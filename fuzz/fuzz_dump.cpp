// libFuzzer target: a dump file loaded into a record and replayed. Built once
// per UV-atlas record with QARN_FUZZ_RECORD naming its factory, and once
// without, when the file's first number picks the record from the registry
// as a replay tool does.
#include <QarnUVAtlas/DumpRecords.h>
#include <QarnUVAtlas/DumpUnfold.h>

#include "FuzzDump.h"

#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
#ifdef QARN_FUZZ_RECORD
    fuzzdump::LoadAndRun(ORVO::QARN_FUZZ_RECORD(), data, size);
#else
    static const bool registered = (ORVO::RegisterDumpInfo(), true);
    (void)registered;
    const std::string head(reinterpret_cast<const char*>(data), size < 16 ? size : 16);
    fuzzdump::LoadAndRun(ORVO::DumpManager::Get()->GetDumpInstance(std::atoi(head.c_str())), data, size);
#endif
    return 0;
}
