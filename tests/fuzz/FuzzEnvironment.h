#pragma once

#include <QString>

// What every fuzz target needs before its first input, set up once from
// LLVMFuzzerInitialize: an application object, message boxes answered at
// once (Ok, and Yes to questions), a message log that keeps nothing (its
// lines would pile up over millions of inputs) and a scratch folder. The
// test isolation linked into every target has already moved the home
// folder, the settings and the current folder into a temporary one.
class FuzzEnvironment {
public:
    static void setUp(int* argc, char*** argv);

    // An empty folder of the target's own, emptied again on every call.
    static QString scratch();
};
