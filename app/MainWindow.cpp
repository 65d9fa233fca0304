#include "MainWindow.h"

#include "Acquisition.h"
#include "ChartWidget.h"
#include "CommonCfg.h"
#include "CursorPair.h"
#include "DataFile.h"
#include "DataSource.h"
#include "FrameQueue.h"
#include "Images.h"
#include "ProjectDialog.h"
#include "ProjectOpen.h"
#include "RebuiltFirmware.h"
#include "RecordControl.h"
#include "RowStatistics.h"
#include "SamplingModeView.h"
#include "SelectSymbolsDlg.h"
#include "StatisticsRunner.h"
#include "TableDockWidget.h"
#include "TaskManage.h"
#include "TimeBase.h"
#include "TriggerBar.h"
#include "TriggerMarks.h"
#include "TriggerWatch.h"
#include "VarChartView.h"
#include "VarParser.h"
#include "VarTableWidget.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QStatusBar>
#include <QTimer>
#include <QToolBar>
#include <QtCharts/QValueAxis>
#include <cmath>

namespace {
// How often a running session is checked for an end of its own.
constexpr int kSessionPollMs = 200;
// The table dock's starting width.
constexpr int kDockWidth = 420;
// How long a failed value write stays in the status bar.
constexpr int kWriteFailureMs = 5000;
const char* const kProjectFilter = QT_TRANSLATE_NOOP("MainWindow", "tidewatch project files(*.tidewatch)");

QCheckBox* AddCheckBox(QToolBar* bar, const QString& label, bool checked) {
    auto* box = new QCheckBox(bar);
    box->setChecked(checked);
    box->setAccessibleName(label.trimmed());
    bar->addWidget(box);
    bar->addWidget(new QLabel(label, bar));
    return box;
}
} // namespace

MainWindow::MainWindow(QWidget* parent) : QMainWindow(parent) {
    sessionTimer = new QTimer; // no parent: released with the other members
    sessionTimer->setInterval(kSessionPollMs);
    connect(sessionTimer, &QTimer::timeout, this, &MainWindow::CheckSessionEnd);
    setWindowState(Qt::WindowActive);
    resize(1024, 800);

    varParser = new VarParser(this);
    VarParser::SetInstance(varParser);

    // The tool bar's fallback icons live in a static library's resources.
    InitImageResources();
    CreateActions();
    CreateToolBar();
    CreateMenus();
    statusLabel = new QLabel(this);
    statusBar()->addWidget(statusLabel);
    statusBar()->addPermanentWidget(new SamplingModeLabel(this));
    statusBar()->addPermanentWidget(triggerBar->StatusLabel());
    statusBar()->addPermanentWidget(recording->StatusWidget());

    CreateDock();
    chartWidget = new ChartWidget(this);
    dataSource = chartWidget->GetDataSource();
    setCentralWidget(chartWidget);
    connect(this, &MainWindow::HiddenScroll, chartWidget, &ChartWidget::HiddenScroll);
    varTable->SetDataSource(dataSource);
    triggerMarks = new TriggerMarks(chartWidget->View());
    // Twice a second, off the GUI thread: every frame of the span is read, far more than a tick carries.
    statistics = new StatisticsRunner(this);
    connect(statistics, &StatisticsRunner::Ready, varTable, &VarTableWidget::ShowStatistics);
    statsTimer = new QTimer(this);
    connect(statsTimer, &QTimer::timeout, this, &MainWindow::ShowStatistics);
    statsTimer->start(500);
    cursors =
        new CursorPair(chartWidget->View(), [this](qint64 time, QStringList& names, QVector<double>& values) {
            QStringList rowNames;
            QVector<bool> shown;
            for (const VarTableWidget::LineItem* item : varTable->LineItems()) {
                rowNames << (item->varDes != nullptr ? item->varDes->name : QString());
                shown << item->showChkBox->isChecked();
            }
            RowValuesAt(time, rowNames, shown, dataSource->RowSlots(), names, values);
        });
    connect(cursors, &CursorPair::Changed, this, &MainWindow::ShowStatistics);
    connect(dataSource, &DataSource::VarValuesUpdated, cursors, &CursorPair::Refresh);

    symbolsDlg = new SelectSymbolsDlg(this);
    ConnectParts();
    setWindowTitle(tr("Tidewatch"));
}

