#pragma once

#include "FrameQueue.h"
#include "VarParser.h"

#include <QString>
#include <atomic>
#include <cstdint>

// The variables being sampled, in table order (at most 34). Offset and scale are written by the GUI
// thread and read by the display side.
struct WatchList {
    int count = 0;
    uint32_t address[kMaxVars] = {};
    int32_t typeCode[kMaxVars] = {};
    uint32_t size[kMaxVars] = {};
    QString name[kMaxVars];
    float offset[kMaxVars] = {};
    float scale[kMaxVars] = {};
};

// The display depth for a time-base step (microseconds per division); the process default 500000
// when no step is chosen (a project without a known zoom factor).
constexpr uint32_t kDefaultDisplayDepth = 500000;
uint32_t displayDepthOf(int stepValue);

// Settings of the running session. The display depth is the time-per-division value of the current
// time base in microseconds, used as it stands as a count of frames.
struct HssSettings {
    uint32_t period = 20;
    uint32_t reserved30 = 30;
    std::atomic<uint32_t> displayDepth{kDefaultDisplayDepth};
    // Pixel columns of the plot, as the chart last drew it (0: none yet): the display worker thins the
    // live span to them.
    std::atomic<double> displayColumns{0.0};
    uint32_t reserved = 0;
};

WatchList& watchList();
HssSettings& hssSettings();

// The type code of a catalogue record, from its type, encoding and size (SampleValue.h).
int32_t typeCodeOf(const VarParser::VarDes& des);
// An address text as an unsigned 32-bit number: hexadecimal digits with an optional "0x". False for
// anything else (empty, other characters, more than 32 bits); `address` is then left alone.
bool parseAddress(const QString& text, uint32_t& address);
