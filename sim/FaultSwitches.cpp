#include "FaultSwitches.h"

#include "PngBomb.h"

#include <QBuffer>
#include <QFile>
#include <QImage>

#include <algorithm>

namespace {

// The tile with an alpha channel: along each diagonal a pixel is fully
// transparent, half transparent or opaque in turn, its colour kept.
QByteArray withAlpha(const QByteArray& tile)
{
    QImage image = QImage::fromData(tile).convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < image.height(); ++y) {
        QRgb* pixel = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x)
            pixel[x] = (pixel[x] & 0xffffff) | (uint((x + y) % 3 * 255 / 2) << 24);
    }
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return png;
}

} // namespace

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

void FaultSwitches::addEarlyDrops(const QStringList& prefixes) { earlyDrops += prefixes; }

void FaultSwitches::addSilences(const QStringList& prefixes) { silences += prefixes; }

void FaultSwitches::addEndlessBodies(const QStringList& prefixes) { endlessBodies += prefixes; }

void FaultSwitches::addBrokenChunks(const QStringList& prefixes) { brokenChunks += prefixes; }

void FaultSwitches::addNegativeLengths(const QStringList& prefixes) { negativeLengths += prefixes; }

void FaultSwitches::addPngBombs(const QStringList& prefixes) { pngBombs += prefixes; }

void FaultSwitches::addAlphaTiles(const QStringList& prefixes) { alphaTiles += prefixes; }

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
    if (matches(alphaTiles, path))
        response.body = withAlpha(response.body);
    if (matches(pngBombs, path)) {
        response.bodyFile.clear();
        response.body = PngBomb::bytes();
    }
    // Archives are a few megabytes at most here: the tampered copy is held
    // in memory.
    if (archiveFault && response.bodyFile.endsWith(QLatin1String(".zip"))) {
        QFile archive(response.bodyFile);
        if (archive.open(QIODevice::ReadOnly)) {
            response.body = ArchiveTamper::apply(archive.readAll(), *archiveFault);
            response.bodyFile.clear();
        }
    }
    if (const std::optional<int> rate = find(slowBodies, path))
        response.setByteRate(*rate);
    if (matches(drops, path))
        response.dropAfter = response.bodySize() / 2;
    if (matches(earlyDrops, path))
        response.dropAfter = 0;
    response.silent = matches(silences, path);
    if (matches(endlessBodies, path) && response.bodyFile.isEmpty() && !response.body.isEmpty()) {
        response.framing = HttpResponse::Framing::CloseDelimited;
        response.endless = true;
    }
    // Framing faults speak for themselves: the header fields are set here and
    // the body follows without a length, up to the close.
    if (matches(brokenChunks, path) && response.bodyFile.isEmpty()) {
        response.framing = HttpResponse::Framing::CloseDelimited;
        response.setHeader("Transfer-Encoding", "chunked");
        response.body.prepend("zz\r\n");
    }
    if (matches(negativeLengths, path)) {
        response.framing = HttpResponse::Framing::CloseDelimited;
        response.setHeader("Content-Length", "-1");
    }
}
