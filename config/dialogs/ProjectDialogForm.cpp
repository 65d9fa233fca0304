#include "ProjectDialogForm.h"

#include "CommonCfg.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

namespace {

QString Tr(const char* text) {
    return QCoreApplication::translate("ProjectDialog", text);
}

template <typename W> W* Make(QWidget* parent, const char* name, const QRect& geometry) {
    W* widget = new W(parent);
    widget->setObjectName(QLatin1String(name));
    widget->setGeometry(geometry);
    return widget;
}

QGroupBox* Group(QWidget* parent, const char* name, const char* title, const QRect& geometry) {
    QGroupBox* box = Make<QGroupBox>(parent, name, geometry);
    box->setTitle(Tr(title));
    return box;
}

// A label that names its control for the keyboard (buddy) and for assistive tools.
QLabel* Label(QWidget* parent, const char* name, const char* text, const QRect& geometry, QWidget* buddy) {
    QLabel* label = Make<QLabel>(parent, name, geometry);
    label->setText(Tr(text));
    if (buddy != nullptr) {
        label->setBuddy(buddy);
        buddy->setAccessibleName(label->text());
    }
    return label;
}

const int kHeight = 317;
const int kBoardHeight = 126; // what the board's group adds

} // namespace

void ProjectDialogForm::Setup(QDialog* dialog) {
    dialog->setObjectName(QStringLiteral("ProjectDialog"));
    dialog->setFixedSize(529, kHeight);
    dialog->setWindowTitle(Tr("Dialog"));

    targetDevGroupBox = Group(dialog, "targetDevGroupBox", "target device", QRect(10, 10, 250, 110));
    manufactorCBox = Make<QComboBox>(targetDevGroupBox, "manufactorCBox", QRect(112, 30, 128, 26));
    label = Label(targetDevGroupBox, "label", "Manufacturer", QRect(10, 30, 98, 26), manufactorCBox);
    deviceCBox = Make<QComboBox>(targetDevGroupBox, "deviceCBox", QRect(112, 70, 128, 26));
    label_2 = Label(targetDevGroupBox, "label_2", "Device", QRect(10, 70, 98, 26), deviceCBox);

    dbgToolGroupBox = Group(dialog, "dbgToolGroupBox", "debug tool", QRect(270, 10, 249, 52));
    dbgToolCBox = Make<QComboBox>(dbgToolGroupBox, "dbgToolCBox", QRect(10, 20, 229, 26));
    for (const QString& tool : CommonCfg::DebugTools())
        dbgToolCBox->addItem(Tr(tool.toUtf8().constData()));
    dbgToolCBox->setAccessibleName(dbgToolGroupBox->title());

    targetGroupBox = Group(dialog, "targetGroupBox", "debug interface", QRect(270, 68, 249, 52));
    target = Make<QComboBox>(targetGroupBox, "target", QRect(10, 20, 100, 26));
    for (const QString& wire : CommonCfg::DebugInterfaces())
        target->addItem(Tr(wire.toUtf8().constData()));
    target->setAccessibleName(targetGroupBox->title());
    m_connectRate = Make<QComboBox>(targetGroupBox, "m_connectRate", QRect(120, 20, 85, 26));
    rateLabel = Label(targetGroupBox, "rateLabel", "kHz", QRect(210, 20, 35, 26), nullptr);
    m_connectRate->setAccessibleName(Tr("Probe speed (kHz)"));

    sampleRateGroupBox =
        Group(dialog, "sampleRateGroupBox", "Sampling Rate (10us-1000000us)", QRect(10, 128, 509, 58));
    sampleInterval = Make<QLineEdit>(sampleRateGroupBox, "sampleInterval", QRect(130, 22, 100, 26));
    sampleRateLabel = Label(sampleRateGroupBox, "sampleRateLabel", "Sampling interval",
                            QRect(10, 22, 118, 26), sampleInterval);
    labelUs = Make<QLabel>(sampleRateGroupBox, "labelUs", QRect(234, 22, 112, 26));
    labelUs->setText(Tr("us,Sample Rate"));
    sampleFreq = Make<QLineEdit>(sampleRateGroupBox, "sampleFreq", QRect(348, 22, 100, 26));
    labelUs_2 = Label(sampleRateGroupBox, "labelUs_2", "Hz", QRect(454, 22, 40, 26), nullptr);
    sampleInterval->setAccessibleName(Tr("Sampling interval (us)"));
    sampleFreq->setAccessibleName(Tr("Sample Rate (Hz)"));

    elfFileGroupBox = Group(dialog, "elfFileGroupBox", "debug elf", QRect(10, 194, 509, 58));
    fileEdit = Make<QLineEdit>(elfFileGroupBox, "fileEdit", QRect(10, 22, 400, 26));
    fileEdit->setAccessibleName(elfFileGroupBox->title());
    openPushButton = Make<QPushButton>(elfFileGroupBox, "openPushButton", QRect(420, 22, 79, 26));
    openPushButton->setText(Tr("Open"));
    openPushButton->setAccessibleName(Tr("Open an elf file"));

    boardGroupBox = Group(dialog, "boardGroupBox", "openocd (your board)", QRect(10, 260, 509, 118));
    openocdEdit = Make<QLineEdit>(boardGroupBox, "openocdEdit", QRect(110, 22, 300, 26));
    openocdLabel = Label(boardGroupBox, "openocdLabel", "Program", QRect(10, 22, 96, 26), openocdEdit);
    openocdEdit->setAccessibleName(Tr("openocd program"));
    openocdEdit->setPlaceholderText(Tr("openocd on the search path"));
    openocdPushButton = Make<QPushButton>(boardGroupBox, "openocdPushButton", QRect(420, 22, 79, 26));
    openocdPushButton->setText(Tr("Browse"));
    openocdPushButton->setAccessibleName(Tr("Choose the openocd program"));
    boardConfigEdit = Make<QLineEdit>(boardGroupBox, "boardConfigEdit", QRect(110, 54, 300, 26));
    boardConfigLabel =
        Label(boardGroupBox, "boardConfigLabel", "Config files", QRect(10, 54, 96, 26), boardConfigEdit);
    boardConfigEdit->setAccessibleName(Tr("Board config files, separated by ;"));
    boardConfigEdit->setPlaceholderText(Tr("board.cfg; more.cfg"));
    boardConfigPushButton = Make<QPushButton>(boardGroupBox, "boardConfigPushButton", QRect(420, 54, 79, 26));
    boardConfigPushButton->setText(Tr("Add"));
    boardConfigPushButton->setAccessibleName(Tr("Add board config files"));
    attachOnlyCheckBox = Make<QCheckBox>(boardGroupBox, "attachOnlyCheckBox", QRect(10, 86, 250, 26));
    attachOnlyCheckBox->setText(Tr("Attach only (no reset, halt or gdb)"));
    initNoteLabel = Label(boardGroupBox, "initNoteLabel", "Config files must not call init.",
                          QRect(270, 86, 229, 26), nullptr);
    boardGroupBox->hide();

    buttonBox = Make<QDialogButtonBox>(dialog, "buttonBox", QRect(10, 270, 509, 32));
    buttonBox->setStandardButtons(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);

    QWidget* order[] = {manufactorCBox,        deviceCBox,         dbgToolCBox,       target,
                        m_connectRate,         sampleInterval,     sampleFreq,        fileEdit,
                        openPushButton,        openocdEdit,        openocdPushButton, boardConfigEdit,
                        boardConfigPushButton, attachOnlyCheckBox, buttonBox};
    for (std::size_t i = 1; i < sizeof order / sizeof order[0]; ++i)
        QWidget::setTabOrder(order[i - 1], order[i]);
}

void ProjectDialogForm::ShowBoard(QDialog* dialog, bool show) {
    const int extra = show ? kBoardHeight : 0;
    boardGroupBox->setVisible(show);
    buttonBox->move(buttonBox->x(), 270 + extra);
    dialog->setFixedSize(529, kHeight + extra);
}
