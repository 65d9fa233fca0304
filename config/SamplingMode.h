#pragma once

#include <QString>
#include <QStringList>

// How a session samples: high-speed sampling when the server offers it and polling with memory reads
// otherwise (auto), or one way forced, for comparison or for a server whose high-speed sampling
// misbehaves. Kept in the project file and given to the capture tool as --mode.
enum class SamplingMode { Auto, Hss, Poll };

// "auto", "hss" or "poll".
QString SamplingModeName(SamplingMode mode);
// The mode a name gives; false for any other text (the mode is then left alone).
bool ParseSamplingMode(const QString& name, SamplingMode& mode);
