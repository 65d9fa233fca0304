#include "TaskManage.h"

#include "CommonCfg.h"
#include "Platform.h"
#include "PlatformLifetime.h"
#include "ToolDiscovery.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QProcess>
#include <QTcpSocket>
#include <algorithm>
#include <cstdio>

namespace {

const int StartWaitMs = 30000;
const quint16 ServerPort = 3333;

std::function<void(const QString&)> g_reporter;
QString g_serverFailure;
// Every tool this program started, for the clean-up at exit; a launcher deleted earlier took its own.
QList<QPointer<QProcess>> g_started;

void AppendLog(QFile& log, const char* label, const QByteArray& output) {
    log.write(label);
    log.write(output);
    log.write("\n");
    log.flush();
}

} // namespace

TaskManage::TaskManage(QObject* parent) : QObject(parent) {}

void TaskManage::FindTools() {
    const DebugToolPaths paths = DiscoverTools(QDir::toNativeSeparators(QDir::homePath()));
    m_gdbPath = paths.gdbPath;
    m_gdbFound = paths.gdbFound;
    m_ideGdbPath = paths.ideGdbPath;
    m_ideFolder = paths.ideFolder;
    m_jlinkPath = paths.jlinkPath;
    m_jlinkFound = paths.jlinkFound;
}

void TaskManage::LocateGdb() {
    const int tool = CommonCfg::IsOpenocdProbe();
    if (m_gdbFound || tool == 2 || (tool == 3 && CommonCfg::Board().attachOnly))
        return;
    m_gdbPath = m_ideGdbPath;
    ErrorBox(!m_gdbPath.isEmpty(), Platform::GdbNames().first() + " not found!!");
}

QStringList TaskManage::WatchedImages() {
    return Platform::GdbNames() + QStringList{Platform::ExecutableName("openocd"),
                                              Platform::JLinkServerName(),
                                              Platform::ExecutableName("tidewatch-sim")};
}

bool TaskManage::ServerAnswers(quint16 port) {
    QTcpSocket socket;
    socket.connectToHost(QStringLiteral("127.0.0.1"), port);
    return socket.waitForConnected(1000);
}

bool TaskManage::IsRunning() const {
    if (ServerAnswers(ServerPort))
        return true;
    const QString sim = Platform::ExecutableName("tidewatch-sim");
    for (const QString& image : WatchedImages())
        if ((image != sim || CommonCfg::IsOpenocdProbe() != 3) && Platform::IsImageRunning(image))
            return true;
    return false;
}

void TaskManage::Refresh() {
    const QString device = CommonCfg::Device();
    if (!device.isEmpty())
        m_fields.device = device;
    m_fields.interface = CommonCfg::IsJtag() == 0 ? "swd" : "jtag";
    m_fields.speed = QString::number(CommonCfg::ConnectRate());
    if (!m_gdbFound)
        m_gdbPath = m_ideGdbPath;
}

void TaskManage::Launch(const QString& openocdPath) {
    Refresh();
    g_serverFailure.clear();
    switch (CommonCfg::IsOpenocdProbe()) {
    case 1:
        LaunchOpenocd(openocdPath);
        break;
    case 2:
        LaunchSimulator();
        break;
    case 3:
        LaunchBoard();
        break;
    default:
        LaunchJLink();
        break;
    }
}

void TaskManage::ErrorBox(bool found, const QString& message) {
    if (found)
        return;
    if (g_reporter) {
        g_reporter(message);
    } else {
        std::printf("LOG>> %s\n", qPrintable(message));
        std::fflush(stdout);
    }
}

void TaskManage::SetReporter(std::function<void(const QString&)> reporter) {
    g_reporter = std::move(reporter);
}

void TaskManage::EndDebugProcesses() {
    QList<QProcess*> started = Started();
    // gdb before its server, so that it does not stay behind waiting for it.
    std::reverse(started.begin(), started.end());
    Platform::EndDebugProcesses(started);
    g_started.clear();
}

