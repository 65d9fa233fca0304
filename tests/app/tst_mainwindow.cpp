// The whole workflow in real windows by input events, against the simulator the launcher starts: project
// dialog, extractor, selection, Start, curves and values, a write, Stop, scroll, files, Stop/Start, exit;
// and once through stock openocd as the own-board tool.
#include "ChartWidget.h"
#include "CommandLineConfig.h"
#include "CommonCfg.h"
#include "DataSource.h"
#include "MainWindow.h"
#include "PopDialog.h"
#include "ProjectDialog.h"
#include "Row.h"
#include "SamplingModeView.h"
#include "ScreenShot.h"
#include "SelectSymbolsDlg.h"
#include "SimChild.h"
#include "TableDockWidget.h"
#include "TaskManage.h"
#include "ValueLineEdit.h"
#include "VarChartView.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRandomGenerator>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QToolBar>
#include <QTreeWidget>
#include <QtCharts/QLineSeries>
#include <QtCharts/QValueAxis>
#include <QtTest>
#include <functional>

namespace {
const QStringList kWatched = {"amplitude", "follower", "loop_counter"};

void Click(QWidget* widget) {
    QVERIFY(widget != nullptr && widget->isEnabled());
    QTest::mouseClick(widget, Qt::LeftButton);
}

// Whether a pixel of the picture inside the widget's area passes the test.
bool AnyPixel(const QImage& image, QWidget* window, QWidget* widget,
              const std::function<bool(QColor)>& test) {
    const QRect area = QRect(widget->mapTo(window, QPoint(0, 0)), widget->size()).intersected(image.rect());
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            if (test(image.pixelColor(x, y)))
                return true;
    return false;
}

// Answers the next file dialog with this file name, once it shows.
void AnswerFileDialog(const QString& path) {
    auto* poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, [poll, path] {
        for (QWidget* widget : QApplication::topLevelWidgets())
            if (auto* dialog = qobject_cast<QFileDialog*>(widget); dialog != nullptr && dialog->isVisible()) {
                poll->deleteLater();
                auto* name = dialog->findChild<QLineEdit*>("fileNameEdit");
                name->setText(path);
                QTest::keyClick(name, Qt::Key_Return);
                return;
            }
    });
    poll->start(50);
}
} // namespace

class MainWindowTest : public QObject {
    Q_OBJECT
    MainWindow* m_window = nullptr;

    QWidget* ToolButton(QAction* action) const {
        return m_window->findChild<QToolBar*>("toolBar")->widgetForAction(action);
    }
    // The newest value drawn for a row: 0 amplitude, 1 follower, 2 loop_counter.
    double Newest(int row) const {
        const QVector<QPointF> points = m_window->Chart()->GetDataSource()->Points().value(row);
        return points.isEmpty() ? qQNaN() : points.last().y();
    }