MainWindow::~MainWindow() {
    ShutDown();
    delete sessionTimer;
    delete projectDialog;
    VarParser::SetInstance(nullptr);
}

void MainWindow::ShutDown() {
    if (samplingRunning() || stopAct->isEnabled())
        StopSample();
    Save();
    // Runs again at destruction: an OK of the project dialog under way when the window closed may have
    // started a tool since.
    ProjectDialog::EndDebugServer();
}

void MainWindow::closeEvent(QCloseEvent* event) {
    ShutDown();
    // The project dialog has no parent: left open it would keep the program running without its window.
    if (projectDialog != nullptr)
        projectDialog->close();
    QMainWindow::closeEvent(event);
}

void MainWindow::CreateActions() {
    auto make = [this](const QString& text, const QString& tip, void (MainWindow::*slot)()) {
        auto* action = new QAction(text, this);
        action->setStatusTip(tip);
        connect(action, &QAction::triggered, this, slot);
        return action;
    };
    newAct = make(tr("&New Conifg"), tr("Create a new Config file"), &MainWindow::NewProject);
    newAct->setShortcuts(QKeySequence::New);
    openAct = make(tr("&Open Config"), tr("Open an existing project file"), &MainWindow::OpenProject);
    openAct->setShortcuts(QKeySequence::Open);
    saveAct = make(tr("&Save Config"), tr("Save the project to disk"), &MainWindow::Save);
    saveAct->setShortcuts(QKeySequence::Save);
    saveAsAct = make(tr("Save Config &As..."), tr("Save the config under a new name"), &MainWindow::SaveAs);
    saveDataAct = make(tr("Save Data ..."), tr("Save Data to disk"), &MainWindow::SaveData);
    aboutVarAct = make(tr("About"), tr("About Variable"), &MainWindow::About);
    configAct = make(tr("&Config"), tr("Set the option of project"), &MainWindow::Config);
    aboutAct = make(tr("&About"), tr("Show the application's About box"), &MainWindow::About);
    exitAct = new QAction(tr("E&xit"), this);
    exitAct->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
    exitAct->setStatusTip(tr("Exit the application"));
    connect(exitAct, &QAction::triggered, this, &QWidget::close);

    auto tool = [&](const QString& text, const char* theme, const char* fallback, const QString& tip,
                    void (MainWindow::*slot)()) {
        QAction* action = make(text, tip, slot);
        action->setIcon(QIcon::fromTheme(theme, QIcon(fallback)));
        return action;
    };
    startAct =
        tool(tr("&Start"), "Start", ":/images/start.png", tr("Start Sampling"), &MainWindow::StartSample);
    stopAct = tool(tr("&Stop"), "stop", ":/images/stop.png", tr("Stop Sampling"), &MainWindow::StopSample);
    stopAct->setEnabled(false);
    zoomInAct = tool(tr("&ZoomIn"), "zoomin", ":/images/zoomin.png", tr("Zoom In"), &MainWindow::ZoomIn);
    zoomOutAct =
        tool(tr("&ZoomOut"), "zoomout", ":/images/zoomout.png", tr("Zoom Out"), &MainWindow::ZoomOut);
    settingAct =
        tool(tr("&Setting"), "Setting", ":/images/setting.png", tr("Setting"), &MainWindow::NewProject);
    recording =
        new RecordControl(this, [this] { return ProposedRecordFile(projectPath, CommonCfg::Record().elf); });
    connect(recording, &RecordControl::Message, this,
            [this](const QString& text) { statusBar()->showMessage(text); });
}

void MainWindow::CreateMenus() {
    QMenu* file = menuBar()->addMenu(tr("&File"));
    file->addActions({newAct, openAct, saveAct, saveAsAct});
    file->addSeparator();
    file->addAction(saveDataAct);
    file->addSeparator();
    file->addAction(exitAct);
    // The tool bar's controls, also reachable from the keyboard through the menu bar.
    QMenu* sampling = menuBar()->addMenu(tr("S&ampling"));
    sampling->addActions({startAct, stopAct, recording->Action(), zoomInAct, zoomOutAct});
    AddSamplingModeMenu(sampling);
    menuBar()->addMenu(tr("&Project"))->addActions({configAct, settingAct});
    menuBar()->addMenu(tr("&Help"))->addActions({aboutVarAct, aboutAct});
}

