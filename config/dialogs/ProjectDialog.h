#pragma once

#include "CommonCfg.h"
#include "ProjectDialogForm.h"

#include <QDialog>
#include <QString>

// Where the user sets up a project: target device, debug tool, interface and probe speed, sampling
// interval (or rate) and the firmware's ELF file; for the user's own board, their openocd and its config
// files. "New Config" starts from the autosave file,
// "Options" from the current settings (CommonCfg's Options-mode flag chooses, once, at construction).
// OK stores the choices, runs the symbol extractor and has the debug server started.
class ProjectDialog : public QDialog {
    Q_OBJECT
public:
    explicit ProjectDialog(QWidget* parent = nullptr);

    // The symbol extractor on the ELF field's file; and that followed by loading its list.
    bool RunExtractor();
    bool RunExtractorAndLoad();

    // The fields from the project record (as a project file loaded it).
    void ShowRecord();
    // What OK does once the fields are accepted: stores them as the project, runs the extractor on the
    // ELF file and loads its list, and has the debug server started unless one runs. False when no
    // list was loaded (the user has been told why).
    bool Apply();

    // Ends the debug server and gdb at exit.
    static void EndDebugServer();

public slots:
    // The rate from the interval the user typed, and the interval from the rate.
    void SetSampleFreq();
    void SetSampleInterval();
    void UpdateDeviceList(const QString& manufactor);
    // The ELF chooser.
    void open() override;
    void accept() override;
    // The board's group for the user's own board, the interface and speed for the probes that use them.
    void ShowToolSettings();
    void ChooseOpenocd();
    void AddBoardConfigs();

private:
    void SetUpNewConfig();
    void SetUpOptions();
    void ShowBoard(const BoardSettings& board);

    ProjectDialogForm m_ui;
    const qint32 m_usPerSecond = 1000000;
    const qint32 m_minInterval = 10;
    const qint32 m_maxInterval = 1000000;
    quint32 m_interval = 0; // last interval parsed from the interval field
    QString m_browsePath;
};
