// The debug-server launcher: command lines byte for byte; the launch through stand-in tools on a
// temporary search path (their arguments and standard input, the log, the reports, the clean-up); the
// running check; and the launch end to end with tidewatch-sim and a real gdb-multiarch.
#include "CommandLines.h"
#include "CommonCfg.h"
#include "Platform.h"
#include "Row.h"
#include "TaskManage.h"

#include <QStandardPaths>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QtTest>

class TaskManageTest : public QObject {
    Q_OBJECT
    QTemporaryDir* m_dir = nullptr;
    QStringList m_reports;
    const QByteArray m_path = qgetenv("PATH"), m_home = qgetenv("HOME");

    QString At(const QString& name) const { return m_dir->filePath(name); }
    QString Read(const QString& name) const {
        QFile file(At(name));
        return file.open(QIODevice::ReadOnly) ? QString::fromLocal8Bit(file.readAll()) : "(none)";
    }
    void Write(const QString& name, const QString& text, bool script = false) const {
        QDir().mkpath(QFileInfo(At(name)).path());
        QFile file(At(name));
        file.open(QIODevice::WriteOnly);
        file.write(text.toLocal8Bit());
        if (script)
            file.setPermissions(file.permissions() | QFile::ExeOwner);
    }
    // A shell script; %1 in its body is the test folder.
    void Script(const QString& name, const QString& body) const {
        Write(name, "#!/bin/sh\n" + (body.contains("%1") ? body.arg(m_dir->path()) : body), true);
    }
    // Notes its arguments and process id, then idles.
    void StandInServer(const QString& name) const {
        Script(name, "printf '%s\\n' \"$@\" > %1/server.args; echo $$ > %1/server.pid; exec /bin/sleep 600");
    }

private slots:
    void init() {
        CommonCfg::ResetForTests();
        m_dir = new QTemporaryDir;
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
        TaskManage::SetReporter({});
        qputenv("PATH", m_path);
        qputenv("HOME", m_home);
        delete m_dir;
    }

    // tool, separator, path (may hold blanks), IDE folder or file name, interface | the text
    void commandLines_data() {
        Row::Column();
        QTest::newRow("J-Link, blank")
            << "jlink \\ C:\\Program Files\\SEGGER\\JLinkGDBServerCL.exe  jtag | "
               "\"C:\\Program Files\\SEGGER\\JLinkGDBServerCL.exe\" -singlerun -if "
               "jtag -select USB -device 7425MQDTCA -port 3333 -speed 4000";
        QTest::newRow("openocd") << "openocd \\ openocd.exe C:\\IDE jtag | openocd.exe -c \"adapter speed "
                                    "4000\" -s C:\\IDE\\platforms\\platform-corvane\\scripts\\openocd\" -f "
                                    "interface\\cmsis-dap.cfg -f target\\7425MQDTCA-jtag.cfg";
        QTest::newRow("openocd, blank")
            << "openocd \\ C:\\Program Files\\qx\\openocd.exe C:\\IDE swd | \"C:\\"
               "Program Files\\qx\\openocd.exe\" -c \"adapter speed 4000\" -s \"C:\\"
               "IDE\\platforms\\platform-corvane\\scripts\\openocd\" -f interface\\"
               "cmsis-dap.cfg -f target\\7425MQDTCA-swd.cfg";
        QTest::newRow("openocd beside")
            << "beside \\ C:/x/y/bin openocd.exe  | C:\\x\\y\\qx_openocd\\bin\\openocd.exe";
        QTest::newRow("openocd beside, Linux")
            << "beside / /opt/tw/bin openocd  | /opt/tw/qx_openocd/bin/openocd";
    }
    void commandLines() {
        const QStringList f = Row::Fields();
        QStringList words = f[0].split(' ');
        const QString tool = words.takeFirst(), sep = words.takeFirst();
        LaunchFields fields;
        fields.interface = words.takeLast();
        const QString ide = words.takeLast(), path = words.join(' ');
        QCOMPARE(tool == "jlink"     ? JLinkCommand(path, fields)
                 : tool == "openocd" ? OpenocdCommand(path, ide, fields, sep[0])
                                     : OpenocdBesideProgram(path, sep[0], ide),
                 f[1]);
    }

