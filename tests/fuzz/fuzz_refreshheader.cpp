// The reader of the elevation service's "Refresh" header value.

#include "FuzzEnvironment.h"
#include "elevation/RefreshHeader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // Header values arrive as bytes and are read as Latin-1.
    RefreshHeader::parse(QString::fromLatin1(reinterpret_cast<const char*>(data), qsizetype(size)));
    return 0;
}
