#pragma once

#include <QString>

// What a "Refresh" header value ("30; URL=http://...") asks for: wait that
// many seconds, then request the address.
struct RefreshHeader {
    // The text before the first ';' as a decimal integer (0 when it is no
    // integer); after the ';', everything behind " URL=" (any case), as it
    // stands.
    static RefreshHeader parse(const QString& value);

    int seconds = 0;
    // Empty when there is no ';' or no " URL=".
    QString url;
    // A ';' without " URL=" behind it.
    bool undecodable = false;
};