    // tool and JTAG flags | openocd given | stand-ins on the search path | server arguments | gdb's
    // standard input | reports
    void launch_data() {
        Row::Column();
        const QString jlink =
            "-singlerun,-if,swd,-select,USB,-device,7425MQDTCA,-port,3333,-speed,4000 | target "
            "remote localhost:3333;monitor reset;set var $pc=0x03000004;monitor go;c | ";
        const QString openocd = "-c,adapter speed 4000,-s,/ide/platforms/platform-corvane/scripts/openocd";
        const QString openocdGdb = " | target remote localhost:3333;monitor reset halt;continue | ";
        QTest::newRow("J-Link") << "0 0 | - | gdb jlink | " + jlink;
        // The unpaired quote after the script folder takes the rest of the line into one argument.
        const QString unpaired = " -f interface/cmsis-dap.cfg -f target/7425MQDTCA-swd.cfg" + openocdGdb;
        QTest::newRow("openocd") << "1 0 | bin/openocd | gdb openocd | " + openocd + unpaired;
        QTest::newRow("openocd, blank") << "1 1 | open ocd/openocd | gdb | " + openocd +
                                               ",-f,interface/cmsis-dap.cfg,-f,target/7425MQDTCA-jtag.cfg" +
                                               openocdGdb;
        QTest::newRow("openocd on the search path")
            << "1 0 | none/openocd | gdb openocd | " + openocd + unpaired;
        QTest::newRow("no J-Link server")
            << "0 0 | - | gdb |  |  | JLink is not found, please add the path to system path!";
        QTest::newRow("no openocd")
            << "1 0 | none | gdb |  |  | openocd is not found, please add the openocd to IDE path!";
        QTest::newRow("log cannot be opened") << "1 0 | bin/openocd | gdb openocd nolog |  |  | ";
        QTest::newRow("no gdb") << "0 0 | - | jlink | " + jlink.section(" | ", 0, 0) +
                                       " |  | riscv32-unknown-elf-gdb not found!!";
    }
    void launch() {
        const QStringList f = Row::Fields();
        CommonCfg::SetOpenocdProbe(f[0].section(' ', 0, 0).toInt());
        CommonCfg::SetJtag(f[0].section(' ', 1, 1).toInt());
        if (f[2].contains("gdb"))
            Script("bin/riscv32-unknown-elf-gdb",
                   "printf '%s\\n' \"$@\" > %1/gdb.args; exec /bin/cat > %1/gdb.stdin");
        if (f[2].contains("jlink"))
            StandInServer("bin/JLinkGDBServerCLExe");
        if (f[2].contains("openocd"))
            StandInServer("bin/openocd");
        if (f[2].contains("nolog"))
            CommonCfg::InitStartup(At("no folder/"));
        StandInServer("open ocd/openocd");
        QProcess bystander; // the program the stand-in servers become, not started by the launcher
        bystander.start("/bin/sleep", {"600"});
        QVERIFY(bystander.waitForStarted());

        TaskManage launcher;
        launcher.FindTools();
        launcher.LocateGdb();
        launcher.Launch(At(f[1]));
        QCOMPARE(m_reports.join(';'), f[5]);
        QTRY_COMPARE(Read("server.args"), f[3].isEmpty() ? "(none)" : f[3].split(',').join('\n') + '\n');
        if (!f[4].isEmpty()) {
            QTRY_COMPARE(Read("gdb.stdin"), f[4].split(';').join("\r\n") + "\r\n");
            QCOMPARE(Read("gdb.args"), At("fw.elf") + '\n');
        }
        const QString log = Read("log.txt");
        const bool logged = f[0].startsWith('1') && !f[3].isEmpty();
        QVERIFY2(logged ? QRegularExpression("^openocd info: .*\ngdb info: .*\n$").match(log).hasMatch()
                        : log == "(none)",
                 qPrintable(log));

        // The clean-up ends what the launcher started, and only that.
        const QString server = Read("server.pid").trimmed();
        TaskManage::EndDebugProcesses();
        QVERIFY(!QFileInfo::exists("/proc/" + server) || f[3].isEmpty());
        QCOMPARE(bystander.state(), QProcess::Running);
        bystander.kill();
        bystander.waitForFinished();
    }

