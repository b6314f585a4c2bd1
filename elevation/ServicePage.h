#pragma once

#include <QByteArray>
#include <QString>

// Page-level reading of the elevation service's answers: the raw body bytes
// are searched for fixed, case-sensitive texts.
class ServicePage {
public:
    enum class DownloadButtons { None, One, Several };

    // The page that carries the download form.
    static bool isRequestSummary(const QByteArray& body);
    // VALUE="Download" counted anywhere in the body, once or more than once.
    static DownloadButtons downloadButtons(const QByteArray& body);
    // The body without the passage from "If an error occurs during download"
    // to "deleted from our server." (included). Without the end text the
    // rest of the page after the start is dropped.
    static QByteArray withoutErrorPassage(const QByteArray& body);
    // The body as Latin-1 text (up to a first zero byte) behind an HTML 4.0
    // document type, so that a label shows it as rich text.
    static QString richText(const QByteArray& body);
};
