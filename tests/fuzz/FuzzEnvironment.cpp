#include "FuzzEnvironment.h"

#include "app/MessageBoxes.h"
#include "app/SettingsStore.h"

#include <QCoreApplication>
#include <QDir>

void FuzzEnvironment::setUp(int* argc, char*** argv)
{
    static QCoreApplication application(*argc, *argv);
    MessageBoxes::setHandler(
        [](MessageBoxes::Icon, QWidget*, const QString&, const QString&, MessageBoxes::Buttons buttons) {
            return buttons.testFlag(MessageBoxes::Yes) ? MessageBoxes::Yes : MessageBoxes::Ok;
        });
    // A folder that does not exist: every log line is dropped.
    SettingsStore::setWorkingDirectory(QDir::current().filePath(QStringLiteral("no-log")));
}

QString FuzzEnvironment::scratch()
{
    QDir folder(QDir::current().filePath(QStringLiteral("scratch")));
    folder.removeRecursively();
    folder.mkpath(QStringLiteral("."));
    return folder.path();
}
