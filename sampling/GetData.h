#pragma once

#include <QPointF>
#include <QThread>
#include <QVector>
#include <atomic>
#include <cstdint>
#include <vector>

class QTimer;
struct SampleFrame;

// The display-side worker: a thread whose timer, fps times a second, takes the frames the current
// time base shows out of the queue (thinned to about 10000 points per variable) and emits them.
class GetData : public QThread {
    Q_OBJECT
public:
    explicit GetData(QObject* parent = nullptr);
    ~GetData() override;

    // Quits the event loop and waits at most 500 ms.
    void Stop();
    bool IsRunning() const { return m_running.load(); }
    // Asks for one more batch at once (scrolling, a scaling change), from any thread.
    void Redeliver();
    // The receiver has taken in the last batch, and is free for the next one in `withinMs` (it is still
    // drawing this one). Until then ticks emit nothing: every batch carries the whole visible span, so a
    // skipped tick loses nothing, while batches queued faster than the GUI thread takes them in would
    // starve its paints and grow the lag without bound. A tick skipped that way is made up as soon as the
    // receiver is free (less the time a drain takes), so a slow batch costs its own time, not a whole
    // tick more, and the next one arrives fresh instead of waiting.
    void BatchTaken(int withinMs = 0);

    // One drain of the queue into per-variable point series (also used by tests and benchmarks).
    static void Drain(QVector<QVector<QPointF>>& dataValue, bool running);
    // The point a frame entry becomes: x = the frame's time in microseconds, y = the value as its type
    // code reads it.
    static QPointF PointOf(const SampleFrame& frame, int index, int32_t typeCode);
    // Thins a drained live span to the lowest and highest point of each pixel column of the plot
    // (hssSettings().displayColumns), over the X range the chart gives the newest data. The chart would keep
    // the same points after scaling them, as scaling keeps a column's extremes: here, off the GUI thread, it
    // takes in a fraction of them.
    static void ThinLive(QVector<QVector<QPointF>>& dataValue);
    // Drain and ThinLive in one: what a tick emits. The points of a span to be thinned are made only after.
    static void DrainThinned(QVector<QVector<QPointF>>& dataValue, bool running);
    static void RegisterMetaTypes();

signals:
    void DataSignal(QVector<QVector<QPointF>> data_value, QVector<QVector<float>> math_value);
    // Carries Redeliver() to the worker thread; only run() connects to it.
    void RedeliverRequested();
    // Carries a BatchTaken() with time to go to the worker thread; only run() connects to it.
    void ReleaseRequested(int withinMs);

protected:
    void run() override;

private:
    // The frames of one drain: their times, and each variable's values, frame by frame.
    struct Span {
        int vars = 0;
        int frames = 0;
        bool ragged = false; // some frame carries fewer variables than the others
        std::vector<double> times;
        std::vector<int> counts; // variables each frame carries
        std::vector<std::vector<double>> values;
        // Room for `size` frames.
        void Grow(int size);
    };
    static bool Collect(Span& span, int vars, bool running);
    static void Materialize(const Span& span, QVector<QVector<QPointF>>& dataValue);
    // The pixel columns of the X range the chart shows while it follows the newest data, for a span from
    // `first` to `last`: the left edge and a column's width.
    static void LiveColumns(double first, double last, double columns, double& origin, double& width);

    // Run on the worker thread only, which alone owns the timer.
    void Tick(QTimer& timer);
    void Released(QTimer& timer);

    int m_fps = 15;
    double m_drainMs = 0; // what the recent ticks took; the worker thread's own

    std::atomic<bool> m_running{false};
    std::atomic<bool> m_inFlight{false};
    std::atomic<bool> m_owed{false};
};
