#pragma once

#include "bil/ImportFeedback.h"

#include <QString>

class QImage;
class QLabel;
class QProgressBar;
class QWidget;

// The elevation import as the main dialog runs it: each stage's progress on
// its bar, the preview on the label (and in the dialog's preview image), the
// wait cursor on the dialog while a work file is saved. Made for one import
// and dropped afterwards; the work itself is ElevationImport's.
// The widgets and the preview image belong to the caller and must outlive
// the object; none of the pointers may be null.
class BilImport : public ImportFeedback {
public:
    BilImport(const QString& baseName, QProgressBar* progressBarReading, QProgressBar* progressBarCorrecting,
        QProgressBar* progressBarColoring, QLabel* previewLabel, QImage& previewImage, QWidget* parentWidget);

    // ElevationImport::run() with these widgets.
    bool importBil();

private:
    void setProgress(Stage stage, int value, int maximum) override;
    QSize previewSize() const override;
    void showPreview(const QImage& preview) override;
    void setSaving(bool saving) override;

    QString baseName;
    QProgressBar* progressBarReading;
    QProgressBar* progressBarCorrecting;
    QProgressBar* progressBarColoring;
    QLabel* previewLabel;
    QImage& previewImage;
    QWidget* parentWidget;
};
