// A picture of the symbol selection dialog with a small catalogue, in a real window: its size and
// the search icon drawn at the left end of the filter line.
#include "CatalogueFile.h"
#include "ScreenShot.h"
#include "SelectSymbolsDlg.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QTest>

class TestSymbolsDlgScreenshot : public QObject {
    Q_OBJECT
private slots:
    void dialogWithTicks() {
        QVERIFY(LoadCatalogue({
            {"main.c", {{"tick_count", "20000000", "int"}, {"led_state", "20000004", "char", "static", 1}}},
            {"motor.c", {{"motor_speed", "20000010", "int"}, {"set_point", "20000014", "float"}}},
        }));
        SelectSymbolsDlg dlg;
        dlg.BuildTree();
        dlg.CheckBoxes().at(2)->setChecked(true);
        dlg.show();
        const QImage shot = ScreenShot::Save(&dlg, "symbolsdlg");
        QVERIFY2(!shot.isNull(), qPrintable("no screenshot in " + ScreenShot::Folder()));
        QCOMPARE(shot.size(), QSize(749, 532) * shot.devicePixelRatio());
        QLineEdit* filter = dlg.FilterEdit();
        const QPoint origin = filter->mapTo(&dlg, QPoint(0, 0));
        const QColor ground = shot.pixelColor(origin + QPoint(filter->width() / 2, filter->height() / 2));
        int marked = 0;
        for (int y = 2; y < filter->height() - 2; ++y)
            for (int x = 2; x < 24; ++x)
                marked += shot.pixelColor(origin + QPoint(x, y)) != ground ? 1 : 0;
        QVERIFY2(marked > 20, qPrintable(QString::number(marked)));
    }
};

QTEST_MAIN(TestSymbolsDlgScreenshot)
#include "tst_symbolsdlgscreenshot.moc"