    // what runs | found
    void running_data() {
        Row::Column();
        QTest::newRow("server on a port") << "port | 1";
        QTest::newRow("short name") << "tw-standin | 1";
        QTest::newRow("name past the kernel's 15 characters") << "tidewatch-standin-gdb | 1";
        QTest::newRow("name ended") << "ended tw-standin | 0";
        QTest::newRow("only the first 15 characters alike") << "other tidewatch-standin-gdb | 0";
    }
    void running() {
        const QStringList f = Row::Fields();
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost));
        const QString name = f[0].section(' ', -1);
        Script("bin/" + name, "read line"); // a shell waiting on its input stays the script itself
        QProcess process;
        process.start(At("bin/" + name), QStringList());
        QVERIFY(process.waitForStarted());
        if (f[0].startsWith("ended")) {
            process.kill();
            process.waitForFinished();
        }
        QCOMPARE(f[0].endsWith("port")
                     ? TaskManage::ServerAnswers(server.serverPort())
                     : Platform::IsImageRunning(f[0].startsWith("other") ? "tidewatch-standin-gcc" : name),
                 f[1] == "1");
        process.kill();
        process.waitForFinished();
    }

    // A stand-in server that runs tidewatch-sim on the demo firmware, with the real gdb-multiarch
    // connecting, resetting and running the target; and the simulated target as the debug tool.
    void endToEnd_data() {
        QTest::addColumn<int>("tool");
        QTest::addColumn<QString>("server");
        QTest::newRow("J-Link") << 0 << "JLinkGDBServerCLExe";
        QTest::newRow("openocd") << 1 << "openocd";
        QTest::newRow("simulator") << 2 << "";
    }
    void endToEnd() {
        QFETCH(int, tool);
        QFETCH(QString, server);
        const QString gdb = QStandardPaths::findExecutable("gdb-multiarch", {"/usr/bin", "/usr/local/bin"});
        if (gdb.isEmpty() || TaskManage::ServerAnswers(3333))
            QSKIP("needs gdb-multiarch (scripts/install-deps.sh) and 127.0.0.1:3333 free");
        QDir().mkpath(At("bin"));
        QFile::link(gdb, At("bin/gdb-multiarch"));
        if (tool != 2)
            Script("bin/" + server, "PATH='" + m_path +
                                        "' exec '" TIDEWATCH_SIM_BIN "' --port 3333 '" TIDEWATCH_DEMO_ELF
                                        "' 2> %1/sim.err");
        CommonCfg::SetOpenocdProbe(tool);
        CommonCfg::SetElfPath(TIDEWATCH_DEMO_ELF);
        if (tool == 2) // the simulator is found beside the program and finds the emulator on the path
            qputenv("PATH", m_path);

        TaskManage launcher;
        launcher.FindTools();
        launcher.LocateGdb();
        launcher.Launch(At("bin/" + server));
        if (tool == 2)
            QVERIFY2(Read("log.txt").startsWith(
                         "tidewatch-sim info: tidewatch-sim: listening on 127.0.0.1:3333\n"),
                     qPrintable(Read("log.txt")));
        else
            QTRY_VERIFY_WITH_TIMEOUT(Read("sim.err").contains("client 1 connected"), 20000);
        QVERIFY(launcher.IsRunning());
        QVERIFY(!Read("sim.err").contains("client 1 disconnected")); // gdb stays on, the target running
        QCOMPARE(m_reports, QStringList());
        TaskManage::EndDebugProcesses();
        QVERIFY(!TaskManage::ServerAnswers(3333));
    }
};

QTEST_GUILESS_MAIN(TaskManageTest)
#include "tst_taskmanage.moc"
