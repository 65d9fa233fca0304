// What a sampled word reads as, from the variable's type text and the catalogue's encoding key, where
// the value leaves for the chart (the data source's points), the table (the value cell and its
// validator) and the CSV; and which address texts the sampling start takes.
#include "Acquisition.h"
#include "Console.h"
#include "CsvWriter.h"
#include "DataSource.h"
#include "GetData.h"
#include "SampleValue.h"
#include "TableFixture.h"
#include "ValueLineEdit.h"
#include "WatchList.h"

#include <QDoubleValidator>
#include <QtTest>
#include <cstdio>

class ValueTypesTest : public QObject {
    Q_OBJECT
private slots:
    void readingAtEveryExit_data();
    void readingAtEveryExit();
    void addressTexts_data();
    void addressTexts();
};

void ValueTypesTest::readingAtEveryExit_data() {
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("encoding"); // empty: an older catalogue without the key
    QTest::addColumn<int>("size");
    QTest::addColumn<uint>("raw");    // the frame word: the sampled bytes, zero-extended
    QTest::addColumn<QString>("csv"); // the reading as the CSV writes it
    auto row = [](const char* name, const char* type, const char* encoding, int size, uint raw,
                  const char* csv) { QTest::newRow(name) << type << encoding << size << raw << csv; };
    row("char keeps its reading", "char", "unsigned", 1, 0xFF, "255");
    row("signed char", "signed char", "signed", 1, 0xFF, "-1");
    row("unsigned char", "unsigned char", "unsigned", 1, 0xFF, "255");
    row("short", "short", "signed", 2, 0xFFFE, "-2");
    row("unsigned short", "unsigned short", "unsigned", 2, 0xFFFE, "65534");
    row("int", "int", "signed", 4, 0xFFFFFFFF, "-1");
    row("unsigned int", "unsigned int", "unsigned", 4, 0xFFFFFFFF, "4294967295");
    row("long by name", "long", "", 4, 0x80000000, "-2147483648");
    row("uint32_t by name", "uint32_t", "", 4, 100000, "100000");
    row("typedef by key", "counter_t", "unsigned", 4, 100000, "100000");
    row("int16_t by name", "int16_t", "", 2, 0x8000, "-32768");
    row("_Bool", "_Bool", "unsigned", 1, 1, "1");
    row("enum", "enum mode", "signed", 4, 0xFFFFFFFE, "-2");
    row("enum of unsigned values", "enum flags", "unsigned", 1, 0x80, "128");
    row("pointer", "pointer", "unsigned", 4, 0x80001000, "2147487744");
    row("float", "float", "float", 4, 0x3FC00000, "1.5");
    row("double of 8 bytes is not decoded", "double", "float", 8, 0, "0");
    row("unknown type reads its bits unsigned", "struct s", "", 4, 0xFFFFFFFF, "4294967295");
}

void ValueTypesTest::readingAtEveryExit() {
    QFETCH(QString, type);
    QFETCH(QString, encoding);
    QFETCH(int, size);
    QFETCH(uint, raw);
    QFETCH(QString, csv);
    TestVar var{"v", "20000000", type, "global", size, encoding};
    QVERIFY(LoadCatalogue({{"a.c", {var}}}));
    VarTableWidget table;
    SelectByName(table, {"v"});
    const VarParser::VarDes& des = *table.LineItems().first()->varDes;

    // The watch list and the frame as a sampling start and the session leave them.
    watchList() = WatchList();
    WatchList& watch = watchList();
    watch.count = 1;
    watch.typeCode[0] = typeCodeOf(des);
    watch.scale[0] = 1.0f;
    SampleFrame frame{};
    frame.count = 1;
    frame.value[0] = raw;
    frame.typeCode[0] = watch.typeCode[0];

    std::string line;
    CsvWriter::formatFrame(frame, line);
    QCOMPARE(QString::fromStdString(line), "0," + csv + "\n");

    DataSource source;
    table.SetDataSource(&source);
    source.Display({{GetData::PointOf(frame, 0)}}, {{}});
    QCOMPARE(source.Points().at(0).at(0).y(), csv.toDouble());
    ValueLineEdit* cell = table.LineItems().first()->valueEdit;
    QCOMPARE(cell->text(), QString::number(csv.toDouble(), 'g', 6));
    // The value cell takes numbers of the same kind: decimals only for floating types.
    const bool decimals = qobject_cast<const QDoubleValidator*>(cell->validator()) != nullptr;
    QCOMPARE(decimals, !isWholeNumberCode(frame.typeCode[0]));
}

void ValueTypesTest::addressTexts_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<uint>("address");
    QTest::newRow("0") << "0" << true << 0u;
    QTest::newRow("0x7fffffff") << "0x7fffffff" << true << 0x7fffffffu;
    QTest::newRow("0x80000000") << "0x80000000" << true << 0x80000000u;
    QTest::newRow("ffffffff") << "ffffffff" << true << 0xffffffffu;
    QTest::newRow("0x100000000") << "0x100000000" << false << 0u;
    QTest::newRow("empty") << "" << false << 0u;
    QTest::newRow("zz") << "zz" << false << 0u;
}

void ValueTypesTest::addressTexts() {
    QFETCH(QString, text);
    QFETCH(bool, valid);
    QFETCH(uint, address);
    uint32_t parsed = 0;
    QCOMPARE(parseAddress(text, parsed), valid);
    QCOMPARE(parsed, address);
    if (valid)
        return;
    // A sampling start refuses it before connecting, naming the variable.
    std::FILE* console = std::tmpfile();
    setConsoleStream(console);
    VarParser::VarDes ok, bad;
    ok.name = "fine";
    ok.address = "20000000";
    bad.name = "far_away";
    bad.address = text;
    QCOMPARE(startSampling({ok, bad}), -1);
    setConsoleStream(stdout);
    QVERIFY(!samplingRunning());
    char said[512] = {};
    std::rewind(console);
    std::fread(said, 1, sizeof said - 1, console);
    std::fclose(console);
    QVERIFY2(QString(said).contains("'far_away'"), said);
}

QTEST_MAIN(ValueTypesTest)
#include "tst_valuetypes.moc"
