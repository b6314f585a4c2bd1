#include "elevation/RequestForm.h"

#include <QRegularExpression>

namespace {

// The characters from `start` up to the next double quote (to the end when
// none follows).
QString quotedFrom(const QString& text, qsizetype start)
{
    const qsizetype end = text.indexOf(QLatin1Char('"'), start);
    return text.mid(start, end < 0 ? -1 : end - start);
}

QString fields(const QString& form)
{
    static const QRegularExpression cut(QStringLiteral("<|/>"));
    const QLatin1String nameMarker("NAME=\"");
    const QLatin1String valueMarker("VALUE=\"");
    QString query;
    for (const QString& piece : form.split(cut, Qt::SkipEmptyParts)) {
        if (!piece.contains(QLatin1String("INPUT"), Qt::CaseInsensitive))
            continue;
        const qsizetype name = piece.indexOf(nameMarker, 0, Qt::CaseInsensitive);
        const qsizetype value = piece.indexOf(valueMarker, 0, Qt::CaseInsensitive);
        if (name < 0 || value < 0)
            continue;
        query += QLatin1Char('&') + quotedFrom(piece, name + nameMarker.size()) + QLatin1Char('=')
            + quotedFrom(piece, value + valueMarker.size());
    }
    return query;
}

} // namespace

RequestForm::Result RequestForm::downloadUrl(const QByteArray& page)
{
    const qsizetype begin = page.indexOf("<FORM");
    const qsizetype end = begin < 0 ? -1 : page.indexOf("</FORM", begin + 5);
    if (end < 0)
        return { Outcome::Malformed, {} };
    // Latin-1 up to a first zero byte, as the page text is taken everywhere.
    const QByteArray formBytes = page.mid(begin, end - begin);
    const QString form = QString::fromLatin1(formBytes.constData());

    const QLatin1String actionMarker("ACTION=\"");
    const qsizetype action = form.indexOf(actionMarker, 0, Qt::CaseInsensitive);
    const qsizetype actionEnd
        = action < 0 ? -1 : form.indexOf(QLatin1Char('"'), action + actionMarker.size());
    if (actionEnd < 0)
        return { Outcome::NoTarget, {} };
    const qsizetype actionStart = action + actionMarker.size();
    return { Outcome::Url, form.mid(actionStart, actionEnd - actionStart) + QLatin1Char('?') + fields(form) };
}
