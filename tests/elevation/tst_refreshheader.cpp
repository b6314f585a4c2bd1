#include "elevation/RefreshHeader.h"

#include <QTest>

class TestRefreshHeader : public QObject {
    Q_OBJECT

private slots:
    void parse_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<int>("seconds");
        QTest::addColumn<QString>("url");
        QTest::addColumn<bool>("undecodable");
        const QString next = QStringLiteral("http://host/next?a=1");
        QTest::newRow("seconds and address") << QStringLiteral("30; URL=") + next << 30 << next << false;
        QTest::newRow("url= in lower case") << QStringLiteral("30; url=") + next << 30 << next << false;
        QTest::newRow("address kept untrimmed")
            << QStringLiteral("2; URL= x ") << 2 << QStringLiteral(" x ") << false;
        QTest::newRow("no space before URL=") << QStringLiteral("30;URL=") + next << 30 << QString() << true;
        QTest::newRow("no semicolon") << QStringLiteral("5") << 5 << QString() << false;
        QTest::newRow("no semicolon, URL= ignored")
            << QStringLiteral("5 URL=") + next << 0 << QString() << false;
        QTest::newRow("no number") << QStringLiteral("soon; URL=") + next << 0 << next << false;
        QTest::newRow("marker searched in the whole value")
            << QStringLiteral("1 URL=a; x") << 0 << QStringLiteral("a; x") << false;
    }

    void parse()
    {
        QFETCH(QString, value);
        const RefreshHeader refresh = RefreshHeader::parse(value);
        QTEST(refresh.seconds, "seconds");
        QTEST(refresh.url, "url");
        QTEST(refresh.undecodable, "undecodable");
    }
};

QTEST_GUILESS_MAIN(TestRefreshHeader)
#include "tst_refreshheader.moc"
