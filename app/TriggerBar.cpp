#include "TriggerBar.h"

#include "CommonCfg.h"
#include "WatchList.h"

#include <QComboBox>
#include <QDoubleValidator>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>

namespace {
template <typename W> W* named(W* widget, const QString& name, const QString& tip) {
    widget->setAccessibleName(name);
    widget->setToolTip(tip);
    widget->setFocusPolicy(Qt::StrongFocus);
    return widget;
}
} // namespace

TriggerBar::TriggerBar(QWidget* parent) : QWidget(parent) {
    m_mode = named(new QComboBox(this), tr("Trigger mode"), tr("Off, Auto, Normal or Single"));
    m_mode->addItems({tr("Off"), tr("Auto"), tr("Normal"), tr("Single")});
    m_source = named(new QComboBox(this), tr("Trigger source"), tr("The row whose value triggers"));
    m_edge = named(new QComboBox(this), tr("Trigger edge"), tr("The edge that triggers"));
    m_edge->addItems({tr("Rising"), tr("Falling"), tr("Either")});
    m_level = named(new QLineEdit(QStringLiteral("0"), this), tr("Trigger level"),
                    tr("Level in the source's displayed units (after Y Resolution and Y Offset)"));
    m_level->setValidator(new QDoubleValidator(m_level));
    m_level->setMaximumWidth(90);
    m_position =
        named(new QSpinBox(this), tr("Trigger position"), tr("Share of the screen before the trigger"));
    m_position->setRange(0, 100);
    m_position->setSuffix(QStringLiteral(" %"));
    m_position->setValue(10);
    m_rearm =
        named(new QPushButton(tr("Re-arm"), this), tr("Re-arm trigger"), tr("Wait for the next trigger"));
    m_status = new QLabel(this);
    m_status->setAccessibleName(tr("Trigger state"));
    m_status->hide();

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* label = new QLabel(tr("&Trigger:"), this);
    label->setBuddy(m_mode);
    layout->addWidget(label);
    for (QWidget* w : std::initializer_list<QWidget*>{m_mode, m_source, m_edge, m_level, m_position, m_rearm})
        layout->addWidget(w);

    for (QComboBox* box : {m_mode, m_source, m_edge})
        connect(box, QOverload<int>::of(&QComboBox::activated), this, &TriggerBar::Changed);
    connect(m_level, &QLineEdit::editingFinished, this, &TriggerBar::Changed);
    connect(m_position, QOverload<int>::of(&QSpinBox::valueChanged), this, &TriggerBar::Changed);
    connect(m_rearm, &QPushButton::clicked, this, &TriggerBar::RearmRequested);
}

void TriggerBar::SetRows(const QStringList& names) {
    const QString current = m_source->count() > 0 ? m_source->currentText() : m_wantedSource;
    m_source->clear();
    m_source->addItems(names);
    const int at = names.indexOf(current);
    m_source->setCurrentIndex(at >= 0 ? at : 0);
}

QVariantMap TriggerBar::Choices() const {
    return {{"mode", TriggerModeName(Mode())},
            {"source", m_source->currentText()},
            {"edge", TriggerEdgeName(Edge())},
            {"level", Level()},
            {"position", m_position->value()}};
}

void TriggerBar::SetChoices(const QVariantMap& choices) {
    TriggerMode mode = TriggerMode::Off;
    ParseTriggerMode(choices.value("mode").toString(), mode);
    m_mode->setCurrentIndex(static_cast<int>(mode));
    TriggerEdge edge = TriggerEdge::Rising;
    ParseTriggerEdge(choices.value("edge").toString(), edge);
    m_edge->setCurrentIndex(static_cast<int>(edge));
    m_level->setText(QLocale().toString(choices.value("level", 0.0).toDouble()));
    m_position->setValue(choices.value("position", 10).toInt());
    m_wantedSource = choices.value("source").toString();
    const int at = m_source->findText(m_wantedSource);
    if (at >= 0)
        m_source->setCurrentIndex(at);
}

TriggerMode TriggerBar::Mode() const {
    return static_cast<TriggerMode>(m_mode->currentIndex());
}

int TriggerBar::SourceRow() const {
    return m_source->currentIndex();
}

TriggerEdge TriggerBar::Edge() const {
    return static_cast<TriggerEdge>(m_edge->currentIndex());
}

double TriggerBar::Level() const {
    return QLocale().toDouble(m_level->text());
}

double TriggerBar::Position() const {
    return m_position->value() / 100.0;
}

TriggerSettings TriggerBar::Settings(const QVector<int>& rowSlots) const {
    TriggerSettings s;
    const int slot = rowSlots.value(SourceRow(), -1);
    const WatchList& watch = watchList();
    // A source row the session does not sample leaves the trigger off.
    s.mode = slot >= 0 && slot < watch.count ? Mode() : TriggerMode::Off;
    s.slot = slot;
    if (s.mode != TriggerMode::Off) {
        s.typeCode = watch.typeCode[slot];
        s.scale = watch.scale[slot];
        s.offset = watch.offset[slot];
    }
    s.edge = Edge();
    s.level = Level();
    const double screen = double(CommonCfg::CurrentStepValue()) * CommonCfg::ChartDivisions();
    s.pre = static_cast<uint64_t>(screen * Position());
    s.post = static_cast<uint64_t>(screen) - s.pre;
    s.autoAfterUs = static_cast<uint64_t>(screen);
    // Jitter of a thousandth of the level (at least a thousandth of a unit) does not trigger again.
    s.hysteresis = std::max(std::abs(s.level) * 1e-3, 1e-3);
    return s;
}

void TriggerBar::ShowState(TriggerDetector::State state) {
    static const QStringList texts{QString(), tr("Trigger: armed"), tr("Trigger: triggered"),
                                   tr("Trigger: auto"), tr("Trigger: triggered")};
    const QString text = texts.value(static_cast<int>(state));
    m_status->setText(text);
    m_status->setVisible(!text.isEmpty());
}
