#include "SamplingTestKit.h"

#include "Acquisition.h"
#include "CommonCfg.h"
#include "GdbTransport.h"
#include "HssSession.h"
#include "WatchList.h"

void resetSamplingState() {
    gdbResetForTests();
    hssResetForTests();
    resetWatchListForTests();
    CommonCfg::ResetForTests();
}

void endSampling() {
    if (samplingRunning())
        stopSampling();
    gdbMutex().releaseAll();
    gdbResetForTests();
}
