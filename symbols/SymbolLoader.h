#pragma once

#include <QString>

// Running the symbol extractor on an ELF file and reading its "elf.json". The project dialog hands
// over the text of its ELF field.

// Runs the extractor found beside the program (or at the fixed fallback place) with the ELF path as
// its one argument, in the current directory, and waits for it (at most 30 s to start and 30 s to
// finish). True when it was started.
bool RunExtractor(const QString& elfPath);
// Hands "elf.json" of the current directory to the registered catalogue; shows "file not found!!"
// and returns false when there is none.
bool LoadSymbolFile();
// RunExtractor, then LoadSymbolFile when the run started.
bool RunExtractorAndLoad(const QString& elfPath);
