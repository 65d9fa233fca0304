#include "FrameRecorder.h"

#include "CsvWriter.h"

#include <QFile>
#include <cerrno>
#include <chrono>
#include <cstring>

namespace {

// Frames copied out of the ring under one lock: about 150 KB, a few microseconds of the reader's time.
constexpr uint32_t kBatch = 512;
// Lines waiting for the system at most, and at most how long.
constexpr size_t kWriteBytes = size_t(1) << 20;
constexpr auto kWriteEvery = std::chrono::milliseconds(100);
// How often the thread looks at the ring: 2000 frames at 100 k frames/s, far from the ring's million.
constexpr auto kLookEvery = std::chrono::milliseconds(20);

QString SystemError() {
    return QString::fromLocal8Bit(std::strerror(errno != 0 ? errno : EIO));
}

} // namespace

FrameRecorder::~FrameRecorder() {
    Stop();
}

bool FrameRecorder::Start(const QString& path, const Plan& plan, QString* error) {
    Stop();
    errno = 0;
    std::FILE* file = std::fopen(QFile::encodeName(path).constData(), "w");
    if (file == nullptr) {
        *error = QStringLiteral("cannot write %1: %2").arg(path, SystemError());
        return false;
    }
    // Unbuffered: each write hands whole lines to the system in one piece.
    std::setvbuf(file, nullptr, _IONBF, 0);
    m_file = file;
    m_owned = true;
    m_path = path;
    return Begin(plan, error);
}

bool FrameRecorder::Start(std::FILE* out, const Plan& plan, QString* error) {
    Stop();
    m_file = out;
    m_owned = false;
    m_path.clear();
    return Begin(plan, error);
}

bool FrameRecorder::Begin(const Plan& plan, QString* error) {
    m_plan = plan;
    m_slots.assign(plan.slotOf.begin(), plan.slotOf.end());
    m_codes = CsvWriter::columnCodes(m_slots);
    m_next = plan.fromSeq;
    m_pending = 0;
    m_batch.resize(kBatch);
    m_text.reserve(kWriteBytes + 64 * 1024);
    m_stop = false;
    m_error.clear();
    m_written.store(0);
    m_lost.store(0);
    m_bytes.store(0);
    m_full.store(false);
    m_failed.store(false);
    const QByteArray header = CsvWriter::headerLine(plan.names);
    m_text.assign(header.constData(), static_cast<size_t>(header.size()));
    // The header is on disk before the first frame: a file that exists is a file that reads.
    if (!WriteOut()) {
        *error = QStringLiteral("writing %1 failed: %2").arg(m_path, Error());
        if (m_owned)
            std::fclose(m_file);
        m_file = nullptr;
        return false;
    }
    m_thread = std::thread(&FrameRecorder::Run, this);
    return true;
}

void FrameRecorder::Stop() {
    if (!m_thread.joinable())
        return;
    {
        std::lock_guard<std::mutex> lock(m_lock);
        m_stop = true;
    }
    m_wake.notify_all();
    m_thread.join();
    errno = 0;
    const int closed = m_owned ? std::fclose(m_file) : std::fflush(m_file);
    if (closed != 0 && !m_failed.load())
        Fail(SystemError());
    m_file = nullptr;
}

QString FrameRecorder::Error() const {
    std::lock_guard<std::mutex> lock(m_lock);
    return m_error;
}

void FrameRecorder::Fail(const QString& why) {
    {
        std::lock_guard<std::mutex> lock(m_lock);
        m_error = why;
    }
    m_failed.store(true);
}

void FrameRecorder::Run() {
    auto written = std::chrono::steady_clock::now();
    for (;;) {
        bool stopping;
        {
            std::lock_guard<std::mutex> lock(m_lock);
            stopping = m_stop;
        }
        // After a stop request the ring holds every frame the session will have: one more pass takes them.
        if (!Take() || stopping)
            break;
        const auto now = std::chrono::steady_clock::now();
        if (!m_text.empty() && now - written >= kWriteEvery) {
            if (!WriteOut())
                return;
            written = now;
        }
        std::unique_lock<std::mutex> lock(m_lock);
        m_wake.wait_for(lock, kLookEvery, [this] { return m_stop; });
    }
    if (!m_failed.load())
        WriteOut();
}

bool FrameRecorder::Take() {
    FrameQueue& queue = FrameQueue::instance();
    SampleFrame columns{};
    for (;;) {
        if (m_failed.load())
            return false;
        const uint64_t done = m_written.load() + m_pending;
        if (m_plan.limit > 0 && done >= m_plan.limit) {
            m_full.store(true);
            return false;
        }
        const uint32_t want = m_plan.limit > 0 && m_plan.limit - done < kBatch
                                  ? static_cast<uint32_t>(m_plan.limit - done)
                                  : kBatch;
        uint64_t first = m_next;
        const int copied = queue.copyBySeq(m_plan.generation, m_next, m_batch.data(), want, first);
        if (copied <= 0) {
            // Not set up yet, or all taken; a ring set up again belongs to a later session.
            return copied == 0 && queue.generation() <= m_plan.generation;
        }
        m_lost.fetch_add(first - m_next);
        for (int i = 0; i < copied; ++i) {
            CsvWriter::selectColumns(m_batch[static_cast<size_t>(i)], m_slots, columns);
            CsvWriter::appendFrame(columns, m_codes, m_text);
        }
        m_next = first + static_cast<uint64_t>(copied);
        m_pending += static_cast<uint64_t>(copied);
        if (m_text.size() >= kWriteBytes && !WriteOut())
            return false;
        if (static_cast<uint32_t>(copied) < want)
            return true;
    }
}

bool FrameRecorder::WriteOut() {
    if (m_text.empty())
        return true;
    errno = 0;
    if (std::fwrite(m_text.data(), 1, m_text.size(), m_file) != m_text.size() || std::fflush(m_file) != 0) {
        Fail(SystemError());
        return false;
    }
    m_bytes.fetch_add(m_text.size());
    m_written.fetch_add(m_pending);
    m_pending = 0;
    m_text.clear();
    return true;
}
