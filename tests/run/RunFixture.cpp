#include "RunFixture.h"

#include "app/DownloadArea.h"
#include "app/MessageBoxes.h"
#include "app/MessageLog.h"
#include "app/SettingsStore.h"
#include "run/WorkFileName.h"

#include <QRegularExpression>
#include <QSettings>
#include <QTest>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

// The preview labels' size in the window as it opens.
const QSize previewBox(300, 200);

} // namespace

RunFixture::RunFixture(const QStringList& simOptions, const QString& program)
{
    sim = std::make_unique<SimProcess>(simOptions, program);
    sim->serveAllServices();
    clock.start();
    MessageLog::setEcho([this](const QString& line) {
        static const QRegularExpression id(u"\\((\\d+), ([01])\\)"_s);
        static const QRegularExpression requestId(u"requestId = \\d+"_s);
        lines.append(QString(line).replace(id, u"(#, \\2)"_s).replace(requestId, u"requestId = #"_s));
        times.append(clock.elapsed());
        if (triggerAction && lines.last() == triggerLine)
            QTimer::singleShot(0, downloadRun.get(), std::exchange(triggerAction, {}));
    });
    MessageBoxes::setHandler([this](MessageBoxes::Icon, QWidget*, const QString& title, const QString& text,
                                 MessageBoxes::Buttons buttons) {
        boxTexts.append(title + u": "_s + text);
        return buttons.testFlag(MessageBoxes::Ignore) ? MessageBoxes::Ignore : MessageBoxes::Ok;
    });
}

RunFixture::~RunFixture()
{
    downloadRun.reset();
    MessageLog::setEcho({});
    MessageBoxes::setHandler({});
}

bool RunFixture::isReady() const { return sim->isRunning() && work.isValid(); }

QByteArray RunFixture::simulatorLog()
{
    requestLog += sim->process().readAllStandardError();
    return requestLog;
}

QString RunFixture::authority() const { return sim->url(QString()).authority(); }

DownloadRun& RunFixture::start(const Settings& settings)
{
    QSettings(u"Brenholt"_s, u"relka"_s).clear();
    SettingsStore::setDownloadArea(settings.area);
    SettingsStore::setElevationDataSource(settings.source);
    SettingsStore::setVerbose(settings.verbose);
    workDirectory = settings.workingDirectory.isEmpty() ? work.path() : settings.workingDirectory;
    SettingsStore::setWorkingDirectory(workDirectory);
    downloadRun = std::make_unique<DownloadRun>();
    downloadRun->setRectangle({ settings.north, settings.north - DownloadArea::height(settings.area),
        settings.west, settings.west + DownloadArea::width(settings.area) });
    record(*downloadRun);
    return *downloadRun;
}

void RunFixture::record(DownloadRun& run)
{
    QObject::connect(&run, &DownloadRun::controlsLocked, [this](bool on) { locked = on; });
    QObject::connect(&run, &DownloadRun::busyChanged, [this](bool on) { busy = on; });
    QObject::connect(&run, &DownloadRun::previewChanged,
        [this](DownloadRun::Preview which, const QImage& image) { previews[int(which)] = image; });
    QObject::connect(&run, &DownloadRun::pageShown, [this](const QString& text) { label = text; });
    QObject::connect(&run, &DownloadRun::errorShown, [this](const QString& text) { label = text; });
    QObject::connect(&run, &DownloadRun::stalled, [this] { ++stalls; });
}

void RunFixture::download()
{
    downloadRun->setPreviewSizes(previewBox, previewBox);
    downloadRun->downloadFiles();
}

QString RunFixture::workingDirectory() const { return workDirectory; }

QString RunFixture::baseFileName() const
{
    const DownloadRun::Rectangle rectangle = downloadRun->rectangle();
    return WorkFileName::baseFileName(
        workDirectory, rectangle.north, rectangle.south, rectangle.west, rectangle.east);
}

QStringList RunFixture::elevationLog() const
{
    QStringList elevation = lines;
    elevation.removeIf(
        [](const QString& line) { return line.startsWith(u"OpenStreetMap"_s, Qt::CaseInsensitive); });
    return elevation;
}

qint64 RunFixture::millisecondsBetween(const QString& from, const QString& to) const
{
    const qsizetype start = lines.indexOf(from);
    for (qsizetype i = start + 1; start >= 0 && i < lines.size(); ++i) {
        if (lines[i].startsWith(to))
            return times[i] - times[start];
    }
    return -1;
}

void RunFixture::clearLog()
{
    lines.clear();
    times.clear();
}

bool RunFixture::waitFor(const std::function<bool()>& condition)
{
    return QTest::qWaitFor(condition, SimProcess::patience());
}

void RunFixture::startRelkaRun(
    QProcess& child, const QString& directory, double west, const QStringList& more)
{
    child.start(QStringLiteral(RELKA_BINARY_DIR "/run/relka-run"),
        QStringList { "--north", "40.25", "--west", QString::number(west), "--area", "0.25", "--source",
            "srtm3", "--workdir", directory }
            + more);
}

bool RunFixture::waitForLine(const QString& line, int milliseconds) const
{
    return QTest::qWaitFor([&] { return lines.contains(line); }, milliseconds);
}

void RunFixture::onLine(const QString& line, std::function<void()> action)
{
    triggerLine = line;
    triggerAction = std::move(action);
}
