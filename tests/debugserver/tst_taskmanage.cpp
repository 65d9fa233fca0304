// The debug-server launcher: command lines byte for byte; the launch through stand-in tools (arguments,
// input, log, reports, clean-up); the running check; end to end with tidewatch-sim and gdb-multiarch.
#include "CommandLines.h"
#include "CommonCfg.h"
#include "Platform.h"
#include "Row.h"
#include "TaskManage.h"

#include <QtNetwork>
#include <QtTest>

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

        // The clean-up ends what the launcher started, and only that.
        const QString server = Read("server.pid").trimmed();
        TaskManage::EndDebugProcesses();
        QVERIFY(!QFileInfo::exists("/proc/" + server));
        QCOMPARE(bystander.state(), QProcess::Running);
        bystander.kill();
        bystander.waitForFinished();
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
