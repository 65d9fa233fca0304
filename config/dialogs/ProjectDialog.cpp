#include "ProjectDialog.h"

#include "CommandLines.h"
#include "CommonCfg.h"
#include "ErrorBox.h"
#include "Platform.h"
#include "SymbolLoader.h"
#include "TaskManage.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QGroupBox>
#include <QIntValidator>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>

ProjectDialog::ProjectDialog(QWidget* parent) : QDialog(parent) {
    m_ui.Setup(this);
    m_ui.manufactorCBox->addItems(CommonCfg::Manufacturers());
    // The change signal is not connected yet: the first list is filled here.
    UpdateDeviceList(m_ui.manufactorCBox->currentText());

    m_ui.sampleInterval->setValidator(new QIntValidator(m_minInterval, m_maxInterval, this));
    m_ui.sampleFreq->setValidator(new QIntValidator(1, m_usPerSecond / m_minInterval, this));
    for (int rate : CommonCfg::RateList())
        m_ui.m_connectRate->addItem(QString::number(rate));
    m_ui.m_connectRate->setCurrentIndex(CommonCfg::DefaultRateIndex());

    // Only the user's edits convert (textEdited), so the two conversions never call each other.
    connect(m_ui.sampleInterval, &QLineEdit::textEdited, this, &ProjectDialog::SetSampleFreq);
    connect(m_ui.sampleFreq, &QLineEdit::textEdited, this, &ProjectDialog::SetSampleInterval);
    connect(m_ui.manufactorCBox, &QComboBox::currentTextChanged, this, &ProjectDialog::UpdateDeviceList);
    connect(m_ui.openPushButton, &QPushButton::clicked, this, &ProjectDialog::open);
    connect(m_ui.buttonBox, &QDialogButtonBox::accepted, this, &ProjectDialog::accept);
    connect(m_ui.buttonBox, &QDialogButtonBox::rejected, this, &ProjectDialog::reject);
    connect(m_ui.dbgToolCBox, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            &ProjectDialog::ShowToolSettings);
    connect(m_ui.openocdPushButton, &QPushButton::clicked, this, &ProjectDialog::ChooseOpenocd);
    connect(m_ui.boardConfigPushButton, &QPushButton::clicked, this, &ProjectDialog::AddBoardConfigs);

    // The launcher's failures reach the user in the error box.
    TaskManage::SetReporter([](const QString& message) { ShowErrorBox(message); });

    if (CommonCfg::OptionsMode())
        SetUpOptions();
    else
        SetUpNewConfig();
    ShowBoard(CommonCfg::Board());
    ShowToolSettings();
}

void ProjectDialog::ShowBoard(const BoardSettings& board) {
    m_ui.openocdEdit->setText(board.openocd);
    m_ui.boardConfigEdit->setText(board.configs.join("; "));
    m_ui.attachOnlyCheckBox->setChecked(board.attachOnly);
}

void ProjectDialog::ShowToolSettings() {
    const int tool = CommonCfg::DebugToolFlag(m_ui.dbgToolCBox->currentIndex());
    m_ui.targetGroupBox->setEnabled(tool == 0 || tool == 1);
    m_ui.ShowBoard(this, tool == 3);
}

void ProjectDialog::ChooseOpenocd() {
    const QString file =
        QFileDialog::getOpenFileName(this, tr("Select the openocd program"), m_ui.openocdEdit->text());
    if (!file.isEmpty())
        m_ui.openocdEdit->setText(file);
}

void ProjectDialog::AddBoardConfigs() {
    const QStringList files = QFileDialog::getOpenFileNames(this, tr("Select board config files"), QString(),
                                                            tr("openocd config(*.cfg *.tcl);;All files(*)"));
    QStringList configs = BoardConfigList(m_ui.boardConfigEdit->text());
    m_ui.boardConfigEdit->setText((configs << files).join("; "));
}

void ProjectDialog::SetUpNewConfig() {
    setWindowTitle(tr("New Config"));
    CommonCfg::LoadProject(CommonCfg::AutosavePath());
    ShowRecord();
}

void ProjectDialog::ShowRecord() {
    const ProjectRecord record = CommonCfg::Record();
    m_ui.manufactorCBox->setCurrentText(record.manufacturer);
    m_ui.deviceCBox->setCurrentText(record.device);
    m_ui.dbgToolCBox->setCurrentText(record.debugTool);
    m_ui.target->setCurrentText(record.debugInterface);
    m_ui.m_connectRate->setCurrentText(record.rate);
    m_ui.sampleInterval->setText(record.interval);
    bool number = false;
    const uint interval = record.interval.toUInt(&number, 10);
    if (number && interval != 0)
        m_ui.sampleFreq->setText(QString::number(quint32(m_usPerSecond) / interval));
    m_ui.fileEdit->setText(record.elf);
    CommonCfg::SetElfPath(record.elf);
}

