#include "FuzzEnvironment.h"

#include "app/MessageBoxes.h"
#include "app/SettingsStore.h"
#include "tests/support/TestIsolation.h"

#include <QCoreApplication>
#include <QDir>

void FuzzEnvironment::setUp(int* argc, char*** argv)
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
}

QString FuzzEnvironment::scratch()
{
    QDir folder(QDir::current().filePath(QStringLiteral("scratch")));
    folder.removeRecursively();
    folder.mkpath(QStringLiteral("."));
    return folder.path();
}
