// The project dialog: its two modes, the interval and rate conversions on the user's typing, the
// device list, OK (the empty-ELF warning, a refused interval, the extractor's own reason on a file it
// cannot read, a real firmware loaded), the keyboard path through the form; and the start-up dialog.
#include "CommonCfg.h"
#include "ErrorBox.h"
#include "PopDialog.h"
#include "ProjectDialog.h"
#include "Row.h"
#include "VarParser.h"

#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

// Stands in for the main window's project slots.
class MainWindowStandIn : public QObject {
    Q_OBJECT
public:
    QStringList calls;
public slots:
    void NewProject() { calls << "new"; }
    void OpenProject() { calls << "open"; }
};

class ProjectDialogTest : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QStringList m_shown; // texts (and details) of the boxes shown
    const QString m_autosave = QCoreApplication::applicationDirPath() + "/autosave.tidewatch";

    template <typename W> static W* Get(QDialog& d, const char* name) { return d.findChild<W*>(name); }
    static QString Combo(QDialog& d, const char* name) { return Get<QComboBox>(d, name)->currentText(); }
    static QString Edit(QDialog& d, const char* name) { return Get<QLineEdit>(d, name)->text(); }
    // Answers the next modal message box with its first button.
    void AnswerBox() {
        QTimer::singleShot(0, this, [this] {
            if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
                m_shown << box->text();
                box->buttons().first()->click();
            }
        });
    }

