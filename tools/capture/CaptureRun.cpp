#include "CaptureRun.h"

#include "Acquisition.h"
#include "CommonCfg.h"
#include "CsvWriter.h"
#include "FrameQueue.h"
#include "HssSession.h"
#include "MemoryWrite.h"

#include <chrono>
#include <time.h>

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point t) {
    return std::chrono::duration<double>(Clock::now() - t).count();
}

void idleBriefly() {
    timespec t{0, 1000 * 1000};
    nanosleep(&t, nullptr);
}

// Writes the --set values through the same edit entry as the table's value cell; sampling goes on
// whatever their outcome.
bool applyAssignments(const CaptureOptions& options, std::FILE* err) {
    bool allOk = true;
    for (const CaptureOptions::Assignment& a : options.sets) {
        const uint32_t address = a.target.address.toUInt(nullptr, 16);
        const int rc = writeEditedValue(address, a.target.type, a.value);
        if (rc == 0) {
            std::fprintf(err, "tidewatch-capture: set %s = %s: ok\n", qPrintable(a.name),
                         qPrintable(a.value));
        } else {
            std::fprintf(err, "tidewatch-capture: set %s = %s: failed (code %d)\n", qPrintable(a.name),
                         qPrintable(a.value), rc);
            allOk = false;
        }
    }
    return allOk;
}

} // namespace

int runCapture(const CaptureOptions& options, std::FILE* out, std::FILE* err,
               const std::atomic<bool>& stopRequested) {
    setSamplingTarget(options.host, options.port);
    CommonCfg::SetInterval(options.interval);
    CommonCfg::SetMode(options.mode);

    QStringList names;
    for (const VarParser::VarDes& v : options.variables)
        names << v.name;

    const int started = startSampling(options.variables);
    if (started != 0) {
        if (samplingStartFailure() == 2) {
            std::fprintf(err, "%s\n", qPrintable(CommonCfg::ErrorText(2)));
            return 3;
        }
        std::fprintf(err, "tidewatch-capture: sampling could not be started\n");
        return 4;
    }

    CsvWriter writer(out);
    writer.writeHeader(names);

    FrameQueue& queue = FrameQueue::instance();
    const Clock::time_point begin = Clock::now();
    // The server counts as answering while read replies keep coming, samples or not.
    Clock::time_point lastProgress = begin;
    uint64_t repliesSeen = hssRepliesRead();
    qint64 written = 0;
    bool setsDone = options.sets.isEmpty();
    bool setsOk = true;
    bool stalled = false;
    SampleFrame frame;

    auto limitReached = [&] { return options.samples > 0 && written >= options.samples; };
    auto drain = [&] {
        int n = 0;
        while (!limitReached() && queue.popForDisplay(frame, 0) == 1) {
            writer.writeFrame(frame);
            ++written;
            ++n;
        }
        return n;
    };

    for (;;) {
        const int n = drain();
        const uint64_t replies = hssRepliesRead();
        // The frame ring's set-up before the session begins is not the server's time.
        if (n > 0 || replies != repliesSeen || !samplingSessionBegun()) {
            lastProgress = Clock::now();
            repliesSeen = replies;
        }
        if (!setsDone && written > 0) {
            setsOk = applyAssignments(options, err);
            setsDone = true;
        }
        if (limitReached() || stopRequested.load())
            break;
        if (options.duration > 0 && secondsSince(begin) >= options.duration)
            break;
        if (samplingEnded())
            break;
        if (secondsSince(lastProgress) >= options.stallSeconds) {
            stalled = true;
            break;
        }
        if (n == 0)
            idleBriefly();
    }

    const bool endedByItself = samplingEnded();
    const int endCode = samplingResult();
    stopSampling();
    if (!stalled)
        drain(); // what arrived before the stop is kept
    writer.flush();
    const double seconds = secondsSince(begin);

    const quint64 lost = queue.overwrittenUnread();
    const SamplingWay way = samplingWay();
    std::fprintf(err, "tidewatch-capture: %lld frames in %.3f s (%.0f frames/s)%s, session end code %d",
                 written, seconds, seconds > 0 ? written / seconds : 0.0,
                 way == SamplingWay::Poll  ? ", polling"
                 : way == SamplingWay::Hss ? ", high-speed sampling"
                                           : "",
                 endCode);
    if (lost > 0)
        std::fprintf(err, ", %llu frames lost (the ring overwrote them before they were written)",
                     static_cast<unsigned long long>(lost));
    std::fprintf(err, "\n");

    if (writer.failed()) {
        std::fprintf(err, "tidewatch-capture: writing the CSV failed\n");
        return 4;
    }
    if (stalled) {
        std::fprintf(err, "tidewatch-capture: no samples for %g s: the GDB server stopped answering\n",
                     options.stallSeconds);
        return 4;
    }
    if (endedByItself && endCode != 0) {
        std::fprintf(err, "tidewatch-capture: sampling session ended with code %d: %s\n", endCode,
                     qPrintable(samplingEndText()));
        return 4;
    }
    if (!setsOk)
        return 5;
    if (!setsDone) {
        std::fprintf(err, "tidewatch-capture: no sample arrived, so the --set values were not written\n");
        return 5;
    }
    return 0;
}
