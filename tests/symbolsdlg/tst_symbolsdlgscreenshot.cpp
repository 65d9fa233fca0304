// Shows the symbol selection dialog with a small catalogue in a real window and saves a picture.
#include "CatalogueFile.h"
#include "ScreenShot.h"
#include "SelectSymbolsDlg.h"

#include <QApplication>
#include <QCheckBox>
#include <QLineEdit>
#include <QTest>
#include <QTreeWidget>

class TestSymbolsDlgScreenshot : public QObject {
    Q_OBJECT
private slots:
    void dialogWithTicks();
};

void TestSymbolsDlgScreenshot::dialogWithTicks() {
    VarParser::ResetForTests();
    QVERIFY(LoadCatalogue({
        {"main.c", {{"tick_count", "20000000", "int"}, {"led_state", "20000004", "char", "static", 1}}},
        {"motor.c",
         {{"motor_speed", "20000010", "int"},
          {"set_point", "20000014", "float"},
          {"pwm_duty", "20000018", "unsigned short", "global", 2}}},
        {"adc.c",
         {{"adc_raw", "20000100", "unsigned short", "global", 2}, {"vbus_volts", "20000104", "float"}}},
    }));
    SelectSymbolsDlg dlg;
    dlg.BuildTree();
    dlg.CheckBoxes().at(2)->setChecked(true);
    dlg.CheckBoxes().at(3)->setChecked(true);
    dlg.show();
    QApplication::setActiveWindow(&dlg);
    QVERIFY(QTest::qWaitForWindowExposed(&dlg));

    const QImage shot = ScreenShot::Save(&dlg, "symbolsdlg");
    QVERIFY2(!shot.isNull(), qPrintable("no screenshot in " + ScreenShot::Folder()));
    QCOMPARE(shot.size(), QSize(749, 532) * shot.devicePixelRatio());

    // The search icon is drawn at the left end of the filter line: some pixels there are not the
    // line's plain background.
    QLineEdit* filter = dlg.FilterEdit();
    const QPoint origin = filter->mapTo(&dlg, QPoint(0, 0));
    const QColor ground = shot.pixelColor(origin + QPoint(filter->width() / 2, filter->height() / 2));
    int marked = 0;
    for (int y = 2; y < filter->height() - 2; ++y)
        for (int x = 2; x < 24; ++x)
            marked += shot.pixelColor(origin + QPoint(x, y)) != ground ? 1 : 0;
    QVERIFY2(marked > 20, qPrintable(QString::number(marked)));
    VarParser::ResetForTests();
}

QTEST_MAIN(TestSymbolsDlgScreenshot)
#include "tst_symbolsdlgscreenshot.moc"
