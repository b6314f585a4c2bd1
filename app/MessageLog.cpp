#include "MessageLog.h"

#include "SettingsStore.h"

#include <QFile>
#include <QTime>

namespace {
std::function<void(const QString&)>& currentEcho()
{
    static std::function<void(const QString&)> echo;
    return echo;
}
} // namespace

void MessageLog::setEcho(std::function<void(const QString&)> echo) { currentEcho() = std::move(echo); }

void MessageLog::append(const QString& message)
{
    if (currentEcho())
        currentEcho()(message);
    QFile file(QStringLiteral("%1/messages.txt").arg(SettingsStore::workingDirectory()));
    const QString time = QTime::currentTime().toString(QStringLiteral("hh:mm:ss.zzz"));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append))
        return;
    // The two-argument arg() inserts the message as it is: markers such as
    // "%1" inside it stay literal. Characters beyond Latin-1 become '?'.
    file.write(QStringLiteral("%1: %2\r\n").arg(time, message).toLatin1());
}
