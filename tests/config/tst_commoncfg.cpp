// The fixed choice tables of the configuration store: catalogue, tools, speeds, frame rates,
// colours, failure texts, the log path and the time-base lookups.
#include "CommonCfg.h"
#include "TimeBase.h"

#include <QCoreApplication>
#include <QTranslator>
#include <QtTest>

namespace {

// Answers every text of the configuration store with a marked copy, so a test sees which texts go
// through translation.
class MarkingTranslator : public QTranslator {
public:
    bool isEmpty() const override { return false; }
    QString translate(const char* context, const char* source, const char* = nullptr,
                      int = -1) const override {
        return QByteArray(context) == "CommonCfg" ? QString("[tr]") + source : QString();
    }
};

} // namespace

class CommonCfgTest : public QObject {
    Q_OBJECT
private slots:
    void init() { CommonCfg::ResetForTests(); }

    void deviceCatalogue();
    void devicesByManufacturer_data();
    void devicesByManufacturer();
    void toolsAndInterfaces();
    void speedTable();
    void setRateIndex_data();
    void setRateIndex();
    void frameRateTable();
    void setFpsIndex_data();
    void setFpsIndex();
    void chartConstants();
    void errorText_data();
    void errorText();
    void errorTextTranslation();
    void palette();
    void logPath_data();
    void logPath();
    void timeBaseLookups_data();
    void timeBaseLookups();
    void resetRestoresDisplayFlags();
};

void CommonCfgTest::deviceCatalogue() {
    const QMap<QString, QStringList> devices = CommonCfg::DeviceMap();
    QCOMPARE(devices.keys(), QStringList{"Corvane"});
    QCOMPARE(devices.value("Corvane"), (QStringList{"7420MQDTVA", "7425MQDTCA", "7425MQDTRA"}));
    QCOMPARE(CommonCfg::Manufacturers(), QStringList{"Corvane"});
}

void CommonCfgTest::devicesByManufacturer_data() {
    QTest::addColumn<QString>("manufacturer");
    QTest::addColumn<QStringList>("models");
    QTest::newRow("known") << "Corvane" << QStringList{"7420MQDTVA", "7425MQDTCA", "7425MQDTRA"};
    QTest::newRow("other letter case") << "corvane" << QStringList();
    QTest::newRow("upper case") << "CORVANE" << QStringList();
    QTest::newRow("empty") << "" << QStringList();
}

void CommonCfgTest::devicesByManufacturer() {
    QFETCH(QString, manufacturer);
    QFETCH(QStringList, models);
    QCOMPARE(CommonCfg::Devices(manufacturer), models);
}

void CommonCfgTest::toolsAndInterfaces() {
    QCOMPARE(CommonCfg::DebugTools(), (QStringList{"openocd(Brightloom-Trace)", "jlink"}));
    QCOMPARE(CommonCfg::DebugToolFlag(0), 1);
    QCOMPARE(CommonCfg::DebugToolFlag(1), 0);
    QCOMPARE(CommonCfg::DebugToolFlag(2), -1);
    QCOMPARE(CommonCfg::DebugToolFlag(-1), -1);
    QCOMPARE(CommonCfg::DebugInterfaces(), (QStringList{"SWD", "JTAG"}));
    QCOMPARE(CommonCfg::DebugInterfaceFlag(0), 0);
    QCOMPARE(CommonCfg::DebugInterfaceFlag(1), 1);
    QCOMPARE(CommonCfg::DebugInterfaceFlag(2), -1);
    // The store starts with the openocd probe on SWD.
    QCOMPARE(CommonCfg::IsOpenocdProbe(), CommonCfg::DebugToolFlag(0));
    QCOMPARE(CommonCfg::IsJtag(), CommonCfg::DebugInterfaceFlag(0));
}

void CommonCfgTest::speedTable() {
    const QVector<int> rates = CommonCfg::RateList();
    QCOMPARE(rates, (QVector<int>{100, 500, 1000, 2000, 3000, 4000, 5000, 6000, 7000, 8000, 9000, 10000}));
    QStringList texts;
    for (int r : rates)
        texts << QString::number(r);
    QCOMPARE(texts.join(' '), QString("100 500 1000 2000 3000 4000 5000 6000 7000 8000 9000 10000"));
    QCOMPARE(CommonCfg::DefaultRateIndex(), 5);
    QCOMPARE(texts[CommonCfg::DefaultRateIndex()], QString("4000"));
    QCOMPARE(CommonCfg::ConnectRate(), 4000);
}

void CommonCfgTest::setRateIndex_data() {
    QTest::addColumn<int>("index");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<int>("rate");
    QTest::newRow("first") << 0 << true << 100;
    QTest::newRow("default") << 5 << true << 4000;
    QTest::newRow("last") << 11 << true << 10000;
    QTest::newRow("one past the end") << 12 << false << 2000;
    QTest::newRow("negative") << -1 << false << 2000;
}

void CommonCfgTest::setRateIndex() {
    QFETCH(int, index);
    QFETCH(bool, accepted);
    QFETCH(int, rate);
    CommonCfg::SetConnectRate(2000);
    QCOMPARE(CommonCfg::SetRateIndex(index), accepted);
    QCOMPARE(CommonCfg::ConnectRate(), rate);
}

void CommonCfgTest::frameRateTable() {
    QCOMPARE(CommonCfg::FpsList(), (QVector<int>{1, 2, 5, 10, 15, 20, 25, 30, 40, 50, 60}));
    QCOMPARE(CommonCfg::Fps(), 15);
}

