#pragma once

#include <QByteArray>
#include <QList>
#include <QMetaType>
#include <QPair>
#include <QString>
#include <QStringList>

// The status line and header fields of one HTTP response, as the server sent
// them. Field names keep their letter case for keys(); every lookup ignores
// case, so value("location") finds a "Location" field.
class HttpResponseHeader {
public:
    using Field = QPair<QByteArray, QByteArray>;

    // An invalid header: no status line was received.
    HttpResponseHeader() = default;
    HttpResponseHeader(int statusCode, const QString& reasonPhrase, const QList<Field>& fields);

    bool isValid() const;
    int statusCode() const;
    QString reasonPhrase() const;

    // Value of the first field named key (Latin-1), empty when there is none.
    QString value(const QString& key) const;
    bool hasKey(const QString& key) const;
    QStringList keys() const;

    bool hasContentLength() const;
    // The announced body length; 0 when none was announced or it is no number.
    qint64 contentLength() const;

private:
    const Field* find(const QString& key) const;

    int code = 0;
    QString reason;
    QList<Field> fields;
};

Q_DECLARE_METATYPE(HttpResponseHeader)
