#pragma once

#include <QString>

// Running the symbol extractor on an ELF file and reading its "elf.json". The project dialog hands
// over the text of its ELF field.

// The folder the extractor runs in and leaves its "elf.json" in: a temporary folder of this program's
// own (its data folder when none can be made), never the current directory.
QString ExtractorFolder();
// Runs the extractor found beside the program (or at the fixed fallback place) with the ELF path as
// its one argument, in ExtractorFolder(), and waits for it (at most 30 s to start and 30 s to
// finish). True when it was started. What the extractor printed on its error output (why it made no
// list) goes to reason.
bool RunExtractor(const QString& elfPath, QString* reason = nullptr);
// Hands "elf.json" of ExtractorFolder() to the registered catalogue; shows "file not found!!",
// with the reason as its detail, and returns false when there is none.
bool LoadSymbolFile(const QString& reason = QString());
// RunExtractor, then LoadSymbolFile with the extractor's reason when the run started.
bool RunExtractorAndLoad(const QString& elfPath);
