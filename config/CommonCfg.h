#pragma once

#include "SamplingMode.h"

#include <QColor>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QVector>
#include <atomic>

class QObject;

// The project record: what the project dialog fills in as a whole.
struct ProjectRecord {
    QString manufacturer;
    QString device;
    QString debugTool;
    QString debugInterface;
    QString rate;
    QString interval;
    QString elf;
};

// The user's own board behind stock openocd: the openocd program (empty: the one on the search path),
// the board's config files in the order openocd reads them, and whether Tidewatch only attaches (no
// reset, no halt, no gdb). Kept in the project file beside the record.
struct BoardSettings {
    QString openocd;
    QStringList configs;
    bool attachOnly = false;
};

// Config files as the project dialog's field lists them: separated by ";", blanks around each dropped.
QStringList BoardConfigList(const QString& text);

// Process-wide configuration store: one set of settings per process, reached through
// static one-line accessors. Values read by the acquisition worker thread are atomics.
class CommonCfg {
public:
    // Project record, read and replaced as a whole.
    static ProjectRecord Record() { return s_record; }
    static void SetRecord(const ProjectRecord& record) { s_record = record; }

    static QString Manufacturer() { return s_manufacturer; }
    static void SetManufacturer(const QString& v) { s_manufacturer = v; }
    static QString Device() { return s_device; }
    static void SetDevice(const QString& v) { s_device = v; }
    // Debug tool flag: 1 the openocd probe, 0 the J-Link, 2 the simulated target (tidewatch-sim), 3 the
    // user's own board through stock openocd.
    static int IsOpenocdProbe() { return s_openocdProbe; }
    static void SetOpenocdProbe(int v) { s_openocdProbe = v; }
    static BoardSettings Board() { return s_board; }
    static void SetBoard(const BoardSettings& board) { s_board = board; }
    static int IsJtag() { return s_jtag; }
    static void SetJtag(int v) { s_jtag = v; }
    static int ConnectRate() { return s_connectRate; }
    static void SetConnectRate(int v) { s_connectRate = v; }
    static int DefaultRateIndex() { return 5; }

    // Sampling interval in microseconds.
    static int Interval() { return s_interval.load(); }
    static void SetInterval(int us) { s_interval.store(us); }
    // Shortest and longest sampling interval a project may ask for, in microseconds.
    static int MinInterval() { return 10; }
    static int MaxInterval() { return 1000000; }
    // Takes a project's interval text (the record's "interval") as the sampling interval. Returns 0
    // when it is a whole number of microseconds within MinInterval()..MaxInterval(); otherwise -1,
    // the interval stays as it was and `message` (when given) receives the text to show the user.
    static int ApplyIntervalText(const QString& text, QString* message = nullptr);
    // How the next session samples (project key "samplingMode"); read by the sampling engine at Start.
    static SamplingMode Mode() { return s_mode.load(); }
    static void SetMode(SamplingMode mode) { s_mode.store(mode); }
    // The trigger's choices as the trigger bar keeps them (project key "trigger"): mode, source (the
    // row's name), edge, level, position. Empty: the bar's defaults.
    static QVariantMap TriggerChoices() { return s_trigger; }
    static void SetTriggerChoices(const QVariantMap& choices) { s_trigger = choices; }
    // Display updates per second.
    static int Fps() { return s_fps.load(); }
    static void SetFps(int fps) { s_fps.store(fps); }
    // Index into the time-base table; -1 when a loaded project named an unknown step.
    static int ZoomIndex() { return s_zoomIndex.load(); }
    static void SetZoomIndex(int index) { s_zoomIndex.store(index); }

