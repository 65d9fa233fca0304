#pragma once

#include <QMainWindow>
#include <QString>

class TriggerBar;
class CursorPair;
class TriggerMarks;
class ChartWidget;
class DataSource;
class ProjectDialog;
class QAction;
class QCheckBox;
class QComboBox;
class QLabel;
class QTimer;
class StatisticsRunner;
class QToolBar;
class RecordControl;
class SelectSymbolsDlg;
class TableDockWidget;
class VarParser;
class VarTableWidget;

// The program's only main window: chart in the middle, variable table in a dock on the right, the
// sampling controls on the tool bar. It wires the parts together and runs the start and stop of
// sampling; the work itself happens in the parts.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    ChartWidget* Chart() const { return chartWidget; }
    VarTableWidget* Table() const { return varTable; }
    SelectSymbolsDlg* SymbolsDialog() const { return symbolsDlg; }
    ProjectDialog* GetProjectDialog() const { return projectDialog; }
    QAction* NewAction() const { return newAct; }
    QAction* StartAction() const { return startAct; }
    QAction* StopAction() const { return stopAct; }
    QComboBox* ZoomBox() const { return zoomCombo; }
    QComboBox* FpsBox() const { return fpsCombo; }
    QCheckBox* TableBox() const { return tableChkBox; }
    TableDockWidget* Dock() const { return dock; }
    // The status bar's message label.
    QLabel* StatusLabel() const { return statusLabel; }
    RecordControl* Recording() const { return recording; }

signals:
    void HiddenScroll(bool hidden);
    void HiddenToolTips(bool hidden);

public slots:
    void NewProject();
    void OpenProject();
    void About();
    void Config();
    void StartSample();
    void StopSample();
    void ZoomIn();
    void ZoomOut();
    void SetFps(int index);
    void AutoScroll();
    void SetZoomIndex(int index);
    void SetAutoScroll(bool enable);
    void SetXScroll(bool enable);
    void ShowChart(int state);
    void ShowTable(int state);
    void SetTableHidden();
    void SaveAs();
    void Save();
    void SaveData();

private slots:
    // Polled while sampling: a session that ended by itself brings the window back to stopped.
    void CheckSessionEnd();
    void ShowWriteFailure(const QString& message);
    // The trigger bar's choices go to the project and to the display's trigger.
    void ApplyTrigger();
    void RearmTrigger();
    void ShowTriggerMarks();
    // The table's min, max, mean and peak-to-peak over every frame of the visible span.
    void ShowStatistics();

protected:
    // Closing the window ends the program's work at once (see ShutDown), also when a signal closed it.
    void closeEvent(QCloseEvent* event) override;

private:
    // What every end of the program does, the window's close, a stop signal and the destruction alike:
    // sampling stops (and whatever it feeds is flushed), the project is autosaved, the debug tools end.
    // Safe to run twice.
    void ShutDown();
    void CreateActions();
    void CreateMenus();
    void CreateToolBar();
    void CreateDock();
    void ConnectParts();
    void SetSamplingControls(bool sampling);
    void ShowInfo(const QString& text);
    QString ProjectFolder() const;

    QTimer* sessionTimer = nullptr;
    bool xScroll = false;
    int autoScrollFlag = 1;
    int reserved = 0;
    QString projectPath;

    QAction* newAct = nullptr;
    QAction* openAct = nullptr;
    QAction* saveAct = nullptr;
    QAction* saveAsAct = nullptr;
    QAction* saveDataAct = nullptr;
    QAction* aboutVarAct = nullptr;
    QAction* configAct = nullptr;
    QAction* aboutAct = nullptr;
    QAction* exitAct = nullptr;
    QToolBar* toolBar = nullptr;
    QAction* startAct = nullptr;
    QAction* stopAct = nullptr;
    QAction* zoomInAct = nullptr;
    QAction* zoomOutAct = nullptr;
    QAction* zoomProcAct = nullptr;
    QAction* settingAct = nullptr;
    QComboBox* zoomCombo = nullptr;
    QComboBox* fpsCombo = nullptr;
    QCheckBox* xScrollChkBox = nullptr;
    QCheckBox* autoScrollChkBox = nullptr;
    QCheckBox* chartChkBox = nullptr;
    QCheckBox* tableChkBox = nullptr;
    QLabel* statusLabel = nullptr;
    TriggerBar* triggerBar = nullptr;
    TriggerMarks* triggerMarks = nullptr;
    QTimer* statsTimer = nullptr;
    StatisticsRunner* statistics = nullptr;
    CursorPair* cursors = nullptr;
    RecordControl* recording = nullptr;

    VarParser* varParser = nullptr;
    VarTableWidget* varTable = nullptr;
    TableDockWidget* dock = nullptr;
    ChartWidget* chartWidget = nullptr;
    DataSource* dataSource = nullptr;
    SelectSymbolsDlg* symbolsDlg = nullptr;
    ProjectDialog* projectDialog = nullptr;
};
