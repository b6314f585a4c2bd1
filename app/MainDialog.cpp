#include "MainDialog.h"

#include "app/DownloadArea.h"
#include "app/MessageLog.h"
#include "app/SettingsDialog.h"
#include "app/SettingsStore.h"

#include <QTimer>

MainDialog::MainDialog(QWidget* parent)
    : QDialog(parent)
    , run(new DownloadRun(this))
{
    setupUi(this);

    connect(pushButtonCancel, &QPushButton::clicked, this, &MainDialog::cancelDownload);
    connect(pushButtonDownload, &QPushButton::clicked, this, &MainDialog::downloadFiles);
    connect(doubleSpinBoxNorth, &QDoubleSpinBox::valueChanged, this,
        &MainDialog::slotDoubleSpinBoxNorthValueChanged);
    connect(doubleSpinBoxWest, &QDoubleSpinBox::valueChanged, this,
        &MainDialog::slotDoubleSpinBoxWestValueChanged);
    for (QDoubleSpinBox* border :
        { doubleSpinBoxNorth, doubleSpinBoxSouth, doubleSpinBoxWest, doubleSpinBoxEast })
        connect(border, &QDoubleSpinBox::valueChanged, this, &MainDialog::handRectangleToRun);
    connect(pushButtonDeleteFiles, &QPushButton::clicked, this, &MainDialog::slotDeleteFiles);
    connect(pushButtonGeocode, &QPushButton::clicked, this, &MainDialog::slotGeocode);
    connect(pushButtonSettings, &QPushButton::clicked, this, &MainDialog::slotSettings);

    connect(run, &DownloadRun::busyChanged, this, [this](bool busy) {
        progressBarOverall->setMaximum(busy ? 0 : 1);
        if (!busy)
            progressBarOverall->setValue(1);
    });
    connect(run, &DownloadRun::controlsLocked, this, &MainDialog::setControlsRunning);
    connect(run, &DownloadRun::stageRangeChanged, this,
        [this](DownloadRun::Stage stage, int maximum) { stageBar(stage)->setMaximum(maximum); });
    connect(run, &DownloadRun::stageValueChanged, this,
        [this](DownloadRun::Stage stage, int value) { stageBar(stage)->setValue(value); });
    connect(run, &DownloadRun::stageCompleted, this, [this](DownloadRun::Stage stage) {
        QProgressBar* bar = stageBar(stage);
        bar->setValue(bar->maximum());
    });
    connect(run, &DownloadRun::resultsAwaited, this, [this] {
        labelElevationFile->setText(tr("Waiting for elevation file..."));
        labelTextureFile->setText(tr("Waiting for texture file..."));
    });
    connect(run, &DownloadRun::previewChanged, this, &MainDialog::showPreview);
    connect(run, &DownloadRun::pageShown, labelHTMLMessage, &QLabel::setText);
    connect(run, &DownloadRun::errorShown, this, &MainDialog::showError);
    connect(run, &DownloadRun::savingChanged, this,
        [this](bool saving) { setCursor(saving ? Qt::WaitCursor : Qt::ArrowCursor); });
    connect(run, &DownloadRun::succeeded, this, &MainDialog::showSuccess);
    connect(run, &DownloadRun::cancelled, this, &MainDialog::showIdleAfterCancel);
    // A copy: each field hands the rectangle to the run as it changes.
    connect(run, &DownloadRun::rectangleChanged, this, [this](DownloadRun::Rectangle rectangle) {
        doubleSpinBoxNorth->setValue(rectangle.north);
        doubleSpinBoxSouth->setValue(rectangle.south);
        doubleSpinBoxWest->setValue(rectangle.west);
        doubleSpinBoxEast->setValue(rectangle.east);
    });
    connect(run, &DownloadRun::geocodeAnswered, this, &MainDialog::showGeocodeAnswered);

    // North and West move South and East through the slots above; the stored
    // South and East then overwrite what the slots set.
    doubleSpinBoxNorth->setValue(SettingsStore::downloadNorth());
    doubleSpinBoxSouth->setValue(SettingsStore::downloadSouth());
    doubleSpinBoxWest->setValue(SettingsStore::downloadWest());
    doubleSpinBoxEast->setValue(SettingsStore::downloadEast());
    recentreWithStoredArea();

    setWindowFlags(windowFlags() | Qt::WindowMinimizeButtonHint | Qt::WindowMaximizeButtonHint);
}

