#include "RecordControl.h"

#include "Acquisition.h"
#include "DataFile.h"

#include <QAction>
#include <QDateTime>
#include <QFileInfo>
#include <QLabel>
#include <QLocale>
#include <QPainter>
#include <QPixmap>
#include <QSignalBlocker>
#include <QTimer>

namespace {

// How often the status label counts while recording.
constexpr int kCountEveryMs = 500;

// The usual record mark where the icon theme has none: a red disc.
QIcon RecordIcon() {
    QPixmap dot(32, 32);
    dot.fill(Qt::transparent);
    QPainter painter(&dot);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(120, 0, 0), 2));
    painter.setBrush(QColor(220, 30, 30));
    painter.drawEllipse(QRectF(5, 5, 22, 22));
    return QIcon::fromTheme(QStringLiteral("media-record"), QIcon(dot));
}

QString SizeText(quint64 bytes) {
    return QLocale().formattedDataSize(static_cast<qint64>(bytes));
}

} // namespace

RecordControl::RecordControl(QWidget* window, std::function<QString()> proposal)
    : QObject(window), m_window(window), m_proposal(std::move(proposal)),
      m_action(new QAction(tr("&Record"), this)), m_status(new QLabel(window)), m_timer(new QTimer(this)) {
    m_action->setCheckable(true);
    m_action->setIcon(RecordIcon());
    m_action->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_R));
    m_action->setStatusTip(tr("Record every frame to a file while sampling"));
    connect(m_action, &QAction::toggled, this, &RecordControl::Toggled);
    m_status->setAccessibleName(tr("Recording"));
    m_status->hide();
    m_timer->setInterval(kCountEveryMs);
    connect(m_timer, &QTimer::timeout, this, &RecordControl::Refresh);
}

void RecordControl::Toggled(bool on) {
    if (!on) {
        End();
        return;
    }
    if (m_chosen.isEmpty()) {
        m_chosen = AskSaveFile(m_window, tr("Record to"), m_proposal(), tr("CSV files (*.csv)"),
                               QStringLiteral("csv"));
        if (m_chosen.isEmpty()) {
            const QSignalBlocker quiet(m_action);
            m_action->setChecked(false);
            return;
        }
    }
    if (m_sampling)
        Begin();
}

void RecordControl::SamplingStarted(const QList<VarTableWidget::LineItem*>& rows,
                                    const QVector<int>& slotOf) {
    m_sampling = true;
    m_names.clear();
    m_slots.clear();
    DataColumns(rows, slotOf, m_names, m_slots);
    if (m_action->isChecked())
        Begin();
}

void RecordControl::SamplingStopped() {
    m_sampling = false;
    End();
}

void RecordControl::Begin() {
    if (m_recorder.Active() || m_chosen.isEmpty())
        return;
    FrameRecorder::Plan plan;
    plan.names = m_names;
    plan.slotOf = m_slots;
    plan.generation = samplingGeneration();
    // Switched on during a run: from the newest frame on; at the start the session's ring may not be set up
    // yet, and then it starts at its first frame.
    const FrameQueue& queue = FrameQueue::instance();
    plan.fromSeq = queue.generation() == plan.generation ? queue.pushed() : 0;
    QString error;
    if (!m_recorder.Start(RecordingFile(m_chosen, QDateTime::currentDateTime()), plan, &error)) {
        const QSignalBlocker quiet(m_action);
        m_action->setChecked(false);
        emit Message(tr("Not recording: %1").arg(error));
        return;
    }
    Refresh();
    m_status->show();
    m_timer->start();
}

void RecordControl::End() {
    if (!m_recorder.Active())
        return;
    m_recorder.Stop();
    m_timer->stop();
    m_status->hide();
    const QString file = m_recorder.Path();
    if (m_recorder.Failed()) {
        emit Message(tr("Recording stopped: writing %1 failed: %2 (%3 frames written)")
                         .arg(file, m_recorder.Error())
                         .arg(m_recorder.Written()));
        return;
    }
    QString text =
        tr("Recorded %1 frames (%2) to %3").arg(m_recorder.Written()).arg(SizeText(m_recorder.Bytes()), file);
    if (m_recorder.Lost() > 0)
        text += tr("; %1 frames lost: the disk did not keep up").arg(m_recorder.Lost());
    emit Message(text);
}

void RecordControl::Refresh() {
    if (m_recorder.Failed()) {
        // Sampling goes on; the toggle shows that this run records no more.
        const QSignalBlocker quiet(m_action);
        m_action->setChecked(false);
        End();
        return;
    }
    QString text = tr("Recording: %1 frames, %2").arg(m_recorder.Written()).arg(SizeText(m_recorder.Bytes()));
    if (m_recorder.Lost() > 0)
        text += tr(", %1 lost").arg(m_recorder.Lost());
    m_status->setText(text);
    m_status->setToolTip(m_recorder.Path());
}
