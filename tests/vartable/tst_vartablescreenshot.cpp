// Shows the variable table with several variables and live values in a real window and saves a
// picture.
#include "CommonCfg.h"
#include "DataSource.h"
#include "ScreenShot.h"
#include "TableFixture.h"
#include "ValueLineEdit.h"
#include "WatchList.h"

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QTest>
#include <QVBoxLayout>

class TestVarTableScreenshot : public QObject {
    Q_OBJECT
private slots:
    void tableWithValues();
};

void TestVarTableScreenshot::tableWithValues() {
    VarParser::ResetForTests();
    CommonCfg::ResetForTests();
    watchList() = WatchList();
    QVERIFY(LoadCatalogue({
        {"motor.c",
         {{"motor_speed", "20000010", "int"},
          {"set_point", "20000014", "float"},
          {"pwm_duty", "20000018", "unsigned short", "global", 2}}},
        {"adc.c",
         {{"vbus_volts", "20000104", "float"}, {"fault_flags", "2000001c", "unsigned char", "global", 1}}},
    }));
    VarTableWidget table;
    SelectByName(table, {"motor_speed", "set_point", "pwm_duty", "vbus_volts", "fault_flags"});
    WatchList& w = watchList();
    w.count = table.LineItems().size();
    for (int i = 0; i < w.count; ++i) {
        w.typeCode[i] = typeCodeOf(*table.LineItems().at(i)->varDes);
        w.scale[i] = 1.0f;
    }
    DataSource source;
    table.SetDataSource(&source);
    // Two batches: motor_speed and vbus_volts change (red), the others hold (black).
    const QVector<double> first{1500, 1.25, 512, 0, 24.125};
    const QVector<double> second{1523, 1.25, 512, 0, 24.0625};
    for (const QVector<double>* batch : {&first, &second}) {
        QVector<QVector<QPointF>> points;
        for (double v : *batch)
            points.append({QPointF(0, v)});
        source.Display(points, QVector<QVector<float>>(batch->size()));
    }
    table.LineItems().at(2)->showChkBox->setChecked(false);
    table.LineItems().at(3)->lockChkBox->setChecked(true);
    table.LineItems().at(1)->yResolutionItem->setText("0.5");

    QWidget window;
    window.setWindowTitle("Tidewatch variables");
    auto* layout = new QVBoxLayout(&window);
    layout->addWidget(table.GetTableWidget());
    window.resize(760, 200);
    window.show();
    QApplication::setActiveWindow(&window);
    QVERIFY(QTest::qWaitForWindowExposed(&window));

    const QImage shot = ScreenShot::Save(&window, "vartable");
    QVERIFY2(!shot.isNull(), qPrintable("no screenshot in " + ScreenShot::Folder()));
    // The first row's swatch shows the first palette colour.
    QLabel* swatch = table.LineItems().first()->colorLabel;
    const QPoint centre = swatch->mapTo(&window, swatch->rect().center());
    QCOMPARE(shot.pixelColor(centre * shot.devicePixelRatio()).rgb(), CommonCfg::Palette().first().rgb());
    CommonCfg::ResetForTests();
}

QTEST_MAIN(TestVarTableScreenshot)
#include "tst_vartablescreenshot.moc"
