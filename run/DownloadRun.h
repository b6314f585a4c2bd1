#pragma once

#include "run/RequestRegistry.h"
#include "texture/Tile.h"

#include <QImage>
#include <QList>
#include <QObject>
#include <QSize>
#include <QSslError>
#include <QString>

#include <memory>

class HttpClient;
class HttpResponseHeader;
class QLockFile;

// One download run and the geocoding of an address, without a window. The
// main dialog and relka-run both drive it: they hand it the rectangle and
// the preview sizes, call its slots, and show what its signals report. Log
// lines go to the message log; boxes go through MessageBoxes.
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
//               submitted at once; an address ending in ".zip" is streamed
//               into the archive, and slotCreateBIL runs 1 s later (also
//               after a failed save, to report what it finds): unpack,
//               import, seamlessFinished. The rectangle's raster files are
//               locked from the unpacking to the end of the run, so other
//               runs in the same folder leave them alone.
//   join        the branch that finishes second (seamlessFinished,
//               openStreetMapFinished) calls mergeFiles(), which writes the
//               merged texture and the additional outputs chosen in the
//               settings, and calls success().
//   cancel      cancelDownload() sets the aborted flags and aborts the
//               clients; their handlers see the flags, set the finished
//               flags, re-enter cancelDownload() and empty the registry.
//               Timers already started still fire and find the flags;
//               replies that arrive after both finished flags are set are
//               dropped; the long steps (stitching, unpacking, import,
//               merge) stop when they find their aborted flag set.
//   stalled     a failure that aborts nothing (a network error, a page the
//               conversation cannot go on from, a failed merge) leaves the
//               run waiting for Cancel; stalled() says so, for a caller
//               without a user to press it.
//   geocoding   geocode() locks the same controls; its reply centres the
//               rectangle on the address and unlocks them.
// Every finished-handler first applies the registry rule (RequestRegistry).
class DownloadRun : public QObject {
    Q_OBJECT

public:
    // The ten stages the window shows a bar for.
    enum class Stage {
        DownloadingSingleTiles,
        Tiling,
        PostProcessing,
        DownloadingZipFile,
        Extracting,
        CreatingElevationImage,
        CorrectingElevationImage,
        ColoringElevation,
        ScalingElevation,
        Merging,
    };
    Q_ENUM(Stage)
    static constexpr int stageCount = 10;

    enum class Preview { Elevation, Texture };
    Q_ENUM(Preview)

    struct Rectangle {
        double north = 0;
        double south = 0;
        double west = 0;
        double east = 0;
    };

    explicit DownloadRun(QObject* parent = nullptr);
    ~DownloadRun() override;

    // The rectangle the next steps use; the window keeps it equal to its
    // four fields.
    void setRectangle(const Rectangle& rectangle) { area = rectangle; }
    Rectangle rectangle() const { return area; }
    // The boxes the previews are fitted into; an empty size asks for none.
    void setPreviewSizes(const QSize& elevation, const QSize& texture);
    // Fails a request that receives nothing for this long (0: waits without
    // limit, as the window does).
    void setTransferTimeout(int milliseconds);
    // The base name of the run in progress or the last one.
    QString workFileBaseName() const { return baseFileName; }
    bool isVerbose() const { return verbose; }
    void setVerbose(bool on) { verbose = on; }

public slots:
    void downloadFiles();
    void cancelDownload();
    void geocode(const QString& address);
    // Removes the rectangle's intermediate files in one go.
    void deleteFiles();

    void openStreetMapHttpRequestFinished(int requestId, bool error);
    void seamlessHttpRequestFinished(int requestId, bool error);
    void geocodeRequestFinished(int requestId, bool error);
    void openStreetMapHttpReadResponseHeader(const HttpResponseHeader& responseHeader);
    void seamlessHttpReadResponseHeader(const HttpResponseHeader& responseHeader);
    void seamlessHttpUpdateDataReadProgress(int bytesRead, int totalBytes);
    void openStreetMapHttpSslErrors(const QList<QSslError>& errors);
    void seamlessHttpSslErrors(const QList<QSslError>& errors);
    void seamlessRefresh();
    void slotCreateBIL();
    void slotTileOpenStreetMapFiles();

signals:
    // The overall bar: animated while busy, full when not.
    void busyChanged(bool busy);
    // The controls a run or a geocoding locks.
    void controlsLocked(bool locked);
    void stageRangeChanged(DownloadRun::Stage stage, int maximum);
    void stageValueChanged(DownloadRun::Stage stage, int value);
    // The stage's bar goes to its own maximum.
    void stageCompleted(DownloadRun::Stage stage);
    // Both results are being waited for.
    void resultsAwaited();
    void previewChanged(DownloadRun::Preview which, const QImage& preview);
    // Rich text for the message label; empty clears it.
    void pageShown(const QString& text);
    // An error text shown for ten seconds.
    void errorShown(const QString& text);
    // A large image is being written.
    void savingChanged(bool saving);
    void succeeded();
    void cancelled();
    void stalled();
    void rectangleChanged(const DownloadRun::Rectangle& rectangle);
    // centred: the answer gave both coordinates.
    void geocodeAnswered(bool centred);

private:
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
    void setStageBarsToZero();
    void setStage(Stage stage, int value, int maximum);
    // Fits the image into the preview's box and reports it.
    void showPreview(Preview which, const QImage& image);
    // Asks the user; true when the errors are to be ignored.
    bool sslErrorsIgnored(const QList<QSslError>& errors);
    // The branches meet: the second to finish merges.
    void joinBranches(const QString& caller);

    // elevation/
    void downloadSeamless();
    void saveArchive(Request& request);
    void reportUnsavedArchive();
    void handleSeamlessPage(const QByteArray& body);
    void lockRaster();

    // texture/
    bool createOpenStreetMapTileList();
    void downloadOpenStreetMap();
    void saveTile(int index, const QByteArray& body);
    bool postProcessOpenStreetMapImage(QImage& image);
    bool mergeFiles();
    // The additional outputs of the settings, after the merge; false only
    // when the run was cancelled meanwhile (a failed output is logged).
    bool writeAdditionalOutputs();

    HttpClient* openStreetMapHttp;
    HttpClient* seamlessHttp;
    HttpClient* geocodeHttp;
    Rectangle area;
    QSize elevationPreviewSize;
    QSize texturePreviewSize;
    bool verbose = false;
    QString baseFileName;
    bool openStreetMapAborted = false;
    bool seamlessAborted = false;
    bool geocodeAborted = false;
    QString seamlessUrl;
    // The last elevation answer announced a next step (refresh or redirect).
    bool seamlessFollowUp = false;
    bool seamlessFinished = false;
    bool openStreetMapFinished = false;
    bool geocodeFinished = false;
    QList<Tile> tiles;
    RequestRegistry requests;
    std::unique_ptr<QLockFile> rasterLock;
};
