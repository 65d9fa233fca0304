// Live curves in a real window: the demo firmware sampled through tidewatch-sim into the chart widget.
// The picture shows both rows' colours on black, the frame rate and the total time.
#include "Acquisition.h"
#include "ChartWidget.h"
#include "CommonCfg.h"
#include "DataSource.h"
#include "ScreenShot.h"
#include "SimChild.h"
#include "VarChartView.h"

#include <QLabel>
#include <QTemporaryDir>
#include <QtTest>

namespace {

// Whether the plot area of the picture holds a pixel of this colour.
bool HasColour(const QImage& image, const QRectF& area, QRgb rgb) {
    for (int y = int(area.top()); y < int(area.bottom()); ++y)
        for (int x = int(area.left()); x < int(area.right()); ++x)
            if ((image.pixel(x, y) & 0xffffff) == (rgb & 0xffffff))
                return true;
    return false;
}

} // namespace

class ChartScreenshotTest : public QObject {
    Q_OBJECT
private slots:
    void liveCurves() {
        if (QStandardPaths::findExecutable("qemu-system-riscv32").isEmpty())
            QSKIP("qemu-system-riscv32 is not installed");
        QTemporaryDir dir;
        QProcess extractor;
        extractor.setWorkingDirectory(dir.path());
        extractor.start(TIDEWATCH_EXTRACTOR_BIN, {TIDEWATCH_DEMO_ELF});
        QVERIFY(extractor.waitForFinished(30000) && extractor.exitCode() == 0);
        QFile json(dir.filePath("elf.json"));
        QVERIFY(json.open(QIODevice::ReadOnly));
        VarParser parser;
        parser.ParseText(json.readAll());
        VarTableWidget table;
        QVector<VarParser::VarDes> vars;
        for (VarParser::VarDes* des : VarParser::VarList()) {
            des->selected = des->name == "sine_wave" || des->name == "follower";
            if (des->selected)
                vars << *des;
        }
        table.UpdateTableWithVariableList();
        QCOMPARE(table.LineItems().size(), 2);

        Sim::SimChild sim;
        QVERIFY2(sim.Start(TIDEWATCH_SIM_BIN, {TIDEWATCH_DEMO_ELF}), sim.Output().constData());
        CommonCfg::SetZoomIndex(12); // "100ms/Div"
        CommonCfg::SetInterval(1000);
        CommonCfg::SetFps(30);
        CommonCfg::SetRunFlag(0);
        ChartWidget chart;
        connect(chart.View(), &VarChartView::WidthChanged, &chart, &ChartWidget::ResizeWidth);
        chart.ReInitChartShow(table.LineItems());
        chart.resize(900, 500);
        chart.show();
        setSamplingTarget("127.0.0.1", sim.Port());
        QCOMPARE(startSampling(vars), 0);
        chart.GetDataSource()->StartAcquisition();
        QTRY_VERIFY_WITH_TIMEOUT(
            chart.FpsLabel()->text().startsWith("FPS: ") && chart.SeriesList()[0]->count() > 100, 20000);
        const QImage shot = ScreenShot::Save(&chart, "chart_live");
        chart.GetDataSource()->StopAcquisition();
        CommonCfg::SetRunFlag(1);
        QCOMPARE(stopSampling(), 0);

        QVERIFY(chart.Chart()->title().startsWith("Total Time "));
        const QRectF plot = chart.Chart()->plotArea().translated(chart.View()->mapTo(&chart, QPoint()));
        for (const VarTableWidget::LineItem* row : table.LineItems())
            QVERIFY2(HasColour(shot, plot, row->colorLabel->property("rgb").toUInt()),
                     qPrintable(row->varDes->name));
        QCOMPARE(shot.pixel(plot.topLeft().toPoint() + QPoint(3, 3)) & 0xffffff, 0u); // black background
    }
};

QTEST_MAIN(ChartScreenshotTest)
#include "tst_chartscreenshot.moc"
