#pragma once

#include "ArchiveTamper.h"
#include "HttpResponse.h"

#include <QList>
#include <QString>

#include <optional>

// Misbehaviour chosen on the command line, by path prefix, so tests can
// see how the program copes with a service that fails.
class FaultSwitches {
public:
    // Each switch is written "VALUE:PREFIX" except drops and silences,
    // which are prefixes. Returns an explanation for the first switch that
    // does not parse.
    QString addStatuses(const QStringList& switches);
    QString addSlowBodies(const QStringList& switches);
    void addDrops(const QStringList& prefixes);
    void addEarlyDrops(const QStringList& prefixes);
    void addSilences(const QStringList& prefixes);
    void addEndlessBodies(const QStringList& prefixes);
    void addBrokenChunks(const QStringList& prefixes);
    void addNegativeLengths(const QStringList& prefixes);
    void addPngBombs(const QStringList& prefixes);
    void addAlphaTiles(const QStringList& prefixes);
    // Every archive (a body from a file ending in ".zip") is sent tampered.
    void setArchiveFault(ArchiveTamper::Fault fault) { archiveFault = fault; }

    // The status that replaces every answer under the path, if any.
    std::optional<int> statusFor(const QString& path) const;
    // Marks the response for a slow, dropped, silent, endless or wrongly
    // framed delivery.
    void applyDelivery(const QString& path, HttpResponse& response) const;

private:
    struct Rule {
        QString prefix;
        int value;
    };

    static QString parse(const QStringList& switches, int minimum, int maximum, QList<Rule>& into);
    static std::optional<int> find(const QList<Rule>& rules, const QString& path);
    static bool matches(const QStringList& prefixes, const QString& path);

    QList<Rule> statuses;
    QList<Rule> slowBodies;
    QStringList drops;
    QStringList earlyDrops;
    QStringList silences;
    QStringList endlessBodies;
    QStringList brokenChunks;
    QStringList negativeLengths;
    QStringList pngBombs;
    QStringList alphaTiles;
    std::optional<ArchiveTamper::Fault> archiveFault;
};
