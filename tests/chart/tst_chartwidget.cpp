// The chart widget and its view: the total-time title, ticks from the width, scroll steps, wheel zoom,
// the series per row, and the curves drawn from a pixel column's extremes.
#include "BatchPacer.h"
#include "ChartWidget.h"
#include "ColumnReduce.h"
#include "CommonCfg.h"
#include "DataSource.h"
#include "FrameQueue.h"
#include "PlotGrid.h"
#include "Row.h"
#include "TimeAxis.h"
#include "VarChartView.h"
#include "WatchList.h"

#include <QApplication>
#include <QCheckBox>
#include <QGraphicsLayout>
#include <QGraphicsSimpleTextItem>
#include <QLabel>
#include <QScrollBar>
#include <QtTest>
#include <deque>
#include <memory>

// Table rows as the chart reads them: colour cell with "rgb", show box, name.
struct Rows {
    std::deque<QLabel> colors;
    std::deque<QCheckBox> shows;
    std::deque<VarParser::VarDes> vars;
    std::deque<VarTableWidget::LineItem> items;
    QList<VarTableWidget::LineItem*> list;
    void Add(QRgb rgb, const QString& name) {
        colors.emplace_back().setProperty("rgb", rgb);
        shows.emplace_back().setChecked(true);
        vars.emplace_back().name = name;
        items.push_back({});
        items.back().colorLabel = &colors.back();
        items.back().showChkBox = &shows.back();
        items.back().varDes = &vars.back();
        list << &items.back();
    }
};

class ChartWidgetTest : public QObject {
    Q_OBJECT
    std::unique_ptr<ChartWidget> m_chart;

private slots:
    void init() {
        CommonCfg::ResetForTests();
        m_chart.reset(new ChartWidget);
    }

    // microseconds | title text
    void totalTime_data() {
        Row::Column();
        QTest::newRow("every unit") << "90061001001 | 1d : 01h : 01m : 01s : 001ms : 001us";
        QTest::newRow("under a minute") << "5001002 | 05s : 001ms : 002us";
        QTest::newRow("whole day") << "86400000000 | 1d : 00h : 00m : 00s : 000ms : 000us";
        QTest::newRow("top bit") << "9223372036854775808 | 106751991d : 04h : 00m : 54s : 775ms : 808us";
        QTest::newRow("past 35 minutes") << "2147483648 | 35m : 47s : 483ms : 648us";
    }
    void totalTime() {
        const QStringList f = Row::Fields();
        // The view is nine divisions of 20 ms wide: from the first sample, then ending at the newest.
        m_chart->SetXRangeWithCheck(400000, 450000);
        QCOMPARE(QPointF(m_chart->AxisX()->min(), m_chart->AxisX()->max()), QPointF(400000, 580000));
        m_chart->SetXRangeWithCheck(400000, 900000);
        QCOMPARE(QPointF(m_chart->AxisX()->min(), m_chart->AxisX()->max()), QPointF(720000, 900000));
        m_chart->SetXRangeWithCheck(0, f[0].toDouble());
        QCOMPARE(m_chart->TitleText(), "Total Time " + f[1]);
    }

