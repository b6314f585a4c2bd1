#include "FaultSwitches.h"

QString FaultSwitches::parse(const QStringList& switches, int minimum, int maximum, QList<Rule>& into)
{
    for (const QString& text : switches) {
        const qsizetype colon = text.indexOf(QLatin1Char(':'));
        bool ok = false;
        const int value = text.left(colon).toInt(&ok);
        if (colon < 0 || !ok || value < minimum || value > maximum
            || !text.mid(colon + 1).startsWith(QLatin1Char('/')))
            return QStringLiteral(
                "\"%1\" is not VALUE:PREFIX with VALUE from %2 to %3 and a PREFIX starting with /")
                .arg(text)
                .arg(minimum)
                .arg(maximum);
        into.append({ text.mid(colon + 1), value });
    }
    return {};
}

QString FaultSwitches::addStatuses(const QStringList& switches)
{
    return parse(switches, 100, 599, statuses);
}

QString FaultSwitches::addSlowBodies(const QStringList& switches)
{
    return parse(switches, 1, 1 << 30, slowBodies);
}

void FaultSwitches::addDrops(const QStringList& prefixes)
{
    drops += prefixes;
}

std::optional<int> FaultSwitches::find(const QList<Rule>& rules, const QString& path)
{
    for (const Rule& rule : rules) {
        if (path.startsWith(rule.prefix))
            return rule.value;
    }
    return std::nullopt;
}

std::optional<int> FaultSwitches::statusFor(const QString& path) const
{
    return find(statuses, path);
}

void FaultSwitches::applyDelivery(const QString& path, HttpResponse& response) const
{
    response.bytesPerSecond = find(slowBodies, path).value_or(0);
    for (const QString& prefix : drops)
        response.dropMidBody = response.dropMidBody || path.startsWith(prefix);
}
