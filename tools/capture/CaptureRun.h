#pragma once

#include "CaptureOptions.h"

#include <atomic>
#include <cstdio>

// Runs one capture as the options say, writing CSV to `out` and messages to `err`; returns the
// program's exit code. `stopRequested` ends the capture cleanly when it becomes true (a signal).
int runCapture(const CaptureOptions& options, std::FILE* out, std::FILE* err,
               const std::atomic<bool>& stopRequested);
