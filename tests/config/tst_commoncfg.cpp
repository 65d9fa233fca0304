// The configuration store: choice lookups and their bad indices, failure texts, the log path and
// the time base.
#include "CommonCfg.h"
#include "Row.h"
#include "TimeBase.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QtTest>
#include <functional>
#include <unistd.h>

namespace {

const QString kServer = "Setup GDBserver Fail! Please check the connection between the debugger and the PC ,"
                        "and then restart Tidewatch!";
const QString kTarget = "Target connection Fail! Please check the connection between the debugger and the "
                        "target board, and then restart Tidewatch!";

// What `load` writes to standard output.
QString StdoutOf(const std::function<void()>& load) {
    QTemporaryFile capture;
    capture.open(); // standard output goes to this file for the time of the call
    std::fflush(stdout);
    const int saved = dup(1);
    dup2(capture.handle(), 1);
    load();
    std::fflush(stdout);
    dup2(saved, 1);
    close(saved);
    capture.seek(0);
    return QString::fromUtf8(capture.readAll());
}

} // namespace

class CommonCfgTest : public QObject {
    Q_OBJECT
private slots:
    void init() { CommonCfg::ResetForTests(); }

    // A lookup the dialogs make, with the index a user (or a loaded project) gives | result
    void lookups_data() {
        Row::Column();
        QTest::newRow("models of a maker in another case") << "devices corvane | 0";
        QTest::newRow("openocd probe") << "tool 0 | 1";
        QTest::newRow("simulator") << "tool 2 | 2";
        QTest::newRow("own board") << "tool 3 | 3";
        QTest::newRow("tool past the end") << "tool 4 | -1";
        QTest::newRow("negative tool") << "tool -1 | -1";
        QTest::newRow("JTAG") << "interface 1 | 1";
        QTest::newRow("interface past the end") << "interface 2 | -1";
    }
    void lookups() {
        const QStringList f = Row::Fields(), call = f[0].split(' ');
        const int result = call[0] == "tool"        ? CommonCfg::DebugToolFlag(call[1].toInt())
                           : call[0] == "interface" ? CommonCfg::DebugInterfaceFlag(call[1].toInt())
                                                    : CommonCfg::Devices(call[1]).size();
        QCOMPARE(result, f[1].toInt());
    }

    // list, index | accepted | speed or frame rate afterwards (2000 and 25 before)
    void setIndex_data() {
        Row::Column();
        QTest::newRow("last speed") << "speed 11 | 1 | 10000";
        QTest::newRow("speed past the end") << "speed 12 | 0 | 2000";
        QTest::newRow("negative speed") << "speed -1 | 0 | 2000";
        QTest::newRow("last frame rate") << "fps 10 | 1 | 60";
        QTest::newRow("frame rate past the end") << "fps 11 | 0 | 25";
        QTest::newRow("negative frame rate") << "fps -1 | 0 | 25";
    }
    void setIndex() {
        const QStringList f = Row::Fields();
        const bool speed = f[0].startsWith("speed");
        const int index = f[0].section(' ', 1).toInt();
        CommonCfg::SetConnectRate(2000);
        CommonCfg::SetFps(25);
        if (speed)
            QCOMPARE(CommonCfg::SetRateIndex(index), f[1] == "1");
        else
            CommonCfg::SetFpsIndex(index);
        QCOMPARE(speed ? CommonCfg::ConnectRate() : CommonCfg::Fps(), f[2].toInt());
    }

    // Failure code | text
    void errorText_data() {
        Row::Column();
        QTest::newRow("2 server") << "2 | " + kServer;
        QTest::newRow("3 debugger")
            << "3 | Debugger connection Fail! Please check the connection between the "
               "debugger and the PC ,and then restart Tidewatch!";
        QTest::newRow("4 target") << "4 | " + kTarget;
        QTest::newRow("int min") << "-2147483648 | Unkonw Error!";
    }
    void errorText() { QCOMPARE(CommonCfg::ErrorText(Row::Fields()[0].toInt()), Row::Fields()[1]); }

    // program folder (TMP: one that can be written) | log path (DATA: the user's data folder)
    void logPath_data() {
        Row::Column();
        QTest::newRow("no separator added") << "TMP | TMPlog.txt";
        QTest::newRow("folder with a slash") << "TMP/ | TMP/log.txt";
        QTest::newRow("folder not writable") << "/no such folder | DATA/log.txt";
    }
    void logPath() {
        QStandardPaths::setTestModeEnabled(true);
        const QString data = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
        const QStringList f =
            Row::Fields().replaceInStrings("TMP", QDir::tempPath()).replaceInStrings("DATA", data);
        CommonCfg::InitStartup(f[0]);
        QCOMPARE(CommonCfg::LogPath(), f[1]);
        QVERIFY(QFileInfo(f[1]).dir().exists());
    }

