#include "SimChild.h"

#include <QDeadlineTimer>
#include <QRegularExpression>
#include <algorithm>

namespace Sim {

SimChild::~SimChild() {
    if (m_process.state() != QProcess::NotRunning && Stop() < 0) {
        m_process.kill();
        m_process.waitForFinished(5000);
    }
}

QByteArray SimChild::Output() {
    m_output += m_process.readAll();
    return m_output;
}

bool SimChild::Start(const QString& program, const QStringList& arguments, int timeoutMs) {
    QStringList all = arguments;
    if (!all.contains(QStringLiteral("--port")))
        all << QStringLiteral("--port") << QStringLiteral("0");
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    m_process.start(program, all);
    const QDeadlineTimer deadline(timeoutMs);
    static const QRegularExpression ready(
        QStringLiteral("tidewatch-sim: listening on 127\\.0\\.0\\.1:(\\d+)\n"));
    while (!deadline.hasExpired()) {
        const QRegularExpressionMatch match = ready.match(QString::fromLocal8Bit(Output()));
        if (match.hasMatch()) {
            m_port = static_cast<std::uint16_t>(match.captured(1).toUInt());
            return true;
        }
        if (m_process.state() == QProcess::NotRunning)
            return false;
        m_process.waitForReadyRead(static_cast<int>(std::min<qint64>(deadline.remainingTime(), 100)));
    }
    return false;
}

int SimChild::Stop(int timeoutMs) {
    if (m_process.state() == QProcess::NotRunning)
        return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
    m_process.terminate();
    return WaitExit(timeoutMs);
}

int SimChild::WaitExit(int timeoutMs) {
    if (m_process.state() != QProcess::NotRunning && !m_process.waitForFinished(timeoutMs))
        return -1;
    Output();
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

} // namespace Sim
