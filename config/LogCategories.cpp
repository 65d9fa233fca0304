#include "LogCategories.h"

// QtInfoMsg: debug messages start disabled, the rest enabled.
Q_LOGGING_CATEGORY(lcChart, "tidewatch.chart", QtInfoMsg)
Q_LOGGING_CATEGORY(lcTable, "tidewatch.table", QtInfoMsg)
Q_LOGGING_CATEGORY(lcSampling, "tidewatch.sampling", QtInfoMsg)