QString TaskManage::ServerFailure() {
    return g_serverFailure;
}

QProcess* TaskManage::Start(const QString& program, const QStringList& arguments,
                            QProcess::ProcessChannelMode channels) {
    QProcess* process = new Platform::ToolProcess(this);
    g_started << process;
    process->setProcessChannelMode(channels);
    process->start(program, arguments, QIODevice::ReadWrite);
    // Not reported when it does not start: the sampling engine says so when it cannot connect.
    process->waitForStarted(StartWaitMs);
    return process;
}

QProcess* TaskManage::StartGdb(const QStringList& lines) {
    if (m_gdbPath.isEmpty())
        return nullptr;
    QProcess* gdb = Start(m_gdbPath, {CommonCfg::ElfPath()});
    for (const QString& line : lines)
        gdb->write((line + "\r\n").toLocal8Bit());
    gdb->waitForBytesWritten(StartWaitMs);
    return gdb;
}

void TaskManage::EndWithServer(QProcess* server, QProcess* gdb) {
    if (server == nullptr || gdb == nullptr)
        return;
    // A gdb left waiting on a dead server counts as a running tool, and the next launch would not start
    // a new server.
    connect(server, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), gdb, [gdb] {
        if (gdb->state() != QProcess::NotRunning)
            gdb->terminate();
    });
}

QList<QProcess*> TaskManage::Started() {
    QList<QProcess*> started;
    for (const QPointer<QProcess>& process : g_started)
        if (process)
            started << process;
    return started;
}

void TaskManage::Drain(QProcess* process) {
    if (process == nullptr)
        return;
    connect(process, &QProcess::readyReadStandardOutput, process,
            [process] { process->readAllStandardOutput(); });
    connect(process, &QProcess::readyReadStandardError, process,
            [process] { process->readAllStandardError(); });
}

void TaskManage::LaunchJLink() {
    if (!m_jlinkFound) {
        ErrorBox(false, tr("JLink is not found, please add the path to system path!"));
        return;
    }
    QStringList command = QProcess::splitCommand(JLinkCommand(m_jlinkPath, m_fields));
    const QString program = command.takeFirst();
    QProcess* server = Start(program, command);
    Drain(server);
    QProcess* gdb = StartGdb(JLinkGdbLines());
    Drain(gdb);
    EndWithServer(server, gdb);
}

void TaskManage::LaunchOpenocd(const QString& openocdPath) {
    // Beside the program first, then the IDE's, then one on the search path.
    QStringList candidates{openocdPath};
    if (!m_ideFolder.isEmpty())
        candidates << Platform::IdeOpenocdPath(m_ideFolder);
    candidates << FindOnSearchPath(Platform::ExecutableName("openocd"));
    QString openocd;
    for (const QString& candidate : candidates) {
        if (!candidate.isEmpty() && QFileInfo(candidate).isFile()) {
            openocd = candidate;
            break;
        }
    }
    if (openocd.isEmpty()) {
        ErrorBox(false, tr("openocd is not found, please add the openocd to IDE path!"));
        return;
    }
    QFile log(CommonCfg::LogPath());
    if (!log.open(QIODevice::ReadWrite | QIODevice::Append))
        return;
    QStringList command =
        QProcess::splitCommand(OpenocdCommand(openocd, m_ideFolder, m_fields, Platform::DirSeparator()));
    const QString program = command.takeFirst();
    QProcess* server = Start(program, command);
    AppendLog(log, "openocd info: ", server->readAllStandardOutput());
    Drain(server);
    QProcess* gdb = StartGdb(OpenocdGdbLines());
    if (gdb != nullptr) {
        AppendLog(log, "gdb info: ", gdb->readAllStandardOutput());
        Drain(gdb);
    }
    EndWithServer(server, gdb);
}

