// The symbol catalogue: reading elf.json, the new/changed/unchanged rule, and the extractor run.
#include "ErrorBox.h"
#include "SymbolLoader.h"
#include "VarParser.h"

#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

namespace {

QString writeJson(const QTemporaryDir& dir, const QString& name, const QByteArray& text) {
    const QString path = dir.filePath(name);
    QFile f(path);
    f.open(QIODevice::WriteOnly);
    f.write(text);
    return path;
}

const QByteArray kTwoVars = R"([{"name":"main.c","dataList":[
  {"name":"counter","address":"20000000","scope":"global","size":4,"type":"unsigned int","key":1},
  {"name":"wave","address":"0x20000004","scope":"static","size":4,"type":"float","key":2}]}])";

struct Signals {
    explicit Signals(VarParser& p)
        : created(&p, &VarParser::VarListCreate), changed(&p, &VarParser::VarListChanged),
          unchanged(&p, &VarParser::VarListWithoutChange) {}
    QString which() const {
        return QString("%1%2%3").arg(created.count()).arg(changed.count()).arg(unchanged.count());
    }
    QSignalSpy created, changed, unchanged;
};

} // namespace

class CatalogueTest : public QObject {
    Q_OBJECT
private slots:
    void init() { VarParser::ResetForTests(); }
    void cleanup() {
        VarParser::ResetForTests();
        SetErrorBoxStandIn({});
    }

    void readsRecordsAndGroups();
    void secondReadComparesByNameAddressType_data();
    void secondReadComparesByNameAddressType();
    void unchangedKeepsOldRecordsAndTicks();
    void oddShapes_data();
    void oddShapes();
    void topLevelObjectIsEmptyCatalogue();
    void brokenFilesEmitNothing_data();
    void brokenFilesEmitNothing();
    void missingElfJsonShowsBox();
    void loadNeedsRegisteredParser();
    void extractorRunsOnRealElf();
};

void CatalogueTest::readsRecordsAndGroups() {
    QTemporaryDir dir;
    VarParser parser;
    Signals s(parser);
    parser.Parse(writeJson(dir, "elf.json", kTwoVars));
    QCOMPARE(s.which(), QString("100"));
    const auto vars = VarParser::VarList();
    QCOMPARE(vars.size(), 2);
    QCOMPARE(vars[0]->name, QString("counter"));
    QCOMPARE(vars[1]->address, QString("0x20000004"));
    QCOMPARE(vars[1]->scope, QString("static"));
    QCOMPARE(vars[1]->type, QString("float"));
    QCOMPARE(vars[1]->size, 4);
    QCOMPARE(vars[1]->key, 2);
    QCOMPARE(vars[0]->selected, false);
    QCOMPARE(vars[0]->flag, false);
    const auto groups = VarParser::GroupList();
    QCOMPARE(groups.size(), 1);
    QCOMPARE(groups[0]->name, QString("main.c"));
    QCOMPARE(groups[0]->vars, vars); // the same records
}

void CatalogueTest::secondReadComparesByNameAddressType_data() {
    QTest::addColumn<QByteArray>("second");
    QTest::addColumn<QString>("signal"); // created, changed, unchanged counts
    QByteArray scope = kTwoVars;
    scope.replace("\"global\"", "\"static\"");
    QByteArray size = kTwoVars;
    size.replace("\"size\":4,\"type\":\"unsigned int\"", "\"size\":2,\"type\":\"unsigned int\"");
    QByteArray key = kTwoVars;
    key.replace("\"key\":1", "\"key\":9");
    QByteArray groupName = kTwoVars;
    groupName.replace("main.c", "other.c");
    QByteArray type = kTwoVars;
    type.replace("\"float\"", "\"Float\"");
    QByteArray address = kTwoVars;
    address.replace("0x20000004", "20000004");
    QByteArray name = kTwoVars;
    name.replace("\"wave\"", "\"wave2\"");
    const QByteArray reordered = R"([{"name":"main.c","dataList":[
  {"name":"wave","address":"0x20000004","scope":"static","size":4,"type":"float","key":2},
  {"name":"counter","address":"20000000","scope":"global","size":4,"type":"unsigned int","key":1}]}])";
    const QByteArray split = R"([{"name":"a.c","dataList":[
  {"name":"counter","address":"20000000","scope":"global","size":4,"type":"unsigned int","key":1}]},
  {"name":"b.c","dataList":[
  {"name":"wave","address":"0x20000004","scope":"static","size":4,"type":"float","key":2}]}])";
    QTest::newRow("identical") << kTwoVars << "001";
    QTest::newRow("scope only") << scope << "001";
    QTest::newRow("size only") << size << "001";
    QTest::newRow("key only") << key << "001";
    QTest::newRow("groups only") << split << "001";
    QTest::newRow("group name only") << groupName << "001";
    QTest::newRow("type letter case") << type << "010";
    QTest::newRow("address spelling") << address << "010";
    QTest::newRow("name") << name << "010";
    QTest::newRow("order") << reordered << "010";
    QTest::newRow("one fewer") << QByteArray(R"([{"name":"main.c","dataList":[
  {"name":"counter","address":"20000000","scope":"global","size":4,"type":"unsigned int","key":1}]}])")
                               << "010";
}

