#include "FuzzEnvironment.h"

#include "app/MessageBoxes.h"
#include "app/SettingsStore.h"
#include "tests/support/TestIsolation.h"

#include <QCoreApplication>
#include <QDir>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    // Also a link-time check that the isolation is part of the program: the
    // setting below must never reach the user's settings.
    if (TestIsolation::home().isEmpty())
        qFatal("fuzz target without an isolated home folder");
    static QCoreApplication application(*argc, *argv);
    MessageBoxes::setHandler(
        [](MessageBoxes::Icon, QWidget*, const QString&, const QString&, MessageBoxes::Buttons buttons) {
            return buttons.testFlag(MessageBoxes::Yes) ? MessageBoxes::Yes : MessageBoxes::Ok;
        });
    // A folder that does not exist: every log line is dropped.
    SettingsStore::setWorkingDirectory(QDir::current().filePath(QStringLiteral("no-log")));
    return 0;
}

QString FuzzEnvironment::writeFiles(const uint8_t* data, size_t size, const QStringList& suffixes)
{
    QDir folder(QDir::current().filePath(QStringLiteral("scratch")));
    folder.removeRecursively();
    folder.mkpath(QStringLiteral("."));
    const QString base = folder.filePath(QStringLiteral("40.50000N-40.00000S"));
    QByteArray rest = QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size));
    for (qsizetype i = 0; i < suffixes.size(); ++i) {
        const qsizetype separator = i + 1 < suffixes.size() ? rest.indexOf("\n@@\n") : -1;
        QFile file(base + suffixes[i]);
        if (file.open(QIODevice::WriteOnly))
            file.write(separator < 0 ? rest : rest.left(separator + 1));
        rest = separator < 0 ? QByteArray() : rest.mid(separator + 4);
    }
    return base;
}