    // The main window with the project dialog at start: the debug tool chosen by the keyboard (keysUp from
    // the last one), the ELF file, the interval and any board config files typed, OK pressed, and the watched
    // variables ticked in the selection dialog that comes up inside OK.
    void SetUpProject(int keysUp, const QString& toolName, const QString& configs) {
        CommonCfg::ResetForTests();
        CommonCfg::InitStartup(QCoreApplication::applicationDirPath());
        QFile::remove(CommonCfg::AutosavePath());
        m_window = new MainWindow;
        m_window->show();
        if (qEnvironmentVariableIsSet("TIDEWATCH_SANITIZED")) // the software-drawn curves cost a sanitized
            m_window->FpsBox()->setCurrentText("2");          // build most of its time: two a second
        PopDialog pop(m_window);                              // opens the project dialog, as at start
        ProjectDialog* project = m_window->GetProjectDialog();
        QVERIFY(QTest::qWaitForWindowExposed(project));
        auto* tool = project->findChild<QComboBox*>("dbgToolCBox");
        tool->setFocus();
        QTest::keyClick(tool, Qt::Key_End);
        for (int i = 0; i < keysUp; ++i)
            QTest::keyClick(tool, Qt::Key_Up);
        QCOMPARE(tool->currentText(), toolName);
        for (const auto& [name, text] : {std::pair{"fileEdit", QString(TIDEWATCH_DEMO_ELF)},
                                         {"sampleInterval", "1000"},
                                         {"boardConfigEdit", configs}}) {
            auto* edit = project->findChild<QLineEdit*>(name);
            edit->selectAll();
            QTest::keyClicks(edit, text);
        }
        // OK is pressed again on every tick until the selection dialog has gone, so a slow machine cannot
        // lose it.
        QTimer ticker;
        bool ticked = false;
        connect(&ticker, &QTimer::timeout, [this, &ticked] {
            SelectSymbolsDlg* symbols = m_window->SymbolsDialog();
            if (!symbols->isVisible() || !QTest::qWaitForWindowExposed(symbols))
                return;
            for (QTreeWidgetItemIterator it(symbols->Tree()); !ticked && *it != nullptr; ++it)
                if (kWatched.contains((*it)->text(0))) {
                    QWidget* box = symbols->Tree()->itemWidget(*it, symbols->Tree()->columnCount() - 1);
                    box->setFocus();
                    QTest::keyClick(box, Qt::Key_Space);
                }
            if (!ticked)
                ScreenShot::Save(symbols, "workflow-1-symbols");
            ticked = true;
            Click(symbols->ButtonBox()->button(QDialogButtonBox::Ok));
        });
        ticker.start(50);
        Click(project->findChild<QDialogButtonBox*>("buttonBox")->button(QDialogButtonBox::Ok));
        ticker.stop();
        QCOMPARE(m_window->Table()->LineItems().size(), kWatched.size());
    }
    // Types the value into the first row's (amplitude's) value cell and presses Return.
    ValueLineEdit* TypeAmplitude(const QString& value) {
        ValueLineEdit* amplitude = m_window->Table()->LineItems()[0]->valueEdit;
        Click(amplitude);
        amplitude->selectAll();
        QTest::keyClicks(amplitude, value);
        return amplitude;
    }

private slots:
    // File dialogs as widgets the test can answer, whatever platform theme the machine has.
    void initTestCase() { QApplication::setAttribute(Qt::AA_DontUseNativeDialogs); }
    // Also on a failure: the window's end stops the simulator its launcher started.
    void cleanup() {
        delete m_window;
        m_window = nullptr;
    }

    // The "c" value | the store afterwards: manufacturer, device, tool flag, JTAG flag, speed, ELF ("-":
    // refused)
    void commandLine_data() {
        Row::Column();
        QTest::newRow("Corvane is not corvane")
            << "Corvane X my-jlink SWD 12x /a.elf | Pellonar X 0 0 0 /a.elf";
        QTest::newRow("openocd, JTAG") << "corvane X openocd jtag 1000 /a.elf | Corvane X 1 1 1000 /a.elf";
        QTest::newRow("simulator") << "corvane X tidewatch-sim swd 4000 /a.elf | Corvane X 2 0 4000 /a.elf";
        QTest::newRow("own board") << "corvane X openocd-board swd 4000 /a.elf | Corvane X 3 0 4000 /a.elf";
        QTest::newRow("empty field kept") << "corvane  jlink swd 4000 /a.elf | Corvane  0 0 4000 /a.elf";
        QTest::newRow("five fields refused") << "corvane X jlink swd 4000 | -";
    }
    void commandLine() {
        CommonCfg::ResetForTests();
        const QStringList f = Row::Fields();
        QString message;
        QCOMPARE(ApplyCommandLineConfig({f[0], "second value ignored"}, &message), f[1] != "-");
        QCOMPARE(CommonCfg::OptionsMode(), f[1] != "-");
        if (f[1] == "-") {
            QVERIFY(message.contains("six fields") && CommonCfg::ElfPath().isEmpty());
            return;
        }
        QCOMPARE(QString("%1 %2 %3 %4 %5 %6")
                     .arg(CommonCfg::Manufacturer(), CommonCfg::Device())
                     .arg(CommonCfg::IsOpenocdProbe())
                     .arg(CommonCfg::IsJtag())
                     .arg(CommonCfg::ConnectRate())
                     .arg(CommonCfg::ElfPath()),
                 f[1]);
        QCOMPARE(CommonCfg::Record().debugTool, f[0].section(' ', 2, 2));
    }

