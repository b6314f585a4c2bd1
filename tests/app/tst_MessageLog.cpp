#include "app/MessageLog.h"
#include "app/SettingsStore.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

class TestMessageLog : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void line_data();
    void line();
    void appendsInCallOrder();
    void missingWorkingDirectoryCreatesNothing();
    void followsChangedWorkingDirectory();

private:
    QByteArray logOf(const QString& directory) const;

    QTemporaryDir directory;
};

void TestMessageLog::init()
{
    QVERIFY(directory.isValid());
    QFile::remove(directory.filePath(QStringLiteral("messages.txt")));
    SettingsStore::setWorkingDirectory(directory.path());
}

QByteArray TestMessageLog::logOf(const QString& path) const
{
    QFile file(QStringLiteral("%1/messages.txt").arg(path));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void TestMessageLog::line_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<QByteArray>("written");

    QTest::newRow("plain") << QStringLiteral("Seamless: done") << QByteArray("Seamless: done");
    QTest::newRow("empty") << QString() << QByteArray();
    QTest::newRow("place markers stay literal") << QStringLiteral("%1 of %2") << QByteArray("%1 of %2");
    QTest::newRow("degree sign as one byte") << QStringLiteral("40.5°") << QByteArray("40.5\xb0");
    QTest::newRow("beyond Latin-1") << QStringLiteral("a\u20acb\u4e2dc") << QByteArray("a?b?c");
    QTest::newRow("Latin-1 letters") << QStringLiteral("M\u00fcnchen") << QByteArray("M\xfcnchen");
}

void TestMessageLog::line()
{
    QFETCH(QString, message);
    QFETCH(QByteArray, written);

    MessageLog::append(message);

    const QByteArray log = logOf(directory.path());
    static const QRegularExpression stamp(QStringLiteral("^\\d\\d:\\d\\d:\\d\\d\\.\\d\\d\\d: $"));
    QVERIFY(log.endsWith(written + "\r\n"));
    const QByteArray prefix = log.left(log.size() - written.size() - 2);
    QVERIFY2(stamp.match(QString::fromLatin1(prefix)).hasMatch(), prefix.constData());
}

void TestMessageLog::appendsInCallOrder()
{
    MessageLog::append(QStringLiteral("first"));
    MessageLog::append(QStringLiteral("second"));

    const QList<QByteArray> lines = logOf(directory.path()).split('\n');
    QCOMPARE(lines.size(), 3);
    QVERIFY(lines.at(0).endsWith(": first\r"));
    QVERIFY(lines.at(1).endsWith(": second\r"));
    QVERIFY(lines.at(2).isEmpty());
}

void TestMessageLog::missingWorkingDirectoryCreatesNothing()
{
    const QString missing = directory.filePath(QStringLiteral("missing"));
    SettingsStore::setWorkingDirectory(missing);

    MessageLog::append(QStringLiteral("lost"));

    QVERIFY(!QDir(missing).exists());
    QVERIFY(!QFile::exists(directory.filePath(QStringLiteral("messages.txt"))));
}

void TestMessageLog::followsChangedWorkingDirectory()
{
    QTemporaryDir other;
    MessageLog::append(QStringLiteral("old place"));
    SettingsStore::setWorkingDirectory(other.path());
    MessageLog::append(QStringLiteral("new place"));

    QVERIFY(logOf(directory.path()).endsWith(": old place\r\n"));
    QVERIFY(logOf(other.path()).endsWith(": new place\r\n"));
    QVERIFY(!logOf(other.path()).contains("old place"));
}

QTEST_GUILESS_MAIN(TestMessageLog)
#include "tst_MessageLog.moc"
