// The project dialog in a real window: both modes pictured, with the keyboard path and the device list;
// the conversions on the user's typing; OK with its warnings and the real extractor; the start-up dialog.
#include "CommonCfg.h"
#include "ErrorBox.h"
#include "PopDialog.h"
#include "ProjectDialog.h"
#include "Row.h"
#include "ScreenShot.h"
#include "VarParser.h"

#include <QtTest>
#include <QtWidgets>

class ProjectDialogTest : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QStringList m_seen; // texts (and details) of the boxes shown, and the main window's slots called
    const QString m_autosave = QCoreApplication::applicationDirPath() + "/autosave.tidewatch";

    // A combo box's choice or a field's text.
    static QString Text(QDialog& d, const QString& name) {
        const QWidget* w = d.findChild<QWidget*>(name);
        return w->property("currentText").toString() + w->property("text").toString();
    }

public slots: // the main window's project slots, called by the start-up dialog
    void NewProject() { m_seen << "new"; }
    void OpenProject() { m_seen << "open"; }

private slots:
    void init() {
        CommonCfg::ResetForTests();
        VarParser::ResetForTests();
        QFile::remove(m_autosave);
        m_seen.clear();
        qputenv("PATH", m_dir.path().toLocal8Bit()); // no debug tools to start
        SetErrorBoxStandIn([this](const QString& text, const QString& detail) {
            m_seen << (detail.isEmpty() ? text : text + " / " + detail);
            return true;
        });
    }

    // set-up | title, manufacturer, device, tool, interface, speed, interval, rate, ELF field, ELF path
    void modes_data() {
        Row::Column();
        QTest::newRow("options")
            << "options | Options,Corvane,7425MQDTRA,Simulator (tidewatch-sim),JTAG,8000,0,5000,/fw,";
        QTest::newRow("newconfig")
            << "autosave | New Config,Corvane,7420MQDTVA,jlink,JTAG,1000,7,142857,/x/fw.elf,/x/fw.elf";
        QTest::newRow("newconfig-empty")
            << "none | New Config,Corvane,7420MQDTVA,openocd(Brightloom-Trace),SWD,4000,,,,";
    }
    void modes() {
        const QStringList f = Row::Fields();
        CommonCfg::SetOptionsMode(f[0] == "options");
        if (f[0] == "options") {
            CommonCfg::SetDevice("7425MQDTRA");
            CommonCfg::SetOpenocdProbe(2);
            CommonCfg::SetJtag(1);
            CommonCfg::SetConnectRate(8000);
            CommonCfg::SetInterval(0);
            CommonCfg::SetBrowsePath("/fw");
        } else if (f[0] == "autosave") {
            CommonCfg::SetRecord({"Corvane", "7420MQDTVA", "jlink", "JTAG", "1000", "7", "/x/fw.elf"});
            CommonCfg::SaveProject(m_autosave);
            CommonCfg::ResetForTests();
        }
        ProjectDialog d;
        QStringList shown{d.windowTitle()};
        for (const char* name : {"manufactorCBox", "deviceCBox", "dbgToolCBox", "target", "m_connectRate",
                                 "sampleInterval", "sampleFreq", "fileEdit"})
            shown << Text(d, name);
        QCOMPARE((shown << CommonCfg::ElfPath()).join(','), f[1]);
        QVERIFY(!CommonCfg::OptionsMode());
        d.show();
        const QImage image = ScreenShot::Save(&d, "projectdialog-" + QString(QTest::currentDataTag()));
        QCOMPARE(image.size(), QSize(529, 317) * d.devicePixelRatioF());
        QVERIFY(d.rect().contains(d.findChild<QWidget*>("buttonBox")->geometry()));
        for (const QLabel* label : d.findChildren<QLabel*>())
            QVERIFY2(label->sizeHint().width() <= label->width(), qPrintable(label->text()));
        QStringList names; // every control takes focus from the Tab key and has a name for assistive tools
        for (const QWidget* w : d.findChildren<QWidget*>())
            if (w->focusPolicy() & Qt::TabFocus)
                names << w->accessibleName() + w->property("text").toString();
        QCOMPARE(names.size(), 16);
        QVERIFY(!names.contains(""));
        d.UpdateDeviceList("corvane"); // names compare in their letter case
        const int lower = d.findChild<QComboBox*>("deviceCBox")->count();
        d.UpdateDeviceList("Corvane");
        QCOMPARE(QPoint(lower, d.findChild<QComboBox*>("deviceCBox")->count()), QPoint(0, 3));
    }

    // field | keys typed over its text (\b: Backspace) | interval | rate, from an interval of 20 (50000 Hz)
    void conversions_data() {
        Row::Column();
        QTest::newRow("interval 20") << "sampleInterval | 20 | 20 | 50000";
        QTest::newRow("rate 7") << "sampleFreq | 7 | 142857 | 7";
        QTest::newRow("highest rate") << "sampleFreq | 100000 | 10 | 100000";
        QTest::newRow("cleared interval leaves the rate") << "sampleInterval | \b |  | 50000";
        QTest::newRow("cleared rate leaves the interval") << "sampleFreq | \b | 20 | ";
    }
    void conversions() {
        const QStringList f = Row::Fields();
        CommonCfg::SetOptionsMode(true);
        ProjectDialog d;
        d.findChild<QLineEdit*>(f[0])->selectAll();
        QTest::keyClicks(d.findChild<QLineEdit*>(f[0]), f[1]);
        QCOMPARE(Text(d, "sampleInterval") + " | " + Text(d, "sampleFreq"), f[2] + " | " + f[3]);
    }

    // ELF field | interval | first box shown | dialog shown, stored record interval and interval, loads
    void accept_data() {
        Row::Column();
        QTest::newRow("empty ELF") << " | 20 | Please Select a Elf | 1,,20,0";
        QTest::newRow("interval refused")
            << "fw.elf | 5 | Sampling interval \"5\" refused: give 10 to 1000000 us | 1,,20,0";
        QTest::newRow("not an ELF") << __FILE__ " | 20 | file not found!! / readelf_variables: | 0,20,20,0";
        QTest::newRow("firmware") << TIDEWATCH_DEMO_ELF " | 1000 |  | 0,1000,1000,1";
    }
    void accept() {
        const QStringList f = Row::Fields();
        QDir::setCurrent(m_dir.path());
        VarParser parser;
        VarParser::SetInstance(&parser);
        QSignalSpy loaded(&parser, &VarParser::VarListCreate);
        ProjectDialog d;
        d.show();
        d.findChild<QLineEdit*>("fileEdit")->setText(f[0]);
        d.findChild<QLineEdit*>("sampleInterval")->setText(f[1]);
        // The next modal box is answered with its first button.
        QTimer::singleShot(0, this, [this] {
            if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
                m_seen << box->text();
                box->buttons().first()->click();
            }
        });
        d.accept();
        QCOMPARE(m_seen.value(0).left(f[2].size()), f[2]);
        QCOMPARE(QString::asprintf("%d,%s,%d,%d", d.isVisible(), qPrintable(CommonCfg::Record().interval),
                                   CommonCfg::Interval(), int(loaded.count())),
                 f[3]);
    }

    // Tool chosen by the keyboard (the own board's settings stored before) | config files typed | dialog
    // height then | interface and speed usable | config files kept on OK
    void boardTool_data() {
        QTest::addColumn<int>("tool");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<int>("height");
        QTest::addColumn<bool>("interface");
        QTest::addColumn<QStringList>("configs");
        QTest::newRow("own board") << 3 << " a.cfg ; ;/b c/d.cfg;" << 443 << false
                                   << QStringList{"a.cfg", "/b c/d.cfg"};
        QTest::newRow("simulator") << 2 << "\b" << 317 << false << QStringList();
        QTest::newRow("openocd probe") << 0 << "x.cfg" << 317 << true << QStringList{"x.cfg"};
    }
    void boardTool() {
        QFETCH(int, tool);
        QFETCH(QString, typed);
        QFETCH(int, height);
        QFETCH(bool, interface);
        QFETCH(QStringList, configs);
        QDir::setCurrent(m_dir.path());
        CommonCfg::SetOptionsMode(true);
        CommonCfg::SetOpenocdProbe(3);
        CommonCfg::SetBoard({"/o/openocd", {"old.cfg", "b.cfg"}, true});
        ProjectDialog d;
        d.show();
        QCOMPARE(Text(d, "openocdEdit") + " | " + Text(d, "boardConfigEdit"),
                 QString("/o/openocd | old.cfg; b.cfg"));
        auto* tools = d.findChild<QComboBox*>("dbgToolCBox");
        tools->setFocus();
        QTest::keyClick(tools, Qt::Key_Home);
        for (int i = 0; i < tool; ++i)
            QTest::keyClick(tools, Qt::Key_Down);
        auto* field = d.findChild<QLineEdit*>("boardConfigEdit");
        field->selectAll();
        QTest::keyClicks(field, typed);
        QTest::keyClick(d.findChild<QCheckBox*>("attachOnlyCheckBox"), Qt::Key_Space);
        if (tool == 3)
            ScreenShot::Save(&d, "projectdialog-board");
        QCOMPARE(d.height(), height);
        QCOMPARE(d.findChild<QGroupBox*>("targetGroupBox")->isEnabled(), interface);
        d.findChild<QLineEdit*>("fileEdit")->setText(__FILE__); // stored, then the extractor refuses it
        d.accept();
        QCOMPARE(CommonCfg::Board().configs, configs);
        QVERIFY(!CommonCfg::Board().attachOnly);
    }

    void popDialog() {
        PopDialog pop(this); // asks for a new configuration at once
        pop.accept();
        pop.findChildren<QRadioButton*>().at(1)->setChecked(true);
        pop.accept();
        QCOMPARE(m_seen, (QStringList{"new", "new", "open"}));
        QCOMPARE(pop.result(), int(QDialog::Accepted));
    }
};

QTEST_MAIN(ProjectDialogTest)
#include "tst_projectdialog.moc"
