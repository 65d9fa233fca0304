// Ring arithmetic of the frame queue and the display drain's decimation.
#include "FrameQueue.h"
#include "GetData.h"
#include "Row.h"
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

    void emptyQueue() {
        FrameQueue& q = FrameQueue::instance();
        SampleFrame f;
        QVERIFY(q.displayEmpty() && q.historyEmpty());
        QCOMPARE(q.popForDisplay(f, 0), 0);
        QCOMPARE(q.displaySize(), 0u);
    }

    // Frames pushed | skip | values taken
    void popWithSkip_data() {
        Row::Column();
        QTest::newRow("every frame") << "4 | 0 | 0 1 2 3";
        QTest::newRow("every third") << "9 | 2 | 2 5 8";
        QTest::newRow("skip past the end takes the newest") << "5 | 9 | 4";
        QTest::newRow("skip equal to size takes the newest") << "3 | 3 | 2";
    }
    void popWithSkip() {
        const QStringList f = Row::Fields();
        fill(f[0].toUInt());
        QStringList got;
        SampleFrame frame;
        while (FrameQueue::instance().popForDisplay(frame, f[1].toUInt()) == 1)
            got << QString::number(frame.value[0]);
        QCOMPARE(got.join(' '), f[2]);
    }

    void overwriteKeepsNewest999999() {
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

    // Frames kept | display depth | points drawn | first value | stride
    void drainDecimation_data() {
        Row::Column();
        QTest::newRow("shallow: every frame") << "3000 | 500000 | 3000 | 0 | 1";
        QTest::newRow("deep history: every 21st") << "200000 | 500000 | 9524 | 20 | 21";
        QTest::newRow("depth below history: last depth frames") << "50000 | 20000 | 6667 | 30002 | 3";
        QTest::newRow("tiny depth") << "100 | 10 | 10 | 90 | 1";
    }
    void drainDecimation() {
        const QStringList f = Row::Fields();
        fill(f[0].toUInt());
        hssSettings().displayDepth.store(f[1].toUInt());
        QVector<QVector<QPointF>> data(1);
        GetData::Drain(data, true);
        QCOMPARE(data[0].size(), f[2].toInt());
        QCOMPARE(uint(data[0][0].y()), f[3].toUInt());
        if (data[0].size() > 2)
            QCOMPARE(uint(data[0][1].y() - data[0][0].y()), f[4].toUInt());
        // While running, a tick without new frames emits nothing; once stopped it re-emits the span.
        QVector<QVector<QPointF>> idle(1), again(1);
        GetData::Drain(idle, true);
        QCOMPARE(idle[0].size(), 0);
        GetData::Drain(again, false);
        QCOMPARE(again[0].size(), data[0].size());
        QCOMPARE(again[0][0], data[0][0]);
    }

    void drainRepositionsWhenDisplayIsShort() {
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

    // Type code | raw word (hex) | time | point drawn
    void pointValues_data() {
        Row::Column();
        QTest::newRow("unsigned char 0xFF") << "0 | ff | 10 | 10 255";
        QTest::newRow("int -1") << "1 | ffffffff | 0 | 0 -1";
        QTest::newRow("float bits") << "2 | 3fc00000 | 0 | 0 1.5";
        QTest::newRow("other 4-byte type as float") << "3 | c0200000 | 0 | 0 -2.5";
        QTest::newRow("time low half as signed") << "1 | 1 | 6442450944 | -2147483648 1";
    }
    void pointValues() {
        const QStringList f = Row::Fields();
        const QPointF p =
            GetData::PointOf(frameAt(f[2].toULongLong(), f[1].toUInt(nullptr, 16), f[0].toInt()), 0);
        QCOMPARE(QString("%1 %2").arg(p.x(), 0, 'g', 12).arg(p.y()), f[3]);
    }
};

QTEST_GUILESS_MAIN(QueueTest)
#include "tst_queue.moc"
