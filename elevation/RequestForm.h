#pragma once

#include <QByteArray>
#include <QString>

// The download form of the request-summary page, read the way the service
// writes it: the text between the first "<FORM" and the next "</FORM", cut at
// every "<" and "/>", INPUT pieces with NAME="..." and VALUE="..." (any case),
// and the target after ACTION="...". Nothing is decoded or encoded.
class RequestForm {
public:
    enum class Outcome { Url, Malformed, NoTarget };

    struct Result {
        Outcome outcome;
        // For Outcome::Url: target + "?" + "&name=value" per field.
        QString url;
    };

    static Result downloadUrl(const QByteArray& page);
};