void MainWindow::CreateToolBar() {
    toolBar = addToolBar(tr("toolBar"));
    toolBar->setObjectName(QStringLiteral("toolBar"));
    toolBar->addWidget(new QLabel(tr("Sampling:"), toolBar));
    toolBar->addAction(startAct);
    toolBar->addAction(stopAct);
    toolBar->addAction(recording->Action());
    toolBar->widgetForAction(recording->Action())->setAccessibleName(tr("Record"));
    toolBar->addSeparator();
    toolBar->addAction(zoomInAct);
    toolBar->addAction(zoomOutAct);

    zoomCombo = new QComboBox(toolBar);
    zoomCombo->setAccessibleName(tr("Time per division"));
    zoomCombo->addItems(TimeBase::Labels());
    zoomCombo->setCurrentIndex(CommonCfg::ZoomIndex());
    zoomProcAct = new QAction(tr("&ZoomProc"), this);
    zoomProcAct->setStatusTip(tr("Zoom"));
    toolBar->addWidget(zoomCombo);
    connect(zoomCombo, QOverload<int>::of(&QComboBox::currentIndexChanged), this, &MainWindow::SetZoomIndex);

    toolBar->addSeparator();
    toolBar->addWidget(new QLabel(tr("Target FPS: "), toolBar));
    fpsCombo = new QComboBox(toolBar);
    fpsCombo->setAccessibleName(tr("Target FPS"));
    for (int fps : CommonCfg::FpsList())
        fpsCombo->addItem(QString::number(fps));
    fpsCombo->setCurrentIndex(CommonCfg::FpsList().indexOf(CommonCfg::Fps()));
    toolBar->addWidget(fpsCombo);
    connect(fpsCombo, QOverload<int>::of(&QComboBox::currentIndexChanged), this, &MainWindow::SetFps);
    toolBar->addSeparator();

    // Mirrors the x-scroll state; never placed on the bar.
    xScrollChkBox = new QCheckBox(this);
    xScrollChkBox->hide();
    connect(xScrollChkBox, &QCheckBox::toggled, this, &MainWindow::SetXScroll);
    toolBar->addSeparator();
    autoScrollChkBox = AddCheckBox(toolBar, tr("AutoScroll"), CommonCfg::AutoScroll());
    connect(autoScrollChkBox, &QCheckBox::toggled, this, &MainWindow::SetAutoScroll);
    toolBar->addSeparator();
    chartChkBox = AddCheckBox(toolBar, tr(" Chart "), true);
    connect(chartChkBox, &QCheckBox::stateChanged, this, &MainWindow::ShowChart);
    tableChkBox = AddCheckBox(toolBar, tr(" Table "), true);
    connect(tableChkBox, &QCheckBox::stateChanged, this, &MainWindow::ShowTable);
    toolBar->addSeparator();
    toolBar->addWidget(new QLabel(tr("Setting:"), toolBar));
    toolBar->addAction(settingAct);
    toolBar->addSeparator();

    QToolBar* triggerTools = addToolBar(tr("Trigger"));
    triggerTools->setObjectName(QStringLiteral("triggerBar"));
    triggerBar = new TriggerBar(triggerTools);
    triggerBar->SetChoices(CommonCfg::TriggerChoices());
    triggerTools->addWidget(triggerBar);
}

void MainWindow::CreateDock() {
    varTable = new VarTableWidget(this);
    dock = new TableDockWidget(tr("variable"), this);
    dock->setAllowedAreas(Qt::RightDockWidgetArea);
    dock->setWidget(varTable->GetTableWidget());
    addDockWidget(Qt::RightDockWidgetArea, dock);
    resizeDocks({dock}, {kDockWidth}, Qt::Horizontal); // wide enough for the value column
    connect(dock, &TableDockWidget::Closed, this, &MainWindow::SetTableHidden);
}

