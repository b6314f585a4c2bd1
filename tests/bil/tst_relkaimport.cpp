#include "RasterFixture.h"

#include <QImage>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

class TestRelkaImport : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> directory;
    QString base() const { return directory->filePath(QStringLiteral("r")); }
    int exitCode = -1;
    QString standardOutput;
    QString standardError;

    // Runs the program in the temporary directory; false if it did not end.
    bool runImport(const QStringList& arguments)
    {
        QProcess process;
        process.setWorkingDirectory(directory->path());
        process.start(QStringLiteral(RELKA_BINARY_DIR "/bil/relka-import"), arguments);
        if (!process.waitForFinished(120000))
            return false;
        exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
        standardOutput = QString::fromLocal8Bit(process.readAllStandardOutput());
        standardError = QString::fromLocal8Bit(process.readAllStandardError());
        return true;
    }

private slots:
    void init()
    {
        directory = std::make_unique<QTemporaryDir>();
        QVERIFY(directory->isValid());
    }

    void runs_data()
    {
        QTest::addColumn<QByteArray>("prefix");
        QTest::addColumn<bool>("proceed");
        QTest::addColumn<int>("expectedExitCode");
        QTest::addColumn<QString>("range"); // of the log line; empty: nothing imported
        // Read from byte 0: "II", "*\0" and the filler "xx" become samples.
        QTest::newRow("plain raster") << QByteArray() << false << 0 << "0 ... 4";
        QTest::newRow("TIFF without marker") << tiffPrefix(8, {}) << false << 1 << "";
        QTest::newRow("TIFF without marker, --proceed") << tiffPrefix(8, {}) << true << 0 << "0 ... 30840";
    }

    void runs()
    {
        QFETCH(QByteArray, prefix);
        QFETCH(bool, proceed);
        QFETCH(int, expectedExitCode);
        QFETCH(QString, range);
        writeRaster(base(), smallestRaster, 16, cornerRaster({ 1, -9999, 0, 3, 4, 0, 0, 0, 0 }, 3),
            { .nodata = -9999, .prefix = prefix });
        QVERIFY(runImport(proceed ? QStringList { base(), "--proceed" } : QStringList { base() }));
        QCOMPARE(exitCode, expectedExitCode);
        const QStringList output = range.isEmpty()
            ? QStringList { "Seamless: BIL file size is 0 kB." }
            : QStringList { "Seamless: BIL file size is 0 kB.", "Seamless: NODATA value = -9999",
                  "Seamless: Range of elevations written to the output file: " + range,
                  "Seamless: Creating mask file indicating NODATA areas.",
                  "Seamless: Removing NODATA areas by interpolation.",
                  "Seamless: Creating color file from elevation file." };
        QCOMPARE(standardOutput.split('\n', Qt::SkipEmptyParts), output);
        // The question goes to standard error, answered by --proceed; its text is checked in tst_bilimport.
        QCOMPARE(standardError.startsWith("Warning: The BIL file begins with \"II*\""), !prefix.isEmpty());
        QCOMPARE(standardError.endsWith("Proceed anyway?\n"), !prefix.isEmpty());
        // Written as by the program on an ordinary screen, at 96 dpi.
        for (const char* suffix : { "-el-uncorr.png", "-el-m.png", "-el-corr.png", "-el-col.png" })
            QCOMPARE(QImage(base() + suffix).dotsPerMeterX(), range.isEmpty() ? 0 : 3780);
        // The message log is kept as usual, in the working directory.
        QFile log(directory->filePath(QStringLiteral("messages.txt")));
        QVERIFY(log.open(QIODevice::ReadOnly));
        QCOMPARE(log.readAll().count("\r\n"), output.size());
    }

    void failures()
    {
        QVERIFY(runImport({}));
        QCOMPARE(exitCode, 2);
        QVERIFY(standardError.contains(QStringLiteral("BASENAME")));

        QVERIFY(runImport({ base() }));
        QCOMPARE(exitCode, 1);
        QCOMPARE(standardOutput, "Seamless error: importBIL() could not read " + base() + ".bil\n");

        // The error box goes to standard error, answered with Ok.
        writeFile(base() + ".bil", QByteArray(17, '\0'));
        writeFile(base() + ".hdr", "NROWS 16\nNCOLS 16\nNBITS 16\n");
        QVERIFY(runImport({ base() }));
        QCOMPARE(exitCode, 1);
        QCOMPARE(standardOutput, "Seamless error: importBIL() could not read " + base() + ".hdr\n");
        QVERIFY(standardError.startsWith(
            "Error: One or more errors have occured while reading the header file:\n\nUL_X_COORDINATE"));
    }
};

QTEST_GUILESS_MAIN(TestRelkaImport)
#include "tst_relkaimport.moc"