    // The title: in the room above the plot and centred over the chart, after a resize too.
    void titlePlace() {
        m_chart->resize(800, 500);
        m_chart->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_chart.get()));
        m_chart->SetXRangeWithCheck(0, 5001002);
        m_chart->resize(1000, 600);
        QTRY_COMPARE(m_chart->Chart()->size().width(), qreal(m_chart->View()->viewport()->width()));
        QGraphicsSimpleTextItem* title = nullptr;
        for (QGraphicsItem* item : m_chart->Chart()->childItems())
            if (auto* text = dynamic_cast<QGraphicsSimpleTextItem*>(item);
                text && text->text().startsWith("Total"))
                title = text;
        QVERIFY(title != nullptr);
        const QRectF at = title->mapRectToParent(title->boundingRect());
        QVERIFY2(at.top() > 0 && at.bottom() < m_chart->Chart()->plotArea().top(),
                 qPrintable(QString::number(at.bottom())));
        QVERIFY(qAbs(at.center().x() - m_chart->Chart()->size().width() / 2) <= 1);
    }

    // The view paints the backgrounds itself, around the plot's picture: a pixel of the view, as a step
    // from a corner of the plot's picture or of the chart's background | its colour (invalid: the view's
    // own background)
    void backgrounds_data() {
        QTest::addColumn<QPoint>("step");
        QTest::addColumn<bool>("fromPlot");
        QTest::addColumn<QColor>("colour");
        QTest::newRow("the chart's rounded corner") << QPoint(0, 0) << false << QColor();
        QTest::newRow("the chart's background") << QPoint(4, 4) << false << QColor(Qt::black);
        QTest::newRow("just above the plot") << QPoint(4, -1) << true << QColor(Qt::black);
        QTest::newRow("in the plot, between grid lines") << QPoint(4, 4) << true << QColor(Qt::black);
    }
    void backgrounds() {
        QFETCH(QPoint, step);
        QFETCH(bool, fromPlot);
        QFETCH(QColor, colour);
        m_chart->resize(800, 500);
        m_chart->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_chart.get()));
        QtCharts::QChart* chart = m_chart->Chart();
        QTRY_VERIFY(!chart->plotArea().isEmpty());
        qreal left = 0;
        qreal top = 0;
        chart->layout()->getContentsMargins(&left, &top, nullptr, nullptr);
        const QPoint corner = fromPlot ? PlotGrid::Cover(chart->plotArea()).topLeft()
                                       : chart->mapToScene(QPointF(left, top)).toPoint();
        QWidget* viewport = m_chart->View()->viewport();
        if (!colour.isValid())
            colour = viewport->palette().color(viewport->backgroundRole());
        const QImage picture = viewport->grab().toImage();
        QCOMPARE(picture.pixelColor(m_chart->View()->mapFromScene(corner) + step), colour);
    }

    // width | ticks | zoom index (-1: unknown step, 500000 us per division)
    void resizeWidth_data() {
        Row::Column();
        QTest::newRow("999") << "999 | 10 | 10";
        QTest::newRow("1500") << "1500 | 15 | 10";
        QTest::newRow("2000") << "2000 | 20 | 10";
        QTest::newRow("unknown step") << "1500 | 15 | -1";
    }
    void resizeWidth() {
        const int width = Row::Fields()[0].toInt(), ticks = Row::Fields()[1].toInt(),
                  zoomIndex = Row::Fields()[2].toInt();
        CommonCfg::SetZoomIndex(zoomIndex);
        m_chart->AxisX()->setMin(1000);
        m_chart->ResizeWidth(width);
        QCOMPARE(m_chart->AxisX()->tickCount(), ticks);
        QCOMPARE(CommonCfg::ChartDivisions(), ticks - 1);
        QCOMPARE(m_chart->AxisX()->max(), 1000.0 + (ticks - 1) * (zoomIndex < 0 ? 500000 : 20000));
    }

    // Time labels for a plot whose label font takes 7 pixels a character: the unit from the time base,
    // the labelled grid lines and their texts.
    void timeLabels_data() {
        for (const char* column : {"min", "step", "width"})
            QTest::addColumn<double>(column);
        QTest::addColumn<QString>("unit");
        QTest::addColumn<QStringList>("labels");
        const auto row = [](const char* name, double min, double step, double width, QString unit,
                            QString labels) {
            QTest::newRow(name) << min << step << width << unit << labels.split(' ');
        };
        row("ms, a tenth of a division", 4864000, 1000, 900, "ms",
            "4864.0 4865.0 4866.0 4867.0 4868.0 4869.0 "
            "4870.0 4871.0 4872.0 4873.0");
        row("µs, every second line", 4864000, 10, 600, "µs", "4864000 4864020 4864040 4864060 4864080");
        row("every fifth line", 4864000, 10, 300, "µs", "4864000 4864050");
        row("no room: the outer lines", 4864000, 10, 50, "µs", "4864000 4864090");
        row("s", 12345678, 2000000, 900, "s", "12.3 14.3 16.3 18.3 20.3 22.3 24.3 26.3 28.3 30.3");
        row("µs past 2^31", 3000000000, 10, 900, "µs",
            "3000000000 3000000020 3000000040 3000000060 3000000080");
    }
    void timeLabels() {
        QFETCH(double, min);
        QFETCH(double, step);
        QFETCH(double, width);
        QFETCH(QString, unit);
        QFETCH(QStringList, labels);
        const TimeAxis::Labels got = TimeAxis::Make(min, min + 9 * step, 9, step, width,
                                                    [](const QString& t) { return 7.0 * t.size(); });
        QCOMPARE(got.unit, unit);
        QCOMPARE(got.texts, labels);
        QCOMPARE(got.at.size(), labels.size());
        QCOMPARE(got.at.last(), min + got.every * (labels.size() - 1) * step); // on the grid's lines
    }

    // left right | single step, page step afterwards (7 and 70 before)
    void scrollSteps_data() {
        Row::Column();
        QTest::newRow("25 us") << "100 125 | 2 25";
        QTest::newRow("right below left") << "125 100 | 7 70";
        QTest::newRow("empty range") << "100 100 | 0 0";
    }
    void scrollSteps() {
        const QStringList f = Row::Fields();
        m_chart->ScrollBar()->setSingleStep(7);
        m_chart->ScrollBar()->setPageStep(70);
        emit m_chart->View()->AxisXRangedChanged(f[0].section(' ', 0, 0).toLongLong(),
                                                 f[0].section(' ', 1).toLongLong());
        QCOMPARE(
            QString("%1 %2").arg(m_chart->ScrollBar()->singleStep()).arg(m_chart->ScrollBar()->pageStep()),
            f[1]);
    }

    // A run's frames in the ring (time of the first, interval, count): the scroll bar's ends show the oldest
    // frame and the newest, also past 2^31 us and where the ring spans more than an int counts.
    void scrollOverLongRun_data() {
        QTest::addColumn<qint64>("first");
        QTest::addColumn<qint64>("interval");
        QTest::newRow("short run") << qint64(0) << qint64(100);
        QTest::newRow("past 35 minutes") << qint64(3000000000) << qint64(100);
        QTest::newRow("ring wider than an int") << qint64(3000000000) << qint64(1000000);
    }
    void scrollOverLongRun() {
        QFETCH(qint64, first);
        QFETCH(qint64, interval);
        FrameQueue& ring = FrameQueue::instance();
        ring.init();
        SampleFrame frame{};
        for (qint64 i = 0; i < 5000; ++i) {
            frame.time = uint64_t(first + interval * i);
            ring.push(frame);
        }
        m_chart->HiddenScroll(false);
        m_chart->ResetXRangeByQueueSize();
        QScrollBar* scroll = m_chart->ScrollBar();
        scroll->setValue(scroll->minimum());
        QCOMPARE(m_chart->AxisX()->min(), double(first));
        scroll->setValue(scroll->maximum());
        const double end = double(first + interval * 4999 + 1); // just after the newest
        QVERIFY2(m_chart->AxisX()->max() <= end && m_chart->AxisX()->max() > end - 3,
                 qPrintable(QString::number(m_chart->AxisX()->max(), 'f')));
    }

    // start index | wheel delta | index afterwards | X range afterwards (mouse at value x0 on [1000, 11000])
    void wheel_data() {
        Row::Column();
        QTest::newRow("in at the first step") << "0 | 120 | 0 | unchanged";
        QTest::newRow("out at the last step") << "22 | -120 | 22 | unchanged";
        QTest::newRow("in: half the span about x0") << "10 | 120 | 9 | (x0+1000)/2 x0+(11000-x0)/2";
        QTest::newRow("out: left clamped at 0") << "10 | -120 | 11 | 0 x0+(11000-x0)*2.5";
        QTest::newRow("locked") << "10 | 120 | 10 | unchanged";
    }
    void wheel() {
        const QStringList f = Row::Fields();
        VarChartView* view = m_chart->View();
        m_chart->resize(800, 400);
        m_chart->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_chart.get()));
        view->SetZoomIndex(f[0].toInt());
        m_chart->AxisX()->setRange(1000, 11000);
        CommonCfg::SetWheelLock(QTest::currentDataTag() == QString("locked"));
        QSignalSpy zoomed(view, &VarChartView::ZoomChanged);
        const double x0 = view->ValueAt(QPointF(400, 151)).x();
        const QPointF at(400.4, 150.5);
        QWheelEvent event(at, view->mapToGlobal(at.toPoint()), QPoint(), QPoint(0, f[1].toInt()),
                          Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(view->viewport(), &event);
        QCOMPARE(view->ZoomIndex(), f[2].toInt());
        QCOMPARE(zoomed.count(), f[2] == f[0] ? 0 : 1);
        QCOMPARE(view->MousePosition(), CommonCfg::WheelLock() ? QPoint() : QPoint(400, 151));
        const QString range = QString("%1 %2").arg(m_chart->AxisX()->min()).arg(m_chart->AxisX()->max());
        if (f[3] == "unchanged")
            QCOMPARE(range, QString("1000 11000"));
        else if (f[2] == "9")
            QCOMPARE(range, QString("%1 %2").arg((x0 + 1000) / 2).arg(x0 + (11000 - x0) / 2));
        else
            QCOMPARE(range, QString("0 %1").arg(x0 + (11000 - x0) * 2.5));
    }

    // Rows become OpenGL series in their colours; the data source draws into whatever list is current.
    void seriesPerRow() {
        Rows rows;
        m_chart->ReInitChartShow(rows.list);
        QVERIFY(m_chart->SeriesList().isEmpty());
        QCOMPARE(m_chart->Chart()->series().size(), 1); // the cursor line alone
        rows.Add(0xffff0000, "a");
        rows.Add(0xff00ff00, "b");
        m_chart->ReInitChartShow(rows.list);
        QCOMPARE(m_chart->SeriesList().size(), 2);
        QCOMPARE(m_chart->SeriesList()[1]->pen().color().rgb(), 0xff00ff00u);
        QVERIFY(m_chart->SeriesList()[0]->useOpenGL());
        QList<VarTableWidget::LineItem*> one = rows.list.mid(0, 1);
        m_chart->ChartShowChanged(one);
        rows.shows[0].setChecked(false);
        m_chart->ChartShowChanged(rows.list);
        QVERIFY(!m_chart->SeriesList()[0]->isVisible() && m_chart->SeriesList()[1]->isVisible());
        m_chart->RemoveSeriesByIdx(0);
        m_chart->RemoveSeriesByIdx(5);
        QCOMPARE(m_chart->SeriesList().size(), 1);
        // The row left draws its own variable's data, wherever the session keeps it.
        watchList() = WatchList();
        watchList().count = 2;
        watchList().name[1] = "b";
        watchList().typeCode[1] = typeCodeOf(rows.vars[1]);
        m_chart->GetDataSource()->Display({{QPointF(9, 9)}, {QPointF(1, 1), QPointF(2, 2), QPointF(3, 3)}},
                                          {{}, {}});
        QCOMPARE(m_chart->SeriesList()[0]->count(), 3);
    }

    // Every pixel column keeps its lowest and highest sample, in time order; the first and last of all too.
    void columnExtremes() {
        QVector<QPointF> points;
        for (int i = 0; i < 1000; ++i)
            points << QPointF(i, (i * 7919) % 101);
        const auto columns = [](const QVector<QPointF>& v) {
            QMap<int, QVector<double>> c;
            for (const QPointF& p : v) {
                QVector<double>& e = c[int(std::floor((p.x() + 5) / 10))];
                e = e.isEmpty() ? QVector<double>(2, p.y())
                                : QVector<double>{qMin(e[0], p.y()), qMax(e[1], p.y())};
            }
            return c;
        };
        const QVector<QPointF> drawn = ColumnReduce::Reduce(points, -5, 10);
        QCOMPARE(columns(drawn), columns(points));
        QCOMPARE(drawn.first(), points.first());
        QCOMPARE(drawn.last(), points.last());
        QVERIFY(drawn.size() <= 2 * 101 + 2);
        for (int i = 1; i < drawn.size(); ++i)
            QVERIFY(drawn[i].x() > drawn[i - 1].x() && points[int(drawn[i].x())] == drawn[i]);
    }

    // The grid's picture: a 9 x 6 grid over a 90 x 60 plot at (10.5, 5). Pixel of the chart | on a grid
    // line (false: not on one, or not in the picture)
    void plotGrid_data() {
        QTest::addColumn<QPoint>("pixel");
        QTest::addColumn<bool>("line");
        QTest::newRow("left edge") << QPoint(10, 30) << true;
        QTest::newRow("second column line") << QPoint(20, 33) << true;
        QTest::newRow("right edge, at the plot's last pixel") << QPoint(100, 33) << true;
        QTest::newRow("top row line") << QPoint(50, 5) << true;
        QTest::newRow("bottom edge") << QPoint(50, 65) << true;
        QTest::newRow("inside a cell") << QPoint(15, 12) << false;
        QTest::newRow("beyond the right edge") << QPoint(101, 33) << false;
        QTest::newRow("below the plot, under a column line") << QPoint(20, 66) << false;
    }
    void plotGrid() {
        QFETCH(QPoint, pixel);
        QFETCH(bool, line);
        const QRectF plot(10.5, 5, 90, 60);
        const QImage grid = PlotGrid::Make(plot, 9, 6, QColor(0x86878c), Qt::black);
        const QRect cover = PlotGrid::Cover(plot);
        QCOMPARE(cover, QRect(10, 5, 91, 61));
        QCOMPARE(grid.size(), cover.size());
        QCOMPARE(cover.contains(pixel) && grid.pixel(pixel - cover.topLeft()) == QColor(0x86878c).rgb(),
                 line);
    }

    // The worker is let go as the window starts to repaint, once; a window with nothing to repaint lets it
    // go when the wait runs out.
    void batchPacer_data() {
        QTest::addColumn<bool>("repaint");
        QTest::addColumn<int>("mostMs");
        QTest::newRow("the window repaints") << true << 5000;
        QTest::newRow("nothing to repaint") << false << 200;
    }
    void batchPacer() {
        QFETCH(bool, repaint);
        QFETCH(int, mostMs);
        // A window never shown never repaints.
        QWidget window;
        window.resize(100, 100);
        if (repaint) {
            window.show();
            QVERIFY(QTest::qWaitForWindowExposed(&window));
        }
        BatchPacer pacer;
        QSignalSpy released(&pacer, &BatchPacer::Release);
        QElapsedTimer waited;
        waited.start();
        pacer.Arm(&window, mostMs);
        if (repaint)
            window.update();
        QVERIFY(released.wait(2 * mostMs));
        QCOMPARE(waited.elapsed() >= mostMs * 3 / 4, !repaint); // a coarse timer may end a little early
        QCOMPARE(released.count(), 1);
        QCOMPARE(pacer.IsArmed(), false);
    }
};

QTEST_MAIN(ChartWidgetTest)
#include "tst_chartwidget.moc"
