#include "FuzzInput.h"

#include <QFile>

QList<QByteArray> FuzzInput::parts(const uint8_t* data, size_t size, int count)
{
    static const QByteArray separator("\n@@\n");
    const QByteArray input = QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size));
    QList<QByteArray> result;
    qsizetype from = 0;
    while (result.size() < count - 1) {
        const qsizetype at = input.indexOf(separator, from);
        if (at < 0)
            break;
        result << input.mid(from, at - from + 1);
        from = at + separator.size();
    }
    result << input.mid(from);
    while (result.size() < count)
        result << QByteArray();
    return result;
}

void FuzzInput::writeFiles(const uint8_t* data, size_t size, const QString& base, const QStringList& suffixes)
{
    const QList<QByteArray> contents = parts(data, size, int(suffixes.size()));
    for (int i = 0; i < suffixes.size(); ++i) {
        QFile file(base + suffixes[i]);
        if (file.open(QIODevice::WriteOnly))
            file.write(contents[i]);
    }
}
