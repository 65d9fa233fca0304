#include "CommonCfg.h"

#include "Platform.h"
#include "TimeBase.h"

#include <QCoreApplication>
#include <QDir>

ProjectRecord CommonCfg::s_record;
QString CommonCfg::s_manufacturer;
QString CommonCfg::s_device;
int CommonCfg::s_openocdProbe = 1;
BoardSettings CommonCfg::s_board;
int CommonCfg::s_jtag = 0;
int CommonCfg::s_connectRate = 4000;
std::atomic<int> CommonCfg::s_interval{20};
std::atomic<int> CommonCfg::s_fps{15};
std::atomic<SamplingMode> CommonCfg::s_mode{SamplingMode::Auto};
QVariantMap CommonCfg::s_trigger;
// The chart view starts at "20ms/Div"; every part starts from the same step.
std::atomic<int> CommonCfg::s_zoomIndex{CommonCfg::DefaultZoomIndex()};
QString CommonCfg::s_elfPath;
QString CommonCfg::s_browsePath;
bool CommonCfg::s_optionsMode = false;
std::atomic<int> CommonCfg::s_runFlag{1};
QObject* CommonCfg::s_varTable = nullptr;
bool CommonCfg::s_chartRefresh = true;
// The chart starts with its fewest ticks, 10, hence 9 divisions.
int CommonCfg::s_chartDivisions = 9;
bool CommonCfg::s_wheelLock = false;
bool CommonCfg::s_autoScroll = false;
bool CommonCfg::s_xScroll = false;
QString CommonCfg::s_logPath;

QStringList BoardConfigList(const QString& text) {
    QStringList configs;
    for (const QString& config : text.split(QLatin1Char(';')))
        if (!config.trimmed().isEmpty())
            configs << config.trimmed();
    return configs;
}

QMap<QString, QStringList> CommonCfg::DeviceMap() {
    static const QMap<QString, QStringList> devices{
        {"Corvane", {"7420MQDTVA", "7425MQDTCA", "7425MQDTRA"}},
    };
    return devices;
}

QStringList CommonCfg::DebugTools() {
    return {"openocd(Brightloom-Trace)", "jlink", "Simulator (tidewatch-sim)", "openocd (your board)"};
}

QStringList CommonCfg::DebugInterfaces() {
    return {"SWD", "JTAG"};
}

int CommonCfg::DebugToolFlag(int index) {
    // The openocd probe is flagged 1, the J-Link 0, the simulated target 2, the user's own board 3.
    static const int flags[] = {1, 0, 2, 3};
    return (index < 0 || index >= 4) ? -1 : flags[index];
}

int CommonCfg::DebugInterfaceFlag(int index) {
    // SWD is flagged 0, JTAG 1.
    static const int flags[] = {0, 1};
    return (index < 0 || index >= 2) ? -1 : flags[index];
}

QStringList CommonCfg::Manufacturers() {
    return DeviceMap().keys();
}

QStringList CommonCfg::Devices(const QString& manufacturer) {
    return DeviceMap().value(manufacturer);
}

QVector<int> CommonCfg::RateList() {
    static const QVector<int> rates{100, 500, 1000, 2000, 3000, 4000, 5000, 6000, 7000, 8000, 9000, 10000};
    return rates;
}

QVector<int> CommonCfg::FpsList() {
    return {1, 2, 5, 10, 15, 20, 25, 30, 40, 50, 60};
}

QList<QColor> CommonCfg::Palette() {
    static const QList<QColor> palette = [] {
        const QRgb rgb[] = {0xff0000, 0x00ff00, 0x007fff, 0x7fffd4, 0xe0ffff, 0x6495ed, 0x8b00ff, 0x00ff80,
                            0xffcc00, 0xff00ff, 0xff8c69, 0xe6e6fa, 0xffc0cb, 0x50c878, 0xccff00, 0x30d5c8};
        QList<QColor> colours;
        for (QRgb c : rgb)
            colours.append(QColor(c));
        return colours;
    }();
    return palette;
}

bool CommonCfg::SetRateIndex(int index) {
    const QVector<int> rates = RateList();
    if (index < 0 || index >= rates.size())
        return false;
    s_connectRate = rates[index];
    return true;
}

bool CommonCfg::SetFpsIndex(int index) {
    const QVector<int> fps = FpsList();
    // An unknown rate keeps the current one rather than reading outside the table.
    if (index < 0 || index >= fps.size())
        return false;
    s_fps.store(fps[index]);
    return true;
}

QString CommonCfg::ErrorText(int code) {
    switch (code) {
    case 2:
        return QCoreApplication::translate("CommonCfg", "Setup GDBserver Fail! Please check the connection "
                                                        "between the debugger and the PC ,and then restart "
                                                        "Tidewatch!");
    case 3:
        return QCoreApplication::translate("CommonCfg",
                                           "Debugger connection Fail! Please check the connection "
                                           "between the debugger and the PC ,and then restart "
                                           "Tidewatch!");
    case 4:
        return QCoreApplication::translate("CommonCfg", "Target connection Fail! Please check the connection "
                                                        "between the debugger and the target board, and then "
                                                        "restart Tidewatch!");
    default:
        return QStringLiteral("Unkonw Error!");
    }
}

int CommonCfg::DefaultZoomIndex() {
    const int index = TimeBase::IndexOfValue(20000);
    return index < 0 ? 0 : index;
}

int CommonCfg::CurrentStepValue() {
    const int index = ZoomIndex();
    const QVector<int>& values = TimeBase::Values();
    return (index < 0 || index >= values.size()) ? UnknownStepValue() : values[index];
}

QString CommonCfg::CurrentStepLabel() {
    const int index = ZoomIndex();
    const QStringList labels = TimeBase::Labels();
    return (index < 0 || index >= labels.size()) ? QString() : labels[index];
}

void CommonCfg::InitStartup(const QString& programDir) {
    s_logPath = Platform::DataFolder(programDir) + "log.txt";
}

QString CommonCfg::AutosavePath() {
    return QDir(Platform::DataFolder(QCoreApplication::applicationDirPath()))
        .filePath(QStringLiteral("autosave.tidewatch"));
}

void CommonCfg::ResetForTests() {
    s_record = ProjectRecord();
    s_manufacturer.clear();
    s_device.clear();
    s_openocdProbe = 1;
    s_board = BoardSettings();
    s_jtag = 0;
    s_connectRate = 4000;
    s_interval.store(20);
    s_fps.store(15);
    s_mode.store(SamplingMode::Auto);
    s_trigger.clear();
    s_zoomIndex.store(DefaultZoomIndex());
    s_elfPath.clear();
    s_browsePath.clear();
    s_optionsMode = false;
    s_runFlag.store(1);
    s_varTable = nullptr;
    s_chartRefresh = true;
    s_chartDivisions = 9;
    s_wheelLock = false;
    s_autoScroll = false;
    s_xScroll = false;
    s_logPath.clear();
}