void CatalogueTest::secondReadComparesByNameAddressType() {
    QFETCH(QByteArray, second);
    QFETCH(QString, signal);
    QTemporaryDir dir;
    VarParser parser;
    parser.Parse(writeJson(dir, "first.json", kTwoVars));
    Signals s(parser);
    parser.Parse(writeJson(dir, "second.json", second));
    QCOMPARE(s.which(), signal);
}

void CatalogueTest::unchangedKeepsOldRecordsAndTicks() {
    QTemporaryDir dir;
    VarParser parser;
    parser.Parse(writeJson(dir, "a.json", kTwoVars));
    VarParser::VarDes* first = VarParser::VarList()[0];
    first->selected = true;
    QByteArray scope = kTwoVars;
    scope.replace("\"global\"", "\"static\"");
    parser.Parse(writeJson(dir, "b.json", scope));
    QCOMPARE(VarParser::VarList()[0], first);
    QVERIFY(VarParser::VarList()[0]->selected);
    QCOMPARE(VarParser::VarList()[0]->scope, QString("global"));
    // A real change replaces the records, and pointers handed out earlier stay readable.
    QByteArray renamed = kTwoVars;
    renamed.replace("\"counter\"", "\"ticks\"");
    parser.Parse(writeJson(dir, "c.json", renamed));
    QVERIFY(VarParser::VarList()[0] != first);
    QCOMPARE(first->name, QString("counter"));
}

void CatalogueTest::oddShapes_data() {
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<int>("groups");
    QTest::addColumn<int>("vars");
    QTest::addColumn<int>("firstSize");
    QTest::newRow("group without dataList") << QByteArray(R"([{"name":"empty.c"}])") << 1 << 0 << -1;
    QTest::newRow("variable without size")
        << QByteArray(R"([{"name":"a.c","dataList":[{"name":"x"}]}])") << 1 << 1 << 0;
    QTest::newRow("size as text is 0")
        << QByteArray(R"([{"name":"a.c","dataList":[{"name":"x","size":"4"}]}])") << 1 << 1 << 0;
    QTest::newRow("non-objects skipped")
        << QByteArray(R"([1,"x",{"name":"a.c","dataList":[2,{"name":"y","size":8},null]}])") << 1 << 1 << 8;
    QTest::newRow("negative and oversized sizes left out")
        << QByteArray(R"([{"name":"a.c","dataList":[{"name":"n","size":-4},{"name":"o","size":4096},)"
                      R"({"name":"k","size":2}]}])")
        << 1 << 1 << 2;
}

void CatalogueTest::oddShapes() {
    QFETCH(QByteArray, json);
    QFETCH(int, groups);
    QFETCH(int, vars);
    QFETCH(int, firstSize);
    QTemporaryDir dir;
    VarParser parser;
    parser.Parse(writeJson(dir, "elf.json", json));
    QCOMPARE(VarParser::GroupList().size(), groups);
    QCOMPARE(VarParser::VarList().size(), vars);
    if (firstSize >= 0)
        QCOMPARE(VarParser::VarList()[0]->size, firstSize);
}

