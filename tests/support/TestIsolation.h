#pragma once

#include <QString>
#include <QTemporaryDir>

// Keeps a test away from the user's settings and files however it is
// started, by CTest or by hand: before main() runs, a temporary folder
// becomes the home folder (HOME and the XDG folders, inherited by child
// processes such as relka-import), holds the settings of both scopes and the
// standard locations in Qt's test mode, and its "work" subfolder becomes the
// working directory. Without a platform chosen, windows are made offscreen.
// Every test executable gets this from relka_add_test; the folder is removed
// when the test ends.
class TestIsolation {
public:
    static QString home();

private:
    TestIsolation();
    static TestIsolation& instance();

    QTemporaryDir root;
};
