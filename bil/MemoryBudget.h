#pragma once

#include <QtGlobal>

// How much memory the images of one job may take together: the machine's
// physical memory, or less when a test says so. Asked before a large image
// is made, so that a header asking for more than the machine holds ends in
// a log line instead of a failed allocation deep inside a step.
class MemoryBudget {
public:
    static qint64 bytes();
    // 0 goes back to the machine's physical memory.
    static void setBytes(qint64 bytes);

    // pixels × bytesPerPixel fit into the budget; false for any product
    // beyond 64 bits.
    static bool allows(qint64 pixels, int bytesPerPixel);
};