    // file text (none: no file) | output | record device, interval text | fps, interval, zoom index
    // afterwards (25, 50, 3 before)
    void loadProject_data() {
        Row::Column();
        QTest::newRow("no file") << "none | Can't Open project | old 50 | 25 50 3";
        QTest::newRow("syntax error") << "{\"device\": | Open Json Fail | old 50 | 25 50 3";
        QTest::newRow("array") << "[{}] | Incorrect file | old 50 | 25 50 3";
        QTest::newRow("known values")
            << R"({"device":"d","fps":"60","interval":"1000000","ZoomFactor":"10us/Div"} |  | d 1000000 | 60 1000000 0)";
        QTest::newRow("unknown fps and step, short interval")
            << R"({"device":"d","fps":"61","interval":"9","ZoomFactor":"3ms/Div"} | )"
               R"(Sampling interval "9" refused: give 10 to 1000000 us | d 9 | 25 50 -1)";
        QTest::newRow("no keys")
            << "{} | Sampling interval \"\" refused: give 10 to 1000000 us |  | 25 50 -1";
    }
    void loadProject() {
        const QStringList f = Row::Fields();
        QTemporaryDir dir;
        const QString path = dir.filePath("p.tidewatch");
        if (f[0] != "none") {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(f[0].toUtf8());
        }
        CommonCfg::SetRecord({"", "old", "", "", "", "50", ""});
        CommonCfg::SetFps(25);
        CommonCfg::SetInterval(50);
        CommonCfg::SetZoomIndex(3);
        // The two parse failures go to the debug log, the others to standard output.
        const bool debug = f[1].startsWith("Open") || f[1].startsWith("Incorrect");
        if (debug)
            QTest::ignoreMessage(QtDebugMsg, qPrintable(f[1]));
        const QString out = StdoutOf([&] { CommonCfg::LoadProject(path); });
        QCOMPARE(out.trimmed(), debug ? QString() : f[1]);
        QCOMPARE((CommonCfg::Record().device + " " + CommonCfg::Record().interval).trimmed(), f[2]);
        QCOMPARE(
            QString("%1 %2 %3").arg(CommonCfg::Fps()).arg(CommonCfg::Interval()).arg(CommonCfg::ZoomIndex()),
            f[3]);
    }

    // What one session saves the next one loads; "VarList" comes from the registered table's rows.
    void saveProject() {
        CommonCfg::SetRecord({"Corvane", "7425MQDTCA", "jlink", "JTAG", "8000", "100", "/fw/ä.elf"});
        CommonCfg::SetFps(40);
        CommonCfg::SetZoomIndex(-1);
        CommonCfg::SetMode(SamplingMode::Poll);
        const QVariantMap trigger{{"mode", "Single"}, {"source", "b"}, {"level", -2.5}, {"position", 25}};
        CommonCfg::SetTriggerChoices(trigger);
        CommonCfg::SetBoard({"/o/openocd", {"board.cfg", "/a b/c.cfg"}, true});
        QObject table;
        table.setProperty("projectRows", QVariantList{QVariantMap{{"rgb", QVariant::fromValue(0xff00ff00u)}},
                                                      QVariantMap{{"name", "b"}, {"rgb", "blue"}}});
        CommonCfg::SetVarTable(&table);
        QTemporaryDir dir;
        CommonCfg::SaveProject(dir.filePath("p"));
        QFile file(dir.filePath("p"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray text = file.readAll();
        // Indented, keys in alphabetical order, every value a string but the list and the trigger's choices.
        QVERIFY(text.startsWith("{\n    \"VarList\": [\n") && text.contains("\"ZoomFactor\": \"\",\n") &&
                text.contains("\"fps\": \"40\",\n"));
        QVERIFY(text.contains("\"color\": \"0xff00ff00\"") && text.contains("\"color\": \"Qt::red\""));
        CommonCfg::ResetForTests();
        CommonCfg::LoadProject(dir.filePath("p"));
        const ProjectRecord r = CommonCfg::Record();
        QCOMPARE(
            QStringList({r.manufacturer, r.device, r.debugTool, r.debugInterface, r.rate, r.elf}).join(','),
            QString("Corvane,7425MQDTCA,jlink,JTAG,8000,/fw/ä.elf"));
        QCOMPARE(
            QString("%1 %2 %3").arg(CommonCfg::Fps()).arg(CommonCfg::Interval()).arg(CommonCfg::ZoomIndex()),
            QString("40 100 -1"));
        QCOMPARE(SamplingModeName(CommonCfg::Mode()), QString("poll"));
        QCOMPARE(CommonCfg::TriggerChoices(), trigger);
        const BoardSettings board = CommonCfg::Board();
        QCOMPARE(QStringList{board.openocd} + board.configs << QString::number(board.attachOnly),
                 (QStringList{"/o/openocd", "board.cfg", "/a b/c.cfg", "1"}));
    }

    // zoom index | step in microseconds | label
    void timeBase_data() {
        Row::Column();
        QTest::newRow("first") << "0 | 10 | 10us/Div";
        QTest::newRow("default") << QString::number(CommonCfg::DefaultZoomIndex()) + " | 20000 | 20ms/Div";
        QTest::newRow("last") << "22 | 200000000 | 200s/Div";
        QTest::newRow("past the end") << "23 | 500000 | ";
        QTest::newRow("unknown step of a loaded project") << "-1 | 500000 | ";
    }
    void timeBase() {
        const QStringList f = Row::Fields();
        CommonCfg::SetZoomIndex(f[0].toInt());
        QCOMPARE(CommonCfg::CurrentStepValue(), f[1].toInt());
        QCOMPARE(CommonCfg::CurrentStepLabel(), f[2]);
        QCOMPARE(TimeBase::IndexOfLabel(f[2]), f[2].isEmpty() ? -1 : f[0].toInt());
    }
};

QTEST_GUILESS_MAIN(CommonCfgTest)
#include "tst_commoncfg.moc"
