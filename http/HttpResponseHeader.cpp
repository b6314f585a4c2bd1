#include "http/HttpResponseHeader.h"

#include <algorithm>

HttpResponseHeader::HttpResponseHeader(
    int statusCode, const QString& reasonPhrase, const QList<Field>& fields)
    : code(statusCode)
    , reason(reasonPhrase)
    , fields(fields)
{
}

bool HttpResponseHeader::isValid() const { return code > 0; }

int HttpResponseHeader::statusCode() const { return code; }

QString HttpResponseHeader::reasonPhrase() const { return reason; }

QString HttpResponseHeader::value(const QString& key) const
{
    const Field* field = find(key);
    return field ? QString::fromLatin1(field->second) : QString();
}

bool HttpResponseHeader::hasKey(const QString& key) const { return find(key) != nullptr; }

QStringList HttpResponseHeader::keys() const
{
    QStringList names;
    for (const Field& field : fields)
        names.append(QString::fromLatin1(field.first));
    return names;
}

bool HttpResponseHeader::hasContentLength() const { return hasKey(QStringLiteral("content-length")); }

qint64 HttpResponseHeader::contentLength() const
{
    return value(QStringLiteral("content-length")).trimmed().toLongLong();
}

const HttpResponseHeader::Field* HttpResponseHeader::find(const QString& key) const
{
    const QByteArray name = key.toLatin1();
    const auto it = std::find_if(fields.cbegin(), fields.cend(),
        [&name](const Field& field) { return field.first.compare(name, Qt::CaseInsensitive) == 0; });
    return it == fields.cend() ? nullptr : &*it;
}
