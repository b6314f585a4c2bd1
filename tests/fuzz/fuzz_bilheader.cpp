// The header reader on a header, world file, statistics file and data file
// (only its size counts), separated by "@@" lines.

#include "FuzzEnvironment.h"
#include "bil/BilHeaderFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString base = FuzzEnvironment::writeFiles(data, size, { ".hdr", ".blw", ".stx", ".bil" });
    BilHeaderFile header(base + QStringLiteral(".hdr"));
    header.open(QIODevice::ReadOnly | QIODevice::Text);
    return 0;
}
