#include "BilImport.h"

#include "bil/ElevationImport.h"

#include <QLabel>
#include <QPixmap>
#include <QProgressBar>
#include <QWidget>

BilImport::BilImport(const QString& baseName, QProgressBar* progressBarReading,
    QProgressBar* progressBarCorrecting, QProgressBar* progressBarColoring, QLabel* previewLabel,
    QImage& previewImage, QWidget* parentWidget)
    : baseName(baseName)
    , progressBarReading(progressBarReading)
    , progressBarCorrecting(progressBarCorrecting)
    , progressBarColoring(progressBarColoring)
    , previewLabel(previewLabel)
    , previewImage(previewImage)
    , parentWidget(parentWidget)
{
}

bool BilImport::importBil() { return ElevationImport(baseName, *this).run(); }

void BilImport::setProgress(Stage stage, int value, int maximum)
{
    QProgressBar* const bar = stage == Stage::Reading ? progressBarReading
        : stage == Stage::Correcting                  ? progressBarCorrecting
                                                      : progressBarColoring;
    bar->setMaximum(maximum);
    bar->setValue(value);
}

QSize BilImport::previewSize() const { return previewLabel->size(); }

void BilImport::showPreview(const QImage& preview)
{
    previewImage = preview;
    previewLabel->setPixmap(QPixmap::fromImage(previewImage));
}

void BilImport::setSaving(bool saving) { parentWidget->setCursor(saving ? Qt::WaitCursor : Qt::ArrowCursor); }
