#pragma once

#include <QString>

#include <functional>

// The program's trace: one time-stamped line per call, appended to
// "messages.txt" in the working directory. The main dialog, the BIL import
// and the header reader all log through here.
class MessageLog {
public:
    // Opens and closes the file for every line and reads the working
    // directory each time, so a changed setting applies to the next line.
    // A line that cannot be written is dropped without a report.
    static void append(const QString& message);

    // Also hands every message, as given, to echo (an empty function: to
    // nobody); a program without a window prints its log this way.
    static void setEcho(std::function<void(const QString&)> echo);
};