void CommonCfgTest::setFpsIndex_data() {
    QTest::addColumn<int>("index");
    QTest::addColumn<int>("fps");
    QTest::newRow("first") << 0 << 1;
    QTest::newRow("fifteen") << 4 << 15;
    QTest::newRow("last") << 10 << 60;
    QTest::newRow("past the end keeps the rate") << 11 << 25;
    QTest::newRow("negative keeps the rate") << -1 << 25;
}

void CommonCfgTest::setFpsIndex() {
    QFETCH(int, index);
    QFETCH(int, fps);
    CommonCfg::SetFps(25);
    CommonCfg::SetFpsIndex(index);
    QCOMPARE(CommonCfg::Fps(), fps);
}

void CommonCfgTest::chartConstants() {
    QCOMPARE(CommonCfg::MaxTimeTicks(), 20);
    QCOMPARE(CommonCfg::ValueAxisTicks(), 7);
    QCOMPARE(CommonCfg::CurveLimit(), 16);
}

void CommonCfgTest::errorText_data() {
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("text");
    QTest::newRow("2 server")
        << 2
        << "Setup GDBserver Fail! Please check the connection between the debugger and the PC "
           ",and then restart Tidewatch!";
    QTest::newRow("3 debugger")
        << 3
        << "Debugger connection Fail! Please check the connection between the debugger and "
           "the PC ,and then restart Tidewatch!";
    QTest::newRow("4 target")
        << 4
        << "Target connection Fail! Please check the connection between the debugger and the "
           "target board, and then restart Tidewatch!";
    QTest::newRow("0") << 0 << "Unkonw Error!";
    QTest::newRow("1") << 1 << "Unkonw Error!";
    QTest::newRow("5") << 5 << "Unkonw Error!";
    QTest::newRow("-1") << -1 << "Unkonw Error!";
    QTest::newRow("int min") << std::numeric_limits<int>::min() << "Unkonw Error!";
}

void CommonCfgTest::errorText() {
    QFETCH(int, code);
    QFETCH(QString, text);
    QCOMPARE(CommonCfg::ErrorText(code), text);
}

void CommonCfgTest::errorTextTranslation() {
    MarkingTranslator translator;
    QVERIFY(QCoreApplication::installTranslator(&translator));
    const QString server = CommonCfg::ErrorText(2);
    const QString target = CommonCfg::ErrorText(4);
    const QString unknown = CommonCfg::ErrorText(7);
    QCoreApplication::removeTranslator(&translator);
    QVERIFY2(server.startsWith("[tr]Setup GDBserver Fail!"), qPrintable(server));
    QVERIFY2(target.startsWith("[tr]Target connection Fail!"), qPrintable(target));
    // The last text is kept as it is.
    QCOMPARE(unknown, QString("Unkonw Error!"));
}

void CommonCfgTest::palette() {
    const QList<QColor> colours = CommonCfg::Palette();
    const QList<QRgb> expected{0xff0000, 0x00ff00, 0x007fff, 0x7fffd4, 0xe0ffff, 0x6495ed,
                               0x8b00ff, 0x00ff80, 0xffcc00, 0xff00ff, 0xff8c69, 0xe6e6fa,
                               0xffc0cb, 0x50c878, 0xccff00, 0x30d5c8};
    QList<QRgb> actual;
    for (const QColor& c : colours)
        actual << (c.rgb() & 0xffffff);
    QCOMPARE(actual, expected);
    for (const QColor& c : colours)
        QCOMPARE(c.alpha(), 255);
}

void CommonCfgTest::logPath_data() {
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("path");
    QTest::newRow("no separator added") << "/opt/tidewatch"
                                        << "/opt/tidewatchlog.txt";
    QTest::newRow("folder with a slash") << "/opt/tidewatch/"
                                         << "/opt/tidewatch/log.txt";
    QTest::newRow("empty folder") << ""
                                  << "log.txt";
}

void CommonCfgTest::logPath() {
    QFETCH(QString, folder);
    QFETCH(QString, path);
    CommonCfg::InitStartup(folder);
    QCOMPARE(CommonCfg::LogPath(), path);
}

void CommonCfgTest::timeBaseLookups_data() {
    QTest::addColumn<int>("zoomIndex");
    QTest::addColumn<int>("step");
    QTest::addColumn<QString>("label");
    QTest::newRow("first") << 0 << 10 << "10us/Div";
    QTest::newRow("default") << 10 << 20000 << "20ms/Div";
    QTest::newRow("display default depth") << 14 << 500000 << "500ms/Div";
    QTest::newRow("last") << 22 << 200000000 << "200s/Div";
    QTest::newRow("past the end") << 23 << 0 << "";
    QTest::newRow("unknown step of a loaded project") << -1 << 0 << "";
}

void CommonCfgTest::timeBaseLookups() {
    QFETCH(int, zoomIndex);
    QFETCH(int, step);
    QFETCH(QString, label);
    QCOMPARE(CommonCfg::DefaultZoomIndex(), 10);
    CommonCfg::SetZoomIndex(zoomIndex);
    QCOMPARE(CommonCfg::CurrentStepValue(), step);
    QCOMPARE(CommonCfg::CurrentStepLabel(), label);
}

void CommonCfgTest::resetRestoresDisplayFlags() {
    QVERIFY(CommonCfg::ChartRefresh());
    QCOMPARE(CommonCfg::ChartDivisions(), 9);
    CommonCfg::SetChartRefresh(false);
    CommonCfg::SetChartDivisions(19);
    CommonCfg::SetRunFlag(0);
    CommonCfg::ResetForTests();
    QVERIFY(CommonCfg::ChartRefresh());
    QCOMPARE(CommonCfg::ChartDivisions(), 9);
    QCOMPARE(CommonCfg::RunFlag(), 1);
}

QTEST_GUILESS_MAIN(CommonCfgTest)
#include "tst_commoncfg.moc"
