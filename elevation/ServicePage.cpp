#include "elevation/ServicePage.h"

namespace {

const QByteArray buttonToken = QByteArrayLiteral("VALUE=\"Download\"");

} // namespace

bool ServicePage::isRequestSummary(const QByteArray& body)
{
    return body.contains("The National Map Seamless Request Summary Page");
}

ServicePage::DownloadButtons ServicePage::downloadButtons(const QByteArray& body)
{
    const qsizetype first = body.indexOf(buttonToken);
    if (first < 0)
        return DownloadButtons::None;
    return body.indexOf(buttonToken, first + buttonToken.size()) < 0 ? DownloadButtons::One
                                                                     : DownloadButtons::Several;
}

QByteArray ServicePage::withoutErrorPassage(const QByteArray& body)
{
    const qsizetype start = body.indexOf("If an error occurs during download");
    if (start < 0)
        return body;
    const QByteArray endText = QByteArrayLiteral("deleted from our server.");
    const qsizetype end = body.indexOf(endText);
    return body.left(start) + (end < 0 ? QByteArray() : body.mid(end + endText.size()));
}

QString ServicePage::richText(const QByteArray& body)
{
    return QStringLiteral("<!DOCTYPE HTML PUBLIC \"-//W3C//DTD HTML 4.0//EN\" "
                          "\"http://www.w3.org/TR/REC-html40/strict.dtd\">")
        + QString::fromLatin1(body.constData());
}
