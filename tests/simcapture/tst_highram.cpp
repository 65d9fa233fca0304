// A firmware whose RAM starts at 0x80000000: the extractor lists its globals above 0x7FFFFFFF with
// their encoding, and tidewatch-capture samples and writes them through tidewatch-sim.
#include "SimChild.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

namespace {
// name -> the variable's object in the extractor's list of `elf`, written into `dir`.
QMap<QString, QJsonObject> Extract(const QString& elf, const QTemporaryDir& dir) {
    QProcess extractor;
    extractor.setWorkingDirectory(dir.path());
    extractor.start(QStringLiteral(TIDEWATCH_EXTRACTOR_BIN), {elf});
    extractor.waitForFinished(30000);
    QFile file(dir.filePath(QStringLiteral("elf.json")));
    QMap<QString, QJsonObject> vars;
    if (!file.open(QIODevice::ReadOnly))
        return vars;
    for (const QJsonValue& unit : QJsonDocument::fromJson(file.readAll()).array())
        for (const QJsonValue& v : unit.toObject().value(QStringLiteral("dataList")).toArray())
            vars.insert(v.toObject().value(QStringLiteral("name")).toString(), v.toObject());
    return vars;
}
} // namespace

class TestHighRam : public QObject {
    Q_OBJECT
private slots:
    void captureAboveTwoGigabytes();
};

void TestHighRam::captureAboveTwoGigabytes() {
    if (QStandardPaths::findExecutable(QStringLiteral("qemu-system-riscv32")).isEmpty())
        QSKIP("qemu-system-riscv32 is not installed");
    QTemporaryDir low, high;
    // The encoding key tells the reading behind the type's name.
    const QMap<QString, QJsonObject> demo = Extract(QStringLiteral(TIDEWATCH_DEMO_ELF), low);
    const QStringList keys{"unsigned", "signed", "unsigned", "float"};
    const QStringList names{"loop_counter", "temperature", "status_bits", "sine_wave"};
    for (int i = 0; i < names.size(); ++i)
        QCOMPARE(demo.value(names[i]).value(QStringLiteral("encoding")).toString(), keys[i]);

    const QMap<QString, QJsonObject> vars = Extract(QStringLiteral(TIDEWATCH_DEMO_HIGH_ELF), high);
    QVERIFY(vars.value("loop_counter").value("address").toString().startsWith("804"));
    Sim::SimChild sim;
    QVERIFY2(sim.Start(QStringLiteral(TIDEWATCH_SIM_BIN), {QStringLiteral(TIDEWATCH_DEMO_HIGH_ELF)}),
             sim.Output().constData());
    QProcess capture;
    capture.start(QStringLiteral(TIDEWATCH_CAPTURE_BIN),
                  {"--port", QString::number(sim.Port()), "--symbols", high.filePath("elf.json"),
                   "--interval", "1000", "--duration", "2", "--set", "amplitude=2500", "loop_counter",
                   "temperature", "amplitude"});
    QVERIFY(capture.waitForFinished(20000));
    const QString messages = capture.readAllStandardError();
    QVERIFY2(capture.exitCode() == 0, qPrintable(messages));
    QList<QByteArray> lines = capture.readAllStandardOutput().trimmed().split('\n');
    QCOMPARE(lines.takeFirst(), QByteArray("time,loop_counter,temperature,amplitude"));
    QVERIFY2(lines.size() > 100, qPrintable(messages));
    qulonglong previous = 0;
    for (const QByteArray& line : lines) {
        const QList<QByteArray> f = line.split(',');
        bool whole = false;
        const qulonglong counter = f[1].toULongLong(&whole); // an unsigned whole number, never going back
        QVERIFY2(whole && counter >= previous && f[2].toInt() >= 250 && f[2].toInt() <= 350, line);
        previous = counter;
    }
    QVERIFY(previous > 0);
    QCOMPARE(lines.last().split(',').at(3), QByteArray("2500"));
}

QTEST_GUILESS_MAIN(TestHighRam)
#include "tst_highram.moc"
