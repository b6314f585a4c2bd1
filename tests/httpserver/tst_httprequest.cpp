#include "HttpRequest.h"

#include <QTest>

class TestHttpRequest : public QObject {
    Q_OBJECT

private slots:
    void headEnd_data()
    {
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<qsizetype>("end");

        QTest::newRow("CR LF") << QByteArray("GET / HTTP/1.1\r\nA: b\r\n\r\nbody") << qsizetype(24);
        QTest::newRow("bare LF") << QByteArray("GET / HTTP/1.1\nA: b\n\nbody") << qsizetype(21);
        QTest::newRow("LF, then CR LF") << QByteArray("GET / HTTP/1.1\nA: b\n\r\n") << qsizetype(22);
        QTest::newRow("incomplete") << QByteArray("GET / HTTP/1.1\r\nA: b\r\n\r") << qsizetype(-1);
    }

    void headEnd()
    {
        QFETCH(QByteArray, input);
        QFETCH(qsizetype, end);
        QCOMPARE(HttpRequest::headEnd(input), end);
        // A search that starts at the empty line's first byte still finds it.
        QCOMPARE(HttpRequest::headEnd(input, std::max<qsizetype>(0, end - 3)), end);
    }

    void fromHead_data()
    {
        QTest::addColumn<QByteArray>("head");
        // The request's target and header fields as "name=value", or
        // "refused" when there is no request.
        QTest::addColumn<QStringList>("parsed");

        QTest::newRow("fields keep case and order")
            << QByteArray("GET /a?x=1 HTTP/1.1\r\nHost: h:1\r\nX-Two:  b c \r\n\r\n")
            << QStringList { "/a?x=1", "Host=h:1", "X-Two=b c" };
        QTest::newRow("bare LF, empty line before")
            << QByteArray("\r\nGET / HTTP/1.0\nA: 1\n\n") << QStringList { "/", "A=1" };
        QTest::newRow("CR inside a value")
            << QByteArray("GET / HTTP/1.1\r\nA: 1\r2\r\n\r\n") << QStringList { "refused" };
        QTest::newRow("escape character")
            << QByteArray("GET /\x1b[2J HTTP/1.1\r\n\r\n") << QStringList { "refused" };
        QTest::newRow("folded line") << QByteArray("GET / HTTP/1.1\r\nA: 1\r\n 2\r\n\r\n")
                                     << QStringList { "refused" };
        QTest::newRow("line without name")
            << QByteArray("GET / HTTP/1.1\r\n: 1\r\n\r\n") << QStringList { "refused" };
        QTest::newRow("no HTTP/1 version") << QByteArray("GET / HTTP/2\r\n\r\n") << QStringList { "refused" };
        QTest::newRow("target not a path")
            << QByteArray("GET http://h/ HTTP/1.1\r\n\r\n") << QStringList { "refused" };
        QTest::newRow("nothing") << QByteArray("\r\n\r\n") << QStringList { "refused" };
    }

    void fromHead()
    {
        QFETCH(QByteArray, head);
        const std::optional<HttpRequest> request = HttpRequest::fromHead(head);
        QStringList parsed { QStringLiteral("refused") };
        if (request) {
            parsed = QStringList { QString::fromLatin1(request->target) };
            for (const auto& [name, value] : request->headers)
                parsed.append(QString::fromLatin1(name + '=' + value));
        }
        QTEST(parsed, "parsed");
    }

    void decodedPathAndQuery()
    {
        const std::optional<HttpRequest> request
            = HttpRequest::fromHead("GET /a%20b/c.zip?AL=41,40&PL=SM%2B HTTP/1.1\r\nhOsT: h\r\n\r\n");
        QVERIFY(request);
        QCOMPARE(request->path, QStringLiteral("/a b/c.zip"));
        QCOMPARE(
            request->query.queryItemValue(QStringLiteral("PL"), QUrl::FullyDecoded), QStringLiteral("SM+"));
        QCOMPARE(request->header("HOST"), "h");
    }

    void bodyLengthAndKeepAlive_data()
    {
        QTest::addColumn<QByteArray>("head");
        QTest::addColumn<qint64>("bodyLength"); // -1: unknown
        QTest::addColumn<bool>("keepAlive");

        QTest::newRow("1.1, no body") << QByteArray("GET / HTTP/1.1\r\n\r\n") << qint64(0) << true;
        QTest::newRow("1.1, closing, with body")
            << QByteArray("POST / HTTP/1.1\r\nConnection: Close\r\nContent-Length: 12\r\n\r\n") << qint64(12)
            << false;
        QTest::newRow("1.0") << QByteArray("GET / HTTP/1.0\r\n\r\n") << qint64(0) << false;
        QTest::newRow("1.0, kept alive")
            << QByteArray("GET / HTTP/1.0\r\nConnection: keep-alive\r\n\r\n") << qint64(0) << true;
        QTest::newRow("negative length")
            << QByteArray("POST / HTTP/1.1\r\nContent-Length: -1\r\n\r\n") << qint64(-1) << true;
        QTest::newRow("chunked body")
            << QByteArray("POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n") << qint64(-1) << true;
    }

    void bodyLengthAndKeepAlive()
    {
        QFETCH(QByteArray, head);
        const std::optional<HttpRequest> request = HttpRequest::fromHead(head);
        QVERIFY(request);
        QTEST(request->bodyLength().value_or(-1), "bodyLength");
        QTEST(request->wantsKeepAlive(), "keepAlive");
    }
};

QTEST_GUILESS_MAIN(TestHttpRequest)
#include "tst_httprequest.moc"
