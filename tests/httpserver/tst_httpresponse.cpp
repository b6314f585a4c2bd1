#include "HttpResponse.h"

#include <QTest>

Q_DECLARE_METATYPE(HttpResponse)

class TestHttpResponse : public QObject {
    Q_OBJECT

private slots:
    void head_data()
    {
        QTest::addColumn<HttpResponse>("response");
        QTest::addColumn<bool>("keepAlive");
        QTest::addColumn<QByteArray>("head");

        QTest::newRow("usual reason, length")
            << HttpResponse { .body = "abc" } << true
            << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 3\r\nConnection: keep-alive\r\n\r\n");
        QTest::newRow("own reason, fields as given")
            << HttpResponse { .status = 404,
                   .reason = "Kachel nicht gefunden",
                   .headers = { { "LoCaTiOn", "/x" }, { "b", "" } } }
            << false
            << QByteArray("HTTP/1.1 404 Kachel nicht gefunden\r\nLoCaTiOn: /x\r\nb: \r\nContent-Length: 0\r\n"
                          "Connection: close\r\n\r\n");
        QTest::newRow("chunked") << HttpResponse { .body = "abc", .framing = HttpResponse::Framing::Chunked }
                                 << true
                                 << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n"
                                               "Connection: keep-alive\r\n\r\n");
        QTest::newRow("close-delimited closes")
            << HttpResponse { .body = "abc", .framing = HttpResponse::Framing::CloseDelimited } << true
            << QByteArray("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n");
        // Such text comes from a request: a decoded path, a query value.
        QTest::newRow("CR and LF become blanks")
            << HttpResponse { .status = 302, .reason = "A\r\nB", .headers = { { "X\nY", "v\r\n\r\n<p>" } } }
            << false
            << QByteArray(
                   "HTTP/1.1 302 A  B\r\nX Y: v    <p>\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
    }

    void head()
    {
        QFETCH(HttpResponse, response);
        QFETCH(bool, keepAlive);
        QTEST(response.head(response.bodySize(), keepAlive), "head");
    }

    void messageEscapesItsText()
    {
        const HttpResponse response = HttpResponse::message(404, QStringLiteral("No <b>%1</b> here"));
        QCOMPARE(response.status, 404);
        QVERIFY(response.body.contains("<H1>Not Found</H1><P>No &lt;b&gt;%1&lt;/b&gt; here</P>"));
    }
};

QTEST_GUILESS_MAIN(TestHttpResponse)
#include "tst_httpresponse.moc"
