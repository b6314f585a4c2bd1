#include "RunFixture.h"

#include "app/MessageBoxes.h"
#include "app/MessageLog.h"
#include "app/SettingsStore.h"
#include "run/WorkFileName.h"

#include <QRegularExpression>
#include <QSettings>
#include <QTest>
#include <QTimer>

RunFixture::RunFixture(const QStringList& simOptions, const QString& program)
{
    sim = std::make_unique<SimProcess>(simOptions, program);
    for (const char* variable : { "RELKA_ELEVATION_SERVER", "RELKA_TILE_SERVER", "RELKA_GEOCODER" })
        qputenv(variable, authority().toLatin1());
    MessageLog::setEcho([this](const QString& line) {
        static const QRegularExpression id(QStringLiteral("\\((\\d+), ([01])\\)"));
        static const QRegularExpression requestId(QStringLiteral("requestId = \\d+"));
        lines.append(QString(line)
                         .replace(id, QStringLiteral("(#, \\2)"))
                         .replace(requestId, QStringLiteral("requestId = #")));
        if (triggerAction && lines.last() == triggerLine)
            QTimer::singleShot(0, window.get(), std::exchange(triggerAction, {}));
    });
    MessageBoxes::setHandler([this](MessageBoxes::Icon, QWidget*, const QString& title, const QString& text,
                                 MessageBoxes::Buttons buttons) {
        boxTexts.append(title + QLatin1String(": ") + text);
        return buttons.testFlag(MessageBoxes::Ignore) ? MessageBoxes::Ignore : MessageBoxes::Ok;
    });
}

RunFixture::~RunFixture()
{
    window.reset();
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

MainDialog& RunFixture::start(const Settings& settings)
{
    QSettings(QStringLiteral("Brenholt"), QStringLiteral("relka")).clear();
    SettingsStore::setDownloadArea(settings.area);
    SettingsStore::setElevationDataSource(settings.source);
    SettingsStore::setVerbose(settings.verbose);
    workDirectory = settings.workingDirectory.isEmpty() ? work.path() : settings.workingDirectory;
    SettingsStore::setWorkingDirectory(workDirectory);
    window.reset();
    window = std::make_unique<MainDialog>();
    window->doubleSpinBoxNorth->setValue(settings.north);
    window->doubleSpinBoxWest->setValue(settings.west);
    window->show();
    return *window;
}

QString RunFixture::workingDirectory() const { return workDirectory; }

QString RunFixture::baseFileName() const
{
    return WorkFileName::baseFileName(workDirectory, window->doubleSpinBoxNorth->value(),
        window->doubleSpinBoxSouth->value(), window->doubleSpinBoxWest->value(),
        window->doubleSpinBoxEast->value());
}

QStringList RunFixture::elevationLog() const
{
    QStringList elevation;
    for (const QString& line : lines) {
        if (!line.startsWith(QLatin1String("OpenStreetMap"), Qt::CaseInsensitive))
            elevation.append(line);
    }
    return elevation;
}

void RunFixture::makeTileServerUnreachable()
{
    // Port 1 on loopback: nobody listens there.
    qputenv("RELKA_TILE_SERVER", "127.0.0.1:1");
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

bool RunFixture::isIdle() const
{
    return window->pushButtonDownload->isEnabled() && !window->pushButtonCancel->isEnabled()
        && window->progressBarOverall->maximum() == 1;
}
