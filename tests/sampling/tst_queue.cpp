// Ring arithmetic of the frame queue and the display drain's decimation.
#include "FrameQueue.h"
#include "GetData.h"
#include "WatchList.h"

#include <QtTest>
#include <cstring>

namespace {

SampleFrame frameAt(uint64_t time, uint32_t value, int code = 1) {
    SampleFrame f;
    std::memset(&f, 0, sizeof f);
    f.time = time;
    f.count = 1;
    f.value[0] = value;
    f.typeCode[0] = code;
    return f;
}

void fill(uint32_t n) {
    FrameQueue& q = FrameQueue::instance();
    for (uint32_t i = 0; i < n; ++i)
        q.push(frameAt(i, i));
}

} // namespace

class QueueTest : public QObject {
    Q_OBJECT
private slots:
    void init() {
        QCOMPARE(FrameQueue::instance().init(), 0);
        watchList() = WatchList();
        watchList().count = 1;
    }

    void emptyQueue();
    void popWithSkip_data();
    void popWithSkip();
    void overwriteKeepsNewest999999();
    void drainDecimation_data();
    void drainDecimation();
    void drainRepositionsWhenDisplayIsShort();
    void pointValues_data();
    void pointValues();
};

void QueueTest::emptyQueue() {
    FrameQueue& q = FrameQueue::instance();
    SampleFrame f;
    QVERIFY(q.displayEmpty());
    QVERIFY(q.historyEmpty());
    QCOMPARE(q.popForDisplay(f, 0), 0);
    QCOMPARE(q.displaySize(), 0u);
}

void QueueTest::popWithSkip_data() {
    QTest::addColumn<uint>("frames");
    QTest::addColumn<uint>("skip");
    QTest::addColumn<QVector<uint>>("taken");
    QTest::newRow("every frame") << 4u << 0u << QVector<uint>{0, 1, 2, 3};
    QTest::newRow("every third") << 9u << 2u << QVector<uint>{2, 5, 8};
    QTest::newRow("skip past the end takes the newest") << 5u << 9u << QVector<uint>{4};
    QTest::newRow("skip equal to size takes the newest") << 3u << 3u << QVector<uint>{2};
}

void QueueTest::popWithSkip() {
    QFETCH(uint, frames);
    QFETCH(uint, skip);
    QFETCH(QVector<uint>, taken);
    fill(frames);
    QVector<uint> got;
    SampleFrame f;
    while (FrameQueue::instance().popForDisplay(f, skip) == 1)
        got << f.value[0];
    QCOMPARE(got, taken);
}

void QueueTest::overwriteKeepsNewest999999() {
    FrameQueue& q = FrameQueue::instance();
    fill(kQueueCapacity);
    QCOMPARE(q.historySize(), kQueueCapacity - 1);
    QCOMPARE(q.displaySize(), kQueueCapacity - 1);
    QCOMPARE(q.writeIndex(), 0u);
    QCOMPARE(q.historyRead(), 1u);
    QCOMPARE(q.overwrittenUnread(), quint64(1));
    SampleFrame f;
    QCOMPARE(q.popForDisplay(f, 0), 1);
    QCOMPARE(f.value[0], 1u); // frame 0 was overwritten
    fill(10);                 // ten more: the oldest keep moving
    QCOMPARE(q.historySize(), kQueueCapacity - 1);
    QCOMPARE(q.historyRead(), 11u);
}

void QueueTest::drainDecimation_data() {
    QTest::addColumn<uint>("kept");
    QTest::addColumn<uint>("depth");
    QTest::addColumn<int>("points");
    QTest::addColumn<uint>("firstValue");
    QTest::addColumn<uint>("stride");
    QTest::newRow("shallow: every frame") << 3000u << 500000u << 3000 << 0u << 1u;
    QTest::newRow("deep history: every 21st") << 200000u << 500000u << 9524 << 20u << 21u;
    QTest::newRow("depth below history: last depth frames") << 50000u << 20000u << 6667 << 30002u << 3u;
    QTest::newRow("tiny depth") << 100u << 10u << 10 << 90u << 1u;
}

void QueueTest::drainDecimation() {
    QFETCH(uint, kept);
    QFETCH(uint, depth);
    QFETCH(int, points);
    QFETCH(uint, firstValue);
    QFETCH(uint, stride);
    fill(kept);
    hssSettings().displayDepth.store(depth);
    QVector<QVector<QPointF>> data(1);
    GetData::Drain(data, true);
    QCOMPARE(data[0].size(), points);
    QCOMPARE(uint(data[0][0].y()), firstValue);
    if (points > 2)
        QCOMPARE(uint(data[0][1].y() - data[0][0].y()), stride);
    // While running, a tick without new frames emits nothing; once stopped it re-emits the span.
    QVector<QVector<QPointF>> idle(1);
    GetData::Drain(idle, true);
    QCOMPARE(idle[0].size(), 0);
    QVector<QVector<QPointF>> again(1);
    GetData::Drain(again, false);
    QCOMPARE(again[0].size(), points);
    QCOMPARE(again[0][0], data[0][0]);
}

void QueueTest::drainRepositionsWhenDisplayIsShort() {
    FrameQueue& q = FrameQueue::instance();
    fill(kQueueCapacity + 500); // wrapped: history is full
    SampleFrame f;
    for (int i = 0; i < 999000; ++i)
        q.popForDisplay(f, 0); // display cursor far ahead: 999 frames left to show
    hssSettings().displayDepth.store(5000);
    QVector<QVector<QPointF>> data(1);
    GetData::Drain(data, true);
    QCOMPARE(data[0].size(), 5000);
    QCOMPARE(uint(data[0].last().y()), kQueueCapacity + 499);
}

void QueueTest::pointValues_data() {
    QTest::addColumn<int>("code");
    QTest::addColumn<uint>("raw");
    QTest::addColumn<qulonglong>("time");
    QTest::addColumn<double>("x");
    QTest::addColumn<double>("y");
    QTest::newRow("unsigned char 0xFF") << 0 << 0xFFu << 10ull << 10.0 << 255.0;
    QTest::newRow("int -1") << 1 << 0xFFFFFFFFu << 0ull << 0.0 << -1.0;
    QTest::newRow("float bits") << 2 << 0x3fc00000u << 0ull << 0.0 << 1.5;
    QTest::newRow("other 4-byte type as float") << 3 << 0xc0200000u << 0ull << 0.0 << -2.5;
    QTest::newRow("time low half as signed") << 1 << 1u << 0x180000000ull << -2147483648.0 << 1.0;
}

void QueueTest::pointValues() {
    QFETCH(int, code);
    QFETCH(uint, raw);
    QFETCH(qulonglong, time);
    QFETCH(double, x);
    QFETCH(double, y);
    const QPointF p = GetData::PointOf(frameAt(time, raw, code), 0);
    QCOMPARE(p.x(), x);
    QCOMPARE(p.y(), y);
}

QTEST_GUILESS_MAIN(QueueTest)
#include "tst_queue.moc"
