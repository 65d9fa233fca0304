#include "GetData.h"

#include "ColumnReduce.h"
#include "CommonCfg.h"
#include "Console.h"
#include "FrameQueue.h"
#include "LogCategories.h"
#include "SampleValue.h"
#include "TriggerWatch.h"
#include "WatchList.h"

#include <QElapsedTimer>
#include <QMetaType>
#include <QTimer>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

Q_DECLARE_METATYPE(QVector<QVector<QPointF>>)
Q_DECLARE_METATYPE(QVector<QVector<float>>)

GetData::GetData(QObject* parent) : QThread(parent) {
    RegisterMetaTypes();
}

GetData::~GetData() {
    if (isRunning()) {
        m_running.store(false);
        quit();
        wait();
    }
}

void GetData::RegisterMetaTypes() {
    static const bool done = [] {
        qRegisterMetaType<QVector<QVector<QPointF>>>("QVector<QVector<QPointF>>");
        qRegisterMetaType<QVector<QVector<float>>>("QVector<QVector<float>>");
        return true;
    }();
    (void)done;
}

void GetData::run() {
    m_running.store(true);
    m_inFlight.store(false);
    m_owed.store(false);
    m_fps = CommonCfg::Fps() > 0 ? CommonCfg::Fps() : 15;
    // The timer belongs to this thread alone: other threads reach it only through a queued signal,
    // whose connection ends with the timer.
    QTimer timer;
    connect(
        &timer, &QTimer::timeout, &timer,
        [this, &timer] {
            if (m_inFlight.exchange(true))
                m_owed.store(true);
            else
                Tick(timer);
        },
        Qt::DirectConnection);
    // A requested batch goes out even with one in flight: it answers a scroll or a scaling change.
    connect(
        this, &GetData::RedeliverRequested, &timer,
        [this, &timer] {
            m_inFlight.store(true);
            Tick(timer);
        },
        Qt::QueuedConnection);
    QTimer release;
    release.setSingleShot(true);
    release.setTimerType(Qt::PreciseTimer);
    connect(
        &release, &QTimer::timeout, &timer, [this, &timer] { Released(timer); }, Qt::DirectConnection);
    connect(
        this, &GetData::ReleaseRequested, &timer,
        [this, &timer, &release](int withinMs) {
            const int wait = withinMs - static_cast<int>(std::ceil(m_drainMs)) - 1;
            if (wait > 0)
                release.start(wait);
            else
                Released(timer);
        },
        Qt::QueuedConnection);
    timer.start(1000 / m_fps);
    exec();
}

void GetData::Stop() {
    if (!isRunning())
        return;
    m_running.store(false);
    quit();
    wait(500);
    qCDebug(lcSampling, "The getData Thread is exit!!!");
}

void GetData::Redeliver() {
    emit RedeliverRequested();
}

void GetData::BatchTaken(int withinMs) {
    if (withinMs > 0 && isRunning()) {
        emit ReleaseRequested(withinMs);
        return;
    }
    m_inFlight.store(false);
    if (m_owed.exchange(false) && isRunning())
        emit RedeliverRequested();
}

void GetData::Released(QTimer& timer) {
    m_inFlight.store(false);
    if (m_owed.exchange(false)) {
        m_inFlight.store(true);
        Tick(timer);
    }
}

QPointF GetData::PointOf(const SampleFrame& frame, int index, int32_t typeCode) {
    // A double holds every microsecond count below 2^53 (285 years) exactly.
    return QPointF(static_cast<double>(frame.time), readSample(frame.value[index], typeCode).toDouble());
}

bool GetData::Collect(Span& span, int vars, bool running) {
    FrameQueue& queue = FrameQueue::instance();
    if (queue.displayEmpty() && running) {
        qCDebug(lcSampling, "iseh ");
        return false;
    }
    if (watchList().count == 0)
        return false;
    const uint32_t D = queue.displaySize();
    const uint32_t H = queue.historySize();
    const uint32_t depth = hssSettings().displayDepth.load();

    uint32_t skip = 0;
    if (depth <= 10000 || H <= 10000)
        skip = 0;
    else if (H >= depth)
        skip = depth / 10000;
    else
        skip = H / 10000;

    // Each tick re-emits the whole visible span, not only what is new.
    if (H <= depth) {
        queue.setDisplayRead(queue.historyRead());
    } else if (D >= depth) {
        uint32_t read = queue.displayRead() + (D - depth);
        if (read > kQueueCapacity - 1)
            read -= kQueueCapacity;
        queue.setDisplayRead(read);
    } else {
        const uint32_t back = depth - D;
        uint32_t read = queue.displayRead();
        read = back >= read ? read + kQueueCapacity - back : read - back;
        queue.setDisplayRead(read);
    }

    // About this many frames come out; sized once, the loop writes through plain pointers. Frames that
    // come in meanwhile make room for themselves.
    span.vars = std::min(vars, kMaxVars);
    span.frames = 0;
    span.ragged = false;
    span.values.resize(static_cast<size_t>(span.vars));
    span.Grow(static_cast<int>((H <= depth ? H : depth) / (skip + 1) + 2));

    const WatchList& watch = watchList();
    int32_t codes[kMaxVars];
    std::copy(watch.typeCode, watch.typeCode + span.vars, codes);
    double* columns[kMaxVars];
    const auto point = [&span, &columns] {
        for (int i = 0; i < span.vars; ++i)
            columns[i] = span.values[static_cast<size_t>(i)].data();
    };
    point();
    // A few hundred frames a lock: the reader's push waits for one such chunk at most.
    const auto take = [&span, &codes, &columns, &point](const SampleFrame& frame) {
        const int f = span.frames;
        if (f == static_cast<int>(span.times.size())) {
            span.Grow(2 * f);
            point();
        }
        // A double holds every microsecond count below 2^53 (285 years) exactly.
        span.times[static_cast<size_t>(f)] = static_cast<double>(frame.time);
        const int count = std::min(frame.count, span.vars);
        span.counts[static_cast<size_t>(f)] = count;
        span.ragged = span.ragged || count < span.vars;
        for (int i = 0; i < count; ++i)
            columns[i][f] = readSample(frame.value[i], codes[i]).toDouble();
        // A variable the frame lacks keeps its place; the frame's count tells it is not there.
        for (int i = count; i < span.vars; ++i)
            columns[i][f] = 0;
        span.frames = f + 1;
    };
    while (queue.popForDisplay(skip, 512, take) > 0) {
    }
    return true;
}

