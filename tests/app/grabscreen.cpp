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
    bool ok = arguments.size() > 1;
    const WId window = arguments.size() > 2 ? arguments.at(2).toULongLong(&ok, 0) : 0;
    if (!ok) {
        QTextStream(stderr) << "usage: grabscreen <output.png> [window id]\n";
        return 2;
    }
    if (!QGuiApplication::primaryScreen()->grabWindow(window).save(arguments.at(1))) {
        QTextStream(stderr) << "grabscreen: cannot save " << arguments.at(1) << '\n';
        return 1;
    }
    return 0;
}
