// The header reader on a header, world file, statistics file and data file
// (only its size counts), separated by "@@" lines.

#include "FuzzEnvironment.h"
#include "FuzzInput.h"
#include "bil/BilHeaderFile.h"

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    FuzzEnvironment::setUp(argc, argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString base = FuzzEnvironment::scratch() + QStringLiteral("/40.50000N-40.00000S");
    FuzzInput::writeFiles(data, size, base, { ".hdr", ".blw", ".stx", ".bil" });
    BilHeaderFile header(base + QStringLiteral(".hdr"));
    header.open(QIODevice::ReadOnly | QIODevice::Text);
    return 0;
}
