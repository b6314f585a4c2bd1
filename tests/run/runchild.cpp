// Runs one download in the main dialog, offscreen, as a process of its own,
// so that a test can kill a run at any moment:
//   relka-runchild WORKING_DIRECTORY NORTH WEST SOURCE AREA
// The services are the ones the environment names (RELKA_ELEVATION_SERVER,
// ...). The process ends with 0 after a successful run and with 1 when a
// message box other than the success box shows; a run that waits for Cancel
// waits to be killed. Its settings live in a temporary home of its own.
#include "app/MainDialog.h"
#include "app/MessageBoxes.h"
#include "app/SettingsStore.h"

#include <QApplication>
#include <QTimer>

int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    if (arguments.size() != 6) {
        qCritical("usage: relka-runchild WORKING_DIRECTORY NORTH WEST SOURCE AREA");
        return 2;
    }
    SettingsStore::setWorkingDirectory(arguments.at(1));
    SettingsStore::setElevationDataSource(arguments.at(4));
    SettingsStore::setDownloadArea(arguments.at(5));
    MessageBoxes::setHandler(
        [](MessageBoxes::Icon, QWidget*, const QString&, const QString& text, MessageBoxes::Buttons) {
            QCoreApplication::exit(text == QLatin1String("Download and post processing finished!") ? 0 : 1);
            return MessageBoxes::Ok;
        });
    MainDialog dialog;
    dialog.doubleSpinBoxNorth->setValue(arguments.at(2).toDouble());
    dialog.doubleSpinBoxWest->setValue(arguments.at(3).toDouble());
    dialog.show();
    QTimer::singleShot(0, &dialog, [&dialog] { dialog.pushButtonDownload->click(); });
    return application.exec();
}
