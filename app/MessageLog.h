#pragma once

#include <QString>

// The program's trace: one time-stamped line per call, appended to
// "messages.txt" in the working directory. The main dialog, the BIL import
// and the header reader all log through here.
class MessageLog
{
public:
    // Opens and closes the file for every line and reads the working
    // directory each time, so a changed setting applies to the next line.
    // A line that cannot be written is dropped without a report.
    static void append(const QString& message);
};