void TaskManage::LaunchSimulator() {
    const QString name = Platform::ExecutableName("tidewatch-sim");
    QString program = QDir(QCoreApplication::applicationDirPath()).filePath(name);
    if (!QFileInfo(program).isFile())
        program = FindOnSearchPath(name);
    if (program.isEmpty()) {
        ErrorBox(false, tr("tidewatch-sim is not found, please add the path to system path!"));
        return;
    }
    QStringList arguments{"--port", QString::number(ServerPort)};
    if (!CommonCfg::ElfPath().isEmpty())
        arguments << CommonCfg::ElfPath();
    QProcess* sim = Start(program, arguments);
    // The emulator takes a moment: wait until the server listens, so that sampling can connect.
    QByteArray output;
    const QDeadlineTimer deadline(StartWaitMs);
    while (!output.contains("listening on") && sim->waitForReadyRead(deadline.remainingTime()))
        output += sim->readAllStandardOutput();
    const QByteArray errors = sim->readAllStandardError();
    QFile log(CommonCfg::LogPath());
    if (log.open(QIODevice::ReadWrite | QIODevice::Append))
        AppendLog(log, "tidewatch-sim info: ", output + errors);
    if (!output.contains("listening on"))
        ErrorBox(false, tr("tidewatch-sim did not start: %1").arg(QString::fromLocal8Bit(errors).trimmed()));
    Drain(sim);
}

void TaskManage::LaunchBoard() {
    const BoardSettings board = CommonCfg::Board();
    const QString openocd =
        board.openocd.isEmpty() ? FindOnSearchPath(Platform::ExecutableName("openocd")) : board.openocd;
    if (openocd.isEmpty() || !QFileInfo(openocd).isFile())
        return BoardFailure(tr("openocd is not found: name it in the project dialog or add its folder to the "
                               "search path!"));
    if (board.configs.isEmpty())
        return BoardFailure(tr("Name your board's openocd config files in the project dialog!"));
    // A config that is not a file here may still be one openocd finds in its own script folders.
    for (const QString& config : board.configs) {
        QFile file(config);
        const int line =
            file.open(QIODevice::ReadOnly) ? ConfigInitLine(QString::fromLocal8Bit(file.readAll())) : 0;
        if (line != 0)
            return BoardFailure(
                tr("%1 calls init on line %2. Board configs must not call init: Tidewatch adds "
                   "its settings and then calls init itself.")
                    .arg(config)
                    .arg(line));
    }
    QFile log(CommonCfg::LogPath());
    if (!log.open(QIODevice::ReadWrite | QIODevice::Append))
        return;
    QProcess* server = Start(openocd, BoardOpenocdArguments(board.configs), QProcess::MergedChannels);
    // openocd serves GDB once it has examined the target, or ends with its reason.
    const QByteArray listening = "Listening on port 3333 for gdb connections";
    QByteArray output;
    const QDeadlineTimer deadline(StartWaitMs);
    while (!output.contains(listening) && server->waitForReadyRead(deadline.remainingTime()))
        output += server->readAllStandardOutput();
    output += server->readAllStandardOutput();
    AppendLog(log, "openocd info: ", output);
    // The rest of what it says goes to the log as it comes.
    const QString logPath = log.fileName();
    connect(server, &QProcess::readyReadStandardOutput, server, [server, logPath] {
        QFile more(logPath);
        const QByteArray text = server->readAllStandardOutput();
        if (more.open(QIODevice::WriteOnly | QIODevice::Append))
            more.write(text);
    });
    if (!output.contains(listening)) {
        server->terminate(); // one that never came up is not left holding the probe
        server->waitForFinished(5000);
        return BoardFailure("openocd: " + OpenocdFailureLine(output), CommonCfg::ErrorText(2) + "\n");
    }
    if (board.attachOnly)
        return;
    QProcess* gdb = StartGdb(OpenocdGdbLines());
    if (gdb != nullptr) {
        AppendLog(log, "gdb info: ", gdb->readAllStandardOutput());
        Drain(gdb);
    }
    EndWithServer(server, gdb);
}

void TaskManage::BoardFailure(const QString& why, const QString& before) {
    g_serverFailure = why;
    ErrorBox(false, before + why);
}
