// The debug-server launcher: command lines byte for byte; the launch through stand-in tools (arguments,
// input, log, reports, clean-up); the running check; end to end with tidewatch-sim and gdb-multiarch.
#include "CommandLines.h"
#include "CommonCfg.h"
#include "Platform.h"
#include "Row.h"
#include "TaskManage.h"

#include <QtNetwork>
#include <QtTest>
#include <csignal>

namespace {
const QString kServerFail =
    "Setup GDBserver Fail! Please check the connection between the debugger and the PC ,"
    "and then restart Tidewatch!";
}

class TaskManageTest : public QObject {
    Q_OBJECT
    QScopedPointer<QTemporaryDir> m_dir;
    QStringList m_reports;
    const QByteArray m_path = qgetenv("PATH"), m_home = qgetenv("HOME");
    // Stand-ins: a server notes its arguments and process id, then idles; gdb notes its arguments and input.
    const QString m_server =
        "#!/bin/sh\nprintf '%s\\n' \"$@\" > %1/server.args; echo $$ > %1/server.pid; exec /bin/sleep 600";
    const QString m_gdb = "#!/bin/sh\nprintf '%s\\n' \"$@\" > %1/gdb.args; exec /bin/cat > %1/gdb.stdin";

    QString At(const QString& name) const { return m_dir->filePath(name); }
    QString Read(const QString& name) const {
        QFile file(At(name));
        return file.open(QIODevice::ReadOnly) ? QString::fromLocal8Bit(file.readAll()) : "(none)";
    }
    // Writes an executable file; %1 in a script stands for the test folder.
    void Write(const QString& name, QString text) const {
        QDir().mkpath(QFileInfo(At(name)).path());
        QFile file(At(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(text.replace("%1", m_dir->path()).toLocal8Bit());
        file.setPermissions(file.permissions() | QFile::ExeOwner);
    }

private slots:
    void init() {
        CommonCfg::ResetForTests();
        m_dir.reset(new QTemporaryDir);
        m_reports.clear();
        TaskManage::SetReporter([this](const QString& text) { m_reports << text; });
        qputenv("PATH", At("bin").toLocal8Bit());
        qputenv("HOME", At("home").toLocal8Bit());
        Write("home/.quorinkit/settings.json", "{\"idePath\": \"/ide\"}");
        CommonCfg::InitStartup(m_dir->path() + "/");
        CommonCfg::SetElfPath(At("fw.elf"));
    }
    void cleanup() {
        TaskManage::EndDebugProcesses();
        qputenv("PATH", m_path);
        qputenv("HOME", m_home);
    }

    // tool | separator | path | IDE folder or file name | interface | the text, for the device D
    void commandLines_data() {
        Row::Column();
        QTest::newRow("J-Link, blank")
            << "jlink | \\ | C:\\P Q\\J.exe |  | jtag | \"C:\\P Q\\J.exe\" -singlerun -if jtag "
               "-select USB -device D -port 3333 -speed 4000";
        QTest::newRow("openocd")
            << "openocd | \\ | o.exe | C: | jtag | o.exe -c \"adapter speed 4000\" -s C:\\platforms"
               "\\platform-corvane\\scripts\\openocd\" -f interface\\cmsis-dap.cfg -f target\\D-jtag.cfg";
        QTest::newRow("openocd, blank") << "openocd | \\ | C:\\P Q\\o.exe | C: | swd | \"C:\\P Q\\o.exe\" -c "
                                           "\"adapter speed 4000\" -s \"C:"
                                           "\\platforms\\platform-corvane\\scripts\\openocd\" -f "
                                           "interface\\cmsis-dap.cfg -f target\\D-swd.cfg";
        QTest::newRow("beside") << "beside | \\ | C:/x/y/bin | o.exe |  | C:\\x\\y\\qx_openocd\\bin\\o.exe";
    }
    void commandLines() {
        const QStringList f = Row::Fields();
        const LaunchFields fields{"D", f[4]};
        QCOMPARE(f[0] == "jlink"     ? JLinkCommand(f[2], fields)
                 : f[0] == "openocd" ? OpenocdCommand(f[2], f[3], fields, f[1][0])
                                     : OpenocdBesideProgram(f[2], f[1][0], f[3]),
                 f[5]);
    }

    // tool, JTAG flags | openocd given | stand-ins on the path | server arguments | gdb's input | reports
    void launch_data() {
        Row::Column();
        const QString openocd = "-c,adapter speed 4000,-s,/ide/platforms/platform-corvane/scripts/openocd";
        const QString jlink = "-singlerun,-if,swd,-select,USB,-device,7425MQDTCA,-port,3333,-speed,4000";
        QTest::newRow("J-Link")
            << "0 0 | - | gdb JLinkGDBServerCLExe | " + jlink +
                   " | target remote localhost:3333;monitor reset;set var $pc=0x03000004;monitor go;c | ";
        QTest::newRow("J-Link, no gdb")
            << "0 0 | - | JLinkGDBServerCLExe | " + jlink + " |  | riscv32-unknown-elf-gdb not found!!";
        // The unpaired quote after the script folder takes the rest of the line into one argument.
        QTest::newRow("openocd on the search path")
            << "1 0 | none | gdb openocd | " + openocd +
                   " -f interface/cmsis-dap.cfg -f target/7425MQDTCA-swd.cfg | "
                   "target remote localhost:3333;monitor reset halt;continue | ";
        QTest::newRow("openocd given, blank, no gdb")
            << "1 1 | open ocd/openocd |  | " + openocd +
                   ",-f,interface/cmsis-dap.cfg,-f,target/7425MQDTCA-jtag.cfg"
                   " |  | riscv32-unknown-elf-gdb not found!!";
        QTest::newRow("no tools")
            << "0 0 | - |  |  |  | riscv32-unknown-elf-gdb not found!!;JLink is not found, "
               "please add the path to system path!";
        QTest::newRow("no openocd")
            << "1 0 | none | gdb |  |  | openocd is not found, please add the openocd to IDE path!";
        QTest::newRow("log cannot be opened") << "1 0 | nolog | gdb openocd |  |  | ";
    }
    void launch() {
        const QStringList f = Row::Fields();
        CommonCfg::SetOpenocdProbe(f[0].section(' ', 0, 0).toInt());
        CommonCfg::SetJtag(f[0].section(' ', 1, 1).toInt());
        for (const QString& name : f[2].split(' ', Qt::SkipEmptyParts))
            Write("bin/" + (name == "gdb" ? "riscv32-unknown-elf-gdb" : name),
                  name == "gdb" ? m_gdb : m_server);
        Write("open ocd/openocd", m_server);
        if (f[1] == "nolog") // a folder where the log file should be
            QDir().mkpath(At("log.txt"));
        QProcess bystander; // the program the stand-in servers become, not started by the launcher
        bystander.start("/bin/sleep", {"600"});
        QVERIFY(bystander.waitForStarted());

        TaskManage launcher; // as the project dialog launches
        launcher.FindTools();
        launcher.LocateGdb();
        launcher.Launch(At(f[1]));
        QCOMPARE(m_reports.join(';'), f[5]);
        QTRY_COMPARE(Read("server.args"), f[3].isEmpty() ? "(none)" : f[3].split(',').join('\n') + '\n');
        QTRY_COMPARE(Read("gdb.stdin"), f[4].isEmpty() ? "(none)" : f[4].split(';').join("\r\n") + "\r\n");
        QCOMPARE(Read("gdb.args"), f[4].isEmpty() ? "(none)" : At("fw.elf") + '\n');
        const bool logged = f[0].startsWith('1') && !f[3].isEmpty();
        QCOMPARE(Read("log.txt"),
                 logged ? "openocd info: \n" + QString(f[4].isEmpty() ? "" : "gdb info: \n") : "(none)");

        // A server that dies takes its gdb along: no gdb is left that the next launch takes for a server.
        const QString server = Read("server.pid").trimmed();
        if (!f[4].isEmpty()) {
            ::kill(server.toInt(), SIGKILL);
            QTRY_COMPARE(TaskManage::Started().last()->state(), QProcess::NotRunning);
        }
        // The clean-up ends what the launcher started, and only that.
        TaskManage::EndDebugProcesses();
        QVERIFY(!QFileInfo::exists("/proc/" + server));
        QCOMPARE(bystander.state(), QProcess::Running);
        bystander.kill();
        bystander.waitForFinished();
    }

    // A config file's text | line of its top-level init (0: none)
    void configInit_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("line");
        QTest::newRow("top level") << "adapter speed 1000\n  init  \nreset" << 2;
        QTest::newRow("after a semicolon") << "transport select jtag; init" << 1;
        QTest::newRow("after a procedure") << "proc go {} {\n  init\n}\ninit" << 4;
        QTest::newRow("inside a procedure only") << "proc go {} {\n  init\n}" << 0;
        QTest::newRow("comment, other commands") << "# init\ninit_reset\nreset init" << 0;
    }
    void configInit() {
        QFETCH(QString, text);
        QFETCH(int, line);
        QCOMPARE(ConfigInitLine(text), line);
    }

    // What openocd printed before it ended | what the user is told
    void failureLine_data() {
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<QString>("line");
        QTest::newRow("no probe") << QByteArray(
                                         "Info : x\nError: unable to find a matching CMSIS-DAP device\n\n")
                                  << "Error: unable to find a matching CMSIS-DAP device";
        QTest::newRow("bad config")
            << QByteArray("d.cfg:1: Error: invalid command name \"foo\"\nin procedure 'script' \n")
            << "d.cfg:1: Error: invalid command name \"foo\"";
        QTest::newRow("init in a sourced config")
            << QByteArray("-gdb-max-connections must be configured before 'init'\nError: Unsupported DTM "
                          "version: 15\n")
            << "A board config calls init itself; remove it, Tidewatch calls init after its own settings.";
        QTest::newRow("no error line") << QByteArray("Info : a\r\nKilled\r\n") << "Killed";
    }
    void failureLine() {
        QFETCH(QByteArray, output);
        QFETCH(QString, line);
        QCOMPARE(OpenocdFailureLine(output), line);
    }

    // The user's board through a stand-in openocd that prints what openocd would and serves on or ends.
    // Config file | attach only | openocd's words | serves | gdb's input | report
    void launchBoard_data() {
        QTest::addColumn<QString>("config");
        QTest::addColumn<bool>("attachOnly");
        QTest::addColumn<QString>("said");
        QTest::addColumn<bool>("serves");
        QTest::addColumn<QString>("gdbInput");
        QTest::addColumn<QString>("report");
        const QString listening = "Info : Listening on port 3333 for gdb connections\n";
        QTest::newRow("reset and run") << "adapter speed 1000" << false << listening << true
                                       << "target remote localhost:3333\r\nmonitor reset halt\r\ncontinue\r\n"
                                       << "";
        QTest::newRow("attach only") << "" << true << listening << true << ""
                                     << "";
        QTest::newRow("no probe") << "" << false << "Error: unable to find a matching CMSIS-DAP device\n"
                                  << false << ""
                                  << "openocd: Error: unable to find a matching CMSIS-DAP device";
        QTest::newRow("config calls init")
            << "source other.cfg\ninit" << false << listening << true << ""
            << "%1/board.cfg calls init on line 2. Board configs must not call "
               "init: Tidewatch adds its settings and then calls init itself.";
    }
    void launchBoard() {
        QFETCH(QString, config);
        QFETCH(bool, attachOnly);
        QFETCH(QString, said);
        QFETCH(bool, serves);
        QFETCH(QString, gdbInput);
        QFETCH(QString, report);
        Write("board.cfg", config);
        Write("bin/openocd", "#!/bin/sh\nprintf '%s\\n' \"$@\" > %1/server.args\nprintf '" + said +
                                 "' >&2\necho 'Info : later' >&2\n" +
                                 (serves ? "exec /bin/sleep 600" : "exit 1"));
        Write("bin/riscv32-unknown-elf-gdb", m_gdb);
        CommonCfg::SetOpenocdProbe(3);
        CommonCfg::SetBoard({"", {At("board.cfg")}, attachOnly});
        TaskManage launcher;
        launcher.FindTools();
        launcher.LocateGdb();
        launcher.Launch(At("unused"));
        const bool init = config.contains("init");
        report.replace("%1", m_dir->path());
        QCOMPARE(m_reports.join(';'), serves ? report : kServerFail + "\n" + report);
        QCOMPARE(TaskManage::ServerFailure(), report);
        QTRY_COMPARE(Read("gdb.stdin"), gdbInput.isEmpty() ? "(none)" : gdbInput);
        QCOMPARE(Read("server.args"), init ? "(none)"
                                           : "-f\n" + At("board.cfg") +
                                                 "\n-c\ngdb_port 3333\n-c\n"
                                                 "foreach t [target names] { $t configure "
                                                 "-gdb-max-connections 2 -event gdb-attach {# Tidewatch: "
                                                 "no halt}; if {[$t cget -type] eq {riscv}} { targets $t; "
                                                 "riscv set_mem_access sysbus progbuf "
                                                 "abstract } }\n-c\ninit\n");
        if (!init) // what openocd says goes to the log, also after the start
            QTRY_VERIFY(Read("log.txt").startsWith("openocd info: " + said) &&
                        Read("log.txt").contains("Info : later"));
        TaskManage::EndDebugProcesses();
    }

    // program running | name looked for | found
    void running_data() {
        Row::Column();
        QTest::newRow("short name") << "tw-standin | tw-standin | 1";
        QTest::newRow("past the kernel's 15 characters") << "tw-standin-of-gdb | tw-standin-of-gdb | 1";
        QTest::newRow("only the first 15 characters alike") << "tw-standin-of-gdb | tw-standin-of-gcc | 0";
    }
    void running() {
        const QStringList f = Row::Fields();
        Write("bin/" + f[0], "#!/bin/sh\nread line"); // a shell waiting on its input stays the script itself
        QProcess process;
        process.start(At("bin/" + f[0]), QStringList());
        QVERIFY(process.waitForStarted());
        QCOMPARE(Platform::IsImageRunning(f[1]), f[2] == "1");
        process.kill();
        process.waitForFinished();
    }

    // tool flag | server | file | what shows there: tidewatch-sim behind a stand-in server, or found itself.
    void endToEnd_data() {
        Row::Column();
        QTest::newRow("J-Link") << "0 | bin/JLinkGDBServerCLExe | sim.err | client 1 connected";
        QTest::newRow("openocd") << "1 | bin/openocd | sim.err | client 1 connected";
        QTest::newRow("simulator")
            << "2 | unused | log.txt | tidewatch-sim info: tidewatch-sim: listening on 127.0.0.1:3333\n";
    }
    void endToEnd() {
        const QStringList f = Row::Fields();
        qputenv("PATH", At("bin").toLocal8Bit() + ':' + m_path);
        if (QStandardPaths::findExecutable("gdb-multiarch").isEmpty() || TaskManage::ServerAnswers(3333))
            QSKIP("needs gdb-multiarch (scripts/install-deps.sh) and 127.0.0.1:3333 free");
        Write(f[1],
              "#!/bin/sh\nexec '" TIDEWATCH_SIM_BIN "' --port 3333 '" TIDEWATCH_DEMO_ELF "' 2> %1/sim.err");
        CommonCfg::SetOpenocdProbe(f[0].toInt());
        CommonCfg::SetElfPath(TIDEWATCH_DEMO_ELF);

        TaskManage launcher; // as the project dialog launches
        launcher.FindTools();
        launcher.LocateGdb();
        launcher.Launch(At(f[1]));
        QTRY_VERIFY_WITH_TIMEOUT(Read(f[2]).contains(f[3]), 20000);
        QVERIFY(launcher.IsRunning());
        QVERIFY(!Read("sim.err").contains("client 1 disconnected")); // gdb stays on, the target running
        QCOMPARE(m_reports, QStringList());
        TaskManage::EndDebugProcesses();
        QVERIFY(!TaskManage::ServerAnswers(3333));
    }
};

QTEST_GUILESS_MAIN(TaskManageTest)
#include "tst_taskmanage.moc"
