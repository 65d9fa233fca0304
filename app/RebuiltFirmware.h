#pragma once

class QWidget;
class SelectSymbolsDlg;
class VarTableWidget;

// The catalogue was replaced (the ELF file was rebuilt or another was chosen): rows whose variable the new
// catalogue still has (RebuiltMatch.h) keep their colour, Show, Lock, Y Resolution and Y Offset and follow
// the variable's new address, ticked in the selection dialog; the others are removed and named in one
// message. Then the selection dialog opens, as for any new list.
void FollowRebuiltFirmware(QWidget* parent, VarTableWidget& table, SelectSymbolsDlg& symbols);
