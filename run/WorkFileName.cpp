#include "run/WorkFileName.h"

QString WorkFileName::baseFileName(
    const QString& workingDirectory, double north, double south, double west, double east)
{
    const auto border = [](double value) { return QString::number(value, 'f', 5); };
    return QStringLiteral("%1/%2N-%3S_%4W-%5E")
        .arg(workingDirectory, border(north), border(south), border(west), border(east));
}
