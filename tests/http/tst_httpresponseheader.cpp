#include "http/HttpResponseHeader.h"

#include <QTest>

class HttpResponseHeaderTest : public QObject
{
    Q_OBJECT

private slots:
    void defaultIsInvalid();
    void lookupIgnoresCase_data();
    void lookupIgnoresCase();
    void keysKeepCaseAndOrder();
    void contentLength_data();
    void contentLength();
};

namespace {

const HttpResponseHeader sample(302, QStringLiteral("Moved Temporarily"),
                                {{"LOCATION", "/a.zip"}, {"Refresh", "5; URL=/b"}, {"location", "/second"}});

} // namespace

void HttpResponseHeaderTest::defaultIsInvalid()
{
    QVERIFY(!HttpResponseHeader().isValid());
    QVERIFY(sample.isValid());
    QCOMPARE(sample.statusCode(), 302);
    QCOMPARE(sample.reasonPhrase(), QStringLiteral("Moved Temporarily"));
}

void HttpResponseHeaderTest::lookupIgnoresCase_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<bool>("present");
    QTest::addColumn<QString>("value");

    QTest::newRow("lower case finds upper case, first one wins") << "location" << true << "/a.zip";
    QTest::newRow("as sent") << "Refresh" << true << "5; URL=/b";
    QTest::newRow("upper case") << "REFRESH" << true << "5; URL=/b";
    QTest::newRow("absent") << "Content-Type" << false << "";
    QTest::newRow("prefix of a name is no match") << "Loc" << false << "";
}

void HttpResponseHeaderTest::lookupIgnoresCase()
{
    QFETCH(QString, key);
    QFETCH(bool, present);
    QFETCH(QString, value);

    QCOMPARE(sample.hasKey(key), present);
    QCOMPARE(sample.value(key), value);
}

void HttpResponseHeaderTest::keysKeepCaseAndOrder()
{
    QCOMPARE(sample.keys(), QStringList({"LOCATION", "Refresh", "location"}));
}

void HttpResponseHeaderTest::contentLength_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<bool>("announced");
    QTest::addColumn<qint64>("length");

    QTest::newRow("announced") << QByteArray("Content-Length") << QByteArray("1234") << true << qint64(1234);
    QTest::newRow("lower case, beyond 32 bits") << QByteArray("content-length") << QByteArray("5000000000") << true
                                                << qint64(5000000000);
    QTest::newRow("not announced") << QByteArray("Transfer-Encoding") << QByteArray("chunked") << false << qint64(0);
    QTest::newRow("no number") << QByteArray("Content-Length") << QByteArray("many") << true << qint64(0);
}

void HttpResponseHeaderTest::contentLength()
{
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, value);
    QFETCH(bool, announced);
    QFETCH(qint64, length);
    const HttpResponseHeader header(200, QStringLiteral("OK"), {{name, value}});

    QCOMPARE(header.hasContentLength(), announced);
    QCOMPARE(header.contentLength(), length);
}

QTEST_GUILESS_MAIN(HttpResponseHeaderTest)
#include "tst_httpresponseheader.moc"
