// The whole elevation import on a header and a raster separated by an "@@"
// line, with world and statistics files after two more. Rasters larger than
// a small memory budget end at the budget's check, so every input stays
// quick.

#include "FuzzEnvironment.h"
#include "bil/ElevationImport.h"
#include "bil/ImportFeedback.h"
#include "bil/MemoryBudget.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    MemoryBudget::setBytes(256 * 1024);
    const QString base = FuzzEnvironment::writeFiles(data, size, { ".hdr", ".bil", ".blw", ".stx" });
    ImportFeedback silent;
    ElevationImport(base, silent).run();
    return 0;
}
