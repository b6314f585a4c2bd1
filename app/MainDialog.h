#pragma once

#include "run/RequestRegistry.h"
#include "texture/Tile.h"
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
//               then the texture branch starts, then the elevation branch.
//   texture     downloadOpenStreetMap(): tiles on disk are reused, the others
//               queued as GETs on the tile client and saved as they arrive.
//               When every tile is there, slotTileOpenStreetMapFiles runs
//               1 s later (at once when none was missing): stitch, re-colour,
//               save; openStreetMapFinished.
//   elevation   downloadSeamless(): archive on disk -> slotCreateBIL after
//               1 s. Otherwise seamlessRefresh() issues one GET at a time;
//               a "Refresh" header waits its seconds, a "Location" 1 s, both
//               by timer to seamlessRefresh(); the summary page's form is
//               submitted at once; an address ending in ".zip" is saved as
//               the archive and slotCreateBIL runs 1 s later: unpack, import,
//               seamlessFinished.
//   join        the branch that finishes second (seamlessFinished,
//               openStreetMapFinished) calls mergeFiles(), which writes the
//               merged texture and calls success().
//   cancel      cancelDownload() sets the aborted flags and aborts the
//               clients; their handlers see the flags, set the finished
//               flags, re-enter cancelDownload() and empty the registry. A
//               failure that aborts nothing leaves the run waiting for
//               Cancel. Timers already started still fire; replies that
//               arrive after both finished flags are set are dropped, and
//               the long steps stop when they find their aborted flag set.
//   geocoding   slotGeocode() locks the same controls; its reply centres the
//               rectangle on the address and unlocks them.
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

    // run/
    void success();
    // A branch the program aborted ends, and with it the run.
    void endAbortedBranch(bool& branchFinished);
    // The steps the two download handlers share after the registry rule: an
    // error releases the body and, after an abort, ends the branch; once
    // both branches are over, replies are dropped. True when the handler
    // goes on with the body.
    bool isReplyForRunningBranch(Request& request, const HttpClient& client, RequestRegistry::Handler handler,
        int requestId, bool error, bool branchAborted, bool& branchFinished);
    // A body that outgrew the memory limit is logged; true then, and the
    // run ends like an aborted one.
    bool isOversized(RequestRegistry::Handler handler, const Request& request);
    // The elevation service's archive is known by its address, nothing else.
    static bool isArchiveUrl(const QString& url);
    // The statuses the services answer with when all is well (redirects
    // included).
    static bool isAcceptedStatus(int status);
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
    void saveArchive(Request& request);
    void handleSeamlessPage(const QByteArray& body);

    // texture/
    bool createOpenStreetMapTileList();
    void downloadOpenStreetMap();
    void saveTile(int index, const QByteArray& body);
    bool postProcessOpenStreetMapImage(QImage& image);
    bool mergeFiles();

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
    QList<Tile> tiles;
    RequestRegistry requests;
    QImage elevationImage;
    QImage texturePreview;
};
