#pragma once

#include <QLoggingCategory>

// The program's debug lines, by part. Their debug messages are off unless enabled, for example with
// QT_LOGGING_RULES="tidewatch.*.debug=true"; warnings and worse always show.
Q_DECLARE_LOGGING_CATEGORY(lcChart)
Q_DECLARE_LOGGING_CATEGORY(lcTable)
Q_DECLARE_LOGGING_CATEGORY(lcSampling)
