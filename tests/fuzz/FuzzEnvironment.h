#pragma once

#include <QStringList>

#include <cstddef>
#include <cstdint>

// What every fuzz target shares. Its LLVMFuzzerInitialize, linked into every
// target, sets up once before the first input: an application object,
// message boxes answered at once (Ok, and Yes to questions) and a message
// log that keeps nothing (its lines would pile up over millions of inputs).
// The test isolation linked into every target has already moved the home
// folder, the settings and the current folder into a temporary one.
class FuzzEnvironment {
public:
    // Cuts the input into the files a target reads, one a suffix, written as
    // base + suffix into an empty scratch folder of the target's own, and
    // returns base. The parts are separated by lines that hold "@@" alone,
    // so that the seeds stay readable text. Missing parts are empty; the
    // last part keeps any further separators.
    static QString writeFiles(const uint8_t* data, size_t size, const QStringList& suffixes);
};
