#pragma once

#include "run/DownloadRun.h"
#include "ui_MainDialog.h"

#include <QDialog>
#include <QImage>
#include <QList>
#include <QProgressBar>
#include <QSslError>
#include <QString>

class HttpResponseHeader;

// The program's only window: the rectangle fields, the buttons, the ten
// stage bars and the two previews. The run itself is a DownloadRun (its
// header tells the life of a run); the slots below hand the window's events
// to it, and the window shows what the run reports.
class MainDialog : public QDialog, public Ui::MainDialog {
    Q_OBJECT

public:
    explicit MainDialog(QWidget* parent = nullptr);

    void addMessage(const QString& message);
    static double downloadAreaWidth(const QString& area);
    static double downloadAreaHeight(const QString& area);
    // Centres the rectangle on the point with the size of the area and makes
    // one arrow step move the rectangle by its own width or height.
    void setDownloadAreaWidth(const QString& area, double latitude, double longitude);
    bool isVerbose() const;

public slots:
    void downloadFiles();
    void cancelDownload();
    void openStreetMapHttpRequestFinished(int requestId, bool error);
    void seamlessHttpRequestFinished(int requestId, bool error);
    void geocodeRequestFinished(int requestId, bool error);
    void openStreetMapHttpReadResponseHeader(const HttpResponseHeader& responseHeader);
    void seamlessHttpReadResponseHeader(const HttpResponseHeader& responseHeader);
    void seamlessHttpUpdateDataReadProgress(int bytesRead, int totalBytes);
    void openStreetMapHttpSslErrors(const QList<QSslError>& errors);
    void seamlessHttpSslErrors(const QList<QSslError>& errors);
    void seamlessRefresh();
    void slotClearLabel();
    void slotDoubleSpinBoxNorthValueChanged(double);
    void slotDoubleSpinBoxWestValueChanged(double);
    void slotDeleteFiles();
    void slotCreateBIL();
    void slotTileOpenStreetMapFiles();
    void slotGeocode();
    void slotSettings();

private:
    void recentreWithStoredArea();
    // The run works on the rectangle the fields show.
    void handRectangleToRun();
    void setControlsRunning(bool running);
    QProgressBar* stageBar(DownloadRun::Stage stage) const;
    void showPreview(DownloadRun::Preview which, const QImage& preview);
    // Shows the text in labelHTMLMessage for ten seconds.
    void showError(const QString& message);
    void showIdleAfterCancel();
    void showSuccess();
    void showGeocodeAnswered();

    DownloadRun* run;
};
