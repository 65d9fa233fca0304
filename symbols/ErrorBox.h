#pragma once

#include <QString>
#include <functional>

// The modal error box for user-facing failures: warning icon, title "Error", one "Yes" button.
// A detail, when given, is the box's detailed text. Returns true when "Yes" closed it.
bool ShowErrorBox(const QString& text, const QString& detail = QString());

// Tests put a stand-in here instead of a real modal box (it gets the text and the detail); an empty
// function restores the box.
void SetErrorBoxStandIn(std::function<bool(const QString&, const QString&)> standIn);
