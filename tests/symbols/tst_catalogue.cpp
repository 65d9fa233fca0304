// The symbol catalogue: reading elf.json, the new/changed/unchanged rule, bad files, and the
// extractor run on a real program.
#include "ErrorBox.h"
#include "SymbolLoader.h"
#include "VarParser.h"

#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QByteArray kTwoVars = R"([{"name":"main.c","dataList":[
  {"name":"counter","address":"20000000","scope":"global","size":4,"type":"unsigned int","key":1},
  {"name":"wave","address":"0x20000004","scope":"static","size":4,"type":"float","key":2}]}])";

QByteArray edited(const char* from, const char* to) {
    return QByteArray(kTwoVars).replace(from, to);
}

} // namespace

class CatalogueTest : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QStringList m_shown; // texts of the error boxes

    QString write(const QString& name, const QByteArray& text) {
        QFile f(m_dir.filePath(name));
        f.open(QIODevice::WriteOnly);
        f.write(text);
        return f.fileName();
    }

private slots:
    void init() {
        VarParser::ResetForTests();
        m_shown.clear();
        SetErrorBoxStandIn([this](const QString& text, const QString&) {
            m_shown << text;
            return true;
        });
    }
    void cleanup() {
        VarParser::ResetForTests();
        SetErrorBoxStandIn({});
    }

    // A first read, then a second one: which signal the second gives, and what the catalogue holds.
    void secondRead_data() {
        QTest::addColumn<QByteArray>("first");
        QTest::addColumn<QByteArray>("second"); // "missing": no such file
        QTest::addColumn<QString>("signal");    // created, changed, unchanged counts of the second read
        QTest::addColumn<QString>("held");      // name:address:scope:type:size of each record afterwards
        const QString two = "counter:20000000:global:unsigned int:4 wave:0x20000004:static:float:4";
        QTest::newRow("identical") << kTwoVars << kTwoVars << "001" << two;
        QTest::newRow("scope only: old records kept")
            << kTwoVars << edited("\"global\"", "\"static\"") << "001" << two;
        QTest::newRow("size only") << kTwoVars
                                   << edited("\"size\":4,\"type\":\"unsigned",
                                             "\"size\":2,\"type\":\"unsigned")
                                   << "001" << two;
        QTest::newRow("key and group name")
            << kTwoVars << edited("main.c", "other.c").replace("\"key\":1", "\"key\":9") << "001" << two;
        QTest::newRow("type letter case")
            << kTwoVars << edited("\"float\"", "\"Float\"") << "010"
            << "counter:20000000:global:unsigned int:4 wave:0x20000004:static:Float:4";
        QTest::newRow("address spelling")
            << kTwoVars << edited("0x20000004", "20000004") << "010"
            << "counter:20000000:global:unsigned int:4 wave:20000004:static:float:4";
        QTest::newRow("name") << kTwoVars << edited("\"wave\"", "\"wave2\"") << "010"
                              << "counter:20000000:global:unsigned int:4 wave2:0x20000004:static:float:4";
        QTest::newRow("one fewer") << kTwoVars
                                   << QByteArray(R"([{"name":"a.c","dataList":[{"name":"x","size":"4"}]}])")
                                   << "010"
                                   << "x::::0"; // a size given as text reads as 0
        QTest::newRow("object on top: empty") << kTwoVars << QByteArray(R"({"name":"main.c"})") << "010"
                                              << "";
        QTest::newRow("empty twice") << QByteArray("[]") << QByteArray(R"({"name":"main.c"})") << "001"
                                     << "";
        QTest::newRow("odd shapes skipped")
            << QByteArray("[]")
            << QByteArray(R"([1,{"name":"e.c"},{"name":"a.c","dataList":[2,{"name":"y","size":8},null]}])")
            << "010"
            << "y::::8";
        QTest::newRow("syntax error") << kTwoVars << QByteArray("[{\"name\": ") << "000" << two;
        QTest::newRow("missing file") << kTwoVars << QByteArray("missing") << "000" << two;
    }
    void secondRead() {
        QFETCH(QByteArray, first);
        QFETCH(QByteArray, second);
        QFETCH(QString, signal);
        QFETCH(QString, held);
        VarParser parser;
        parser.Parse(write("first.json", first));
        VarParser::VarDes* before = VarParser::VarList().value(0);
        QSignalSpy created(&parser, &VarParser::VarListCreate), changed(&parser, &VarParser::VarListChanged),
            unchanged(&parser, &VarParser::VarListWithoutChange);
        parser.Parse(second == "missing" ? m_dir.filePath("none.json") : write("second.json", second));
        QCOMPARE(QString("%1%2%3").arg(created.count()).arg(changed.count()).arg(unchanged.count()), signal);
        QStringList records;
        for (const VarParser::VarDes* v : VarParser::VarList())
            records << QString("%1:%2:%3:%4:%5").arg(v->name, v->address, v->scope, v->type).arg(v->size);
        QCOMPARE(records.join(' '), held);
        // Unchanged keeps the very records handed out; a change replaces them, the old ones stay readable.
        if (before != nullptr)
            QCOMPARE(VarParser::VarList().value(0) == before, signal != "010");
        int grouped = 0;
        for (const VarParser::VarGroup* g : VarParser::GroupList())
            grouped += g->vars.size();
        QCOMPARE(grouped, records.size());
    }

    void missingElfJsonShowsBox() {
        const QString old = QDir::currentPath();
        QDir::setCurrent(m_dir.path());
        QCOMPARE(LoadSymbolFile(), false); // no parser registered
        VarParser parser;
        VarParser::SetInstance(&parser);
        QCOMPARE(LoadSymbolFile(), false);
        QDir::setCurrent(old);
        QCOMPARE(m_shown, (QStringList{"file not found!!", "file not found!!"}));
    }

    void extractorRunsOnRealElf() {
        write("fw.c", "volatile int speed = 3;\nstatic float gain = 1.5f;\nint main(void) { return speed + "
                      "(int)gain; }\n");
        QProcess gcc;
        gcc.start("gcc", {"-g", "-O0", "-o", m_dir.filePath("fw.elf"), m_dir.filePath("fw.c")});
        QVERIFY(gcc.waitForFinished(60000));
        QCOMPARE(gcc.exitCode(), 0);
        const QString old = QDir::currentPath();
        QDir::setCurrent(m_dir.path());
        VarParser parser;
        VarParser::SetInstance(&parser);
        QSignalSpy created(&parser, &VarParser::VarListCreate);
        const bool loaded = RunExtractorAndLoad(m_dir.filePath("fw.elf"));
        QDir::setCurrent(old);
        QVERIFY2(loaded, qPrintable(m_shown.join(", ")));
        QCOMPARE(created.count(), 1);
        QStringList names;
        for (const VarParser::VarDes* v : VarParser::VarList())
            names << v->name + ":" + v->type + ":" + v->scope;
        QVERIFY2(names.contains("speed:int:global") && names.contains("gain:float:static"),
                 qPrintable(names.join(" ")));
    }
};

QTEST_MAIN(CatalogueTest)
#include "tst_catalogue.moc"
