#pragma once

#include <QString>
#include <functional>

// The modal error box for user-facing failures: warning icon, title "Error", one "Yes" button.
// Returns true when "Yes" closed it.
bool ShowErrorBox(const QString& text);

// Tests put a stand-in here instead of a real modal box; an empty function restores the box.
void SetErrorBoxStandIn(std::function<bool(const QString&)> standIn);
