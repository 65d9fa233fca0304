#include "CaptureRun.h"

#include "Acquisition.h"
#include "CommonCfg.h"
#include "CsvWriter.h"
#include "FrameQueue.h"
#include "FrameRecorder.h"
#include "HssSession.h"
#include "MemoryWrite.h"
#include "SessionEnd.h"
#include "Trigger.h"
#include "WatchList.h"

#include <chrono>
#include <deque>
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
        QString refusal;
        const int rc = writeEditedValue(address, typeCodeOf(a.target), a.value, refusal);
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

// A --set value that is no value of its variable's type stops the capture before anything is written.
bool assignmentsReadable(const CaptureOptions& options, std::FILE* err) {
    for (const CaptureOptions::Assignment& a : options.sets) {
        WriteRequest request;
        QString refusal;
        if (!makeEditRequest(0, typeCodeOf(a.target), a.value, request, refusal)) {
            std::fprintf(err, "tidewatch-capture: --set %s=%s is not written: %s (%s)\n", qPrintable(a.name),
                         qPrintable(a.value), qPrintable(refusal), qPrintable(a.target.type));
            return false;
        }
    }
    return true;
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

    if (!assignmentsReadable(options, err))
        return 5;
    const int started = startSampling(options.variables);
    if (started != 0) {
        if (samplingStartFailure() == 2) {
            std::fprintf(err, "%s\n", qPrintable(CommonCfg::ErrorText(2)));
            return 3;
        }
        std::fprintf(err, "tidewatch-capture: sampling could not be started\n");
        return 4;
    }

    const WatchList& watch = watchList();
    // Every frame goes out as it arrives, through the recorder the window records with; a triggered
    // window is written here, once its trigger came.
    FrameRecorder recorder;
    CsvWriter writer(out, std::vector<int32_t>(watch.typeCode, watch.typeCode + watch.count));
    if (options.triggered) {
        writer.writeHeader(names);
    } else {
        FrameRecorder::Plan plan;
        plan.names = names;
        for (int i = 0; i < watch.count; ++i)
            plan.slotOf << i;
        plan.generation = samplingGeneration();
        plan.limit = options.samples > 0 ? static_cast<uint64_t>(options.samples) : 0;
        QString error;
        if (!recorder.Start(out, plan, &error)) {
            stopSampling();
            std::fprintf(err, "tidewatch-capture: %s\n", qPrintable(error));
            return 4;
        }
    }

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

    // A triggered capture keeps the last `pretrigger` frames until the trigger comes, then writes them,
    // the trigger sample and what follows, up to `samples` lines.
    TriggerDetector trigger;
    if (options.triggered) {
        TriggerSettings t;
        t.mode = TriggerMode::Single;
        t.slot = options.triggerSlot;
        t.typeCode = watch.typeCode[options.triggerSlot];
        t.edge = options.edge;
        t.level = options.level;
        t.pre = static_cast<uint64_t>(options.pretrigger);
        t.post = static_cast<uint64_t>(options.samples - options.pretrigger - 1);
        trigger.configure(t);
    }
    std::deque<SampleFrame> before;
    uint64_t seen = 0;
    bool waiting = options.triggered; // for the trigger

    auto limitReached = [&] {
        return options.triggered ? options.samples > 0 && written >= options.samples : recorder.Full();
    };
    auto take = [&] {
        if (!waiting) {
            writer.writeFrame(frame);
            ++written;
            return;
        }
        trigger.feed(frame, seen);
        if (trigger.state() == TriggerDetector::State::Armed) {
            before.push_back(frame);
            if (before.size() > static_cast<size_t>(options.pretrigger))
                before.pop_front();
            return;
        }
        waiting = false;
        writer.setTimeOrigin(frame.time);
        for (const SampleFrame& f : before)
            writer.writeFrame(f);
        written += static_cast<qint64>(before.size());
        before.clear();
        writer.writeFrame(frame);
        ++written;
    };
    auto drain = [&] {
        int n = 0;
        if (!options.triggered) {
            // Frames that arrived, written or not yet: the server answers, and the --set values may go.
            const uint64_t arrived = queue.generation() == samplingGeneration() ? queue.pushed() : 0;
            n = arrived != seen ? 1 : 0;
            seen = arrived;
            written = static_cast<qint64>(recorder.Written());
            return n;
        }
        while (!limitReached() && queue.popForDisplay(frame, 0) == 1) {
            take();
            ++seen;
            ++n;
        }
        return n;
    };

    Clock::time_point flushed = begin;
    for (;;) {
        const int n = drain();
        // The triggered window reaches the file as it is written, as the recorder's lines do.
        if (options.triggered && n > 0 && secondsSince(flushed) >= 0.1) {
            writer.flush();
            flushed = Clock::now();
        }
        const uint64_t replies = hssRepliesRead();
        // The frame ring's set-up before the session begins is not the server's time.
        if (n > 0 || replies != repliesSeen || !samplingSessionBegun()) {
            lastProgress = Clock::now();
            repliesSeen = replies;
        }
        if (!setsDone && seen > 0) {
            setsOk = applyAssignments(options, err);
            setsDone = true;
        }
        if (limitReached() || stopRequested.load())
            break;
        if (options.duration > 0 && secondsSince(begin) >= options.duration &&
            (waiting || !options.triggered))
            break;
        if (samplingEnded() || recorder.Failed())
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
    // What arrived before the stop is kept.
    recorder.Stop();
    if (!options.triggered || (!stalled && !waiting))
        drain();
    writer.flush();
    const double seconds = secondsSince(begin);

    const quint64 lost = options.triggered ? queue.overwrittenUnread() : recorder.Lost();
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

    if (writer.failed() || recorder.Failed()) {
        std::fprintf(err, "tidewatch-capture: writing the CSV failed%s\n",
                     recorder.Failed() ? qPrintable(": " + recorder.Error()) : "");
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
    if (waiting && !stopRequested.load()) {
        std::fprintf(err, "tidewatch-capture: no trigger (%s %s through %g) came within %g s\n",
                     qPrintable(names.value(options.triggerSlot)), qPrintable(TriggerEdgeName(options.edge)),
                     options.level, seconds);
        return 6;
    }
    if (!setsOk)
        return 5;
    if (!setsDone) {
        std::fprintf(err, "tidewatch-capture: no sample arrived, so the --set values were not written\n");
        return 5;
    }
    return 0;
}
