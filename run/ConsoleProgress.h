#pragma once

#include "run/DownloadRun.h"

#include <QObject>

#include <cstdio>

// A run's stages on a terminal or in a log: a live bar per stage when the
// stream is a terminal, otherwise one line per stage as it completes.
class ConsoleProgress : public QObject {
    Q_OBJECT

public:
    ConsoleProgress(const DownloadRun& run, FILE* stream);

private:
    struct StageState {
        int value = 0;
        int maximum = 100;
        bool done = false;
    };

    void update(DownloadRun::Stage stage, bool completed);
    static QString name(DownloadRun::Stage stage);

    FILE* stream;
    bool live;
    StageState stages[DownloadRun::stageCount];
};
