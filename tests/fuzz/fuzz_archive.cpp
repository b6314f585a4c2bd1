// The archive extractor on arbitrary bytes as the downloaded archive.

#include "FuzzEnvironment.h"
#include "elevation/ArchiveExtractor.h"

#include <QFile>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    FuzzEnvironment::setUp(argc, argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString folder = FuzzEnvironment::scratch();
    const QString archive = folder + QStringLiteral("/a.zip");
    QFile file(archive);
    if (!file.open(QIODevice::WriteOnly))
        return 0;
    file.write(reinterpret_cast<const char*>(data), qint64(size));
    file.close();
    ArchiveExtractor::extract(archive, folder + QStringLiteral("/r"));
    ArchiveExtractor::rasterExtracted(folder + QStringLiteral("/r"));
    return 0;
}
