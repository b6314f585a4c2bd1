#include "ElevationConversation.h"

#include <QRegularExpression>

namespace ElevationConversation {

QString summaryPath(const QString& product, const QString& area)
{
    return QStringLiteral(
        "/Website/distreq/RequestSummary.jsp?PR=0&CU=Native&ZX=-1.0&ZY=-1.0&ML=COM&MD=DL&AL=%1"
        "&CS=250&PL=%2")
        .arg(area, product);
}

QString submissionUrl(const QByteArray& page)
{
    const qsizetype start = page.indexOf("<FORM");
    const QString form = QString::fromLatin1(page.mid(start, page.indexOf("</FORM", start + 5) - start));
    static const QRegularExpression cut(QStringLiteral("<|/>"));
    QString query;
    for (const QString& piece : form.split(cut, Qt::SkipEmptyParts)) {
        const qsizetype name = piece.indexOf(QStringLiteral("NAME=\""), 0, Qt::CaseInsensitive);
        const qsizetype value = piece.indexOf(QStringLiteral("VALUE=\""), 0, Qt::CaseInsensitive);
        if (!piece.contains(QStringLiteral("INPUT"), Qt::CaseInsensitive) || name < 0 || value < 0)
            continue;
        query += QStringLiteral("&%1=%2").arg(
            piece.mid(name + 6, piece.indexOf(QLatin1Char('"'), name + 6) - name - 6),
            piece.mid(value + 7, piece.indexOf(QLatin1Char('"'), value + 7) - value - 7));
    }
    const qsizetype action = form.indexOf(QStringLiteral("ACTION=\""), 0, Qt::CaseInsensitive) + 8;
    return form.mid(action, form.indexOf(QLatin1Char('"'), action) - action) + QLatin1Char('?') + query;
}

QByteArray entryEndingIn(const QMap<QString, QByteArray>& entries, const QString& suffix)
{
    for (auto it = entries.begin(); it != entries.end(); ++it) {
        if (it.key().endsWith(suffix, Qt::CaseInsensitive))
            return it.value();
    }
    return {};
}

}
