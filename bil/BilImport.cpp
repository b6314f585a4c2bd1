#include "BilImport.h"

#include "bil/ElevationImport.h"

BilImport::BilImport(const QString& baseName, const QSize& previewSize)
    : baseName(baseName)
    , preview(previewSize)
{
}

bool BilImport::importBil() { return ElevationImport(baseName, *this).run(); }

void BilImport::setProgress(Stage stage, int value, int maximum)
{
    emit progressChanged(stage, value, maximum);
}

void BilImport::showPreview(const QImage& image) { emit previewReady(image); }

void BilImport::setSaving(bool saving) { emit savingChanged(saving); }
