#pragma once

#include <QtGlobal>

// What one misbehaving client may hold of the server. The defaults suit a
// program's few connections; tests lower them to reach them quickly.
struct HttpServerLimits {
    // Connections served at once; further clients wait in the listen queue.
    int connections = 64;
    // Time a connection has to send a complete request head, counted from
    // its start or from the end of the previous answer; also the longest
    // time a client may leave an answer unread.
    int idleTimeoutMs = 30000;
    // The longest request head; a longer one is answered with 431 and the
    // connection closed.
    qsizetype headBytes = 64 * 1024;
    // What is read ahead of the request being answered; beyond it the
    // client's sending stalls in the network.
    qint64 readAheadBytes = 64 * 1024;
    // Pause after accepting failed for lack of resources (file descriptors).
    int acceptRetryMs = 500;
};
