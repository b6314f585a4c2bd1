#include "MainDialog.h"

#include "app/DownloadArea.h"
#include "app/MessageLog.h"
#include "app/SettingsDialog.h"
#include "app/SettingsStore.h"
#include "http/HttpClient.h"

MainDialog::MainDialog(QWidget* parent)
    : QDialog(parent)
{
    setupUi(this);

    openStreetMapHttp = new HttpClient(this);
    seamlessHttp = new HttpClient(this);
    geocodeHttp = new HttpClient(this);
    connect(
        openStreetMapHttp, &HttpClient::requestFinished, this, &MainDialog::openStreetMapHttpRequestFinished);
    connect(seamlessHttp, &HttpClient::requestFinished, this, &MainDialog::seamlessHttpRequestFinished);
    connect(geocodeHttp, &HttpClient::requestFinished, this, &MainDialog::geocodeRequestFinished);
    connect(
        seamlessHttp, &HttpClient::dataReadProgress, this, &MainDialog::seamlessHttpUpdateDataReadProgress);
    connect(
        seamlessHttp, &HttpClient::responseHeaderReceived, this, &MainDialog::seamlessHttpReadResponseHeader);
    connect(openStreetMapHttp, &HttpClient::responseHeaderReceived, this,
        &MainDialog::openStreetMapHttpReadResponseHeader);
    connect(openStreetMapHttp, &HttpClient::sslErrors, this, &MainDialog::openStreetMapHttpSslErrors);
    connect(seamlessHttp, &HttpClient::sslErrors, this, &MainDialog::seamlessHttpSslErrors);
    connect(pushButtonCancel, &QPushButton::clicked, this, &MainDialog::cancelDownload);
    connect(pushButtonDownload, &QPushButton::clicked, this, &MainDialog::downloadFiles);
    connect(doubleSpinBoxNorth, &QDoubleSpinBox::valueChanged, this,
        &MainDialog::slotDoubleSpinBoxNorthValueChanged);
    connect(doubleSpinBoxWest, &QDoubleSpinBox::valueChanged, this,
        &MainDialog::slotDoubleSpinBoxWestValueChanged);
    connect(pushButtonDeleteFiles, &QPushButton::clicked, this, &MainDialog::slotDeleteFiles);
    connect(pushButtonGeocode, &QPushButton::clicked, this, &MainDialog::slotGeocode);
    connect(pushButtonSettings, &QPushButton::clicked, this, &MainDialog::slotSettings);

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

void MainDialog::slotSettings()
{
    SettingsDialog dialog(this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    recentreWithStoredArea();
    verbose = SettingsStore::verbose();
}

// Keeps the rectangle's centre and gives it the size of the stored area.
void MainDialog::recentreWithStoredArea()
{
    const double latitude = (doubleSpinBoxNorth->value() + doubleSpinBoxSouth->value()) * 0.5;
    const double longitude = (doubleSpinBoxEast->value() + doubleSpinBoxWest->value()) * 0.5;
    setDownloadAreaWidth(SettingsStore::downloadArea(), latitude, longitude);
}
