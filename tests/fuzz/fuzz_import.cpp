// The whole elevation import on a header and a raster separated by an "@@"
// line, with world and statistics files after two more. Rasters larger than
// a small memory budget end at the budget's check, so every input stays
// quick.

#include "FuzzEnvironment.h"
#include "FuzzInput.h"
#include "bil/ElevationImport.h"
#include "bil/ImportFeedback.h"
#include "bil/MemoryBudget.h"

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    FuzzEnvironment::setUp(argc, argv);
    MemoryBudget::setBytes(256 * 1024);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString base = FuzzEnvironment::scratch() + QStringLiteral("/r");
    FuzzInput::writeFiles(data, size, base, { ".hdr", ".bil", ".blw", ".stx" });
    ImportFeedback silent;
    ElevationImport(base, silent).run();
    return 0;
}
