#pragma once

#include <QElapsedTimer>
#include <QList>
#include <QString>

#include <optional>

// The log lines of one run, each stamped on arrival, and the times its
// files were last written, all in seconds on one clock that starts with
// the run.
class RunTimeline {
public:
    struct Line {
        double at;
        QString text;
    };

    void start();
    double elapsed() const;
    void add(const QString& text);
    const QList<Line>& lines() const { return entries; }

    // The first or last line that contains text.
    std::optional<double> first(const QString& text) const;
    std::optional<double> last(const QString& text) const;
    // The last line logged at or before a moment; empty before the first.
    QString lineBefore(double at) const;
    // When the file was last written; nothing for a missing file or one
    // left from before the run.
    std::optional<double> written(const QString& fileName) const;

private:
    QElapsedTimer clock;
    qint64 startMsSinceEpoch = 0;
    QList<Line> entries;
};