void CatalogueTest::topLevelObjectIsEmptyCatalogue() {
    QTemporaryDir dir;
    VarParser parser;
    Signals s(parser);
    const QString object = writeJson(dir, "object.json", R"({"name":"main.c"})");
    parser.Parse(object);
    QCOMPARE(s.which(), QString("100"));
    QVERIFY(VarParser::VarList().isEmpty());
    parser.Parse(object); // empty against empty: no change
    QCOMPARE(s.which(), QString("101"));
    parser.Parse(writeJson(dir, "vars.json", kTwoVars));
    QCOMPARE(s.which(), QString("111"));
    parser.Parse(object); // empty against a full catalogue: a change
    QCOMPARE(s.which(), QString("121"));
}

void CatalogueTest::brokenFilesEmitNothing_data() {
    QTest::addColumn<QString>("kind");
    QTest::newRow("syntax error") << "syntax";
    QTest::newRow("missing file") << "missing";
}

void CatalogueTest::brokenFilesEmitNothing() {
    QFETCH(QString, kind);
    QTemporaryDir dir;
    VarParser parser;
    parser.Parse(writeJson(dir, "good.json", kTwoVars));
    Signals s(parser);
    const QString path =
        kind == "syntax" ? writeJson(dir, "bad.json", "[{\"name\": ") : dir.filePath("none.json");
    parser.Parse(path);
    QCOMPARE(s.which(), QString("000"));
    QCOMPARE(VarParser::VarList().size(), 2);
}

void CatalogueTest::missingElfJsonShowsBox() {
    QTemporaryDir dir;
    const QString old = QDir::currentPath();
    QDir::setCurrent(dir.path());
    VarParser parser;
    VarParser::SetInstance(&parser);
    QStringList shown;
    SetErrorBoxStandIn([&](const QString& text) {
        shown << text;
        return true;
    });
    QCOMPARE(LoadSymbolFile(), false);
    QDir::setCurrent(old);
    QCOMPARE(shown, QStringList{"file not found!!"});
}

void CatalogueTest::loadNeedsRegisteredParser() {
    QTemporaryDir dir;
    writeJson(dir, "elf.json", kTwoVars);
    const QString old = QDir::currentPath();
    QDir::setCurrent(dir.path());
    QCOMPARE(LoadSymbolFile(), false); // nothing registered
    VarParser parser;
    VarParser::SetInstance(&parser);
    QSignalSpy created(&parser, &VarParser::VarListCreate);
    QCOMPARE(LoadSymbolFile(), true);
    QDir::setCurrent(old);
    QCOMPARE(created.count(), 1);
}

void CatalogueTest::extractorRunsOnRealElf() {
    QTemporaryDir dir;
    QFile source(dir.filePath("fw.c"));
    source.open(QIODevice::WriteOnly);
    source.write(
        "volatile int speed = 3;\nstatic float gain = 1.5f;\nint main(void) { return speed + (int)gain; }\n");
    source.close();
    QProcess gcc;
    gcc.start("gcc", {"-g", "-O0", "-o", dir.filePath("fw.elf"), dir.filePath("fw.c")});
    QVERIFY(gcc.waitForFinished(60000));
    QCOMPARE(gcc.exitCode(), 0);

    const QString old = QDir::currentPath();
    QDir::setCurrent(dir.path());
    VarParser parser;
    VarParser::SetInstance(&parser);
    QSignalSpy created(&parser, &VarParser::VarListCreate);
    QStringList shown;
    SetErrorBoxStandIn([&](const QString& text) {
        shown << text;
        return true;
    });
    const bool loaded = RunExtractorAndLoad(dir.filePath("fw.elf"));
    QDir::setCurrent(old);
    QVERIFY2(loaded, qPrintable(shown.join(", ")));
    QCOMPARE(created.count(), 1);
    QStringList names;
    for (const VarParser::VarDes* v : VarParser::VarList())
        names << v->name + ":" + v->type + ":" + v->scope;
    QVERIFY2(names.contains("speed:int:global"), qPrintable(names.join(" ")));
    QVERIFY2(names.contains("gain:float:static"), qPrintable(names.join(" ")));
}

QTEST_MAIN(CatalogueTest)
#include "tst_catalogue.moc"
