#include "SamplingTestKit.h"

#include "Acquisition.h"
#include "CommonCfg.h"
#include "GdbTransport.h"
#include "HssSession.h"
#include "WatchList.h"

void resetSamplingState() {
    endSampling();
    hssBeginSession();
    watchList() = WatchList();
    HssSettings& s = hssSettings();
    s.period = 20;
    s.reserved30 = 30;
    s.displayDepth.store(500000);
    s.reserved = 0;
    CommonCfg::ResetForTests();
}

void endSampling() {
    if (samplingRunning())
        stopSampling();
    gdbClose();
}
