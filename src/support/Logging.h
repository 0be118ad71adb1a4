#pragma once

#include <QLoggingCategory>

// The framework's log category: system-log lines go here, gated ones through LOG().
Q_DECLARE_LOGGING_CATEGORY(lcVelmora)