void GetData::Span::Grow(int size) {
    const size_t to = static_cast<size_t>(std::max(size, 1));
    times.resize(to);
    counts.resize(to);
    for (std::vector<double>& column : values)
        column.resize(to);
}

void GetData::Materialize(const Span& span, QVector<QVector<QPointF>>& dataValue) {
    // Each variable's points: of the frames that carry it.
    for (int i = 0; i < span.vars && i < dataValue.size(); ++i) {
        QVector<QPointF>& points = dataValue[i];
        points.reserve(span.frames);
        for (size_t f = 0; f < static_cast<size_t>(span.frames); ++f)
            if (i < span.counts[f])
                points.append(QPointF(span.times[f], span.values[static_cast<size_t>(i)][f]));
    }
}

void GetData::Drain(QVector<QVector<QPointF>>& dataValue, bool running) {
    Span span;
    if (Collect(span, dataValue.size(), running))
        Materialize(span, dataValue);
}

void GetData::DrainThinned(QVector<QVector<QPointF>>& dataValue, bool running) {
    Span span;
    if (!Collect(span, dataValue.size(), running))
        return;
    const double columns = hssSettings().displayColumns.load();
    if (columns < 1 || CommonCfg::RunFlag() != 0 || span.ragged ||
        span.frames <= ColumnReduce::MostKept(columns)) {
        Materialize(span, dataValue);
        ThinLive(dataValue);
        return;
    }
    // The variables share the frames' times: the columns are found once, and no variable's points are
    // made before they are thinned.
    double origin = 0;
    double width = 0;
    LiveColumns(span.times[0], span.times[static_cast<size_t>(span.frames) - 1], columns, origin, width);
    const QVector<int> runs = ColumnReduce::Runs(span.times.data(), span.frames, origin, width);
    for (int i = 0; i < span.vars && i < dataValue.size(); ++i)
        dataValue[i] = ColumnReduce::ReduceRuns(span.times.data(), span.values[static_cast<size_t>(i)].data(),
                                                span.frames, runs);
}

void GetData::LiveColumns(double first, double last, double columns, double& origin, double& width) {
    // The X range the chart gives the newest data when it follows it, as it computes it.
    const double step = static_cast<double>(CommonCfg::CurrentStepValue()) * CommonCfg::ChartDivisions();
    const double right = last + 1;
    origin = std::max(first, right - step);
    width = (right - origin) / columns;
}

void GetData::ThinLive(QVector<QVector<QPointF>>& dataValue) {
    const double columns = hssSettings().displayColumns.load();
    if (columns < 1 || CommonCfg::RunFlag() != 0)
        return;
    for (QVector<QPointF>& points : dataValue) {
        if (points.size() <= ColumnReduce::MostKept(columns))
            continue;
        double origin = 0;
        double width = 0;
        LiveColumns(points.first().x(), points.last().x(), columns, origin, width);
        points = ColumnReduce::Reduce(points, origin, width);
    }
}

void GetData::Tick(QTimer& timer) {
    QElapsedTimer took;
    took.start();
    const int count = watchList().count;
    QVector<QVector<QPointF>> dataValue(count);
    QVector<QVector<float>> mathValue(count);
    // The time base may have changed since the start: the display depth follows it at every tick.
    hssSettings().displayDepth.store(displayDepthOf(CommonCfg::CurrentStepValue()));
    // With a trigger on, every new frame is looked at first; a capture to show replaces the live span.
    if (TriggerWatch::Instance().Scan(dataValue))
        ThinLive(dataValue);
    else
        DrainThinned(dataValue, m_running.load());
    const double ms = took.nsecsElapsed() / 1e6;
    m_drainMs = m_drainMs <= 0 ? ms : 0.75 * m_drainMs + 0.25 * ms;
    RegisterMetaTypes();
    emit DataSignal(dataValue, mathValue);

    const int fps = CommonCfg::Fps();
    if (fps > 0 && fps != m_fps) {
        m_fps = fps;
        timer.setInterval(1000 / fps);
        timer.start();
    }
}