void ProjectDialog::SetUpOptions() {
    setWindowTitle(tr("Options"));
    m_ui.manufactorCBox->setCurrentText(CommonCfg::Manufacturer());
    m_ui.deviceCBox->setCurrentText(CommonCfg::Device());
    // The tool by its flag; a flag no tool has shows the J-Link, as the store reads it.
    m_ui.dbgToolCBox->setCurrentIndex(1);
    for (int i = 0; i < m_ui.dbgToolCBox->count(); ++i)
        if (CommonCfg::DebugToolFlag(i) == CommonCfg::IsOpenocdProbe())
            m_ui.dbgToolCBox->setCurrentIndex(i);
    m_ui.target->setCurrentIndex(CommonCfg::IsJtag() != 0 ? 1 : 0);
    m_ui.m_connectRate->setCurrentText(QString::number(CommonCfg::ConnectRate()));
    // The remembered browse location, not the ELF path.
    m_ui.fileEdit->setText(CommonCfg::BrowsePath());
    const int interval = CommonCfg::Interval();
    m_ui.sampleInterval->setText(QString::number(interval));
    m_ui.sampleFreq->setText(interval == 0 ? QStringLiteral("5000")
                                           : QString::number(m_usPerSecond / interval));
    CommonCfg::SetOptionsMode(false);
}

void ProjectDialog::SetSampleFreq() {
    bool number = false;
    m_interval = m_ui.sampleInterval->text().toUInt(&number, 10);
    if (!number)
        m_interval = 0;
    if (m_interval != 0)
        m_ui.sampleFreq->setText(QString::number(quint32(m_usPerSecond) / m_interval));
}

void ProjectDialog::SetSampleInterval() {
    const int rate = m_ui.sampleFreq->text().toInt();
    if (rate <= 0)
        return;
    m_interval = static_cast<quint32>(m_usPerSecond / rate);
    m_ui.sampleInterval->setText(QString::number(m_interval));
}

void ProjectDialog::UpdateDeviceList(const QString& manufactor) {
    const int count = m_ui.deviceCBox->count();
    for (int i = 0; i < count; ++i)
        m_ui.deviceCBox->removeItem(0);
    const QMap<QString, QStringList> devices = CommonCfg::DeviceMap();
    for (auto it = devices.cbegin(); it != devices.cend(); ++it)
        if (it.key() == manufactor)
            m_ui.deviceCBox->addItems(it.value());
}

void ProjectDialog::open() {
    const QString start = CommonCfg::BrowsePath().isEmpty() ? QStringLiteral("./") : CommonCfg::BrowsePath();
    const QString file =
        QFileDialog::getOpenFileName(this, tr("Select one elf file"), start, tr("Elf(*.elf)"));
    if (file.isEmpty())
        return;
    m_browsePath = QFileInfo(file).absolutePath();
    CommonCfg::SetBrowsePath(m_browsePath);
    CommonCfg::SetElfPath(file);
    m_ui.fileEdit->setText(file);
}

void ProjectDialog::accept() {
    if (m_ui.fileEdit->text().isEmpty()) {
        QMessageBox box(QMessageBox::Warning, tr("Warning"), tr("Please Select a Elf"), QMessageBox::NoButton,
                        this);
        QPushButton* yes = box.addButton(tr("Yes"), QMessageBox::YesRole);
        box.exec();
        if (box.clickedButton() == yes)
            return;
    }
    // A sampling interval the sampling engine cannot use keeps the dialog open.
    QString refused;
    if (CommonCfg::ApplyIntervalText(m_ui.sampleInterval->text(), &refused) != 0) {
        QMessageBox::warning(this, tr("Warning"), refused, QMessageBox::Yes);
        return;
    }

    // Closed before the extractor and the debug server run.
    QDialog::accept();
    Apply();
}

bool ProjectDialog::Apply() {
    CommonCfg::SetManufacturer(m_ui.manufactorCBox->currentText());
    CommonCfg::SetDevice(m_ui.deviceCBox->currentText());
    CommonCfg::SetOpenocdProbe(CommonCfg::DebugToolFlag(m_ui.dbgToolCBox->currentIndex()));
    CommonCfg::SetJtag(m_ui.target->currentIndex() != 0 ? 1 : 0);
    CommonCfg::SetRateIndex(m_ui.m_connectRate->currentIndex());
    CommonCfg::SetBoard({m_ui.openocdEdit->text().trimmed(), BoardConfigList(m_ui.boardConfigEdit->text()),
                         m_ui.attachOnlyCheckBox->isChecked()});
    CommonCfg::SetRecord({m_ui.manufactorCBox->currentText(), m_ui.deviceCBox->currentText(),
                          m_ui.dbgToolCBox->currentText(), m_ui.target->currentText(),
                          m_ui.m_connectRate->currentText(), m_ui.sampleInterval->text(),
                          m_ui.fileEdit->text()});
    if (!RunExtractorAndLoad())
        return false;
    const QString openocd =
        OpenocdBesideProgram(QCoreApplication::applicationDirPath(), Platform::DirSeparator(),
                             Platform::ExecutableName("openocd"));
    // Kept as long as the dialog (the main window's, for the rest of the run): it holds the tools it starts.
    TaskManage* launcher = new TaskManage(this);
    launcher->FindTools();
    launcher->LocateGdb();
    if (!launcher->IsRunning())
        launcher->Launch(openocd);
    return true;
}

bool ProjectDialog::RunExtractor() {
    return ::RunExtractor(m_ui.fileEdit->text());
}

bool ProjectDialog::RunExtractorAndLoad() {
    return ::RunExtractorAndLoad(m_ui.fileEdit->text());
}

void ProjectDialog::EndDebugServer() {
    TaskManage::EndDebugProcesses();
}
