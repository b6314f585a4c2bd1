#include "http/HttpResponseHeader.h"

#include <QTest>

class TestHttpResponseHeader : public QObject {
    Q_OBJECT

private slots:
    void lookupIgnoresCaseAndKeysKeepIt()
    {
        const HttpResponseHeader header(302, QStringLiteral("Found"),
            { { "LOCATION", "/a.zip" }, { "Refresh", "5; URL=/b" }, { "location", "/second" } });
        QCOMPARE(header.value("location"), "/a.zip"); // the first of two
        QCOMPARE(header.value("REFRESH"), "5; URL=/b");
        QVERIFY(!header.hasKey("Loc"));
        QCOMPARE(header.keys(), QStringList({ "LOCATION", "Refresh", "location" }));
        QVERIFY(header.isValid());
        QVERIFY(!HttpResponseHeader().isValid());
    }

    void contentLength()
    {
        const HttpResponseHeader large(200, QStringLiteral("OK"), { { "content-length", "5000000000" } });
        QVERIFY(large.hasContentLength());
        QCOMPARE(large.contentLength(), Q_INT64_C(5000000000));
        const HttpResponseHeader chunked(200, QStringLiteral("OK"), { { "Transfer-Encoding", "chunked" } });
        QVERIFY(!chunked.hasContentLength());
        QCOMPARE(chunked.contentLength(), 0);
        QCOMPARE(
            HttpResponseHeader(200, QStringLiteral("OK"), { { "Content-Length", "many" } }).contentLength(),
            0);
    }
};

QTEST_GUILESS_MAIN(TestHttpResponseHeader)
#include "tst_httpresponseheader.moc"