    void workflow() {
        if (QStandardPaths::findExecutable("qemu-system-riscv32").isEmpty() ||
            TaskManage::ServerAnswers(3333))
            QSKIP("needs qemu-system-riscv32 and a free port 3333");
        const bool sanitized = qEnvironmentVariableIsSet("TIDEWATCH_SANITIZED");
        QTemporaryDir dir;
        SetUpProject(1, "Simulator (tidewatch-sim)", ""); // the simulator is the last tool but one
        QVERIFY(!QTest::currentTestFailed());
        Click(ToolButton(m_window->StartAction()));
        QTRY_VERIFY_WITH_TIMEOUT(Newest(2) > 0 && Newest(0) == 1000, 20000);
        QTRY_VERIFY_WITH_TIMEOUT(!m_window->Table()->LineItems()[0]->valueEdit->text().isEmpty() &&
                                     m_window->Chart()->FpsLabel()->text().startsWith("FPS: "),
                                 10000);
        // Mid-edit: the picture shows every row's colour as a curve and only the edited cell framed in blue.
        QCOMPARE(m_window->Table()->LineItems()[0]->varDes->name, QString("amplitude"));
        ValueLineEdit* amplitude = TypeAmplitude("2500");
        const QImage live = ScreenShot::Save(m_window, "workflow-2-live");
        // Each row's swatch in its colour, the counter's curve on top of the others in its colour too.
        for (const VarTableWidget::LineItem* row : m_window->Table()->LineItems()) {
            const QColor colour = QColor::fromRgb(row->colorLabel->property("rgb").toUInt());
            const auto same = [&](QColor c) { return c == colour; };
            QVERIFY(AnyPixel(live, m_window, row->colorLabel, same));
            if (row == m_window->Table()->LineItems().last()) // the counter, drawn last
                QVERIFY(AnyPixel(live, m_window, m_window->Chart()->View(), same));
            const bool framed = AnyPixel(live, m_window, row->valueEdit, [](QColor c) {
                return c.blue() > 200 && c.red() < 60 && c.green() < 60;
            });
            QCOMPARE(framed, row->valueEdit == amplitude);
        }
        QTest::keyClick(amplitude, Qt::Key_Return);
        QTRY_COMPARE_WITH_TIMEOUT(Newest(0), 2500.0, 10000);
        Click(ToolButton(m_window->StopAction()));
        QVERIFY(m_window->StartAction()->isEnabled() && !m_window->StopAction()->isEnabled());

        // Scrolling back over what the queue kept.
        QScrollBar* scroll = m_window->Chart()->ScrollBar();
        QTRY_VERIFY(scroll->isVisible() && scroll->maximum() > scroll->minimum());
        scroll->setFocus();
        QTest::keyClick(scroll, Qt::Key_Home);
        QCOMPARE(qint64(m_window->Chart()->AxisX()->min()), qint64(scroll->minimum()));
        ScreenShot::Save(m_window, "workflow-3-scrolled");
        QTest::mouseMove(m_window->Chart()->View(), QPoint(300, 300)); // the cursor line follows the mouse
        QTRY_VERIFY(m_window->Chart()->CursorLine()->isVisible());
        const QString data = dir.filePath("data.csv"); // Save Data writes what the ring holds
        AnswerFileDialog(data);
        QMetaObject::invokeMethod(m_window, "SaveData");
        QFile csv(data);
        QVERIFY(csv.open(QIODevice::ReadOnly) && csv.readLine() == "time,amplitude,follower,loop_counter\n");
        QVERIFY(csv.readAll().count('\n') > 100);

        const QString saved = dir.filePath("p.tidewatch");
        AnswerFileDialog(saved);
        QMetaObject::invokeMethod(m_window, "SaveAs");
        const int zoom = m_window->ZoomBox()->currentIndex();
        m_window->ZoomBox()->setCurrentIndex(zoom + 2);
        AnswerFileDialog(saved);
        QMetaObject::invokeMethod(m_window, "OpenProject");
        QCOMPARE(m_window->ZoomBox()->currentIndex(), zoom);
        QFile file(saved); // the rows are listed in the file, and opening it leaves them alone
        QVERIFY(file.open(QIODevice::ReadOnly) && file.readAll().contains(R"("name": "loop_counter")"));
        QCOMPARE(m_window->Table()->LineItems().size(), kWatched.size());
        // Closing the table's dock unticks " Table "; ticking it shows the dock again.
        Click(m_window->Dock()->findChild<QAbstractButton*>("qt_dockwidget_closebutton"));
        QVERIFY(!m_window->TableBox()->isChecked() && !m_window->Dock()->isVisible());
        m_window->TableBox()->click();
        QVERIFY(m_window->Dock()->isVisible());

        // Polling chosen in the Sampling menu: the status bar shows it with its rate; the cycles below poll.
        for (QAction* action : m_window->findChildren<QAction*>())
            if (action->text() == "&Polling only")
                action->trigger();
        Click(ToolButton(m_window->StartAction()));
        const QLabel* mode = m_window->findChild<SamplingModeLabel*>();
        QTRY_VERIFY_WITH_TIMEOUT(
            QRegularExpression("^Polling: [1-9]\\d* frames/s$").match(mode->text()).hasMatch(), 5000);
        ScreenShot::Save(m_window, "workflow-4-polling");
        Click(ToolButton(m_window->StopAction()));

        // Stop/Start at random moments through the buttons: each answers within a second. Under a sanitizer
        // the simulator and the software-drawn curves are slow: three cycles, two seconds.
        const qint64 limit = sanitized ? 2000 : 1000;
        QRandomGenerator rng(20261123);
        for (int cycle = 0; cycle < (sanitized ? 3 : 20); ++cycle) {
            QElapsedTimer clock;
            clock.start();
            Click(ToolButton(m_window->StartAction()));
            QVERIFY(!m_window->StartAction()->isEnabled() && !m_window->NewAction()->isEnabled());
            const qint64 start = clock.restart();
            QTest::qWait(rng.bounded(300)); // a random moment into the run, not a wait for an event
            clock.restart();
            Click(ToolButton(m_window->StopAction()));
            QVERIFY2(
                start < limit && clock.elapsed() < limit,
                qPrintable(QString("cycle %1: %2 ms, %3 ms").arg(cycle).arg(start).arg(clock.elapsed())));
            QVERIFY(m_window->StartAction()->isEnabled());
        }
        cleanup();
        QVERIFY(QFile::exists(CommonCfg::AutosavePath()));
        QTRY_VERIFY_WITH_TIMEOUT(!TaskManage::ServerAnswers(3333), 5000); // its simulator ended with it
    }

