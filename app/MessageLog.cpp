#include "MessageLog.h"

#include "SettingsStore.h"

#include <QFile>
#include <QTime>

void MessageLog::append(const QString& message)
{
    QFile file(QStringLiteral("%1/messages.txt").arg(SettingsStore::workingDirectory()));
    const QString time = QTime::currentTime().toString(QStringLiteral("hh:mm:ss.zzz"));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append))
        return;
    // The two-argument arg() inserts the message as it is: markers such as
    // "%1" inside it stay literal. Characters beyond Latin-1 become '?'.
    file.write(QStringLiteral("%1: %2\r\n").arg(time, message).toLatin1());
}