void MainWindow::ConnectParts() {
    VarChartView* view = chartWidget->View();
    connect(triggerBar, &TriggerBar::Changed, this, &MainWindow::ApplyTrigger);
    connect(dataSource, &DataSource::VarValuesUpdated, this, &MainWindow::ShowTriggerMarks);
    connect(triggerBar, &TriggerBar::RearmRequested, this, &MainWindow::RearmTrigger);
    connect(zoomCombo, QOverload<int>::of(&QComboBox::currentIndexChanged), this, &MainWindow::ApplyTrigger);
    connect(varTable, &VarTableWidget::SetChartShowItems, this, &MainWindow::ApplyTrigger);
    TriggerWatch& trigger = TriggerWatch::Instance();
    connect(&trigger, &TriggerWatch::StateChanged, triggerBar,
            [this](int state) { triggerBar->ShowState(static_cast<TriggerDetector::State>(state)); });
    // Single: acquisition stops once the part after the trigger is in.
    connect(&trigger, &TriggerWatch::Captured, this, [this](bool single) {
        if (single && stopAct->isEnabled()) {
            stopAct->trigger();
            chartWidget->ShowViewFrom(TriggerWatch::Instance().WindowLeft());
        }
    });
    connect(zoomCombo, QOverload<int>::of(&QComboBox::currentIndexChanged), view,
            &VarChartView::SetZoomIndex);
    connect(view, &VarChartView::ZoomChanged, this, &MainWindow::SetZoomIndex);
    connect(view, &VarChartView::XScrollChanged, this, &MainWindow::SetXScroll);
    connect(view, &VarChartView::WidthChanged, chartWidget, &ChartWidget::ResizeWidth);

    // After StartSample and StopSample, which the actions reached first.
    connect(startAct, &QAction::triggered, chartWidget, &ChartWidget::InitXRange);
    connect(startAct, &QAction::triggered, varTable, &VarTableWidget::DisableUpdateVarItem);
    connect(startAct, &QAction::triggered, varTable, &VarTableWidget::UpdateAllYResolutionAndOffset);
    connect(startAct, &QAction::triggered, chartWidget, &ChartWidget::ToolTipsHidden);
    connect(stopAct, &QAction::triggered, varTable, &VarTableWidget::EnableUpdateVarItem);
    connect(stopAct, &QAction::triggered, chartWidget, &ChartWidget::TooltipsShow);
    connect(stopAct, &QAction::triggered, chartWidget, &ChartWidget::ResetXRangeByQueueSize);

    connect(varTable, &VarTableWidget::SendChartShowChanged, chartWidget, &ChartWidget::ChartShowChanged);
    connect(varTable, &VarTableWidget::SetChartShowItems, chartWidget, &ChartWidget::ReInitChartShow);
    connect(varTable, &VarTableWidget::RemoveSeriesById, chartWidget, &ChartWidget::RemoveSeriesByIdx);
    connect(varTable, &VarTableWidget::RemoveItem, symbolsDlg, &SelectSymbolsDlg::RemoveSelect);
    connect(varTable, &VarTableWidget::AddItem, symbolsDlg, &SelectSymbolsDlg::ShowDialog);
    connect(varTable, &VarTableWidget::ChangeYResolutionAndOffset, dataSource,
            &DataSource::SetYResolutionAndOffset);
    connect(varTable, &VarTableWidget::ChangeLastYResolutionAndOffset, dataSource,
            &DataSource::SetLastDataYResolutionAndOffset);
    connect(symbolsDlg, &SelectSymbolsDlg::SelectedDone, varTable,
            &VarTableWidget::UpdateTableWithVariableList);
    connect(varParser, &VarParser::VarListCreate, symbolsDlg, &SelectSymbolsDlg::InitItemAndShow);
    connect(varParser, &VarParser::VarListChanged, this,
            [this] { FollowRebuiltFirmware(this, *varTable, *symbolsDlg); });
    connect(varParser, &VarParser::VarListWithoutChange, varTable,
            &VarTableWidget::UpdateTableWithVariableList);
    connect(this, &MainWindow::HiddenToolTips, chartWidget, &ChartWidget::SetToolTipsHidden);

    connect(dataSource, &DataSource::VarValuesUpdated, varTable, &VarTableWidget::UpdateVarValue);
    connect(varTable, &VarTableWidget::WriteFailed, this, &MainWindow::ShowWriteFailure);
}

void MainWindow::NewProject() {
    if (projectDialog == nullptr)
        projectDialog = new ProjectDialog;
    projectDialog->show();
    projectDialog->raise();
    projectDialog->activateWindow();
}

void MainWindow::Config() {
    CommonCfg::SetOptionsMode(true);
    NewProject();
}

