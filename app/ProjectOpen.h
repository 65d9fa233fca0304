#pragma once

#include <QString>
#include <QStringList>
#include <QVariantList>

class ProjectDialog;
class QWidget;
class SelectSymbolsDlg;
class VarParser;
class VarTableWidget;

// Opening a project brings back the user's setup: the project dialog takes the file's record and does
// what its OK does (the extractor reads the project's ELF file, the debug server starts), and the rows
// the file lists return in their order with their colour, Show, Lock, Y Resolution and Y Offset. The
// rows whose variable the ELF file no longer has are named in one message. The project file itself is
// already loaded into the configuration store.
void OpenProjectSetup(QWidget* parent, const QString& file, ProjectDialog& dialog, VarParser& parser,
                      VarTableWidget& table, SelectSymbolsDlg& symbols);

// The rows `saved` lists (maps as CommonCfg::ReadVarList gives them) made again from the catalogue,
// which marks the chosen variables selected and the selection dialog ticks. A saved row finds the
// catalogue's variable of its name, at its address when there is one of the name there. Returns the
// names of the rows that found none.
QStringList RestoreRows(VarTableWidget& table, SelectSymbolsDlg& symbols, const QVariantList& saved);