    static QString ElfPath() { return s_elfPath; }
    static void SetElfPath(const QString& v) { s_elfPath = v; }
    static QString BrowsePath() { return s_browsePath; }
    static void SetBrowsePath(const QString& v) { s_browsePath = v; }
    static bool OptionsMode() { return s_optionsMode; }
    static void SetOptionsMode(bool v) { s_optionsMode = v; }
    // Shared run flag: 1 while stopped (also at start-up), 0 while sampling.
    static int RunFlag() { return s_runFlag.load(); }
    static void SetRunFlag(int v) { s_runFlag.store(v); }
    // Most curves shown at once.
    static int CurveLimit() { return 16; }
    // The registered variable table. The project file lists its rows from the table's read-only
    // property "projectRows": one map per row in row order with "name", "address" and "type"
    // (texts), "rgb" (the colour cell's property as it is), "show" and "lock" (bools), "yResolution"
    // and "yOffset" (the cells' texts).
    static QObject* VarTable() { return s_varTable; }
    static void SetVarTable(QObject* table) { s_varTable = table; }
    // Chart-refresh flag: while false the data source keeps its points but leaves the curves alone.
    static bool ChartRefresh() { return s_chartRefresh; }
    static void SetChartRefresh(bool on) { s_chartRefresh = on; }
    // Wheel lock: while set, the chart view ignores the mouse wheel.
    static bool WheelLock() { return s_wheelLock; }
    static void SetWheelLock(bool on) { s_wheelLock = on; }
    // The main window's "AutoScroll" box and its x-scroll state.
    static bool AutoScroll() { return s_autoScroll; }
    static void SetAutoScroll(bool on) { s_autoScroll = on; }
    static bool XScroll() { return s_xScroll; }
    static void SetXScroll(bool on) { s_xScroll = on; }
    // Divisions of the time axis (its tick count - 1), set by the chart widget from its width.
    static int ChartDivisions() { return s_chartDivisions; }
    static void SetChartDivisions(int divisions) { s_chartDivisions = divisions; }

    // Fixed choice tables.
    static QMap<QString, QStringList> DeviceMap();
    static QStringList DebugTools();
    static QStringList DebugInterfaces();
    // Flags kept for a tool or interface by its list position; -1 outside the list.
    static int DebugToolFlag(int index);
    static int DebugInterfaceFlag(int index);
    // Manufacturers in key order, and the models of one (case-sensitive; empty when unknown).
    static QStringList Manufacturers();
    static QStringList Devices(const QString& manufacturer);
    static QVector<int> RateList();
    static QVector<int> FpsList();
    static QList<QColor> Palette();
    static bool SetRateIndex(int index);
    static bool SetFpsIndex(int index);
    static QString ErrorText(int code);
    // Chart constants: the most ticks on the time axis, and the ticks of the second value axis.
    static int MaxTimeTicks() { return 20; }
    static int ValueAxisTicks() { return 7; }

    // Project file: SaveProject never reports a failure; LoadProject reads the record and the
    // settings it names and leaves the variable table alone.
    static void SaveProject(const QString& path);
    static void LoadProject(const QString& path);
    // The rows a project file lists ("VarList"), in its order, for the opener to restore: maps as the
    // table's "projectRows" gives them, "rgb" as an unsigned number. Empty for an unreadable file.
    static QVariantList ReadVarList(const QString& path);
    // The autosave file: "autosave.tidewatch" in the program's folder, or in the user's data folder
    // when the program's folder cannot be written.
    static QString AutosavePath();

    // Time-base lookups.
    static int DefaultZoomIndex();
    // Time per division used while the zoom index names no step (a project with an unknown step).
    static int UnknownStepValue() { return 500000; }
    // Microseconds per division at the zoom index, or UnknownStepValue() outside the table.
    static int CurrentStepValue();
    // Label at the zoom index, or an empty text when the index is outside the table.
    static QString CurrentStepLabel();

    // Debug log path: the program folder text with "log.txt" appended directly (the user's data
    // folder when the program's folder cannot be written).
    static QString LogPath() { return s_logPath; }
    // The start-up step: fixes the log path from the program folder.
    static void InitStartup(const QString& programDir);

    // Puts every setting back to its start-up default (for tests).
    static void ResetForTests();

private:
    static ProjectRecord s_record;
    static QString s_manufacturer;
    static QString s_device;
    static int s_openocdProbe;
    static BoardSettings s_board;
    static int s_jtag;
    static int s_connectRate;
    static std::atomic<int> s_interval;
    static std::atomic<int> s_fps;
    static std::atomic<SamplingMode> s_mode;
    static QVariantMap s_trigger;
    static std::atomic<int> s_zoomIndex;
    static QString s_elfPath;
    static QString s_browsePath;
    static bool s_optionsMode;
    static std::atomic<int> s_runFlag;
    static QObject* s_varTable;
    static bool s_chartRefresh;
    static int s_chartDivisions;
    static bool s_wheelLock;
    static bool s_autoScroll;
    static bool s_xScroll;
    static QString s_logPath;
};