void MainDialog::addMessage(const QString& message) { MessageLog::append(message); }

double MainDialog::downloadAreaWidth(const QString& area) { return DownloadArea::width(area); }

double MainDialog::downloadAreaHeight(const QString& area) { return DownloadArea::height(area); }

bool MainDialog::isVerbose() const { return run->isVerbose(); }

void MainDialog::setDownloadAreaWidth(const QString& area, double latitude, double longitude)
{
    const double width = downloadAreaWidth(area);
    const double height = downloadAreaHeight(area);
    doubleSpinBoxNorth->setValue(latitude + 0.5 * height);
    doubleSpinBoxSouth->setValue(latitude - 0.5 * height);
    doubleSpinBoxWest->setValue(longitude - 0.5 * width);
    doubleSpinBoxEast->setValue(longitude + 0.5 * width);
    doubleSpinBoxNorth->setSingleStep(height);
    doubleSpinBoxSouth->setSingleStep(height);
    doubleSpinBoxWest->setSingleStep(width);
    doubleSpinBoxEast->setSingleStep(width);
}

void MainDialog::downloadFiles()
{
    handRectangleToRun();
    run->setPreviewSizes(labelElevationFile->size(), labelTextureFile->size());
    run->downloadFiles();
}

void MainDialog::cancelDownload() { run->cancelDownload(); }

void MainDialog::openStreetMapHttpRequestFinished(int requestId, bool error)
{
    run->openStreetMapHttpRequestFinished(requestId, error);
}

void MainDialog::seamlessHttpRequestFinished(int requestId, bool error)
{
    run->seamlessHttpRequestFinished(requestId, error);
}

void MainDialog::geocodeRequestFinished(int requestId, bool error)
{
    run->geocodeRequestFinished(requestId, error);
}

void MainDialog::openStreetMapHttpReadResponseHeader(const HttpResponseHeader& responseHeader)
{
    run->openStreetMapHttpReadResponseHeader(responseHeader);
}

void MainDialog::seamlessHttpReadResponseHeader(const HttpResponseHeader& responseHeader)
{
    run->seamlessHttpReadResponseHeader(responseHeader);
}

void MainDialog::seamlessHttpUpdateDataReadProgress(int bytesRead, int totalBytes)
{
    run->seamlessHttpUpdateDataReadProgress(bytesRead, totalBytes);
}

void MainDialog::openStreetMapHttpSslErrors(const QList<QSslError>& errors)
{
    run->openStreetMapHttpSslErrors(errors);
}

void MainDialog::seamlessHttpSslErrors(const QList<QSslError>& errors) { run->seamlessHttpSslErrors(errors); }

void MainDialog::seamlessRefresh() { run->seamlessRefresh(); }

void MainDialog::slotCreateBIL() { run->slotCreateBIL(); }

void MainDialog::slotTileOpenStreetMapFiles() { run->slotTileOpenStreetMapFiles(); }

void MainDialog::slotClearLabel() { labelHTMLMessage->clear(); }

void MainDialog::slotDoubleSpinBoxNorthValueChanged(double)
{
    doubleSpinBoxSouth->setValue(
        doubleSpinBoxNorth->value() - downloadAreaHeight(SettingsStore::downloadArea()));
}

void MainDialog::slotDoubleSpinBoxWestValueChanged(double)
{
    doubleSpinBoxEast->setValue(
        doubleSpinBoxWest->value() + downloadAreaWidth(SettingsStore::downloadArea()));
}

