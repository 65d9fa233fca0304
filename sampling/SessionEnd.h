#pragma once

#include <QString>
#include <cstdint>

// Plain description of a sampling session's end code, for people: what went wrong and what to check.
QString sessionEndDescription(int code);
// The end of a session whose read of one variable's memory the server refused with `reply`.
QString unreadableDescription(const QString& name, uint32_t address, const QString& reply);
