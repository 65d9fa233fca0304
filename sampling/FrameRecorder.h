#pragma once

#include "FrameQueue.h"

#include <QString>
#include <QStringList>
#include <QVector>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// Streams every frame of a session from the frame ring to a CSV file as it arrives, in the format of
// "Save Data ..." (CsvWriter.h), on a thread of its own that follows the ring by sequence number. The reader
// that pushes waits at most for one short batched copy under the ring's lock; frames the ring overwrote
// before they were copied are counted as lost, never passed over unseen. Whole lines go to the system at
// least every 100 ms and whenever 1 MiB is waiting, so that a killed program leaves a file readable up to
// its last line. A write error ends the recording (with the reason) and touches nothing else.
class FrameRecorder {
public:
    FrameRecorder() = default;
    ~FrameRecorder();
    FrameRecorder(const FrameRecorder&) = delete;
    FrameRecorder& operator=(const FrameRecorder&) = delete;

    // What to record: column i holds watch-list slot slotOf[i] under names[i]; the frames of ring generation
    // `generation` (FrameQueue::generation(); a session's ring may be set up only after this call) from
    // sequence number `fromSeq` on; at most `limit` frames (0: no limit).
    struct Plan {
        QStringList names;
        QVector<int> slotOf;
        uint64_t generation = 0;
        uint64_t fromSeq = 0;
        uint64_t limit = 0;
    };

    // Creates (or empties) the file at `path`, writes the header and starts recording. False, with the
    // reason in `error`, when the file cannot be written.
    bool Start(const QString& path, const Plan& plan, QString* error);
    // The same on a stream that stays open afterwards (standard output).
    bool Start(std::FILE* out, const Plan& plan, QString* error);
    // Records what the ring holds by now, writes it out and closes the file. Idempotent.
    void Stop();

    // True from Start until Stop, also after a write error ended the recording.
    bool Active() const { return m_thread.joinable(); }
    QString Path() const { return m_path; }
    // Frames handed to the system, in the file.
    uint64_t Written() const { return m_written.load(); }
    uint64_t Lost() const { return m_lost.load(); }
    // Bytes handed to the system, header included.
    uint64_t Bytes() const { return m_bytes.load(); }
    // The limit is reached: nothing more will be written.
    bool Full() const { return m_full.load(); }
    bool Failed() const { return m_failed.load(); }
    QString Error() const;

private:
    bool Begin(const Plan& plan, QString* error);
    void Run();
    // Copies, formats and (now and then) writes what came in; false once nothing more is to be taken.
    bool Take();
    // Hands the waiting lines to the system; false (and the recording ends) on a write error.
    bool WriteOut();
    void Fail(const QString& why);

    std::FILE* m_file = nullptr;
    bool m_owned = false;
    QString m_path;
    Plan m_plan;
    std::vector<int> m_slots;
    std::vector<int32_t> m_codes;
    uint64_t m_next = 0;
    uint64_t m_pending = 0; // frames in m_text
    std::string m_text;
    std::vector<SampleFrame> m_batch;

    std::thread m_thread;
    mutable std::mutex m_lock; // the stop request and the error text
    std::condition_variable m_wake;
    bool m_stop = false;
    QString m_error;
    std::atomic<uint64_t> m_written{0};
    std::atomic<uint64_t> m_lost{0};
    std::atomic<uint64_t> m_bytes{0};
    std::atomic<bool> m_full{false};
    std::atomic<bool> m_failed{false};
};
