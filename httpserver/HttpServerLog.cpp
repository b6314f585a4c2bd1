#include "HttpServerLog.h"

Q_LOGGING_CATEGORY(httpServerLog, "relka.httpserver", QtWarningMsg)
