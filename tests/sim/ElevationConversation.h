#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

// What a client of the elevation extract service builds and looks for, in
// the simulator's tests.
namespace ElevationConversation {

// The request-summary path for a product code and an "AL=" area text.
QString summaryPath(const QString& product, const QString& area);

// The download address the program builds from the page: the form's
// target, "?", then "&name=value" for every INPUT with both attributes.
QString submissionUrl(const QByteArray& page);

// The first archive entry whose name ends in suffix (any case), or nothing.
QByteArray entryEndingIn(const QMap<QString, QByteArray>& entries, const QString& suffix);

}
