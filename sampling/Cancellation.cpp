#include "Cancellation.h"

#include <pthread.h>
#include <time.h>

void cancellationPoint() {
    int previous = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &previous);
    pthread_testcancel();
    pthread_setcancelstate(previous, nullptr);
}

void cancellableSleepMs(int ms) {
    while (ms > 0) {
        const int slice = ms < 20 ? ms : 20;
        timespec t{0, slice * 1000000L};
        nanosleep(&t, nullptr);
        ms -= slice;
        cancellationPoint();
    }
}
