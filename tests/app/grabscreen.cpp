// Saves a picture of one X window (or of the whole screen) as PNG:
//   grabscreen <output.png> [window id]
// Run it with the xcb platform against the display to capture.
#include <QGuiApplication>
#include <QPixmap>
#include <QScreen>
#include <QTextStream>

int main(int argc, char* argv[])
{
    QGuiApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    if (arguments.size() < 2) {
        QTextStream(stderr) << "usage: grabscreen <output.png> [window id]\n";
        return 2;
    }
    bool ok = true;
    const WId window = arguments.size() > 2 ? arguments.at(2).toULongLong(&ok, 0) : 0;
    if (!ok) {
        QTextStream(stderr) << "grabscreen: bad window id " << arguments.at(2) << '\n';
        return 2;
    }
    const QPixmap picture = QGuiApplication::primaryScreen()->grabWindow(window);
    if (picture.isNull() || !picture.save(arguments.at(1))) {
        QTextStream(stderr) << "grabscreen: cannot save " << arguments.at(1) << '\n';
        return 1;
    }
    return 0;
}
