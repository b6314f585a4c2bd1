#pragma once

#include "run/RequestRegistry.h"
#include "ui_MainDialog.h"

#include <QDialog>
#include <QImage>
#include <QList>
#include <QSslError>
#include <QString>

class HttpClient;
class HttpResponseHeader;

// The program's only window. It owns the rectangle fields, the progress
// display and all state of a download run; the slots of each subsystem live
// in that subsystem's folder (run/, elevation/, ...).
//
// Life of a run:
//   idle        construction, success(), cancelDownload().
//   start       downloadFiles(): rectangle stored, base name fixed. If both
//               result files exist: previews, success(), back to idle.
//               Otherwise flags cleared, controls locked, registry emptied,
//               then the elevation branch starts.
//   elevation   downloadSeamless(): archive on disk -> slotCreateBIL after
//               1 s. Otherwise seamlessRefresh() issues one GET at a time;
//               a "Refresh" header waits its seconds, a "Location" 1 s, both
//               by timer to seamlessRefresh(); the summary page's form is
//               submitted at once; an address ending in ".zip" is saved as
//               the archive and slotCreateBIL runs 1 s later.
//   join        the branch that finishes second (seamlessFinished,
//               openStreetMapFinished) merges and calls success().
//   cancel      cancelDownload() sets the aborted flags and aborts the
//               clients; their handlers see the flags, set the finished
//               flags, re-enter cancelDownload() and empty the registry. A
//               failure that aborts nothing leaves the run waiting for
//               Cancel. Timers already started still fire; replies that
//               arrive after both finished flags are set are dropped.
// Every finished-handler first applies the registry rule (RequestRegistry).
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
    bool isVerbose() const { return verbose; }

public slots:
    void downloadFiles();
    void cancelDownload();
    void seamlessHttpRequestFinished(int requestId, bool error);
    void seamlessHttpReadResponseHeader(const HttpResponseHeader& responseHeader);
    void seamlessHttpUpdateDataReadProgress(int bytesRead, int totalBytes);
    void seamlessHttpSslErrors(const QList<QSslError>& errors);
    void seamlessRefresh();
    void slotClearLabel();
    void slotDoubleSpinBoxNorthValueChanged(double);
    void slotDoubleSpinBoxWestValueChanged(double);
    void slotCreateBIL();
    void slotSettings();

private:
    void recentreWithStoredArea();

    // run/
    void success();
    void setControlsRunning(bool running);
    QList<QProgressBar*> stageBars() const;
    void setStageBarsToZero();
    // Shows `image` scaled into `label` and keeps the scaled copy in `preview`.
    static void showPreview(QLabel* label, const QImage& image, QImage& preview);
    // Shows the text in labelHTMLMessage for ten seconds.
    void showError(const QString& message);
    // Asks the user; true when the errors are to be ignored.
    bool sslErrorsIgnored(const QList<QSslError>& errors);

    // elevation/
    void downloadSeamless();
    void saveArchive(const QByteArray& body);
    void handleSeamlessPage(const QByteArray& body);

    HttpClient* openStreetMapHttp;
    HttpClient* seamlessHttp;
    HttpClient* geocodeHttp;
    bool verbose = false;
    QString baseFileName;
    bool openStreetMapAborted = false;
    bool seamlessAborted = false;
    bool geocodeAborted = false;
    QString seamlessUrl;
    bool seamlessFinished = false;
    bool openStreetMapFinished = false;
    bool geocodeFinished = false;
    RequestRegistry requests;
    QImage elevationImage;
    QImage texturePreview;
};
