#include "SimOptions.h"

#include <QCommandLineParser>

namespace {

std::optional<SimOptions> failure(const QString& message)
{
    ServiceProcess::reportUsageError("relka-sim", message);
    return std::nullopt;
}

std::optional<int> number(const QCommandLineParser& parser, const QString& name, int minimum, int maximum)
{
    return ServiceProcess::boundedNumber(parser.value(name), minimum, maximum);
}

}

std::optional<SimOptions> SimOptions::parse(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Plays the three web services relka talks to (elevation extract service, map tile server, geocoder) "
        "on one loopback address.\nPrints the actual host:port as the only line on standard output once it "
        "accepts connections, logs every request on standard error, and runs until SIGTERM or SIGINT.\n\n"
        "Paths: /Website/distreq/RequestSummary.jsp?...&AL=north,south,east,west&...&PL=product "
        "(SM905HZ, SM305HZ, NED05HZ, ND305HZ, T1305HZ), /zoom/x/y.png, /demo.cgi?address=..."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOptions({
        { QStringLiteral("listen"),
            QStringLiteral(
                "Loopback address and port to listen on; port 0 picks a free one (default: 127.0.0.1:0)."),
            QStringLiteral("address:port"), QStringLiteral("127.0.0.1:0") },
        { QStringLiteral("wait-pages"),
            QStringLiteral(
                "Waiting pages (with a Refresh header) before the request summary page (default: 1)."),
            QStringLiteral("count"), QStringLiteral("1") },
        { QStringLiteral("refresh-seconds"),
            QStringLiteral("Seconds announced in the Refresh header (default: 2)."),
            QStringLiteral("seconds"), QStringLiteral("2") },
        { QStringLiteral("cache-dir"),
            QStringLiteral("Keep built archives in this folder across runs (default: a temporary folder "
                           "removed at exit)."),
            QStringLiteral("directory") },
        { QStringLiteral("fail-status"),
            QStringLiteral("Answer every request whose path starts with prefix with this status, e.g. "
                           "500:/Website. Repeatable."),
            QStringLiteral("status:prefix") },
        { QStringLiteral("drop-body"),
            QStringLiteral("Close the connection after half of the body for paths starting with prefix. "
                           "Repeatable."),
            QStringLiteral("prefix") },
        { QStringLiteral("drop-before-body"),
            QStringLiteral("Close the connection right after the head for paths starting with prefix. "
                           "Repeatable."),
            QStringLiteral("prefix") },
        { QStringLiteral("no-answer"),
            QStringLiteral("Read requests whose path starts with prefix and never answer them; the "
                           "connection stays open until the client gives up. Repeatable."),
            QStringLiteral("prefix") },
        { QStringLiteral("slow-body"),
            QStringLiteral("Send bodies of paths starting with prefix at this many bytes per second. "
                           "Repeatable."),
            QStringLiteral("rate:prefix") },
        { QStringLiteral("endless-body"),
            QStringLiteral("Send the body of paths starting with prefix over and over without end. "
                           "Repeatable."),
            QStringLiteral("prefix") },
        { QStringLiteral("broken-chunks"),
            QStringLiteral("Announce a chunked body for paths starting with prefix and send a chunk size "
                           "that is no number. Repeatable."),
            QStringLiteral("prefix") },
        { QStringLiteral("negative-length"),
            QStringLiteral("Announce Content-Length: -1 for paths starting with prefix. Repeatable."),
            QStringLiteral("prefix") },
        { QStringLiteral("alpha-tiles"),
            QStringLiteral("Give tiles under prefix an alpha channel: along each diagonal a pixel is "
                           "transparent, half transparent or opaque in turn, its colour kept. Repeatable."),
            QStringLiteral("prefix") },
        { QStringLiteral("png-bomb"),
            QStringLiteral("Answer paths starting with prefix with a tiny PNG that declares 100000 x 100000 "
                           "pixels. Repeatable."),
            QStringLiteral("prefix") },
        { QStringLiteral("archive-fault"),
            QStringLiteral("Send every archive tampered: %1.").arg(ArchiveTamper::names()),
            QStringLiteral("kind") },
        { QStringLiteral("download-buttons"),
            QStringLiteral("Download buttons on the request summary page: 0, 1 or 2 (default: 1)."),
            QStringLiteral("count"), QStringLiteral("1") },
        { QStringLiteral("form-without-action"),
            QStringLiteral("Leave the ACTION attribute out of the download form.") },
        { QStringLiteral("archive-without-hdr"),
            QStringLiteral("Leave the header entry (.hdr) out of archives.") },
    });
    parser.process(arguments);
    if (!parser.positionalArguments().isEmpty())
        return failure(
            QStringLiteral("unexpected argument \"%1\"").arg(parser.positionalArguments().first()));

    SimOptions options;
    const std::optional<ServiceProcess::Endpoint> endpoint
        = ServiceProcess::loopback(parser.value(QStringLiteral("listen")));
    if (!endpoint)
        return failure(QStringLiteral("--listen needs a loopback address and a port, e.g. 127.0.0.1:0"));
    options.endpoint = *endpoint;

    const std::optional<int> waitPages = number(parser, QStringLiteral("wait-pages"), 0, 1000);
    const std::optional<int> refreshSeconds = number(parser, QStringLiteral("refresh-seconds"), 0, 3600);
    const std::optional<int> buttons = number(parser, QStringLiteral("download-buttons"), 0, 2);
    if (!waitPages || !refreshSeconds || !buttons)
        return failure(QStringLiteral("--wait-pages, --refresh-seconds and --download-buttons take a whole "
                                      "number (0-1000, 0-3600, 0-2)"));
    options.elevation
        = { *waitPages, *refreshSeconds, *buttons, parser.isSet(QStringLiteral("form-without-action")) };
    options.archiveWithoutHeader = parser.isSet(QStringLiteral("archive-without-hdr"));
    options.cacheDirectory = parser.value(QStringLiteral("cache-dir"));

    QString error = options.faults.addStatuses(parser.values(QStringLiteral("fail-status")));
    if (error.isEmpty())
        error = options.faults.addSlowBodies(parser.values(QStringLiteral("slow-body")));
    if (!error.isEmpty())
        return failure(error);
    options.faults.addDrops(parser.values(QStringLiteral("drop-body")));
    options.faults.addEarlyDrops(parser.values(QStringLiteral("drop-before-body")));
    options.faults.addSilences(parser.values(QStringLiteral("no-answer")));
    options.faults.addEndlessBodies(parser.values(QStringLiteral("endless-body")));
    options.faults.addBrokenChunks(parser.values(QStringLiteral("broken-chunks")));
    options.faults.addNegativeLengths(parser.values(QStringLiteral("negative-length")));
    options.faults.addPngBombs(parser.values(QStringLiteral("png-bomb")));
    options.faults.addAlphaTiles(parser.values(QStringLiteral("alpha-tiles")));
    if (parser.isSet(QStringLiteral("archive-fault"))) {
        const std::optional<ArchiveTamper::Fault> fault
            = ArchiveTamper::parse(parser.value(QStringLiteral("archive-fault")));
        if (!fault)
            return failure(QStringLiteral("--archive-fault takes one of: %1").arg(ArchiveTamper::names()));
        options.faults.setArchiveFault(*fault);
    }
    return options;
}
