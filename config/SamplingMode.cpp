#include "SamplingMode.h"

namespace {
const QStringList kNames{"auto", "hss", "poll"};
}

QString SamplingModeName(SamplingMode mode) {
    return kNames.value(static_cast<int>(mode));
}

bool ParseSamplingMode(const QString& name, SamplingMode& mode) {
    const int index = kNames.indexOf(name);
    if (index < 0)
        return false;
    mode = static_cast<SamplingMode>(index);
    return true;
}