// South and East stay editable until the next deletion or run.
void MainDialog::slotDeleteFiles()
{
    const QList<QWidget*> controls { pushButtonDeleteFiles, pushButtonDownload, pushButtonGeocode,
        pushButtonSettings, doubleSpinBoxNorth, doubleSpinBoxSouth, doubleSpinBoxEast, doubleSpinBoxWest,
        lineEditAddress };
    for (QWidget* control : controls)
        control->setEnabled(false);
    pushButtonCancel->setEnabled(false);
    handRectangleToRun();
    run->deleteFiles();
    for (QWidget* control : controls)
        control->setEnabled(true);
}

void MainDialog::slotGeocode()
{
    handRectangleToRun();
    run->geocode(lineEditAddress->text());
}

void MainDialog::slotSettings()
{
    SettingsDialog dialog(this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    recentreWithStoredArea();
    run->setVerbose(SettingsStore::verbose());
}

// Keeps the rectangle's centre and gives it the size of the stored area.
void MainDialog::recentreWithStoredArea()
{
    const double latitude = (doubleSpinBoxNorth->value() + doubleSpinBoxSouth->value()) * 0.5;
    const double longitude = (doubleSpinBoxEast->value() + doubleSpinBoxWest->value()) * 0.5;
    setDownloadAreaWidth(SettingsStore::downloadArea(), latitude, longitude);
}

void MainDialog::handRectangleToRun()
{
    run->setRectangle({ doubleSpinBoxNorth->value(), doubleSpinBoxSouth->value(), doubleSpinBoxWest->value(),
        doubleSpinBoxEast->value() });
}

void MainDialog::setControlsRunning(bool running)
{
    for (QWidget* control : { static_cast<QWidget*>(pushButtonDeleteFiles),
             static_cast<QWidget*>(pushButtonDownload), static_cast<QWidget*>(pushButtonGeocode),
             static_cast<QWidget*>(pushButtonSettings), static_cast<QWidget*>(doubleSpinBoxNorth),
             static_cast<QWidget*>(doubleSpinBoxWest), static_cast<QWidget*>(lineEditAddress) })
        control->setEnabled(!running);
    pushButtonCancel->setEnabled(running);
}

QProgressBar* MainDialog::stageBar(DownloadRun::Stage stage) const
{
    QProgressBar* const bars[DownloadRun::stageCount] = { progressBarDownloadingSingleTiles,
        progressBarTiling, progressBarPostProcessing, progressBarDownloadingZipFile, progressBarExtracting,
        progressBarCreatingElevationImage, progressBarCorrectingElevationImage, progressBarColoringElevation,
        progressBarScalingElevation, progressBarMerging };
    return bars[int(stage)];
}

void MainDialog::showPreview(DownloadRun::Preview which, const QImage& preview)
{
    QLabel* label = which == DownloadRun::Preview::Elevation ? labelElevationFile : labelTextureFile;
    label->setPixmap(QPixmap::fromImage(preview));
}

// The text stays for ten seconds.
void MainDialog::showError(const QString& message)
{
    labelHTMLMessage->setText(message);
    QTimer::singleShot(10000, this, &MainDialog::slotClearLabel);
}

// A waiting text goes, a preview stays.
void MainDialog::showIdleAfterCancel()
{
    for (QLabel* label : { labelElevationFile, labelTextureFile }) {
        if (label->pixmap().isNull())
            label->clear();
    }
}

void MainDialog::showSuccess()
{
    pushButtonGeocode->setDefault(true);
    pushButtonDownload->setDefault(false);
    lineEditAddress->setFocus(Qt::OtherFocusReason);
}

void MainDialog::showGeocodeAnswered()
{
    pushButtonDownload->setDefault(true);
    pushButtonGeocode->setDefault(false);
}
