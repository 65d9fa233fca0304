#pragma once

#include "FrameQueue.h"

#include <QString>
#include <atomic>
#include <cstdint>

// The variables being sampled, in table order (at most 34). Offset and scale are written by the GUI
// thread and read by the display side.
struct WatchList {
    int count = 0;
    int32_t address[kMaxVars] = {};
    int32_t typeCode[kMaxVars] = {};
    uint32_t size[kMaxVars] = {};
    QString name[kMaxVars];
    float offset[kMaxVars] = {};
    float scale[kMaxVars] = {};
};

// Settings of the running session. The display depth is the time-per-division value of the current
// time base in microseconds, used as it stands as a count of frames.
struct HssSettings {
    uint32_t period = 20;
    uint32_t reserved30 = 30;
    std::atomic<uint32_t> displayDepth{500000};
    uint32_t reserved = 0;
};

WatchList& watchList();
HssSettings& hssSettings();

// Type code of a type name: 0 "char", 1 "int" and "short", 2 "float", 3 anything else.
int typeCodeOf(const QString& typeName);
// An address text read as a base-16 signed 32-bit number; 0 when it does not parse.
int32_t addressOf(const QString& text);