    // Once through stock openocd as "openocd (your board)", the simulator's JTAG port as the board with a
    // plain board config (no second connection, halt on attach, no system bus: the launcher adds them). The
    // launcher starts openocd and gdb (reset, run); Start polls; a write lands.
    void workflowOwnBoard() {
        if (QStandardPaths::findExecutable("qemu-system-riscv32").isEmpty() ||
            QStandardPaths::findExecutable("openocd").isEmpty() || TaskManage::ServerAnswers(3333))
            QSKIP("needs qemu-system-riscv32, openocd and a free port 3333");
        Sim::SimChild sim;
        QVERIFY2(sim.Start(TIDEWATCH_SIM_BIN, {TIDEWATCH_DEMO_ELF, "--jtag-port", "0"}),
                 sim.Output().constData());
        QTemporaryDir dir;
        QFile board(dir.filePath("board.cfg"));
        QVERIFY(board.open(QIODevice::WriteOnly));
        board.write(
            "adapter driver remote_bitbang\njtag newtap board cpu -irlen 5\n"
            "target create board.cpu riscv -chain-position board.cpu\nremote_bitbang port " +
            QRegularExpression("JTAG.* on 127.0.0.1:(\\d+)").match(sim.Output()).captured(1).toLatin1());
        board.close();
        CommonCfg::InitStartup(QCoreApplication::applicationDirPath());
        const qint64 logged = QFileInfo(CommonCfg::LogPath()).size(); // what this run adds to log.txt
        const auto log = [logged] {
            QFile file(CommonCfg::LogPath());
            return file.open(QIODevice::ReadOnly) && file.seek(logged) ? file.readAll() : QByteArray();
        };
        SetUpProject(0, "openocd (your board)", board.fileName());
        QVERIFY(!QTest::currentTestFailed());
        // openocd serves, and gdb has reset the board (openocd finds the chain once more), before Start.
        QTRY_VERIFY_WITH_TIMEOUT(log().count("JTAG tap") == 2, 20000);
        Click(ToolButton(m_window->StartAction()));
        QTRY_VERIFY_WITH_TIMEOUT(Newest(2) > 0 && Newest(0) == 1000, 20000);
        const double first = Newest(2);
        QTRY_VERIFY_WITH_TIMEOUT(Newest(2) > first + 100, 10000); // the counter rises
        QTest::keyClick(TypeAmplitude("2500"), Qt::Key_Return);
        QTRY_COMPARE_WITH_TIMEOUT(Newest(0), 2500.0, 10000);
        QTRY_VERIFY(m_window->findChild<SamplingModeLabel*>()->text().startsWith("Polling: "));
        ScreenShot::Save(m_window, "workflow-5-own-board");
        Click(ToolButton(m_window->StopAction()));
        QVERIFY(
            log().contains("GDB connection 2 on target board.cpu not halted")); // gdb and Tidewatch at once
        cleanup();
        QTRY_VERIFY_WITH_TIMEOUT(!TaskManage::ServerAnswers(3333), 5000); // openocd ended with the window
    }
};

QTEST_MAIN(MainWindowTest)
#include "tst_mainwindow.moc"
