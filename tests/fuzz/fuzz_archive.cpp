// The archive extractor on arbitrary bytes as the downloaded archive.

#include "FuzzEnvironment.h"
#include "elevation/ArchiveExtractor.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString base = FuzzEnvironment::writeFiles(data, size, { QStringLiteral(".zip") });
    ArchiveExtractor::extract(base + QStringLiteral(".zip"), base);
    ArchiveExtractor::rasterExtracted(base);
    return 0;
}