QString MainWindow::ProjectFolder() const {
    return projectPath.isEmpty() ? QStringLiteral("./") : projectPath;
}

void MainWindow::OpenProject() {
    if (stopAct->isEnabled()) {
        if (QMessageBox::question(this, tr("Open project file"),
                                  tr("Sampling is running. Stop it and open a project?")) != QMessageBox::Yes)
            return;
        stopAct->trigger();
    }
    const QString file =
        QFileDialog::getOpenFileName(this, tr("Open project file"), ProjectFolder(), tr(kProjectFilter));
    if (file.isEmpty())
        return;
    projectPath = file;
    // Made first: a new project dialog starts from the autosave file, which must not win over this one.
    if (projectDialog == nullptr)
        projectDialog = new ProjectDialog;
    CommonCfg::LoadProject(file);
    triggerBar->SetChoices(CommonCfg::TriggerChoices());
    fpsCombo->setCurrentText(QString::number(CommonCfg::Fps()));
    zoomCombo->setCurrentIndex(CommonCfg::ZoomIndex());
    OpenProjectSetup(this, file, *projectDialog, *varParser, *varTable, *symbolsDlg);
}

void MainWindow::SaveAs() {
    const QString file = AskSaveFile(this, tr("Save project file as"),
                                     ProposedProjectFile(projectPath, CommonCfg::Record().elf),
                                     tr(kProjectFilter), QStringLiteral("tidewatch"));
    if (file.isEmpty())
        return;
    projectPath = file;
    CommonCfg::SaveProject(file);
}

void MainWindow::Save() {
    CommonCfg::SaveProject(CommonCfg::AutosavePath());
}

void MainWindow::SaveData() {
    const QString file =
        AskSaveFile(this, tr("Save data"),
                    ProposedDataFile(projectPath, CommonCfg::Record().elf, QDateTime::currentDateTime()),
                    tr("CSV files (*.csv)"), QStringLiteral("csv"));
    if (file.isEmpty())
        return;
    statusBar()->showMessage(WriteRingData(this, file, varTable->LineItems(), dataSource->RowSlots()),
                             kWriteFailureMs);
}

void MainWindow::About() {
    QMessageBox::about(this, tr("Tidewatch"), tr("The <b>Tidewatch</b> display/modify the global Variables"));
}

void MainWindow::SetSamplingControls(bool sampling) {
    for (QAction* action : {startAct, configAct, aboutVarAct, newAct, settingAct})
        action->setEnabled(!sampling);
    stopAct->setEnabled(sampling);
}

void MainWindow::StartSample() {
    SetSamplingControls(true);
    CommonCfg::SetRunFlag(0);
    QVector<VarParser::VarDes> vars;
    for (const VarTableWidget::LineItem* item : varTable->LineItems())
        vars << *item->varDes;
    if (startSampling(vars) != 0) {
        const int failure = samplingStartFailure();
        // A server that did not start says why beside the failure text.
        const QString server = failure != 0 ? TaskManage::ServerFailure() : QString();
        const QString text = failure != 0
                                 ? CommonCfg::ErrorText(failure) + (server.isEmpty() ? "" : "\n" + server)
                                 : tr("Tick at least one variable in the table before starting.");
        // After the rest of the start chain has run, so the stop chain undoes all of it.
        QTimer::singleShot(0, this, [this, text] {
            stopAct->trigger();
            ShowInfo(text);
        });
        return;
    }
    ApplyTrigger();
    TriggerWatch::Instance().Restart();
    dataSource->StartAcquisition();
    recording->SamplingStarted(varTable->LineItems(), dataSource->RowSlots());
    sessionTimer->start();
    emit HiddenScroll(true);
}

void MainWindow::StopSample() {
    sessionTimer->stop();
    SetSamplingControls(false);
    CommonCfg::SetRunFlag(1);
    dataSource->StopAcquisition();
    stopSampling();
    recording->SamplingStopped(); // after the reader's last frame
    emit HiddenScroll(false);
}

