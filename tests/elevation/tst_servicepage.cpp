#include "elevation/RequestForm.h"
#include "elevation/ServicePage.h"

#include <QTest>

Q_DECLARE_METATYPE(RequestForm::Outcome)
Q_DECLARE_METATYPE(ServicePage::DownloadButtons)

// The request-summary page and its download form, and the waiting pages the
// service shows in between.
class TestServicePage : public QObject {
    Q_OBJECT

private slots:
    void downloadUrl_data()
    {
        QTest::addColumn<QByteArray>("page");
        QTest::addColumn<RequestForm::Outcome>("outcome");
        QTest::addColumn<QString>("url");
        const auto url = RequestForm::Outcome::Url;
        QTest::newRow("fields in order, nothing encoded") << QByteArray(
            "<P>x</P><FORM METHOD=\"GET\" ACTION=\"T\">\n<INPUT TYPE=\"hidden\" NAME=\"a\" VALUE=\"1\">"
            "<INPUT TYPE=\"hidden\" NAME=\"b\" VALUE=\"x y\"/>"
            "<INPUT TYPE=\"submit\" NAME=\"btn\" VALUE=\"Download\"></FORM>")
                                                          << url
                                                          << QStringLiteral("T?&a=1&b=x y&btn=Download");
        QTest::newRow("lower-case input, name and value")
            << QByteArray("<FORM action=\"http://h/S.jsp\"><input name=\"n\" value=\"v\"></FORM>") << url
            << QStringLiteral("http://h/S.jsp?&n=v");
        QTest::newRow("inputs without name or value add nothing") << QByteArray(
            "<FORM ACTION=\"T\"><INPUT NAME=\"a\"><INPUT VALUE=\"1\"><SELECT NAME=\"s\" VALUE=\"2\">"
            "</FORM>") << url << QStringLiteral("T?");
        QTest::newRow("value without closing quote runs to the piece's end")
            << QByteArray(
                   "<FORM ACTION=\"T\"><INPUT NAME=\"a\" VALUE=\"1 <INPUT NAME=\"b\" VALUE=\"2\"></FORM>")
            << url << QStringLiteral("T?&a=1 &b=2");
        QTest::newRow("no form start") << QByteArray("<INPUT NAME=\"a\" VALUE=\"1\"></FORM>")
                                       << RequestForm::Outcome::Malformed << QString();
        QTest::newRow("no form end") << QByteArray("<FORM ACTION=\"T\"><INPUT NAME=\"a\" VALUE=\"1\">")
                                     << RequestForm::Outcome::Malformed << QString();
        QTest::newRow("lower-case form tag")
            << QByteArray("<form ACTION=\"T\"></form>") << RequestForm::Outcome::Malformed << QString();
        QTest::newRow("no action") << QByteArray("<FORM METHOD=\"GET\"><INPUT NAME=\"a\" VALUE=\"1\"></FORM>")
                                   << RequestForm::Outcome::NoTarget << QString();
        QTest::newRow("action without closing quote")
            << QByteArray("<FORM ACTION=\"T></FORM>") << RequestForm::Outcome::NoTarget << QString();
    }

    void downloadUrl()
    {
        QFETCH(QByteArray, page);
        const RequestForm::Result form = RequestForm::downloadUrl(page);
        QTEST(form.outcome, "outcome");
        QTEST(form.url, "url");
    }

    void downloadButtons_data()
    {
        QTest::addColumn<QByteArray>("page");
        QTest::addColumn<ServicePage::DownloadButtons>("buttons");
        QTest::newRow("one") << QByteArray("<INPUT VALUE=\"Download\">") << ServicePage::DownloadButtons::One;
        QTest::newRow("value in lower case is no button")
            << QByteArray("<INPUT value=\"Download\">") << ServicePage::DownloadButtons::None;
        QTest::newRow("second one outside the form")
            << QByteArray("<FORM><INPUT VALUE=\"Download\"></FORM> VALUE=\"Download\"")
            << ServicePage::DownloadButtons::Several;
    }

    void downloadButtons()
    {
        QFETCH(QByteArray, page);
        QTEST(ServicePage::downloadButtons(page), "buttons");
    }

    void withoutErrorPassage_data()
    {
        QTest::addColumn<QByteArray>("page");
        QTest::addColumn<QByteArray>("shown");
        QTest::newRow("passage cut") << QByteArray(
            "a If an error occurs during download, retry. Files are deleted from our server. b")
                                     << QByteArray("a  b");
        QTest::newRow("no start marker")
            << QByteArray("a deleted from our server. b") << QByteArray("a deleted from our server. b");
        QTest::newRow("no end marker: the rest goes")
            << QByteArray("a If an error occurs during download b") << QByteArray("a ");
    }

    void withoutErrorPassage()
    {
        QFETCH(QByteArray, page);
        QTEST(ServicePage::withoutErrorPassage(page), "shown");
    }

    void richTextStopsAtZeroByte()
    {
        const QString text = ServicePage::richText(QByteArray("caf\xe9\0tail", 9));
        QVERIFY(text.startsWith(QLatin1String("<!DOCTYPE HTML PUBLIC \"-//W3C//DTD HTML 4.0//EN\"")));
        QVERIFY(text.endsWith(QStringLiteral("strict.dtd\">caf\u00e9")));
    }

    void summaryPageByTitle()
    {
        QVERIFY(
            ServicePage::isRequestSummary("<TITLE>The National Map Seamless Request Summary Page</TITLE>"));
        QVERIFY(
            !ServicePage::isRequestSummary("<TITLE>The National Map Seamless request summary page</TITLE>"));
    }
};

QTEST_GUILESS_MAIN(TestServicePage)
#include "tst_servicepage.moc"
