#include "FaultSwitches.h"

#include <algorithm>

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

void FaultSwitches::addDrops(const QStringList& prefixes) { drops += prefixes; }

void FaultSwitches::addSilences(const QStringList& prefixes) { silences += prefixes; }

std::optional<int> FaultSwitches::find(const QList<Rule>& rules, const QString& path)
{
    for (const Rule& rule : rules) {
        if (path.startsWith(rule.prefix))
            return rule.value;
    }
    return std::nullopt;
}

bool FaultSwitches::matches(const QStringList& prefixes, const QString& path)
{
    return std::any_of(
        prefixes.begin(), prefixes.end(), [&path](const QString& prefix) { return path.startsWith(prefix); });
}

std::optional<int> FaultSwitches::statusFor(const QString& path) const { return find(statuses, path); }

void FaultSwitches::applyDelivery(const QString& path, HttpResponse& response) const
{
    if (const std::optional<int> rate = find(slowBodies, path))
        response.setByteRate(*rate);
    if (matches(drops, path))
        response.dropAfter = response.bodySize() / 2;
    response.silent = matches(silences, path);
}
