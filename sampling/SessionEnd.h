#pragma once

#include <QString>

// Plain description of a sampling session's end code, for people: what went wrong and what to check.
QString sessionEndDescription(int code);
