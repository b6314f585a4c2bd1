#include "RasterFixture.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

const QString tiffQuestion
    = QStringLiteral("Warning: The BIL file begins with \"II*\", which requires the \"WGS 84\" keyword\n"
                     "to locate the beginning of the elevation data block in the BIL file.\n"
                     "That keyword could not be located. An import can only be attempted\n"
                     "beginning at the first byte, most probably leading to incorrect results.\n\n"
                     "Proceed anyway?\n");

const QStringList normalRun = {
    QStringLiteral("Seamless: BIL file size is 0 kB."),
    QStringLiteral("Seamless: NODATA value = -9999"),
    QStringLiteral("Seamless: Range of elevations written to the output file: 1 ... 4"),
    QStringLiteral("Seamless: Creating mask file indicating NODATA areas."),
    QStringLiteral("Seamless: Removing NODATA areas by interpolation."),
    QStringLiteral("Seamless: Creating color file from elevation file."),
};

} // namespace

class TestRelkaImport : public QObject {
    Q_OBJECT

private slots:
    void init();
    void runs_data();
    void runs();
    void usage();
    void failedImports();

private:
    // Runs the program in the temporary directory; false if it did not end.
    bool runImport(const QStringList& arguments);
    QString base() const { return directory->filePath(QStringLiteral("r")); }

    std::unique_ptr<QTemporaryDir> directory;
    int exitCode = -1;
    QString standardOutput;
    QString standardError;
};

void TestRelkaImport::init()
{
    directory = std::make_unique<QTemporaryDir>();
    QVERIFY(directory->isValid());
}

bool TestRelkaImport::runImport(const QStringList& arguments)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // A private runtime directory keeps Qt's warning about a missing one off
    // standard error.
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), directory->path());
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(directory->path());
    process.start(QStringLiteral(RELKA_BINARY_DIR "/bil/relka-import"), arguments);
    if (!process.waitForFinished(120000))
        return false;
    exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    standardOutput = QString::fromLocal8Bit(process.readAllStandardOutput());
    standardError = QString::fromLocal8Bit(process.readAllStandardError());
    return true;
}

void TestRelkaImport::runs_data()
{
    QTest::addColumn<QByteArray>("prefix");
    QTest::addColumn<bool>("proceed");
    QTest::addColumn<int>("expectedExitCode");
    QTest::addColumn<QStringList>("expectedOutput");
    QTest::addColumn<QString>("expectedError");

    const QByteArray tiff = RasterFixture::tiffPrefix(8, {});
    QTest::newRow("plain raster") << QByteArray() << false << 0 << normalRun << QString();
    QTest::newRow("plain raster, --proceed") << QByteArray() << true << 0 << normalRun << QString();
    QTest::newRow("TIFF without marker") << tiff << false << 1 << normalRun.mid(0, 1) << tiffQuestion;
    // Read from byte 0: "II", "*\0" and the filler "xx" become samples.
    QTest::newRow("TIFF without marker, --proceed")
        << tiff << true << 0
        << QStringList { normalRun[0], normalRun[1],
               "Seamless: Range of elevations written to the output file: 42 ... 30840", normalRun[3],
               normalRun[4], normalRun[5] }
        << tiffQuestion;
}

void TestRelkaImport::runs()
{
    QFETCH(QByteArray, prefix);
    QFETCH(bool, proceed);
    QFETCH(int, expectedExitCode);
    QFETCH(QStringList, expectedOutput);
    QFETCH(QString, expectedError);
    RasterFixture(3, 3, 16, { 1, -9999, 0, 3, 4, 0, 0, 0, 0 }).nodata(-9999).prefix(prefix).write(base());

    QStringList arguments { base() };
    if (proceed)
        arguments << QStringLiteral("--proceed");
    QVERIFY(runImport(arguments));
    QCOMPARE(exitCode, expectedExitCode);
    QCOMPARE(standardOutput.split('\n', Qt::SkipEmptyParts), expectedOutput);
    QCOMPARE(standardError, expectedError);

    const bool imported = expectedExitCode == 0;
    for (const char* suffix : { "-el-uncorr.png", "-el-m.png", "-el-corr.png", "-el-col.png" })
        QCOMPARE(QFile::exists(base() + suffix), imported);
    // The message log is kept as usual, in the working directory.
    QFile log(directory->filePath(QStringLiteral("messages.txt")));
    QVERIFY(log.open(QIODevice::ReadOnly));
    QCOMPARE(log.readAll().count("\r\n"), expectedOutput.size());
}

void TestRelkaImport::usage()
{
    QVERIFY(runImport({}));
    QCOMPARE(exitCode, 2);
    QVERIFY(standardError.contains(QStringLiteral("BASENAME")));
}

void TestRelkaImport::failedImports()
{
    // A missing raster and a header that fails validation: the error box
    // goes to standard error, answered with Ok.
    QVERIFY(runImport({ base() }));
    QCOMPARE(exitCode, 1);
    QCOMPARE(standardOutput, "Seamless error: importBIL() could not read " + base() + ".bil\n");

    RasterFixture::writeFile(base() + ".bil", QByteArray(17, '\0'));
    RasterFixture::writeFile(base() + ".hdr", "NROWS 3\nNCOLS 3\nNBITS 16\n");
    QVERIFY(runImport({ base() }));
    QCOMPARE(exitCode, 1);
    QCOMPARE(standardOutput, "Seamless error: importBIL() could not read " + base() + ".hdr\n");
    QVERIFY(standardError.startsWith(QStringLiteral(
        "Error: One or more errors have occured while reading the header file:\n\nUL_X_COORDINATE")));
}

QTEST_MAIN(TestRelkaImport)
#include "tst_relkaimport.moc"
