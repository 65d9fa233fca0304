#include "SamplingModeView.h"

#include "Acquisition.h"
#include "CommonCfg.h"
#include "PollSession.h"

#include <QActionGroup>
#include <QMenu>
#include <QTimer>

namespace {
// The rate is averaged over this long.
constexpr int kRefreshMs = 1000;
} // namespace

SamplingModeLabel::SamplingModeLabel(QWidget* parent) : QLabel(parent), m_timer(new QTimer(this)) {
    setAccessibleName(tr("Sampling mode"));
    connect(m_timer, &QTimer::timeout, this, &SamplingModeLabel::Refresh);
    m_timer->start(kRefreshMs);
}

void SamplingModeLabel::Refresh() {
    const SamplingWay way = samplingRunning() ? samplingWay() : SamplingWay::None;
    const bool polling = way == SamplingWay::Poll;
    if (polling && m_polling && m_clock.elapsed() > 0)
        setText(
            tr("Polling: %1 frames/s").arg((pollFrames() - m_frames) * 1000 / quint64(m_clock.elapsed())));
    else
        setText(polling ? tr("Polling") : way == SamplingWay::Hss ? tr("High-speed sampling") : QString());
    m_polling = polling;
    m_frames = pollFrames();
    m_clock.start();
}

QMenu* AddSamplingModeMenu(QMenu* parent) {
    QMenu* menu = parent->addMenu(QObject::tr("Sampling &mode"));
    auto* group = new QActionGroup(menu);
    const std::pair<SamplingMode, QString> modes[] = {
        {SamplingMode::Auto, QObject::tr("&Auto: high-speed sampling, else polling")},
        {SamplingMode::Hss, QObject::tr("&High-speed sampling only")},
        {SamplingMode::Poll, QObject::tr("&Polling only")}};
    for (const auto& [mode, text] : modes) {
        QAction* action = group->addAction(text);
        action->setCheckable(true);
        action->setStatusTip(QObject::tr("How the next Start samples"));
        const SamplingMode chosen = mode; // captured by value below
        QObject::connect(action, &QAction::triggered, [chosen] { CommonCfg::SetMode(chosen); });
        menu->addAction(action);
    }
    // An opened project may have changed the mode since the menu was last shown.
    QObject::connect(menu, &QMenu::aboutToShow,
                     [group] { group->actions()[static_cast<int>(CommonCfg::Mode())]->setChecked(true); });
    group->actions()[static_cast<int>(CommonCfg::Mode())]->setChecked(true);
    return menu;
}
