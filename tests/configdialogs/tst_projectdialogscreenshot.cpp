// Pictures of the project dialog in both modes, in a real window: the form fills its fixed size, no
// label is cut off, and each mode shows its own title and fields.
#include "CommonCfg.h"
#include "ProjectDialog.h"
#include "ScreenShot.h"

#include <QLabel>
#include <QLineEdit>
#include <QTest>

class ProjectDialogScreenshot : public QObject {
    Q_OBJECT
private slots:
    void bothModes_data() {
        QTest::addColumn<bool>("options");
        QTest::addColumn<QString>("title");
        QTest::newRow("projectdialog-newconfig") << false << "New Config";
        QTest::newRow("projectdialog-options") << true << "Options";
    }
    void bothModes() {
        QFETCH(bool, options);
        QFETCH(QString, title);
        CommonCfg::ResetForTests();
        CommonCfg::SetOptionsMode(options);
        CommonCfg::SetBrowsePath("/home/user/firmware");
        CommonCfg::SetOpenocdProbe(2); // Options shows the simulated target on JTAG
        CommonCfg::SetJtag(1);
        ProjectDialog dialog;
        dialog.show();
        const QImage image = ScreenShot::Save(&dialog, QTest::currentDataTag());
        QCOMPARE(image.size(), QSize(529, 317) * dialog.devicePixelRatioF());
        QCOMPARE(dialog.windowTitle(), title);
        // The buttons lie inside the picture, and no label is cut off.
        QVERIFY(dialog.rect().contains(dialog.findChild<QWidget*>("buttonBox")->geometry()));
        for (const QLabel* label : dialog.findChildren<QLabel*>())
            QVERIFY2(label->sizeHint().width() <= label->width(), qPrintable(label->text()));
        if (options)
            QCOMPARE(dialog.findChild<QLineEdit*>("sampleFreq")->text(), QStringLiteral("50000"));
    }
};

QTEST_MAIN(ProjectDialogScreenshot)
#include "tst_projectdialogscreenshot.moc"
