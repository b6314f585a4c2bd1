// relka-import BASENAME [--proceed]
//
// Runs the BIL import of BASENAME.bil / BASENAME.hdr without a window and
// writes the same elevation and colour files as the program. Log lines go
// to standard output (and to messages.txt as usual); message boxes are not
// shown but printed to standard error and answered at once: No to the
// question about a TIFF-wrapped raster unless --proceed is given, Ok to the
// rest. The exit status is 0 only when the colour file was saved.

#include "app/MessageBoxes.h"
#include "app/MessageLog.h"
#include "bil/BilImport.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QImage>
#include <QLabel>
#include <QProgressBar>
#include <QTextStream>
#include <QWidget>

#include <cstdio>

int main(int argc, char* argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("relka-import"));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Imports a BIL elevation raster into relka's elevation files."));
    parser.addHelpOption();
    parser.addPositionalArgument(
        QStringLiteral("BASENAME"), QStringLiteral("The raster's path without \".bil\"."));
    const QCommandLineOption proceedOption(QStringLiteral("proceed"),
        QStringLiteral(
            "Import a TIFF-wrapped raster from its first byte when its data block cannot be located."));
    parser.addOption(proceedOption);
    parser.process(application);

    QTextStream out(stdout);
    QTextStream err(stderr);
    if (parser.positionalArguments().size() != 1) {
        err << parser.helpText();
        return 2;
    }
    const bool proceed = parser.isSet(proceedOption);

    MessageLog::setEcho([&out](const QString& message) { out << message << Qt::endl; });
    MessageBoxes::setHandler([&err, proceed](QMessageBox::Icon, QWidget*, const QString& title,
                                 const QString& text, QMessageBox::StandardButtons buttons) {
        err << title << ": " << text << Qt::endl;
        if (buttons.testFlag(QMessageBox::Yes))
            return proceed ? QMessageBox::Yes : QMessageBox::No;
        return QMessageBox::Ok;
    });

    // Never shown: the import only needs somewhere to put progress and preview.
    QWidget window;
    QProgressBar reading(&window);
    QProgressBar correcting(&window);
    QProgressBar coloring(&window);
    QLabel preview(&window);
    QImage previewImage;
    BilImport import(parser.positionalArguments().constFirst(), &reading, &correcting, &coloring, &preview,
        previewImage, &window);
    return import.importBil() ? 0 : 1;
}
