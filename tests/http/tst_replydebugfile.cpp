#include "http/ReplyDebugFile.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

Q_DECLARE_METATYPE(ReplyDebugFile::Source)

class TestReplyDebugFile : public QObject {
    Q_OBJECT

private slots:
    void appended_data()
    {
        QTest::addColumn<ReplyDebugFile::Source>("source");
        QTest::addColumn<QString>("fileName");
        QTest::addColumn<QByteArray>("heading");
        QTest::newRow("tiles") << ReplyDebugFile::OpenStreetMap << "debugOpenStreetMap.txt"
                               << QByteArray("openStreetMapHttpRequestFinished:\r\n");
        QTest::newRow("geocoder") << ReplyDebugFile::Geocode << "debugGeocode.txt"
                                  << QByteArray("geocodeRequestFinished:\r\n");
    }

    void appended()
    {
        QFETCH(ReplyDebugFile::Source, source);
        QFETCH(QString, fileName);
        QFETCH(QByteArray, heading);
        QTemporaryDir directory;
        QVERIFY(directory.isValid());
        const QByteArray first("<html>Error 1</html>\n");
        const QByteArray second("\x89PNG\0Error", 10);
        ReplyDebugFile::append(directory.path(), source, first);
        ReplyDebugFile::append(directory.path(), source, second);
        QCOMPARE(QDir(directory.path()).entryList(QDir::Files), QStringList { fileName });
        QFile file(directory.filePath(fileName));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), heading + first + "\r\n" + heading + second + "\r\n");
    }

    void missingDirectoryIsSkipped()
    {
        QTemporaryDir directory;
        ReplyDebugFile::append(directory.filePath("missing"), ReplyDebugFile::Geocode, "body");
        QVERIFY(QDir(directory.path()).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestReplyDebugFile)
#include "tst_replydebugfile.moc"
