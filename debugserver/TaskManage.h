#pragma once

#include "CommandLines.h"

#include <QObject>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <functional>

class QFile;

// Starts the GDB server for the project's debug tool and a gdb client that connects it to the target,
// resets the target and lets it run. The simulated target (tidewatch-sim) needs no gdb client, nor
// does the user's own board when Tidewatch only attaches to it.
// Widget-free: failures go to the reporter, which the program points at its error box.
class TaskManage : public QObject {
    Q_OBJECT
public:
    explicit TaskManage(QObject* parent = nullptr);

    // Looks for gdb and the J-Link server on the search path, the IDE's own gdb and the IDE folder.
    void FindTools();
    // Falls back to the IDE's gdb when none is on the search path, and reports when there is none
    // at all (not needed for the simulated target).
    void LocateGdb();
    // True when a GDB server answers on 127.0.0.1:3333 or a debug server or gdb of this user runs (for
    // the user's own board a running tidewatch-sim is the board, not a server).
    bool IsRunning() const;
    // Device, interface and speed from the project configuration.
    void Refresh();
    // Refreshes, then starts the server of the project's debug tool and, but for the simulated
    // target, gdb. openocdPath: the openocd beside the program (see OpenocdBesideProgram).
    void Launch(const QString& openocdPath);
    // Reports the message when found is false.
    void ErrorBox(bool found, const QString& message);

    const LaunchFields& Fields() const { return m_fields; }
    QString GdbPath() const { return m_gdbPath; }

    // Programs that count as a running debug server or gdb.
    static QStringList WatchedImages();
    // True when something accepts a connection on 127.0.0.1 at the port.
    static bool ServerAnswers(quint16 port);
    // Where failures go; empty: standard output.
    static void SetReporter(std::function<void(const QString&)> reporter);
    // The tools this program started that still exist, in the order they were started.
    static QList<QProcess*> Started();
    // Ends the debug server and gdb at exit (see Platform::EndDebugProcesses).
    static void EndDebugProcesses();
    // Why the server for the user's board did not start at the last launch (openocd's last error line,
    // or what Tidewatch found first); empty after a good start.
    static QString ServerFailure();

private:
    void LaunchJLink();
    void LaunchOpenocd(const QString& openocdPath);
    void LaunchSimulator();
    void LaunchBoard();
    // Reports the text before and the reason, kept as the server's failure.
    void BoardFailure(const QString& why, const QString& before = QString());
    // Starts one of the tools, kept until exit and listed for the clean-up.
    QProcess* Start(const QString& program, const QStringList& arguments,
                    QProcess::ProcessChannelMode channels = QProcess::SeparateChannels);
    QProcess* StartGdb(const QStringList& lines);
    // Ends gdb once the server it talks to has ended.
    static void EndWithServer(QProcess* server, QProcess* gdb);
    // Stops keeping the output of a tool that runs on unwatched.
    static void Drain(QProcess* process);

    QString m_gdbPath;
    QString m_ideGdbPath;
    QString m_ideFolder;
    QString m_jlinkPath;
    LaunchFields m_fields;
    bool m_gdbFound = false;
    bool m_jlinkFound = false;
};