private slots:
    void init() {
        CommonCfg::ResetForTests();
        VarParser::ResetForTests();
        QFile::remove(m_autosave);
        m_shown.clear();
        SetErrorBoxStandIn([this](const QString& text, const QString& detail) {
            m_shown << (detail.isEmpty() ? text : text + " / " + detail);
            return true;
        });
    }
    void cleanup() {
        QFile::remove(m_autosave);
        SetErrorBoxStandIn({});
    }

    // set-up | title, manufacturer, device, tool, interface, speed, interval, rate, ELF field, ELF path
    void modes_data() {
        Row::Column();
        QTest::newRow("options")
            << "options | Options,Corvane,7425MQDTRA,Simulator (tidewatch-sim),JTAG,8000,0,5000,"
               "/fw,/fw/a.elf";
        QTest::newRow("new from the autosave")
            << "autosave | New Config,Corvane,7420MQDTVA,jlink,JTAG,1000,7,142857,/x/fw.elf,/x/fw.elf";
        QTest::newRow("new without autosave")
            << "none | New Config,Corvane,7420MQDTVA,openocd(Brightloom-Trace),SWD,4000,,,,";
    }
    void modes() {
        const QStringList f = Row::Fields();
        if (f[0] == "options") {
            CommonCfg::SetOptionsMode(true);
            CommonCfg::SetManufacturer("Corvane");
            CommonCfg::SetDevice("7425MQDTRA");
            CommonCfg::SetOpenocdProbe(2);
            CommonCfg::SetJtag(1);
            CommonCfg::SetConnectRate(8000);
            CommonCfg::SetInterval(0);
            CommonCfg::SetBrowsePath("/fw");
            CommonCfg::SetElfPath("/fw/a.elf");
        } else if (f[0] == "autosave") {
            CommonCfg::SetRecord({"Corvane", "7420MQDTVA", "jlink", "JTAG", "1000", "7", "/x/fw.elf"});
            CommonCfg::SaveProject(m_autosave);
            CommonCfg::ResetForTests();
        }
        ProjectDialog d;
        const QStringList shown{d.windowTitle(),           Combo(d, "manufactorCBox"),
                                Combo(d, "deviceCBox"),    Combo(d, "dbgToolCBox"),
                                Combo(d, "target"),        Combo(d, "m_connectRate"),
                                Edit(d, "sampleInterval"), Edit(d, "sampleFreq"),
                                Edit(d, "fileEdit"),       CommonCfg::ElfPath()};
        QCOMPARE(shown.join(','), f[1]);
        QVERIFY(!CommonCfg::OptionsMode());
        QCOMPARE(d.size(), QSize(529, 317));
    }

    // field typed into | keys ("clear": emptied) | interval | rate, from an interval of 20 (50000 Hz)
    void conversions_data() {
        Row::Column();
        QTest::newRow("interval 20") << "sampleInterval | 20 | 20 | 50000";
        QTest::newRow("rate 7") << "sampleFreq | 7 | 142857 | 7";
        QTest::newRow("rate 3") << "sampleFreq | 3 | 333333 | 3";
        QTest::newRow("highest rate") << "sampleFreq | 100000 | 10 | 100000";
        QTest::newRow("cleared interval leaves the rate") << "sampleInterval | clear |  | 50000";
        QTest::newRow("rate past the range: converted, refused at OK") << "sampleFreq | 200000 | 5 | 200000";
    }
    void conversions() {
        const QStringList f = Row::Fields();
        CommonCfg::SetOptionsMode(true);
        ProjectDialog d;
        QLineEdit* field = Get<QLineEdit>(d, f[0].toLatin1());
        field->selectAll();
        QTest::keyClick(field, Qt::Key_Backspace);
        if (f[1] != "clear")
            QTest::keyClicks(field, f[1]);
        QCOMPARE(Edit(d, "sampleInterval") + " | " + Edit(d, "sampleFreq"), f[2] + " | " + f[3]);
    }

    void deviceList() {
        ProjectDialog d;
        QComboBox* devices = Get<QComboBox>(d, "deviceCBox");
        d.UpdateDeviceList("corvane"); // names compare in their letter case
        QCOMPARE(devices->count(), 0);
        d.UpdateDeviceList("Corvane");
        QCOMPARE(QStringList({devices->itemText(0), devices->itemText(1), devices->itemText(2)}).join(','),
                 QStringLiteral("7420MQDTVA,7425MQDTCA,7425MQDTRA"));
    }

    // ELF field | interval | boxes shown (first) | dialog closed and settings stored
    void accept_data() {
        Row::Column();
        QTest::newRow("empty ELF") << " | 20 | Please Select a Elf | 0";
        QTest::newRow("interval refused")
            << "fw.elf | 5 | Sampling interval \"5\" refused: give 10 to 1000000 us | 0";
        QTest::newRow("not an ELF") << "notes.elf | 20 | file not found!! / readelf_variables: | 1";
        QTest::newRow("firmware") << TIDEWATCH_DEMO_ELF " | 1000 |  | 1";
    }
    void accept() {
        const QStringList f = Row::Fields();
        QFile notes(m_dir.filePath("notes.elf"));
        QVERIFY(notes.open(QIODevice::WriteOnly) && notes.write("not a program") > 0);
        notes.close();
        const QByteArray path = qgetenv("PATH");
        qputenv("PATH", m_dir.path().toLocal8Bit()); // no debug tools to start
        QDir::setCurrent(m_dir.path());
        VarParser parser;
        VarParser::SetInstance(&parser);
        QSignalSpy loaded(&parser, &VarParser::VarListCreate);
        ProjectDialog d;
        d.show();
        Get<QLineEdit>(d, "fileEdit")
            ->setText(f[0].isEmpty() || f[0].startsWith('/') ? f[0] : m_dir.filePath(f[0]));
        Get<QLineEdit>(d, "sampleInterval")->setText(f[1]);
        AnswerBox();
        d.accept();
        qputenv("PATH", path);
        QCOMPARE(m_shown.value(0).left(f[2].size()), f[2]);
        QCOMPARE(!d.isVisible(), f[3] == "1");
        QCOMPARE(CommonCfg::Record().interval, f[3] == "1" ? f[1] : QString());
        QCOMPARE(CommonCfg::Interval(), f[3] == "1" ? f[1].toInt() : 20);
        QCOMPARE(loaded.count(), f[2].isEmpty() ? 1 : 0);
    }

    // Every control takes focus from the Tab key and has a name for assistive tools.
    void keyboard() {
        ProjectDialog d;
        int controls = 0;
        QStringList unnamed;
        for (const QWidget* w : d.findChildren<QWidget*>())
            if ((w->focusPolicy() & Qt::TabFocus) && ++controls &&
                (w->accessibleName() + w->property("text").toString()).isEmpty())
                unnamed << w->objectName();
        QCOMPARE(unnamed, QStringList());
        QCOMPARE(controls, 11);
    }

    void popDialog() {
        MainWindowStandIn window;
        PopDialog pop(&window);
        pop.findChildren<QRadioButton*>().at(1)->setChecked(true);
        pop.accept();
        pop.findChildren<QRadioButton*>().at(0)->setChecked(true);
        pop.accept();
        QCOMPARE(window.calls, (QStringList{"new", "open", "new"}));
        QCOMPARE(pop.result(), int(QDialog::Accepted));
    }
};

QTEST_MAIN(ProjectDialogTest)
#include "tst_projectdialog.moc"
