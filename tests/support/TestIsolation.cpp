#include "TestIsolation.h"

#include <QDir>
#include <QSettings>
#include <QStandardPaths>

#include <utility>

namespace {

// Before main(): before the test builds its application object, loads a
// platform plugin or reads a setting.
[[maybe_unused]] const bool isolatedBeforeMain = !TestIsolation::home().isEmpty();

} // namespace

TestIsolation::TestIsolation()
    : root(QDir::tempPath() + QStringLiteral("/relka-test-XXXXXX"))
{
    if (!root.isValid())
        qFatal("no temporary folder for the test: %s", qPrintable(root.errorString()));
    const std::pair<const char*, QString> folders[] = {
        { "HOME", QString() },
        { "XDG_CONFIG_HOME", QStringLiteral("/.config") },
        { "XDG_DATA_HOME", QStringLiteral("/.local/share") },
        { "XDG_STATE_HOME", QStringLiteral("/.local/state") },
        { "XDG_CACHE_HOME", QStringLiteral("/.cache") },
        { "XDG_RUNTIME_DIR", QStringLiteral("/runtime") },
    };
    for (const auto& [variable, folder] : folders) {
        const QString path = root.path() + folder;
        QDir().mkpath(path);
        qputenv(variable, QFile::encodeName(path));
    }
    // Qt refuses a runtime folder that others may read.
    QFile::setPermissions(root.filePath(QStringLiteral("runtime")),
        QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    QStandardPaths::setTestModeEnabled(true);
    // QSettings keeps the folders it found first; these hold whatever read them before.
    for (const QSettings::Format format : { QSettings::NativeFormat, QSettings::IniFormat }) {
        QSettings::setPath(format, QSettings::UserScope, root.filePath(QStringLiteral(".config")));
        QSettings::setPath(format, QSettings::SystemScope, root.filePath(QStringLiteral("etc/xdg")));
    }
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    const QString work = root.filePath(QStringLiteral("work"));
    if (!QDir().mkpath(work) || !QDir::setCurrent(work))
        qFatal("cannot work in %s", qPrintable(work));
}

TestIsolation& TestIsolation::instance()
{
    static TestIsolation isolation;
    return isolation;
}

QString TestIsolation::home() { return instance().root.path(); }
