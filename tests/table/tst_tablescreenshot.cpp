// A picture of the variable table in a real window, with live values and one value cell mid-edit:
// the first row's swatch shows the first palette colour, and only the edited cell has the blue frame.
#include "CommonCfg.h"
#include "DataSource.h"
#include "ScreenShot.h"
#include "TableFixture.h"
#include "ValueLineEdit.h"

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QTest>
#include <QVBoxLayout>

namespace {

bool HasBluePixel(const QImage& image, QWidget* window, QWidget* widget) {
    const QRect area(widget->mapTo(window, QPoint(0, 0)), widget->size());
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x) {
            const QColor c = image.pixelColor(x, y);
            if (c.blue() > 200 && c.red() < 60 && c.green() < 60)
                return true;
        }
    return false;
}

} // namespace

class TableScreenshotTest : public QObject {
    Q_OBJECT
private slots:
    void tableWithValues() {
        QVERIFY(
            LoadCatalogue("motor.c=motor_speed:20000010:int, set_point:20000014:float;"
                          "adc.c=vbus_volts:20000104:float, fault_flags:2000001c:unsigned char:global:1"));
        VarTableWidget table;
        SelectByName(table, {"motor_speed", "set_point", "vbus_volts", "fault_flags"});
        DataSource source;
        table.SetDataSource(&source);
        source.Display({{QPointF(0, 1500)}, {QPointF(0, 1.25)}, {QPointF(0, 0)}, {QPointF(0, 24.125)}},
                       QVector<QVector<float>>(4));
        table.LineItems().at(2)->showChkBox->setChecked(false);
        table.LineItems().at(3)->lockChkBox->setChecked(true);
        QWidget window;
        window.setWindowTitle("Tidewatch variables");
        auto* layout = new QVBoxLayout(&window);
        layout->addWidget(table.GetTableWidget());
        window.resize(760, 200);
        window.show();
        QApplication::setActiveWindow(&window);
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        // The user clicks the second value cell and types a new value without pressing Return yet.
        ValueLineEdit* editing = table.LineItems().at(1)->valueEdit;
        QTest::mouseClick(editing, Qt::LeftButton);
        QTest::keyClicks(editing, "5");

        const QImage shot = ScreenShot::Save(&window, "vartable");
        QVERIFY2(!shot.isNull(), qPrintable("no screenshot in " + ScreenShot::Folder()));
        QCOMPARE(shot.size(), window.size() * shot.devicePixelRatio());
        QLabel* swatch = table.LineItems().first()->colorLabel;
        const QPoint centre = swatch->mapTo(&window, swatch->rect().center());
        QCOMPARE(shot.pixelColor(centre * shot.devicePixelRatio()).rgb(), CommonCfg::Palette().first().rgb());
        QVERIFY(HasBluePixel(shot, &window, editing));
        QVERIFY(!HasBluePixel(shot, &window, table.LineItems().at(0)->valueEdit));
        QVERIFY(!HasBluePixel(shot, &window, table.LineItems().at(2)->valueEdit));
    }
};

QTEST_MAIN(TableScreenshotTest)
#include "tst_tablescreenshot.moc"
