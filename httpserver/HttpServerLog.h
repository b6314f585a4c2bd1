#pragma once

#include <QLoggingCategory>

// One line per answer and per dropped or refused connection; information
// lines are off unless a program (the simulator) switches them on.
Q_DECLARE_LOGGING_CATEGORY(httpServerLog)
