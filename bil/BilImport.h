#pragma once

#include "bil/ImportFeedback.h"

#include <QObject>
#include <QSize>
#include <QString>

// The elevation import as a download run drives it: each stage's progress,
// the preview and the saving of a work file come out as signals. Made for
// one import and dropped afterwards; the work itself is ElevationImport's.
class BilImport : public QObject, public ImportFeedback {
    Q_OBJECT

public:
    // previewSize: the box the preview is fitted into; empty for none.
    BilImport(const QString& baseName, const QSize& previewSize);

    // ElevationImport::run() reporting through the signals.
    bool importBil();

signals:
    void progressChanged(ImportFeedback::Stage stage, int value, int maximum);
    void previewReady(const QImage& preview);
    void savingChanged(bool saving);

private:
    void setProgress(Stage stage, int value, int maximum) override;
    QSize previewSize() const override { return preview; }
    void showPreview(const QImage& image) override;
    void setSaving(bool saving) override;

    QString baseName;
    QSize preview;
};