void MainWindow::ApplyTrigger() {
    QStringList names;
    for (const VarTableWidget::LineItem* item : varTable->LineItems())
        names << (item->varDes != nullptr ? item->varDes->name : QString());
    triggerBar->SetRows(names);
    CommonCfg::SetTriggerChoices(triggerBar->Choices());
    // Stopped with a capture on the screen, the capture stays for scrolling, the cursors and saving
    // through a zoom or a change of the controls; the new settings arm the trigger at the next start.
    TriggerWatch& watch = TriggerWatch::Instance();
    if (stopAct->isEnabled() || !watch.HasCapture())
        watch.Configure(triggerBar->Settings(dataSource->RowSlots()));
    triggerBar->ShowState(triggerBar->Mode() == TriggerMode::Off ? TriggerDetector::State::Off
                                                                 : watch.State());
    ShowTriggerMarks();
}

void MainWindow::ShowTriggerMarks() {
    const int row = triggerBar->SourceRow();
    const QList<VarTableWidget::LineItem*>& items = varTable->LineItems();
    if (triggerBar->Mode() == TriggerMode::Off || row < 0 || row >= items.size()) {
        triggerMarks->Hide();
        return;
    }
    const TriggerWatch& trigger = TriggerWatch::Instance();
    triggerMarks->Show(triggerBar->Level(), QColor::fromRgb(items[row]->colorLabel->property("rgb").toUInt()),
                       trigger.HasCapture(), double(trigger.TriggerChartTime()));
}

void MainWindow::ShowStatistics() {
    const QtCharts::QValueAxis* axis = chartWidget->AxisX();
    if (axis == nullptr || varTable->LineItems().isEmpty() || FrameQueue::instance().historyEmpty())
        return;
    // Between the cursors when both are placed, else over the visible span.
    const bool between = cursors->HasA() && cursors->HasB();
    const qint64 left = between ? std::min(cursors->A(), cursors->B()) : qint64(std::ceil(axis->min()));
    const qint64 right = between ? std::max(cursors->A(), cursors->B()) : qint64(std::floor(axis->max()));
    statistics->Request(left, right, RowStatsSources(dataSource->RowSlots()));
}

void MainWindow::RearmTrigger() {
    // A Single capture stopped the run: one click samples again and waits for the next trigger.
    if (!stopAct->isEnabled() && triggerBar->Mode() == TriggerMode::Single)
        startAct->trigger();
    else
        TriggerWatch::Instance().Rearm();
}

void MainWindow::CheckSessionEnd() {
    if (!samplingEnded())
        return;
    const int code = samplingResult();
    stopAct->trigger();
    const QString text = tr("Sampling ended (code %1): %2").arg(code).arg(samplingEndText());
    statusLabel->setText(text);
    auto* box = new QMessageBox(QMessageBox::Information, tr("Info"), text, QMessageBox::Yes, this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

void MainWindow::ShowWriteFailure(const QString& message) {
    statusBar()->showMessage(message, kWriteFailureMs);
}

void MainWindow::ShowInfo(const QString& text) {
    QMessageBox box(QMessageBox::Information, tr("Info"), text, QMessageBox::Yes, this);
    box.exec();
}

void MainWindow::ZoomIn() {
    if (zoomCombo->currentIndex() > 0)
        zoomCombo->setCurrentIndex(zoomCombo->currentIndex() - 1);
}

void MainWindow::ZoomOut() {
    if (zoomCombo->currentIndex() < zoomCombo->count() - 1)
        zoomCombo->setCurrentIndex(zoomCombo->currentIndex() + 1);
}

void MainWindow::SetFps(int index) {
    CommonCfg::SetFpsIndex(index);
}

void MainWindow::AutoScroll() {}

void MainWindow::SetZoomIndex(int index) {
    zoomCombo->setCurrentIndex(index);
    CommonCfg::SetZoomIndex(index);
}

void MainWindow::SetAutoScroll(bool enable) {
    CommonCfg::SetAutoScroll(enable);
    emit HiddenToolTips(enable);
}

void MainWindow::SetXScroll(bool enable) {
    xScroll = enable;
    if (xScrollChkBox->isChecked() != enable)
        xScrollChkBox->setChecked(enable);
    CommonCfg::SetXScroll(enable);
}

void MainWindow::ShowChart(int state) {
    chartWidget->View()->setHidden(state == Qt::Unchecked);
}

void MainWindow::ShowTable(int state) {
    dock->setHidden(state == Qt::Unchecked);
}

void MainWindow::SetTableHidden() {
    tableChkBox->setChecked(false);
}
