#pragma once

#include <QString>

struct GatewayOptions;

// Who the data come from, as the sources ask to be credited: one line per
// source, served at "/attribution.txt" and written to the attribution file,
// so it can lie next to the results.
class Attribution {
public:
    static QString text(const GatewayOptions& options);
    // False when the file cannot be written.
    static bool write(const QString& path, const GatewayOptions& options);
};
